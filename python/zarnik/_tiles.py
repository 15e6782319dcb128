"""Arrays that are decoded tile by tile, on several threads, and the cache of decoded tiles that all of them share."""

from __future__ import annotations

import itertools
import math
import operator
import os
import threading
import time
import weakref
from collections import OrderedDict
from collections.abc import Callable, Hashable, Iterator, Sequence
from typing import TYPE_CHECKING, Any

import numpy

from zarnik._threads import thread_count

if TYPE_CHECKING:
    Array = numpy.ndarray[Any, Any]
    # The index of a tile, which part of it is wanted, and where in the region that goes.
    _Task = tuple[tuple[int, ...], tuple[slice, ...], tuple[slice, ...]]

# What is decoded by the thread that asks: less than it takes to wake others.
_SMALL = 1 << 17
# So many bytes of tiles are looked after at a time.
_BATCH_BYTES = 64 << 20
# Of near tiles, so many bytes are fetched at a time.
_RUN_BYTES = 1 << 19
# Tiles of less, decoded in less, gain nothing by a second thread.
_SMALL_TILE = 1 << 16
_QUICK_SECONDS = 300e-6
# Threads that wait for servers cost little.
_MOST_THREADS = 32
# The times of files are those of a clock that may stand still for so long.
_TICK_NS = 20_000_000


class _Cache:
    """Decoded tiles up to so many bytes; those that were not used for the longest time go first."""

    def __init__(self, limit: int) -> None:
        self.limit = limit
        self.forget()

    def forget(self) -> None:
        self._lock = threading.Lock()
        self._tiles: OrderedDict[tuple[Owner, tuple[int, ...]], tuple[Array, Hashable]] = OrderedDict()
        #: locked while a tile is made; an Event would take ten times as long to make and to set
        self._pending: dict[Hashable, threading.Lock] = {}
        self._bytes = self._hits = self._misses = 0

    def each(
        self,
        owner: Owner,
        indices: Sequence[tuple[int, ...]],
        make: Callable[[list[int]], Iterator[Array]],
        use: Callable[[int, Array], None],
        stamps: Sequence[Hashable] | None = None,
    ) -> None:
        """Hand on several tiles: those that are kept, then new ones, then those that other threads are making.

        Of several threads that want a tile at the same time, one makes it and the others wait.

        :param make: Called with the places, in the indices, of tiles that are not there; gives those one by one.
        :param use: Called with the place of a tile and the tile.
        :param stamps: For each tile what is another one when it has changed where it is stored.
        """
        keys = [(owner, index) for index in indices]
        marks = stamps or itertools.repeat(None, len(keys))
        left = list(zip(range(len(keys)), keys, marks))
        while left:
            kept: list[tuple[int, Array]] = []
            others: list[Any] = []
            mine: list[Any] = []
            made: list[Array] = []
            pending = threading.Lock()
            pending.acquire()
            try:
                with self._lock:
                    for task in left:
                        place, key, stamp = task
                        found = self._tiles.get(key)
                        if found is not None and found[1] == stamp:
                            self._tiles.move_to_end(key)
                            kept.append((place, found[0]))
                        elif key in self._pending:
                            others.append((self._pending[key], task))
                        else:
                            mine.append(task)
                            self._pending[key] = pending
                    self._hits += len(kept)
                    self._misses += len(mine)
                for place, tile in kept:
                    use(place, tile)
                for (place, _, _), new in zip(mine, make([place for place, _, _ in mine])):
                    tile = _apart(new)
                    made.append(tile)
                    use(place, tile)
            finally:
                with self._lock:
                    for (_, key, stamp), tile in zip(mine, made):
                        if tile.nbytes <= self.limit:
                            self._keep(key, tile, stamp)
                    for _, key, _ in mine:
                        if self._pending.get(key) is pending:
                            del self._pending[key]
                pending.release()
            # Where one was too large to be kept, or failed, each makes its own.
            for waiting in {id(other): other for other, _ in others}.values():
                with waiting:
                    pass
            left = [task for _, task in others]

    def has(self, owner: Owner, index: tuple[int, ...]) -> bool:
        return (owner, index) in self._tiles

    def _keep(self, key: tuple[Owner, tuple[int, ...]], tile: Array, stamp: Hashable) -> None:
        before = self._tiles.pop(key, None)
        self._tiles[key] = tile, stamp
        key[0].indices.add(key[1])
        self._bytes += _cost(tile) - (_cost(before[0]) if before else 0)
        self._shrink()

    def _shrink(self) -> None:
        while self._bytes > self.limit and self._tiles:
            (owner, index), (tile, _) = self._tiles.popitem(last=False)
            self._bytes -= _cost(tile)
            owner.indices.discard(index)

    def drop(self, owner: Owner, index: tuple[int, ...] | None = None) -> None:
        """Let go of one tile of an owner, or of all."""
        with self._lock:
            for one in list(owner.indices) if index is None else [index]:
                found = self._tiles.pop((owner, one), None)
                if found is not None:
                    self._bytes -= _cost(found[0])
                owner.indices.discard(one)

    def resize(self, limit: int) -> None:
        with self._lock:
            self.limit = limit
            self._shrink()

    def info(self) -> dict[str, int]:
        with self._lock:
            return {
                "limit_bytes": self.limit,
                "bytes": self._bytes,
                "tiles": len(self._tiles),
                "hits": self._hits,
                "misses": self._misses,
            }


