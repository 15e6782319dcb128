"""Tables through the flat functions."""

import struct

import numpy
import pytest

import _typetable
import _zarnik
from support.expect import bad_argument, fails, fails_late, raises, refused
from support.shared_types import OddFrame
from support.values import ELEMENTS, type_id
from zarnik import _classes

NAMES = ("INT32", "UINT8", "UINT64", "DOUBLE", "UTF8_STRING")
INT32, UINT8, UINT64, DOUBLE, UTF8 = (getattr(_zarnik, f"DataTypeId_{name}") for name in NAMES)
allocate = _zarnik.DataFrameViewFactory__allocate
# Encoded, these have bytes of all kinds; the package's strings of one byte, of four, and with a zero in the middle.
TEXTS = ["", "é€😀", "n\0l"]


def flat(name):
    return getattr(_zarnik, f"DataFrameView_{name}")


@pytest.fixture
def frame():
    made = allocate([2, 3], ["n", "text"], [INT32, UTF8])
    flat("_write_bytes")(made, 0, 0, 3, struct.pack("3i", 1, -2, 3))
    flat("_write_strings")(made, 1, 0, 3, list(TEXTS))
    return made


def numbers(frame, column=0, code="i"):
    rows = flat("get_shape")(frame).at(1)
    cells = bytearray(rows * struct.calcsize(code))
    flat("_read_bytes")(frame, column, 0, rows, cells)
    return list(struct.unpack(f"{rows}{code}", cells))


def texts(frame, column=1):
    cells = [""] * flat("get_shape")(frame).at(1)
    flat("_read_strings")(frame, column, 0, len(cells), cells)
    return cells


def test_units(frame):
    flat("set_unit")(frame, 0, "µm")
    units = _zarnik.ColumnUnitExtension_cast(_zarnik.View__extension(frame, _zarnik.ColumnUnitExtension_EXTENSION_ID))
    assert _zarnik.ColumnUnitExtension_unit(units, 0) == "µm"
    _zarnik.ColumnUnitExtension_set_unit(units, 0, "mm")
    assert flat("unit")(frame, 0) == "mm"
    assert "n: INT32 [mm]" in flat("to_string")(frame)
    assert flat("get_capabilities")(frame).value() == 7


def test_arguments_and_library_errors(frame):
    before = repr(frame)
    for name, arguments in (("column_name", ()), ("column_data_type", ()), ("unit", ()), ("set_unit", ("m",))):
        refused("^column index 2 is out of range, allowed are 0 to 1$", flat(name), frame, 2, *arguments)
    refused('^no column is named "x"$', flat("column_index"), frame, "x")
    refused("already", flat("add_column"), frame, "n", INT32)
    refused("empty", flat("add_column"), frame, "", INT32)
    for unsupported in (_zarnik.DataTypeId_VEC3_UINT8, _zarnik.DataTypeId_UTF16_STRING, _zarnik.DataTypeId_UNKNOWN):
        refused("not supported", flat("add_column"), frame, "v", unsupported)
    refused("allowed are 0 to 3", flat("add_rows"), frame, 4, 1)
    for first, count in ((0, 2**63), (0, 2**64 - 1), (2, 2**63)):
        refused("64 bits|cannot allocate", flat("add_rows"), frame, first, count)
    for first, count in ((2, 2), (1, 2**64 - 1), (4, 0)):
        refused("exceeds", flat("remove_rows"), frame, first, count)
        refused("exceeds", flat("_read_bytes"), frame, 0, first, count, bytearray(8))
    refused("out of range", flat("remove_column"), frame, 2)
    assert repr(frame) == before
    # A name is a text like others: it may have a zero character in it.
    flat("add_column")(frame, "n\0", INT32)
    assert flat("column_index")(frame, "n\0") == 2
    bad_argument(TypeError, flat("add_column"), 2, "std::string const &", frame, "\udc80", INT32)


def test_blocks_of_numbers(frame):
    for name, data in (("_read_bytes", bytearray(8)), ("_write_bytes", bytes(8))):
        transfer = flat(name)
        refused("^column do not store numeric data$", transfer, frame, 1, 0, 1, data)
        refused("^row 2 \\+ 2 rows exceeds the 3 rows of the table$", transfer, frame, 0, 2, 2, data)
        refused("^column index 2", transfer, frame, 2, 0, 1, data)
        # The buffer's size is not compared with what is moved.
        assert transfer(frame, 0, 3, 0, data[:0]) is None
    flat("_write_bytes")(frame, 0, 1, 2, memoryview(struct.pack("2i", 7, 8)))
    assert numbers(frame) == [1, 7, 8]


