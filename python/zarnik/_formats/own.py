"""The package's own format: images whose samples stay where they are, and tables."""

from __future__ import annotations

import contextlib
import os
import sys
from typing import Any

import zarnik._classes as _classes
from zarnik import _direct
from zarnik._access import open_random, open_stream
from zarnik._calls import flat
from zarnik._interop import read_only
from zarnik.plugins import Format, Series, Source

_MAGIC = b"\x89ZRN\r\n\x1a\n"
# Where the header of a stored object tells its kind, and the kind of tables.
_KIND = slice(12, 16)
_DATA_FRAME = 5


class Own(Format):
    """Images and tables with all that they tell; the samples of a local file are mapped."""

    name = "Zarnik"
    suffixes = (".zrn",)
    can_write = True
    can_update = True
    #: tables too
    can_write_tables = True

    def recognizes(self, source: Source) -> bool:
        return source.head.startswith(_MAGIC)

    def open(self, source: Source, *, mapped: bool = True) -> list[Series]:  # type: ignore[override]
        """Open an image, or load a table.

        :param mapped: Whether a local file is mapped into memory, which arrays of the image share then. See `create`
            for where it should not.
        """
        is_mapped = mapped and source.mode == "r" and source.path is not None and source.head
        if is_mapped:
            access = open_random(_mapping_of(source.path))
        elif source.mode == "r+" and source.path:
            access = open_random(source.path, mode="m" if mapped else "r+")
        else:
            access = source.access()
        if int.from_bytes(access[_KIND], "little") == _DATA_FRAME:
            stream = flat.StreamAccessFactory_from_random_access(access)
            return [Series(None, [flat.Serialization_decode_data_frame_view(stream)])]
        image = _direct.open_image(access)
        # The image as it lies in memory is known to arrays, which are read-only like the image that is shown.
        return [Series(None, [read_only(image) if is_mapped else image])]

    def save(  # type: ignore[override]
        self, path: str, image: Any, *, progress: Any, block_bytes: int | None = None, checksums: bool = True
    ) -> None:
        """Write an image or a table.

        :param block_bytes: Of an image: how many bytes have a hash of their own, 1024 to 2**30; by default 1 MiB.
        :param checksums: Of an image: whether there are hashes.
        """
        with open_stream(path, "w") as stream:
            if isinstance(image, _classes.DataFrameView):
                _direct.store_frame(image, stream, progress)
            else:
                count = image.nbytes
                blocks = lambda done, total: progress(count * done // max(1, total), count)  # noqa: E731
                _direct.store_image(image, stream, block_bytes or 0, checksums, blocks)


def _mapping_of(path: Any) -> memoryview:
    # The modules of the standard library are imported when they are needed: they take longer than the package.
    import mmap

    # Private: what would be changed by mistake is not in the file, which may be one that must not be written. No memory
    # is set aside for changes that never come.
    no_reserve = getattr(mmap, "MAP_NORESERVE", 0x4000 if sys.platform == "linux" else 0)
    descriptor = os.open(path, os.O_RDONLY | getattr(os, "O_CLOEXEC", 0))
    with contextlib.ExitStack() as on_exit:
        on_exit.callback(os.close, descriptor)
        return memoryview(
            mmap.mmap(descriptor, 0, flags=mmap.MAP_PRIVATE | no_reserve, prot=mmap.PROT_READ | mmap.PROT_WRITE)
        )