class Owner:
    """Whose tiles are kept, all arrays of one identity: a key that takes less to hash than what tells a file."""

    __slots__ = ("__weakref__", "indices")

    def __init__(self) -> None:
        #: those of tiles that are kept
        self.indices: set[tuple[int, ...]] = set()


_owners: weakref.WeakValueDictionary[Hashable, Owner] = weakref.WeakValueDictionary()


def _apart(tile: Array) -> Array:
    """A tile without much else that it would keep: the memory of an array or a buffer goes as a whole."""
    owner = tile.base
    while isinstance(owner, numpy.ndarray) and owner.base is not None:
        owner = owner.base
    if isinstance(owner, memoryview) and owner.obj is not None:
        owner = memoryview(owner.obj)
    is_large = isinstance(owner, (numpy.ndarray, memoryview)) and owner.nbytes > 2 * tile.nbytes
    return tile.copy() if is_large else tile


def _cost(tile: Array) -> int:
    # One value stands for all of a tile that a file leaves out.
    return tile.nbytes if any(tile.strides) else tile.itemsize


CACHE = _Cache(256 << 20)

_pool: Any = None
_unique = itertools.count()


def cache_info() -> dict[str, int]:
    """Return how the cache of decoded tiles is used, which all images of tiled and chunked files share.

    The keys are limit_bytes, bytes and tiles that are kept now, hits and misses since the program began.
    """
    return CACHE.info()


def set_cache_size(limit_bytes: int) -> None:
    """Change how many bytes of decoded tiles are kept, 256 MiB at first; 0 keeps none.

    :raises ValueError: if it is below 0.
    """
    size = operator.index(limit_bytes)
    if size < 0:
        raise ValueError(f"the size of the cache is 0 or more bytes, got {size}")
    CACHE.resize(size)


def _after_fork() -> None:
    global _pool
    _pool = None
    CACHE.forget()


if hasattr(os, "register_at_fork"):
    os.register_at_fork(after_in_child=_after_fork)


def stamp_of(path: str) -> Hashable | None:
    """What tells a file, as it is now, from every other one, and from none.

    Nothing does of a file that was changed just now, since it may be changed again within one tick of the clock by
    which its times are told: None.
    """
    try:
        status = os.stat(path)
    except (FileNotFoundError, NotADirectoryError):
        return ()
    age = time.time_ns() - max(status.st_mtime_ns, status.st_ctime_ns)
    if abs(age) < _TICK_NS:
        return None
    return status.st_dev, status.st_ino, status.st_size, status.st_mtime_ns, status.st_ctime_ns


