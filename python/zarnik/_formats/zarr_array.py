"""The chunks of an array of zarr as tiles: read from where they lie, and decoded on our threads."""

from __future__ import annotations

import math
import os
import threading
import zlib
from collections import OrderedDict
from collections.abc import Callable, Hashable, Sequence
from typing import Any

import numpy

import zarnik._classes as _classes
from zarnik._formats.zarr_store import FolderStore, Store, adapter
from zarnik._tiles import TiledArray

_NOTHING = 2**64 - 1
_MOST_SHARD_INDICES = 4096
_MOST_CHUNK_BYTES = 8 << 30

Decode = Callable[[bytes], Any]


class WritableArray:
    """An array whose regions are written by the zarr package, each chunk as a whole.

    :param must_be_whole: Whether a region that cuts a chunk, or a shard, is refused: what others write to the rest of
        it at the same time would be lost.
    """

    def __init__(self, tiles: TiledArray, array: Any, forget: Callable[[], None], must_be_whole: bool) -> None:
        self._tiles, self._array, self._forget, self._must_be_whole = tiles, array, forget, must_be_whole
        self.shape, self.dtype, self.chunks = tiles.shape, tiles.dtype, tiles.chunks
        self.read_into = tiles.read_into
        self._unit = tuple(getattr(array, "shards", None) or array.chunks)

    def __getitem__(self, key: Any) -> Any:
        return self._tiles[key]

    def write_from(self, origin: Sequence[int], part: Any) -> None:
        """Store the elements of a region that begins at an origin.

        :raises Error: if it cuts chunks and that is not allowed.
        """
        for first, count, unit, size in zip(origin, part.shape, self._unit, self.shape):
            if self._must_be_whole and (first % unit or ((first + count) % unit and first + count != size)):
                what = "shards" if getattr(self._array, "shards", None) else "chunks"
                raise _classes.Error(
                    f"a region of {part.shape} at {tuple(origin)} cuts {what} of {self._unit}, of which others may "
                    "write the rest: write whole ones, or open it with whole_chunks=False to be the only writer"
                )
        self._array[tuple(slice(first, first + count) for first, count in zip(origin, part.shape))] = part
        self._forget()
        self._tiles.drop(origin, part.shape)


def open_writable(folder: str, path: str, zarr_format: int, must_be_whole: bool) -> WritableArray:
    """Return the array at a path below a folder to be written in place."""
    import zarr

    _, tiles = open_array(FolderStore(folder), path, zarr_format)
    writable = zarr.open_array(os.path.join(folder, path), mode="r+", zarr_format=zarr_format)  # type: ignore[arg-type,unused-ignore]
    return WritableArray(tiles, writable, tiles.forget_shards, must_be_whole)


def open_array(store: Store, path: str, zarr_format: int) -> tuple[Any, ZarrTiles]:
    """Return the array of the zarr package that lies at a path, and the tiles of its chunks.

    :raises Error: if none is there that can be read.
    """
    import zarr

    try:
        array = zarr.open_array(adapter(store), path=path, mode="r", zarr_format=zarr_format)
        array.dtype, array.shape, array.chunks  # noqa: B018
    except Exception as error:
        raise _classes.Error(f"{store.where!r} has no array {path!r} that can be read: {error}") from error
    return array, tiles_of(store, path, array)


class ZarrTiles(TiledArray):
    """The chunks of an array."""

    shards: _Shards | None = None

    def forget_shards(self) -> None:
        """Read the indices of shards again, of which some were written."""
        if self.shards is not None:
            self.shards.forget()


