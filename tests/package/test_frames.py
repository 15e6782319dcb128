"""Tables as users have them. Expected values come from NumPy and plain lists."""

import copy
import gc
import pickle
import weakref

import numpy
import pytest
from hypothesis import given
from hypothesis import strategies as st
from numpy.testing import assert_array_equal

import zarnik
from support.expect import raises

make = zarnik.DataFrameView.from_dict


@pytest.fixture
def frame():
    return make(
        {"area": numpy.array([1.5, 2.5, 3.5]), "label": ["a", "é€😀", "n\0l"], "count": numpy.array([1, 2, 3], "u1")},
        units={"area": "mm²"},
    )


def test_what_a_table_tells(frame):
    assert (len(frame), frame.shape) == (3, (3, 3))
    assert frame.columns == list(frame) == ["area", "label", "count"]
    assert "area" in frame and "volume" not in frame and 5 not in frame
    assert frame.dtypes == {"area": "f8", "label": str, "count": "u1"}
    assert dict(frame.units) == {"area": "mm²", "label": "", "count": ""}
    assert frame["label"] == ["a", "é€😀", "n\0l"]
    assert_array_equal(frame["area"], [1.5, 2.5, 3.5])
    assert not zarnik.DataFrameView.from_dict({})
    raises(KeyError, "'volume': the columns are 'area', 'label', 'count'", frame.__getitem__, "volume")
    raises(TypeError, "named by a str", frame.__getitem__, 0)


def test_units(frame):
    frame.units["count"] = "µm"
    assert frame.unit(2) == "µm"
    del frame.units["area"]
    assert frame.units["area"] == ""
    frame.units = {"label": "px", "area": None}
    assert frame.units == {"area": "", "label": "px", "count": "µm"}
    raises(KeyError, "", setattr, frame, "units", {"label": "changed", "other": "m"})
    assert frame.units["label"] == "px"


def test_columns_of_numbers_are_the_tables_memory(frame):
    area = frame["area"]
    area[1] = 20
    assert frame["area"][1] == 20
    frame["area"][2] = 30
    assert area[2] == 30
    assert numpy.shares_memory(area, frame["area"])
    # Rows that come and go, and the end of the table, leave the array its memory.
    frame.remove_rows(0, 1)
    frame.insert(0, {"area": 7, "label": "x", "count": 0})
    frame.append({"area": numpy.arange(1000.0), "label": ["x"] * 1000, "count": 0})
    frame.remove_rows(1, 2)
    del frame
    gc.collect()
    assert_array_equal(area, [1.5, 20, 30])


def test_assignment(frame):
    given = {
        "area": [4, 5, 6], "count": numpy.array([9, 8, 7]), "label": ("x", "y", "z"), "all": 5, "name": "same",
        "flag": [True, False, True], "new": numpy.array([1, 2, 3], ">i2"),
    }  # fmt: skip
    for name, values in given.items():
        frame[name] = values
        expected = [values] * 3 if name in ("all", "name") else list(values)
        assert list(frame[name]) == expected
    assert frame.dtypes["new"] == "i2"
    del frame["new"]
    assert frame.columns == ["area", "label", "count", "all", "name", "flag"]


@pytest.mark.parametrize(
    ("name", "values", "error", "message"),
    [
        ("area", [1, 2], ValueError, "'area' has 3 rows, got 2 values"),
        ("area", ["a", "b", "c"], TypeError, "'area' holds float64"),
        ("area", numpy.zeros((3, 1)), ValueError, "one value a row"),
        ("count", [1, 2, 256], TypeError, "'count' holds uint8"),
        ("count", [0.5, 1, 2], TypeError, "'count' holds uint8"),
        ("label", ["a", "b"], ValueError, "'label' has 3 rows"),
        ("label", [1, 2, 3], TypeError, "'label' holds texts, got 1"),
        ("label", ["a", "\udc80", "c"], UnicodeEncodeError, "surrogates"),
        ("new", [1, 2], ValueError, "'new' has 3 rows"),
        ("new", [1j, 2, 3], zarnik.Error, "COMPLEX_DOUBLE are not supported"),
        ("new", ["a", "\udc80", "c"], UnicodeEncodeError, "surrogates"),
        ("", [1, 2, 3], zarnik.Error, "empty"),
        (5, [1, 2, 3], TypeError, "named by a str"),
    ],
)
def test_assignments_that_change_nothing(frame, name, values, error, message):
    before = repr(frame)
    raises(error, message, frame.__setitem__, name, values)
    assert repr(frame) == before


