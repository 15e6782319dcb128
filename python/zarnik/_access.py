"""Bytes from memory, files, web servers and Python's own files: streams as files, accessors by offset."""

from __future__ import annotations

import io
import itertools
import operator
import os
from collections.abc import Iterable, Mapping
from types import TracebackType
from typing import TYPE_CHECKING, Any

import zarnik._classes as _classes
from zarnik import _direct
from zarnik._calls import flat as _zarnik
from zarnik._enumerations import SeekOrigin, StreamAccessCapability
from zarnik._extension import extends, kept
from zarnik._recipes import made_by

if TYPE_CHECKING:
    import numpy
    from typing_extensions import Buffer

    from zarnik._classes import RandomAccess, StreamAccess

# What is read at once of a stream whose size nobody knows.
_PIECE = 1 << 20

# Python's origins of a seek by their numbers; the library's are enumerators, or numbers one higher.
_ORIGINS = {io.SEEK_SET: SeekOrigin.BEGIN, io.SEEK_CUR: SeekOrigin.CURRENT, io.SEEK_END: SeekOrigin.END}


def views_of_parts(access: Any, parts: list[tuple[int, int]]) -> list[memoryview]:
    """Read several parts of an accessor, pairs of offset and size, at once; each view keeps the memory of all."""
    ends = list(itertools.accumulate(size for _, size in parts))
    view = memoryview(bytearray(ends[-1] if ends else 0))
    _direct.read_many(access, parts, view)
    return [view[end - size : end] for (_, size), end in zip(parts, ends)]


def _origin(whence: int) -> int:
    if isinstance(whence, SeekOrigin):
        return int(whence)
    try:
        return int(_ORIGINS[operator.index(whence)])
    except KeyError:
        raise ValueError(f"whence must be io.SEEK_SET, SEEK_CUR or SEEK_END, or a SeekOrigin, not {whence}") from None


def _as_size(value: Any, what: str) -> int:
    size = operator.index(value)
    if not 0 <= size < 2**64:
        raise ValueError(f"{what} {size} is out of range, allowed are 0 to 2**64 - 1")
    return size


def _as_headers(headers: Mapping[str, str] | Any) -> Any:
    if isinstance(headers, _classes.HTTPHeaders):
        return headers
    if not isinstance(headers, (Mapping, type(None))):
        raise TypeError(f"headers must be a mapping of names to values, not {headers!r}")
    result = _classes.HTTPHeaders()
    for name, value in (headers or {}).items():
        result.add(name, value)
    return result


# What is kept with a stream that was closed.
_CLOSED: Any = object()


