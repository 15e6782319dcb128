"""Metadata nodes as trees, and metadata values as Python values."""

import copy
import ctypes
import json
import pickle
import sys

import numpy
import pytest
from hypothesis import given
from hypothesis import strategies as st
from hypothesis.extra import numpy as arrays

import _zarnik
import zarnik
from support.expect import raises
from zarnik import MetadataNode, ReadonlyMetadataNode, variant
from zarnik._variants import wide_string

int64 = st.integers(-(2**63), 2**63 - 1)
numbers = int64 | st.floats(allow_nan=False)
texts = st.text(st.characters(exclude_characters="\0", exclude_categories=["Cs"]))
values = numbers | texts | st.lists(int64, min_size=2) | st.lists(texts, min_size=2)
keys = st.text("abcäß /.@", max_size=4) | st.sampled_from(["@zarnik", "@zarnik:", "@zarnik:a"])
leaves = st.none() | st.booleans() | st.integers(-(2**70), 2**70) | st.floats(allow_nan=False) | st.text()


def trees_of(leaves, *more):
    def wider(below):
        dicts = [st.dictionaries(keys, below, max_size=4), *(like(below) for like in more)]
        return st.one_of(st.lists(below, max_size=4), *dicts)

    return st.dictionaries(keys, st.recursive(leaves, wider, max_leaves=12), max_size=4)


def like_what_is_marked(below):
    """Dicts that look like the objects that stand for other things in JSON."""
    array = {"@zarnik": st.just("array"), "dtype": st.just("i4"), "shape": st.just([]), "values": st.just([5])}
    return st.fixed_dictionaries(array) | st.fixed_dictionaries({"@zarnik": st.just("dict") | below, "dict": below})


trees = trees_of(leaves | values)
dtypes = st.one_of(
    st.just(numpy.dtype("?")),
    arrays.integer_dtypes(endianness="?"),
    arrays.unsigned_integer_dtypes(endianness="?"),
    arrays.floating_dtypes(endianness="?", sizes=(16, 32, 64)),
    arrays.complex_number_dtypes(endianness="?", sizes=(64, 128)),
    st.just(numpy.dtype("U3")),
)
all_arrays = dtypes.flatmap(
    lambda dtype: arrays.arrays(
        dtype,
        arrays.array_shapes(min_dims=0, max_dims=3, min_side=0, max_side=3),
        elements=texts.filter(lambda text: len(text) <= 3) if dtype.kind == "U" else None,
    )
)
everything = trees_of(leaves | values | st.floats() | all_arrays, like_what_is_marked)


def _kind(value):
    return next((kind for kind in (bool, int, float, str) if isinstance(value, kind)), type(value))


def exact(value):
    """Tell apart what compares equal: 1, 1.0 and True."""
    if isinstance(value, dict):
        return {key: exact(entry) for key, entry in value.items()}
    if isinstance(value, numpy.ndarray):
        return value.dtype.str, value.shape, repr(value.tolist())
    if isinstance(value, float):
        return repr(value)  # NaN is not equal to itself
    return [exact(entry) for entry in value] if isinstance(value, list) else (_kind(value), value)


@given(value=values)
def test_values_come_back_whole(value):
    made = variant(value)
    assert made.to_python() == value
    assert made == value
    assert (list(made), len(made)) == ((value, len(value)) if isinstance(value, list) else ([value], 1))
    assert variant(made) is made
    for twin in (made.clone(), copy.copy(made), copy.deepcopy(made), pickle.loads(pickle.dumps(made))):
        assert twin == made
        assert (twin is made, twin.type()) == (False, made.type())


def test_values_convert_and_compare():
    value = variant([1, 2**40, -3])
    assert (value[0], value[2], value[1:], value.count()) == (1, -3, [2**40, -3], 3)
    for index in (-1, 3):
        raises(IndexError, "Index out of range", value.__getitem__, index)
    array = numpy.asarray(value)
    assert (array.dtype, array.tolist(), array.flags.writeable) == (numpy.int64, [1, 2**40, -3], False)
    _zarnik.delete_VariantDataValue(value)
    taken = [bytes([0xAB]) * array.nbytes for _ in range(100)]  # what is freed is used again
    assert array.tolist() == [1, 2**40, -3] and taken
    assert numpy.asarray(variant(["a", "ß"])).tolist() == ["a", "ß"]
    assert numpy.asarray(variant(2), "f4").dtype == numpy.float32
    assert (int(variant(5)), float(variant(5)), str(variant(5)), float(variant(2.5))) == (5, 5.0, "5", 2.5)
    assert variant(numpy.array([1, 2], "u1")) == (1, 2) == variant(range(1, 3)) == numpy.array([1, 2])
    assert variant([1, 2.5]) == [1.0, 2.5] and variant(True) == 1
    assert variant(5) != 6 and variant(5) != None and variant("a") != ["a", "a"]  # noqa: E711
    assert (variant(5).type(), variant(2**31).type()) == (zarnik.DataTypeId.INT32, zarnik.DataTypeId.INT64)
    assert repr(variant(list(range(20)))).endswith("[0, 1, 2, 3, 4, 5, 6, 7, ... 20 in all]>")
    raises(TypeError, "value of one element", int, variant([1, 2]))


