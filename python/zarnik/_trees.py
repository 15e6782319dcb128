"""Trees of metadata from Python values and back, without loss.

A node has a value (integers, floating point numbers or strings, one or several of one kind) and children with keys.
Most Python values are that, so their trees hold nothing else:

==========================================  ==========================================================
None                                        a node without value and children
an int of 64 bits, a float, a str           the value
a list of two or more of one of these       the value
a dict                                      children; what stands under the key "" is the value of the node
==========================================  ==========================================================

What would come back as something else gets a marker, a child with the key "@zarnik" whose value says what it is:

=========  ====================================================================================================
"bool"     the value, 0 or 1, is a bool; "bools": the values are a list of them
"list"     the value is the only item of a list; without a value the other children are the items, in order
"dict"     the node is a dict although it has no children
"json"     the value is the JSON text of what it stands for: integers of more than 64 bits, strings with zeros
"array"    the values are the elements of an array; children "dtype" and "shape" of the marker tell which
"value"    of a root: it is a value, not a dict that has one under the key ""
=========  ====================================================================================================

Keys that begin with "@zarnik", and a value of a dict's key "" that needs a marker, stand under "@zarnik:" and the key.
The items of a tuple come back as a list.

JSON text has the values themselves, and an object with a marker for what JSON does not tell apart:

===========================================================  ===================================================
{"@zarnik": "array", "dtype": "<f4", "shape": [2, 1],        an array: its elements in the order of C, of complex
"values": [0.5, 1.5]}                                        ones the real and the imaginary parts in turn
{"@zarnik": "dict", "dict": {...}}                           a dict that would be taken for an object with a
                                                             marker, or one without children that is no root
===========================================================  ===================================================

What is not finite is NaN, Infinity and -Infinity, as Python's `json` has it.
"""

from __future__ import annotations

import operator
from collections.abc import Callable, Iterator, Mapping
from types import ModuleType
from typing import Any

import numpy

import _zarnik
import zarnik._classes as _classes
from zarnik._variants import variant

MARK = "@zarnik"
_ESCAPED = MARK + ":"
_INT64 = range(-(2**63), 2**63)


def _json() -> ModuleType:
    # Takes a third of the package's time to import, and few programs need it.
    import json

    return json


def stored_key(key: str) -> str:
    """Return the key of the node for a key of a dict."""
    return _ESCAPED + key if not key or key.startswith(MARK) else key


def shown_key(key: str) -> str:
    """Return the key of a dict for the key of a node."""
    return key[len(_ESCAPED) :] if key.startswith(_ESCAPED) else key


# ---- to trees --------------------------------------------------------------------------------------------------------


def tree_of(key: str, entry: Any, is_root: bool = False, opened: Callable[[Any], Any] | None = None) -> Any:
    """Return a node with a key for a Python value, with all below it.

    :param opened: Gives what each value stands for.
    :raises TypeError: or another error that names the path of keys, if there is no node for a value.
    """
    root, children = _node_of(key, entry, is_root, [key] if key else [], opened or _bare)
    # Below each entry that is begun stands its identity alone: when that comes up, the entry is done.
    pending: list[tuple[Any, ...]] = [(root, children, entry, [key] if key else [])]
    begun: set[int] = set()
    while pending:
        node, children, entry, path = pending.pop()
        if node is None:
            begun.remove(entry)
            continue
        if not children:
            continue
        if id(entry) in begun:
            raise ValueError(f"the metadata at {node.get_key()!r} contain themselves")
        begun.add(id(entry))
        pending.append((None, None, id(entry), None))
        for child_key, below in children:
            below_path = [*path, child_key]
            child, grandchildren = _node_of(child_key, below, False, below_path, opened or _bare)
            node.add_child(child)
            if grandchildren:
                pending.append((child, grandchildren, below, below_path))
    return root


def _node_of(
    key: str, entry: Any, is_root: bool, path: list[str], opened: Callable[[Any], Any]
) -> tuple[Any, list[tuple[str, Any]]]:
    """Return the node of a value, and keys and values of the children that it is to get."""
    try:
        entry = opened(entry)
        if isinstance(entry, Mapping):
            return _dict_node(key, entry, is_root)
        if isinstance(entry, (list, tuple, range)):
            return _list_node(key, list(entry))
        return _leaf(key, entry), []
    except (TypeError, ValueError, OverflowError) as error:
        where = "/".join(path)
        raise type(error)(f"metadata at {where!r}: {error}" if where else str(error)) from None


