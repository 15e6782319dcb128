"""The metadata tree, its iterators, its read-only view and its paths."""

import gc
import random

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


def test_errors_of_the_tree():
    node = tree("a")
    for view in (node, Readonly(node)):
        refused("^metadata node 'root' has no child 'b' among its 1$", view.child, "b")
    refused("empty child", node.add_child, None)
    refused("needs a node", Readonly, None)


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
    value = child.get_value()
    copy = value.clone()
    del child
    assert (CountingValue.alive(), _zarnik.VariantDataValue___getitem(value, 0)) == (before + 2, 0.0)
    del value, copy
    assert CountingValue.alive() == before


PATHS = ["/MRC/ext/pixelSize", "MRC/ext/pixelSize", "\\MRC\\ext\\pixelSize", "MRC\\ext\\pixelSize"]


@pytest.mark.parametrize("path", PATHS)
def test_paths(path):
    root = tree()
    value = _classes.VariantDataValueFactory.create([1.5, 2.5])
    assert Helper.create_path(root, path, value).get_key() == "root"
    for same in PATHS:
        assert Helper.get_node(root, same).get_key() == "pixelSize"
    assert Helper.exists(root, path)
    assert Helper.get_node(root, "missing/path") is Helper.get_node(None, path) is None
    assert not Helper.exists(root, "missing/path")
    old = Helper.get_node(root, path)
    Helper.create_path(root, path, None)
    assert (Helper.get_node(root, path).get_value(), old.get_value() is None) == (None, False)
    refused("names no node", Helper.create_path, root, "", None)
    refused("'//'", Helper.create_path, root, "//", None)
    refused("", Helper.create_path, None, "a", None)


def test_children_are_those_of_a_dict_whatever_the_changes():
    source, expected, parent = random.Random(20240607), {}, tree()
    for step in range(10_000):
        key = str(source.randrange(300))
        # Phases that mostly grow and phases that mostly shrink.
        if source.random() < (0.7 if step // 2500 % 2 == 0 else 0.3):
            parent.add_child(Node(key, _classes.VariantDataValueFactory.create(step)))
            expected[key] = f"{key} = {step}"
        else:
            assert parent.has_child(key) is (key in expected)
            parent.remove_child(key)
            expected.pop(key, None)
        assert parent.get_child_count() == len(expected)
        if step % 100 == 0:
            assert [child.to_string() for child in walk(parent)] == list(expected.values())
            assert [parent.child(key).to_string() for key in expected] == list(expected.values())


def test_no_node_becomes_its_own_ancestor_but_two_may_share_one():
    root, b = tree("a"), Node("b", None)
    a = root.child("a")
    a.add_child(b)
    for ancestor in (root, a, b):
        refused("cannot become a child of 'b'", b.add_child, ancestor)
    assert keys(b) == []
    other = tree()
    other.add_child(b)
    root.add_child(other)
    refused("cannot become", b.add_child, other)
    copy = root.clone()
    copy.child("a").child("b").add_child(Node("new", None))
    assert (keys(copy.child("root").child("b")), keys(b)) == (["new"], [])
    # Having left the tree ends the ban.
    a.remove_child("b")
    b.add_child(a)
    assert (keys(b), keys(a)) == (["a"], [])


def test_an_iterator_stays_at_its_place_while_children_change():
    parent = tree(*"abcd")
    walker = ends(parent)[0]
    walker.next()
    held = walker.value()
    parent.remove_child("a")
    assert walker.value().get_key() == "b"
    parent.add_child(Node("b", _classes.VariantDataValueFactory.create(5)))
    assert (walker.value().to_string(), held.to_string()) == ("b = 5", "b")
    for key in "bc":
        parent.remove_child(key)
    refused("was removed", walker.value)
    parent.add_child(Node("e", None))
    assert [walker.next() and walker.value().get_key() for _ in range(2)] == ["d", "e"]
    assert walker.next() is walker.next() is False and walker == ends(parent)[1]


def test_many_children():
    names = [str(number) for number in range(50_000)]
    parent = tree(*names)
    copy = parent.clone()
    assert keys(copy) == [copy.child(name).get_key() for name in names] == names
    for name in names:  # always the first one, without a search through those already taken
        assert ends(copy)[0].value().get_key() == name
        copy.remove_child(name)
    assert (copy.get_child_count(), parent.get_child_count()) == (0, 50_000)


def depth_of(node):
    depth = 0
    while node.get_child_count():
        node, depth = next(walk(node)), depth + 1
    return depth


LEVELS = 100_000


def chain(downwards):
    top = bottom = Node("0", None)
    for level in range(1, LEVELS + 1):
        new = Node(str(level), None)
        (bottom if downwards else new).add_child(new if downwards else top)
        top, bottom = (top, new) if downwards else (new, bottom)
    refused("cannot become a child", bottom.add_child, top)
    return top


def diamonds():
    """Two children that have one child, on each of many levels: spelled out that would be 2^60 nodes."""
    below = Node("leaf", None)
    for _ in range(60):
        above = tree("left", "right")
        for side in walk(above):
            side.add_child(below)
        below = above
    return below


def stored_and_back(root):
    image = _zarnik.ImageViewFactory_allocate([1], _zarnik.DataTypeId_UINT8)
    _zarnik.ImageView_set_metadata(image, root)
    stream = _classes.StreamAccessFactory.allocate()
    _zarnik.Serialization_encode_image_view(image, stream)
    size = stream.tell()
    stream.seek(0)
    return size, _zarnik.ImageView___get_metadata(_zarnik.Serialization_decode_image_view(stream))


# Minutes if any step were quadratic, a crash if one recursed.
@pytest.mark.parametrize(
    ("make", "depth", "lines", "most"),
    [
        (lambda: chain(True), LEVELS, LEVELS, 6_400_000),
        (lambda: chain(False), LEVELS, LEVELS, 6_400_000),
        (diamonds, 120, 240, 20_000),
    ],
    ids=["downwards", "upwards", "diamonds"],
)
def test_deep_and_shared_nodes(make, depth, lines, most):
    root = make()
    copy = root.clone()
    size, again = stored_and_back(root)
    assert depth_of(copy) == depth_of(again) == depth
    text = copy.to_string()
    assert again.to_string() == text
    assert text.count("\n") <= lines and len(text) < most and size < most


def test_paths_of_many_levels():
    root, path = tree(), "/x" * LEVELS
    Helper.create_path(root, path, _classes.VariantDataValueFactory.create(5))
    assert depth_of(root) == LEVELS
    assert Helper.get_node(root, path).to_string() == "x = 5"