def tiles_of(store: Store, path: str, array: Any) -> ZarrTiles:
    metadata = array.metadata
    dtype = numpy.dtype(array.dtype)
    if dtype.hasobject or dtype.kind not in "biuf":
        raise _classes.Error(f"array {path!r} has elements of {dtype}, which are none of an image")
    chunks = tuple(int(size) for size in array.chunks)
    if math.prod(chunks) * dtype.itemsize > _MOST_CHUNK_BYTES:
        raise _classes.Error(f"array {path!r} has chunks of {math.prod(chunks) * dtype.itemsize} bytes")
    prefix = f"{path}/" if path else ""
    chunk = _Chunk(dtype, chunks)
    decode: Any
    raw: Decode | None
    shards: _Shards | None = None
    if metadata.zarr_format == 2:
        raw = _of_version_2(metadata, chunk)
        separator = metadata.dimension_separator

        def key_of(index: Sequence[int]) -> str:
            return prefix + separator.join(map(str, index or (0,)))

    else:
        codecs = list(metadata.codecs)
        shard = codecs[0] if len(codecs) == 1 and _name(codecs[0]) == "sharding_indexed" else None
        raw = _of_codecs(list(shard.codecs) if shard else codecs, chunk)

        def key_of(index: Sequence[int]) -> str:
            return prefix + str(metadata.encode_chunk_key(tuple(index)))

        if shard is not None and raw is not None:
            shards = indexed = _Shards(store, key_of, shard, [int(size) for size in array.shards])
            raw_part = raw

            def decode_part(index: tuple[int, ...], fetched: Any) -> Any:
                part = indexed.get(index, chunks)
                return None if part is None else raw_part(part)

            decode = decode_part
    if raw is None:
        # Codecs that only their own package knows: it reads chunk by chunk.
        def decode_elsewhere(index: tuple[int, ...], fetched: Any) -> Any:
            places = (slice(number * size, (number + 1) * size) for number, size in zip(index, chunks))
            return numpy.asarray(array[tuple(places)])

        decode = decode_elsewhere
    elif metadata.zarr_format == 2 or shard is None:
        whole = raw

        def decode_whole(index: tuple[int, ...], fetched: Any) -> Any:
            data = store.get(key_of(index))
            return None if data is None else whole(data)

        decode = decode_whole
    fill = metadata.fill_value
    described = store.stamp(prefix + (".zarray" if metadata.zarr_format == 2 else "zarr.json"))

    def stamp_of_tile(index: tuple[int, ...]) -> Hashable | None:
        return store.stamp(key_of(index) if shards is None else shards.key_of(index, chunks))

    made = ZarrTiles(
        array.shape,
        dtype.newbyteorder("="),
        chunks,
        decode,
        # Chunks are written one by one, while others read.
        identity=None if described is None else ("Zarr", store.where, prefix, described),
        stamp=None if described is None else stamp_of_tile,
        waits=store.is_remote,
        fill_value=0 if fill is None else fill,
    )
    made.shards = shards
    return made


class _Chunk:
    """How the decoded bytes of a chunk become an array."""

    def __init__(self, dtype: Any, shape: tuple[int, ...]) -> None:
        self.dtype = dtype
        self.shape = shape
        self.bytes = math.prod(shape) * dtype.itemsize

    def array(self, data: Any, dtype: Any, order: Sequence[int] | None) -> Any:
        flat = numpy.frombuffer(data, numpy.uint8)
        if flat.size != self.bytes:
            raise _classes.Error(f"a chunk has {flat.size} bytes, {self.bytes} are expected")
        if order is None:
            return flat.view(dtype).reshape(self.shape)
        stored = flat.view(dtype).reshape([self.shape[axis] for axis in order])
        return stored.transpose(numpy.argsort(order))


def _of_version_2(metadata: Any, chunk: _Chunk) -> Decode:
    filters = list(metadata.filters or ())
    compressor = metadata.compressor
    order = list(range(len(chunk.shape)))[::-1] if metadata.order == "F" else None
    decompress = None if compressor is None else _decompressor(compressor.get_config(), compressor, chunk)

    def decode(data: bytes) -> Any:
        decoded: Any = data if decompress is None else decompress(data)
        for codec in reversed(filters):
            decoded = codec.decode(decoded)
        return chunk.array(decoded, chunk.dtype, order)

    return decode


def _of_codecs(codecs: list[Any], chunk: _Chunk) -> Decode | None:
    """Return what decodes a chunk of version 3, None if there is a codec that is not known here."""
    order = None
    dtype = chunk.dtype
    steps: list[Decode] = []
    for codec in codecs:
        name, told = _name(codec), codec.to_dict().get("configuration", {})
        if name == "transpose" and order is None and not steps:
            order = [int(axis) for axis in told["order"]]
        elif name == "bytes":
            endian = told.get("endian")
            dtype = (
                dtype.newbyteorder({"little": "<", "big": ">"}[getattr(endian, "value", endian)]) if endian else dtype
            )
        elif name in ("blosc", "zstd", "gzip"):
            steps.append(_decompressor({"id": name}, None, chunk))
        elif name == "crc32c":
            steps.append(_checked)
        else:
            return None

    def decode(data: bytes) -> Any:
        for step in reversed(steps):
            data = step(data)
        return chunk.array(data, dtype, order)

    return decode


