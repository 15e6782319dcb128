"""Vectors, regions, matrices and arrays as Python values: compared, copied, pickled, converted from and to NumPy."""

from __future__ import annotations

import math
import operator
from collections.abc import Iterable, Iterator, Sequence
from typing import TYPE_CHECKING, Any, Callable

import numpy

import _zarnik
import zarnik._classes as _classes
from zarnik._extension import extends
from zarnik._types import ELEMENT_TYPES, scalar_dtype

_VECTORS: dict[str, tuple[numpy.dtype[Any], str]] = {
    f"Vector{size}{suffix}": (dtype, size) for size in "234X" for suffix, dtype in ELEMENT_TYPES.items()
}
_MATRICES: dict[str, tuple[numpy.dtype[Any], int]] = {
    f"Matrix{size}{suffix}": (ELEMENT_TYPES[suffix], size) for size in (3, 4) for suffix in "fd"
}
_ARRAYS: dict[str, numpy.dtype[Any]] = {f"ArrayX{suffix}": dtype for suffix, dtype in ELEMENT_TYPES.items()}


def _items(values: Any) -> list[Any] | None:
    """Return the items of a sequence or an array as Python values; None for what is neither."""
    if isinstance(values, (list, tuple)):
        return list(values)
    if isinstance(values, (str, bytes, bytearray, dict, set, frozenset)):
        return None
    if isinstance(values, numpy.ndarray):
        return values.tolist() if values.ndim else None
    if not hasattr(values, "__len__") or not hasattr(values, "__getitem__"):
        return None
    return list(values)


def _to_float(value: Any) -> float:
    if isinstance(value, (str, bytes)):
        raise TypeError
    return float(value)


def _converted(name: str, values: list[Any], convert: Callable[[Any], Any]) -> list[Any]:
    try:
        return [convert(value) for value in values]
    except TypeError:
        kind = "integers" if convert is operator.index else "numbers"
        raise TypeError(f"{name} is made of {kind}, got {values!r}") from None


def _number(value: float) -> str:
    """Text of a number that evaluates back, also of those that have no literal."""
    return repr(value) if math.isfinite(value) else f"float('{value}')"


def _nested(values: Any) -> str:
    if isinstance(values, (list, tuple)):
        return "(" + ", ".join(_nested(value) for value in values) + ("," if len(values) == 1 else "") + ")"
    return _number(values)


def _as_array(values: Any, dtype: Any, own: numpy.dtype[Any], copy: bool | None) -> numpy.ndarray[Any, Any]:
    if copy is False:
        raise ValueError("the components of a small value cannot be shared: an array of them is a copy")
    array = numpy.array(values, own)
    return array if dtype is None else array.astype(dtype, copy=False)


class _Value:
    """Equality with sequences, no hash since values can be changed, and text that evaluates back."""

    if TYPE_CHECKING:

        def __iter__(self) -> Iterator[Any]: ...
        def __init__(self, *values: Any) -> None: ...

    __hash__ = None  # type: ignore[assignment]

    def __ne__(self, other: object) -> Any:
        equal = self.__eq__(other)
        return equal if equal is NotImplemented else not equal

    def __repr__(self) -> str:
        return f"{type(self).__name__}({_nested(self._state())})"

    def __reduce__(self) -> tuple[Any, ...]:
        return type(self), (self._state(),)

    def _state(self) -> tuple[Any, ...]:
        """Return the value as nested tuples of Python numbers, from which the constructor makes it again."""
        return tuple(self)


def _at_most(count: int, index: Any, name: str) -> int:
    place = operator.index(index)
    if not -count <= place < count:
        raise IndexError(f"index {place} is out of range for {name}, which has {count} components")
    return place % count


# ---- vectors ---------------------------------------------------------------------------------------------------------


