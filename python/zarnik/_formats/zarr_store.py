"""Where the chunks of a Zarr hierarchy lie: folders, archives, web servers, and what fsspec reaches."""

from __future__ import annotations

import contextlib
import io
import json
import os
import threading
import zipfile
from collections.abc import Callable, Hashable
from typing import Any

import zarnik._classes as _classes
from zarnik import _direct
from zarnik._tiles import stamp_of
from zarnik.plugins import Source

_ROOTS = ("zarr.json", ".zgroup", ".zarray", ".zattrs")
# Descriptions are texts; what is larger is none.
_MOST_METADATA = 64 << 20
_MOST_OF_A_KEY = 2 << 30
# Shards of a server that stay open.
_MOST_OPEN = 64


class Store:
    """Bytes by their keys, to read."""

    #: whether each read is a request to a server
    is_remote = False
    #: for people
    where = ""

    def get(self, key: str) -> bytes | None:
        """Return what is stored, None if nothing is."""
        raise NotImplementedError

    def get_part(self, key: str, offset: int, size: int) -> bytes | None:
        """Return some bytes; an offset below 0 counts from the end."""
        whole = self.get(key)
        if whole is None:
            return None
        begin = offset if offset >= 0 else max(len(whole) + offset, 0)
        return whole[begin : begin + size]

    def stamp(self, key: str) -> Hashable | None:
        """Return what is another one when something else is stored, for all who open the store; None if nothing is."""
        return None

    def names(self, key: str) -> list[str] | None:
        """Return the names in a folder, None where nobody can list them."""
        return None

    def json(self, key: str) -> Any:
        """Return a description, None if there is none.

        :raises Error: if it is no JSON.
        """
        text = self.get(key)
        if text is None:
            return None
        if len(text) > _MOST_METADATA:
            raise _classes.Error(f"{self.where}: {key} has {len(text)} bytes, which is no description")
        try:
            return json.loads(text)
        except (ValueError, RecursionError) as error:
            raise _classes.Error(f"{self.where}: {key} is no JSON: {error}") from None

    def has_root(self) -> bool:
        """Whether a group or an array is described at the top."""
        return any(self.get(name) is not None for name in _ROOTS)


class FolderStore(Store):
    def __init__(self, path: str) -> None:
        self.where = path
        self._path = path
        self._root = os.path.realpath(path)

    def _place(self, key: str) -> str:
        place = os.path.join(self._path, *_parts(key))
        # Links may lead to other places of the hierarchy, not out of it.
        real = os.path.realpath(place)
        if real != self._root and not real.startswith(self._root + os.sep):
            raise _classes.Error(f"{self.where!r}: {key!r} leads to {real!r}, which is not in the folder")
        return real

    def get(self, key: str) -> bytes | None:
        try:
            with open(self._place(key), "rb") as file:
                return file.read()
        except (FileNotFoundError, NotADirectoryError, IsADirectoryError):
            return None
        except OSError as error:
            raise _classes.Error(f"cannot read {error.filename!r}: {error.strerror}") from error

    def get_part(self, key: str, offset: int, size: int) -> bytes | None:
        try:
            with open(self._place(key), "rb") as file:
                file.seek(max(offset, -os.fstat(file.fileno()).st_size), io.SEEK_SET if offset >= 0 else io.SEEK_END)
                return file.read(size)
        except (FileNotFoundError, NotADirectoryError, IsADirectoryError):
            return None

    def stamp(self, key: str) -> Hashable | None:
        return stamp_of(os.path.join(self._path, *_parts(key)))

    def names(self, key: str) -> list[str] | None:
        try:
            return sorted(os.listdir(self._place(key)))
        except OSError:
            return []


