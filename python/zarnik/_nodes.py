"""Nodes of metadata: trees found by paths, changed like dicts, copied by value."""

from __future__ import annotations

from collections.abc import Iterator, Mapping
from typing import TYPE_CHECKING, Any, Callable, Union

import zarnik._classes as _classes
from zarnik import _drawing, _trees
from zarnik._calls import flat
from zarnik._extension import extends, kept

if TYPE_CHECKING:
    from zarnik._classes import MetadataNode, ReadonlyMetadataNode, VariantDataValue

#: "MRC/ext/pixelSize", or a tuple of keys, which may have slashes
Path = Union[str, tuple[str, ...]]
_NOTHING: Any = object()


def _keys(path: Any) -> list[str]:
    if isinstance(path, tuple) and all(isinstance(key, str) for key in path):
        return [_trees.stored_key(key) for key in path]
    if not isinstance(path, str):
        raise TypeError(f"metadata is found by paths, which are strings or tuples of strings, got {path!r}")
    return [_trees.stored_key(key) for key in path.replace("\\", "/").split("/") if key]


class _Node:
    """A tree, found by paths: `node["MRC/ext/pixelSize"]`, or a tuple of keys where keys have slashes.

    A child whose key is a whole path, slashes included, comes first where one is looked up.

    Iteration goes over the children, as that of an XML element does; `in` asks for a key or a path. Markers, see
    `from_dict`, are left out of both.
    """

    if TYPE_CHECKING:

        def get_key(self) -> str: ...
        def get_value(self) -> VariantDataValue | None: ...
        def get_child_count(self) -> int: ...
        def has_child(self, key: str) -> bool: ...
        def child(self, key: str) -> Any: ...

    def key(self) -> str:
        """Return the key of this node."""
        return self.get_key()

    def value(self) -> VariantDataValue | None:
        """Return the value of this node, or None."""
        return self.get_value()

    def child_count(self) -> int:
        """Return the number of children of this node, markers included."""
        return self.get_child_count()

    def get(self, path: Path, default: Any = None) -> Any:
        """Return the node at a path, or the default if there is none."""
        if isinstance(path, str) and "/" in path and self.has_child(path):
            return self.child(path)
        node = self
        for key in _keys(path):
            if not node.has_child(key):
                return default
            node = node.child(key)
        return node

    def __getitem__(self, path: Path) -> Any:
        node = self.get(path)
        if node is None:
            raise KeyError(path)
        return node

    def __contains__(self, path: object) -> bool:
        return isinstance(path, (str, tuple)) and self.get(path) is not None

    def __iter__(self) -> Iterator[Any]:
        """Go over the children."""
        place = kept(self)
        for child in _trees.children_of(self):
            if child.get_key() == _trees.MARK and _trees.is_marked(self):
                continue
            if place is not None:
                child._kept = place.below(child.get_key())
            yield child

    def __len__(self) -> int:
        return self.get_child_count() - bool(self.get_child_count() and _trees.is_marked(self))

    def __bool__(self) -> bool:
        return True

    def keys(self) -> list[str]:
        """Return the keys of the children, in their order."""
        return [_trees.shown_key(child.get_key()) for child in self]

    def values(self) -> list[Any]:
        """Return the children, in their order."""
        return list(self)

    def items(self) -> list[tuple[str, Any]]:
        """Return the pairs of key and child, in their order."""
        return [(_trees.shown_key(child.get_key()), child) for child in self]

    def __eq__(self, other: object) -> Any:
        """Compare with another tree: keys, values with their types, and children in their order; or with a dict."""
        if isinstance(other, Mapping):
            try:
                other = _trees.tree_of(self.get_key(), other, is_root=True)
            except (TypeError, ValueError, OverflowError):
                return False
        if not isinstance(other, (_classes.MetadataNode, _classes.ReadonlyMetadataNode)):
            return NotImplemented
        return _rows(self) == _rows(other)

    def __ne__(self, other: object) -> Any:
        equal = _Node.__eq__(self, other)
        return equal if equal is NotImplemented else not equal

    __hash__ = None  # type: ignore[assignment]

    def to_python(self) -> Any:
        """Return what this node was made from: None, a number, a string, a list, an array or a dict."""
        return _trees.python_of(self)

    def to_dict(self) -> dict[str, Any]:
        """Return the tree below this node as nested dicts, as `from_dict` took it.

        A node without children becomes its value (a number, a string, a list of them, or None). The value of a node
        that has children, and that of this node, stands under the empty key.
        """
        return _trees.dict_of(self)

    def to_json(self, indent: int | None = None) -> str:
        """Return the tree below this node as JSON, from which `from_json` makes the same tree.

        Dicts, lists, numbers, strings and None are JSON's own, with NaN, Infinity and -Infinity as Python's `json` has
        them. An array is `{"@zarnik": "array", "dtype": "<f4", "shape": [2], "values": [0.5, 1.5]}`, with the real and
        the imaginary parts of complex elements in turn. A dict that looks like that stands in another:
        `{"@zarnik": "dict", "dict": {...}}`.
        """
        return _trees.json_of(self, indent)

    def __copy__(self) -> Any:
        return _restored(type(self).__name__, _rows(self))

    def __deepcopy__(self, memo: dict[int, Any]) -> Any:
        return _restored(type(self).__name__, _rows(self))

    def __reduce__(self) -> tuple[Any, ...]:
        return _restored, (type(self).__name__, _rows(self))

    def __repr__(self) -> str:
        return "\n".join(_drawing.drawn(self))

    __str__ = __repr__

    def _repr_html_(self) -> str:
        return _drawing.html_of(self)