class _Vector(_Value):
    """`Vector3d((1, 2, 3))` from any sequence or array of numbers; integers of all 64 bits, checked."""

    if TYPE_CHECKING:

        def size(self) -> int: ...
        def at(self, index: int) -> Any: ...
        def set_at(self, index: int, value: Any) -> None: ...
        def __mul__(self, other: Any) -> Any: ...

    def __len__(self) -> int:
        return self.size()

    def __iter__(self) -> Iterator[Any]:
        return iter([self.at(index) for index in range(self.size())])

    def __getitem__(self, index: Any) -> Any:
        if isinstance(index, slice):
            return tuple(self)[index]
        return self.at(_at_most(self.size(), index, type(self).__name__))

    def __setitem__(self, index: Any, value: Any) -> None:
        name = type(self).__name__
        (value,) = _converted(name, [value], _VECTOR_CONVERSIONS[name])
        self.set_at(_at_most(self.size(), index, name), value)

    def __eq__(self, other: object) -> Any:
        items = _items(other)
        if items is None:
            return NotImplemented
        return list(self) == items

    def __rmul__(self, scalar: Any) -> Any:
        return self.__mul__(scalar)

    def __array__(self, dtype: Any = None, copy: bool | None = None) -> numpy.ndarray[Any, Any]:
        return _as_array(list(self), dtype, _VECTORS[type(self).__name__][0], copy)


_VECTOR_CONVERSIONS: dict[str, Callable[[Any], Any]] = {
    name: _to_float if dtype.kind == "f" else operator.index for name, (dtype, _) in _VECTORS.items()
}


def _vector_constructor(name: str, generated: Any) -> Callable[..., None]:
    new = getattr(_zarnik, f"new_{name}")
    attach = getattr(_zarnik, f"{name}_swiginit")
    set_at = getattr(_zarnik, f"{name}_set_at")
    dtype, size = _VECTORS[name]
    convert = _VECTOR_CONVERSIONS[name]
    fixed = None if size == "X" else int(size)
    # Unlike the constructor, this has no overloads to choose from.
    zeros = getattr(_zarnik, f"{name}_create_uniform")
    is_float = dtype.kind == "f"
    low, high = (0, 0) if is_float else (max(numpy.iinfo(dtype).min, -(2**31)), min(numpy.iinfo(dtype).max, 2**31 - 1))

    def __init__(self: Any, *arguments: Any) -> None:
        items = None
        if len(arguments) == 1 and type(arguments[0]) is not generated:
            items = _items(arguments[0])
        if items is None:
            attach(self, new(*arguments))
            return
        if fixed is not None and len(items) != fixed:
            raise ValueError(f"{name} has {fixed} components, got {len(items)}: {items!r}")
        # The flat constructor reads 32 bits of each integer and narrows them without a word: it is for what fits.
        try:
            if items and (is_float or (low <= min(items) and max(items) <= high)):
                attach(self, new(items))
                return
        except (TypeError, OverflowError, SystemError):
            pass
        vector = new() if fixed is not None else zeros(len(items), 0).this
        try:
            for index, item in enumerate(items):
                set_at(vector, index, item)
        except (TypeError, OverflowError):
            items = _converted(name, items, convert)
            try:
                for index, item in enumerate(items):
                    set_at(vector, index, item)
            except OverflowError:
                raise OverflowError(f"a component of {items} is out of the range of {dtype}, in a {name}") from None
        attach(self, vector)

    __init__.__doc__ = generated.__init__.__doc__
    return __init__


def _sequence_operator(name: str, operation: str, generated: Any) -> Callable[[Any, Any], Any]:
    """Make an operator whose sequences come through whole: the flat one reads 32 bits of each integer."""
    flat = getattr(_zarnik, f"{name}_{operation}")
    dtype, size = _VECTORS[name]
    bits = max(8 * dtype.itemsize, 32)

    def operate(self: Any, other: Any) -> Any:
        if type(other) is generated or isinstance(other, (int, float)):
            return flat(self, other)
        items = _items(other)
        if items is None or (size != "X" and len(items) != len(self)):
            return flat(self, other)
        if dtype.kind == "f":
            try:
                return flat(self, generated(items))
            except TypeError:
                return flat(self, other)
        # Items wrap around, as the flat operators have it for those of 32 bits.
        if all(isinstance(item, int) for item in items):
            items = [(item + 2 ** (bits - 1)) % 2**bits - 2 ** (bits - 1) for item in items]
            if bits == 64:
                items = generated([item % 2**64 for item in items] if dtype.kind == "u" else items)
        return flat(self, items)

    operate.__name__ = operation
    operate.__doc__ = getattr(generated, operation).__doc__
    return operate


_SEQUENCE_OPERATIONS = (
    *("__add__", "__sub__", "__mul__", "__truediv__", "__iadd__", "__isub__", "__imul__", "__itruediv__"),
    *("__lt__", "__le__", "__gt__", "__ge__", "dot", "cross"),
)

