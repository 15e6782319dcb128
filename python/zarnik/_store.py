"""Images and tables in files of the package's own format, and as pickles."""

from __future__ import annotations

import contextlib
import os
import sys
from typing import TYPE_CHECKING, Any

import numpy

import zarnik._classes as _classes
from zarnik import _direct
from zarnik._access import open_random, open_stream
from zarnik._calls import flat as _zarnik
from zarnik._extension import extends
from zarnik._geometry import geometry_of
from zarnik._interop import read_only

if TYPE_CHECKING:
    from zarnik._classes import DataFrameView, ImageView

__all__ = ["open", "save"]

# Where the header of a stored object tells its kind, and the kind of tables.
_KIND = slice(12, 16)
_DATA_FRAME = 5


def open(what: Any, *, mode: str = "r") -> ImageView | DataFrameView:
    """Open a stored image, its samples left where they are, or load a stored table.

    Of a local file the image shares the mapped memory, and so do its arrays. Of a URL it reads what is asked for.

    :param what: a path; a URL of the scheme file, http or https; a bytes-like object, a binary file or an accessor.
    :param mode: "r" to read, "r+" to write the samples of an image in place too: their hashes in the file no longer
        fit then, and `Serialization.decode_image_view` refuses it.
    :return: The image, or the table.
    :raises Error: if nothing that was stored begins there.
    """
    if mode not in ("r", "r+"):
        raise ValueError(f'mode must be "r" or "r+", not {mode!r}')
    is_mapped = mode == "r" and isinstance(what, (str, os.PathLike)) and os.path.isfile(what) and os.path.getsize(what)
    access = open_random(_mapping_of(what)) if is_mapped else open_random(what, mode="m" if mode == "r+" else "r")
    if int.from_bytes(access[_KIND], "little") == _DATA_FRAME:
        return _zarnik.Serialization_decode_data_frame_view(_zarnik.StreamAccessFactory_from_random_access(access))
    image = _direct.open_image(access)
    # The image as it lies in memory is known to arrays, which are read-only like the image that is shown.
    return read_only(image) if is_mapped else image


def _mapping_of(path: Any) -> memoryview:
    # The modules of the standard library are imported when they are needed: they take longer than the package.
    import mmap

    # Private: what would be changed by mistake is not in the file, which may be one that must not be written. No memory
    # is set aside for changes that never come.
    no_reserve = getattr(mmap, "MAP_NORESERVE", 0x4000 if sys.platform == "linux" else 0)
    with contextlib.closing(_Descriptor(path)) as file:
        return memoryview(
            mmap.mmap(file.number, 0, flags=mmap.MAP_PRIVATE | no_reserve, prot=mmap.PROT_READ | mmap.PROT_WRITE)
        )


class _Descriptor:
    def __init__(self, path: Any) -> None:
        self.number = os.open(path, os.O_RDONLY | getattr(os, "O_CLOEXEC", 0))

    def close(self) -> None:
        os.close(self.number)


def save(path: Any, what: Any, *, block_bytes: int | None = None, checksums: bool = True) -> None:
    """Store an image or a table in a file, from which `open` gets it back with all that it tells.

    It is written under another name in the same folder, synchronized with the disk and renamed: whatever happens, the
    path has the old file or the whole new one. Memory for a few MiB is used, whatever the size of the image.

    :param path: The file, which is replaced if it exists.
    :param what: An ImageView or a DataFrameView.
    :param block_bytes: Of an image: how many bytes have a hash of their own, 1024 to 2**30; by default 1 MiB.
    :param checksums: Of an image: whether there are hashes.
    :raises Error: if it cannot be read, or the file not be written.
    """
    if not isinstance(what, (_classes.ImageView, _classes.DataFrameView)):
        raise TypeError(f"an ImageView or a DataFrameView can be saved, not {type(what).__name__}")
    import tempfile

    path = os.fspath(path)
    folder, name = os.path.split(os.path.abspath(path))
    try:
        descriptor, part = tempfile.mkstemp(prefix=f".{os.fsdecode(name)}.", suffix=".part", dir=os.fsdecode(folder))
    except OSError as error:
        raise _classes.Error(f"cannot write {path!r}: {error.strerror}") from error
    try:
        # The file has the permissions that any new file gets.
        mask = os.umask(0)
        os.umask(mask)
        os.fchmod(descriptor, 0o666 & ~mask)
        with open_stream(part, "w") as stream:
            if isinstance(what, _classes.ImageView):
                _direct.store_image(what, stream, block_bytes or 0, checksums)
            else:
                _zarnik.Serialization_encode_data_frame_view(what, stream)
        os.fsync(descriptor)
        os.replace(part, path)
    except BaseException:
        os.unlink(part)
        raise
    finally:
        os.close(descriptor)
    with contextlib.closing(_Descriptor(folder)) as entry:
        os.fsync(entry.number)


@extends("ImageView")
class _PickledImage:
    def __reduce_ex__(self, protocol: Any) -> tuple[Any, ...]:
        samples = _stored_samples(self)
        data: Any = samples.tobytes() if protocol < 5 else _buffer_of(samples)
        properties = _zarnik.ReadonlyImageProperties_clone(_zarnik.ImageView___get_properties(self))
        metadata = _zarnik.ImageView___get_metadata(self)
        metadata = None if metadata is None else _zarnik.MetadataNode_clone(metadata)
        sizes = tuple(self.get_shape())
        data_type = _zarnik.DataType_get_id(_zarnik.ImageView_get_data_type(self))
        return _image_of, (data, sizes, data_type, properties, metadata)

    if TYPE_CHECKING:

        def get_shape(self) -> Any: ...


@extends("DataFrameView")
class _PickledFrame:
    def __reduce_ex__(self, protocol: Any) -> tuple[Any, ...]:
        stream = _zarnik.StreamAccessFactory_allocate()
        _zarnik.Serialization_encode_data_frame_view(self, stream)
        data = bytearray(_zarnik.StreamAccess_tell(stream))
        _zarnik.StreamAccess_seek(stream, 0, _zarnik.SeekOrigin_BEGIN)
        _direct.read_stream(stream, data)
        return _frame_of, (bytes(data),)


def _stored_samples(image: Any) -> numpy.ndarray[Any, Any]:
    """The samples as an array whose memory, in C order, has the first dimension fastest; shared where it can be."""
    layout, _ = geometry_of(image)
    return numpy.ascontiguousarray(layout.to_buffer_axes(image.to_numpy()))


def _buffer_of(samples: numpy.ndarray[Any, Any]) -> Any:
    from pickle import PickleBuffer

    data: Any = samples.reshape(-1).view(numpy.uint8)
    return PickleBuffer(data)


def _image_of(data: Any, sizes: tuple[int, ...], data_type: int, properties: Any, metadata: Any) -> ImageView:
    # What came within the pickle belongs to nobody else: it may be changed.
    samples = bytearray(data) if isinstance(data, bytes) else data
    return _direct.image_over_buffer(samples, sizes, data_type, properties, metadata)


def _frame_of(data: bytes) -> DataFrameView:
    return _zarnik.Serialization_decode_data_frame_view(
        _zarnik.StreamAccessFactory_from_random_access(open_random(data))
    )
