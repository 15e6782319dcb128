"""OME-Zarr 0.1 to 0.5, and plain arrays of Zarr 2 and 3, in folders, archives, on servers and elsewhere."""

from __future__ import annotations

import json
from collections.abc import Iterator, Mapping, Sequence
from typing import Any

import zarnik._classes as _classes
from zarnik._formats import ome
from zarnik._formats.zarr_array import open_array, open_writable
from zarnik._formats.zarr_store import FolderStore, Store, ZipStore, store_of
from zarnik._formats.zarr_writer import ATTRIBUTE
from zarnik.plugins import Format, Series, Source, image_of

_ARCHIVES = (b"PK\x03\x04", b"PK\x05\x06")
_LETTERS = {
    "x": "X", "y": "Y", "z": "Z", "t": "T", "c": "C", "s": "C", "time": "T", "channel": "C", "channels": "C",
    "band": "C", "lon": "X", "longitude": "X", "lat": "Y", "latitude": "Y", "column": "X", "row": "Y", "slice": "Z",
    "col": "X", "depth": "Z", "rgb": "C", "samples": "C", "sample": "C",
}  # fmt: skip
_KINDS = {"time": "T", "channel": "C"}
_MOST_IMAGES = 4096


class Zarr(Format):
    """Groups of images with levels and labels, and arrays with the names of their dimensions."""

    name = "OME-Zarr"
    suffixes = (".ome.zarr", ".zarr", ".ome.zarr.zip", ".zarr.zip", ".ozx")
    extra = "zarr"
    requires = ("zarr",)
    can_write = True
    can_update = True
    can_be_empty = True

    def recognizes(self, source: Source) -> bool:
        if source.is_folder:
            return FolderStore(source.path or "").has_root()
        is_named = source.name.lower().endswith(self.suffixes)
        if source.url is not None and (is_named or not source.head or source.head.lstrip()[:1] == b"<"):
            if source.name.lower().endswith((".zip", ".ozx")):
                return source.head[:4] in _ARCHIVES
            return store_of(source).has_root()
        return source.head[:4] in _ARCHIVES and ZipStore(source).has_root()

    def open(  # type: ignore[override]
        self, source: Source, *, axes: str | None = None, whole_chunks: bool = True
    ) -> list[Series]:
        """Open the images of a hierarchy.

        :param axes: The axes of the arrays, such as "TZYX", if they do not tell them.
        :param whole_chunks: With mode "r+", whether regions that cut chunks, or shards, are refused. Regions of whole
            ones may be written by many processes at once. False is for the only writer.
        """
        folder = None
        if source.mode != "r":
            if not source.is_folder:
                raise _classes.NotImplemented("of Zarr only a local folder is written in place")
            folder = source.path
        found = list(_Hierarchy(store_of(source), axes, folder, whole_chunks).images(""))
        if len(found) > _MOST_IMAGES:
            raise _classes.Error(f"{source.name!r} has more than {_MOST_IMAGES} images")
        return found

    def save(  # type: ignore[override]
        self,
        path: str,
        image: Any,
        *,
        progress: Any,
        version: str = "0.5",
        chunks: Sequence[int] | Mapping[str, int] | None = None,
        shards: Sequence[int] | Mapping[str, int] | None = None,
        compression: str | Mapping[str, Any] | None = "zstd",
        levels: bool | int = True,
        method: str | None = None,
        name: str | None = None,
        empty: bool = False,
    ) -> None:
        """Write an image.

        :param version: "0.5", which is Zarr 3, or "0.4", which is Zarr 2.
        :param chunks: Elements of a chunk along each axis, in the order T, C, Z, Y, X as far as the image has them, or
            by letters, {"z": 64}; by default 32 x 256 x 256 of Z, Y, X.
        :param shards: Elements of a shard, a file of several chunks, likewise; by default each chunk is one.
            Of version 0.5.
        :param compression: "zstd", "blosc", "gzip", or None; or the configuration of a codec, such as
            {"name": "blosc", "cname": "lz4", "clevel": 5}.
        :param levels: How many levels of detail, each of half the size of the one before along X, Y and Z; True for as
            many as it takes until no side is longer than 256.
        :param method: "mean" or "nearest", by which levels are made; by default nearest for labels and binary images.
        :param name: The name of the image.
        :param empty: Whether no element is written, so that others fill in the regions: `zarnik.open(path, mode="r+")`.
        """
        from zarnik._formats import zarr_writer

        zarr_writer.write(
            path,
            image,
            progress,
            version=version,
            chunks=chunks,
            shards=shards,
            compression=compression,
            levels=levels,
            method=method,
            name=name,
            empty=empty,
        )

    def losses(self, image: Any, **options: Any) -> list[str]:
        from zarnik._formats import zarr_writer

        return zarr_writer.losses(image)


