"""Series of DICOM files, through pydicom."""

from __future__ import annotations

import io
import math
import os
import struct
import warnings
from collections.abc import Iterator, Sequence
from functools import lru_cache
from hashlib import blake2b
from typing import Any

import numpy

import zarnik._classes as _classes
from zarnik import _direct
from zarnik._enumerations import ImageInterpretation
from zarnik._formats import _elements
from zarnik._spatial import cross
from zarnik._tiles import TiledArray
from zarnik._types import as_data_type
from zarnik.plugins import Format, Series, Source, image_of

# How many files of a folder are looked at to tell whether it has series.
_LOOKED_AT = 64
# What is read of a file at once for its header: pydicom asks at each element where it is, which asks the system.
_BEGINNING = 1 << 16
_DAMAGES = (EOFError, ValueError, KeyError, TypeError, OSError)
# Sizes of elements that go into the metadata, in bytes.
_MOST_VALUE = 1024
# Compressed pixels that become more than so many times as long are none.
_MOST_RATIO = 5000
# How far positions may be from a regular grid, as a part of the distance between two of them.
_IRREGULAR = 0.01
_TILT = 1e-3
_PIXELS = {0x7FE00010: "iu", 0x7FE00008: "f4", 0x7FE00009: "f8"}
_DEFLATED, _BIG_ENDIAN = "1.2.840.10008.1.2.1.99", "1.2.840.10008.1.2.2"
# What all images of a volume share.
_SHARED = ("Rows", "Columns", "SamplesPerPixel", "BitsAllocated", "PixelRepresentation", "PhotometricInterpretation")


class DICOM(Format):
    """Images of a file, or of a folder or list of files, in which each series is a volume, in millimetres."""

    name = "DICOM"
    suffixes = (".dcm", ".dicom", ".ima")
    extra = "dicom"
    requires = ("pydicom",)

    def recognizes(self, source: Source) -> bool:
        if source.files is not None:
            return bool(source.files) and _is_dicom(source.files[0])
        if source.is_folder:
            files = _files_in(str(source.path))
            return any(_is_dicom(path) for _, path in zip(range(_LOOKED_AT), files))
        return _begins_as_dicom(source.head, source.name)

    def open(self, source: Source, *, scaled: bool = True, strict: bool = True) -> list[Series]:  # type: ignore[override]
        """Open all series, their images sorted by position.

        Files of a folder and of those within it that are no images of DICOM are left out; in a list they are errors.

        :param scaled: Whether values are what the rescale slope and intercept make of them; the stored ones if not.
        :param strict: Whether images of a series that are no regular grid are an error; with a warning they are put
            one behind the other if not.
        """
        return [_series(images, scaled, strict) for images in _by_series(_read(source))]


# ---- finding ---------------------------------------------------------------------------------------------------------


def _begins_as_dicom(head: bytes, name: str) -> bool:
    if head[128:132] == b"DICM":
        return True
    # Without a preamble: an element of the group 8 or 2 whose length fits.
    if len(head) < 8 or head[:4] not in (b"\x08\0\0\0", b"\x08\0\5\0", b"\x08\0\x08\0", b"\x02\0\0\0", b"\x08\0\x16\0"):
        return False
    return head[4:6].isalpha() or name.lower().endswith(DICOM.suffixes)


def _is_dicom(path: str) -> bool:
    try:
        with open(path, "rb") as file:
            return _begins_as_dicom(file.read(132), path)
    except OSError:
        return False


def _files_in(folder: str) -> Iterator[str]:
    for place, folders, names in os.walk(folder):
        folders.sort()
        yield from (os.path.join(place, name) for name in sorted(names) if name.upper() != "DICOMDIR")