def _dict_node(key: str, entry: Mapping[Any, Any], is_root: bool) -> tuple[Any, list[tuple[str, Any]]]:
    children, own = [], None
    for name, below in entry.items():
        below = _bare(below)
        if not isinstance(name, str):
            raise TypeError(f"the keys of metadata are strings, got {name!r}")
        if name == "" and _is_plain(below):
            own = below
        else:
            children.append((stored_key(name), below))
    node = _plain(key, own)
    if not children and not is_root:
        _mark(node, "dict")
    return node, children


def _list_node(key: str, items: list[Any]) -> tuple[Any, list[tuple[str, Any]]]:
    items = [_bare(item) for item in items]
    if _is_plain(items):
        return _plain(key, items), []
    if items and all(isinstance(item, (bool, numpy.bool_)) for item in items):
        return _marked(_plain(key, [int(item) for item in items]), "bools"), []
    if len(items) == 1 and _is_plain(items[0]) and not isinstance(items[0], list):
        return _marked(_plain(key, items[0]), "list"), []
    return _marked(_plain(key, None), "list"), [(str(place), item) for place, item in enumerate(items)]


def _bare(entry: Any) -> Any:
    """Return a number or a string of a class of its own, such as one of NumPy's, as one of Python's."""
    if type(entry) in _BARE:
        return entry
    if isinstance(entry, numpy.generic):
        entry = entry.item()
    if isinstance(entry, (int, float, str)) and not isinstance(entry, bool):
        for kind in _BARE:
            if isinstance(entry, kind):
                return kind.__str__(entry) if kind is str else kind(entry)
    return entry


_BARE = (int, float, str)


def _leaf(key: str, entry: Any) -> Any:
    if entry is None or _is_plain(entry):
        return _plain(key, entry)
    if isinstance(entry, bool):
        return _marked(_plain(key, int(entry)), "bool")
    if isinstance(entry, (int, str)):
        return _marked(_plain(key, _json().dumps(entry)), "json")
    if isinstance(entry, numpy.ndarray):
        return _array_node(key, entry)
    if isinstance(entry, (_classes.MetadataNode, _classes.ReadonlyMetadataNode)):
        return copied(key, entry)
    if isinstance(entry, _classes.VariantDataValue):
        return _plain(key, entry)
    raise TypeError(f"a metadata value is a number, a string, or dicts, lists and arrays of them, got {entry!r}")


def copied(key: str, node: Any) -> Any:
    """Return a copy of a tree whose root has another key."""
    copy = new_node(key, node.get_value())
    for child in children_of(node):
        copy.add_child(child.clone())
    return copy


def _is_plain(entry: Any) -> bool:
    """Tell whether a value is what one node has as its value, and would come back as it is."""
    kind = type(entry)
    if kind is int:
        return entry in _INT64
    if kind is str:
        return _is_plain_text(entry)
    if kind is list and len(entry) > 1:
        kinds = set(map(type, entry))
        if kinds == {int}:
            return all(item in _INT64 for item in entry)
        return kinds == {float} or (kinds == {str} and all(map(_is_plain_text, entry)))
    return kind is float


def _is_plain_text(text: str) -> bool:
    # Zero ends a stored string, and single surrogates cannot be encoded.
    return "\0" not in text and (text.isascii() or not any("\ud800" <= letter <= "\udfff" for letter in text))


def _plain(key: str, entry: Any) -> Any:
    if entry is None:
        return new_node(key, None)
    # Lists of one are for what is marked as such.
    return new_node(key, variant(entry))


def new_node(key: str, value: Any) -> Any:
    """Return a new node with a `VariantDataValue` or None."""
    if not isinstance(key, str):
        raise TypeError(f"the keys of metadata are strings, got {key!r}")
    if not _is_plain_text(key):
        raise ValueError(f"a key of metadata has no zero character and no single surrogate, got {key!r}")
    node: Any = object.__new__(_classes.MetadataNode)
    _zarnik.MetadataNode_swiginit(node, _zarnik.new_MetadataNode(key, value))
    return node


