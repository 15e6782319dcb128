"""TIFF, OME-TIFF and ImageJ's stacks, by tifffile."""

from __future__ import annotations

import itertools
import math
import operator
import os
import threading
import weakref
from collections.abc import Iterator, Sequence
from typing import Any

import numpy

import zarnik._classes as _classes
from zarnik import _direct
from zarnik._access import open_random, views_of_parts
from zarnik._formats import _elements, ome
from zarnik._tiles import TiledArray, stamp_of
from zarnik.plugins import Format, Series, Source, image_of

_HEADS = (b"II*\0", b"MM\0*", b"II+\0", b"MM\0+", b"IIU\0")
# What stands for an axis that nobody named, and what others are called here: the first that is free.
_PLACES = {"S": "C"}
_ANY_PLACE = "ZTC"
# Strips are decoded together up to so many bytes.
_STRIP_BYTES = 1 << 18
_UNITS_IN_MM = {2: 25.4, 3: 10.0}  # ResolutionUnit: inch, centimetre
# By the number of a photometric interpretation: what it is here, and of how many samples.
_INTERPRETATIONS = {2: "RGB", 5: "CMYK", 6: "YCC", 8: "CIE_LAB"}
_SAMPLES = {2: 3, 5: 4, 6: 3, 8: 3}
_MOST_SPLIT = 1000
# Of each of thousands of pages.
_OFFSETS_OF, _COUNTS_OF = map(operator.attrgetter, ("dataoffsets", "databytecounts"))
_BYTE_ORDERS: dict[str, Any] = {"<": "little", ">": "big"}


class Tiff(Format):
    """Read: `axes` names the axes of the file, for one that does not tell them. Series and pyramids are found."""

    name = "TIFF"
    suffixes = (".ome.tif", ".ome.tiff", ".ome.tf2", ".ome.tf8", ".ome.btf", ".tif", ".tiff", ".tf8", ".btf")
    extra = "tiff"
    requires = ("tifffile",)
    can_write = True
    can_update = True

    def recognizes(self, source: Source) -> bool:
        return source.head[:4] in _HEADS

    def open(self, source: Source, *, axes: str | None = None) -> list[Series]:  # type: ignore[override]
        """Open the series of a file.

        :param axes: The axes of the file, such as "TZYX", if it does not tell them or tells others.
        """
        return list(_File(source, axes).series())

    def save(  # type: ignore[override]
        self,
        path: str,
        image: Any,
        *,
        progress: Any,
        compression: str | None = None,
        tile: int | tuple[int, int] | None = None,
        levels: bool | int = False,
        method: str | None = None,
        bigtiff: bool | None = None,
    ) -> None:
        """Write an image.

        :param compression: Such as "zlib", "zstd", "lzw", "jpeg"; tiles are compressed on several threads.
        :param tile: Rows and columns of a tile, multiples of 16, or one number for both; by default 256 where there is
            compression, levels or a plane of more than 64 MiB, else none: then NumPy can share the memory of the file.
        :param levels: How many levels of detail, each of half the rows and columns of the one before; True for as many
            as it takes until no side is longer than 256.
        :param method: "mean" or "nearest", by which levels are made; by default nearest for labels and binary images.
        :param bigtiff: Whether offsets have 64 bits; by default where 32 may not be enough.
        """
        from zarnik._formats import tiff_writer

        tiff_writer.write(
            path, image, progress, compression=compression, tile=tile, levels=levels, method=method, bigtiff=bigtiff
        )

    def losses(self, image: Any, **options: Any) -> list[str]:
        from zarnik._formats.tiff_writer import losses

        return losses(image)