class _File:
    """The header of a file, and where its pixels are."""

    def __init__(self, source: Source) -> None:
        self.source = source
        self.name = source.name
        self._values: dict[str, Any] = {}
        self.offset, self.length, self.kind = 0, 0, ""
        with source.file() as file:
            start = file.read(_BEGINNING)
            try:
                if not _begins_as_dicom(start, self.name):
                    raise ValueError("nothing of that begins there")
                if len(start) < _BEGINNING or not self._is_whole(start):
                    self._parse(file if len(start) == _BEGINNING else io.BytesIO(start))
            except _DAMAGES as error:
                raise _classes.Error(f"{self.name!r} is no DICOM, or cut: {error}") from error
        # As they were read: pydicom's own look-up checks each tag anew.
        self._elements = dict(self.header.items())
        if not self.kind and self.syntax == _DEFLATED:
            self.kind = "iu"  # within what is compressed as a whole

    def _is_whole(self, start: bytes) -> bool:
        """Whether the header, up to the pixels, is all in the beginning of a file."""
        try:
            self._parse(io.BytesIO(start))
        except Exception:
            return False  # as a part of a file may be, and then the file itself is not
        return bool(self.kind) and self.offset <= len(start)

    def _parse(self, file: Any) -> None:
        import pydicom

        file.seek(0)
        try:
            self.header = pydicom.dcmread(file, stop_before_pixels=True, force=True)
        except pydicom.errors.InvalidDicomError as error:
            raise ValueError(str(error)) from error
        self.syntax = getattr(getattr(self.header, "file_meta", None), "TransferSyntaxUID", None)
        self.offset, self.length, self.kind = self._pixels(file)
        # What it was read from is kept by pydicom 3.
        if getattr(self.header, "buffer", None) is not None:
            self.header.buffer = None

    def _pixels(self, file: Any) -> tuple[int, int, str]:
        """Where the values of the pixels begin, how many bytes they are, and of which kind."""
        place = file.tell()
        start = file.read(12)
        order: Any = "big" if self.syntax == _BIG_ENDIAN else "little"
        group, element = (int.from_bytes(start[at : at + 2], order) for at in (0, 2))
        kind = _PIXELS.get(group << 16 | element, "")
        if not kind or len(start) < 8:
            return 0, 0, ""
        if start[4:6] in (b"OB", b"OW", b"OF", b"OD", b"UN"):
            return place + 12, int.from_bytes(start[8:12], order), kind
        return place + 8, int.from_bytes(start[4:8], order), kind

    def get(self, keyword: str, usual: Any = None) -> Any:
        """The value of an attribute, looked up once: a volume asks each of its planes for the same ones."""
        if keyword not in self._values:
            tag = _tag_of(keyword)
            element = self._elements.get(tag)
            self._values[keyword] = None if element is None else _value_in(self.header, tag, element)
        value = self._values[keyword]
        return usual if value is None or value == "" else value

    @property
    def is_native(self) -> bool:
        """Whether samples lie in the file as they are."""
        return self.syntax is None or str(self.syntax) in (
            "1.2.840.10008.1.2",
            "1.2.840.10008.1.2.1",
            _BIG_ENDIAN,
        )

    @property
    def shape(self) -> tuple[int, ...]:
        samples = int(self.get("SamplesPerPixel", 1))
        size = (int(self.get("Rows", 0)), int(self.get("Columns", 0)))
        return (*size, samples) if samples > 1 else size

    @property
    def dtype(self) -> numpy.dtype[Any]:
        if self.kind != "iu":
            return numpy.dtype(self.kind)
        bits = int(self.get("BitsAllocated", 16))
        if bits == 1:
            return numpy.dtype(numpy.uint8)
        if bits not in (8, 16, 32, 64):
            raise _classes.Error(f"{self.name!r} has {bits} bits a sample, allowed are 1, 8, 16, 32 and 64")
        return numpy.dtype(f"{'i' if int(self.get('PixelRepresentation', 0)) else 'u'}{bits // 8}")

    @property
    def stored_dtype(self) -> numpy.dtype[Any]:
        return self.dtype.newbyteorder(">" if self.syntax == _BIG_ENDIAN else "<")

    def check(self) -> None:
        """:raises Error: if there cannot be as many pixels as the header tells."""
        frames = int(self.get("NumberOfFrames", 1))
        if min(self.shape) < 1 or frames < 1:
            raise _classes.Error(f"{self.name!r} has {frames} images of shape {self.shape}")
        count = math.prod(self.shape) * frames
        bits = 1 if int(self.get("BitsAllocated", 16)) == 1 and self.kind == "iu" else self.dtype.itemsize * 8
        there = _elements.size_of(self.source) - self.offset
        halves = 2 if self.get("PhotometricInterpretation") == "YBR_FULL_422" else 1
        wanted = count * bits // 8 // halves if halves == 1 else count * bits // 8 * 2 // 3
        if self.is_native and (wanted > there or wanted > self.length):
            raise _classes.Error(
                f"{self.name!r} is cut, or its header wrong: {frames} images of shape {self.shape} are {wanted} bytes,"
                f" there are {min(there, self.length)}"
            )
        if not self.is_native and wanted > max(_elements.size_of(self.source), 1024) * _MOST_RATIO:
            raise _classes.Error(f"{self.name!r} cannot hold {frames} images of shape {self.shape}")