@pytest.mark.parametrize(
    ("value", "error", "text"),
    [
        (2**63, OverflowError, str(2**63)),
        ([0, -(2**63) - 1], OverflowError, "64 signed bits"),
        (None, TypeError, "got None"),
        ({}, TypeError, "got {}"),
        ([1, "a"], TypeError, "all numbers or all strings"),
        ([[1]], TypeError, "all numbers or all strings"),
        ([], ValueError, "empty sequence"),
        ("a\0b", ValueError, "zero character"),
    ],
)
def test_what_is_no_value_is_refused(value, error, text):
    raises(error, text, variant, value)


def test_strings_of_wide_characters_end_at_a_whole_zero():
    for unit, encoding in ((2, "utf-16"), (4, "utf-32")):
        stored = ctypes.create_string_buffer("Āa😀".encode(f"{encoding}-{sys.byteorder[0]}e") + bytes(unit))
        assert wide_string(ctypes.addressof(stored), unit, encoding) == "Āa😀"


@given(tree=trees)
def test_trees_of_python_values_come_back_as_they_were(tree):
    node = MetadataNode.from_dict(tree, "root")
    assert node.key() == "root"
    copies = [node.clone(), copy.copy(node), copy.deepcopy(node), MetadataNode.from_json(node.to_json(), "root")]
    for same in (node, *copies, ReadonlyMetadataNode(node)):
        for twin in (same, pickle.loads(pickle.dumps(same))):
            assert exact(twin.to_dict()) == exact(tree)
            assert twin == node == tree
    assert exact(json.loads(MetadataNode.from_json(json.dumps(tree)).to_json())) == exact(tree)
    if tree:
        changed = {**tree, next(iter(tree)): {"other": 1}}
        assert node != changed
        assert node != MetadataNode.from_dict(changed, "root")
    outer = MetadataNode("outer")
    for key, entry in tree.items():
        outer[(key,)] = entry
        assert (key,) in outer
        assert exact(outer[(key,)].to_python()) == exact(entry)
    assert list(outer.keys()) == list(tree)


@given(tree=everything)
def test_trees_with_arrays_come_back_by_json(tree):
    node = MetadataNode.from_dict(tree)
    assert exact(node.to_dict()) == exact(tree)
    assert exact(MetadataNode.from_json(node.to_json()).to_dict()) == exact(tree)
    for child in node:
        back = MetadataNode.from_json(child.to_json(indent=1))
        assert exact(back.to_dict()) == exact(child.to_dict())
        assert exact(back.to_python()) == exact(child.to_python())


@pytest.mark.parametrize(
    ("array", "text"),
    [
        ({"dtype": "u1", "shape": [1], "values": [300]}, ""),
        ({"dtype": "i4", "shape": [1], "values": [1.5]}, "not all of dtype int32"),
        ({"dtype": "f4", "shape": [2], "values": [1.0]}, "reshape"),
        ({"dtype": "c8", "shape": [1], "values": [1.0]}, ""),
        ({"dtype": "O", "shape": [1], "values": [None]}, "dtype object"),
        ({"dtype": "none", "shape": [], "values": []}, "none"),
    ],
)
def test_json_of_what_is_no_array_is_refused(array, text):
    with pytest.raises((ValueError, TypeError), match=f"metadata at 'a/b': .*{text}"):
        MetadataNode.from_json(json.dumps({"a": {"b": {"@zarnik": "array", **array}}}))


@pytest.mark.parametrize("entry", [None, True, 5, "a", [], [1], [[]], {"": True}, 2.5])
def test_json_of_anything_comes_back(entry):
    assert exact(json.loads(MetadataNode.from_json(json.dumps(entry)).to_json())) == exact(entry)


@pytest.mark.parametrize(
    ("entry", "error", "text"),
    [
        ({"a": {"b": object()}}, TypeError, "metadata at 'a/b': .*got <object"),
        ({"a": [1, {"c": b"x"}]}, TypeError, "metadata at 'a/1/c': .*got b'x'"),
        ({"a": {5: 1}}, TypeError, "metadata at 'a': the keys of metadata are strings, got 5"),
        ({"a": {"b\0": 1}}, ValueError, "a key of metadata has no zero character"),
        ({"a": numpy.array([object()])}, TypeError, "metadata at 'a': .*dtype object"),
        ({"a": [numpy.ma.masked_equal([1, 2], 1)]}, TypeError, "metadata at 'a/0': .*no mask"),
        ([1], TypeError, r"from_dict takes a dict, got \[1\]"),
    ],
)
def test_errors_name_the_key(entry, error, text):
    raises(error, text, MetadataNode.from_dict, entry)


