"""Images as OME-TIFF, written block by block."""

from __future__ import annotations

import contextlib
import itertools
import math
import os
from collections.abc import Callable, Iterator, Sequence
from typing import Any

import numpy

import zarnik._classes as _classes
from zarnik import _pyramid
from zarnik._enumerations import ImageInterpretation
from zarnik._formats import ome

_ORDER = "TCZYX"
# Planes that are larger are written in tiles.
_PLANE_BYTES = 64 << 20
_STRIP_BYTES = 4 << 20
_TILE = 256
# What is beyond needs offsets of 64 bits.
_CLASSIC_BYTES = (1 << 32) - (1 << 25)
_OME_TYPES = ["uint8", "int8", "uint16", "int16", "uint32", "int32", "float32", "float64", "complex64", "complex128"]
_UNITS = ("m", "cm", "mm", "µm", "nm", "pm", "Å", "in", "km", "")
_COLOURS = (ImageInterpretation.RGB, ImageInterpretation.SRGB)
_KEPT_METADATA = {"TIFF", "OME", "ImageJ", "shaped", "channel_names"}


def losses(image: Any) -> list[str]:
    """Return what of an image OME-TIFF cannot hold."""
    found = []
    if not numpy.allclose(image.affine[:3, :3] / image.spacing, numpy.eye(3)):
        found.append("the directions of its axes")
    if image.unit and ome.unit_of(image.unit) not in _UNITS:
        found.append(f"the unit {image.unit!r}")
    others = [key for key in (image.metadata.keys() if image.metadata is not None else ()) if key not in _KEPT_METADATA]
    if others:
        found.append(f"the metadata {', '.join(map(repr, others))}")
    if image.interpretation in (ImageInterpretation.LABEL, ImageInterpretation.BINARY):
        found.append(f"the interpretation {image.interpretation.name}")
    return found


def write(
    path: str,
    image: Any,
    progress: Callable[[int, int], None],
    *,
    compression: str | None = None,
    tile: int | tuple[int, int] | None = None,
    levels: bool | int = False,
    method: str | None = None,
    bigtiff: bool | None = None,
) -> None:
    """Write an image, as the format's `save` takes it."""
    import tifffile

    stack = _Stack(image)
    if tile is None and (compression or levels or stack.plane_bytes > _PLANE_BYTES):
        tile = _TILE
    size = None if tile is None else _tile_size(tile)
    halving = "YX"
    shapes = _pyramid.shapes(stack.shape, stack.axes, halving, levels)
    total = sum(math.prod(shape) for shape in shapes) * stack.dtype.itemsize
    options: dict[str, Any] = {
        "dtype": stack.dtype,
        "photometric": "rgb" if stack.is_colour else "minisblack",
        "compression": compression,
        "tile": size,
        "software": "zarnik",
    }
    if stack.is_colour:
        options["planarconfig"] = "contig"
    if compression in ("zlib", "deflate", "zstd", "lzw") and stack.dtype.kind in "iu" and stack.dtype.itemsize <= 4:
        options["predictor"] = True
    metadata: dict[str, Any] | None = stack.metadata()
    done = 0

    def report(count: int) -> None:
        nonlocal done
        done += count
        progress(done, total)

    progress(0, total)
    with contextlib.ExitStack() as on_exit:
        big = total > _CLASSIC_BYTES if bigtiff is None else bigtiff
        file = on_exit.enter_context(tifffile.TiffWriter(path, bigtiff=big, ome=True))
        source: Callable[[tuple[slice, ...]], Any] = stack.read
        nearest = _pyramid.is_nearest(image, method)
        for level, shape in enumerate(shapes):
            coarser = None
            if level + 1 < len(shapes):
                coarser = on_exit.enter_context(_Scratch(os.path.dirname(path), shapes[level + 1], stack.dtype))
            blocks = _Blocks(source, shape, stack, size, coarser, nearest, report)
            if level == 0:
                options["subifds"] = len(shapes) - 1 or None
            else:
                options |= {"subifds": None, "subfiletype": 1}
                metadata = None
            rows = None if size else blocks.rows
            file.write(
                iter(blocks), shape=shape, rowsperstrip=rows, metadata=metadata,
                **{name: value for name, value in options.items() if value is not None},
            )  # fmt: skip
            if coarser is not None:
                source = coarser.array.__getitem__