class _Hierarchy:
    def __init__(self, store: Store, axes: str | None, folder: str | None, whole_chunks: bool) -> None:
        self._store = store
        self._axes = axes
        self._folder = folder
        self._whole_chunks = whole_chunks
        self._seen = 0

    def array(self, path: str, version: int) -> tuple[Any, Any]:
        """The array at a path as the zarr package has it, and what its elements are read from, or written to."""
        array, tiles = open_array(self._store, path, version)
        if self._folder is None:
            return array, tiles
        return array, open_writable(self._folder, path, version, self._whole_chunks)

    def _node(self, path: str) -> tuple[int, str, dict[str, Any]]:
        """The version of what lies at a path, whether it is a "group" or an "array", and its attributes."""
        prefix = f"{path}/" if path else ""
        told = self._store.json(prefix + "zarr.json")
        if told is not None:
            attributes = told.get("attributes") if isinstance(told, dict) else None
            return 3, str(told.get("node_type")), attributes if isinstance(attributes, dict) else {}
        attributes = self._store.json(prefix + ".zattrs")
        is_array = self._store.get(prefix + ".zarray") is not None
        if not is_array and attributes is None and self._store.get(prefix + ".zgroup") is None:
            raise _classes.Error(f"{self._store.where!r} has neither a group nor an array at {path!r}")
        return 2, "array" if is_array else "group", attributes if isinstance(attributes, dict) else {}

    def images(self, path: str, name: str | None = None) -> Iterator[Series]:
        """Go over the images at a path and below."""
        self._seen += 1
        if self._seen > 2 * _MOST_IMAGES:
            raise _classes.Error(f"{self._store.where!r} has too many groups to be listed")
        version, kind, attributes = self._node(path)
        if kind == "array":
            yield self._plain(path, name, version, attributes)
            return
        ome_told = attributes.get("ome")
        told = ome_told if isinstance(ome_told, dict) else attributes
        if told.get("multiscales"):
            yield from self._multiscales(path, name, version, told, attributes)
            return
        for below, what in self._below(path, told):
            yield from self.images(below, what)

    def _below(self, path: str, told: Any) -> Iterator[tuple[str, str]]:
        prefix = f"{path}/" if path else ""
        if isinstance(told.get("plate"), dict):
            for well in _dicts(told["plate"].get("wells")):
                place = str(well.get("path"))
                _, _, attributes = self._node(prefix + place)
                told_of_well = attributes.get("ome", attributes).get("well", {})
                for field in _dicts(told_of_well.get("images")):
                    yield f"{prefix}{place}/{field.get('path')}", f"{place}/{field.get('path')}"
            return
        if "bioformats2raw.layout" in told:
            number = 0
            while True:
                try:
                    self._node(f"{prefix}{number}")
                except _classes.Error:
                    return
                yield f"{prefix}{number}", str(number)
                number += 1
        names = self._store.names(path)
        if names is None:
            consolidated = self._consolidated(path)
            if consolidated is None:
                raise _classes.Error(f"{self._store.where!r} is a group whose members cannot be listed: add their path")
            names = consolidated
        for name in names:
            if name.startswith(".") or name == "zarr.json":
                continue
            try:
                self._node(prefix + name)
            except _classes.Error:
                continue
            yield prefix + name, (prefix + name)

    def _consolidated(self, path: str) -> list[str] | None:
        """The names of a group's members where its description lists them."""
        prefix = f"{path}/" if path else ""
        told = self._store.json(prefix + "zarr.json")
        listed = (told.get("consolidated_metadata") or {}).get("metadata") if isinstance(told, dict) else None
        if not isinstance(listed, dict):
            told = self._store.json(prefix + ".zmetadata")
            listed = told.get("metadata") if isinstance(told, dict) else None
        if not isinstance(listed, dict):
            return None
        hidden = (".zgroup", ".zattrs", ".zarray", ".zmetadata")
        return sorted({key.partition("/")[0] for key in listed if key not in hidden})

    # ---- arrays alone ------------------------------------------------------------------------------------------------

    def _plain(self, path: str, name: str | None, version: int, attributes: dict[str, Any]) -> Series:
        array, tiles = self.array(path, version)
        names = getattr(array.metadata, "dimension_names", None) or attributes.get("_ARRAY_DIMENSIONS")
        axes = self._axes or _axes_of(names, len(tiles.shape))

        def make() -> Any:
            return image_of(tiles, axes, metadata=(lambda: {"Zarr": attributes}) if attributes else None)

        return Series(name, [make], _told(array, version, None))

    # ---- images with levels ------------------------------------------------------------------------------------------

    def _multiscales(
        self, path: str, name: str | None, version: int, told: Any, attributes: dict[str, Any], label: bool = False
    ) -> Iterator[Series]:
        for place, scales in enumerate(_dicts(told["multiscales"])):
            datasets = _dicts(scales.get("datasets"))
            if not datasets:
                raise _classes.Error(f"{self._store.where!r}: the image at {path!r} has no levels")
            title = name if name is not None else (str(scales.get("name") or "") or None)
            described = _Description(scales, told.get("omero"), self._axes)
            makers = [
                _Maker(self, path, version, described, level, attributes, label) for level in range(len(datasets))
            ]
            array, tiles = makers[0].array()
            described.check(len(tiles.shape))
            ome_version = scales.get("version") or told.get("version")
            series = Series(title if place == 0 else f"{title} {place}", makers, _told(array, version, ome_version))
            series.is_secondary = label
            yield series
        if not label:
            yield from self._labels(path)

    def _labels(self, path: str) -> Iterator[Series]:
        prefix = f"{path}/labels" if path else "labels"
        try:
            version, _, attributes = self._node(prefix)
        except _classes.Error:
            return
        listed = attributes.get("ome", attributes).get("labels")
        for name in listed if isinstance(listed, list) else ():
            try:
                version, _, below = self._node(f"{prefix}/{name}")
            except _classes.Error:
                continue
            told = below.get("ome", below)
            if isinstance(told, dict) and told.get("multiscales"):
                yield from self._multiscales(f"{prefix}/{name}", f"{prefix}/{name}", version, told, below, label=True)