@extends(_classes.StreamAccess)
class _StreamAccess:
    """A binary file.

    What a stream cannot do raises `NotImplemented` of this package. `seek` takes Python's `io.SEEK_SET` (0), `SEEK_CUR`
    (1) and `SEEK_END` (2), or a member of `zarnik.SeekOrigin`. The integers of the flat module, `SeekOrigin_BEGIN` (1)
    and so on, are plain numbers that cannot be told from Python's: use the members.
    """

    @property
    def _closed(self) -> bool:
        return kept(self) is _CLOSED

    if TYPE_CHECKING:

        def capabilities(self) -> Any: ...
        def support(self, capabilities: Any) -> bool: ...

    def _check_open(self) -> None:
        if self._closed:
            raise ValueError("the stream is closed")

    def read(self, n: int | None = -1) -> bytes:
        """Return at most `n` bytes from the cursor on, all up to the end if it is negative or None."""
        self._check_open()
        left = 2**64 if n is None or operator.index(n) < 0 else _as_size(n, "size")
        if left <= _PIECE:
            return _direct.read_stream_bytes(self, left)
        pieces = []
        while left:
            wanted = min(left, self._remaining())
            pieces.append(_direct.read_stream_bytes(self, wanted))
            left -= wanted
            if len(pieces[-1]) < wanted:
                break
        return b"".join(pieces)

    def _remaining(self) -> int:
        """Return how many bytes there are up to the end, at least one, or a piece where nobody knows."""
        if not self.support(StreamAccessCapability.SEEK):
            return _PIECE
        position = _zarnik.StreamAccess_tell(self)
        _zarnik.StreamAccess_seek(self, 0, SeekOrigin.END)
        end = _zarnik.StreamAccess_tell(self)
        _zarnik.StreamAccess_seek(self, position, SeekOrigin.BEGIN)
        return max(end - position, 1)

    def readinto(self, buffer: Buffer) -> int:
        """Read from the cursor on into a buffer; return the number of bytes, fewer than it takes only at the end."""
        self._check_open()
        return _direct.read_stream(self, buffer)

    def write(self, data: Buffer) -> int:
        """Write bytes at the cursor; return their number, fewer only where a stream of fixed size ends."""
        self._check_open()
        return _direct.write_stream(self, data)

    def seek(self, offset: int, whence: int = io.SEEK_SET) -> int:
        """Move the cursor and return its new position."""
        self._check_open()
        _zarnik.StreamAccess_seek(self, operator.index(offset), _origin(whence))
        return self.tell()

    def tell(self) -> int:
        """Return the position of the cursor."""
        self._check_open()
        return _zarnik.StreamAccess_tell(self)

    def flush(self) -> None:
        """Hand on what was written."""
        self._check_open()
        _direct.flush_stream(self)

    def close(self) -> None:
        """Complete what was written and close the stream; an error of that is raised here."""
        if self._closed:
            return
        self._kept: Any = _CLOSED
        try:
            if self.support(StreamAccessCapability.WRITE):
                _direct.close_stream(self)
        finally:
            self._release()

    def _release(self) -> None:
        # The file, or the connection, is closed with its last holder.
        _zarnik.delete_StreamAccess(self)

    @property
    def closed(self) -> bool:
        """Whether the stream was closed."""
        return self._closed

    def readable(self) -> bool:
        """Whether bytes can be read."""
        self._check_open()
        return self.support(StreamAccessCapability.READ)

    def writable(self) -> bool:
        """Whether bytes can be written."""
        self._check_open()
        return self.support(StreamAccessCapability.WRITE)

    def seekable(self) -> bool:
        """Whether the cursor can be moved."""
        self._check_open()
        return self.support(StreamAccessCapability.SEEK)

    def __repr__(self) -> str:
        what = "closed" if self._closed else _zarnik.StreamAccess_to_string(self)
        return f"<zarnik.StreamAccess {what}>"

    def __enter__(self) -> StreamAccess:
        self._check_open()
        return self  # type: ignore[return-value]

    def __exit__(
        self, kind: type[BaseException] | None, error: BaseException | None, trace: TracebackType | None
    ) -> None:
        if kind is None:
            self.close()
        elif not self._closed:
            # A part must never be taken for the whole.
            self._kept = _CLOSED
            if self.support(StreamAccessCapability.WRITE):
                _direct.abort_stream(self)
            self._release()

    def as_file(self) -> io.RawIOBase:
        """Return a file of the standard library's kind over this stream, as `io.BufferedReader` and others take it."""
        self._check_open()
        return StreamFile(self)  # type: ignore[arg-type]


