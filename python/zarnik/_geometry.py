"""Where the axes and elements of an image stand in an array."""

from __future__ import annotations

from typing import Any

import numpy

import _zarnik
import zarnik._classes as _classes
from zarnik import _axes, _types
from zarnik._enumerations import ImageDimension


class AxisOrder:
    """How the dimensions of an image type become the axes of an array: T, Z, Y, X, C, those that there are.

    An unknown type keeps the order of the image, first dimension first, since nothing says what they are.
    """

    __slots__ = ("buffer_axes", "dimensions", "inverse", "known", "positions")

    def __init__(self, dimensions: list[ImageDimension], rank: int) -> None:
        self.known = len(dimensions) == rank
        self.dimensions = [dimension for dimension in _axes.NUMPY_ORDER if dimension in dimensions]
        #: positions[axis] is the place of the axis among the dimensions of the image
        self.positions = [dimensions.index(dimension) for dimension in self.dimensions]
        if not self.known:
            self.dimensions = []
            self.positions = list(range(rank))
        # A buffer of the library, first dimension fastest, is a C ordered array of the dimensions from last to first:
        # buffer_axes reorders its axes into those of the array, inverse does the contrary.
        self.buffer_axes = [rank - 1 - position for position in self.positions]
        self.inverse = [self.buffer_axes.index(axis) for axis in range(rank)]


_orders: dict[tuple[int, int], AxisOrder] = {}


class Geometry:
    """Shape, axes and element type of an image view at one moment."""

    __slots__ = ("data_type_id", "dtype", "order", "sizes")

    def __init__(self, view: Any) -> None:
        shape = _zarnik.ImageView_get_shape(view)
        at = _zarnik.VectorXu64_at
        #: of the dimensions in the image's own order
        self.sizes = [at(shape, index) for index in range(_zarnik.VectorXu64_size(shape))]
        image_type = _zarnik.ImageView_get_axes_interpretation(view)
        rank = len(self.sizes)
        key = (_zarnik.ImageType_value(image_type), rank)
        order = _orders.get(key)
        if order is None:
            order = _orders[key] = AxisOrder(list(image_type), rank)
        self.order = order
        self.data_type_id = _zarnik.DataType_get_id(_zarnik.ImageView_get_data_type(view))
        self.dtype = _types.dtype_of(self.data_type_id)

    @property
    def scalar(self) -> numpy.dtype[Any]:
        """The type of the elements of an array."""
        return self.dtype.base

    @property
    def components(self) -> tuple[int, ...]:
        """The shape of one element: one axis, the last of an array, for types of several components."""
        return self.dtype.shape

    @property
    def shape(self) -> tuple[int, ...]:
        """The shape of an array of the whole image."""
        return tuple([self.sizes[position] for position in self.order.positions]) + self.components

    @property
    def axes(self) -> str | None:
        """The axes of an array, components of pixels as "C"; None if they are not known."""
        if not self.order.known:
            return None
        letters = _axes.letters(self.order.dimensions)
        return letters + "C" if self.components and "C" not in letters else letters

    def whole(self) -> tuple[list[int], list[int]]:
        """Return origin and size of the whole image."""
        return [0] * len(self.sizes), self.sizes

    def buffer(self, size: list[int]) -> numpy.ndarray[Any, Any]:
        """Return an uninitialized buffer for a region, as a C ordered array with the dimensions from last to first."""
        return numpy.empty(tuple(size[::-1]) + self.components, self.scalar)

    def to_array_axes(self, buffer: numpy.ndarray[Any, Any]) -> numpy.ndarray[Any, Any]:
        """Show a buffer, or an array in its order of axes, with the axes of an array."""
        return self._transposed(buffer, self.order.buffer_axes)

    def to_buffer_axes(self, array: numpy.ndarray[Any, Any]) -> numpy.ndarray[Any, Any]:
        """The contrary of to_array_axes."""
        return self._transposed(array, self.order.inverse)

    def _transposed(self, array: numpy.ndarray[Any, Any], axes: list[int]) -> numpy.ndarray[Any, Any]:
        rank = len(axes)
        if axes == list(range(rank)):
            return array
        transposed: numpy.ndarray[Any, Any] = array.transpose([*axes, rank] if self.components else axes)
        return transposed

    def axes_permutation(self, requested: _axes.Axes) -> list[int]:
        """Return, for each axis requested, the axis of an array in the usual order."""
        axes = self.axes
        if axes is None:
            raise ValueError("the axes of this image are unknown: set_axes_interpretation names them")
        # Where pixels have components besides a channel axis, those stay last and have no name.
        wanted = _axes.letters(_axes.dimensions_of(requested))
        if sorted(wanted) != sorted(axes):
            raise ValueError(f"order {wanted!r} does not fit an image with axes {axes!r}")
        permutation = [axes.index(letter) for letter in wanted]
        return permutation + ([len(axes)] if len(axes) < len(self.shape) else [])


def region_bounds(region: Any) -> tuple[list[int], list[int]]:
    """Return origin and size of a region, or of a pair of sequences, in the image's own order of dimensions."""
    if isinstance(region, (_classes.RegionXu64, _classes.Region2u64, _classes.Region3u64, _classes.Region4u64)):
        return list(region.get_origin()), list(region.get_size())
    origin, size = region
    return list(origin), list(size)


def region_of(origin: list[int], size: list[int]) -> Any:
    """Return a region whose components may be of any 64-bit size."""
    return _zarnik.new_RegionXu64(_classes.VectorXu64(origin), _classes.VectorXu64(size))
