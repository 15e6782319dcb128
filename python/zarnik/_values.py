"""What vectors, regions, matrices and arrays share as Python values: equality, copies, text, conversion of items."""

from __future__ import annotations

import math
import operator
import reprlib
from collections.abc import Iterator
from typing import TYPE_CHECKING, Any, Callable

import numpy

#: up to so many numbers a value is shown by a text that evaluates back
SHOWN_WHOLE = 1000


def items_of(values: Any) -> list[Any] | None:
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


def to_float(value: Any) -> float:
    """Return a number as a float; a string is none."""
    if isinstance(value, (str, bytes)):
        raise TypeError(f"a number is needed, got {value!r}")
    return float(value)


def converted(name: str, values: list[Any], convert: Callable[[Any], Any]) -> list[Any]:
    """Return values as numbers or integers; `name` is the class that is made of them."""
    try:
        return [convert(value) for value in values]
    except TypeError:
        kind = "integers" if convert is operator.index else "numbers"
        raise TypeError(f"{name} is made of {kind}, got {reprlib.repr(values)}") from None


def _number(value: float) -> str:
    """Text of a number that evaluates back, also of those that have no literal."""
    return repr(value) if math.isfinite(value) else f"float('{value}')"


def nested(values: Any) -> str:
    """Return the text of nested sequences of numbers, as tuples."""
    if isinstance(values, (list, tuple)):
        return "(" + ", ".join(nested(value) for value in values) + ("," if len(values) == 1 else "") + ")"
    return _number(values)


def as_array(values: Any, dtype: Any, own: numpy.dtype[Any], copy: bool | None) -> numpy.ndarray[Any, Any]:
    """Return an array of components, which cannot be shared."""
    if copy is False:
        raise ValueError("the components of a small value cannot be shared: an array of them is a copy")
    array = numpy.array(values, own)
    return array if dtype is None else array.astype(dtype, copy=False)


class Value:
    """Equality with sequences, no hash since values can be changed, and text that evaluates back."""

    if TYPE_CHECKING:

        def __iter__(self) -> Iterator[Any]: ...
        def __init__(self, *values: Any) -> None: ...

    __hash__ = None  # type: ignore[assignment]

    def __ne__(self, other: object) -> Any:
        equal = self.__eq__(other)
        return equal if equal is NotImplemented else not equal

    def __repr__(self) -> str:
        return f"{type(self).__name__}({nested(self._state())})"

    def __reduce__(self) -> tuple[Any, ...]:
        return type(self), (self._state(),)

    def _state(self) -> tuple[Any, ...]:
        """Return the value as nested tuples of Python numbers, from which the constructor makes it again."""
        return tuple(self)


def place_of(count: int, index: Any, name: str) -> int:
    """Return an index that counts from the first component, checked."""
    place = operator.index(index)
    if not -count <= place < count:
        raise IndexError(f"index {place} is out of range for {name}, which has {count} components")
    return place % count