def test_rows(frame):
    assert [row["count"] for row in frame.rows(-2, -1)] == [2]
    frame.insert(3, {"area": 9, "label": "one", "count": 4})
    frame.insert(1, {"area": [7, 8], "label": ["p", "q"], "count": [5, 6]})
    expected = {
        "area": [1.5, 7, 8, 2.5, 3.5, 9],
        "label": ["a", "p", "q", "é€😀", "n\0l", "one"],
        "count": [1, 5, 6, 2, 3, 4],
    }
    assert list(frame.rows(1)) == [dict(zip(expected, row)) for row in zip(*expected.values())][1:]
    frame.insert(-1, frame)
    assert frame["count"].tolist() == [1, 5, 6, 2, 3, 1, 5, 6, 2, 3, 4, 4]


@given(data=st.data())
def test_random_changes_are_those_of_lists(data):
    model, rows = {"n": [1, -2, 3], "t": ["", "é€😀", "n\0l"]}, 3
    frame = make(model)
    # In memory of its own, or in that of others until it changes.
    frame = zarnik.DataFrameView.from_arrow(frame) if data.draw(st.booleans()) else frame
    for _ in range(data.draw(st.integers(1, 30))):
        first, count = data.draw(st.integers(0, rows)), data.draw(st.integers(0, 20))
        step = data.draw(st.sampled_from(["add", "remove", "drop", "new", "write"]))
        name = data.draw(st.sampled_from(list(model)))
        cells = ["x" * count * 100 if name[0] == "t" else count] * count
        if step == "add":
            frame.add_rows(first, count)
            rows += count
            for column in model:
                model[column][first:first] = ["" if column[0] == "t" else 0] * count
        elif step == "remove":
            count = min(count, rows - first)
            frame.remove_rows(first, count)
            rows -= count
            for column in model.values():
                del column[first : first + count]
        elif step == "drop" and len(model) > 1:
            del frame[name], model[name]
        elif step == "new" and (made := f"{name[0]}{first}-{count}") not in model:
            frame.add_column(made, str if name[0] == "t" else "i8")
            model[made] = ["" if name[0] == "t" else 0] * rows
        elif step == "write":
            part = cells[: rows - first]
            frame.write(name, part if name[0] == "t" else numpy.array(part, "i8"), first)
            model[name][first : first + len(part)] = part
        assert {name: list(values) for name, values in frame.to_dict().items()} == model


def test_rows_that_are_refused(frame):
    for rows, error in (
        ({"area": 1, "label": "x"}, KeyError),
        ({"area": 1, "label": "x", "count": 1, "more": 1}, KeyError),
        ({"area": [1, 2], "label": ["x"], "count": [1, 2]}, ValueError),
        ({"area": 1, "label": 5, "count": 1}, TypeError),
        ({"area": 1, "label": "x", "count": 300}, TypeError),
        ([1, "x", 1], TypeError),
    ):
        raises(error, "", frame.append, rows)
    one = {"area": 1, "label": "x", "count": 1}
    raises(IndexError, "row 4 is out of range for a table of 3 rows", frame.insert, 4, one)
    assert len(frame) == 3


def test_dictionaries_are_copies(frame):
    frame.to_dict()["area"][0] = 100
    assert frame["area"][0] == 1.5
    assert repr(make(frame.to_dict(), frame.units)) == repr(frame)
    raises(ValueError, "'b' has 2 rows, got 3 values", make, {"a": [1, 2], "b": [1, 2, 3]})
    raises(TypeError, "needs a sequence", make, {"a": 5})
    empty = make({"a": numpy.empty(0, "f4"), "b": []})
    assert (empty.shape, empty.dtypes["a"]) == ((0, 2), "f4")


def test_representations():
    frame = make({"<a>": numpy.arange(12), "text": ["<b>&"] * 12}, {"<a>": "<mm>", "text": "in"})
    text, shown = repr(frame), frame._repr_html_()
    assert "12 rows x 2 columns" in text and "<a> [<mm>]" in text and "text [in]" in text and text.endswith("...")
    assert "<th>&lt;a&gt;<br>[&lt;mm&gt;]</th>" in shown
    assert "<td>&lt;b&gt;&amp;</td>" in shown and "<b>" not in shown
    assert repr(make({})) == "<zarnik.DataFrameView of 0 rows x 0 columns>"