def test_nodes_are_changed_like_dicts():
    node = MetadataNode.from_dict({"a": 1, "b": {"c": 2}})
    assert (node.pop("b/c").value(), "b/c" in node, node.pop("none", 5)) == (2, False, 5)
    raises(KeyError, "none", node.pop, "none")
    assert node.setdefault("x/y", 3).value() == 3 == node.setdefault("x/y", 4).value()
    node.update({"a": [1, 2], "with/slash": False}, more="text")
    node.update(MetadataNode.from_dict({"d": {"e": None}}))
    expected = {"a": [1, 2], "b": {}, "x": {"y": 3}, "with/slash": False, "more": "text", "d": {"e": None}}
    assert node == {**expected, "b": None}
    assert node[("with/slash",)].to_python() is False
    assert [child.key() for child in node.values()] == node.keys() == list(expected)
    assert dict(node)["x"]["y"] == node["x/y"]
    raises(TypeError, "read-only: clone", ReadonlyMetadataNode(node).__setitem__, "a", 1)


def test_a_node_is_found_by_its_path():
    node = MetadataNode("root")
    node["MRC/ext/pixelSize"] = 2.5
    node["\\MRC\\title"] = "a"
    node["MRC/labels"] = {"": 2, "one": [1, 2], "two": None}
    assert node["MRC/ext/pixelSize"].value() == node["/MRC/ext"]["pixelSize"].value() == 2.5
    assert [child.key() for child in node["MRC"]] == node["MRC"].keys() == ["ext", "title", "labels"]
    assert all(child.key() == key for key, child in node["MRC"].items())
    assert (len(node), len(node["MRC"]), bool(node["MRC/title"])) == (1, 3, True)
    node["MRC/title"] = "b"
    del node["MRC/ext"]
    assert node["MRC"].to_dict() == {"title": "b", "labels": {"": 2, "one": [1, 2], "two": None}}
    assert "MRC/title" in node and "MRC/ext/pixelSize" not in node and node.get("MRC/none") is None
    for missing in ("MRC/ext", "none/below", ""):
        raises(KeyError, "", node.__delitem__, missing)
    raises(KeyError, "none", node.__getitem__, "none")
    raises(TypeError, "keys of metadata are strings, got 5", node.__setitem__, "a", {5: 1})


def test_nodes_are_copied_to_where_they_are_put():
    root = zarnik.MetadataNode.from_dict({"a": {"b": {"": 1, "c": "text"}}})
    root["x/y"] = root["a/b"]
    root["a/b"] = 5
    assert root.to_dict() == {"a": {"b": 5}, "x": {"y": {"": 1, "c": "text"}}}
    raises(TypeError, "got <object", root.__setitem__, "p/q", object())
    assert "p" not in root
    raises(TypeError, "paths, which are strings or tuples of strings, got 0", root.__getitem__, 0)


def test_a_tree_that_contains_itself_is_refused():
    shared = {"a": 1}
    tree = {"b": shared, "c": shared, "d": {}}
    assert MetadataNode.from_dict(tree) == tree
    tree["d"]["e"] = tree
    raises(ValueError, "'e' contain themselves", MetadataNode.from_dict, tree)


def test_trees_are_drawn():
    node = MetadataNode.from_dict({"a": {"": 1, "b": "x<y", "c": [1, 2]}, "d": None}, "root")
    assert repr(node) == "root\n├─ a = 1\n│  ├─ b = 'x<y'\n│  └─ c = [1, 2]\n└─ d"
    html = node._repr_html_()
    assert "x&lt;y" in html
    assert html.count("<details") == html.count("</details>") == 2
    wide = MetadataNode.from_dict({str(number): number for number in range(5000)}, "wide")
    assert len(repr(wide).splitlines()) == 101
    assert wide._repr_html_().count("<div>") < 2000


def test_deep_trees_need_no_deep_stack():
    root = node = MetadataNode("0")
    for level in range(20_000):
        child = MetadataNode(str(level), level)
        node.add_child(child)
        node = child
    assert len(repr(root).splitlines()) < 30
    assert root._repr_html_()
    nested, levels = root.to_dict(), 0
    while isinstance(nested, dict):
        nested, levels = nested[str(levels)], levels + 1
    assert levels == 20_000
