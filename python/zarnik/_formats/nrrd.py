"""NRRD, through pynrrd."""

from __future__ import annotations

import os
import re
from collections.abc import Mapping
from typing import TYPE_CHECKING, Any

import numpy

import zarnik._classes as _classes
from zarnik._enumerations import ImageInterpretation
from zarnik._formats import _elements
from zarnik.plugins import Format, Series, Source, image_of

if TYPE_CHECKING:
    from zarnik.plugins import Progress

_MOST_HEADER = 1 << 22
_END = re.compile(rb"\r?\n\r?\n")
_COMPRESSED = {"gzip": "gzip", "gz": "gzip", "bzip2": "bzip2", "bz2": "bzip2"}
_TEXT = ("text", "txt", "ascii")
_SIDES = {"left": -1, "right": 1, "posterior": -1, "anterior": 1, "inferior": -1, "superior": 1}
_INITIALS = {name[0]: side for name, side in _SIDES.items()}
_AXIS_OF = {**dict.fromkeys("LR", 0), **dict.fromkeys("PA", 1), **dict.fromkeys("IS", 2)}
_KINDS = {"domain": "", "space": "", "none": "", "???": "", "time": "T"}  # all others are components of pixels
_NAMES = {"x": "X", "y": "Y", "z": "Z", "t": "T", "time": "T", "c": "C", "channel": "C", "channels": "C"}
_INTEGERS = {
    "8": ("int8", "int8_t", "signed char"),
    "u8": ("uint8", "uint8_t", "uchar", "unsigned char"),
    "16": ("int16", "int16_t", "short", "short int", "signed short", "signed short int"),
    "u16": ("uint16", "uint16_t", "ushort", "unsigned short", "unsigned short int"),
    "32": ("int32", "int32_t", "int", "signed int"),
    "u32": ("uint32", "uint32_t", "uint", "unsigned int"),
    "64": ("int64", "int64_t", "longlong", "long long", "long long int", "signed long long", "signed long long int"),
    "u64": ("uint64", "uint64_t", "ulonglong", "unsigned long long", "unsigned long long int"),
}
_TYPES = {name: f"{'u' * (bits[0] == 'u')}int{bits.lstrip('u')}" for bits, names in _INTEGERS.items() for name in names}
_FLOATS = {"float32": "float", "float64": "double"}
_TYPES |= {name: dtype for dtype, name in _FLOATS.items()}
# Fields that tell of the elements and their place: the rest of a header that was read is written again.
_OWN_FIELDS = (
    *("type", "dimension", "sizes", "endian", "encoding", "data file", "datafile", "byte skip", "byteskip"),
    *("line skip", "lineskip", "space", "space dimension", "space directions", "space origin", "space units", "units"),
    *("spacings", "thicknesses", "axis mins", "axis maxs", "axismins", "axismaxs", "kinds", "labels", "centerings"),
    *("centers", "block size", "blocksize", "measurement frame", "old min", "old max", "min", "max", "number"),
)


class NRRD(Format):
    """Volumes in the space of their header, which may stand in a file of its own; raw elements are mapped."""

    name = "NRRD"
    suffixes = (".nrrd", ".nhdr")
    extra = "nrrd"
    requires = ("nrrd",)
    can_write = True
    can_update = True

    def recognizes(self, source: Source) -> bool:
        return re.match(rb"NRRD\d{4}\r?\n", source.head) is not None

    def open(  # type: ignore[override]
        self, source: Source, *, axes: Any = None, data_file: str | os.PathLike[str] | None = None
    ) -> list[Series]:
        """Open a volume.

        :param axes: The axes, slowest first, if the header's kinds and labels do not tell.
        :param data_file: The file of the elements, instead of the one that a detached header names. That has to be in
            the folder of the header, or in one within it.
        """
        header, begin = _header(source)
        sizes = tuple(int(size) for size in header["sizes"])
        if len(sizes) != header["dimension"]:
            raise _classes.Error(f"{source.name!r} has {header['dimension']} dimensions, but sizes {sizes}")
        letters, shape, dtype = _axes_of(header, sizes, axes, source.name)
        array = _array(source, header, begin, shape[::-1], dtype, letters[::-1], data_file)
        text = header.get(_elements.DESCRIPTION)

        def known() -> dict[str, Any]:
            return {key: _plain(value) for key, value in header.items() if key != _elements.DESCRIPTION}

        colour = _colour(header, letters)
        told = _elements.described_by(text, known, self.name, interpretation=colour, unit=_unit(header, letters))
        affine = told.pop("affine") if "affine" in told else _affine(header, letters)
        return [
            Series(
                header.get("content"),
                [lambda: image_of(array, letters[::-1], affine=affine, **told)],
                {"affine": affine},
            )
        ]

    def save(  # type: ignore[override]
        self, path: str, image: Any, *, progress: Progress, encoding: str = "raw", compression: int = 6
    ) -> None:
        """Write a volume, in LPS space as ITK does.

        :param encoding: "raw", which can be mapped, or "gzip".
        :param compression: Of gzip: 0 for none to 9.
        """
        if path.lower().endswith(".nhdr"):
            raise _classes.InvalidArgument("a detached header can be read, not written: .nrrd holds both in one file")
        if encoding not in ("raw", "gzip"):
            raise _classes.InvalidArgument(f"encoding {encoding!r} is neither 'raw' nor 'gzip'")
        lines, order = _new_header(image, encoding)
        with open(path, "wb") as file:
            file.write(_aligned("\n".join(lines) + "\n").encode())
            if encoding == "raw":
                _elements.write_elements(file, image, order, progress)
                return
            import gzip

            with gzip.GzipFile("", "wb", compression, file, mtime=0) as packed:
                _elements.write_elements(packed, image, order, progress)


