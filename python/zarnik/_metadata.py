"""Metadata: nodes as mappings of paths, values as Python values of their full width."""

from __future__ import annotations

import operator
from collections.abc import Iterator, Mapping
from typing import TYPE_CHECKING, Any

import numpy

import _zarnik
import zarnik._classes as _classes
from zarnik._enumerations import DataTypeId
from zarnik._extension import extends
from zarnik._interop import array_over

if TYPE_CHECKING:
    from zarnik._classes import DataType, MetadataNode, VariantDataValue

# ---- values ----------------------------------------------------------------------------------------------------------

_STRING_UNITS = {DataTypeId.UTF16_STRING: (2, "utf-16"), DataTypeId.UTF32_STRING: (4, "utf-32")}
# What the flat reader, which has 32 bits, reads whole.
_READ_WHOLE = {
    *(DataTypeId.INT8, DataTypeId.INT16, DataTypeId.INT32),
    *(DataTypeId.UINT8, DataTypeId.UINT16, DataTypeId.FLOAT, DataTypeId.DOUBLE),
}
_INT32 = range(-(2**31), 2**31)


def variant(value: Any) -> VariantDataValue:
    """Make a metadata value from a Python one: a number, a string, or a sequence or array of one kind of them.

    Integers are stored with 32 bits if there is one that fits, else with 64.

    :raises OverflowError: if an integer needs more than 64 signed bits.
    :raises TypeError: if there is no type for the value.
    """
    if isinstance(value, _classes.VariantDataValue):
        return value
    if isinstance(value, (numpy.ndarray, numpy.generic)):
        value = value.tolist()
    create = _zarnik.VariantDataValueFactory_create
    if isinstance(value, str):
        return create(_terminated(value))
    if isinstance(value, int):
        return create(int(value)) if value in _INT32 else _integers([value])
    if isinstance(value, float):
        return create(value)
    if not isinstance(value, (list, tuple, range)):
        raise TypeError(f"a metadata value is a number, a string, or a sequence of them, got {value!r}")
    items = list(value)
    if not items:
        raise ValueError("Cannot create metadata value from an empty sequence")
    if all(isinstance(item, str) for item in items):
        return create([_terminated(item) for item in items])
    items = [item.item() if isinstance(item, numpy.generic) else item for item in items]
    if all(isinstance(item, int) for item in items):
        return _integers(items)
    if all(isinstance(item, (int, float)) for item in items):
        return create([float(item) for item in items])
    raise TypeError(f"the items of a metadata value are all numbers or all strings, got {value!r}")


def _terminated(text: str) -> str:
    if "\0" in text:
        raise ValueError(f"a metadata string ends at its first zero character: {text!r} cannot be stored whole")
    return text


def _integers(items: list[int]) -> VariantDataValue:
    # The factory reads 32 bits of each item of a sequence: room is made by it, and filled here before anybody sees it.
    for item in items:
        if not -(2**63) <= item < 2**63:
            raise OverflowError(f"metadata integers have 64 signed bits, got {item}")
    made = _zarnik.VariantDataValueFactory_create([0] * len(items))
    _elements(made, numpy.dtype("i8"))[:] = items
    return made


def _elements(value: Any, dtype: numpy.dtype[Any]) -> numpy.ndarray[Any, Any]:
    address = int(_zarnik.VariantDataValue_raw(value))
    return array_over(address, (_zarnik.VariantDataValue_get_count(value),), dtype, value)


def wide_string(address: int, unit_bytes: int, encoding: str) -> str:
    """Return the zero-terminated string at an address."""
    import ctypes

    unit = ctypes.c_uint16 if unit_bytes == 2 else ctypes.c_uint32
    length = 0
    while unit.from_address(address + length).value:
        length += unit_bytes
    return ctypes.string_at(address, length).decode(f"{encoding}-{'le' if numpy.little_endian else 'be'}", "replace")


