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

def column_memory(frame: Any, column: int, /) -> tuple[int, int, bool, Any] | None:
    """Return address, number of rows, whether cells may change, and what holds the memory of a column of numbers.

    None if the table has no memory to share.
    """

def read_texts(frame: Any, column: int, offset: int, count: int, /) -> list[str]:
    """Return texts of a column, from the first row on."""

def write_texts(frame: Any, column: int, offset: int, texts: Sequence[str], /) -> None:
    """Write texts to a column, from the first row on."""

def arrow_schema(frame: Any, /) -> Any:
    """Return the columns of a table as a capsule of an ArrowSchema."""

def arrow_stream(frame: Any, /) -> Any:
    """Return a table as a capsule of an ArrowArrayStream."""

def frame_from_arrow(stream: Any, /) -> Any:
    """Make a table of a capsule of an ArrowArrayStream."""