# ---- reading ---------------------------------------------------------------------------------------------------------


def _header(source: Source) -> tuple[dict[str, Any], int]:
    """The header as pynrrd reads it, and where in the file it ends."""
    import nrrd

    text = source.head
    end = _END.search(text)
    if not end:
        with source.file() as file:
            text = file.read(_MOST_HEADER)
        end = _END.search(text)
    begin = end.end() if end else len(text)
    if not end and len(text) == _MOST_HEADER:
        raise _classes.Error(f"the header of {source.name!r} does not end within {_MOST_HEADER} bytes")
    # Lines of text, as pynrrd leaves out what is not ASCII, such as the first letter of micrometres.
    header = dict(nrrd.read_header(iter(text[:begin].decode("utf-8", "replace").splitlines())))
    for name in ("type", "dimension", "sizes", "encoding"):
        if name not in header:
            raise _classes.Error(f"the header of {source.name!r} has no {name!r}, or is cut")
    return header, begin


def _axes_of(
    header: Mapping[str, Any], sizes: tuple[int, ...], axes: Any, name: str
) -> tuple[str, tuple[int, ...], numpy.dtype[Any]]:
    """Letters and sizes, fastest first, and the type of elements."""
    try:
        dtype = numpy.dtype(_TYPES[header["type"]])
    except KeyError:
        raise _classes.Error(f"{name!r} has elements of type {header['type']!r}, which NumPy has not") from None
    if dtype.itemsize > 1:
        endian = header.get("endian", "little")
        if endian not in ("little", "big"):
            raise _classes.Error(f"{name!r} has byte order {endian!r}, allowed are 'little' and 'big'")
        dtype = dtype.newbyteorder("<" if endian == "little" else ">")
    if axes is not None:
        return _elements.letters_of_rank(len(sizes), axes, repr(name))[::-1], sizes, dtype
    kinds = [str(kind).lower() for kind in header.get("kinds", ())]
    if kinds[:1] == ["complex"] and sizes[0] == 2 and dtype.kind == "f":
        dtype = numpy.dtype(f"{dtype.byteorder}c{dtype.itemsize * 2}")
        letters = _letters(header, kinds, sizes, name, 1)
        return letters, sizes[1:], dtype
    return _letters(header, kinds, sizes, name, 0), sizes, dtype


def _letters(header: Mapping[str, Any], kinds: list[str], sizes: tuple[int, ...], name: str, first: int) -> str:
    labels = [str(label).lower() for label in header.get("labels", ())]
    directions = _directions(header)
    letters = []
    for axis in range(first, len(sizes)):
        kind = kinds[axis] if axis < len(kinds) else "domain"
        letter = _KINDS.get(kind, "C")
        label = _NAMES.get(labels[axis], "") if axis < len(labels) else ""
        if not letter and (label in ("T", "C")):
            letter = label
        elif not letter and directions is not None and not numpy.isfinite(directions[axis]).all():
            letter = "C" if "C" not in letters and axis in (0, len(sizes) - 1) else "T"
        letters.append(letter)
    spatial = [place for place, letter in enumerate(letters) if not letter]
    for place, letter in zip(spatial, "XYZ" + "T" * ("T" not in letters) + "C" * ("C" not in letters)):
        letters[place] = letter
    if "" in letters or len(set(letters)) != len(letters):
        raise _classes.Error(
            f"cannot tell the axes of {name!r} of sizes {sizes} and kinds {kinds or 'unknown'}: axes= names them"
        )
    return "".join(letters)


def _directions(header: Mapping[str, Any]) -> Any:
    """The direction of each axis as a row, of numbers that are not finite where there is none."""
    found = header.get("space directions")
    if found is None:
        return None
    width = max((len(row) for row in found if row is not None), default=3)
    return numpy.array([[numpy.nan] * width if row is None else row for row in found], float)


