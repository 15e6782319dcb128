"""Images as dask arrays and back: chunks are read where they are computed, by whichever process does that."""

from __future__ import annotations

import math
import operator
import pickle
from collections.abc import Mapping
from itertools import accumulate, product
from typing import TYPE_CHECKING, Any

import numpy

import zarnik._classes as _classes
from zarnik import _axes, _direct, _recipes
from zarnik._calls import flat
from zarnik._extension import extends
from zarnik._geometry import geometry_of
from zarnik._interop import shared_array

if TYPE_CHECKING:
    from zarnik._classes import ImageView

#: the sizes of the chunks along each axis of an array
Chunks = tuple[tuple[int, ...], ...]


@extends("ImageView")
class _DaskImage:
    def to_dask(self, chunks: Any = "auto", *, name: str | None = None) -> Any:
        """Return the image as an array of dask, of which nothing is read before it is computed.

        What is computed elsewhere opens the file or the URL there, once in each process: the array carries a reference
        of a few hundred bytes. Slices of the array read no more than they show. An image in memory is shared by
        schedulers that share memory, and sent chunk by chunk otherwise.

        :param chunks: "tiles" for the tiles of the file, one each; "auto" for as many whole tiles as the setting
            array.chunk-size of dask allows, the last axes first, so that rows stay together; else what dask takes, with
            axes by letters: {"Z": 1}.
        :param name: The name of the array in graphs. By default equal images have equal names; one of a file that is
            open for writing has a new one each time.
        :return: The array, in the order of `shape`.
        """
        core = _dask_array().core
        view: Any = self
        layout, sizes = geometry_of(view)
        shape = layout.shape(sizes)
        cut = chunks_of(view, chunks)
        if name is None:
            name = f"zarnik-{_dask_base().tokenize(view, cut)}"
        meta = numpy.empty((0,) * len(shape), layout.scalar)
        array = shared_array(view, layout)
        if array is not None and _recipes.bytes_held(view):
            ends = [[*accumulate(sizes, initial=0)] for sizes in cut]
            parts = product(*([*zip(axis, axis[1:])] for axis in ends))
            places = product(*(range(len(sizes)) for sizes in cut))
            graph = {(name, *place): array[tuple(slice(*ends) for ends in part)] for place, part in zip(places, parts)}
            return core.Array(graph, name, cut, meta=meta)
        held = Held(view)
        # A reference stands in each task: no process has to wait for another one that opens the file.
        graph = core.graph_from_arraylike(
            held,
            cut,
            shape,
            name,
            dtype=layout.scalar,
            inline_array=held.is_reference,
        )
        return core.Array(graph, name, cut, meta=meta)

    def __dask_tokenize__(self) -> Any:
        """What dask knows equal images by."""
        return _token(self)


@extends(_classes.RandomAccess)
class _DaskAccess:
    def __dask_tokenize__(self) -> Any:
        """What dask knows equal accessors of files and URLs by."""
        reduced = _recipes.reduced(self, 5)
        return "zarnik", id(self) if reduced is None else _normal(reduced[1])


def from_dask(array: Any, axes: _axes.Axes | None = None, **description: Any) -> ImageView:
    """Make an image of an array of dask, without computing it.

    Each region that is read is computed by dask, with the scheduler that is set; what spans several chunks is computed
    at once. The image pickles if the array does, and cannot be written.

    :param array: An array of dask, whose chunks are all known.
    :param axes: The axes of the array, as `from_numpy` takes them.
    :param description: What else `zarnik.plugins.image_of` takes: spacing, origin, directions, affine, unit,
        value_range, interpretation, channel_names, metadata.
    :return: The image, whose tiles are the array's chunks.
    :raises TypeError: if it is no array of dask, or its elements have no counterpart.
    :raises ValueError: if the axes do not fit, or the size of a chunk is unknown.
    """
    from zarnik.plugins import image_of

    if not isinstance(array, _dask_array().Array):
        raise TypeError(f"from_dask takes an array of dask, got {type(array).__name__}: from_array takes others")
    if any(math.isnan(extent) for extent in array.shape):
        raise ValueError(f"the array has chunks of unknown size, its shape is {array.shape}: compute_chunk_sizes() it")
    made = image_of(array, axes, **description)
    return _recipes.made_by(made, from_dask, array, made.axes, **description)


class Held:
    """An image as graphs have it: the pickle of a reference, so that only those who read it open the file."""

    __slots__ = ("_image", "_pickle", "dtype", "ndim", "shape")

    def __init__(self, image: Any) -> None:
        self.shape, self.dtype, self.ndim = image.shape, image.dtype, image.ndim
        self._image = image
        self._pickle: Any = None if _recipes.bytes_held(image) else pickle.dumps(image, 5)

    @property
    def is_reference(self) -> bool:
        return self._pickle is not None

    def __getitem__(self, key: Any) -> Any:
        if self._image is None:
            self._image = pickle.loads(self._pickle)
        if isinstance(key, tuple) and any(not isinstance(entry, (slice, int, numpy.integer)) for entry in key):
            return self._picked(key)
        return self._image[key]

    def _picked(self, key: tuple[Any, ...]) -> Any:
        """What a key with lists of indices, or None for a new axis, selects: dask makes one of a slice of a slice."""
        around: list[Any] = []
        within: list[Any] = []
        extents = iter(self.shape)
        for entry in key:
            if entry is None:
                within.append(None)
                continue
            extent = next(extents)
            if isinstance(entry, slice):
                around.append(entry)
                within.append(slice(None))
                continue
            chosen = numpy.arange(extent)[entry]
            first, end = (int(chosen.min()), int(chosen.max()) + 1) if chosen.size else (0, 0)
            around.append(slice(first, end))
            within.append(chosen - first)
        return self._image[tuple(around)][tuple(within)]

    def __getstate__(self) -> Any:
        return self.shape, self.dtype, self._pickle, None if self._pickle else self._image

    def __setstate__(self, state: Any) -> None:
        self.shape, self.dtype, self._pickle, self._image = state
        self.ndim = len(self.shape)

    def __repr__(self) -> str:
        return f"<image of shape {self.shape}, {self.dtype}>"