def _rows(root: Any) -> list[tuple[int, str, Any]]:
    """Return depth, key and value of all nodes of a tree, each before its children."""
    rows, pending = [], [(0, root)]
    while pending:
        depth, node = pending.pop()
        rows.append((depth, node.get_key(), node.get_value()))
        pending += [(depth + 1, child) for child in _trees.children_of(node)][::-1]
    return rows


def _restored(name: str, rows: list[tuple[int, str, Any]]) -> Any:
    nodes: list[Any] = []
    for depth, key, value in rows:
        node = _trees.new_node(key, value)
        del nodes[depth:]
        if nodes:
            nodes[-1].add_child(node)
        nodes.append(node)
    return nodes[0] if name == "MetadataNode" else _classes.ReadonlyMetadataNode(nodes[0])


class _Changing:
    """What changes a tree, at paths of keys."""

    if TYPE_CHECKING:

        def get(self, path: Path, default: Any = None) -> Any: ...

    def _change(self, change: Callable[[Any], Any]) -> Any:
        """Apply a function to this node, or to the node of the image's tree that this one shows."""
        raise NotImplementedError

    def __setitem__(self, path: Path, value: Any) -> None:
        """Put a value, a tree of nested dicts and lists, or a copy of a node at a path, in place of what is there."""
        keys = _keys(path)
        if not keys:
            raise KeyError(f"{path!r} names no node")
        added = _trees.tree_of(keys[-1], value)
        self._change(lambda node: _put(node, keys, added))

    def __delitem__(self, path: Path) -> None:
        """Remove the node at a path, with all below it."""
        keys = _keys(path)
        self._change(lambda node: _removed(node, keys, path))

    def pop(self, path: Path, default: Any = _NOTHING) -> Any:
        """Remove the node at a path and return it; the default, if one is given, where there is none."""
        keys = _keys(path)
        if default is not _NOTHING and (not keys or self.get(path) is None):
            return default
        return self._change(lambda node: _removed(node, keys, path))

    def update(self, *entries: Any, **more: Any) -> None:
        """Put the values of a dict, or copies of the children of a node, under their keys.

        A key stays whole, slashes included: paths are for `node[path] = value`.
        """
        if len(entries) > 1:
            raise TypeError(f"update takes one dict or node, got {len(entries)}")
        given = dict(*[list(entry.items()) if hasattr(entry, "items") else entry for entry in entries], **more)
        added = [(_keys((key,)), _trees.tree_of(_keys((key,))[0], value)) for key, value in given.items()]

        def put(node: Any) -> None:
            for keys, tree in added:
                _put(node, keys, tree)

        self._change(put)

    def setdefault(self, path: Path, default: Any = None) -> Any:
        """Return the node at a path; where there is none, put the default there before."""
        if self.get(path) is None:
            _Changing.__setitem__(self, path, default)
        return self.get(path)


def _put(node: Any, keys: list[str], added: Any) -> None:
    for key in keys[:-1]:
        if not node.has_child(key):
            node.add_child(_trees.new_node(key, None))
        node = node.child(key)
    node.add_child(added)


