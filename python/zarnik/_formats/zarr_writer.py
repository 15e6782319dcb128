"""Images as OME-Zarr with levels, written chunk by chunk."""

from __future__ import annotations

import itertools
import json
import math
import os
from collections.abc import Callable, Iterator, Mapping, Sequence
from typing import Any

import numpy

import zarnik._classes as _classes
from zarnik import _atomic, _pyramid
from zarnik._formats import ome
from zarnik._formats.zarr_array import open_array
from zarnik._formats.zarr_store import FolderStore

_ORDER = "TCZYX"
_TYPES = {"T": "time", "C": "channel", "Z": "space", "Y": "space", "X": "space"}
_CHUNK = {"T": 1, "C": 1, "Z": 32, "Y": 256, "X": 256}
# A picture has no third axis to spend the bytes of a chunk on.
_CHUNK_OF_PICTURE = {"T": 1, "C": 1, "Y": 512, "X": 512}
# Whole chunks of so many bytes are read and written at once.
_BLOCK_BYTES = 32 << 20
_UNITS = {
    "m": "meter", "cm": "centimeter", "mm": "millimeter", "µm": "micrometer", "nm": "nanometer", "pm": "picometer",
    "Å": "angstrom", "in": "inch", "km": "kilometer",
}  # fmt: skip
_COLOURS = ("FF0000", "00FF00", "0000FF", "FF00FF", "00FFFF", "FFFF00", "FFFFFF")
_VERSIONS = ("0.4", "0.5")
#: what images from such files have in their metadata, and is made anew
OWN_METADATA = ("OME-Zarr", "Zarr", "channel_names")
#: the attribute for what OME has no place for
ATTRIBUTE = "zarnik"
_ARCHIVES = (".zip", ".ozx")


def losses(image: Any) -> list[str]:
    """Return what of an image cannot be held: all but a unit has a place, in attributes of our own if need be."""
    return []


def write(
    path: str,
    image: Any,
    progress: Callable[[int, int], None],
    *,
    version: str = "0.5",
    chunks: Sequence[int] | Mapping[str, int] | None = None,
    shards: Sequence[int] | Mapping[str, int] | None = None,
    compression: str | Mapping[str, Any] | None = "zstd",
    levels: bool | int = True,
    method: str | None = None,
    name: str | None = None,
    empty: bool = False,
) -> None:
    """Write an image, as the format's `save` takes it."""
    if version not in _VERSIONS:
        raise _classes.InvalidArgument(f"version {version!r} is none of {', '.join(_VERSIONS)}")
    if path.lower().endswith(_ARCHIVES):
        if empty:
            raise _classes.NotImplemented("nothing can be written into an archive later: a folder takes regions")
        folder = path + ".folder"
        try:
            _Writer(folder, image, version, levels, method, name).write(chunks, shards, compression, progress, empty)
            _pack(folder, path)
        finally:
            _atomic.remove(folder)
        return
    _Writer(path, image, version, levels, method, name).write(chunks, shards, compression, progress, empty)