def _mark(node: Any, kind: str) -> Any:
    marker = new_node(MARK, variant(kind))
    node.add_child(marker)
    return marker


def _marked(node: Any, kind: str) -> Any:
    _mark(node, kind)
    return node


def _array_node(key: str, array: numpy.ndarray[Any, Any]) -> Any:
    if getattr(array, "mask", None) is not None:
        raise TypeError("a metadata array has no mask: take array.data or filled()")
    dtype = array.dtype
    flat = numpy.ascontiguousarray(array).reshape(-1)
    elements: Any
    elements = flat.astype("u8").view("i8") if dtype.kind == "u" and dtype.itemsize == 8 else _elements_of(flat)
    node = _plain(key, elements.tolist() if elements.size else None)
    marker = _mark(node, "array")
    marker.add_child(_plain("dtype", dtype.str))
    if array.ndim:
        marker.add_child(_plain("shape", list(array.shape)))
    return node


def _elements_of(flat: numpy.ndarray[Any, Any]) -> numpy.ndarray[Any, Any]:
    """Return the elements of an array with one axis as integers, floats or strings; of complex ones both parts."""
    dtype = flat.dtype
    if dtype.kind == "c" and dtype.itemsize <= 16:
        return flat.astype("c16").view("f8")
    if dtype.kind == "f" and dtype.itemsize <= 8:
        return flat.astype("f8")
    if dtype.kind in "biu":
        return flat.astype("u8" if dtype.kind == "u" else "i8")
    if dtype.kind == "U" and all(map(_is_plain_text, flat.tolist())):
        return flat
    raise TypeError(f"a metadata array has numbers or strings as elements, got dtype {dtype}")


# ---- from trees ------------------------------------------------------------------------------------------------------


def children_of(node: Any) -> Iterator[Any]:
    """Go over all children of a node, markers included."""
    if not node.get_child_count():
        return
    if isinstance(node, _classes.ReadonlyMetadataNode):
        place = _zarnik.ReadonlyMetadataNode___begin(node)
        wrap: Any = _classes.ReadonlyMetadataNode
        value, advance = place.value, place.next
        yield wrap(value())
        while advance():
            yield wrap(value())
        return
    place = _zarnik.MetadataNode___begin(node)
    value, advance = place.value, place.next
    yield value()
    while advance():
        yield value()


def python_of(root: Any) -> Any:
    """Return the Python value that a tree stands for: the contrary of tree_of."""
    result, pending = _opened(root)
    while pending:
        container, place, node = pending.pop()
        container[place], below = _opened(node)
        pending.extend(below)
    return result


def _opened(node: Any) -> tuple[Any, list[tuple[Any, Any, Any]]]:
    """Return the Python value of a node, and what is to be put into it: container, place, node."""
    value = node.get_value()
    if not node.get_child_count():
        return None if value is None else value.to_python(), []
    marker = node.child(MARK) if node.has_child(MARK) else None
    kind = None if marker is None or marker.get_value() is None else marker.get_value().to_python()
    known = kind in _KINDS
    children = [child for child in children_of(node) if not known or child.get_key() != MARK]
    if kind == "list" and value is None:
        items = [None] * len(children)
        return items, [(items, place, child) for place, child in enumerate(children)]
    if known and kind != "dict" and not children:
        return _KINDS[kind](value, marker), []
    entries: dict[str, Any] = {} if value is None else {"": value.to_python()}
    keys = [shown_key(child.get_key()) for child in children]
    entries.update(dict.fromkeys(keys))  # in their order
    return entries, [(entries, key, child) for key, child in zip(keys, children)]


def _array_of(value: Any, marker: Any) -> numpy.ndarray[Any, Any]:
    dtype = numpy.dtype(marker.child("dtype").get_value().to_python())
    shape = tuple(marker.child("shape").get_value().tolist()) if marker.has_child("shape") else ()
    if value is None:
        return numpy.zeros(shape, dtype)
    if dtype.kind == "U":
        return numpy.array(value.tolist(), dtype).reshape(shape)
    elements = numpy.array(value)
    if dtype.kind == "c":
        elements = elements.view("c16")
    elif dtype.kind == "u" and dtype.itemsize == 8:
        elements = elements.view("u8")
    return elements.astype(dtype).reshape(shape)