def _space(header: Mapping[str, Any], width: int) -> Any:
    """What turns positions of the header into RAS, 3 by 3."""
    turn = numpy.eye(3)
    space = str(header.get("space") or "")
    words = [word for word in re.split(r"[-\s]+", space.lower()) if word != "time"]
    if words and all(word in _SIDES for word in words):
        signs = [(_AXIS_OF[word[0].upper()], _SIDES[word]) for word in words]
    elif re.fullmatch("[LRPASI]{3}T?", space):
        signs = [(_AXIS_OF[letter], _INITIALS[letter.lower()]) for letter in space[:3]]
    else:
        return turn
    if sorted(axis for axis, _ in signs) != [0, 1, 2]:
        raise _classes.Error(f"space {space!r} has a side twice")
    turn[:] = 0
    for column, (axis, sign) in enumerate(signs):
        turn[axis, column] = sign
    return turn


def _affine(header: Mapping[str, Any], letters: str) -> Any:
    first = 1 if len(letters) < int(header["dimension"]) else 0
    place = {letter: axis + first for axis, letter in enumerate(letters)}
    matrix = numpy.eye(4)
    directions = _directions(header)
    spacings, minima = (header.get(name) for name in ("spacings", "axis mins"))
    centerings = [str(one) for one in header.get("centerings", ())]
    if directions is not None:
        matrix[:3, :3] = 0
    for column, letter in enumerate("XYZ"):
        if letter not in place:
            continue
        axis = place[letter]
        if directions is not None:
            if numpy.isfinite(directions[axis]).all():
                matrix[: directions.shape[1], column] = directions[axis][:3]
        elif spacings is not None and axis < len(spacings) and numpy.isfinite(spacings[axis]) and spacings[axis]:
            matrix[column, column] = spacings[axis]
            if minima is not None and axis < len(minima) and numpy.isfinite(minima[axis]):
                is_cell = centerings[axis : axis + 1] == ["cell"]
                matrix[column, 3] = minima[axis] + (spacings[axis] / 2 if is_cell else 0)
    origin = header.get("space origin")
    if origin is not None and numpy.isfinite(origin).all():
        matrix[: len(origin[:3]), 3] = origin[:3]
    turn = _space(header, 3)
    matrix[:3] = turn @ matrix[:3]
    return _elements.affine_with_extent(matrix)


def _unit(header: Mapping[str, Any], letters: str) -> str:
    units = [str(unit) for unit in header.get("space units", ()) if unit]
    if not units:
        first = 1 if len(letters) < int(header["dimension"]) else 0
        by_axis = header.get("units", ())
        units = [str(unit) for letter, unit in zip(letters, by_axis[first:]) if letter in "XYZ" and unit]
    return _elements.unit_of(units[0]) if len(set(units)) == 1 else ""


def _colour(header: Mapping[str, Any], letters: str) -> Any:
    kinds = [str(kind).lower() for kind in header.get("kinds", ())]
    return ImageInterpretation.RGB if {"rgb-color", "rgba-color"} & set(kinds) else None


def _array(
    source: Source,
    header: Mapping[str, Any],
    begin: int,
    shape: tuple[int, ...],
    dtype: numpy.dtype[Any],
    letters: str,
    data_file: Any,
) -> Any:
    named = header.get("data file") or header.get("datafile")
    if data_file is not None:
        source, begin = Source(os.fspath(data_file), source.mode), 0
    elif named:
        source, begin = _beside(source, str(named)), 0
    encoding = str(header["encoding"]).lower()
    lines, skip = (int(header.get(name) or header.get(name.replace(" ", ""), 0)) for name in ("line skip", "byte skip"))
    if lines < 0 or skip < -1:
        raise _classes.Error(f"{source.name!r} skips {lines} lines and {skip} bytes")
    for _ in range(lines):
        with source.file() as file:
            file.seek(begin)
            line = file.readline(_MOST_HEADER)
        if not line.endswith(b"\n"):
            raise _classes.Error(f"{source.name!r} has no {lines} lines to skip")
        begin += len(line)
    count = dtype.itemsize
    for size in shape:
        count *= size
    if encoding == "raw":
        begin = _elements.size_of(source) - count if skip == -1 else begin + skip
        return _elements.elements(source, begin, shape, dtype, letters)
    if source.mode != "r":
        raise _classes.NotImplemented(f"{source.name!r} is {encoding}: its elements cannot be written in place")
    if encoding in _COMPRESSED:
        if skip == -1:
            raise _classes.Error(f"{source.name!r} skips -1 bytes, which only raw elements can")
        return _elements.Inflated(source, begin, skip + count, _COMPRESSED[encoding]).elements(skip, shape, dtype)
    if encoding in _TEXT:
        return _parsed(source, begin, shape, dtype)
    raise _classes.Error(f"{source.name!r} is encoded by {encoding!r}, allowed are raw, gzip, bzip2 and text")