class _Maker:
    """Opens one level when it is asked for."""

    def __init__(
        self, of: _Hierarchy, path: str, version: int, described: _Description, level: int, attributes: Any, label: bool
    ) -> None:
        self._of, self._path, self._version = of, path, version
        self._described, self._level, self._attributes = described, level, attributes
        self._is_label = label
        self._opened: Any = None

    def array(self) -> Any:
        if self._opened is None:
            inside = str(self._described.datasets[self._level].get("path"))
            path = f"{self._path}/{inside}" if self._path else inside
            self._opened = self._of.array(path, self._version)
        return self._opened

    def __call__(self) -> Any:
        _, tiles = self.array()
        self._described.check(len(tiles.shape))
        told = self._described.calibration(self._level)
        if self._is_label:
            told["interpretation"] = "LABEL"
        own = self._own(told)
        if self._level > 0:
            return image_of(tiles, self._described.axes, **told)
        if "C" in self._described.axes:
            told["channel_names"] = self._described.channel_names

        def metadata() -> dict[str, Any]:
            return {**own, "OME-Zarr": {key: value for key, value in self._attributes.items() if key != ATTRIBUTE}}

        return image_of(tiles, self._described.axes, metadata=metadata, **told)

    def _own(self, told: dict[str, Any]) -> dict[str, Any]:
        """Add what we told ourselves when we wrote it, and return the metadata."""
        own = self._attributes.get(ATTRIBUTE)
        if not isinstance(own, dict):
            return {}
        for name in ("interpretation", "bit_depth", "value_range", "alpha", "directions"):
            if name in own and not (name == "interpretation" and self._is_label):
                told[name] = own[name]
        if own.get("unit") and "unit" not in told:
            told["unit"] = str(own["unit"])
        if own.get("runs_back"):
            told["spacing"][2] = -told["spacing"][2]
        metadata = own.get("metadata")
        return _classes.MetadataNode.from_json(json.dumps(metadata)).to_dict() if isinstance(metadata, dict) else {}