class _Writer:
    def __init__(
        self, path: str, image: Any, version: str, levels: bool | int, method: str | None, name: str | None
    ) -> None:
        self._path, self._image, self._version, self._name = path, image, version, name
        axes = image.axes
        if axes is None or len(axes) != len(image.shape):
            raise _classes.NotImplemented("the axes of the image are unknown: rename_axes names them")
        if "X" not in axes or "Y" not in axes:
            raise _classes.NotImplemented(f"OME-Zarr has axes Y and X, the image has {axes!r}")
        if image.dtype.kind == "c":
            raise _classes.NotImplemented(f"OME-Zarr holds no elements of {image.dtype}")
        self._axes = "".join(letter for letter in _ORDER if letter in axes)
        self._places = [axes.index(letter) for letter in self._axes]
        self._shapes = _pyramid.shapes([image.shape[place] for place in self._places], self._axes, "ZYX", levels)
        self._nearest = _pyramid.is_nearest(image, method)

    def write(
        self, chunks: Any, shards: Any, compression: Any, progress: Callable[[int, int], None], empty: bool
    ) -> None:
        import zarr

        form = 3 if self._version == "0.5" else 2
        group = zarr.open_group(self._path, mode="w", zarr_format=form)  # type: ignore[arg-type,unused-ignore]
        dtype = self._image.dtype
        chunk = self._sizes(chunks, _CHUNK if "Z" in self._axes else _CHUNK_OF_PICTURE, "chunks")
        shard = None if shards is None else self._sizes(shards, dict(zip(self._axes, chunk)), "shards")
        if shard is not None and (form == 2 or any(size % part for size, part in zip(shard, chunk))):
            raise _classes.InvalidArgument(
                f"shards of {shard} are no multiples of chunks of {chunk}" if form == 3 else "version 0.4 has no shards"
            )
        arrays = []
        for level, shape in enumerate(self._shapes):
            fitting = [min(size, max(extent, 1)) for size, extent in zip(chunk, shape)]
            options: dict[str, Any] = {"compressors": _codec(compression, form)}
            if form == 3:
                options["dimension_names"] = list(self._axes.lower())
                if shard is not None:
                    # A shard reaches as far as it takes for whole chunks.
                    whole = [math.ceil(min(s, e) / f) * f for s, e, f in zip(shard, shape, fitting)]
                    options["shards"] = tuple(whole)
            else:
                options["chunk_key_encoding"] = {"name": "v2", "separator": "/"}
            array = group.create_array(
                str(level), shape=shape, dtype=dtype, chunks=tuple(fitting), fill_value=0, overwrite=True, **options
            )
            arrays.append(array)
        group.attrs.update(self._attributes())
        total = sum(math.prod(shape) for shape in self._shapes) * dtype.itemsize
        progress(0, total)
        done = 0
        source: Callable[[tuple[slice, ...]], Any] = self._read
        for level, array in enumerate(arrays if not empty else ()):
            for key in blocks(array):
                part = numpy.ascontiguousarray(source(key))
                array[key] = part
                done += part.nbytes
                progress(done, total)
            if level + 1 < len(arrays):
                source = Halved(self._path, str(level), form, self._shapes[level + 1], self._nearest).read

    def _sizes(self, given: Any, usual: Mapping[str, int], what: str) -> tuple[int, ...]:
        if given is None or isinstance(given, Mapping):
            by_letter = {str(letter).upper(): size for letter, size in (given or {}).items()}
            unknown = set(by_letter) - set(self._axes)
            if unknown:
                raise _classes.InvalidArgument(f"{what} name axes {sorted(unknown)}, the image has {self._axes!r}")
            given = [by_letter.get(letter, usual[letter]) for letter in self._axes]
        sizes = tuple(int(size) for size in given)
        if len(sizes) != len(self._axes) or any(size < 1 for size in sizes):
            raise _classes.InvalidArgument(f"{what} are {len(self._axes)} sizes of 1 or more, got {sizes}")
        return sizes

    def _read(self, key: tuple[slice, ...]) -> Any:
        whole: list[Any] = [slice(None)] * len(key)
        for place, part in zip(self._places, key):
            whole[place] = part
        return self._image[tuple(whole)].transpose(self._places)

    # ---- what is told of the image -----------------------------------------------------------------------------------

    def _attributes(self) -> dict[str, Any]:
        image = self._image
        scales: dict[str, Any] = {
            "name": self._name or os.path.basename(self._path).lstrip(".").partition(".")[0],
            "axes": [self._axis(letter) for letter in self._axes],
            "datasets": [self._dataset(level) for level in range(len(self._shapes))],
        }
        if len(self._shapes) > 1:
            scales["type"] = "nearest" if self._nearest else "mean"
        told: dict[str, Any] = {"multiscales": [scales]}
        channels = self._channels()
        if channels:
            told["omero"] = {"channels": channels}
        own: dict[str, Any] = {
            "interpretation": image.interpretation.name,
            "bit_depth": image.bit_depth,
            "value_range": list(image.value_range),
            "unit": image.unit,
        }
        if image.properties.get_image_info().get_alpha():
            own["alpha"] = True
        if not numpy.allclose(image.affine[:3, :3], numpy.diag(numpy.abs(image.spacing))):
            directions = image.directions
            own["directions"] = [list(directions.get_column_direction()), list(directions.get_row_direction())]
            own["runs_back"] = image.spacing[2] < 0
        metadata = {} if image.metadata is None else json.loads(image.metadata.to_json())
        metadata = {key: value for key, value in metadata.items() if key not in OWN_METADATA}
        if metadata:
            own["metadata"] = metadata
        if self._version == "0.4":
            scales["version"] = "0.4"
            return {**told, ATTRIBUTE: own}
        return {"ome": {"version": "0.5", **told}, ATTRIBUTE: own}

    def _axis(self, letter: str) -> dict[str, str]:
        told = {"name": letter.lower(), "type": _TYPES[letter]}
        unit = _UNITS.get(ome.unit_of(self._image.unit))
        if _TYPES[letter] == "space" and unit:
            told["unit"] = unit
        return told

    def _dataset(self, level: int) -> dict[str, Any]:
        scale, moved = [1.0] * len(self._axes), [0.0] * len(self._axes)
        finest = self._shapes[0]
        for axis, letter in enumerate(self._axes):
            if letter in "XYZ":
                by = 2**level if finest[axis] > 1 else 1
                step = abs(self._image.spacing["XYZ".index(letter)])
                first = self._image.origin["XYZ".index(letter)]
                scale[axis] = float(step * by)
                # The middle of what an element stands for; where it stands for the first one, that one.
                moved[axis] = float(first + (0 if self._nearest else (by - 1) / 2 * step))
        steps: list[dict[str, Any]] = [{"type": "scale", "scale": scale}]
        if any(moved):
            steps.append({"type": "translation", "translation": moved})
        return {"path": str(level), "coordinateTransformations": steps}

    def _channels(self) -> list[dict[str, Any]]:
        if "C" not in self._axes:
            return []
        count = self._shapes[0][self._axes.index("C")]
        names = self._image.channel_names or []
        low, high = self._image.value_range
        window = {"min": low, "max": high, "start": low, "end": high}
        return [
            {
                "label": names[place] if place < len(names) else str(place),
                "color": _COLOURS[place % len(_COLOURS)] if count > 1 else "FFFFFF",
                "window": window,
                "active": True,
            }
            for place in range(count)
        ]