def _name(codec: Any) -> str:
    return str(codec.to_dict().get("name"))


def _decompressor(told: dict[str, Any], codec: Any, chunk: _Chunk) -> Decode:
    kind = told["id"]
    if kind == "blosc":
        import numcodecs.blosc as blosc

        def decode_blosc(data: bytes) -> Any:
            # The header tells both sizes, which the decoder relies on.
            decoded, encoded = (int.from_bytes(data[at : at + 4], "little") for at in (4, 12))
            if len(data) < 16 or decoded > chunk.bytes + 4 or encoded != len(data):
                raise _classes.Error(f"a chunk is cut off, or not of {chunk.bytes} bytes")
            return blosc.decompress(data)

        return decode_blosc
    if kind == "zstd":
        import numcodecs.zstd

        return numcodecs.zstd.decompress
    if kind in ("gzip", "zlib"):

        def inflate(data: bytes) -> Any:
            inflater = zlib.decompressobj(31 if kind == "gzip" else 15)
            decoded = inflater.decompress(data, chunk.bytes + 5)
            if not inflater.eof:
                raise _classes.Error(f"a chunk is cut off, or has more than {chunk.bytes} bytes")
            return decoded

        return inflate
    return codec.decode


def _checked(data: bytes) -> Any:
    import google_crc32c

    body, told = data[:-4], data[-4:]
    if len(data) < 4 or google_crc32c.value(bytes(body)) != int.from_bytes(told, "little"):
        raise _classes.Error("a chunk does not fit its checksum")
    return body


class _Shards:
    """The chunks within shards, by the indices that shards begin or end with."""

    def __init__(self, store: Store, key_of: Callable[[Sequence[int]], str], codec: Any, shape: list[int]) -> None:
        self._store, self._key_of, self._shape = store, key_of, shape
        self._counts = [size // chunk for size, chunk in zip(shape, codec.chunk_shape)]
        location = codec.index_location
        self._is_at_end = getattr(location, "value", location) == "end"
        names = [_name(one) for one in codec.index_codecs]
        if any(name not in ("bytes", "crc32c") for name in names):
            raise _classes.Error(f"the index of a shard by {names} cannot be read")
        self._is_checked = "crc32c" in names
        self._size = 16 * math.prod(self._counts) + (4 if self._is_checked else 0)
        self._lock = threading.Lock()
        self._indices: OrderedDict[str, tuple[Any, Any]] = OrderedDict()

    def get(self, index: tuple[int, ...], chunks: tuple[int, ...]) -> bytes | None:
        key = self.key_of(index, chunks)
        places = self._index(key)
        if places is None:
            return None
        offset, size = places[tuple(number % count for number, count in zip(index, self._counts))].tolist()
        if offset == size == _NOTHING:
            return None
        data = self._store.get_part(key, offset, size) if offset + size < 2**62 else None
        if data is None or len(data) != size:
            raise _classes.Error(f"shard {key!r} has no {size} bytes at {offset}")
        return data

    def key_of(self, index: tuple[int, ...], chunks: tuple[int, ...]) -> str:
        """The key of the shard that a chunk is in."""
        return self._key_of([number * chunk // size for number, chunk, size in zip(index, chunks, self._shape)])

    def forget(self) -> None:
        with self._lock:
            self._indices.clear()

    def _index(self, key: str) -> Any:
        stamp = self._store.stamp(key)
        with self._lock:
            if key in self._indices and self._indices[key][0] == stamp:
                self._indices.move_to_end(key)
                return self._indices[key][1]
        data = self._store.get_part(key, -self._size if self._is_at_end else 0, self._size)
        found = None
        if data is not None:
            if len(data) != self._size:
                raise _classes.Error(f"shard {key!r} is cut off")
            data = _checked(data) if self._is_checked else data
            found = numpy.frombuffer(data, "<u8").reshape(*self._counts, 2)
        with self._lock:
            self._indices[key] = stamp, found
            if len(self._indices) > _MOST_SHARD_INDICES:
                self._indices.popitem(last=False)
        return found