class ZipStore(Store):
    def __init__(self, source: Source) -> None:
        self.where = source.path or source.url or "the archive"
        self._access = source.access()
        self._stamp = None if source.path is None else stamp_of(source.path)
        self._lock = threading.Lock()
        try:
            self._archive = zipfile.ZipFile(source.file())
            self._entries = {info.filename: info for info in self._archive.infolist() if not info.is_dir()}
        except (zipfile.BadZipFile, ValueError, NotImplementedError, EOFError, OSError) as error:
            raise _classes.Error(f"{self.where!r} is no archive that can be read: {error}") from error
        self._prefix = self._find_prefix()

    def _find_prefix(self) -> str:
        """Return the folder that all is in, if the hierarchy is not at the top."""
        if any(name in self._entries for name in _ROOTS):
            return ""
        tops = {name.partition("/")[0] for name in self._entries}
        for top in sorted(tops):
            if any(f"{top}/{name}" in self._entries for name in _ROOTS):
                return top + "/"
        return ""

    def get(self, key: str) -> bytes | None:
        info = self._entries.get(self._prefix + "/".join(_parts(key)))
        if info is None:
            return None
        if info.file_size > _MOST_OF_A_KEY or info.compress_size > len(self._access):
            raise _classes.Error(f"{self.where}: {key!r} claims {info.file_size} bytes")
        try:
            with self._lock:
                return self._archive.read(info)
        except (zipfile.BadZipFile, NotImplementedError, EOFError, ValueError, RuntimeError, OSError) as error:
            raise _classes.Error(f"{self.where}: {key!r} cannot be read: {error}") from error
        except Exception as error:  # of the decompressors, each its own
            raise _classes.Error(f"{self.where}: {key!r} is damaged: {error}") from error

    def get_part(self, key: str, offset: int, size: int) -> bytes | None:
        info = self._entries.get(self._prefix + "/".join(_parts(key)))
        if info is None or info.compress_type != zipfile.ZIP_STORED or info.flag_bits & 1:
            return super().get_part(key, offset, size)
        # What is stored as it is needs no archive: name and extra field of its own header stand before it.
        head = self._access.read(info.header_offset, 30)
        if len(head) < 30 or head[:4] != b"PK\x03\x04":
            raise _classes.Error(f"{self.where}: {key!r} has no header at {info.header_offset}")
        before = 30 + int.from_bytes(head[26:28], "little") + int.from_bytes(head[28:30], "little")
        begin = offset if offset >= 0 else max(info.file_size + offset, 0)
        count = max(0, min(size, info.file_size - begin))
        return self._access.read(info.header_offset + before + begin, count)

    def stamp(self, key: str) -> Hashable | None:
        return self._stamp

    def names(self, key: str) -> list[str] | None:
        inside = self._prefix + "".join(part + "/" for part in _parts(key))
        return sorted({name[len(inside) :].partition("/")[0] for name in self._entries if name.startswith(inside)})


class HttpStore(Store):
    """Keys below a URL, each read through an accessor of its own."""

    is_remote = True

    def __init__(self, url: str) -> None:
        base, question, query = url.partition("?")
        self.where = url
        self._base = base.rstrip("/")
        self._query = question + query
        self._lock = threading.Lock()
        self._descriptions: dict[str, bytes | None] = {}
        self._opened: dict[str, Any] = {}
        self._has_ranges = True

    def _url(self, key: str) -> str:
        from urllib.parse import quote

        return "/".join([self._base, *map(quote, _parts(key))]) + self._query

    def _open(self, key: str, open_it: Callable[..., Any]) -> Any:
        uri = _classes.Uri(self._url(key))
        try:
            return open_it(uri, "GET", _classes.HTTPHeaders())
        except _classes.Error as error:
            # What is not there is no error: chunks that hold nothing are left out.
            if "status 404" in str(error) or "status 410" in str(error):
                return None
            raise

    def get(self, key: str) -> bytes | None:
        is_description = key.rpartition("/")[2] in (*_ROOTS, ".zmetadata")
        if is_description and key in self._descriptions:
            return self._descriptions[key]
        access = None
        if self._has_ranges:
            try:
                access = self._open(key, _direct.open_http_whole)
            except _classes.Error as error:
                if "does not send ranges" not in str(error):
                    raise
                self._has_ranges = False
        if not self._has_ranges:
            return self._whole(key)
        if access is not None and len(access) > _MOST_OF_A_KEY:
            raise _classes.Error(f"{self.where}: {key!r} has {len(access)} bytes")
        found = None if access is None else access.read(0, len(access))
        if is_description:
            self._descriptions[key] = found
        return found

    def _whole(self, key: str) -> bytes | None:
        """What a server gives that knows no parts, such as that of the standard library."""
        from urllib.error import HTTPError
        from urllib.request import urlopen

        url = self._url(key)
        try:
            with urlopen(url, timeout=30) as answer:
                return answer.read(_MOST_OF_A_KEY)
        except HTTPError as error:
            if error.code in (404, 410):
                return None
            raise _classes.Error(f"{url}: the server answered with status {error.code}") from error
        except OSError as error:
            raise _classes.Error(f"{url}: {error}") from error

    def get_part(self, key: str, offset: int, size: int) -> bytes | None:
        if not self._has_ranges:
            return super().get_part(key, offset, size)
        # Of a shard more parts are wanted.
        with self._lock:
            found = self._opened.pop(key, None)
            if found is not None:
                self._opened[key] = found
        access = self._open(key, _direct.open_http_random) if found is None else found
        if access is None:
            return None
        with self._lock:
            self._opened[key] = access
            if len(self._opened) > _MOST_OPEN:
                del self._opened[next(iter(self._opened))]
        begin = offset if offset >= 0 else max(len(access) + offset, 0)
        return access.read(begin, min(size, max(0, len(access) - begin)))