class StreamFile(io.RawIOBase):
    """A stream as a raw file. Closing it closes the stream, letting go of it does not."""

    def __init__(self, stream: StreamAccess) -> None:
        super().__init__()
        self._stream = stream
        self._beyond: int | None = None  # a position behind the end, of a stream that has none there

    @property
    def stream(self) -> StreamAccess:
        """The stream that this file is over."""
        return self._stream

    @property
    def name(self) -> str:
        """What the stream is, for those who ask every file for its name."""
        return _zarnik.StreamAccess_to_string(self._stream)

    def readable(self) -> bool:
        return self._stream.readable()

    def writable(self) -> bool:
        return self._stream.writable()

    def seekable(self) -> bool:
        return self._stream.seekable()

    def readinto(self, buffer: Any) -> int:
        if not self.readable():
            raise io.UnsupportedOperation("the stream cannot be read")
        return 0 if self._beyond is not None else self._stream.readinto(buffer)

    def write(self, data: Any) -> int:
        if not self.writable():
            raise io.UnsupportedOperation("the stream cannot be written")
        return 0 if self._beyond is not None else self._stream.write(data)

    def seek(self, offset: int, whence: int = io.SEEK_SET) -> int:
        if not self.seekable():
            raise io.UnsupportedOperation("the stream cannot seek")
        position = self.tell()
        if whence == io.SEEK_CUR:
            offset, whence = position + offset, io.SEEK_SET
        if whence == io.SEEK_SET and offset < 0:
            raise ValueError(f"negative seek value {offset}")
        self._beyond = None
        try:
            return self._stream.seek(offset, whence)
        except _classes.InvalidArgument:
            # A file may stand behind its end, where nothing is read.
            end = self._stream.seek(0, io.SEEK_END)
            target = offset if whence == io.SEEK_SET else end + offset
            if target <= end:
                self._stream.seek(position)
                raise
            self._beyond = target
            return target

    def tell(self) -> int:
        return self._stream.tell() if self._beyond is None else self._beyond

    def flush(self) -> None:
        if not self.closed and not self._stream.closed and self._stream.writable():
            self._stream.flush()

    def close(self) -> None:
        if not self.closed:
            super().close()
            self._stream.close()

    def __exit__(self, *error: Any) -> None:
        # As the stream's own block: a part is not completed.
        if error[0] is not None:
            self._stream.__exit__(*error)
        self.close()

    def __del__(self) -> None:
        pass  # the base class would close the stream


@extends(_classes.RandomAccess)
class _RandomAccess:
    """Bytes by their offset: `len`, slices, and reading and writing at any place."""

    if TYPE_CHECKING:

        def get_size(self) -> int: ...
        def support(self, capabilities: Any) -> bool: ...

    def __len__(self) -> int:
        return self.get_size()

    def __bool__(self) -> bool:
        return True

    def __getitem__(self, where: int | slice) -> Any:
        """Return the byte at an index as an int, or those of a slice as bytes."""
        size = self.get_size()
        if not isinstance(where, slice):
            return self.read(self._index(where, size), 1)[0]
        start, stop, step = where.indices(size)
        if step == 1:
            return self.read(start, max(stop - start, 0))
        selected = range(start, stop, step)
        if not selected:
            return b""
        first, last = min(selected[0], selected[-1]), max(selected[0], selected[-1])
        return self.read(first, last - first + 1)[:: abs(step)][:: 1 if step > 0 else -1]

    def __setitem__(self, where: int | slice, value: Any) -> None:
        """Write a byte, or as many bytes as a slice has."""
        size = self.get_size()
        if not isinstance(where, slice):
            self.write(self._index(where, size), bytes((value,)))
            return
        start, stop, step = where.indices(size)
        data = memoryview(value).cast("B")
        if step != 1:
            raise ValueError(f"bytes are written one behind the other, not in steps of {step}")
        if len(data) != max(stop - start, 0):
            raise ValueError(f"{len(data)} bytes do not fit a slice of {max(stop - start, 0)}")
        self.write(start, data)

    __iter__ = None  # byte by byte through an accessor is never what is wanted
    __contains__ = None

    @staticmethod
    def _index(where: Any, size: int) -> int:
        index = operator.index(where)
        if not -size <= index < size:
            raise IndexError(f"index {index} is out of range, the accessor has {size} bytes")
        return index % size

    def read(self, offset: int = 0, size: int | None = None) -> bytes:
        """Return bytes from an offset on, all up to the end without a size, fewer only at the end."""
        return _direct.read_bytes(self, offset, size)

    def read_into(self, offset: int, buffer: Buffer) -> int:
        """Read from an offset on into a buffer; return the number of bytes, fewer than it takes only at the end."""
        return _direct.read_random(self, _as_size(offset, "offset"), buffer)

    def read_many(self, parts: Iterable[tuple[int, int]]) -> list[bytes]:
        """Return several parts, given as pairs of offset and size, each whole.

        They are asked for at once: near ones by one request, far ones at the same time, where a server has them.

        :raises Error: if a part reaches beyond the end.
        """
        pairs = [(_as_size(offset, "offset"), _as_size(size, "size")) for offset, size in parts]
        total = self.get_size()
        for offset, size in pairs:
            if offset + size > total:
                raise _classes.Error(f"part of {size} bytes at offset {offset} exceeds the {total} bytes there are")
        return list(map(bytes, views_of_parts(self, pairs)))

    def write(self, offset: int, data: Buffer) -> int:
        """Write bytes at an offset; return their number, fewer only where an accessor of fixed size ends."""
        return _direct.write_random(self, _as_size(offset, "offset"), data)

    def share(self) -> numpy.ndarray[Any, Any]:
        """Return the bytes as an array of the same memory, which stays valid whatever becomes of the accessor.

        When the accessor is resized later, it moves to other memory and the array keeps what it has.

        :raises NotImplemented: if the accessor has no memory that can be shared.
        """
        array = _direct.share_memory(self)
        if array is None:
            raise _classes.NotImplemented(f"{_zarnik.RandomAccess_to_string(self)} has no memory to share")
        return array

    def stream(self) -> StreamAccess:
        """Return a stream over the bytes, its cursor at the beginning."""
        return _zarnik.StreamAccessFactory_from_random_access(self)