for _name in _VECTORS:
    _generated = getattr(_classes, _name)
    _generated.__init__ = _vector_constructor(_name, _generated)
    for _operation in _SEQUENCE_OPERATIONS:
        if hasattr(_generated, _operation) and hasattr(_zarnik, f"{_name}_{_operation}"):
            setattr(_generated, _operation, _sequence_operator(_name, _operation, _generated))
extends(*(getattr(_classes, name) for name in _VECTORS))(_Value)
extends(*(getattr(_classes, name) for name in _VECTORS))(_Vector)


def as_vector(vector: Any, values: Any) -> Any:
    """Return a vector of a class from one, or from a sequence of numbers of any kind and width."""
    if type(values) is vector:
        return values
    if _items(values) is None:
        raise TypeError(f"{vector.__name__} is made of a sequence of numbers, got {values!r}")
    return vector(values)


# ---- regions ---------------------------------------------------------------------------------------------------------

_REGIONS = {
    _classes.Region2u64: _classes.Vector2u64,
    _classes.Region3u64: _classes.Vector3u64,
    _classes.Region4u64: _classes.Vector4u64,
    _classes.RegionXu64: _classes.VectorXu64,
}


class _Region(_Value):
    """A region is a pair: `origin, size = region`."""

    if TYPE_CHECKING:

        def get_origin(self) -> Any: ...
        def get_size(self) -> Any: ...

    @property
    def origin(self) -> Any:
        """The first corner of the region, a copy."""
        return self.get_origin()

    @property
    def size(self) -> Any:
        """The extent of the region along each axis, a copy."""
        return self.get_size()

    def __len__(self) -> int:
        return 2

    def __iter__(self) -> Iterator[Any]:
        return iter((self.get_origin(), self.get_size()))

    def __getitem__(self, index: Any) -> Any:
        return (self.get_origin(), self.get_size())[index]

    def __eq__(self, other: object) -> Any:
        """Compare with a region or a pair of sequences; empty regions are equal if they have the same origin."""
        cls = type(self)
        if not isinstance(other, cls):
            items = _items(other)
            if items is None or len(items) != 2:
                return NotImplemented
            try:
                other = cls(*items)
            except (TypeError, ValueError, OverflowError):
                return False
        return getattr(_zarnik, f"{cls.__name__}___eq__")(self, other)

    def __contains__(self, other: Any) -> bool:
        return self.contains(other)

    def contains(self, other: Any) -> bool:
        """Tell whether a region, or a point, is inside of this region.

        :raises InvalidArgument: if the other has not as many dimensions.
        """
        cls: Any = type(self)
        if not isinstance(other, cls):
            other = as_vector(_REGIONS[cls], other)
        return bool(getattr(_zarnik, f"{cls.__name__}_contains")(self, other))

    def __reduce__(self) -> tuple[Any, ...]:
        return type(self), self._state()

    def __repr__(self) -> str:
        return f"{type(self).__name__}({', '.join(_nested(corner) for corner in self._state())})"

    def _state(self) -> tuple[Any, ...]:
        return tuple(self.get_origin()), tuple(self.get_size())

    def __array__(self, dtype: Any = None, copy: bool | None = None) -> numpy.ndarray[Any, Any]:
        return _as_array(self._state(), dtype, ELEMENT_TYPES["u64"], copy)


_PLAIN = (tuple, list)
_NARROW = 2**31 - 1


def _region_constructor(generated: Any, vector: Any) -> Callable[..., None]:
    new = getattr(_zarnik, f"new_{generated.__name__}")
    attach = getattr(_zarnik, f"{generated.__name__}_swiginit")

    def __init__(self: Any, *arguments: Any) -> None:
        if len(arguments) == 2:
            made = None
            origin, size = arguments
            # The flat constructor reads 32 bits of each integer: it is for what fits.
            if type(origin) in _PLAIN and type(size) in _PLAIN:
                try:
                    if min(*origin, *size) >= 0 and max(*origin, *size) <= _NARROW:
                        made = new(origin, size)
                except (TypeError, ValueError, OverflowError, SystemError):
                    pass  # told below, with the item at fault
            if made is not None:
                attach(self, made)
                return
            arguments = tuple(
                corner if type(corner) is vector or _items(corner) is None else vector(corner) for corner in arguments
            )
        attach(self, new(*arguments))

    __init__.__doc__ = generated.__init__.__doc__
    return __init__


for _generated, _vector in _REGIONS.items():
    _generated.__init__ = _region_constructor(_generated, _vector)  # type: ignore[method-assign]
extends(*_REGIONS)(_Value)
extends(*_REGIONS)(_Region)