def _removed(node: Any, keys: list[str], path: Any) -> Any:
    parent = node
    for key in keys[:-1]:
        parent = parent.child(key) if parent.has_child(key) else None
        if parent is None:
            raise KeyError(path)
    if not keys or not parent.has_child(keys[-1]):
        raise KeyError(path)
    removed = parent.child(keys[-1])
    parent.remove_child(keys[-1])
    return removed


@extends("MetadataNode")
class _MetadataNode(_Node, _Changing):
    if TYPE_CHECKING:

        def add_child(self, child: Any) -> None: ...
        def remove_child(self, key: str) -> None: ...

    def __init__(self, *arguments: Any) -> None:
        """Create a node from a key and a value, which may be left out, or copy a tree.

        The value is a `VariantDataValue`, None, or what `from_dict` takes under a key.
        """
        if 1 <= len(arguments) <= 2 and isinstance(arguments[0], str):
            key, value = (*arguments, None)[:2]
            arguments = (key, value)
            if value is not None and not isinstance(value, _classes.VariantDataValue):
                made: Any = _trees.tree_of(key, value)
                self.this = made.this
                return
        flat.MetadataNode_swiginit(self, flat.new_MetadataNode(*arguments))

    @staticmethod
    def from_dict(entries: Mapping[str, Any], key: str = "") -> MetadataNode:
        """Make a tree from nested dicts; `to_dict` returns them as they were.

        :param entries: Keys of the children with their values: dicts for children of their own; None; bools, ints,
            floats, strings, and lists of anything; NumPy arrays; nodes, which are copied. The empty key holds a node's
            own value. What a tree has no means for is marked by a child "@zarnik" with the value "bool", "bools",
            "list", "dict", "json" or "array"; a tuple comes back as a list.
        :param key: The key of the root.
        :raises TypeError: or ValueError or OverflowError, with the path of what cannot be stored.
        """
        if not isinstance(entries, Mapping):
            raise TypeError(f"from_dict takes a dict, got {entries!r}")
        root: MetadataNode = _trees.tree_of(key, entries, is_root=True)
        return root

    @staticmethod
    def from_json(text: str | bytes, key: str = "") -> MetadataNode:
        """Make a tree from a JSON text, of any kind or from `to_json`.

        :param text: The text.
        :param key: The key of the root.
        :raises ValueError: if the text is no JSON, or with the path of what cannot be stored.
        """
        root: MetadataNode = _trees.from_json(text, key)
        return root

    def _change(self, change: Callable[[Any], Any]) -> Any:
        return change(self)


class _Place:
    """Where in the metadata of an image a node stands."""

    __slots__ = ("image", "keys")

    def __init__(self, image: Any, keys: tuple[str, ...]) -> None:
        self.image, self.keys = image, keys

    def below(self, key: str) -> _Place:
        return _Place(self.image, (*self.keys, key))

    def found(self) -> Any:
        """Return the node as it is by now, or None."""
        node = flat.ImageView___get_metadata(self.image)
        for key in self.keys:
            node = node.child(key) if node is not None and node.has_child(key) else None
        return node


@extends("ReadonlyMetadataNode")
class _ReadonlyMetadataNode(_Node, _Changing):
    """A node that cannot be changed; but those of `image.metadata` change the tree of their image."""

    def child(self, key: str) -> Any:
        """Return the child with the given key, read-only as well.

        :raises Error: If the key is not found in the children of the current node
        """
        child: Any = _classes.ReadonlyMetadataNode(flat.ReadonlyMetadataNode_child(self, key))
        place = kept(self)
        if place is not None:
            child._kept = place.below(key)
        return child

    def _change(self, change: Callable[[Any], Any]) -> Any:
        place = kept(self)
        if place is None:
            raise TypeError("this node is read-only: clone() gives one that can be changed")
        tree = flat.ImageView___get_metadata(place.image)
        tree = _trees.new_node("", None) if tree is None else tree.clone()
        node = tree
        for key in place.keys:
            if not node.has_child(key):
                raise KeyError(f"the image has no metadata at {'/'.join(place.keys)!r} any more")
            node = node.child(key)
        result = change(node)
        place.image.set_metadata(tree)
        shown: Any = _classes.ReadonlyMetadataNode(place.found())
        self.this = shown.this
        return result


def root_of(image: Any, node: Any) -> ReadonlyMetadataNode:
    """Return the root of an image's metadata, which may be changed through it."""
    root: Any = _classes.ReadonlyMetadataNode(_trees.new_node("", None) if node is None else node)
    root._kept = _Place(image, ())
    return root  # type: ignore[no-any-return,unused-ignore]