def in_threads(work: Callable[[Any], None], items: Sequence[Any], threads: int) -> None:
    """Call a function with each of several items, on this thread and others.

    When one fails, or this thread is interrupted, no other is begun, those that were begun are waited for, and the
    error is raised.
    """
    threads = min(threads, len(items), _MOST_THREADS)
    waiting = iter(items)
    if threads < 2:
        for item in waiting:
            work(item)
        return
    failed = False

    def strand() -> None:
        nonlocal failed
        try:
            for item in waiting:
                if failed:
                    return
                work(item)
        except BaseException:
            failed = True
            raise

    strands = [_threads().submit(strand) for _ in range(threads - 1)]
    try:
        strand()
        for one in strands:
            one.result()
    finally:
        failed = True
        for one in strands:
            if not one.cancel():
                one.exception()


def _threads() -> Any:
    global _pool
    if _pool is None:
        from concurrent.futures import ThreadPoolExecutor

        _pool = ThreadPoolExecutor(_MOST_THREADS, "zarnik-tiles")
    return _pool


def parts_of_tiles(origin: Sequence[int], shape: Sequence[int], grid: Sequence[int]) -> Iterator[_Task]:
    """The index of each tile of a region, which part of it that has, and where that is in the region.

    :param grid: The shape of a tile.
    """
    indices, sources, targets = [], [], []
    for first, count, chunk in zip(origin, shape, grid):
        numbers = range(first // chunk, (first + count - 1) // chunk + 1)
        parts = [(max(n * chunk, first), min((n + 1) * chunk, first + count), n * chunk) for n in numbers]
        indices.append(numbers)
        sources.append([slice(begin - start, end - start) for begin, end, start in parts])
        targets.append([slice(begin - first, end - first) for begin, end, _ in parts])
    return zip(*(itertools.product(*along) for along in (indices, sources, targets)))


class TiledArray:
    """What looks like an array and is decoded tile by tile, each once as long as the cache keeps it.

    :param chunks: The shape of a tile; the last ones along an axis may be cut off.
    :param decode: Called with the index of a tile in the grid of tiles and what was fetched for it or None, on any
        thread; returns its elements, of the shape of a tile or cut off where the array ends, or None for `fill_value`.
    :param identity: What tells the file and the array in it from all others, for all who open it to share tiles.
    :param stamp: Called with the index of a tile, returns what is another one when what the tile is decoded from has
        changed, and None if nobody can tell. Without it the identity tells of all tiles.
    :param waits: Whether decoding waits for a server more than it calculates.
    :param fetch: Called with the indices of tiles that are needed before `decode` is, to get at once what is far away;
        returns what each of them is decoded from.
    :param is_far: Whether what is fetched is far away, so that much is asked for together; else some, on any thread.
    """

    def __init__(
        self,
        shape: Sequence[int],
        dtype: Any,
        chunks: Sequence[int],
        decode: Callable[[tuple[int, ...], Any], Array | None],
        *,
        identity: Hashable | None = None,
        stamp: Callable[[tuple[int, ...]], Hashable] | None = None,
        waits: bool = False,
        fill_value: Any = 0,
        fetch: Callable[[list[tuple[int, ...]]], dict[tuple[int, ...], Any]] | None = None,
        is_far: bool = True,
    ) -> None:
        self.shape = tuple(shape)
        self.dtype = numpy.dtype(dtype)
        self.chunks = tuple(max(1, min(chunk, size)) for chunk, size in zip(chunks, shape))
        self._grid = tuple(chunks)
        self._decode = decode
        self._waits = waits
        self._fill_value = fill_value
        self._fetch = fetch
        self._stamp = stamp
        self._is_far = is_far
        self._tile_bytes = max(1, math.prod(self.chunks) * self.dtype.itemsize)
        self._batch = max(1, _BATCH_BYTES // self._tile_bytes)
        self._owner = Owner() if identity is None else _owners.setdefault(identity, Owner())
        if identity is None:
            weakref.finalize(self, CACHE.drop, self._owner)

    def __getitem__(self, key: Any) -> Array:
        ranges = [range(*part.indices(size)) for part, size in zip(key, self.shape)]
        if any(part.step != 1 for part in ranges):
            raise ValueError("tiles are read in steps of 1")
        out = numpy.empty([len(part) for part in ranges], self.dtype)
        self.read_into([part.start for part in ranges], out)
        return out

    def read_into(self, origin: Sequence[int], out: Array) -> None:
        """Fill an array, of any strides, with the elements of a region that begins at an origin."""
        if out.size == 0:
            return
        fetched: dict[tuple[int, ...], Any] = {}
        owner, stamp_of_tile = self._owner, self._stamp

        def stamp_of(index: tuple[int, ...]) -> Hashable:
            stamp = stamp_of_tile(index) if stamp_of_tile is not None else None
            return next(_unique) if stamp is None else stamp

        def fetch(missing: list[tuple[int, ...]]) -> None:
            if missing and self._fetch is not None:
                fetched.update(self._fetch(missing))

        def place_run(tasks: Sequence[_Task]) -> None:
            indices = [index for index, _, _ in tasks]

            def make(places: list[int]) -> Iterator[Array]:
                if not self._is_far:
                    fetch([indices[place] for place in places])
                for place in places:
                    yield self._decoded(indices[place], fetched.pop(indices[place], None))

            def use(place: int, tile: Array) -> None:
                _, source, target = tasks[place]
                out[target] = tile[source]

            stamps = None if stamp_of_tile is None else list(map(stamp_of, indices))
            CACHE.each(owner, indices, make, use, stamps)

        threads = _MOST_THREADS // 2 if self._waits else 1 if out.nbytes < _SMALL else thread_count()
        waiting = self._tasks(origin, out.shape)
        while batch := list(itertools.islice(waiting, self._batch)):
            if self._is_far:
                fetch([index for index, _, _ in batch if not CACHE.has(owner, index)])
            step = 1 if self._fetch is None or self._is_far else max(1, _RUN_BYTES // self._tile_bytes)
            runs = [batch[first : first + step] for first in range(0, len(batch), step)]
            if threads == 2 and self._tile_bytes < _SMALL_TILE and self._is_quick(place_run, runs.pop(0)):
                threads = 1
            in_threads(place_run, runs, threads)

    def _is_quick(self, place_run: Callable[[Sequence[_Task]], None], run: Sequence[_Task]) -> bool:
        """Place a first run; tell whether a second thread would only be handed the interpreter's lock to and fro."""
        begin = time.perf_counter()
        place_run(run)
        return time.perf_counter() - begin < _QUICK_SECONDS * len(run)

    def _tasks(self, origin: Sequence[int], shape: Sequence[int]) -> Iterator[_Task]:
        return parts_of_tiles(origin, shape, self._grid)

    def _decoded(self, index: tuple[int, ...], fetched: Any) -> Array:
        tile = self._decode(index, fetched)
        if tile is not None and tile.shape == self._grid:
            return tile
        expected = tuple(min(chunk, size - place * chunk) for place, chunk, size in zip(index, self._grid, self.shape))
        if tile is None:
            return numpy.broadcast_to(numpy.asarray(self._fill_value, self.dtype), expected)
        if tile.ndim != len(expected) or any(has < wants for has, wants in zip(tile.shape, expected)):
            raise ValueError(f"tile {index} has shape {tile.shape}, expected is {expected}")
        return tile

    def drop(self, origin: Sequence[int], shape: Sequence[int]) -> None:
        """Let go of the tiles of a region that was changed where it is stored."""
        for index, _, _ in self._tasks(origin, shape):
            CACHE.drop(self._owner, index)