class _File:
    """An open file with what all of its series need."""

    def __init__(self, source: Source, axes: str | None) -> None:
        import tifffile

        self._source = source
        self._axes = axes
        self._lock = threading.Lock()
        self._accesses: dict[Any, tuple[Any, int]] = {}
        file = source.path or source.file()
        self._file = tifffile.TiffFile(file, name=None if source.path else source.name or None)
        # Levels that are opened later need the file, which is closed with the last of them.
        weakref.finalize(self, self._file.close)
        self._found = self._file.series
        self._require_all_pages()
        self._ome = ome.Description.of(self._file.ome_metadata if self._file.is_ome else None)
        self._identity = _elements.identity_of(source) if source.path is not None else _entity_of(source)

    def _require_all_pages(self) -> None:
        # Where the pages of a file that was cut end early, the library below takes those that are left for all.
        file, form, last = self._file.filehandle, self._file.tiff, self._file.pages[-1]
        if form.is_ndpi:  # whose offsets are put together from two places
            return
        file.seek(last.offset)
        tags = int.from_bytes(file.read(form.tagnosize), _BYTE_ORDERS[form.byteorder])
        file.seek(last.offset + form.tagnosize + tags * form.tagsize)
        following = int.from_bytes(file.read(form.offsetsize), _BYTE_ORDERS[form.byteorder])
        if following >= file.size:
            raise _classes.Error(
                f"{self._source.name!r} is cut: its next page is at byte {following}, it has {file.size} bytes"
            )

    def series(self) -> Iterator[Series]:
        for place, found in enumerate(self._found):
            yield from self._parts(place, found)

    def _parts(self, place: int, found: Any) -> Iterator[Series]:
        """One series, or several where the file has axes for which an image has no place."""
        levels = [_Level(self, level, (place, number)) for number, level in enumerate(found.levels)]
        named, split = self._named_axes(levels[0])

        def metadata() -> dict[str, Any]:
            return self._metadata(place, found)

        told = {"kind": found.kind, "tiles": levels[0].tile_shape, "file_axes": levels[0].axes}
        choices = [range(levels[0].shape[axis]) for axis in split]
        if math.prod(map(len, choices)) > _MOST_SPLIT:
            raise _classes.Error(
                f"axes {levels[0].axes!r} are more than an image has, and the shape is {levels[0].shape}: "
                "open it with axes= of your own"
            )
        for chosen in itertools.product(*choices):
            marks = [f"{levels[0].axes[axis]}={index}" for axis, index in zip(split, chosen)]
            picked = dict(zip(split, chosen))
            makers = [
                (lambda level=level, picked=picked, number=number: self._image(
                    place, level, levels[0], named, picked, metadata if number == 0 else None
                ))
                for number, level in enumerate(levels)
            ]  # fmt: skip
            yield Series(" ".join([found.name, *marks]).strip() or None, makers, told)

    def _named_axes(self, level: _Level) -> tuple[str, list[int]]:
        """The axes as an image has them, a blank for each that has no place, and where those are."""
        given = (self._axes or level.axes).upper()
        if len(given) != len(level.shape):
            raise _classes.InvalidArgument(
                f"axes {given!r} name {len(given)} axes, the file has {len(level.shape)}: its shape is {level.shape}"
            )
        result = [letter if letter in "TZYXC" and given.count(letter) == 1 else "" for letter in given]
        for place, letter in enumerate(given):
            if not result[place]:
                wanted = _PLACES.get(letter, _ANY_PLACE)
                result[place] = next((free for free in wanted if free not in result), " ")
        return "".join(result), [place for place, letter in enumerate(result) if letter == " "]

    def _image(self, place: int, level: _Level, finest: _Level, named: str, picked: Any, metadata: Any) -> Any:
        array = level.array()
        if picked:
            key = tuple(picked.get(axis, slice(None)) for axis in range(len(level.shape)))
            array = array[key] if isinstance(array, numpy.ndarray) else _Picked(array, picked)
        axes = named.replace(" ", "")
        described = self._calibration(place, axes, level)
        if metadata is None:
            described.pop("channel_names", None)
        if level is not finest:
            ratios = {letter: _ratio(one, other) for letter, one, other in zip(named, finest.shape, level.shape)}
            coarser = [ratios.get(letter, 1.0) for letter in "XYZ"]
            spacing = described.pop("spacing", None) or (1.0, 1.0, 1.0)
            origin = described.pop("origin", None) or (0.0, 0.0, 0.0)
            # The centre of an element is that of the finer ones which it stands for.
            described["origin"] = [first + (by - 1) / 2 * step for first, by, step in zip(origin, coarser, spacing)]
            described["spacing"] = [by * step for by, step in zip(coarser, spacing)]
        return image_of(array, axes, metadata=metadata, **described)

    def _calibration(self, place: int, axes: str, level: _Level) -> dict[str, Any]:
        page = level.keyframe
        told: dict[str, Any] = {}
        image = self._ome.image(place)
        if image is not None:
            told = image.calibration()
        elif self._file.is_imagej:
            told = _imagej_calibration(self._file.imagej_metadata or {}, self._file.pages.first)
        elif page.resolutionunit in _UNITS_IN_MM:
            x, y = page.get_resolution()
            millimetres = _UNITS_IN_MM[page.resolutionunit]
            if x > 0 and y > 0 and math.isfinite(millimetres / x) and math.isfinite(millimetres / y):
                told = {"spacing": (millimetres / x, millimetres / y, 1.0), "unit": "mm"}
        if "C" not in axes and told.get("channel_names"):
            told["channel_names"] = told["channel_names"][:1]
        bits = page.bitspersample
        if told.get("bit_depth") is None and isinstance(bits, int) and 0 < bits < page.dtype.itemsize * 8:
            told["bit_depth"] = bits
        photometric, samples = int(page.photometric), page.samplesperpixel
        if samples == _SAMPLES.get(photometric) and "S" in level.axes:
            told["interpretation"] = _INTERPRETATIONS[photometric]
        elif photometric == 2 and samples == 4 and "S" in level.axes:
            told |= {"interpretation": "RGB", "alpha": True}
        return {name: value for name, value in told.items() if value is not None}

    def _metadata(self, place: int, found: Any) -> dict[str, Any]:
        file = self._file
        tree: dict[str, Any] = {"TIFF": _tags_of(found.keyframe)}
        if file.is_ome:
            tree["OME"] = self._ome.tree()
        if file.is_imagej:
            tree["ImageJ"] = file.imagej_metadata or {}
        if file.is_shaped:
            tree["shaped"] = (file.shaped_metadata or ({},) * (place + 1))[place]
        return tree

    def access(self, page: Any) -> tuple[Any, int]:
        """The bytes of the file that a page is in, and how many: OME-TIFF may spread over the files of a folder."""
        found = self._accesses.get(page.parent)
        if found is None:
            with self._lock:
                found = self._accesses.get(page.parent)
                if found is None:
                    access = self._opened(page)
                    found = self._accesses[page.parent] = access, len(access)
        return found

    def _opened(self, page: Any) -> Any:
        name, main = page.parent.filehandle.path, self._file.filehandle.path
        if page.parent is self._file or name == main:
            return self._source.access()
        if self._source.path is None or os.path.dirname(os.path.realpath(name)) != os.path.dirname(
            os.path.realpath(main)
        ):
            raise _classes.Error(f"{main!r} refers to {name!r}, which is not in its folder")
        return open_random(name)

    @property
    def source(self) -> Source:
        return self._source

    def identity(self, series: Any, place: tuple[int, int]) -> Any:
        """What tells a level of a series from all others, None if nothing does."""
        if self._identity is None or not series.is_multifile:
            return self._identity and (self._identity, place)
        names = {page.parent.filehandle.path for page in series._pages if page is not None}
        stamps = tuple(stamp_of(name) for name in sorted(names))
        return None if None in stamps else (self._identity, place, stamps)

    @property
    def byte_order(self) -> str:
        return str(self._file.byteorder)


