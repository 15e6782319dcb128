"""Files that several processes write at the same time, each its own regions."""

from __future__ import annotations

import os
from typing import TYPE_CHECKING, Any, cast

import numpy

import zarnik._classes as _classes
from zarnik import _direct
from zarnik._access import open_stream
from zarnik._calls import flat
from zarnik._geometry import geometry_of
from zarnik._recipes import own_metadata

if TYPE_CHECKING:
    from zarnik._classes import ImageView


def create(path: str | os.PathLike[str], like: ImageView, *, mapped: bool = True, **options: Any) -> ImageView:
    """Make a file or a Zarr for an image, all elements 0, and open it to be written.

        result = zarnik.create("result.zrn", volume.astype("float32"))
        result[10:20] = block                     # in any process that the image, or its path, was sent to
        zarnik.open("result.zrn")                 # what has been written so far

        result = zarnik.create("result.ome.zarr", volume.astype("float32"), chunks={"z": 32}, levels=3)
        result[32:64] = block                     # whole chunks, each a file that is exchanged at once
        zarnik.rebuild_levels("result.ome.zarr")  # in the end

    Nothing is stored before elements are written: the file of the package's own format takes no room on the disk, where
    the file system has sparse files, and the folder of a Zarr has descriptions alone. The image pickles as a reference.
    Any number of processes may write to it at the same time without a lock.

    In a file of the package's own format a region is written to the bytes of its elements and no others, so only
    regions that overlap are a race, in which each element ends as one of those that were written there. Nothing has
    hashes, and a process that ends amid a write leaves a part of it: write the region again.

    Chunks of a Zarr, or shards where there are some, are written whole: a region that cuts one is refused, since what
    another process writes to the rest of it at the same time would be lost. So two processes that write the same chunk
    write all of it, and the last one stays.

    :param path: The file or folder, which is replaced if it exists, a folder only by another Zarr. Of a suffix of Zarr
        it becomes one, with any other that no format has, or none, a file of the package's own format.
    :param like: An image of the shape, the type, the axes, the calibration and the metadata; it is not read.
    :param mapped: Whether a file is mapped into memory. Not where several machines write to one file system: those
        exchange whole pages of a mapping, and would lose what others wrote beside; nor where memory is limited by
        addresses.
    :param options: Of Zarr, as `save` takes them: chunks, shards, compression, method, version, name, and levels, of
        which there are none if it is not given; they stay 0 until `rebuild_levels` is called.
    :return: The image, which can be written.
    :raises Error: if the file cannot be made, or the suffix is that of a format that cannot be written in parts.
    """
    if not isinstance(like, _classes.ImageView):
        raise TypeError(f"a file is made for an ImageView, not {type(like).__name__}")
    from zarnik import _atomic, _formats
    from zarnik._files import open, save

    path = os.fsdecode(path)
    chosen = _formats.by_suffix(path)
    if chosen is not None and chosen.name != "Zarnik":
        if not chosen.can_be_empty:
            raise _classes.NotImplemented(f"{chosen.name} cannot be written in parts: .zrn and .zarr can")
        # Coarser ones that nobody fills in would show nothing.
        save(path, like, format=chosen.name, empty=True, **{"levels": False, **options})
        return cast("ImageView", open(path, format=chosen.name, mode="r+"))
    if options:
        raise TypeError(f"options {', '.join(map(repr, options))} are of Zarr, and {path!r} has no suffix of it")
    layout, sizes = geometry_of(like)
    zero = bytes(layout.dtype.itemsize)
    properties = flat.ReadonlyImageProperties_clone(flat.ImageView___get_properties(like))
    empty = flat.ImageViewFactory__uniform(
        _classes.VectorXu64(list(sizes)), like.get_data_type(), zero, properties, own_metadata(like)
    )
    with _atomic.replaced(path) as part, _Sparse(part) as file, open_stream(file, "w") as stream:
        _direct.store_image(empty, stream, 0, False)
    return cast("ImageView", open(path, format="Zarnik", mode="r+", mapped=mapped))


class _Sparse:
    """A file in which zeros are left out."""

    def __init__(self, path: str) -> None:
        self._file = open(path, "xb", buffering=0)  # noqa: SIM115, closed by __exit__

    def write(self, data: Any) -> int:
        view = memoryview(data)
        if numpy.frombuffer(view, numpy.uint8).any():
            return self._file.write(view)
        self._file.seek(len(view), os.SEEK_CUR)
        return len(view)

    def flush(self) -> None:
        self._file.truncate()

    def __enter__(self) -> _Sparse:
        return self

    def __exit__(self, *error: object) -> None:
        self._file.close()