class _Description:
    """What the attributes say of an image and its levels."""

    def __init__(self, scales: dict[str, Any], omero: Any, axes: str | None) -> None:
        self.datasets = _dicts(scales.get("datasets"))
        self._outer = scales.get("coordinateTransformations")
        named = scales.get("axes") or [{"name": letter} for letter in "tczyx"]
        self._named = [axis if isinstance(axis, dict) else {"name": axis} for axis in named]
        names = [_KINDS.get(str(axis.get("type")), str(axis.get("name"))) for axis in self._named]
        self.axes = axes or _axes_of(names, len(names)) or ""
        channels = _dicts(omero.get("channels")) if isinstance(omero, dict) else []
        labels = [channel.get("label") for channel in channels]
        self.channel_names = [str(label or place) for place, label in enumerate(labels)] if any(labels) else None
        self._windows = _dicts([channel.get("window") for channel in channels])

    def check(self, rank: int) -> None:
        if rank != len(self.axes) or rank != len(self._named):
            raise _classes.Error(f"the axes {self.axes!r} are not those of an array of {rank} dimensions")

    def calibration(self, level: int) -> dict[str, Any]:
        rank = len(self.axes)
        scale, moved = _transformation(self.datasets[level].get("coordinateTransformations"), rank)
        outer_scale, outer_moved = _transformation(self._outer, rank)
        spacing, origin = [1.0] * 3, [0.0] * 3
        units = {
            letter: ome.unit_of(str(axis.get("unit") or "")) for letter, axis in zip(self.axes, self._named)
        }  # fmt: skip
        unit = next((units[letter] for letter in "XYZ" if units.get(letter)), "")
        for axis, letter in enumerate(self.axes):
            if letter in "XYZ":
                by = ome.scale_of(units[letter], unit)
                spacing["XYZ".index(letter)] = by * scale[axis] * outer_scale[axis]
                origin["XYZ".index(letter)] = by * (moved[axis] * outer_scale[axis] + outer_moved[axis])
        told: dict[str, Any] = {"spacing": spacing, "origin": origin}
        if unit:
            told["unit"] = unit
        bounds = [_number(window.get(name)) for window in self._windows for name in ("min", "max")]
        known = [bound for bound in bounds if bound is not None]
        if known and len(known) == len(bounds) and min(known) < max(known):
            told["value_range"] = (min(known), max(known))
        return told


def _transformation(steps: Any, rank: int) -> tuple[list[float], list[float]]:
    """The scale and the translation along each axis that transformations amount to.

    :raises Error: if there are others, or they do not fit.
    """
    scale, moved = [1.0] * rank, [0.0] * rank
    for step in _dicts(steps):
        kind = step.get("type")
        values = step.get(str(kind))
        if kind == "identity":
            continue
        if kind not in ("scale", "translation") or not isinstance(values, list) or len(values) != rank:
            raise _classes.Error(f"the transformation {step} is no scale or translation of {rank} axes")
        numbers = [_number(value) for value in values]
        if None in numbers or (kind == "scale" and 0.0 in numbers):
            raise _classes.Error(f"the transformation {step} has numbers that are none of a {kind}")
        if kind == "scale":
            scale = [one * float(other or 0) for one, other in zip(scale, numbers)]
            moved = [one * float(other or 0) for one, other in zip(moved, numbers)]
        else:
            moved = [one + float(other or 0) for one, other in zip(moved, numbers)]
    return scale, moved


def _number(value: Any) -> float | None:
    number = float(value) if isinstance(value, (int, float)) and not isinstance(value, bool) else None
    return number if number is not None and abs(number) < float("inf") else None


def _dicts(entries: Any) -> list[dict[str, Any]]:
    return [entry for entry in entries if isinstance(entry, dict)] if isinstance(entries, list) else []


def _axes_of(names: Sequence[Any] | None, rank: int) -> str | None:
    """The axes by the names of dimensions; None where they do not tell, so that their number decides."""
    if not isinstance(names, (list, tuple)) or len(names) != rank:
        return None
    letters = [name if str(name) in ("T", "C") else _LETTERS.get(str(name).lower(), "") for name in names]
    letters = [letter if letter and letters.count(letter) == 1 else "" for letter in letters]
    for place, letter in enumerate(letters):
        if not letter:
            # What nobody knows is the next axis that is free, those within a picture last.
            letters[place] = next((free for free in "TZCYX" if free not in letters), "")
    return "".join(letters) if all(letters) else None


def _told(array: Any, version: int, ome_version: Any) -> dict[str, Any]:
    told: dict[str, Any] = {"zarr_format": version, "chunks": tuple(array.chunks), "file_shape": tuple(array.shape)}
    if getattr(array, "shards", None):
        told["shards"] = tuple(array.shards)
    if ome_version:
        told["ome_version"] = str(ome_version)
    return told