@extends(_classes.DataAccess)
class _DataAccess:
    def http_counters(self) -> dict[str, int] | None:
        """Return what an access over HTTP has done so far, None for any other.

        The keys are requests, bytes_received, bytes_sent, cache_hits, cache_misses and retries.
        """
        return _direct.http_counters(self)


@extends(_classes.DataStorage)
class _DataStorage:
    def __repr__(self) -> str:
        return f"<zarnik.DataStorage {_zarnik.DataStorage_get_source(self)}>"


@extends(_classes.Uri)
class _Uri:
    def __repr__(self) -> str:
        # Shown in tracebacks and logs, where passwords must not be.
        text, secret = _zarnik.Uri_to_string(self), _zarnik.Uri_user_info(self)
        return f"zarnik.Uri({text.replace(f'//{secret}@', '//...@', 1) if secret else text!r})"

    def __eq__(self, other: object) -> bool:
        if not isinstance(other, _classes.Uri):
            return NotImplemented
        return bool(_zarnik.Uri_to_string(self) == _zarnik.Uri_to_string(other))

    def __hash__(self) -> int:
        return hash(_zarnik.Uri_to_string(self))

    def __reduce__(self) -> tuple[Any, ...]:
        return _classes.Uri, (_zarnik.Uri_to_string(self),)


@extends(_classes.HTTPHeaders)
class _HTTPHeaders:
    def __len__(self) -> int:
        return int(_zarnik.HTTPHeaders_size(self))

    def __copy__(self) -> Any:
        return _classes.HTTPHeaders(self)

    def __deepcopy__(self, memo: dict[int, Any]) -> Any:
        return _classes.HTTPHeaders(self)


@extends(_classes.RandomAccessFactory)
class _RandomAccessFactory:
    @staticmethod
    def from_buffer(buffer: Buffer) -> RandomAccess:
        """Return an accessor over the memory of a bytes-like object, which it keeps; read-only memory stays that."""
        return _direct.random_over_buffer(buffer)


def _uri_of(what: Any) -> Any:
    """Return the URI that something is, None if it is none but a path or an object."""
    if isinstance(what, _classes.Uri):
        return what
    if isinstance(what, str) and "://" in what.split("/", 1)[0] + "//" and what.partition("://")[0].isalpha():
        return _classes.Uri(what)
    return None


