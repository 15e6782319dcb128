"""Reading and writing regions of images, in buffers that are sized and checked here."""

from __future__ import annotations

from collections.abc import Sequence
from typing import TYPE_CHECKING, Any, Callable

import numpy

from zarnik import _direct

if TYPE_CHECKING:
    from zarnik._geometry import Array, Layout


def read(view: Any, layout: Layout, origin: Sequence[int], size: Sequence[int], out: Array | None = None) -> Array:
    """Return a region of an image as an array with the axes of its layout, `out` if it is given."""
    if out is None:
        array = _direct.read_region(view, origin, size)
        if array is not None:
            return array
    return filled(layout, size, out, lambda buffer: _direct.fill_buffer(view, origin, size, buffer))


def write(view: Any, layout: Layout, origin: Sequence[int], size: Sequence[int], values: Any) -> None:
    """Write what can be assigned to the array of a region to the region of an image."""
    _direct.write_buffer(view, origin, size, dense(layout, size, values))


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