def test_blocks_of_texts(frame):
    cells = ["old"] * 4
    assert flat("_read_strings")(frame, 1, 1, 2, cells) is None
    assert cells == [TEXTS[1], TEXTS[2], "old", "old"]
    flat("_write_strings")(frame, 1, 0, 2, cells)
    assert texts(frame) == [TEXTS[1], TEXTS[2], TEXTS[2]]
    for name in ("_read_strings", "_write_strings"):
        transfer = flat(name)
        cells = ["kept", "too"]
        refused("^column do not store utf-8 strings$", transfer, frame, 0, 0, 2, cells)
        refused("exceeds", transfer, frame, 1, 2, 2, cells)
        refused("^3 cells need a list of as many texts, got 2$", transfer, frame, 1, 0, 3, cells)
        assert cells == ["kept", "too"]
        for none in (5, "text", None, {1: "x"}):
            fails_late(TypeError, "not a list", transfer, frame, 1, 0, 1, none)
        # What is wrong with a list is told last: before it what the library says.
        refused("^column do not store utf-8 strings$", transfer, frame, 0, 0, 1, None)


def test_texts_that_are_none_leave_empty_cells(frame):
    cells = ["a", 5, "c"]
    fails_late(TypeError, "list must contains strings", flat("_write_strings"), frame, 1, 0, 3, cells)
    assert cells == texts(frame) == ["a", "", "c"]
    cells = ["a", "\udc80", "c"]
    fails_late(UnicodeEncodeError, "surrogates not allowed", flat("_write_strings"), frame, 1, 0, 3, cells)
    assert texts(frame) == ["a", "", "c"]

    class Shrinking(list):
        def __getitem__(self, index):
            self.clear()
            raise IndexError("gone")

    fails_late(IndexError, "gone", flat("_write_strings"), frame, 1, 0, 0, Shrinking("ab"))
    cells = [None, "x", "y", 7]
    fails_late(TypeError, "list must contains strings", flat("_read_strings"), frame, 1, 0, 3, cells)
    assert cells == ["a", "", "c", ""]


def column_of(dtype, row_count=1):
    return allocate([1, row_count], ["c"], [dtype])


@pytest.mark.parametrize("suffix", ELEMENTS)
def test_cells_of_numbers(suffix):
    """Ints are stored in as many bits as the column has, and come back in 32."""
    dtype = numpy.dtype(ELEMENTS[suffix][1])
    for value in (7, 200, 300, -2, 65537, 2**31, 2**32 - 1, 2**32 + 7, 2**32 + 2**31, 0.1):
        if (value < 0 and dtype.kind == "u") or (value == 0.1 and dtype.kind != "f"):
            continue
        frame, stored = column_of(type_id(dtype), 2), numpy.array(value).astype(dtype)
        assert flat("_set_at")(frame, 0, 1, value) is None
        assert numbers(frame, 0, dtype.char) == [0, stored]
        cell = flat("_at")(frame, 0, 1)
        assert cell == (stored if dtype.kind == "f" else stored.astype(f"{dtype.kind}4"))
        assert type(cell) is type(stored.item())


def test_cells_of_texts(frame):
    for text in ("", "é€😀", "x" * 1000):
        flat("_set_at")(frame, 1, 2, text)
        assert flat("_at")(frame, 1, 2) == text
    flat("_set_at")(frame, 1, 2, "before\0behind")
    assert flat("_at")(frame, 1, 2) == "before"
    assert texts(frame)[2] == "before\0behind"
    raises(TypeError, "", flat("_set_at"), frame, 1, 2, 5)
    raises(UnicodeEncodeError, "", flat("_set_at"), frame, 1, 2, "\udc80")
    assert texts(frame)[2] == "before\0behind"


def test_cells_that_are_refused(frame):
    for name, value in (("_at", ()), ("_set_at", (1,))):
        refused("^row 3 \\+ 1 rows exceeds", flat(name), frame, 0, 3, *value)
        refused("^column index 2", flat(name), frame, 2, 0, *value)
    # A value that is no number leaves that of the failed conversion.
    for dtype, value, kind, stored in (
        (INT32, "x", TypeError, -1),
        (INT32, 2**64, OverflowError, -1),
        (INT32, 1.5, TypeError, -1),
        (UINT8, -1, OverflowError, 255),
        (DOUBLE, "1.5", TypeError, -1.0),
    ):
        one = column_of(dtype)
        fails_late(kind, "", flat("_set_at"), one, 0, 0, value)
        assert flat("_at")(one, 0, 0) == stored


