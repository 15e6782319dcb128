"""Reading and writing regions of images, in buffers that are sized and checked here."""

from __future__ import annotations

import math
import warnings
from collections.abc import Sequence
from typing import TYPE_CHECKING, Any, Callable

import numpy

from zarnik import _direct
from zarnik._interop import shared_array

if TYPE_CHECKING:
    from zarnik._geometry import Array, Layout

_BLOCK_BYTES = 2**24
# Up to this size a copy takes less time than finding out whether it is needed.
_COPIED_BYTES = 2**14


def read(view: Any, layout: Layout, origin: Sequence[int], size: Sequence[int], out: Array | None = None) -> Array:
    """Return a region of an image as an array with the axes of its layout, `out` if it is given."""
    if out is None:
        array = _direct.read_region(view, origin, size)
        if array is not None:
            return array
    else:
        given = layout.to_buffer_axes(_checked_out(out, layout, size))
        # An array whose elements overlap each other is left to NumPy.
        if not given.flags.aligned or 0 in given.strides or may_share(view, layout, origin, size, out):
            out[...] = read(view, layout, origin, size)
        else:
            _direct.fill_array(view, origin, size, given)
        return out
    return filled(layout, size, None, lambda buffer: _direct.fill_buffer(view, origin, size, buffer))


def write(view: Any, layout: Layout, origin: Sequence[int], size: Sequence[int], values: Any) -> None:
    """Write what can be assigned to the array of a region to the region of an image.

    All values are converted before the first is written, and copied if they share memory with what they are written to.
    """
    shape = layout.shape(size)
    if math.prod(size) * layout.dtype.itemsize <= _BLOCK_BYTES:
        _direct.write_buffer(
            view, origin, size, _apart(view, layout, origin, size, dense(layout, size, values), values)
        )
        return
    values = convertible(values, layout.scalar)
    if may_share(view, layout, origin, size, values):
        values = values.copy()
    write_converted(view, layout, origin, size, broadcast(values, shape))


def write_converted(view: Any, layout: Layout, origin: Sequence[int], size: Sequence[int], values: Array) -> None:
    """Write an array of a region's shape whose conversion cannot fail, and which shares no memory with the image."""
    is_dense = values.dtype == layout.scalar and layout.to_buffer_axes(values).flags.c_contiguous
    if is_dense or math.prod(size) * layout.dtype.itemsize <= _BLOCK_BYTES:
        _direct.write_buffer(view, origin, size, dense(layout, size, values))
        return
    # Converted and laid out slab by slab, so that the image needs no second one of its size. What the library refuses
    # it refuses for the first slab; only a storage that fails later on keeps those before.
    cut = max(position for position in range(len(size)) if size[position] > 1)
    axis = layout.positions.index(cut)
    count = max(1, _BLOCK_BYTES * size[cut] // (math.prod(size) * layout.dtype.itemsize))
    for first in range(0, size[cut], count):
        part = min(count, size[cut] - first)
        slab_origin, slab_size = list(origin), list(size)
        slab_origin[cut], slab_size[cut] = origin[cut] + first, part
        slab = values[(slice(None),) * axis + (slice(first, first + part),)]
        _direct.write_buffer(view, slab_origin, slab_size, dense(layout, slab_size, slab))


def convertible(values: Any, dtype: numpy.dtype[Any]) -> Array:
    """Return what can be assigned to an array as an array whose conversion to a dtype, all or in parts, cannot fail."""
    if not isinstance(values, numpy.ndarray):
        if isinstance(values, (list, tuple, int, float, complex, str, bytes)):
            # Converted by an assignment, which refuses integers that the dtype cannot hold.
            converted = numpy.empty(numpy.shape(values), dtype)
            converted[...] = values
            return converted
        values = numpy.asarray(values)
    if values.dtype != dtype and _may_be_refused(values.dtype, dtype):
        return values.astype(dtype)
    return values


def broadcast(values: Array, shape: tuple[int, ...]) -> Array:
    """Show an array with the shape of what it is assigned to; leading axes of length 1 are dropped."""
    while values.ndim > len(shape) and values.shape[0] == 1:
        values = values[0]
    return numpy.broadcast_to(values, shape)


def _may_be_refused(given: numpy.dtype[Any], wanted: numpy.dtype[Any]) -> bool:
    if given.kind not in "biufc":
        return True
    if given.kind in "biu" or numpy.can_cast(given, wanted, "safe"):
        return False
    # Numbers that get lost are told of by warnings, which may have been made errors.
    return any(mode in ("raise", "call", "log") for mode in numpy.geterr().values()) or any(
        entry[0] == "error" for entry in warnings.filters
    )


def may_share(view: Any, layout: Layout, origin: Sequence[int], size: Sequence[int], values: Array) -> bool:
    """Tell whether values may lie in the memory of a region that is to be written."""
    memory = shared_array(view, layout)
    if memory is not None:
        part = tuple(slice(origin[position], origin[position] + size[position]) for position in layout.positions)
        return bool(numpy.may_share_memory(memory[part], values))
    return _direct.may_touch(view, values)


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


def write_tile(
    view: Any, layout: Layout, region: tuple[Any, Any], values: Any, store: Callable[[Array], object]
) -> None:
    """Write what can be assigned to the array of a tile by a function that takes its buffer."""
    origin, size = region
    store(_apart(view, layout, origin, size, dense(layout, size, values), values))


def _apart(view: Any, layout: Layout, origin: Sequence[int], size: Sequence[int], buffer: Array, values: Any) -> Array:
    """Return a buffer of values that shares no memory with the region that it is written to."""
    if buffer is not values and buffer.base is None:
        return buffer  # made just now
    is_shared = buffer.nbytes <= _COPIED_BYTES or may_share(view, layout, origin, size, buffer)
    return buffer.copy() if is_shared else buffer


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