def _dask_array() -> Any:
    try:
        import dask.array
    except ImportError:
        raise _classes.Error('dask is not installed: pip install "zarnik[dask]" installs it') from None
    return dask.array


def _dask_base() -> Any:
    import dask.base

    return dask.base


# ---- tokens ----------------------------------------------------------------------------------------------------------


def _token(image: Any) -> Any:
    """What is equal for equal images: how it is opened, or what it holds."""
    root, _ = _recipes.unwound(image)
    recipe = _recipes.recipe_of(root)
    if recipe is not None and not _recipes.bytes_held(image):
        if recipe[2].get("mode", "r") != "r":
            import uuid

            # Whoever writes to the file changes the image.
            return "zarnik", uuid.uuid4().hex
        reduced = _recipes.reduced(image, 5)
        if reduced is not None and reduced[1][0] is root:
            return "zarnik", _normal((_token(root), *reduced[1][1:]))
        if reduced is not None:
            return "zarnik", _normal(reduced[1])
    properties = _recipes.plain(image.properties)
    metadata = flat.ImageView___get_metadata(image)
    tree = None if metadata is None else _classes.ReadonlyMetadataNode(metadata).to_json()
    return "zarnik", image.shape, str(image.dtype), properties, tree, _hash_of(image)


def _normal(value: Any) -> Any:
    return _dask_base().normalize_token(value)


def _hash_of(image: Any) -> str:
    from hashlib import blake2b

    hashed = blake2b(digest_size=16)
    layout, sizes = geometry_of(image)
    array = shared_array(image, layout)
    for place in range(layout.shape(sizes)[0]):
        part = image[place] if array is None else array[place]
        hashed.update(numpy.ascontiguousarray(part).tobytes())
    return hashed.hexdigest()


# ---- chunks ----------------------------------------------------------------------------------------------------------


def chunks_of(image: Any, chunks: Any) -> Chunks:
    """Return the sizes of chunks along each axis, see `to_dask`.

    :raises ValueError: if they do not fit the shape.
    """
    layout, sizes = geometry_of(image)
    shape = layout.shape(sizes)
    if isinstance(chunks, str) and chunks in ("auto", "tiles"):
        tiles = _tiles_of(image)
        if tiles is not None and chunks == "tiles":
            return tiles
        import dask.config
        import dask.utils

        limit = dask.utils.parse_bytes(dask.config.get("array.chunk-size"))
        return _whole_tiles(tiles, shape, max(limit // layout.scalar.itemsize, 1))
    if isinstance(chunks, Mapping):
        letters = layout.axes or ""
        chunks = {_axis_of(axis, letters, len(shape)): size for axis, size in chunks.items()}
        chunks = tuple(chunks.get(axis, -1) for axis in range(len(shape)))
    found: Chunks = _dask_array().core.normalize_chunks(chunks, shape, dtype=layout.scalar)
    return found


def _axis_of(axis: Any, letters: str, rank: int) -> int:
    place = letters.find(axis.upper()) if isinstance(axis, str) and len(axis) == 1 else -1
    if not isinstance(axis, str):
        place = operator.index(axis)
        place += rank if place < 0 else 0
    if not 0 <= place < rank:
        raise ValueError(f"axis {axis!r} is none of the axes {letters!r} of the image")
    return place


def _whole_tiles(tiles: Chunks | None, shape: tuple[int, ...], most: int) -> Chunks:
    """Put as many neighbouring tiles together as give chunks of at most so many elements, the last axes first."""
    largest = [1] * len(shape) if tiles is None else [max(sizes, default=1) for sizes in tiles]
    cut: list[tuple[int, ...]] = []
    for axis in reversed(range(len(shape))):
        extent = shape[axis]
        room = max(most // max(math.prod(largest[:axis]) * math.prod(map(max, filter(None, cut))), 1), 1)
        if tiles is None:
            # Chunks of about the same size, not many of the most and a small one.
            count = -(-extent // room) or 1
            sizes = tuple(extent * (i + 1) // count - extent * i // count for i in range(count))
        else:
            sizes = _joined(tiles[axis], room)
        cut.insert(0, sizes)
    return tuple(cut)


def _joined(sizes: tuple[int, ...], most: int) -> tuple[int, ...]:
    joined: list[int] = []
    for size in sizes:
        if joined and joined[-1] + size <= most:
            joined[-1] += size
        else:
            joined.append(size)
    return tuple(joined)


def _tiles_of(image: Any) -> Chunks | None:
    """Return the sizes of tiles along each axis of an array; None if there are none."""
    tiling = image.tiling_info()
    if tiling is None or not tiling.tile_count():
        return None
    layout, sizes = geometry_of(image)
    grid = numpy.asarray(tiling.tiling_grid())
    if grid.ndim != layout.rank:
        return None
    along = []
    for axis, position in enumerate(layout.positions):
        places = grid[tuple(slice(None) if dimension == position else 0 for dimension in range(layout.rank))]
        regions = [_direct.corners(tiling.tile_region(int(place))) for place in places]
        along.append(tuple(int(size[position]) for _, size in regions))
        if sum(along[axis]) != sizes[position]:
            return None
    return (*along, *((extent,) for extent in layout.components))
