"""Matrices as Python values: rows of numbers, as arrays have them."""

from __future__ import annotations

from collections.abc import Iterator
from typing import TYPE_CHECKING, Any

import numpy

import zarnik._classes as _classes
from zarnik._calls import flat
from zarnik._extension import extends
from zarnik._types import ELEMENT_TYPES
from zarnik._values import Value, as_array, items_of, place_of, to_float

_MATRICES: dict[str, tuple[numpy.dtype[Any], int]] = {
    f"Matrix{size}{suffix}": (ELEMENT_TYPES[suffix], size) for size in (3, 4) for suffix in "fd"
}


@extends("Matrix*")
class _Matrix(Value):
    """`matrix[row, column]` and arrays have the row first, as in mathematics; `at(column, row)` the column."""

    if TYPE_CHECKING:

        def at(self, column: int, row: int) -> float: ...
        def set_at(self, column: int, row: int, value: float) -> None: ...

    def __init__(self, *arguments: Any) -> None:
        name = type(self).__name__
        new = getattr(flat, f"new_{name}")
        if len(arguments) == 1:
            dtype, size = _MATRICES[name]
            rows = numpy.array(_rows(arguments[0], name), dtype)
            if rows.shape != (size, size):
                raise ValueError(f"{name} has {size} rows of {size} numbers, got an array of shape {rows.shape}")
            arguments = ()
            made, set_at = new(), getattr(flat, f"{name}_set_at")
            for row, values in enumerate(rows.tolist()):
                for column, value in enumerate(values):
                    set_at(made, column, row, value)
        else:
            made = new(*arguments)
        getattr(flat, f"{name}_swiginit")(self, made)

    def __len__(self) -> int:
        return int(_MATRICES[type(self).__name__][1])

    def __iter__(self) -> Iterator[tuple[float, ...]]:
        places = range(len(self))
        return iter([tuple([self.at(column, row) for column in places]) for row in places])

    def __getitem__(self, index: Any) -> Any:
        if isinstance(index, tuple) and len(index) == 2 and not any(isinstance(place, slice) for place in index):
            row, column = (place_of(len(self), place, type(self).__name__) for place in index)
            return self.at(column, row)
        rows = tuple(self)
        return numpy.array(rows)[index] if isinstance(index, tuple) else rows[index]

    def __setitem__(self, index: tuple[int, int], value: float) -> None:
        row, column = (place_of(len(self), place, type(self).__name__) for place in index)
        self.set_at(column, row, to_float(value))

    def __eq__(self, other: object) -> Any:
        rows = items_of(other)
        if rows is None:
            return NotImplemented
        return [list(row) for row in self] == [items_of(row) for row in rows]

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
        scalar = isinstance(other, (int, float, complex, numpy.number))
        return NotImplemented if scalar or items_of(other) is None else self * other

    def __rmatmul__(self, other: Any) -> Any:
        return numpy.asarray(other) @ numpy.asarray(self)

    def __array__(self, dtype: Any = None, copy: bool | None = None) -> numpy.ndarray[Any, Any]:
        return as_array(list(self), dtype, _MATRICES[type(self).__name__][0], copy)


def _operand(other: Any, name: str) -> Any:
    """Return what a matrix is to be multiplied with, as the flat functions take it."""
    if isinstance(other, numpy.number):
        return other.item()
    items = items_of(other)
    if items is None:
        return other
    suffix = name[-2:]
    is_matrix = any(items_of(item) is not None for item in items)
    return getattr(_classes, f"{'Matrix' if is_matrix else 'Vector'}{suffix}")(items)


def _rows(values: Any, name: str) -> Any:
    rows = items_of(values)
    if rows is None:
        raise TypeError(f"{name} is made of rows of numbers, got {values!r}")
    return [items_of(row) for row in rows]


for _name in _MATRICES:
    _generated = getattr(_classes, _name)
    _generated._flat_product = getattr(flat, f"{_name}___mul__")