def test_cells_of_unusual_widths():
    for kind, bits, text in (
        (_zarnik.PrimitiveTypeId_UNSIGNED_INTEGER, 24, "invalid unsigned integer bit depth"),
        (_zarnik.PrimitiveTypeId_SIGNED_INTEGER, 24, "invalid signed integer bit depth"),
        (_zarnik.PrimitiveTypeId_FLOATING_POINT, 16, "invalid floating-point bit depth"),
    ):
        frame = column_of(UINT8)
        flat("add_column")(frame, "odd", _classes.DataType(kind, bits, 1))
        refused(f"^{text}$", flat("_set_at"), frame, 1, 0, 1)
        refused("^unsupported column data type for cell access$", flat("_at"), frame, 1, 0)


def test_shapes_names_and_types(frame):
    names = ["a", "b"]
    assert flat("_reshape")(frame, (2, 4), names, (UTF8, UINT64)) is None
    assert flat("get_shape")(frame) == (2, 4)
    assert texts(frame, 0) == [""] * 4
    assert numbers(frame, 1, "Q") == [0] * 4
    empty = _zarnik.DataFrameViewFactory__allocate_empty()
    assert flat("get_shape")(empty) == (0, 0)
    for make in (allocate, lambda *arguments: flat("_reshape")(frame, *arguments)):
        fails(ValueError, "input must be a sequence", make, 5, names, [UTF8, UTF8])
        fails(ValueError, "input sequence has invalid length", make, [1], names, [UTF8, UTF8])
        fails(TypeError, "invalid item in sequence - expected long value", make, [1, "2"], names, [UTF8, UTF8])
        for bad in (5, "ab"):
            fails(TypeError, "not a list", make, [2, 1], names, bad)
        for bad in ("x", 1.0, None, _classes.DataType(UINT8)):
            fails(TypeError, "list must contains longs", make, [2, 1], names, [UTF8, bad])
        fails_late(TypeError, "not a list", make, [2, 1], 5, [UTF8, UTF8])
        refused("^2 columns need as many names, got 1$", make, [2, 1], ["a"], [UTF8, UTF8])
        refused("^2 columns need as many data types, got 1$", make, [2, 1], names, [UTF8])
        refused("neither may be 0", make, [0, 1], [], [])
        refused("neither may be 0", make, [1, 0], ["a"], [UTF8])
        refused("empty", make, [2, 1], ["a", None], [UTF8, UTF8])
        refused("not supported", make, [1, 1], ["a"], [2**40])
        vast = _classes.Vector2u64([1, 2**30]) * _classes.Vector2u64([1, 2**30])
        refused("64 bits|cannot allocate", make, vast, ["a"], [UTF8])
    assert flat("get_shape")(frame) == (2, 4)


def test_providers_and_pointers(frame):
    provider = _classes.DataFrameViewProvider
    assert provider.is_data_frame(frame) is True
    assert provider.to_data_frame(frame).get_shape() == (2, 3)
    image = _zarnik.ImageViewFactory_allocate([2], UINT8)
    assert provider.is_data_frame(image) is False
    assert provider.to_data_frame(image) is None
    make = _zarnik.DataFrameView_create_from_pointer
    adopted = make(_typetable.frameAddress(frame))
    del frame
    assert type(adopted) is _classes.DataFrameView
    assert texts(adopted) == TEXTS


def test_tables_of_other_makers():
    """They may have columns of any type, and texts that are no UTF-8."""
    frame = OddFrame(UTF8, 3)
    assert flat("column_name")(frame, 0) == "odd\udcff"
    assert flat("_at")(frame, 0, 0) == "a\udcff"
    cells = ["", "x"]
    flat("_read_strings")(frame, 0, 0, 1, cells)
    assert cells == ["a\udcff", "x"]
    utf16 = OddFrame(_zarnik.DataTypeId_UTF16_STRING, 3)
    assert flat("_set_at")(utf16, 0, 0, "x") is None
    assert OddFrame.writes(utf16) == 0
    for dtype in ("UTF16_STRING", "VEC3_UINT8", "UNKNOWN"):
        other = OddFrame(getattr(_zarnik, f"DataTypeId_{dtype}"), 3)
        refused("^unsupported column data type for cell access$", flat("_at"), other, 0, 0)
    refused("^unsupported column data type for cell access$", flat("_set_at"), other, 0, 0, 1)
    flat("_set_at")(OddFrame(DOUBLE, 3), 0, 0, 1)
    readonly = OddFrame(DOUBLE, 1)
    for name, arguments in (
        ("_set_at", (0, 0, 1)),
        ("_write_bytes", (0, 0, 1, bytes(8))),
        ("set_unit", (0, "m")),
        ("add_column", ("x", INT32)),
        ("add_rows", (0, 1)),
        ("remove_column", (0,)),
        ("remove_rows", (0, 1)),
        ("_reshape", ([1, 1], ["a"], [INT32])),
    ):
        refused("^this data frame does not support", flat(name), readonly, *arguments)