@extends(_classes.VariantDataValue)
class _VariantDataValue:
    """A sequence of its elements; one that has a single element compares with that too."""

    if TYPE_CHECKING:

        def get_type(self) -> DataType: ...
        def get_count(self) -> int: ...

    __hash__ = None  # type: ignore[assignment]

    def type(self) -> DataType:
        """Return the type of the values stored."""
        return self.get_type()

    def count(self) -> int:
        """Return the number of values stored."""
        return self.get_count()

    def tolist(self) -> list[Any]:
        """Return the elements as Python ints, floats or strings, whole at every width."""
        number = self.get_type().get_id()
        if number in _STRING_UNITS:
            unit, encoding = _STRING_UNITS[DataTypeId(number)]
            pointers = _elements(self, numpy.dtype(numpy.uintp)).tolist()
            return [wide_string(pointer, unit, encoding) for pointer in pointers]
        if number == DataTypeId.UTF8_STRING or (number in _READ_WHOLE and self.get_count() < 8):
            return [_zarnik.VariantDataValue___getitem(self, index) for index in range(self.get_count())]
        return list(self.__array__().tolist())

    def to_python(self) -> Any:
        """Return the element, or the list of elements if there are several."""
        elements = _VariantDataValue.tolist(self)
        return elements[0] if len(elements) == 1 else elements

    def __array__(self, dtype: Any = None, copy: bool | None = None) -> numpy.ndarray[Any, Any]:
        """Numbers come as a read-only array that shares the value's memory, strings as a copy."""
        number = self.get_type().get_id()
        is_string = number in _STRING_UNITS or number == DataTypeId.UTF8_STRING
        array = numpy.array(self.tolist()) if is_string else _elements(self, self.get_type().dtype)
        array.flags.writeable = False
        wanted = array.dtype if dtype is None else numpy.dtype(dtype)
        if copy is False and (is_string or array.dtype != wanted):
            raise ValueError(f"an array of dtype {wanted} of this value is a copy")
        return array.astype(wanted, copy=bool(copy))

    def __len__(self) -> int:
        return self.get_count()

    def __iter__(self) -> Iterator[Any]:
        return iter(self.tolist())

    def __getitem__(self, index: Any) -> Any:
        if isinstance(index, slice):
            return self.tolist()[index]
        place = operator.index(index)
        if not 0 <= place < self.get_count():
            raise IndexError("Index out of range")
        number = self.get_type().get_id()
        if number in _STRING_UNITS:
            return self.tolist()[place]
        if number == DataTypeId.UTF8_STRING:
            return _zarnik.VariantDataValue___getitem(self, place)
        return self.__array__()[place].item()

    def __eq__(self, other: object) -> Any:
        if isinstance(other, _classes.VariantDataValue):
            return self.tolist() == other.tolist()
        if isinstance(other, (numpy.ndarray, numpy.generic)):
            other = other.tolist()
        if isinstance(other, (list, tuple)):
            return self.tolist() == list(other)
        if isinstance(other, (int, float, str)):
            return self.tolist() == [other]
        return NotImplemented

    def __ne__(self, other: object) -> Any:
        equal = _VariantDataValue.__eq__(self, other)
        return equal if equal is NotImplemented else not equal

    def __int__(self) -> int:
        return int(self._single())

    def __float__(self) -> float:
        return float(self._single())

    def _single(self) -> Any:
        elements = self.tolist()
        if len(elements) != 1:
            raise TypeError(f"only a value of one element is a number, this one has {len(elements)}")
        return elements[0]

    def __str__(self) -> str:
        return str(self.to_python())

    def __repr__(self) -> str:
        return f"<zarnik.VariantDataValue {self.get_type().to_string()} {_shortened(self)}>"


def _shortened(value: Any, limit: int = 8) -> str:
    elements = value.tolist()
    if len(elements) == 1:
        return repr(elements[0])
    if len(elements) <= limit:
        return repr(elements)
    return f"[{', '.join(map(repr, elements[:limit]))}, ... {len(elements)} in all]"


# ---- nodes -----------------------------------------------------------------------------------------------------------


def _keys(path: str) -> list[str]:
    if not isinstance(path, str):
        raise TypeError(f"metadata is found by paths, which are strings, got {path!r}")
    return [key for key in path.replace("\\", "/").split("/") if key]


