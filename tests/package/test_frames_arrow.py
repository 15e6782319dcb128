"""Tables to and from other libraries, each of which is tried where it is installed."""

import copy
import decimal
import gc
import threading

import nanoarrow
import numpy
import pytest
from numpy.testing import assert_array_equal

import zarnik
from support.expect import raises

DTYPES = ["u1", "i1", "u2", "i2", "u4", "i4", "u8", "i8", "f4", "f8"]
from_arrow = zarnik.DataFrameView.from_arrow
TEXTS = ["", "é€😀", "more than twelve bytes of text"]


@pytest.fixture
def frame():
    columns = {dtype: numpy.array([1, 2, 100], dtype) for dtype in DTYPES}
    return zarnik.DataFrameView.from_dict({**columns, "text": TEXTS}, units={"f8": "mm²", "u1": "px"})


def assert_same(back, frame, units=True):
    assert (back.columns, back.dtypes, back.shape) == (frame.columns, frame.dtypes, frame.shape)
    for name, values in frame.to_dict().items():
        assert_array_equal(back[name], values)
    if units:
        assert back.units == frame.units


def test_tables_pass_through_the_interface(frame):
    back = from_arrow(frame)
    assert_same(back, frame)
    for dtype in DTYPES:
        assert numpy.shares_memory(back[dtype], frame[dtype])
        assert not back[dtype].flags.writeable
    # What is changed has memory of its own from then on.
    back["f8"] = 7
    assert_array_equal(frame["f8"], [1, 2, 100])
    assert back["f8"].flags.writeable
    raises(TypeError, "__arrow_c_stream__ is needed, got list", from_arrow, [1])


def test_a_stream_is_taken_once(frame):
    class Once:
        stream = frame.__arrow_c_stream__()

        def __arrow_c_stream__(self, requested_schema=None):
            return self.stream

    expected, address = copy.copy(frame), frame["f8"].ctypes.data
    del frame["f8"]
    back = from_arrow(Once())
    assert_same(back, expected)
    assert back["f8"].ctypes.data == address
    Once.stream = 5
    raises(ValueError, "PyCapsule", from_arrow, Once())


def test_tables_without_rows_or_columns_and_some_that_cannot_pass(frame):
    rows_alone, nothing = zarnik.DataFrameViewFactory.allocate(), zarnik.DataFrameViewFactory.allocate()
    rows_alone.add_rows(0, 4)
    frame.remove_rows(0, 3)
    for empty in (frame, rows_alone, nothing):
        assert_same(from_arrow(empty), empty)
    rows_alone["a\0b"] = [1, 2, 3, 4]
    raises(zarnik.Error, "zero character", rows_alone.__arrow_c_stream__)
    del rows_alone["a\0b"]
    assert rows_alone.shape == (4, 0)
    nothing.add_column("odd", zarnik.DataType(zarnik.PrimitiveTypeId.UNSIGNED_INTEGER, 24, 1))
    raises(zarnik.Error, r'"odd" of type \(UNSIGNED_INTEGER, 24 bits', nothing.__arrow_c_stream__)


def test_batches_made_by_hand():
    schema, make = nanoarrow.struct({"n": nanoarrow.int32()}), nanoarrow.c_array_from_buffers
    cells = make(nanoarrow.int32(), 3, [None, None], validation_level="none")
    short = make(schema, 3, [None], children=[cells], validation_level="none")
    raises(zarnik.Error, '"n" of the Arrow stream has fewer', from_arrow, nanoarrow.Array(short))
    # The offset of a batch counts for its columns, which have their own; a null before is none of the table.
    cells = make(nanoarrow.int32(), 5, [b"\xfe", numpy.arange(6, dtype="i4")], null_count=1, offset=1)
    batch = make(schema, 3, [None], offset=2, children=[cells])
    assert from_arrow(nanoarrow.Array(batch))["n"].tolist() == [3, 4, 5]


def test_pyarrow(frame):
    pyarrow = pytest.importorskip("pyarrow")
    table = pyarrow.table(frame)
    assert table.schema.field("f8").metadata == {b"unit": "mm²".encode()}
    assert table["f8"].chunk(0).buffers()[1].address == frame["f8"].ctypes.data
    assert pyarrow.schema(frame) == table.schema
    # Parts and several batches.
    doubled = pyarrow.concat_tables([table.slice(1), table.slice(0, 2)])
    assert from_arrow(doubled)["text"] == TEXTS[1:] + TEXTS[:2]
    assert_same(from_arrow(table.slice(3)), from_arrow(doubled.slice(9)))


