"""What every access to an image needs, in one call of an extension module instead of ten flat ones.

Errors keep their kind: `InvalidArgument` and `NotImplemented` arrive as such. The interpreter's lock is given up while
64 KiB and more are moved, if the image allows parallel access.
"""

from collections.abc import Callable, Sequence
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

def read_element(image: Any, key: Any, /) -> Any:
    """Return the element at a tuple of integers, in the order of an array's axes, of an image in memory.

    None if the image is not in memory, the key is another one, or there is no such element: then indexing takes more.
    """

def fill_buffer(image: Any, origin: Sequence[int], size: Sequence[int], buffer: Any, /) -> None:
    """Read a region of an image into a contiguous buffer of its size."""

def fill_array(view: Any, origin: Sequence[int], size: Sequence[int], array: numpy.ndarray[Any, Any], /) -> None:
    """Read a region of an image into an array of any strides: its dimensions from last to first, and the components."""

def may_touch(view: Any, array: numpy.ndarray[Any, Any], /) -> bool:
    """Tell whether reading an image may read the memory of an array."""

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

def bytes_from_mappings() -> int:
    """How many bytes of files were copied from mappings, which the system does not count as read."""

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

def text_cells(frame: Any, column: int, /) -> tuple[bytes, bytes]:
    """Return all texts of a column: offsets of 64 bits, one more than there are rows, and UTF-8."""

def write_text_cells(frame: Any, column: int, offsets: Any, texts: Any, /) -> None:
    """Write all texts of a column, as `text_cells` gives them."""

def frame_over_columns(rows: int, columns: list[tuple[str, int, str, Any]], /) -> Any:
    """Return a table of columns: name, id of the data type, unit, and a buffer of its cells to share, or None."""

def arrow_schema(frame: Any, /) -> Any:
    """Return the columns of a table as a capsule of an ArrowSchema."""

def arrow_stream(frame: Any, /) -> Any:
    """Return a table as a capsule of an ArrowArrayStream."""

def frame_from_arrow(stream: Any, /) -> Any:
    """Make a table of a capsule of an ArrowArrayStream."""

# ---- bytes -----------------------------------------------------------------------------------------------------------

def read_stream(stream: Any, buffer: Any, /) -> int:
    """Read at the cursor of a stream into a contiguous buffer; return the number of bytes."""

def write_stream(stream: Any, buffer: Any, /) -> int:
    """Write a contiguous buffer at the cursor of a stream; return the number of bytes."""

def read_random(access: Any, offset: int, buffer: Any, /) -> int:
    """Read at an offset of an accessor into a contiguous buffer; return the number of bytes."""

def write_random(access: Any, offset: int, buffer: Any, /) -> int:
    """Write a contiguous buffer at an offset of an accessor; return the number of bytes."""

def read_bytes(access: Any, offset: int, size: int | None, /) -> bytes:
    """Return bytes of an accessor from an offset on, all up to the end without a size, fewer only at the end."""

def read_stream_bytes(stream: Any, size: int, /) -> bytes:
    """Return bytes from the cursor of a stream on, fewer only at the end."""

def read_many(access: Any, parts: Sequence[tuple[int, int]], buffer: Any, /) -> None:
    """Read parts of an accessor, pairs of offset and size, one behind the other into a buffer.

    :raises Error: if a part cannot be read whole.
    """

def flush_stream(stream: Any, /) -> None:
    """Hand on what was written to a stream."""

def close_stream(stream: Any, /) -> None:
    """Complete what was written to a stream."""

def abort_stream(stream: Any, /) -> None:
    """Break off what was written to a stream, where that makes a difference."""

def open_http_whole(uri: Any, method: str, headers: Any, /) -> Any: ...
def open_http_random(uri: Any, method: str, headers: Any, /) -> Any:
    """Open a resource of a server for reading."""

def open_http_stream(uri: Any, method: str, headers: Any, /) -> Any:
    """Open a resource of a server for writing."""

def open_file(path: bytes, how: str, /) -> Any:
    """Open a file: "random", "random+" or "mapped" give an accessor, "r", "w" or "r+" a stream."""

def random_over_buffer(buffer: Any, /) -> Any:
    """Return an accessor over the memory of an object, which it keeps."""

def random_over_file(file: Any, /) -> Any:
    """Return an accessor over an object with the methods of a binary file."""

def stream_over_file(file: Any, /) -> Any:
    """Return a stream over an object with the methods of a binary file."""

