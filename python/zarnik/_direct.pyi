"""What every access to an image needs, in one call of an extension module instead of ten flat ones.

Errors keep their kind: `InvalidArgument` and `NotImplemented` arrive as such. The interpreter's lock is given up while
64 KiB and more are moved, if the image allows parallel access.
"""

from collections.abc import Sequence
from typing import Any

import numpy

def geometry(image: Any, /) -> tuple[int, int, tuple[int, ...]]:
    """Return the axes (the value of an ImageType), the data type (the id) and the size along each dimension."""

def corners(region: Any, /) -> tuple[tuple[int, ...], tuple[int, ...]]:
    """Return the origin and the size of a RegionXu64."""

def read_region(image: Any, region_or_origin: Any, size: Sequence[int] = ..., /) -> numpy.ndarray[Any, Any] | None:
    """Return a RegionXu64 of an image, or an origin and a size, as a new array.

    None if there is no layout for such images or no room for the array.
    """

def fill_buffer(image: Any, origin: Sequence[int], size: Sequence[int], buffer: Any, /) -> None:
    """Read a region of an image into a contiguous buffer of its size."""

def write_buffer(image: Any, origin: Sequence[int], size: Sequence[int], buffer: Any, /) -> None:
    """Write a contiguous buffer of its size, which may be read-only, to a region of an image."""

def add_layout(
    axes: int,
    data_type: int,
    rank: int,
    element_type: numpy.dtype[Any],
    components: tuple[int, ...],
    order: tuple[int, ...],
    /,
) -> None:
    """Tell how to read images of a kind: dtype of elements, shape of a pixel, order of axes.

    :raises InvalidArgument: if the layout does not fit the data type or the rank.
    """

def thread_count() -> int:
    """Return how many threads a large copy or conversion may use."""

def set_thread_count(count: int, /) -> None:
    """Set how many threads a large copy or conversion may use."""
