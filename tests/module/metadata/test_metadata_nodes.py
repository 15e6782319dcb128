"""The metadata tree, its iterators, its read-only view and its paths."""

import gc

import pytest

import _zarnik
from support.expect import refused
from support.shared_types import CountingValue
from zarnik import _classes

Node = _classes.MetadataNode
Readonly = _classes.ReadonlyMetadataNode
Helper = _classes.MetadataNodeHelper


def ends(node):
    name = type(node).__name__
    return getattr(_zarnik, f"{name}___begin")(node), getattr(_zarnik, f"{name}___end")(node)


def walk(node):
    iterator, stop = ends(node)
    while iterator != stop:
        yield iterator.value()
        iterator.next()


def keys(node):
    return [child.get_key() for child in walk(node)]


def tree(*children):
    node = _classes.MetadataNodeFactory.create("root", None)
    for key in children:
        node.add_child(Node(key, None))
    return node


@pytest.mark.parametrize("view", [lambda node: node, Readonly], ids=["node", "readonly"])
def test_reading(view):
    value = _classes.VariantDataValueFactory.create(5)
    node = Node("clé", value)
    node.add_child(Node("b", None))
    node.add_child(Node("a", None))
    seen = view(node)
    assert seen.get_key() == "clé"
    assert int(seen.get_value().raw()) == int(value.raw())
    assert seen.get_child_count() == 2
    assert keys(seen) == ["b", "a"]
    assert [seen.has_child(key) for key in ("a", "b", "c")] == [True, True, False]
    assert seen.child("a").get_value() is None
    assert seen.to_string() == "clé = 5\n  b\n  a"
    for copy in (seen.clone(), Node(node)):
        copy.child("a").add_child(Node("new", None))
        assert type(copy) is Node
        assert node.child("a").get_child_count() == 0


def test_trees_are_printed_in_few_lines():
    root = tree("b\nc")
    for path, value in (("a/size", [-1, 0, 1]), ("a/more", list(range(20))), ("text", 'line\n"two"')):
        Helper.create_path(root, path, _classes.VariantDataValueFactory.create(value))
    more = f"    more = [{', '.join(map(str, range(16)))}, ... 20 elements of INT64]"
    expected = ["root", '  "b\\nc"', "  a", "    size = [-1, 0, 1]", more, '  text = "line\\n\\"two\\""']
    assert root.to_string().splitlines() == expected


def test_adding_replaces_and_removing_frees():
    node = tree(*"abc")
    node.add_child(Node("b", _classes.VariantDataValueFactory.create("new")))
    assert keys(node) == ["a", "b", "c"]
    assert node.child("b").get_value() is not None
    held = node.child("a")
    for _ in range(2):
        node.remove_child("a")
    assert (keys(node), held.get_key()) == (["b", "c"], "a")


def test_errors_of_the_tree():
    node = tree("a")
    for view in (node, Readonly(node)):
        refused("^metadata node 'root' has no child 'b' among its 1$", view.child, "b")
    refused("cannot become a child of 'a'", node.child("a").add_child, node)
    refused("empty child", node.add_child, None)
    refused("needs a node", Readonly, None)
    assert not hasattr(Readonly, "add_child") and not hasattr(Readonly, "remove_child")


@pytest.mark.parametrize("kind", [_classes.MetadataNodeIterator, _classes.ConstMetadataNodeIterator])
def test_iterators(kind):
    node = tree("a", "b")
    view = node if kind is _classes.MetadataNodeIterator else Readonly(node)
    first, stop = ends(view)
    assert type(first) is kind
    second = kind(first)
    assert first == second
    assert (first != second) is False
    assert second.next() is True
    assert first != second
    assert (first == second) is False
    assert (first == 5) is False
    assert [it.get_key() for it in (second.value(), second.__ref__(), second.__deref__())] == ["b", "b", "b"]
    assert second.next() is False
    assert second == stop == kind() == kind(None)
    refused("at the end", second.value)
    node.remove_child("a")
    refused("removed", first.value)
    del node, view
    gc.collect()
    assert first.next() is True
    assert first.value().get_key() == "b"
    assert keys(tree()) == []


def test_held_nodes_outlive_their_trees():
    gc.collect()
    before = CountingValue.alive()
    root = tree("a")
    root.child("a").add_child(Node("b", CountingValue(_zarnik.DataTypeId_DOUBLE)))
    root.child("a").add_child(Node("c", CountingValue(_zarnik.DataTypeId_DOUBLE)))
    child = root.child("a").child("b")
    view = Readonly(root.child("a"))
    del root
    gc.collect()
    assert CountingValue.alive() == before + 2
    assert view.get_child_count() == 2
    del view
    assert CountingValue.alive() == before + 1
    assert child.get_key() == "b"
    del child
    assert CountingValue.alive() == before


PATHS = ["/MRC/ext/pixelSize", "MRC/ext/pixelSize", "\\MRC\\ext\\pixelSize", "MRC\\ext\\pixelSize"]


@pytest.mark.parametrize("path", PATHS)
def test_paths(path):
    root = tree()
    value = _classes.VariantDataValueFactory.create([1.5, 2.5])
    assert Helper.create_path(root, path, value).get_key() == "root"
    for same in PATHS:
        assert Helper.get_node(root, same).get_key() == "pixelSize"
        assert Helper.exists(root, same)
    assert root.child("MRC").get_value() is None
    assert Helper.get_node(root, "missing/path") is Helper.get_node(None, path) is None
    assert not Helper.exists(root, "missing/path")
    old = Helper.get_node(root, path)
    Helper.create_path(root, path, None)
    assert (Helper.get_node(root, path).get_value(), old.get_value() is None) == (None, False)
    refused("names no node", Helper.create_path, root, "", None)
    refused("'//'", Helper.create_path, root, "//", None)
    refused("", Helper.create_path, None, "a", None)