def share_memory(access: Any, /) -> numpy.ndarray[Any, Any] | None:
    """Return the memory of an accessor as an array of bytes, None when it has none to share."""

def http_counters(access: Any, /) -> dict[str, int] | None:
    """Return what an access over HTTP has done so far, None for any other."""

def http_version(access: Any, /) -> str | None:
    """Return what tells versions of a resource that is read over HTTP apart, None for any other access."""

# ---- images ----------------------------------------------------------------------------------------------------------

def is_same_view(first: Any, second: Any, /) -> bool:
    """Tell whether two objects wrap one image."""

def witness_array(image: Any, array: numpy.ndarray[Any, Any], /) -> Any:
    """Return an object, to be kept with an image over an array, that shows the array to Python's collector of cycles
    for as long as nothing else holds the image or its memory."""

def extract_region(image: Any, origin: Sequence[int], size: Sequence[int], /) -> Any:
    """Make a view of a region of an image."""

def every_nth(image: Any, steps: Sequence[int], /) -> Any:
    """Return a view of every nth element along each dimension, in the library's order."""

def map_linearly(image: Any, data_type: int, scale: float, offset: float, /) -> Any:
    """Return a view of the values scale * value + offset, of the data type with an id."""

def lod_image(images: Sequence[Any], finest_level: int, /) -> Any:
    """Return an image of given levels, the finest first."""

def coarser_levels(image: Any, method: int, coarsest: int, folder: str, /) -> Any:
    """Return the levels of an image; the method is 0 by interpretation, 1 the mean, 2 the nearest."""

# Operations that take long are made without the interpreter's lock, and Ctrl-C ends them. They tell
# progress(done, total) in bytes, some twenty times a second and at the end, from a thread of their own; what it raises
# ends them, too. Nothing is left of a copy then; levels keep the parts that are computed.

def compute_levels(image: Any, progress: Callable[[int, int], object] | None = None, /) -> None:
    """Compute the parts of coarser levels that nobody has read yet; other levels stay as they are."""

def copy_in_memory(image: Any, progress: Callable[[int, int], object] | None = None, /) -> Any:
    """Return a copy of an image in memory; the image itself if it is there."""

def copy_on_disk(image: Any, folder: str, progress: Callable[[int, int], object] | None = None, /) -> Any:
    """Return a copy of an image in a temporary file."""

def callback_image(
    sizes: Sequence[int],
    data_type: int,
    axes: int,
    chunk_sizes: Sequence[int] | None,
    fill: Callable[[tuple[int, ...], tuple[int, ...], memoryview], None],
    store: Callable[[tuple[int, ...], tuple[int, ...], memoryview], None] | None,
    name: str,
    /,
) -> Any:
    """Return an image whose regions functions read and write, given origin, size and a buffer of the elements."""

# ---- stored images ---------------------------------------------------------------------------------------------------

def open_image(access: Any, /) -> Any:
    """Return the stored image that a RandomAccess begins with, its samples not read."""

def store_image(
    image: Any,
    stream: Any,
    block_bytes: int,
    checksums: bool,
    progress: Callable[[int, int], object] | None = None,
    /,
) -> None:
    """Write an image to a StreamAccess: bytes of a block, 0 for the usual ones, and whether blocks have hashes."""

def store_frame(frame: Any, stream: Any, progress: Callable[[int, int], object] | None, /) -> None:
    """Write a table to a StreamAccess, and tell a function of the cells that are written and of all."""

def image_writer(image: Any, stream: Any, /) -> Any:
    """Return the writer that stores an image in a StreamAccess."""

def run_writer(writer: Any, steps: str, progress: Callable[[int, int], object] | None = None, /) -> None:
    """Let a writer write "all", the "data" that is missing, or the "rest" of the file, whatever that is.

    The function is told the blocks written and their number.
    """

def image_over_buffer(buffer: Any, sizes: tuple[int, ...], data_type: int, properties: Any, metadata: Any, /) -> Any:
    """Return an image over a buffer, first dimension fastest: its sizes, id of the data type, properties, metadata."""

def deferred_metadata(make: Callable[[], Any], /) -> Any:
    """Return a MetadataNode whose children are those of the node that make() returns.

    It is called once, for the node and its copies, when children are first asked for, on whichever thread that is.
    """

def http_options() -> dict[str, float]:
    """Return the limits of accessors over HTTP, by name."""

def set_http_options(limits: dict[str, float], /) -> None:
    """Change limits of accessors over HTTP that will be opened."""
