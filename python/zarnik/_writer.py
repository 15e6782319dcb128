"""Images written to files in steps that the caller decides."""

from __future__ import annotations

import contextlib
import os
from typing import TYPE_CHECKING, Any

import zarnik._classes as _classes
from zarnik import _atomic, _direct
from zarnik._access import open_stream
from zarnik._calls import flat
from zarnik._extension import extends, kept
from zarnik._variants import variant

if TYPE_CHECKING:
    from zarnik._classes import ImageView, Writer


def writer(path: str | os.PathLike[str], image: ImageView, **options: Any) -> Writer:
    """Return a writer that stores an image in a file of the package's own format.

    The file appears under its name when the writer is closed, at the end of a `with` block too: what is not written
    yet is written then. A block that is left by an exception, and a writer that is dropped, leave nothing behind.

        >>> import tempfile, zarnik
        >>> path = tempfile.mkdtemp() + "/scan.zrn"
        >>> with zarnik.writer(path, zarnik.zeros((4, 5)), block_bytes=4096) as writer:
        ...     writer.write_init()
        ...     writer.write_data()
        >>> zarnik.open(path).shape
        (4, 5)

    :param path: The file, which is replaced if it exists.
    :param image: The image; it must not be reshaped until the writer is closed.
    :param options: `block_bytes` (1024 to 2**30), how many bytes have a hash of their own; `checksums` (0 or 1),
        whether they have; `alignment` (a power of two from 8 to 65536) of the first sample in the file.
    :raises Error: if the file cannot be made, or an option or its value is not known.
    """
    if not isinstance(image, _classes.ImageView):
        raise TypeError(f"an ImageView can be written, not {type(image).__name__}")
    with contextlib.ExitStack() as made:
        part = made.enter_context(_atomic.replaced(os.fspath(path)))
        stream = made.enter_context(open_stream(part, "w"))
        made_writer: Any = _direct.image_writer(image, stream)
        for name, value in options.items():
            made_writer.set_option(name, value)
        made_writer._kept = made.pop_all()
        return made_writer


@extends("Writer")
class _Writer:
    """A writer that `zarnik.writer` made keeps what its file has to be closed with."""

    def set_option(self, parameter: str, data: Any) -> None:
        """Set an option, before the writing begins.

        :param parameter: Its name.
        :param data: The value, a number or a `VariantDataValue`.
        :raises Error: if there is no such option, the value is not allowed, or the writing has begun.
        """
        flat.Writer_set_option(self, parameter, variant(data))

    def write_all(self) -> None:
        """Write header, data and footer; the file appears when the writer is closed.

        :raises Error: if the writing has been begun already, or fails.
        """
        _direct.run_writer(self, "all")

    def write_data(self) -> None:
        """Write the data that is not written yet. What failed or was interrupted can be gone on with by another call.

        :raises Error: if the header is not written, the file is finished, or the writing fails.
        """
        _direct.run_writer(self, "data")

    def close(self) -> None:
        """Write what is not written yet, and let the file appear under its name.

        :raises Error: if the writing fails; then nothing is left of the file, what was there before stays.
        """
        self.__exit__(None)

    def __enter__(self) -> Writer:
        return self  # type: ignore[return-value]

    def __exit__(self, kind: type[BaseException] | None, *error: Any) -> None:
        closing = kept(self)
        if closing is None:
            return
        self._kept: Any = None
        if kind is not None:
            # Not the block's own error, which may be one of the system that the file would be blamed for.
            closing.__exit__(_Abandoned, _Abandoned(), None)
            return
        with closing:
            _direct.run_writer(self, "rest")


class _Abandoned(Exception):
    """What the file is told when its block is left by an exception."""