class _Node:
    """A mapping of paths such as "MRC/ext/pixelSize" to nodes; iteration goes over the children."""

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
        """Return the number of children of this node."""
        return self.get_child_count()

    def get(self, path: str, default: Any = None) -> Any:
        """Return the node at a path, or the default if there is none."""
        node = self
        for key in _keys(path):
            if not node.has_child(key):
                return default
            node = node.child(key)
        return node

    def __getitem__(self, path: str) -> Any:
        node = self.get(path)
        if node is None:
            raise KeyError(path)
        return node

    def __contains__(self, path: object) -> bool:
        return isinstance(path, str) and self.get(path) is not None

    def __iter__(self) -> Iterator[Any]:
        if not self.get_child_count():
            return
        if type(self) is _classes.ReadonlyMetadataNode:
            place = _zarnik.ReadonlyMetadataNode___begin(self)
            wrap: Any = _classes.ReadonlyMetadataNode
            value, advance = place.value, place.next
            yield wrap(value())
            while advance():
                yield wrap(value())
            return
        place = _zarnik.MetadataNode___begin(self)
        value, advance = place.value, place.next
        yield value()
        while advance():
            yield value()

    def __len__(self) -> int:
        return self.get_child_count()

    def __bool__(self) -> bool:
        return True

    def keys(self) -> list[str]:
        """Return the keys of the children, in their order."""
        return [child.get_key() for child in self]

    def items(self) -> list[tuple[str, Any]]:
        """Return the pairs of key and child, in their order."""
        return [(child.get_key(), child) for child in self]

    def to_dict(self) -> dict[str, Any]:
        """Return the tree below this node as nested dicts.

        A node without children becomes its value (a number, a string, a list of them, or None). The value of a node
        that has children, and that of this node, stands under the empty key.
        """
        top: dict[str, Any] = {}
        if self.get_value() is not None:
            top[""] = _python_value(self)
        pending: list[tuple[Any, dict[str, Any]]] = [(self, top)]
        while pending:
            node, entries = pending.pop()
            for child in node:
                if not child.get_child_count():
                    entries[child.get_key()] = _python_value(child)
                    continue
                below: dict[str, Any] = {}
                if child.get_value() is not None:
                    below[""] = _python_value(child)
                entries[child.get_key()] = below
                pending.append((child, below))
        return top

    def __repr__(self) -> str:
        return "\n".join(_drawn(self))

    __str__ = __repr__

    def _repr_html_(self) -> str:
        return _html(self)


extends(_classes.MetadataNode, _classes.ReadonlyMetadataNode)(_Node)


@extends(_classes.ReadonlyMetadataNode)
class _ReadonlyMetadataNode:
    def child(self, key: str) -> Any:
        """Return the child with the given key, read-only as well.

        :raises Error: If the key is not found in the children of the current node
        """
        return _classes.ReadonlyMetadataNode(_zarnik.ReadonlyMetadataNode_child(self, key))


@extends(_classes.MetadataNode)
class _MetadataNode:
    if TYPE_CHECKING:

        def add_child(self, child: Any) -> None: ...
        def remove_child(self, key: str) -> None: ...
        def get(self, path: str, default: Any = None) -> Any: ...

    def __init__(self, *arguments: Any) -> None:
        """Create a node from a key and a value, which may be left out, or copy a tree.

        The value is a `VariantDataValue`, None, or what `variant` makes one from.
        """
        if arguments and isinstance(arguments[0], str):
            key, *rest = arguments
            value = rest[0] if rest else None
            arguments = (key, None if value is None else variant(value), *rest[1:])
        _zarnik.MetadataNode_swiginit(self, _zarnik.new_MetadataNode(*arguments))

    @staticmethod
    def from_dict(entries: Mapping[str, Any], key: str = "") -> MetadataNode:
        """Make a tree from nested dicts, as `to_dict` returns them.

        :param entries: Keys of the children with their values: dicts for children of their own, numbers, strings or
            sequences of them for values, None for a node without a value. The empty key holds a node's own value.
        :param key: The key of the root.
        """
        root = _classes.MetadataNode(key, entries.get(""))
        _fill(root, entries)
        return root

    def __setitem__(self, path: str, value: Any) -> None:
        """Put a value, a tree of nested dicts or a copy of a node at a path, in place of what is there."""
        keys = _keys(path)
        if not keys:
            raise KeyError(f"{path!r} names no node")
        if isinstance(value, (_classes.MetadataNode, _classes.ReadonlyMetadataNode)):
            added = _classes.MetadataNode(keys[-1], value.get_value())
            for child in value:
                added.add_child(child.clone())
        elif isinstance(value, Mapping):
            added = _MetadataNode.from_dict(value, keys[-1])
        else:
            added = _classes.MetadataNode(keys[-1], value)
        node: Any = self
        for key in keys[:-1]:
            if not node.has_child(key):
                node.add_child(_classes.MetadataNode(key))
            node = node.child(key)
        node.add_child(added)

    def __delitem__(self, path: str) -> None:
        """Remove the node at a path, with all below it."""
        keys = _keys(path)
        parent = self.get("/".join(keys[:-1]))
        if not keys or parent is None or not parent.has_child(keys[-1]):
            raise KeyError(path)
        parent.remove_child(keys[-1])