def test_batches_offsets_and_kinds_of_texts():
    pyarrow = pytest.importorskip("pyarrow")
    numbers = pyarrow.field("n", "int32", metadata={"other": "x", "unit": "mm"})
    kinds = pyarrow.string(), pyarrow.large_string(), pyarrow.string_view()
    schema = pyarrow.schema([numbers, *(pyarrow.field(str(kind), kind) for kind in kinds)])
    texts = [None, "abc", TEXTS[2], "", "é€😀"]
    before = pyarrow.total_allocated_bytes()
    table = pyarrow.table([[None, 1, 2, 3, 4], texts, texts, texts], schema=schema)
    parts = pyarrow.concat_tables([table.slice(1, 2), table.slice(4), table.slice(2, 2)])
    for expected in (parts, table.slice(2)):
        back = from_arrow(expected)
        assert [dict(row) for row in back.rows()] == expected.to_pylist()
        assert dict(back.units) == {"n": "mm", **dict.fromkeys(map(str, kinds), "")}
    # A single batch is kept as long as it is used.
    column = back["n"]
    del back, table, parts, expected
    gc.collect()
    assert column.tolist() == [2, 3, 4] and pyarrow.total_allocated_bytes() > before
    del column
    assert pyarrow.total_allocated_bytes() == before


def test_streams_that_python_fills(frame):
    pyarrow = pytest.importorskip("pyarrow")
    table = pyarrow.table(frame)

    def batches(failing):
        yield from table.to_batches()
        # Another thread needs the interpreter's lock before this one goes on.
        worker = threading.Thread(target=gc.collect)
        worker.start()
        worker.join()
        if failing:
            raise ValueError("source gone")
        yield from table.to_batches()

    whole, failing = (pyarrow.RecordBatchReader.from_batches(table.schema, batches(flag)) for flag in (False, True))
    back = from_arrow(whole)
    assert (back["text"], back.units) == (TEXTS * 2, frame.units)
    raises(zarnik.Error, "the Arrow stream failed: .*source gone", from_arrow, failing)


def test_pyarrow_types_that_a_table_cannot_hold():
    pyarrow = pytest.importorskip("pyarrow")
    for values, message in (
        (pyarrow.array([1, None, None]), 'column "c" has 2 nulls'),
        (pyarrow.array(["a", None]), 'column "c" has 1 null'),
        (pyarrow.array([[1], [2]]), "list"),
        (pyarrow.array([{"a": 1}]), "struct"),
        (pyarrow.array([0], pyarrow.timestamp("us")), "timestamp"),
        (pyarrow.array([0], pyarrow.time32("ms")), "time "),
        (pyarrow.array([[1, 2, 3]], pyarrow.list_(pyarrow.int64(), 3)), "fixed-size list"),
        (pyarrow.array([decimal.Decimal(1)]), "decimal"),
        (pyarrow.nulls(1), "null"),
        (pyarrow.array([True]), "boolean"),
        (pyarrow.array([b"x"]), "binary"),
        (pyarrow.array(["a"]).dictionary_encode(), "dictionary encoded"),
    ):
        table = pyarrow.table({"good": [1] * len(values), "c": values})
        raises(zarnik.InvalidArgument, message, from_arrow, table)
    numbers = nanoarrow.ArrayStream([1, 2], nanoarrow.int32())
    raises(zarnik.InvalidArgument, "is no table, a struct is needed", from_arrow, numbers)


def by_pandas(frame):
    pandas = pytest.importorskip("pandas")
    if hasattr(pandas.DataFrame, "from_arrow"):
        return pandas.DataFrame.from_arrow(frame)
    return pytest.importorskip("pyarrow").table(frame).to_pandas()


def by_duckdb(frame):
    pytest.importorskip("pyarrow")
    return pytest.importorskip("duckdb").sql("select * from frame")


LIBRARIES = {
    "pyarrow": lambda frame: pytest.importorskip("pyarrow").table(frame),
    "nanoarrow": nanoarrow.ArrayStream,
    "pandas": by_pandas,
    "polars": lambda frame: pytest.importorskip("polars").DataFrame(frame),
    "duckdb": by_duckdb,
}


@pytest.mark.parametrize("name", LIBRARIES)
def test_tables_of_other_libraries(frame, name):
    table = LIBRARIES[name](frame)
    if name in ("pandas", "polars"):
        assert list(table.columns) == frame.columns and list(table["text"]) == TEXTS
        assert_array_equal(table["i2"].to_numpy(), frame["i2"])
    assert_same(from_arrow(table), frame, units=name in ("pyarrow", "nanoarrow"))