class FsspecStore(Store):
    is_remote = True

    def __init__(self, url: str) -> None:
        try:
            import fsspec
        except ImportError:
            raise _classes.Error(f'{url!r} needs fsspec: pip install "zarnik[remote]" installs it') from None
        self.where = url
        try:
            self._system, self._root = fsspec.core.url_to_fs(url)
        except (ValueError, ImportError) as error:
            raise _classes.Error(f"cannot open {url!r}: {error}") from error

    def get(self, key: str) -> bytes | None:
        return self._read(key, None, None)

    def get_part(self, key: str, offset: int, size: int) -> bytes | None:
        end = offset + size
        return self._read(key, offset, end if offset >= 0 or end < 0 else None)

    def _read(self, key: str, begin: int | None, end: int | None) -> bytes | None:
        try:
            place = "/".join([self._root.rstrip("/"), *_parts(key)])
            return bytes(self._system.cat_file(place, start=begin, end=end))
        except (FileNotFoundError, IsADirectoryError):
            return None

    def names(self, key: str) -> list[str] | None:
        with contextlib.suppress(OSError, NotImplementedError):
            found = self._system.ls("/".join([self._root.rstrip("/"), *_parts(key)]), detail=False)
            return sorted(name.rstrip("/").rpartition("/")[2] for name in found)
        return None


def store_of(source: Source) -> Store:
    """Return the store that a source is."""
    if source.is_folder:
        return FolderStore(source.path or "")
    if source.path is not None or source.name.lower().endswith((".zip", ".ozx")) or source.url is None:
        return ZipStore(source)
    return HttpStore(source.url) if source.url.lower().startswith("http") else FsspecStore(source.url)


def _parts(key: str) -> list[str]:
    """Return the names in a key.

    :raises Error: if it leads out of the hierarchy.
    """
    parts = [part for part in key.split("/") if part]
    if any(part in (".", "..") or "\0" in part or (os.sep != "/" and os.sep in part) for part in parts):
        raise _classes.Error(f"key {key!r} leads out of the hierarchy")
    return parts


def adapter(store: Store) -> Any:
    """Return a store of the zarr package, to read, over one of ours."""
    import asyncio

    import zarr.abc.store as abc

    class Adapter(abc.Store):  # type: ignore[misc,unused-ignore]
        supports_writes = supports_deletes = supports_listing = False

        def __eq__(self, other: object) -> bool:
            return self is other

        async def get(self, key: str, prototype: Any, byte_range: Any = None) -> Any:
            found = await asyncio.to_thread(self._read, key, byte_range)
            return None if found is None else prototype.buffer.from_bytes(found)

        @staticmethod
        def _read(key: str, wanted: Any) -> bytes | None:
            if wanted is None:
                return store.get(key)
            if isinstance(wanted, abc.SuffixByteRequest):
                return store.get_part(key, -wanted.suffix, wanted.suffix)
            if isinstance(wanted, abc.OffsetByteRequest):
                return store.get_part(key, wanted.offset, _MOST_OF_A_KEY)
            return store.get_part(key, wanted.start, wanted.end - wanted.start)

        async def get_partial_values(self, prototype: Any, key_ranges: Any) -> list[Any]:
            return [await self.get(key, prototype, wanted) for key, wanted in key_ranges]

        async def exists(self, key: str) -> bool:
            return await asyncio.to_thread(store.get, key) is not None

        async def set(self, key: str, value: Any) -> None:
            raise NotImplementedError

        async def delete(self, key: str) -> None:
            raise NotImplementedError

        async def list(self) -> Any:
            raise NotImplementedError
            yield

        async def list_prefix(self, prefix: str) -> Any:
            raise NotImplementedError
            yield

        async def list_dir(self, prefix: str) -> Any:
            for name in store.names(prefix) or []:
                yield name

    return Adapter(read_only=True)