class _Stack:
    """An image as pages: axes T, C, Z, Y, X, and S where a pixel has colours."""

    def __init__(self, image: Any) -> None:
        self._image = image
        axes = image.axes
        if axes is None:
            raise _classes.NotImplemented("the axes of the image are unknown: rename_axes names them")
        if len(axes) != len(image.shape):
            raise _classes.NotImplemented("TIFF has no place for both the channels and the components of pixels")
        for missing in "XY":
            if missing not in axes:
                raise _classes.NotImplemented(f"a TIFF has axes Y and X, the image has {axes!r}")
        self.dtype = image.dtype
        if str(self.dtype) not in _OME_TYPES:
            raise _classes.NotImplemented(f"OME-TIFF holds no elements of {self.dtype}, but {', '.join(_OME_TYPES)}")
        channels = image.shape[axes.index("C")] if "C" in axes else 0
        is_rgb = image.interpretation in _COLOURS and self.dtype.kind == "u"
        self.is_colour = is_rgb and channels == 3 + image.properties.get_image_info().get_alpha()
        self.axes = "".join(letter for letter in _ORDER if letter in axes and not (letter == "C" and self.is_colour))
        if self.is_colour:
            self.axes += "S"
        self._places = [axes.index("C" if letter == "S" else letter) for letter in self.axes]
        self.shape = tuple(image.shape[place] for place in self._places)
        if 0 in self.shape:
            raise _classes.NotImplemented(f"a TIFF has at least one element, the shape is {self.shape}")
        self.plane_bytes = math.prod(self.shape[self.axes.index("Y") :]) * self.dtype.itemsize

    def read(self, key: tuple[slice, ...]) -> Any:
        """Return a part, in the order of the axes here."""
        whole: list[Any] = [slice(None)] * len(self.shape)
        for place, part in zip(self._places, key):
            whole[place] = part
        return self._image[tuple(whole)].transpose(self._places)

    def metadata(self) -> dict[str, Any]:
        """What OME's XML is made of."""
        image = self._image
        told: dict[str, Any] = {"axes": self.axes}
        unit = ome.unit_of(image.unit)
        known = unit in _UNITS and bool(unit)
        steps = numpy.abs(image.spacing)
        if known or any(step != 1 for step in steps):
            for letter, step in zip("XYZ", steps):
                told[f"PhysicalSize{letter}"] = float(step)
                told[f"PhysicalSize{letter}Unit"] = unit if known else "reference frame"
        if any(image.origin):
            count = math.prod(size for letter, size in zip(self.axes, self.shape) if letter in "TCZ")
            told["Plane"] = {}
            for letter, first in zip("XYZ", image.origin):
                told["Plane"][f"Position{letter}"] = [float(first)] * count
                told["Plane"][f"Position{letter}Unit"] = [unit if known else "reference frame"] * count
        names = image.channel_names
        if names and not self.is_colour and "C" in self.axes:
            told["Channel"] = {"Name": names}
        if image.bit_depth < self.dtype.itemsize * 8 and self.dtype.kind in "iu":
            told["SignificantBits"] = image.bit_depth
        return told


class _Scratch:
    """A level before it is written, in a file without a name."""

    def __init__(self, folder: str, shape: Sequence[int], dtype: Any) -> None:
        import tempfile

        self._file = tempfile.TemporaryFile(dir=folder)  # noqa: SIM115  closed with the level
        self._file.truncate(math.prod(shape) * dtype.itemsize)
        self.array = numpy.memmap(self._file, dtype, "r+", shape=tuple(shape))

    def __enter__(self) -> _Scratch:
        return self

    def __exit__(self, *error: Any) -> None:
        del self.array
        self._file.close()


class _Blocks:
    """The tiles or strips of a level in the order of the file; the next level is made of them on the way."""

    def __init__(
        self, source: Any, shape: tuple[int, ...], stack: _Stack, size: Any, coarser: Any, nearest: bool, report: Any
    ) -> None:
        self._source, self._shape, self._size = source, shape, size
        self._coarser, self._nearest, self._report = coarser, nearest, report
        self._row_axis = stack.axes.index("Y")
        length = shape[self._row_axis]
        row_bytes = math.prod(shape[self._row_axis + 1 :]) * stack.dtype.itemsize
        #: of a strip, or of what is read at once
        self.rows = size[0] if size else max(1, min(length, _STRIP_BYTES // max(row_bytes, 1)))

    def __iter__(self) -> Iterator[Any]:
        lead = self._shape[: self._row_axis]
        for place in itertools.product(*map(range, lead)):
            page = tuple(slice(index, index + 1) for index in place)
            for first in range(0, self._shape[self._row_axis], self.rows):
                rows = slice(first, min(first + self.rows, self._shape[self._row_axis]))
                block: Any = numpy.ascontiguousarray(self._source((*page, rows)))
                if self._coarser is not None:
                    self._make_coarser(page, first, block)
                # Whoever writes asks for no more than there is: nothing would be told after the last one.
                self._report(block.nbytes)
                band = block.reshape(block.shape[self._row_axis :])
                if self._size is None:
                    yield band.tobytes()
                else:
                    for column in range(0, band.shape[1], self._size[1]):
                        yield numpy.ascontiguousarray(band[:, column : column + self._size[1]])

    def _make_coarser(self, page: tuple[slice, ...], first: int, block: Any) -> None:
        steps = [1] * len(self._shape)
        for axis in (self._row_axis, self._row_axis + 1):
            steps[axis] = 2 if self._shape[axis] > 1 else 1
        part = _pyramid.halved(block, steps, self._nearest)
        begin = first // 2
        at = (*page, slice(begin, begin + part.shape[self._row_axis]))
        self._coarser.array[at] = part


def _tile_size(tile: int | tuple[int, int]) -> tuple[int, int]:
    rows, columns = (tile, tile) if isinstance(tile, int) else tile
    if rows < 16 or columns < 16 or rows % 16 or columns % 16:
        raise _classes.InvalidArgument(f"rows and columns of a tile are multiples of 16, got {rows} and {columns}")
    return rows, columns
