"""Vectors as Python values: sequences of their components, from any sequence or array of numbers."""

from __future__ import annotations

import operator
import reprlib
from collections.abc import Iterator
from typing import TYPE_CHECKING, Any, Callable

import numpy

import _zarnik
import zarnik._classes as _classes
from zarnik._calls import flat
from zarnik._extension import extends
from zarnik._types import ELEMENT_TYPES
from zarnik._values import SHOWN_WHOLE, Value, as_array, converted, items_of, place_of, to_float

_VECTORS: dict[str, tuple[numpy.dtype[Any], str]] = {
    f"Vector{size}{suffix}": (dtype, size) for size in "234X" for suffix, dtype in ELEMENT_TYPES.items()
}


@extends("Vector*")
class _Vector(Value):
    """`Vector3d((1, 2, 3))` from any sequence or array of numbers; integers of all 64 bits, checked."""

    if TYPE_CHECKING:

        def size(self) -> int: ...
        def at(self, index: int) -> Any: ...
        def set_at(self, index: int, value: Any) -> None: ...
        def to_string(self) -> str: ...
        def __mul__(self, other: Any) -> Any: ...

    def __len__(self) -> int:
        return self.size()

    def __iter__(self) -> Iterator[Any]:
        return iter([self.at(index) for index in range(self.size())])

    def __getitem__(self, index: Any) -> Any:
        if isinstance(index, slice):
            return tuple(self)[index]
        return self.at(place_of(self.size(), index, type(self).__name__))

    def __setitem__(self, index: Any, value: Any) -> None:
        name = type(self).__name__
        (value,) = converted(name, [value], _VECTOR_CONVERSIONS[name])
        self.set_at(place_of(self.size(), index, name), value)

    def __eq__(self, other: object) -> Any:
        items = items_of(other)
        if items is None:
            return NotImplemented
        return list(self) == items

    def __rmul__(self, scalar: Any) -> Any:
        return self.__mul__(scalar)

    def __repr__(self) -> str:
        if self.size() <= SHOWN_WHOLE:
            return Value.__repr__(self)
        return f"<zarnik.{type(self).__name__} of {self.size()} components {self.to_string()}>"

    def __array__(self, dtype: Any = None, copy: bool | None = None) -> numpy.ndarray[Any, Any]:
        return as_array(list(self), dtype, _VECTORS[type(self).__name__][0], copy)


_VECTOR_CONVERSIONS: dict[str, Callable[[Any], Any]] = {
    name: to_float if dtype.kind == "f" else operator.index for name, (dtype, _) in _VECTORS.items()
}


_PLAIN = (list, tuple)


def _vector_constructor(name: str, generated: Any) -> Callable[..., None]:
    new = getattr(_zarnik, f"new_{name}")
    explained = getattr(flat, f"new_{name}")
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
        if is_float and len(arguments) == 1 and type(arguments[0]) in _PLAIN and len(arguments[0]) == fixed:
            try:
                self.this = new(*arguments)
                return
            except (TypeError, OverflowError, SystemError):
                pass  # told below, with the item at fault
        if len(arguments) == 1 and type(arguments[0]) is not generated:
            items = items_of(arguments[0])
        if items is None:
            self.this = explained(*arguments)
            return
        if fixed is not None and len(items) != fixed:
            raise ValueError(f"{name} has {fixed} components, got {len(items)}: {reprlib.repr(items)}")
        # The flat constructor reads 32 bits of each integer and narrows them without a word: it is for what fits.
        try:
            if items and (is_float or (low <= min(items) and max(items) <= high)):
                self.this = new(items)
                return
        except (TypeError, OverflowError, SystemError):
            pass
        vector = new() if fixed is not None else zeros(len(items), 0).this
        try:
            for index, item in enumerate(items):
                set_at(vector, index, item)
        except (TypeError, OverflowError):
            items = converted(name, items, convert)
            try:
                for index, item in enumerate(items):
                    set_at(vector, index, item)
            except OverflowError:
                raise OverflowError(
                    f"a component of {reprlib.repr(items)} is out of the range of {dtype}, in a {name}"
                ) from None
        self.this = vector

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
        items = items_of(other)
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


def as_vector(vector: Any, values: Any) -> Any:
    """Return a vector of a class from one, or from a sequence of numbers of any kind and width."""
    if type(values) is vector:
        return values
    if items_of(values) is None:
        raise TypeError(f"{vector.__name__} is made of a sequence of numbers, got {reprlib.repr(values)}")
    return vector(values)