@lru_cache(maxsize=256)
def _tag_of(keyword: str) -> Any:
    from pydicom.tag import Tag

    return Tag(keyword)


def _value_of(header: Any, keyword: str) -> Any:
    """What `header.get(keyword)` gives, in plain types where that is a number or a text, and in a tenth of the time."""
    tag = _tag_of(keyword)
    element = header.get_item(tag) if tag in header else None
    return None if element is None else _value_in(header, tag, element)


def _value_in(header: Any, tag: Any, element: Any) -> Any:
    if getattr(element, "is_raw", True):
        value = _parsed(element)
        return header[tag].value if value is _UNPARSED else value
    return element.value


def _read(source: Source) -> list[_File]:
    if source.files is None and not source.is_folder:
        found = [_File(source)]
        if not found[0].kind:
            kind = found[0].header.get("SOPClassUID") or found[0].get("Modality")
            raise _classes.Error(f"{source.name!r} has no pixels{f', it is {_name_of(kind)}' if kind else ''}")
        return found
    is_list = source.files is not None
    found, left_out = [], 0
    for path in source.files if source.files is not None else _files_in(str(source.path)):
        try:
            file = _File(Source(path))
            if not file.kind:
                raise _classes.Error(f"{path!r} has no pixels")
        except _classes.Error:
            if is_list:
                raise
            left_out += 1
            continue
        found.append(file)
    if not found:
        raise _classes.Error(f"{source.name!r} has no images of DICOM: {left_out} files are none")
    return found


def _name_of(kind: Any) -> str:
    return str(getattr(kind, "name", kind))


def _by_series(files: list[_File]) -> list[list[_File]]:
    groups: dict[str, list[_File]] = {}
    for file in files:
        groups.setdefault(str(file.get("SeriesInstanceUID", "")), []).append(file)
    return list(groups.values())


# ---- putting together ------------------------------------------------------------------------------------------------


class _Frame:
    """One plane: where it is, and what its values stand for."""

    def __init__(self, file: _File, index: int, count: int) -> None:
        self.file, self.index = file, index
        groups = _groups(file, index)
        self.position = _numbers(_of(groups, "PlanePositionSequence", "ImagePositionPatient"), 3)
        self.orientation = _numbers(_of(groups, "PlaneOrientationSequence", "ImageOrientationPatient"), 6)
        self.spacing = _numbers(_of(groups, "PixelMeasuresSequence", "PixelSpacing"), 2)
        self.distance = _number(_of(groups, "PixelMeasuresSequence", "SpacingBetweenSlices"))
        if self.distance is None and count > 1:
            self.distance = _number(_of(groups, "PixelMeasuresSequence", "SliceThickness"))
        self.slope = _number(_of(groups, "PixelValueTransformationSequence", "RescaleSlope"))
        self.intercept = _number(_of(groups, "PixelValueTransformationSequence", "RescaleIntercept"))
        if self.slope is None and file.get("Modality") == "RTDOSE":
            self.slope = _number(file.get("DoseGridScaling"))
        if self.spacing is None:
            for keyword in ("ImagerPixelSpacing", "NominalScannedPixelSpacing"):
                self.spacing = self.spacing or _numbers(file.get(keyword), 2)
        offsets = file.get("GridFrameOffsetVector")
        if count > 1 and offsets is not None and len(offsets) == count and self.position and self.orientation:
            normal = numpy.array(cross(self.orientation[:3], self.orientation[3:]))
            start = float(offsets[index]) - (0 if float(offsets[0]) == 0 else float(offsets[0]))
            self.position = (numpy.array(self.position) + start * normal).tolist()
        elif count > 1 and not groups[1]:
            self.position = None

    @property
    def order(self) -> tuple[float, ...]:
        """The order of images that are at one place."""
        return tuple(
            _number(self.file.get(keyword)) or 0.0
            for keyword in ("TemporalPositionIdentifier", "AcquisitionNumber", "TriggerTime", "InstanceNumber")
        )


