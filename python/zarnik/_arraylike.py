"""What images share with arrays: length and size, the protocols by which other libraries take them, parts by axis."""

from __future__ import annotations

import math
from collections.abc import Iterator
from typing import TYPE_CHECKING, Any

import numpy

import zarnik._classes as _classes
from zarnik import _axes
from zarnik._extension import extends
from zarnik._geometry import geometry_of
from zarnik._indexing import read_part
from zarnik._interop import keep_memory, shared_array

if TYPE_CHECKING:
    from zarnik._geometry import Array


@extends("ImageView")
class _ArrayLike:
    if TYPE_CHECKING:

        @property
        def shape(self) -> tuple[int, ...]: ...
        @property
        def axes(self) -> str | None: ...
        @property
        def dtype(self) -> numpy.dtype[Any]: ...
        def to_numpy(self, order: Any = None, *, copy: bool | None = None) -> Array: ...

    def __len__(self) -> int:
        """Return the length of the first axis, in the order T, Z, Y, X, C."""
        return self.shape[0]

    def __bool__(self) -> bool:
        return True

    @property
    def size(self) -> int:
        """The number of elements of an array of this image."""
        return math.prod(self.shape)

    @property
    def nbytes(self) -> int:
        """The number of bytes of an array of this image."""
        return self.size * self.dtype.itemsize

    @property
    def itemsize(self) -> int:
        """The number of bytes of an element of an array of this image."""
        return self.dtype.itemsize

    def __iter__(self) -> Iterator[Any]:
        """Go over the parts along the first axis: views of memory that can be shared, else copies."""
        layout, sizes = geometry_of(self)
        array = shared_array(self, layout)
        if array is not None:
            return iter(array)
        return (read_part(self, index) for index in range(layout.shape(sizes)[0]))

    def __contains__(self, value: Any) -> bool:
        """Tell whether any element is equal to a value."""
        return any(bool(numpy.any(part == value)) for part in self)

    def equals(self, other: Any) -> bool:
        """Tell whether another image, or an array, has the same axes, shape and elements; NaN is equal to NaN.

        Of an array the axes are those of this image. Calibration and metadata are not compared.
        """
        if isinstance(other, _classes.ImageView):
            if other.axes != self.axes:
                return False
        elif not hasattr(other, "__array__"):
            return False
        else:
            other = numpy.asarray(other)
        if tuple(other.shape) != self.shape:
            return False
        return all(_equal(numpy.asarray(mine), numpy.asarray(its)) for mine, its in zip(self, other))

    def isel(self, **indices: Any) -> Any:
        """Read a part of the image into a new array, by the names of axes: `image.isel(T=0, Z=slice(3, 5))`.

        :param indices: For each axis, of T, Z, Y, X and C, an integer or a slice. Axes that are not named are whole.
        :return: What `image[...]` gives for these.
        """
        return read_part(self, self._key_of(indices))

    def _key_of(self, indices: dict[str, Any]) -> tuple[Any, ...]:
        axes = self.axes
        if axes is None:
            raise ValueError("the axes of this image are unknown: set_axes_interpretation names them")
        key: list[Any] = [slice(None)] * len(self.shape)
        for name, index in indices.items():
            (dimension, *more) = _axes.dimensions_of(name)
            if more or dimension.letter not in axes:
                raise ValueError(f"this image has no axis {name!r}, its axes are {axes!r}")
            key[axes.index(dimension.letter)] = index
        return tuple(key)

    def tobytes(self, order: Any = "C") -> bytes:
        """Return the elements as bytes, those of the last axis of an array first."""
        return self.to_numpy().tobytes(order)

    # ---- protocols ---------------------------------------------------------------------------------------------------

    @property
    def __array_interface__(self) -> dict[str, Any]:
        """What NumPy and others need to look at the image's memory; an image without memory to share has none."""
        array = _shared(self)
        keep_memory(self, array)
        interface: dict[str, Any] = dict(array.__array_interface__)
        interface["strides"] = array.strides
        return interface

    @property
    def __array_struct__(self) -> Any:
        """The same as a capsule, which NumPy asks for first, and which holds the memory that it shows."""
        if not _HOLDS_STRUCT:
            raise AttributeError("this NumPy does not hold what it was shown")
        return _shared(self).__array_struct__

    def __dlpack__(self, **arguments: Any) -> Any:
        """Return the image's memory, or a copy if there is none to share, as a DLPack capsule."""
        array: Any = self.to_numpy()
        return array.__dlpack__(**{name: value for name, value in arguments.items() if value is not None})

    def __dlpack_device__(self) -> tuple[int, int]:
        """Return the device of the memory: the processor."""
        return (1, 0)

    def __buffer__(self, flags: int) -> memoryview:
        """Return the image's memory as a buffer: Python asks for it from 3.12 on."""
        layout, _ = geometry_of(self)
        array = shared_array(self, layout)
        if array is None:
            raise BufferError("this image is not in memory that can be shared: an array of it is a copy")
        return memoryview(array)  # type: ignore[arg-type,unused-ignore]


# From NumPy 2 on an array made of an `__array_struct__` holds it, and with it the memory.
_HOLDS_STRUCT = not numpy.__version__.startswith("1.")


def _shared(image: Any) -> Array:
    array = shared_array(image, geometry_of(image)[0])
    if array is None:
        raise AttributeError("this image is not in memory that can be shared: an array of it is a copy")
    return array


def _equal(left: Array, right: Array) -> bool:
    same = left == right
    if left.dtype.kind in "fc" and right.dtype.kind in "fc":
        same |= (left != left) & (right != right)
    return bool(numpy.all(same))
