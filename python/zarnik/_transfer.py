"""Reading and writing regions of images, in buffers that are sized and checked here."""

from __future__ import annotations

import math
from collections.abc import Sequence
from typing import TYPE_CHECKING, Any, Callable

import numpy

from zarnik import _direct

if TYPE_CHECKING:
    from zarnik._geometry import Array, Layout

_BLOCK_BYTES = 2**24


def read(view: Any, layout: Layout, origin: Sequence[int], size: Sequence[int], out: Array | None = None) -> Array:
    """Return a region of an image as an array with the axes of its layout, `out` if it is given."""
    if out is None:
        array = _direct.read_region(view, origin, size)
        if array is not None:
            return array
    return filled(layout, size, out, lambda buffer: _direct.fill_buffer(view, origin, size, buffer))


def write(view: Any, layout: Layout, origin: Sequence[int], size: Sequence[int], values: Any) -> None:
    """Write what can be assigned to the array of a region to the region of an image."""
    shape = layout.shape(size)
    is_ready = isinstance(values, numpy.ndarray) and values.shape == shape and values.dtype == layout.scalar
    if math.prod(size) * layout.dtype.itemsize <= _BLOCK_BYTES or (
        is_ready and layout.to_buffer_axes(values).flags.c_contiguous
    ):
        _direct.write_buffer(view, origin, size, dense(layout, size, values))
        return
    # Converted and laid out slab by slab, so that the image needs no second one of its size.
    values = numpy.broadcast_to(values, shape)
    cut = max(position for position in range(len(size)) if size[position] > 1)
    axis = layout.positions.index(cut)
    count = max(1, _BLOCK_BYTES * size[cut] // (math.prod(size) * layout.dtype.itemsize))
    for first in range(0, size[cut], count):
        part = min(count, size[cut] - first)
        slab_origin, slab_size = list(origin), list(size)
        slab_origin[cut], slab_size[cut] = origin[cut] + first, part
        slab = values[(slice(None),) * axis + (slice(first, first + part),)]
        _direct.write_buffer(view, slab_origin, slab_size, dense(layout, slab_size, slab))


def filled(layout: Layout, size: Sequence[int], out: Any, fill: Callable[[Array], object]) -> Array:
    """Return an array of a size whose buffer, in the library's order, was filled by a function."""
    if out is not None:
        given = layout.to_buffer_axes(_checked_out(out, layout, size))
        if given.flags.c_contiguous:
            fill(given)
            return out
    buffer = layout.buffer(size)
    fill(buffer)
    array = layout.to_array_axes(buffer)
    if out is None:
        return array
    out[...] = array
    return out


def dense(layout: Layout, size: Sequence[int], values: Any) -> Array:
    """Return a buffer in the library's order of what can be assigned to an array of a size."""
    if isinstance(values, numpy.ndarray) and values.shape == layout.shape(size) and values.dtype == layout.scalar:
        return numpy.ascontiguousarray(layout.to_buffer_axes(values))
    buffer = layout.buffer(size)
    layout.to_array_axes(buffer)[...] = values
    return buffer


def _checked_out(out: Any, layout: Layout, size: Sequence[int]) -> Array:
    if not isinstance(out, numpy.ndarray):
        raise TypeError(f"out must be a numpy.ndarray, got {type(out).__name__}")
    if out.shape != layout.shape(size) or out.dtype != layout.scalar:
        raise ValueError(
            f"out has shape {out.shape} and dtype {out.dtype}, the region has {layout.shape(size)} and {layout.scalar}"
        )
    if not out.flags.writeable:
        raise ValueError("out is read-only")
    return out