_KINDS: dict[Any, Any] = {
    "bool": lambda value, marker: bool(value.to_python()),
    "bools": lambda value, marker: [bool(item) for item in value.tolist()],
    "list": lambda value, marker: value.tolist(),
    "dict": None,
    "json": lambda value, marker: _json().loads(value.to_python()),
    "array": _array_of,
    "value": lambda value, marker: None if value is None else value.to_python(),
}


def is_marked(node: Any, *kinds: str) -> bool:
    """Tell whether a node has a marker, of one of the kinds."""
    if not node.has_child(MARK):
        return False
    value = node.child(MARK).get_value()
    return value is not None and value.to_python() in (kinds or _KINDS)


# ---- JSON ------------------------------------------------------------------------------------------------------------


def json_of(root: Any, indent: int | None) -> str:
    """Return a tree as JSON: that of the dict, or of what the root is marked as."""
    if indent is not None and not isinstance(indent, str):
        indent = operator.index(indent)
    value = python_of(root) if is_marked(root) else dict_of(root)
    if is_marked(root, "dict") and root.get_child_count() == 1:
        return _json().dumps({MARK: "dict", "dict": value}, indent=indent)
    whole = [value]
    pending: list[Any] = [whole]
    while pending:
        container = pending.pop()
        for place, below in container.items() if isinstance(container, dict) else enumerate(container):
            if isinstance(below, numpy.ndarray):
                container[place] = _array_object(below)
            elif isinstance(below, (dict, list)):
                pending.append(below)
                if _is_array_object(below) or _is_dict_object(below):
                    container[place] = {MARK: "dict", "dict": below}
    return _json().dumps(whole[0], indent=indent)


def dict_of(root: Any) -> dict[str, Any]:
    """Return the dict that a tree stands for; what is no dict stands under the key ""."""
    value = python_of(root)
    if isinstance(value, dict):
        return value
    return {} if value is None else {"": value}


def from_json(text: str | bytes, key: str) -> Any:
    """Return the tree of a JSON text."""
    entry = _json().loads(text)
    root = tree_of(key, entry, isinstance(entry, dict) and not _is_dict_object(entry), _from_object)
    if not isinstance(entry, dict) and not is_marked(root):
        _mark(root, "value")
    return root


def _is_array_object(entry: Any) -> bool:
    return isinstance(entry, dict) and set(entry) == {MARK, "dtype", "shape", "values"} and _has_mark(entry, "array")


def _is_dict_object(entry: Any) -> bool:
    is_object = isinstance(entry, dict) and set(entry) == {MARK, "dict"} and _has_mark(entry, "dict")
    return is_object and isinstance(entry["dict"], (dict, numpy.ndarray))  # an array becomes an object


def _has_mark(entry: dict[str, Any], kind: str) -> bool:
    return isinstance(entry[MARK], str) and entry[MARK] == kind


def _array_object(array: numpy.ndarray[Any, Any]) -> dict[str, Any]:
    elements = _elements_of(array.reshape(-1))
    values = elements.astype(bool) if array.dtype.kind == "b" else elements
    return {MARK: "array", "dtype": array.dtype.str, "shape": list(array.shape), "values": values.tolist()}


def _from_object(entry: Any) -> Any:
    """Return what an entry of JSON stands for."""
    if _is_dict_object(entry):
        return entry["dict"]
    if not _is_array_object(entry):
        return _bare(entry)
    try:
        dtype, values = numpy.dtype(entry["dtype"]), entry["values"]
        if dtype.kind in "fc":
            flat = numpy.array(values, "f8").view("c16" if dtype.kind == "c" else "f8").astype(dtype)
        else:
            flat = numpy.array(values, dtype)
            if flat.tolist() != values:
                raise ValueError(f"its values are not all of dtype {dtype}")
        return flat.reshape(entry["shape"])
    except (TypeError, ValueError, OverflowError) as error:
        raise ValueError(f"what is marked as an array is none: {error}") from None