@extends(_classes.RegionXu64)
class _WideRegion:
    @staticmethod
    def from_index(index: Any) -> Any:
        """Return the region of the one element at an index."""
        return _zarnik.RegionXu64_from_index(as_vector(_classes.VectorXu64, index))

    @staticmethod
    def create_full_region(size: Any) -> Any:
        """Utility factory that create the region of origin [0, 0, 0] and given size."""
        return _zarnik.RegionXu64_create_full_region(as_vector(_classes.VectorXu64, size))


# ---- matrices --------------------------------------------------------------------------------------------------------


class _Matrix(_Value):
    """`matrix[row, column]` and arrays have the row first, as in mathematics; `at(column, row)` the column."""

    if TYPE_CHECKING:

        def at(self, column: int, row: int) -> float: ...
        def set_at(self, column: int, row: int, value: float) -> None: ...

    def __init__(self, *arguments: Any) -> None:
        name = type(self).__name__
        new = getattr(_zarnik, f"new_{name}")
        if len(arguments) == 1:
            dtype, size = _MATRICES[name]
            rows = numpy.array(_rows(arguments[0], name), dtype)
            if rows.shape != (size, size):
                raise ValueError(f"{name} has {size} rows of {size} numbers, got an array of shape {rows.shape}")
            arguments = ()
            made, set_at = new(), getattr(_zarnik, f"{name}_set_at")
            for row, values in enumerate(rows.tolist()):
                for column, value in enumerate(values):
                    set_at(made, column, row, value)
        else:
            made = new(*arguments)
        getattr(_zarnik, f"{name}_swiginit")(self, made)

    def __len__(self) -> int:
        return int(_MATRICES[type(self).__name__][1])

    def __iter__(self) -> Iterator[tuple[float, ...]]:
        places = range(len(self))
        return iter([tuple([self.at(column, row) for column in places]) for row in places])

    def __getitem__(self, index: Any) -> Any:
        if isinstance(index, tuple) and len(index) == 2 and not any(isinstance(place, slice) for place in index):
            row, column = (_at_most(len(self), place, type(self).__name__) for place in index)
            return self.at(column, row)
        rows = tuple(self)
        return numpy.array(rows)[index] if isinstance(index, tuple) else rows[index]

    def __setitem__(self, index: tuple[int, int], value: float) -> None:
        row, column = (_at_most(len(self), place, type(self).__name__) for place in index)
        self.set_at(column, row, _to_float(value))

    def __eq__(self, other: object) -> Any:
        rows = _items(other)
        if rows is None:
            return NotImplemented
        return [list(row) for row in self] == [_items(row) for row in rows]

    # NumPy would take a matrix for an array, and multiply element by element.
    __array_ufunc__ = None

    def __mul__(self, other: Any) -> Any:
        """Multiply with a matrix, a vector of as many components, arrays and sequences of either, or a number."""
        cls: Any = type(self)
        if not hasattr(other, "this") and not isinstance(other, (int, float)):
            other = _operand(other, cls.__name__)
        return cls._flat_product(self, other)

    def __rmul__(self, other: Any) -> Any:
        return self * other if isinstance(other, (int, float, numpy.number)) else NotImplemented

    def __matmul__(self, other: Any) -> Any:
        """Multiply with a matrix, or a vector of as many components, or arrays and sequences of either."""
        return NotImplemented if isinstance(other, (int, float, numpy.number)) else self * other

    def __rmatmul__(self, other: Any) -> Any:
        return numpy.asarray(other) @ numpy.asarray(self)

    def __array__(self, dtype: Any = None, copy: bool | None = None) -> numpy.ndarray[Any, Any]:
        return _as_array(list(self), dtype, _MATRICES[type(self).__name__][0], copy)


def _operand(other: Any, name: str) -> Any:
    """Return what a matrix is to be multiplied with, as the flat functions take it."""
    if isinstance(other, numpy.number):
        return other.item()
    items = _items(other)
    if items is None:
        return other
    suffix = name[-2:]
    is_matrix = any(_items(item) is not None for item in items)
    return getattr(_classes, f"{'Matrix' if is_matrix else 'Vector'}{suffix}")(items)


def _rows(values: Any, name: str) -> Any:
    rows = _items(values)
    if rows is None:
        raise TypeError(f"{name} is made of rows of numbers, got {values!r}")
    return [_items(row) for row in rows]


