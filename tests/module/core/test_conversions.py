"""How Python values become library values and back, through functions that do little else."""

import math

import numpy
import pytest

import _typetable
import _zarnik
from support.expect import bad_argument, fails, fails_late, null_reference
from support.values import ELEMENTS
from zarnik import _classes

INTEGERS = [suffix for suffix in ELEMENTS if suffix not in "fd"]
GREATEST_FLOAT = float(numpy.finfo("f4").max)


Index = type("Index", (int,), {})
# They count like numbers, but are none.
HasIndex = type("HasIndex", (), {"__index__": lambda self: 1})
HasFloat = type("HasFloat", (), {"__float__": lambda self: 1.0})


def setter(suffix):
    """A function storing its third argument as an element, and one reading it back."""
    vector = getattr(_classes, f"VectorX{suffix}")([0])
    return vector, getattr(_zarnik, f"VectorX{suffix}_set_at"), lambda: vector.at(0)


@pytest.mark.parametrize("suffix", INTEGERS)
def test_integers(suffix):
    element, dtype = ELEMENTS[suffix]
    limits = numpy.iinfo(dtype)
    vector, set_at, stored = setter(suffix)
    type_name = f"zarnik::VectorX< {element} >::ValueType"
    for value in (0, 1, int(limits.min), int(limits.max), True, Index(7)):
        assert set_at(vector, 0, value) is None
        assert stored() == value
        assert type(stored()) is int
    for value in (int(limits.min) - 1, int(limits.max) + 1, 2**64, -(2**63) - 1, 10**30, -(10**30)):
        bad_argument(OverflowError, set_at, 3, type_name, vector, 0, value)
    for value in ("1", 1.0, None, b"1", [1], HasIndex()):
        bad_argument(TypeError, set_at, 3, type_name, vector, 0, value)
    assert stored() == 7


@pytest.mark.parametrize("suffix", "fd")
def test_floats(suffix):
    vector, set_at, stored = setter(suffix)
    type_name = f"zarnik::VectorX< {ELEMENTS[suffix][0]} >::ValueType"
    for value in (0.5, 3, True, -2.25, math.inf, -math.inf, 2**31, -(2**53), GREATEST_FLOAT, -GREATEST_FLOAT):
        set_at(vector, 0, value)
        assert stored() == ELEMENTS[suffix][1](value)
        assert type(stored()) is float
    set_at(vector, 0, math.nan)
    assert math.isnan(stored())
    for value in ("1", None, 1j, [1.0], HasFloat(), HasIndex(), 10**400, -(10**400)):
        bad_argument(TypeError, set_at, 3, type_name, vector, 0, value)
    for value in (1e39, -1e39, math.nextafter(GREATEST_FLOAT, math.inf)):  # only floats have a range
        if suffix == "f":
            bad_argument(OverflowError, set_at, 3, type_name, vector, 0, value)
        else:
            set_at(vector, 0, value)
            assert stored() == value


@pytest.mark.parametrize("suffix", ELEMENTS)
def test_items_of_sequences_are_32_bits_wide(suffix):
    """Ints are narrowed without a range check; one beyond 32 bits is -1 and the call, once made, fails."""
    add = getattr(_zarnik, f"Vector2{suffix}___add__")
    zeros = getattr(_classes, f"Vector2{suffix}")()

    for value in (0, 1, -1, 300, 70000, -70000, 2**31 - 1, -(2**31)):
        assert add(zeros, [value, 0]).at(0) == numpy.int64(value).astype(ELEMENTS[suffix][1])
    for value in (2**31, -(2**31) - 1, 2**64):
        fails_late(OverflowError, "", add, zeros, [value, 0])


def test_calls_with_an_item_beyond_32_bits_are_made_nevertheless():
    vector = _classes.Vector2i64([10, 20])
    for _ in range(1000):  # nothing is freed that is still in use
        fails_late(OverflowError, "", _zarnik.Vector2i64___iadd__, vector, [2**40, 1])
        assert not vector.thisown
    assert (vector.at(0), vector.at(1)) == (10 - 1000, 20 + 1000)


NO_LONG = "invalid item in sequence - expected long value"