def _fill(root: Any, entries: Mapping[str, Any]) -> None:
    # Below each entry that is begun stands its identity alone: when that comes up, the entry is done.
    pending: list[tuple[Any, Any]] = [(root, entries)]
    begun: set[int] = set()
    while pending:
        node, below = pending.pop()
        if node is None:
            begun.remove(below)
            continue
        if id(below) in begun:
            raise ValueError(f"the metadata at {node.get_key()!r} contain themselves")
        begun.add(id(below))
        pending.append((None, id(below)))
        for key, entry in below.items():
            if not isinstance(key, str):
                raise TypeError(f"the keys of metadata are strings, got {key!r}")
            if key == "":
                continue
            is_tree = isinstance(entry, Mapping)
            child = _classes.MetadataNode(key, entry.get("") if is_tree else entry)
            node.add_child(child)
            if is_tree:
                pending.append((child, entry))


def _python_value(node: Any) -> Any:
    value = node.get_value()
    return None if value is None else value.to_python()


# ---- drawn trees -----------------------------------------------------------------------------------------------------

_MAXIMAL_LINES = 100
_MAXIMAL_DEPTH = 20


def _label(node: Any) -> str:
    value = node.get_value()
    return str(node.get_key()) if value is None else f"{node.get_key()} = {_shortened(value)}"


def _drawn(root: Any) -> Iterator[str]:
    yield _label(root) or "metadata"
    # Of each level that is begun: its children still to come, and what stands before them.
    levels = [(iter(root), len(root), "")]
    lines = 1
    while levels:
        children, left, before = levels.pop()
        child = next(children, None)
        if child is None:
            continue
        if lines == _MAXIMAL_LINES:
            yield before + "..."
            return
        lines += 1
        left -= 1
        levels.append((children, left, before))
        yield before + ("├─ " if left else "└─ ") + _label(child)
        if len(child) and len(levels) < _MAXIMAL_DEPTH:
            levels.append((iter(child), len(child), before + ("│  " if left else "   ")))
        elif len(child):
            yield before + ("│  " if left else "   ") + "└─ ..."


def _html(root: Any) -> str:
    from html import escape

    parts: list[str] = []
    # Text to be written, or nodes to be opened, last first.
    pending: list[Any] = [(root, 0)]
    nodes = 0
    while pending:
        entry = pending.pop()
        if isinstance(entry, str):
            parts.append(entry)
            continue
        node, depth = entry
        nodes += 1
        label = escape(_label(node) or "metadata")
        if nodes > _MAXIMAL_LINES * 10:
            parts.append("<div>...</div>")
            break
        if not len(node):
            parts.append(f"<div>{label}</div>")
        elif depth == _MAXIMAL_DEPTH:
            parts.append(f"<div>{label} ...</div>")
        else:
            parts.append(f"<details{' open' if depth < 2 else ''}><summary>{label}</summary>")
            parts.append('<div style="margin-left:1.5em">')
            pending.append("</div></details>")
            pending.extend((child, depth + 1) for child in reversed(list(node)))
    parts.extend(entry for entry in reversed(pending) if isinstance(entry, str))
    return "".join(parts)
