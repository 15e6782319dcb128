"""Where the axes and elements of an image stand in an array.

Reading a row of an image takes less time than finding out how to: what depends on types only is worked out once for
each combination.
"""

from __future__ import annotations

import itertools
import operator
from collections.abc import Sequence
from typing import TYPE_CHECKING, Any

import numpy

import zarnik._classes as _classes
from zarnik import _axes, _direct, _types

if TYPE_CHECKING:
    # Not before 1.22 can the class itself be subscribed.
    Array = numpy.ndarray[Any, Any]


class Layout:
    """How the dimensions and elements of an image become the axes of an array: T, Z, Y, X, C, those that there are.

    Unknown axes keep the order of the image, first dimension first, since nothing says what they are.
    """

    __slots__ = (
        *("axes", "buffer_axes", "components", "dimensions", "dtype", "first", "inverse", "ones", "positions", "rank"),
        "scalar",
    )

    def __init__(self, image_type: Any, rank: int, data_type_id: int) -> None:
        self.dtype = _types.dtype_of(data_type_id)
        #: the type of the elements of an array, and the shape of one element of the image: () or that of the last axis
        self.scalar, self.components = self.dtype.base, self.dtype.shape
        self.rank = rank
        #: the size of one element, and the index of the first one
        self.ones, self.first = (1,) * rank, (0,) * rank
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

    def shape(self, sizes: Sequence[int]) -> tuple[int, ...]:
        """Return the shape of an array of so many elements along each dimension of the image."""
        return (*[sizes[position] for position in self.positions], *self.components)

    def buffer(self, sizes: Sequence[int]) -> Array:
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


def geometry_of(view: Any) -> tuple[Layout, tuple[int, ...]]:
    """Return the layout of an image, and its size along each of its own dimensions."""
    axes, data_type, sizes = _direct.geometry(view)
    key = (axes, data_type, len(sizes))
    layout = _layouts.get(key)
    if layout is None:
        layout = _layouts[key] = Layout(view.get_axes_interpretation(), len(sizes), data_type)
        order = layout.buffer_axes or range(layout.rank + len(layout.components))
        _direct.add_layout(*key, layout.scalar, layout.components, tuple(order))
    return layout, sizes


def corners_of(region: Any, sizes: Sequence[int]) -> tuple[Sequence[int], Sequence[int]]:
    """Return the origin and the size of a region, or of a pair of sequences; of the whole image for None.

    :param sizes: Those of the image, which the region must not exceed.
    """
    if region is None:
        return (0,) * len(sizes), sizes
    origin: Sequence[int]
    count: Sequence[int]
    if type(region) is _classes.RegionXu64:
        origin, count = _direct.corners(region)
    else:
        try:
            most = len(sizes) + 1
            origin, count = ([operator.index(place) for place in itertools.islice(corner, most)] for corner in region)
        except (TypeError, ValueError):
            raise TypeError(f"a region is a RegionXu64 or a pair of origin and size, got {region!r}") from None
    fits = len(origin) == len(count) == len(sizes)
    if fits:
        for start, extent, limit in zip(origin, count, sizes):
            fits = fits and 0 <= start <= start + extent <= limit and extent >= 0
    if not fits:
        raise _classes.InvalidArgument(
            f"region origin {tuple(origin)} + size {tuple(count)} exceeds image shape {tuple(sizes)} (X, Y, Z, C, T)"
        )
    return origin, count