Unsized = type("Unsized", (), {"__getitem__": lambda self, index: 1 // 0})  # the length comes first
# Sequences that fail in the middle, and that have lost their items when they are asked for.
Failing = type("Failing", (), {"__len__": lambda self: 2, "__getitem__": lambda self, index: {0: 0}[index]})
Shrinking = type("Shrinking", (list,), {"__len__": lambda self: 2})


@pytest.mark.parametrize(
    ("kind", "text", "arguments"),
    [
        (ValueError, "input must be a sequence", (5, None, {1, 2})),
        (ValueError, "input sequence must be sized", (Unsized(),)),
        (ValueError, "input sequence has invalid length", ([1, 2, 3], (), "abc")),
        (TypeError, NO_LONG, ([1, "a"], "ab", (1, 2.0), [None, 2], [HasIndex(), 2])),
        (KeyError, "1", (Failing(),)),
        (IndexError, "list index out of range", (Shrinking([]),)),
    ],
)
def test_sequences_that_are_no_vector(kind, text, arguments):
    for argument in arguments:
        fails(kind, text, _zarnik.Vector2u16_dot, _classes.Vector2u16(), argument)


def test_items_that_are_no_numbers():
    text = "invalid item in sequence - expected long or float value"
    for argument in ([1.0, "a"], [None, 1.0], [1j, 0], ["1", 2]):
        fails(TypeError, text, _zarnik.Vector2d_dot, _classes.Vector2d(), argument)
    assert _zarnik.Vector2d_dot(_classes.Vector2d([1.5, 2]), (2, True)) == 5.0


def test_any_sequence_is_a_vector():
    for sequence in ([3, 4], (3, 4), range(3, 5), bytes([3, 4]), bytearray([3, 4]), memoryview(bytes([3, 4]))):
        assert _zarnik.Vector2u16_dot(_classes.Vector2u16([1, 10]), sequence) == 43


def test_wrapped_vectors_keep_their_64_bits():
    wide = _classes.VectorXu64([0, 1])
    wide.set_at(0, 2**63 + 5)
    for operand in (wide, wide.this):
        result = _zarnik.VectorXu64___add__(_classes.VectorXu64([0, 0]), operand)
        assert [result.at(i) for i in range(2)] == [2**63 + 5, 1]


def test_enumerations_are_unchecked_32_bit_ints():
    image_type = _classes.ImageType()
    assert [_zarnik.ImageType_has(image_type, value) for value in (-1, 5, 2**31 - 1, True)] == [False] * 4
    bad_argument(TypeError, _zarnik.ImageType_has, 2, "zarnik::ImageDimension", image_type, 1.0)


def test_data_types_by_value():
    """A plain int stands for a data type, 32 bits of it; all else leaves an error, but in comparisons."""
    scalar_type = _zarnik.DataType_extract_scalar_type
    assert scalar_type(_zarnik.DataTypeId_VEC3_UINT16).get_id() == _zarnik.DataTypeId_UINT16
    complex_type = _classes.DataType(_zarnik.DataTypeId_COMPLEX_FLOAT)
    assert complex_type.get_id() == _zarnik.DataTypeId_COMPLEX_FLOAT
    assert scalar_type(complex_type).get_id() == _zarnik.DataTypeId_FLOAT
    assert scalar_type(complex_type.this).get_id() == _zarnik.DataTypeId_FLOAT
    for _ in range(100):  # also when the interpreter has learnt to call the function without a check of its own
        for value in (_zarnik.DataTypeId_COMPLEX_FLOAT, 2**31, -(2**31) - 1):
            fails_late(OverflowError, "", scalar_type, value)
        for value in ("u8", None, 1.0):
            fails_late(TypeError, "", scalar_type, value)
    for value in ("u8", None, 1.0, _classes.ImageType()):
        assert _zarnik.DataType___eq__(complex_type, value) is NotImplemented
    assert complex_type != "u8"
    for too_wide in (2**31, -(2**40), 2**70):
        assert _zarnik.DataType___eq__(complex_type, too_wide) is NotImplemented
        assert _zarnik.DataType___ne__(complex_type, too_wide) is NotImplemented


STRING = "std::string const &"


def text_of(message):
    return _zarnik.Error___str__(_zarnik.new_NotImplemented(message))


def test_strings():
    for text in ("", "abc", "grüße 图像 \U0001f5bc"):
        assert text_of(text) == text
    assert text_of("a\0b") == "a"  # what() is a C string
    wrapped = _typetable.wrappedString(), _typetable.wrappedCharacters()
    for _ in range(2):  # used as they are, not freed
        assert [text_of(each) for each in wrapped] == ["wrapped string", "wrapped characters"]


def test_arguments_that_are_no_strings():
    # Text that is no UTF-8 comes back with surrogates, and is not taken again.
    undecodable = _zarnik.Error___str__(_typetable.undecodableError())
    assert undecodable == "caf\udce9"
    for value in (b"abc", bytearray(b"abc"), 1, ["a"], undecodable, _classes.VersionInfo()):
        bad_argument(TypeError, _zarnik.new_InvalidArgument, 1, STRING, value)
    null_reference(_zarnik.new_InvalidArgument, 1, STRING, None)


def test_fields_of_a_version():
    record = _classes.VersionInfo()
    for value, field in enumerate(("major", "minor", "patch"), 2**31 - 3):
        store, read = (getattr(_zarnik, f"VersionInfo_{field}_{verb}") for verb in ("set", "get"))
        assert (read(record), store(record, value), read(record)) == (0, None, value)
        bad_argument(OverflowError, store, 2, "int", record, 2**31)
    assert (record.major, record.minor, record.patch) == (2**31 - 3, 2**31 - 2, 2**31 - 1)
