"""Arrays of the library as Python values, whose memory NumPy shares."""

from __future__ import annotations

from collections.abc import Iterable, Iterator, Sequence
from typing import Any

import numpy

import zarnik._classes as _classes
from zarnik._calls import flat
from zarnik._extension import extends
from zarnik._types import ELEMENT_TYPES, scalar_dtype
from zarnik._values import SHOWN_WHOLE, Value, nested

_ARRAYS: dict[str, numpy.dtype[Any]] = {f"ArrayX{suffix}": dtype for suffix, dtype in ELEMENT_TYPES.items()}


@extends("ArrayX*")
class _Array(Value):
    """An array shares its memory with NumPy; indexing, slicing and assignment are those of `to_numpy()`."""

    def __init__(self, *arguments: Any) -> None:
        if arguments and isinstance(arguments[0], (list, tuple, numpy.ndarray)):
            arguments = (_classes.VectorXu64(arguments[0]), *arguments[1:])
        name = type(self).__name__
        getattr(flat, f"{name}_swiginit")(self, getattr(flat, f"new_{name}")(*arguments))

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
        return getattr(flat, f"{cls.__name__}_from_numpy")(array)

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
        return getattr(flat, f"{type(self).__name__}__to_numpy")(self, self)

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
        if array.size > SHOWN_WHOLE:
            return f"<zarnik.{name} of shape {array.shape}>"
        values = array.ravel().tolist() if 0 in array.shape else array.tolist()
        text = nested(values)
        return f"{name}.from_sequence({text}, {array.shape})" if 0 in array.shape else f"{name}.from_sequence({text})"

    def __reduce__(self) -> tuple[Any, ...]:
        return _restore_array, (type(self).__name__, self.to_numpy())


def _restore_array(name: str, array: numpy.ndarray[Any, Any]) -> Any:
    return getattr(_classes, name).from_numpy(array)


_array_classes = tuple(getattr(_classes, name) for name in _ARRAYS)