def _groups(file: _File, index: int) -> list[Any]:
    """Where an attribute of a frame may be: the file itself, that frame's items, and those that all share."""
    groups: list[Any] = [file]
    for keyword, place in (("PerFrameFunctionalGroupsSequence", index), ("SharedFunctionalGroupsSequence", 0)):
        items = file.get(keyword)
        groups.append(items[place] if items is not None and len(items) > place else None)
    return groups


def _of(groups: list[Any], sequence: str, keyword: str) -> Any:
    for group in groups[1:]:
        items = None if group is None else _value_of(group, sequence)
        value = _value_of(items[0], keyword) if items else None
        if value is not None:
            return value
    return groups[0].get(keyword)


def _numbers(values: Any, count: int) -> Any:
    try:
        numbers = [float(value) for value in values]
    except (TypeError, ValueError):
        return None
    return numbers if len(numbers) == count and all(map(math.isfinite, numbers)) else None


def _number(value: Any) -> float | None:
    try:
        number = float(value)
    except (TypeError, ValueError):
        return None
    return number if math.isfinite(number) else None


def _series(files: list[_File], scaled: bool, strict: bool) -> Series:
    first = files[0]
    name = str(first.get("SeriesDescription") or first.get("SeriesInstanceUID") or first.name)
    number = first.get("SeriesNumber")
    info = {
        "modality": str(first.get("Modality", "")),
        "series_uid": str(first.get("SeriesInstanceUID", "")),
        "series_number": None if number is None else int(number),
        "files": len(files),
    }
    made: list[Any] = []

    def make() -> Any:
        if not made:
            made.append(_Volume(files, name, strict).image(scaled))
        return made[0]

    return Series(name, [make], info)