def _beside(source: Source, name: str) -> Source:
    if name.startswith("LIST") or re.search(r"%\d*d", name):
        raise _classes.NotImplemented(f"{source.name!r} has its elements in several files")
    parts = name.replace("\\", "/").split("/")
    if os.path.isabs(name) or ".." in parts:
        raise _classes.Error(f"{source.name!r} names {name!r}, outside of its folder: data_file= allows that")
    data = _elements.beside(source, os.path.join(*parts))
    if data.path is None or not os.path.isfile(data.path):
        raise _classes.Error(f"{source.name!r} has its elements in {name!r}, which is not there")
    return data


def _parsed(source: Source, begin: int, shape: tuple[int, ...], dtype: numpy.dtype[Any]) -> Any:
    count = 1
    for size in shape:
        count *= size
    if 2 * count - 1 > _elements.size_of(source) - begin:
        raise _classes.Error(f"{source.name!r} is cut: it cannot have {count} numbers")
    parts = dtype.newbyteorder("=")
    made: list[Any] = []

    def read(key: Any) -> Any:
        if not made:
            with source.file() as file:
                file.seek(begin)
                numbers = numpy.array(file.read().split(), f"S{64}")
            if len(numbers) < count:
                raise _classes.Error(f"{source.name!r} is cut: {len(numbers)} of {count} numbers are there")
            made.append(numbers[:count].astype(parts).reshape(shape))
        return made[0][key]

    return _elements.Lazy(shape, parts, read)


def _plain(value: Any) -> Any:
    return value if not isinstance(value, numpy.ndarray) else value.tolist()


# ---- writing ---------------------------------------------------------------------------------------------------------


def _new_header(image: Any, encoding: str) -> tuple[list[str], str]:
    sizes = _elements.sizes_of(image)
    is_colour = sizes.get("C") in (3, 4) and image.interpretation in (ImageInterpretation.RGB, ImageInterpretation.SRGB)
    order = "".join(letter for letter in ("TZYXC" if is_colour else "TCZYX") if letter in sizes)
    letters = order[::-1]
    dtype = image.dtype
    is_complex = dtype.kind == "c"
    element = numpy.dtype(f"f{dtype.itemsize // 2}") if is_complex else dtype
    kinds = {**dict.fromkeys("XYZ", "domain"), "T": "time", "C": "list"}
    if is_colour:
        kinds["C"] = "RGB-color" if sizes["C"] == 3 else "RGBA-color"
    affine = image.get_affine("LPS")
    vectors = {letter: _vector(affine[:3, column]) for column, letter in enumerate("XYZ")}
    extra = int(is_complex)
    lines = [
        "NRRD0005",
        "# Written by zarnik",
        f"type: {_FLOATS.get(element.name, element.name)}",
        f"dimension: {len(letters) + extra}",
        "space: left-posterior-superior",
        f"sizes: {' '.join(['2'] * extra + [str(sizes[letter]) for letter in letters])}",
        f"space directions: {' '.join(['none'] * extra + [vectors.get(letter, 'none') for letter in letters])}",
        f"kinds: {' '.join(['complex'] * extra + [kinds[letter] for letter in letters])}",
        f"labels: {' '.join(_quoted(*[''] * extra, *letters))}",
        f"endian: {'little' if numpy.little_endian else 'big'}",
        f"encoding: {encoding}",
        f"space origin: {_vector(affine[:3, 3])}",
    ]
    if image.unit:
        unit = image.unit.replace("\N{MICRO SIGN}", "u")
        lines.append(f"space units: {' '.join(_quoted(*[unit] * 3))}")
    kept = image.metadata.to_dict().get("NRRD", {})
    for name, value in kept.items():
        line = f"{value}"
        if name.lower() not in _OWN_FIELDS and isinstance(value, str) and "\n" not in line and ":" not in name:
            # Fields that everybody knows have a colon, others an equals sign, too.
            lines.append(f"{name}: {line}" if name in ("content", "sample units") else f"{name}:={line}")
    text = _elements.description_of(image, "NRRD")
    if not set("XYZ") <= set(letters):
        # A direction needs an axis: without one it is kept beside.
        text = _elements.description_with(text, affine=image.affine.tolist())
    if text:
        lines.append(f"{_elements.DESCRIPTION}:={text}")
    return lines, order


def _vector(numbers: Any) -> str:
    return f"({','.join(repr(float(number)) for number in numbers)})"


def _quoted(*texts: str) -> list[str]:
    return [f'"{text}"' for text in texts]


def _aligned(text: str) -> str:
    """A header that ends at a multiple of 16 bytes, where elements can be mapped as they are."""
    missing = -(len(text.encode()) + 3) % 16
    return f"{text}#{' ' * missing}\n\n"
