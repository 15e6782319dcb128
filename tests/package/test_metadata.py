"""Metadata nodes as mappings, and metadata values as Python values."""

from __future__ import annotations

import ctypes
import sys

import numpy
import pytest
from hypothesis import given
from hypothesis import strategies as st

import zarnik
from zarnik import MetadataNode, ReadonlyMetadataNode, variant
from zarnik._metadata import wide_string

int64 = st.integers(-(2**63), 2**63 - 1)
numbers = int64 | st.floats(allow_nan=False)
texts = st.text(st.characters(exclude_characters="\0", exclude_categories=["Cs"]))
values = numbers | texts | st.lists(int64, min_size=2) | st.lists(texts, min_size=2)
keys = st.text("abcäß /.", min_size=1, max_size=4)
trees = st.recursive(
    st.dictionaries(keys, values | st.none(), max_size=4),
    lambda tree: st.dictionaries(keys, tree, min_size=1),
    max_leaves=12,
)


@given(value=values)
def test_values_come_back_whole(value):
    made = variant(value)
    assert made.to_python() == value
    assert made == value
    assert (list(made), len(made)) == ((value, len(value)) if isinstance(value, list) else ([value], 1))
    assert variant(made) is made
    assert made == made.clone()


def test_values_convert_and_compare():
    value = variant([1, 2**40, -3])
    assert (value[0], value[2], value[1:], value.count()) == (1, -3, [2**40, -3], 3)
    for index in (-1, 3):
        with pytest.raises(IndexError, match="Index out of range"):
            value[index]
    array = numpy.asarray(value)
    assert (array.dtype, array.tolist(), array.flags.writeable) == (numpy.int64, [1, 2**40, -3], False)
    del value
    assert array.tolist() == [1, 2**40, -3]
    assert numpy.asarray(variant(["a", "ß"])).tolist() == ["a", "ß"]
    assert numpy.asarray(variant(2), "f4").dtype == numpy.float32
    assert (int(variant(5)), float(variant(5)), str(variant(5)), float(variant(2.5))) == (5, 5.0, "5", 2.5)
    assert variant(numpy.array([1, 2], "u1")) == (1, 2) == variant(range(1, 3)) == numpy.array([1, 2])
    assert variant([1, 2.5]) == [1.0, 2.5]
    assert variant(True) == 1
    assert variant(5) != 6
    assert variant(5) != None  # noqa: E711
    assert variant("a") != ["a", "a"]
    assert variant(5).type() == zarnik.DataTypeId.INT32
    assert variant(2**31).type() == zarnik.DataTypeId.INT64
    assert repr(variant(list(range(20)))).endswith("[0, 1, 2, 3, 4, 5, 6, 7, ... 20 in all]>")
    with pytest.raises(TypeError, match="value of one element"):
        int(variant([1, 2]))
    with pytest.raises(IndexError):
        variant([1, 2])[2]


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
    with pytest.raises(error, match=text):
        variant(value)


def test_strings_of_wide_characters_end_at_a_whole_zero():
    for unit, encoding in ((2, "utf-16"), (4, "utf-32")):
        stored = ctypes.create_string_buffer("Āa😀".encode(f"{encoding}-{sys.byteorder[0]}e") + bytes(unit))
        assert wide_string(ctypes.addressof(stored), unit, encoding) == "Āa😀"


@given(tree=trees)
def test_nested_dicts_come_back(tree):
    node = MetadataNode.from_dict(tree, "root")
    # A node without children is the same whether it came from a dict or from None.
    assert node.to_dict() == _without_empty(tree)
    assert node.key() == "root"
    assert node.clone().to_dict() == node.to_dict() == ReadonlyMetadataNode(node).to_dict()


def _without_empty(tree):
    return {key: _without_empty(entry) or None if isinstance(entry, dict) else entry for key, entry in tree.items()}


def test_a_node_is_a_mapping_of_paths():
    node = MetadataNode("root")
    node["MRC/ext/pixelSize"] = 2.5
    node["\\MRC\\title"] = "a"
    node["MRC/labels"] = {"": 2, "one": [1, 2], "two": None}
    assert node["MRC/ext/pixelSize"].value() == node["/MRC/ext"]["pixelSize"].value() == 2.5
    assert node["MRC"].keys() == ["ext", "title", "labels"]
    assert all(child.key() == key for key, child in node["MRC"].items())
    assert [child.key() for child in node["MRC"]] == node["MRC"].keys()
    assert (len(node), len(node["MRC"]), bool(node["MRC/title"])) == (1, 3, True)
    assert "MRC/ext" in node
    assert "MRC/none" not in node
    assert node.get("MRC/none") is None
    assert node["MRC/labels"].to_dict() == {"": 2, "one": [1, 2], "two": None}
    node["MRC/title"] = "b"
    assert node["MRC"].to_dict()["title"] == "b"
    assert node["MRC"].keys() == ["ext", "title", "labels"]
    del node["MRC/ext"]
    assert "MRC/ext/pixelSize" not in node
    for missing in ("MRC/ext", "none/below", ""):
        with pytest.raises(KeyError):
            del node[missing]
    with pytest.raises(KeyError, match="none"):
        node["none"]
    with pytest.raises(TypeError, match="keys of metadata are strings, got 5"):
        node["a"] = {5: 1}


def test_nodes_are_copied_to_where_they_are_put():
    root = zarnik.MetadataNode.from_dict({"a": {"b": {"": 1, "c": "text"}}})
    root["x/y"] = root["a/b"]
    root["a/b"] = 5
    assert root.to_dict() == {"a": {"b": 5}, "x": {"y": {"": 1, "c": "text"}}}
    with pytest.raises(TypeError, match="got <object"):
        root["p/q"] = object()
    assert "p" not in root
    with pytest.raises(TypeError, match="paths, which are strings, got 0"):
        root[0]


def test_a_tree_that_contains_itself_is_refused():
    shared = {"a": 1}
    tree = {"b": shared, "c": shared, "d": {}}
    assert zarnik.MetadataNode.from_dict(tree)["c/a"].value() == 1
    tree["d"]["e"] = tree
    with pytest.raises(ValueError, match="'e' contain themselves"):
        zarnik.MetadataNode.from_dict(tree)


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
