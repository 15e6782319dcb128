"""Where the axes and elements of an image stand in an array.

Reading a row of an image takes less time than finding out how to: what depends on types only is worked out once for
each combination, and the flat functions are called directly.
"""

from __future__ import annotations

from typing import TYPE_CHECKING, Any

import numpy

import _zarnik
import zarnik._classes as _classes
from zarnik import _axes, _types

_get_shape = _zarnik.ImageView_get_shape
_get_axes = _zarnik.ImageView_get_axes_interpretation
_get_data_type = _zarnik.ImageView_get_data_type
_axes_value = _zarnik.ImageType_value
_data_type_id = _zarnik.DataType_get_id
_size = _zarnik.VectorXu64_size
_at = _zarnik.VectorXu64_at
_set_at = _zarnik.VectorXu64_set_at
_uniform = _zarnik.VectorXu64_create_uniform
_new_region = _zarnik.new_RegionXu64
_region_origin = _zarnik.RegionXu64_get_origin
_region_size = _zarnik.RegionXu64_get_size

if TYPE_CHECKING:
    # Not before 1.22 can the class itself be subscribed.
    Array = numpy.ndarray[Any, Any]


class Layout:
    """How the dimensions and elements of an image become the axes of an array: T, Z, Y, X, C, those that there are.

    Unknown axes keep the order of the image, first dimension first, since nothing says what they are.
    """

    __slots__ = ("axes", "buffer_axes", "components", "dimensions", "dtype", "inverse", "positions", "rank", "scalar")

    def __init__(self, image_type: Any, rank: int, data_type_id: int) -> None:
        self.dtype = _types.dtype_of(data_type_id)
        #: the type of the elements of an array, and the shape of one element of the image: () or that of the last axis
        self.scalar, self.components = self.dtype.base, self.dtype.shape
        self.rank = rank
        canonical = list(image_type)
        known = len(canonical) == rank
        self.dimensions = [dimension for dimension in _axes.NUMPY_ORDER if dimension in canonical] if known else []
        #: positions[axis] is the place of the axis among the dimensions of the image
        self.positions = [canonical.index(dimension) for dimension in self.dimensions] or list(range(rank))
        # A buffer of the library, first dimension fastest, is a C ordered array of the dimensions from last to first:
        # buffer_axes reorders its axes into those of the array, inverse does the contrary.
        buffer_axes = [rank - 1 - position for position in self.positions]
        inverse = [buffer_axes.index(axis) for axis in range(rank)]
        within = [rank] * len(self.components)
        natural = list(range(rank))
        self.buffer_axes = None if buffer_axes == natural else buffer_axes + within
        self.inverse = None if inverse == natural else inverse + within
        #: the axes of an array, components of pixels as "C"; None if they are not known
        self.axes: str | None = None
        if known:
            letters = _axes.letters(self.dimensions)
            self.axes = letters + "C" if self.components and "C" not in letters else letters

    def shape(self, sizes: list[int]) -> tuple[int, ...]:
        """Return the shape of an array of so many elements along each dimension of the image."""
        return (*[sizes[position] for position in self.positions], *self.components)

    def buffer(self, sizes: list[int]) -> Array:
        """Return an uninitialized buffer for a region, as a C ordered array with the dimensions from last to first."""
        return numpy.empty((*sizes[::-1], *self.components), self.scalar)

    def to_array_axes(self, buffer: Array) -> Array:
        """Show a buffer, or an array in its order of axes, with the axes of an array."""
        return buffer if self.buffer_axes is None else buffer.transpose(self.buffer_axes)

    def to_buffer_axes(self, array: Array) -> Array:
        """The contrary of to_array_axes."""
        return array if self.inverse is None else array.transpose(self.inverse)

    def permutation(self, requested: _axes.Axes) -> list[int]:
        """Return, for each axis requested, the axis of an array in the usual order."""
        if self.axes is None:
            raise ValueError("the axes of this image are unknown: set_axes_interpretation names them")
        # Where pixels have components besides a channel axis, those stay last and have no name.
        wanted = _axes.letters(_axes.dimensions_of(requested))
        if sorted(wanted) != sorted(self.axes):
            raise ValueError(f"order {wanted!r} does not fit an image with axes {self.axes!r}")
        permutation = [self.axes.index(letter) for letter in wanted]
        return permutation + [self.rank] * (self.rank + len(self.components) - len(permutation))


_layouts: dict[tuple[int, int, int], Layout] = {}


def geometry_of(view: Any) -> tuple[Layout, list[int]]:
    """Return the layout of an image, and its size along each of its own dimensions."""
    sizes = components_of(_get_shape(view))
    return layout_of(view, len(sizes)), sizes


def layout_of(view: Any, rank: int) -> Layout:
    """Return the layout of an image of so many dimensions."""
    image_type = _get_axes(view)
    key = (_axes_value(image_type), rank, _data_type_id(_get_data_type(view)))
    layout = _layouts.get(key)
    if layout is None:
        layout = _layouts[key] = Layout(image_type, rank, key[2])
    return layout


def components_of(vector: Any) -> list[int]:
    """Return the components of a VectorXu64."""
    return [_at(vector, index) for index in range(_size(vector))]


def region_of(region: Any, sizes: list[int]) -> tuple[Any, list[int]]:
    """Return a region, or a pair of sequences, as the region class that images take, and its size.

    :param sizes: Those of the image, which the region must not exceed.
    """
    if type(region) is _classes.RegionXu64:
        origin, count = components_of(_region_origin(region)), components_of(_region_size(region))
    else:
        try:
            origin, count = (list(corner) for corner in region)
        except (TypeError, ValueError):
            raise TypeError(f"a region is a RegionXu64 or a pair of origin and size, got {region!r}") from None
        region = None
    fits = len(origin) == len(count) == len(sizes)
    if fits:
        for start, extent, limit in zip(origin, count, sizes):
            fits = fits and 0 <= start <= start + extent <= limit and extent >= 0
    if not fits:
        raise _classes.InvalidArgument(
            f"region origin {tuple(origin)} + size {tuple(count)} exceeds image shape {tuple(sizes)} (X, Y, Z, C, T)"
        )
    if region is None:
        region = _new_region(_vector(origin), _vector(count))
    return region, count


def _vector(components: list[int]) -> Any:
    vector = _uniform(len(components), 0)
    for index, component in enumerate(components):
        if component:
            _set_at(vector, index, int(component))
    return vector