for _name in _MATRICES:
    _generated = getattr(_classes, _name)
    _generated._flat_product = getattr(_zarnik, f"{_name}___mul__")
extends(*(getattr(_classes, name) for name in _MATRICES))(_Value)
extends(*(getattr(_classes, name) for name in _MATRICES))(_Matrix)


# ---- arrays ----------------------------------------------------------------------------------------------------------


class _Array(_Value):
    """An array shares its memory with NumPy; indexing, slicing and assignment are those of `to_numpy()`."""

    def __init__(self, *arguments: Any) -> None:
        if arguments and isinstance(arguments[0], (list, tuple, numpy.ndarray)):
            arguments = (_classes.VectorXu64(arguments[0]), *arguments[1:])
        name = type(self).__name__
        getattr(_zarnik, f"{name}_swiginit")(self, getattr(_zarnik, f"new_{name}")(*arguments))

    @classmethod
    def from_numpy(cls, array: numpy.ndarray[Any, Any]) -> Any:
        """Copy a NumPy array of the same element type, of any strides, into a new array.

        :raises TypeError: if it is no array, or of another element type.
        """
        if not isinstance(array, numpy.ndarray):
            raise TypeError(f"from_numpy takes a numpy.ndarray, got {type(array).__name__}")
        own = _ARRAYS[cls.__name__]
        if scalar_dtype(array.dtype, f"{cls.__name__} cannot hold elements") != own:
            raise TypeError(f"{cls.__name__} cannot hold elements of dtype {array.dtype}: its own is {own}")
        if not array.flags.c_contiguous and not array.flags.f_contiguous:
            array = array.copy()
        if array.dtype.num != own.num:
            array = array.view(own)
        return getattr(_zarnik, f"{cls.__name__}_from_numpy")(array)

    @classmethod
    def from_sequence(cls, values: Sequence[Any], shape: Iterable[int] | None = None) -> Any:
        """Make an array from nested sequences of numbers, or from a flat one and a shape."""
        own = _ARRAYS[cls.__name__]
        array = numpy.array(values, own)
        if own.kind != "f" and not numpy.array_equal(array, numpy.asarray(values)):
            raise OverflowError(f"{cls.__name__} holds elements of dtype {own}, which not all of the values fit")
        return cls.from_numpy(array if shape is None else array.reshape(tuple(shape)))

    def to_numpy(self) -> numpy.ndarray[Any, Any]:
        """Return a NumPy array over the memory of this one, which it keeps alive."""
        return getattr(_zarnik, f"{type(self).__name__}__to_numpy")(self, self)

    def __array__(self, dtype: Any = None, copy: bool | None = None) -> numpy.ndarray[Any, Any]:
        array = self.to_numpy()
        if dtype is not None and array.dtype != dtype:
            if copy is False:
                raise ValueError(f"an array of dtype {numpy.dtype(dtype)} of elements of {array.dtype} is a copy")
            return array.astype(dtype)
        return array.copy() if copy else array

    def __len__(self) -> int:
        return len(self.to_numpy())

    def __iter__(self) -> Iterator[Any]:
        return iter(self.to_numpy())

    def __getitem__(self, key: Any) -> Any:
        return self.to_numpy()[key]

    def __setitem__(self, key: Any, values: Any) -> None:
        self.to_numpy()[key] = values

    def __eq__(self, other: object) -> Any:
        """Compare shape and elements with an array or nested sequences."""
        if not isinstance(other, (_Array, *_array_classes, numpy.ndarray, list, tuple)):
            return NotImplemented
        try:
            return bool(numpy.array_equal(self.to_numpy(), numpy.asarray(other)))
        except ValueError:  # rows of unequal length
            return False

    def __repr__(self) -> str:
        array = self.to_numpy()
        name = type(self).__name__
        if array.size > 1000:
            return f"<zarnik.{name} of shape {array.shape}>"
        values = array.ravel().tolist() if 0 in array.shape else array.tolist()
        text = _nested(values)
        return f"{name}.from_sequence({text}, {array.shape})" if 0 in array.shape else f"{name}.from_sequence({text})"

    def __reduce__(self) -> tuple[Any, ...]:
        return _restore_array, (type(self).__name__, self.to_numpy())


def _restore_array(name: str, array: numpy.ndarray[Any, Any]) -> Any:
    return getattr(_classes, name).from_numpy(array)


_array_classes = tuple(getattr(_classes, name) for name in _ARRAYS)
extends(*_array_classes)(_Value)
extends(*_array_classes)(_Array)