def _path_of(what: Any) -> bytes | None:
    if isinstance(what, (str, os.PathLike)):
        return os.fsencode(what)
    return None


def _local_path(uri: Any) -> bytes:
    if uri.host() not in ("", "localhost"):
        raise _classes.InvalidArgument(f"the host of a file must be empty or localhost, not {uri.host()}")
    return os.fsencode(uri.path())


def _is_file(what: Any) -> bool:
    return hasattr(what, "read") or hasattr(what, "write")


def open_random(
    what: Any, *, mode: str = "r", method: str = "GET", headers: Mapping[str, str] | None = None
) -> RandomAccess:
    """Return a random accessor over what is given.

    :param what: a path; a URL of the scheme file, http or https; a bytes-like object, which is shared and kept; an
        object with the methods of a binary file that can seek; an accessor or a stream.
    :param mode: for files, "r" to read them, "r+" to write them too, "m" to map them into memory for both.
    :param method: of the requests to a server.
    :param headers: sent with each of them.
    :raises Error: if it cannot be opened.
    """
    if mode not in ("r", "r+", "m"):
        raise ValueError(f'mode must be "r", "r+" or "m", not {mode!r}')
    if isinstance(what, _classes.RandomAccess):
        return what
    if isinstance(what, _classes.StreamAccess):
        return _zarnik.RandomAccessFactory_from_stream(what)
    uri = _uri_of(what)
    if uri is not None and uri.scheme() in ("http", "https"):
        if mode != "r":
            raise _classes.NotImplemented(f"a resource of a server can only be read, mode {mode!r} is for files")
        opened = _direct.open_http_random(uri, method, _as_headers(headers))
        sent = dict(headers) if isinstance(headers, Mapping) else headers
        return made_by(opened, open_random, uri.to_string(), method=method, headers=sent)
    if uri is not None and uri.scheme() != "file":
        return _zarnik.RandomAccessFactory_open_uri_read(uri)
    path = _path_of(what) if uri is None else _local_path(uri)
    if path is not None:
        opened = _direct.open_file(path, {"r": "random", "r+": "random+", "m": "mapped"}[mode])
        return made_by(opened, open_random, os.fsdecode(path), mode=mode)
    if _is_file(what):
        return _direct.random_over_file(what)
    return _direct.random_over_buffer(what)


def open_stream(
    what: Any, mode: str = "r", *, method: str = "POST", headers: Mapping[str, str] | None = None
) -> StreamAccess:
    """Return a stream over what is given.

    :param what: a path; a URL of the scheme file, http or https; a bytes-like object, which is shared and kept; an
        object with the methods of a binary file; an accessor or a stream.
    :param mode: "r" to read, "w" to write, which empties a file, "r+" to do both. Only files tell them apart, and
        servers, which are read or written. A "b" may be added.
    :param method: of the request by which a server is written.
    :param headers: sent with the requests.
    :raises Error: if it cannot be opened.
    """
    kind = mode.replace("b", "", 1) if isinstance(mode, str) else mode
    if kind not in ("r", "w", "r+"):
        raise ValueError(f'mode must be "r", "w" or "r+", not {mode!r}')
    if isinstance(what, _classes.StreamAccess):
        return what
    if isinstance(what, _classes.RandomAccess):
        return what.stream()
    uri = _uri_of(what)
    if uri is not None and uri.scheme() in ("http", "https"):
        if kind == "w":
            return _direct.open_http_stream(uri, method, _as_headers(headers))
        return open_random(uri, mode=kind, headers=headers).stream()
    if uri is not None and uri.scheme() != "file":
        return _zarnik.StreamAccessFactory_open_uri_write(uri)
    path = _path_of(what) if uri is None else _local_path(uri)
    if path is not None:
        return _direct.open_file(path, kind)
    if _is_file(what):
        return _direct.stream_over_file(what)
    return _direct.random_over_buffer(what).stream()