def rebuild_levels(path: str, method: str | None, progress: Callable[[int, int], None]) -> None:
    """Compute the coarser levels of an image anew, each from the one before."""
    import zarr

    group = zarr.open_group(path, mode="r+")
    attributes = dict(group.attrs)
    told: Any = attributes.get("ome", attributes)
    if not isinstance(told, dict) or not told.get("multiscales"):
        raise _classes.Error(f"{path!r} is no image of OME-Zarr")
    scales = told["multiscales"][0]
    if method not in (None, "mean", "nearest"):
        raise _classes.InvalidArgument(f"method {method!r} is neither 'mean' nor 'nearest'")
    nearest = (method or scales.get("type")) == "nearest"
    names = [str(dataset["path"]) for dataset in scales["datasets"]]
    total, done = sum(group[name].nbytes for name in names[1:]), 0  # type: ignore[union-attr,unused-ignore]
    progress(0, total)
    for finer, coarser in zip(names, names[1:]):
        array: Any = group[coarser]
        source = Halved(path, finer, group.metadata.zarr_format, array.shape, nearest)
        for key in blocks(array):
            part = source.read(key)
            array[key] = part
            done += part.nbytes
            progress(done, total)


def blocks(array: Any) -> Iterator[tuple[slice, ...]]:
    """Go over an array in pieces of whole chunks, or shards, of some MiB."""
    unit = list(getattr(array, "shards", None) or array.chunks)
    size = math.prod(unit) * array.dtype.itemsize
    for axis in reversed(range(len(unit))):
        count = max(1, min(_BLOCK_BYTES // max(size, 1), math.ceil(array.shape[axis] / unit[axis])))
        unit[axis] *= count
        size *= count
    places = [range(0, extent, step) for extent, step in zip(array.shape, unit)]
    for place in itertools.product(*places):
        yield tuple(
            slice(first, min(first + step, extent)) for first, step, extent in zip(place, unit, array.shape)
        )  # fmt: skip


class Halved:
    """The next level of one that is written: each region by the elements that it stands for."""

    def __init__(self, folder: str, path: str, form: int, shape: Sequence[int], nearest: bool) -> None:
        _, self._tiles = open_array(FolderStore(folder), path, form)
        self._steps = [2 if extent != size else 1 for extent, size in zip(self._tiles.shape, shape)]
        self._nearest = nearest

    def read(self, key: tuple[slice, ...]) -> Any:
        """Return a region of the level."""
        wider = tuple(
            slice(part.start * step, min(part.stop * step, extent))
            for part, step, extent in zip(key, self._steps, self._tiles.shape)
        )
        return _pyramid.halved(self._tiles[wider], self._steps, self._nearest)


def _codec(compression: Any, form: int) -> Any:
    if compression is None:
        return None
    told = {"name": compression} if isinstance(compression, str) else dict(compression)
    name = told.pop("name", told.pop("id", None))
    if form == 2:
        import numcodecs

        kinds: dict[Any, Any] = {"zstd": numcodecs.Zstd, "blosc": numcodecs.Blosc, "gzip": numcodecs.GZip}
    else:
        import zarr.codecs

        kinds = {"zstd": zarr.codecs.ZstdCodec, "blosc": zarr.codecs.BloscCodec, "gzip": zarr.codecs.GzipCodec}
    if name not in kinds:
        raise _classes.InvalidArgument(f"compression {name!r} is none of {', '.join(kinds)}")
    return kinds[name](**told)


def _pack(folder: str, path: str) -> None:
    """Put a hierarchy into an archive, its descriptions first, nothing compressed twice."""
    import zipfile

    names = [
        os.path.relpath(os.path.join(place, name), folder) for place, _, files in os.walk(folder) for name in files
    ]  # fmt: skip
    names.sort(key=lambda name: (os.path.basename(name) not in ("zarr.json", ".zattrs", ".zgroup", ".zarray"), name))
    with zipfile.ZipFile(path, "w", zipfile.ZIP_STORED) as archive:
        for name in names:
            archive.write(os.path.join(folder, name), name.replace(os.sep, "/"))