class _Level:
    """One level of a series: where its tiles are, in a grid over the axes that are longer than 1, and Y and X."""

    def __init__(self, file: _File, series: Any, place: tuple[int, int]) -> None:
        self._file = file
        self._series = series
        self._place = place
        self.keyframe = page = series.keyframe
        full, axes = series.get_shape(False), series.get_axes(False)
        kept = [axis for axis, size in enumerate(full) if size != 1 or axes[axis] in "YX"]
        self.shape = tuple(int(full[axis]) for axis in kept)
        self.axes = "".join(axes[axis] for axis in kept)
        # separate samples, depth, length, width, samples of a pixel
        self._page_shape = tuple(int(size) for size in page.shaped)
        self._page_axes = [axis for axis in range(5) if self._page_shape[axis] != 1 or axis in (2, 3)]
        inner = tuple(self._page_shape[axis] for axis in self._page_axes)
        lead = len(self.shape) - len(inner)
        self._lead = self.shape[: max(lead, 0)]
        self._fits = (
            lead >= 0
            and self.shape[lead:] == inner
            and (math.prod(self._lead) <= len(series._pages) or series.dataoffset is not None)
            and series.transform is None
        )
        self._tile = self._page_tile(page)
        self.tile_shape = (1,) * len(self._lead) + tuple(self._tile[axis] for axis in self._page_axes)
        if not self._fits:
            self.tile_shape = self.shape

    def _page_tile(self, page: Any) -> tuple[int, int, int, int, int]:
        _, _, length, width, samples = self._page_shape
        if page.is_tiled:
            self._strips = 1
            return 1, page.tiledepth, page.tilelength, page.tilewidth, samples
        rows = max(1, min(page.rowsperstrip, length))
        strip = max(1, rows * width * samples * (self._series.dtype.itemsize if self._series.dtype else 1))
        # Strips of few rows are decoded several at a time.
        self._strips = max(1, min(_STRIP_BYTES // strip, math.ceil(length / rows)))
        self._rows = rows
        return 1, 1, self._strips * rows, width, samples

    def array(self) -> Any:
        mapped = self._mapped()
        if mapped is not None:
            return mapped
        if self._file.source.mode != "r":
            raise _classes.NotImplemented("only uncompressed TIFF of this machine's byte order is written in place")
        if self._series.dtype is None:
            raise _classes.Error(f"elements of {self.keyframe.bitspersample} bits cannot be read")
        dtype = self._series.dtype.newbyteorder("=")
        if not self._fits:
            return TiledArray(self.shape, dtype, self.shape, lambda index, fetched: self._whole(dtype))
        if self._series.dataoffset is not None and self._is_plain():
            return self._rows_of_one_piece(dtype)
        # Made once, before threads ask for them.
        self._decode = self.keyframe.decode
        self._is_jpeg = self.keyframe.compression in (6, 7, 34892, 33007)
        self._page_steps, self._segment_steps = self._strides()
        nodata = self.keyframe.nodata
        return TiledArray(
            self.shape,
            dtype,
            self.tile_shape,
            self._decoded,
            identity=self._file.identity(self._series, self._place),
            waits=False,
            fill_value=nodata if numpy.can_cast(numpy.min_scalar_type(nodata), dtype) else 0,
            fetch=self._fetched,
            is_far=self._file.source.path is None,
        )

    def _is_plain(self) -> bool:
        """Whether the elements in the file are those of an array."""
        dtype = self._series.dtype
        return dtype.kind in "uif" and dtype.itemsize * 8 == self.keyframe.bitspersample

    def _rows_of_one_piece(self, dtype: Any) -> TiledArray:
        """What is one piece of a file that cannot be mapped: some rows are a tile."""
        (access, _), offset = self._file.access(self._series._pages[0]), self._series.dataoffset
        stored = dtype.newbyteorder(self._file.byte_order)
        axis = len(self._lead) + self._page_axes.index(2)
        row = math.prod(self.shape[axis + 1 :])
        rows = max(1, min(self.shape[axis], _STRIP_BYTES // (row * dtype.itemsize)))
        outer = self.shape[:axis]

        def decode(index: tuple[int, ...], fetched: Any) -> Any:
            first = index[axis] * rows
            count = min(rows, self.shape[axis] - first)
            before = int(numpy.ravel_multi_index(index[:axis], outer)) if outer else 0
            place = offset + (before * self.shape[axis] + first) * row * dtype.itemsize
            read = access.read(place, count * row * dtype.itemsize)
            return numpy.frombuffer(read, stored).reshape((1,) * axis + (count, *self.shape[axis + 1 :]))

        chunks = (*(1 for _ in outer), rows, *self.shape[axis + 1 :])
        identity = self._file.identity(self._series, self._place)
        return TiledArray(self.shape, dtype, chunks, decode, identity=identity)

    def _whole(self, dtype: Any) -> Any:
        return self._series.asarray().reshape(self.shape).astype(dtype, copy=False)

    # ---- without decoding --------------------------------------------------------------------------------------------

    def _mapped(self) -> Any:
        """An array over the mapped file, whose pages NumPy shares; None if it has to be decoded."""
        file, pages = self._file, self._series._pages
        dtype = self._series.dtype
        if file.source.path is None or self._series.is_multifile or not self._fits or dtype is None:
            return None
        if not self._is_plain():
            return None
        stored = dtype.newbyteorder(file.byte_order)
        offset, steps = self._page_offsets(pages)
        # All in one piece of one page, as ImageJ writes it.
        if offset is None and len(pages) == 1:
            offset = self._series.dataoffset
        if offset is None:
            return None
        size = os.path.getsize(file.source.path)
        count = math.prod(self.shape)
        inner = count // max(1, math.prod(self._lead)) * dtype.itemsize
        step = steps if steps is not None else inner
        end = offset + (math.prod(self._lead) - 1) * step + inner
        if count == 0 or end > size:
            raise _classes.Error(f"the elements end at byte {end}, the file has {size} bytes")
        part = numpy.frombuffer(_elements.memory_of(file.source), numpy.uint8, end - offset, offset)
        if steps is None:
            return part.view(stored).reshape(self.shape)
        inside = numpy.ndarray(self.shape[len(self._lead) :], stored, part)
        outer = [step * math.prod(self._lead[axis + 1 :]) for axis in range(len(self._lead))]
        return numpy.ndarray(self.shape, stored, part, 0, (*outer, *inside.strides))

    def _page_offsets(self, pages: Sequence[Any]) -> tuple[int | None, int | None]:
        """Where the first page is and how far the next ones are apart, if each is one piece and the steps are equal."""
        if not self.keyframe.is_contiguous or len(pages) != math.prod(self._lead) or None in pages:
            return None, None
        starts, counts = list(map(_OFFSETS_OF, pages)), list(map(_COUNTS_OF, pages))
        has_one = set(map(len, starts)) == set(map(len, counts)) == {1}
        if not has_one and not all(map(_is_one_piece, starts, counts)):
            return None, None
        offsets = [start[0] for start in starts]
        steps = set(map(operator.sub, offsets[1:], offsets)) or {0}
        return (offsets[0], steps.pop()) if len(steps) == 1 and min(steps) >= 0 else (None, None)

    # ---- by decoding -------------------------------------------------------------------------------------------------

    def _strides(self) -> tuple[list[int], list[int]]:
        """How many pages, and how many segments of a page, one step along each axis of the grid of tiles is."""
        _, depth, length, width, _ = self._page_shape
        if self.keyframe.is_tiled:
            _, tile_depth, tile_length, tile_width, _ = self._tile
            down, across = math.ceil(length / tile_length), math.ceil(width / tile_width)
            within = [math.ceil(depth / tile_depth) * down * across, down * across, across, 1, 0]
        else:
            strips = math.ceil(length / self._rows)
            within = [depth * strips, strips, self._strips, 0, 0]
        pages = [math.prod(self._lead[axis + 1 :]) for axis in range(len(self._lead))]
        return pages, [0] * len(pages) + [within[axis] for axis in self._page_axes]

    def _segments(self, indices: list[tuple[int, ...]]) -> Iterator[tuple[tuple[int, ...], Any, Sequence[int]]]:
        """Each tile that the file does not leave out: its index, the page that it is in, its segments there."""
        pages, together = self._series._pages, self._strips
        for index in indices:
            number = sum(map(operator.mul, index, self._page_steps))
            page = pages[number] if number < len(pages) else None
            if page is None:
                continue
            first = sum(map(operator.mul, index, self._segment_steps))
            if together == 1:
                yield index, page, (first,)
            else:
                strips = math.ceil(self._page_shape[2] / self._rows)
                yield index, page, range(first, min(first + together, (first // strips + 1) * strips))

    def _fetched(self, indices: list[tuple[int, ...]]) -> dict[tuple[int, ...], Any]:
        """For each tile that the file does not leave out its page, its segments there, and the bytes of those."""
        wanted: dict[Any, list[Any]] = {}
        asked: list[Any] = []
        found = []
        file, size = None, 0
        for index, page, segments in self._segments(indices):
            if page.parent is not file:
                file = page.parent
                access, size = self._file.access(page)
                asked = wanted.setdefault(access, [])
            offsets, counts = page.dataoffsets, page.databytecounts
            if segments[-1] >= min(len(offsets), len(counts)):
                raise _classes.Error(f"segment {segments[-1]} is missing, the page has {len(offsets)}")
            found.append((index, page, segments, asked, len(asked)))
            for segment in segments:
                offset, count = offsets[segment], counts[segment]
                if offset < 0 or count < 0 or offset + count > size:
                    raise _classes.Error(f"{count} bytes at {offset} exceed the {size} bytes of the file")
                asked.append((offset, count))
        for access, parts in wanted.items():
            parts[:] = views_of_parts(access, parts)
        return {
            index: (page, segments, parts[first : first + len(segments)])
            for index, page, segments, parts, first in found
        }

    def _decoded(self, index: tuple[int, ...], fetched: Any) -> Any:
        if fetched is None:
            fetched = self._fetched([index]).get(index)
        if fetched is None:
            return None
        page, segments, stored = fetched
        options: dict[str, Any] = {"_fullsize": False}
        if self._is_jpeg:
            options |= {"jpegtables": page.jpegtables, "jpegheader": self.keyframe.jpegheader}
        decode = self._decode
        if len(segments) == 1:
            whole = decode(stored[0] or None, segments[0], **options)[0]
        else:
            pieces = [decode(data or None, segment, **options)[0] for data, segment in zip(stored, segments)]
            has_some = any(piece is not None for piece in pieces)
            whole = numpy.concatenate(list(self._completed(pieces, segments)), axis=1) if has_some else None
        if whole is None:
            return None
        # depth, length, width, samples: those axes of them that the array has
        kept = [whole.shape[axis - 1] if axis else 1 for axis in self._page_axes]
        return whole.reshape((1,) * len(self._lead) + tuple(kept))

    def _completed(self, pieces: Sequence[Any], segments: Sequence[int]) -> Iterator[Any]:
        """Strips of a page, those that the file leaves out too."""
        length = self._page_shape[2]
        for piece, segment in zip(pieces, segments):
            first = segment % math.ceil(length / self._rows) * self._rows
            shape = 1, min(self._rows, length - first), self._tile[3], self._tile[4]
            yield numpy.full(shape, self.keyframe.nodata, self._series.dtype) if piece is None else piece


def _entity_of(source: Source) -> Any:
    """What tells a file of a server from what else may have its address, None if the server does not say that."""
    version = _direct.http_version(source.access())
    # A weak tag, or a time, stays the same for what is nearly the same.
    is_exact = version is not None and version.endswith('"') and ", W/" not in version
    return ("HTTP", source.url, version) if is_exact else None


def _is_one_piece(offsets: Sequence[int], counts: Sequence[int]) -> bool:
    """Whether segments at some offsets, of so many bytes, follow each other."""
    return len(offsets) == len(counts) > 0 and all(
        offset + count == after for offset, count, after in zip(offsets, counts, offsets[1:])
    )


class _Picked:
    """An array with an index along some axes, which it does not have any more."""

    def __init__(self, array: TiledArray, picked: dict[int, int]) -> None:
        self._array = array
        self._picked = picked
        self._axes = [axis for axis in range(len(array.shape)) if axis not in picked]
        self.dtype = array.dtype
        self.shape = tuple(array.shape[axis] for axis in self._axes)
        self.chunks = tuple(array.chunks[axis] for axis in self._axes)

    def read_into(self, origin: Sequence[int], out: Any) -> None:
        whole = [self._picked.get(axis, 0) for axis in range(len(self._array.shape))]
        for axis, first in zip(self._axes, origin):
            whole[axis] = first
        self._array.read_into(whole, numpy.expand_dims(out, tuple(self._picked)))

    def __getitem__(self, key: Any) -> Any:
        full: list[Any] = [
            slice(place, place + 1) for place in (self._picked.get(a, 0) for a in range(len(self._array.shape)))
        ]
        for axis, part in zip(self._axes, key):
            full[axis] = part
        return numpy.squeeze(self._array[tuple(full)], tuple(self._picked))


def _ratio(finest: int, size: int) -> float:
    """How many elements of the finest level one of a level stands for: a whole number where that fits."""
    ratio = finest / max(size, 1)
    whole = max(round(ratio), 1)
    return float(whole) if abs(finest - whole * size) < whole else ratio


def _imagej_calibration(told: dict[str, Any], page: Any) -> dict[str, Any]:
    unit = ome.unit_of(str(told.get("unit", "")))
    x, y = page.get_resolution()
    z = told.get("spacing", 1.0)
    steps = [1 / x if x > 0 else 1.0, 1 / y if y > 0 else 1.0, z if isinstance(z, (int, float)) and z else 1.0]
    labels = told.get("Labels")
    channels = told.get("channels", 1)
    names = labels[:channels] if isinstance(labels, list) and channels > 1 and len(labels) == channels else None
    return {"spacing": steps, "unit": unit or None, "channel_names": names}


def _tags_of(page: Any) -> dict[str, Any]:
    """What the tags of a page tell but where its elements are."""
    hidden = {"StripOffsets", "StripByteCounts", "TileOffsets", "TileByteCounts", "SubIFDs", "ColorMap"}
    told: dict[str, Any] = {}
    for tag in page.tags.values():
        if tag.name not in hidden and tag.count < 1 << 16:
            value = tag.value
            told[tag.name] = value.name if hasattr(value, "name") and hasattr(value, "value") else value
    colours = page.colormap
    if colours is not None:
        told["ColorMap"] = colours.tolist()
    return told
