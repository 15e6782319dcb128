"""What every access to an image needs, in one call of the extension module instead of ten flat ones."""

from __future__ import annotations

from collections.abc import Sequence
from typing import Any, Callable

import numpy

import _zarnik

_module: Any = _zarnik.__direct__

#: the axes (the value of an ImageType), the data type (the id) and the size of an image along each dimension
geometry: Callable[[Any], tuple[int, int, tuple[int, ...]]] = _module.geometry
#: the origin and the size of a RegionXu64
corners: Callable[[Any], tuple[tuple[int, ...], tuple[int, ...]]] = _module.corners
#: a RegionXu64 of an image, or an origin and a size, as a new array; None if there is no layout for such images or no
#: room for the array
read_region: Callable[..., numpy.ndarray[Any, Any] | None] = _module.read_region
#: a region of an image, by origin and size, into a buffer of its size, or from one
fill_buffer: Callable[[Any, Sequence[int], Sequence[int], Any], None] = _module.fill_buffer
write_buffer: Callable[[Any, Sequence[int], Sequence[int], Any], None] = _module.write_buffer
#: the layout that read_region uses: axes, data type, rank, dtype of elements, shape of a pixel, order of axes
add_layout: Callable[[int, int, int, numpy.dtype[Any], tuple[int, ...], tuple[int, ...]], None] = _module.add_layout
#: how many threads a large copy or conversion may use
thread_count: Callable[[], int] = _module.thread_count
set_thread_count: Callable[[int], None] = _module.set_thread_count