def test_parts_of_columns(frame):
    frame["wide"] = numpy.array([2**63 + 1, 2, 3], "u8")
    assert frame.read("label", 1) == ["é€😀", "n\0l"]
    assert frame.read(0, 1, 1).tolist() == [2.5]
    assert frame.at("wide", 0) == 2**63 + 1
    assert frame.at("label", 2) == "n\0l"
    frame.set_at("label", 0, "new")
    frame.set_at("wide", 2, 2**64 - 1)
    frame.write("area", [8, 9], 1)
    assert (frame["label"][0], frame["wide"].tolist()) == ("new", [2**63 + 1, 2, 2**64 - 1])
    assert frame["area"].tolist() == [1.5, 8, 9]
    for row in (-1, 3):
        raises(IndexError, f"row {row} [+] 1 rows is out of range for a table of 3 rows", frame.at, "area", row)
        raises(IndexError, "", frame.set_at, "area", row, 1)
    raises(IndexError, "column 4 is out of range for a table of 4 columns", frame.read, 4)
    raises(TypeError, "holds uint8", frame.set_at, "count", 0, 256)


def test_new_shapes(frame):
    frame.reshape(2, {"a": "f4", "b": str})
    assert (frame.shape, frame["b"], frame["a"].tolist()) == ((2, 2), ["", ""], [0, 0])
    assert zarnik.DataFrameViewFactory.allocate(2, {"a": "f4", "b": str}).dtypes == frame.dtypes
    assert zarnik.DataFrameViewFactory.allocate(0, {"a": "f4"}).shape == (0, 1)
    assert zarnik.DataFrameViewFactory.allocate(2**33, {"a": "u1"}).shape == (2**33, 1)
    assert zarnik.DataFrameViewFactory.allocate(10**8, {"a": "u1", "t": str}).at("t", 10**8 - 1) == ""
    for dtype in ("c8", ("u1", (3,))):
        raises((TypeError, zarnik.Error), "", frame.reshape, 2, {"a": dtype})
    raises(zarnik.Error, "neither may be 0", frame.reshape, 0, {"a": "f4"})
    assert frame.shape == (2, 2)


BY_PICKLE = [lambda frame, protocol=protocol: pickle.loads(pickle.dumps(frame, protocol)) for protocol in range(2, 6)]


@pytest.mark.parametrize("copied", [*BY_PICKLE, copy.copy, copy.deepcopy])
def test_copies_are_tables_of_their_own(frame, copied):
    frame["a\0b"] = numpy.array([2**53 + 1, -1, 0])
    frame.units["a\0b"] = "k\0m"
    twin = copied(frame)
    assert (twin.columns, twin.dtypes, dict(twin.units)) == (frame.columns, frame.dtypes, dict(frame.units))
    assert list(twin.rows()) == list(frame.rows())
    twin["area"][0] = 9.5
    twin["label"] = "x"
    twin.append(twin)
    assert (frame["area"][0], frame["label"][0], len(frame)) == (1.5, "a", 3)
    for columns in ({}, {"n": "f4", "t": str}):
        empty = copied(zarnik.DataFrameViewFactory.allocate(0, columns))
        assert (empty.shape, empty.columns) == ((0, len(columns)), list(columns))


def test_pickled_columns_of_numbers_are_not_copied():
    frame = make({"x": numpy.arange(100_000.0), "t": ["text"] * 100_000})
    buffers = []
    data = pickle.dumps(frame, 5, buffer_callback=buffers.append)
    assert len(data) < 1000
    twin = pickle.loads(data, buffers=buffers)
    assert numpy.shares_memory(twin["x"], frame["x"]) and twin["t"] == frame["t"]
    twin["x"] = 5.0
    assert frame["x"][1] == 1.0
    rows = weakref.ref(received := numpy.array(buffers[0].raw()))
    twin = pickle.loads(data, buffers=[received, *buffers[1:]])
    del received
    gc.collect()
    assert rows() is not None
    assert_array_equal(twin["x"], frame["x"])
    del twin
    assert rows() is None
    unaligned = numpy.frombuffer(b" " + bytes(buffers[0].raw()), "u1")[1:]
    assert_array_equal(pickle.loads(data, buffers=[unaligned, *buffers[1:]])["x"], frame["x"])
    for wrong in ([buffers[0].raw()[:-8], *buffers[1:]], [*buffers[:2], b""], [buffers[0], b"\0" * 8, buffers[2]]):
        raises(zarnik.Error, "are no 100000 ", pickle.loads, data, buffers=wrong)