class _Volume:
    """The planes of a series in their places."""

    def __init__(self, files: Sequence[_File], name: str, strict: bool) -> None:
        self.name, self.strict = name, strict
        self._check_alike(files)
        self.frames = []
        for file in files:
            count = int(file.get("NumberOfFrames", 1))
            self.frames += [_Frame(file, index, count) for index in range(count)]
        self.first = self.frames[0].file
        self.times, self.axes = 1, ""
        self.affine = self._sorted()

    def _fail(self, problem: str) -> None:
        if self.strict:
            raise _classes.Error(f"series {self.name!r} {problem}; strict=False puts the images one behind the other")
        warnings.warn(f"series {self.name!r} {problem}", UserWarning, stacklevel=8)

    def _check_alike(self, files: Sequence[_File]) -> None:
        for keyword in _SHARED if len(files) > 1 else ():
            values = {str(file.get(keyword)) for file in files}
            if len(values) > 1:
                raise _classes.Error(
                    f"series {self.name!r} has images of different {keyword}: {', '.join(sorted(values)[:4])}:"
                    " open a list of the files that belong together"
                )
        for file in files:
            file.check()

    def _sorted(self) -> Any:
        """Bring the frames into order, and return the matrix from indices to positions in LPS."""
        frames = self.frames
        first = frames[0]
        rows, columns = first.spacing or (1.0, 1.0)
        if min(rows, columns) <= 0:
            rows, columns = 1.0, 1.0
        orientation = first.orientation or [1.0, 0.0, 0.0, 0.0, 1.0, 0.0]
        if not any(cross(orientation[:3], orientation[3:])):
            self._fail(f"has directions {orientation} that are none")
            orientation = [1.0, 0.0, 0.0, 0.0, 1.0, 0.0]
        # Directions have few digits in many files: without lengths of their own the spacing is what it is.
        across, down = ([part / math.hypot(*parts) for part in parts] for parts in (orientation[:3], orientation[3:]))
        normal = numpy.array(cross(across, down))
        distance = abs(first.distance or 0) or 1.0
        position = (len(frames) == 1 and first.position) or (0.0, 0.0, 0.0)
        along_axes = zip(across, down, normal.tolist(), position)
        matrix = numpy.array(
            [[x * columns, y * rows, z * distance, at] for x, y, z, at in along_axes] + [[0.0, 0, 0, 1]]
        )
        if len(frames) == 1:
            return matrix
        if any(frame.position is None for frame in frames):
            return self._without_positions(matrix)
        for frame in frames:
            if frame.orientation is not None and not numpy.allclose(frame.orientation, orientation, atol=1e-3):
                self._fail(f"has images of different directions, {orientation} and {frame.orientation}")
                break
            if frame.spacing is not None and frame.spacing != [rows, columns]:
                self._fail(f"has images of different spacing, {[rows, columns]} and {frame.spacing} mm")
                break
        along = [float(numpy.dot(normal, frame.position)) for frame in frames]
        places = _places(along)
        by_place: dict[int, list[int]] = {}
        for index, place in enumerate(places):
            by_place.setdefault(place, []).append(index)
        counts = {len(group) for group in by_place.values()}
        if len(counts) > 1:
            self._fail(f"has {min(counts)} to {max(counts)} images at one place")
            by_place, counts = {n: [index] for n, index in enumerate(numpy.argsort(along, kind="stable").tolist())}, {1}
        self.times = counts.pop()
        for group in by_place.values():
            group.sort(key=lambda index: (frames[index].order, frames[index].index))
        order = [by_place[place] for place in sorted(by_place)]
        self.frames = [frames[group[time]] for time in range(self.times) for group in order]
        depth = len(order)
        self.axes = ("T" if self.times > 1 else "") + ("Z" if depth > 1 else "")
        start = numpy.array(self.frames[0].position)
        matrix[:3, 3] = start
        if depth > 1:
            sorted_along = [along[group[0]] for group in order]
            self._check_grid(sorted_along, start, normal, numpy.array(self.frames[depth - 1].position))
            matrix[:3, 2] = normal * ((sorted_along[-1] - sorted_along[0]) / (depth - 1) or 1.0)
        return matrix

    def _check_grid(self, along: list[float], start: Any, normal: Any, last: Any) -> None:
        gaps = numpy.diff(along)
        usual = float(numpy.median(gaps))
        worst = int(numpy.abs(gaps - usual).argmax())
        if abs(gaps[worst] - usual) > _IRREGULAR * abs(usual) + 1e-4:
            self._fail(
                f"has a gap: its images are {usual:.6g} mm apart, but those at {along[worst]:.6g} and"
                f" {along[worst + 1]:.6g} mm {gaps[worst]:.6g} mm"
            )
        whole = last - start
        aside = numpy.linalg.norm(whole - (whole @ normal) * normal)
        if aside > _TILT * abs(whole @ normal):
            self._fail(f"is tilted: from its first to its last image it moves {aside:.6g} mm aside")

    def _without_positions(self, matrix: Any) -> Any:
        header = self.first.header
        files = len({id(frame.file) for frame in self.frames})
        if len({frame.order for frame in self.frames}) < files:
            self._fail("has images without positions or numbers")
        if files > 1:
            self.frames.sort(key=lambda frame: (frame.order, frame.index))
        moments = ("FrameTime", "FrameTimeVector", "CineRate", "RecommendedDisplayFrameRate")
        self.axes = "T" if any(_value_of(header, keyword) is not None for keyword in moments) else "Z"
        self.times = len(self.frames) if self.axes == "T" else 1
        position = _numbers(_value_of(header, "ImagePositionPatient"), 3)
        if position:
            matrix[:3, 3] = position
        return matrix

    def image(self, scaled: bool) -> Any:
        first = self.first
        colour = str(first.get("PhotometricInterpretation", ""))
        palette = colour == "PALETTE COLOR" and scaled and len(first.shape) == 2
        planes = _Planes(self.frames, palette)
        sizes = {"T": self.times, "Z": len(self.frames) // self.times}
        letters = self.axes + "YX" + ("C" if len(planes.plane) == 3 else "")
        shape = (*(sizes[letter] for letter in self.axes), *planes.plane)
        array: Any = planes.mapped(shape, letters)
        maps = {(frame.slope or 1.0, frame.intercept or 0.0) for frame in self.frames}
        is_gray = len(planes.plane) == 2 and not palette
        is_mapped = scaled and is_gray and maps != {(1.0, 0.0)}
        if is_mapped and len(maps) > 1:
            planes.scale()
        if array is None:
            array = planes.array(shape, len(self.axes))
        told: dict[str, Any] = {}
        if first.kind == "iu" and is_gray and not planes.is_scaled:
            bits = min(max(int(first.get("BitsStored", planes.dtype.itemsize * 8)), 1), planes.dtype.itemsize * 8)
            is_signed = planes.dtype.kind == "i"
            low, high = (-(2.0 ** (bits - 1)), 2.0 ** (bits - 1) - 1) if is_signed else (0.0, 2.0**bits - 1)
            told = {"bit_depth": bits, "value_range": (low, high)}
            if is_mapped:
                (factors,) = maps
                image = image_of(array, letters, **told)
                array = _direct.map_linearly(image, as_data_type(_mapped_type(factors, low, high)).get_id(), *factors)
                told = {}
        known = first.get("PixelSpacing") is not None or self.frames[0].spacing is not None

        def metadata() -> dict[str, Any]:
            return {"DICOM": {**_plain(first.header), **self._varying()}}

        interpretation = ImageInterpretation.RGB if len(planes.plane) == 3 else None
        if colour.startswith("MONOCHROME"):
            interpretation = ImageInterpretation.GRAYSCALE
        return image_of(
            array,
            letters,
            affine=self.affine,
            convention="LPS",
            unit="mm" if known else "",
            interpretation=interpretation,
            metadata=metadata,
            **told,
        )

    def _varying(self) -> dict[str, Any]:
        """What differs from file to file, as lists in the order of the images."""
        files = [frame.file for frame in self.frames]
        if len(files) < 2 or len({id(file) for file in files}) < len(files):
            return {}
        headers = [dict(file.header.items()) for file in files]
        varying = {}
        for tag, element in headers[0].items():
            elements = [header.get(tag) for header in headers]
            if getattr(element, "VR", "") != "SQ" and any(_differs(element, other) for other in elements[1:]):
                varying[_keyword(tag)] = [
                    None if other is None else _readable(file.header, tag, other)
                    for file, other in zip(files, elements)
                ]
        return {"images": varying} if varying else {}


def _places(along: list[float]) -> list[int]:
    """The number of the place of each position, of which some are at the same one."""
    order = numpy.argsort(along, kind="stable")
    places = [0] * len(along)
    place = 0
    for before, index in zip(order, order[1:]):
        place += abs(along[index] - along[before]) > 1e-3
        places[index] = place
    return places


def _mapped_type(factors: tuple[float, float], low: float, high: float) -> str:
    """The smallest integers that whole numbers become, or double precision."""
    if not all(factor == round(factor) for factor in factors):
        return "float64"
    ends = [end * factors[0] + factors[1] for end in (low, high)]
    for name in ("uint8", "int8", "uint16", "int16", "int32"):
        limits = numpy.iinfo(name)
        if limits.min <= min(ends) and max(ends) <= limits.max:
            return name
    return "float64"


class _Planes:
    """Reads planes of files: the rows that are needed of what lies there as it is, whole planes of what is encoded."""

    def __init__(self, frames: list[_Frame], palette: bool) -> None:
        self.frames, self.palette = frames, palette
        first = frames[0].file
        self.plane = (*first.shape, 3) if palette else first.shape
        self.dtype = first.dtype
        if palette:
            bits = (first.get("RedPaletteColorLookupTableDescriptor") or (0, 0, 16))[2]
            self.dtype = numpy.dtype(numpy.uint8 if int(bits) == 8 else numpy.uint16)
        self.is_scaled = False
        self._is_plain = all(frame.file.is_native for frame in frames) and (
            not palette
            and len(first.shape) == 2
            and first.get("BitsAllocated", 16) != 1
            # Bytes that were written as words of the other order.
            and not (first.stored_dtype.itemsize == 1 and first.syntax == _BIG_ENDIAN)
        )

    def scale(self) -> None:
        """Let values be scaled plane by plane."""
        self.is_scaled = True
        self.dtype = numpy.dtype(numpy.float64)

    def mapped(self, shape: tuple[int, ...], letters: str) -> Any:
        """All planes as one array, if they lie one behind the other in one file."""
        first = self.frames[0].file
        indices = [frame.index for frame in self.frames]
        if not self._is_plain or any(frame.file is not first for frame in self.frames):
            return None
        if indices != list(range(len(indices))) or len(indices) != int(first.get("NumberOfFrames", 1)):
            return None
        if len({(frame.slope, frame.intercept) for frame in self.frames}) > 1:
            return None
        return _elements.elements(first.source, first.offset, shape, first.stored_dtype, letters)

    def array(self, shape: tuple[int, ...], outer: int) -> Any:
        """All planes, for `image_of`: in parts where they lie as they are, else plane by plane."""
        if not self._is_plain:

            def decode(index: tuple[int, ...], fetched: Any) -> Any:
                number = 0
                for place, size in zip(index[:outer], shape):
                    number = number * size + place
                plane = self._decode(self.frames[number])
                if self.is_scaled:
                    plane = _scaled(plane, self.frames[number])
                return plane.reshape((1,) * outer + plane.shape)

            identity = self._identity()
            return TiledArray(shape, self.dtype, (1,) * outer + self.plane, decode, identity=identity)
        return _elements.Lazy(shape, self.dtype, self._reader(outer, shape), (1,) * outer + self.plane)

    def _identity(self) -> Any:
        """What tells the planes from all others, in few bytes for however many files; None if nothing does."""
        known: dict[Any, Any] = {}
        for frame in self.frames:
            if frame.file not in known:
                known[frame.file] = _elements.identity_of(frame.file.source)
        if None in known.values():
            return None
        parts = [(known[frame.file], frame.index, frame.slope, frame.intercept) for frame in self.frames]
        return blake2b(repr((parts, self.palette, self.is_scaled)).encode(), digest_size=16).digest()

    def _reader(self, outer: int, shape: tuple[int, ...]) -> Any:
        def read(key: tuple[slice, ...]) -> Any:
            sizes = tuple(place.stop - place.start for place in key)
            result = numpy.empty(sizes, self.dtype)
            for index in numpy.ndindex(*sizes[:outer]):
                places = [place.start + one for place, one in zip(key, index)]
                number = 0
                for place, size in zip(places, shape):
                    number = number * size + place
                rows = self._rows(self.frames[number], key[outer:])
                result[index] = _scaled(rows, self.frames[number]) if self.is_scaled else rows
            return result

        return read

    def _rows(self, frame: _Frame, key: tuple[slice, ...]) -> Any:
        file = frame.file
        dtype = file.stored_dtype
        rows, columns = file.shape
        first, stop = key[0].start, key[0].stop
        begin = file.offset + (frame.index * rows + first) * columns * dtype.itemsize
        with file.source.file() as opened:
            opened.seek(begin)
            data = opened.read((stop - first) * columns * dtype.itemsize)
        if len(data) < (stop - first) * columns * dtype.itemsize:
            raise _classes.Error(f"{file.name!r} is cut")
        return numpy.frombuffer(data, dtype).reshape(stop - first, columns)[:, key[1]]

    def _decode(self, frame: _Frame) -> Any:
        import pydicom
        from pydicom.pixels import apply_color_lut, pixel_array

        file = frame.file
        try:
            if file.syntax is None or file.syntax == _DEFLATED:
                with file.source.file() as opened:
                    header = pydicom.dcmread(opened, force=True)
                plane = header.pixel_array
                plane = plane[frame.index] if int(file.get("NumberOfFrames", 1)) > 1 else plane
            else:
                with file.source.file() as opened:
                    plane = pixel_array(opened, index=frame.index)
            if self.palette:
                plane = apply_color_lut(plane, file.header)[..., :3]
        except Exception as error:
            raise _classes.Error(f"the pixels of {file.name!r} cannot be decoded: {error}") from error
        if plane.shape != self.plane:
            raise _classes.Error(f"{file.name!r} has an image of shape {plane.shape}, not {self.plane}")
        return plane.astype(self.dtype, copy=False) if not self.is_scaled else plane


def _differs(one: Any, other: Any) -> bool:
    return other is None or bool(one.value != other.value)


def _scaled(plane: Any, frame: _Frame) -> Any:
    return plane * numpy.float64(frame.slope or 1.0) + (frame.intercept or 0.0)


# ---- metadata --------------------------------------------------------------------------------------------------------


# Elements of these kinds are read without pydicom, which takes twenty times as long: a header has hundreds of them.
_TEXTS = frozenset(("AE", "AS", "CS", "DA", "DT", "LO", "PN", "SH", "TM", "UC", "UI"))
_LONG_TEXTS = frozenset(("LT", "ST", "UR", "UT"))
_UNPARSED: Any = object()
_BINARY = {"US": "H", "SS": "h", "UL": "I", "SL": "i", "FL": "f", "FD": "d", "UV": "Q", "SV": "q"}


def _keyword(tag: Any) -> str:
    from pydicom.datadict import keyword_for_tag

    return keyword_for_tag(tag) or f"({tag.group:04X},{tag.element:04X})"


def _plain(header: Any) -> dict[str, Any]:
    """A header by keywords, private elements by their numbers; what is long and has no text is told by its size."""
    plain = {}
    meta = getattr(header, "file_meta", None)
    if meta:
        plain.update({_keyword(element.tag): _value(element) for element in meta})
    # As a mapping it gives elements that are not parsed yet.
    plain.update({_keyword(tag): _readable(header, tag, element) for tag, element in header.items()})
    return plain


def _readable(header: Any, tag: Any, element: Any) -> Any:
    """The value of an element, or why there is none."""
    value = _parsed(element)
    if value is not _UNPARSED:
        return value
    try:
        return _value(header[tag])
    except Exception as error:
        return f"cannot be read: {error}"


def _parsed(element: Any) -> Any:
    """The value of an element that pydicom has not looked at yet, `_UNPARSED` if it has to."""
    value, kind = getattr(element, "value", None), getattr(element, "VR", None)
    if not isinstance(value, bytes):
        return _UNPARSED
    try:
        if kind in _BINARY:
            form = _BINARY[kind]
            count = len(value) // struct.calcsize(f"={form}")
            order = "<" if getattr(element, "is_little_endian", True) else ">"
            numbers = list(struct.unpack(f"{order}{count}{form}", value))
            return numbers[0] if count == 1 else numbers or None
        if getattr(element, "is_raw", False) and value.isascii() and b"\x1b" not in value:
            if kind in _LONG_TEXTS:
                return value.decode("ascii").rstrip(" \0")
            if kind in _TEXTS:
                return _several(str, value)
            if kind in ("IS", "DS"):
                return _several(int if kind == "IS" else float, value)
    except (ValueError, struct.error):
        pass
    return _UNPARSED


def _several(kind: Any, value: bytes) -> Any:
    parts = [kind(part.strip(" \0")) for part in value.decode("ascii").split("\\")] if value.strip(b" \0") else []
    return parts if len(parts) > 1 else parts[0] if parts else "" if kind is str else None


def _value(element: Any) -> Any:
    from pydicom.multival import MultiValue

    value = element.value
    if element.VR == "SQ":
        return [_plain(item) for item in value]
    if isinstance(value, (bytes, bytearray)):
        return f"{len(value)} bytes" if len(value) > _MOST_VALUE else value.hex()
    if isinstance(value, (MultiValue, list, tuple)):
        return [_one(part) for part in value]
    return _one(value)


def _one(value: Any) -> Any:
    if value is None or isinstance(value, str):
        return None if value is None else str(value)
    if isinstance(value, int):
        return int(value)
    try:
        return float(value)
    except (TypeError, ValueError):
        return str(value)
