"""Arrays in NumPy's own files."""

from __future__ import annotations

import json
import math
import re
import struct
from typing import TYPE_CHECKING, Any

import numpy

import zarnik._classes as _classes
from zarnik._formats import _elements
from zarnik.plugins import Format, Series, Source, image_of

if TYPE_CHECKING:
    from zarnik.plugins import Progress

_NPY = b"\x93NUMPY"
_ZIP = b"PK\x03\x04"
_ARRAY = "image"
_USUAL = re.compile(
    rb"\x93NUMPY\x01\0..\{'descr': '(?P<type>[<>|](?:[iu][1248]|f[248]|c8|c16|b1))',"
    rb" 'fortran_order': (?P<order>True|False), 'shape': \((?P<shape>\d+,|\d+(?:, \d+)+|)\), \} *\n",
    re.DOTALL,
)


class NumPyArray(Format):
    """An array without anything else, which is mapped."""

    name = "NumPy"
    suffixes = (".npy",)
    can_write = True
    can_update = True

    def recognizes(self, source: Source) -> bool:
        return source.head.startswith(_NPY)

    def open(self, source: Source, *, axes: Any = None) -> list[Series]:  # type: ignore[override]
        """Open an array.

        :param axes: Its axes in the order of its shape; by default X, YX, ZYX or TZYX by their number.
        """
        shape, dtype, is_fortran, offset = _usual_header(source.head) or _any_header(source)
        letters = _elements.letters_of_rank(len(shape), axes, repr(source.name))
        if is_fortran:
            shape, letters = shape[::-1], letters[::-1]
        array = _elements.elements(source, offset, shape, dtype, letters)
        return [Series(None, [lambda: image_of(array, letters)])]

    def save(self, path: str, image: Any, *, progress: Progress) -> None:  # type: ignore[override]
        """Write an array of the image's shape."""
        with open(path, "wb") as file:
            _write(file, image, progress)

    def losses(self, image: Any, **options: Any) -> list[str]:
        usual = {1: "X", 2: "YX", 3: "ZYX", 4: "TZYX"}.get(len(image.shape))
        axes = [] if image.axes == usual else [f"the axes {image.axes!r}"]
        return axes + _elements.losses_of(image)


class NumPyArchive(Format):
    """Arrays by their names; those that are not compressed are mapped."""

    name = "NumPy archive"
    suffixes = (".npz",)
    can_write = True

    def recognizes(self, source: Source) -> bool:
        # Other formats are ZIP files, too.
        return source.head.startswith(_ZIP) and (
            source.name.lower().endswith(".npz") or source.head[30 : 30 + _short(source.head, 26)].endswith(b".npy")
        )

    def open(self, source: Source, *, axes: Any = None) -> list[Series]:  # type: ignore[override]
        """Open all arrays.

        :param axes: Their axes in the order of the shape; by default X, YX, ZYX or TZYX by their number.
        """
        import zipfile

        with source.file() as file, zipfile.ZipFile(file) as archive:
            members = {one.filename[:-4]: one for one in archive.infolist() if one.filename.endswith(".npy")}
            if _ARRAY in members and _elements.DESCRIPTION in members:
                return [_described(source, archive, members)]
            found, failed = [], []
            for name, member in members.items():
                try:
                    made = _made(*_member(source, archive, member, axes))
                except (_classes.Error, ValueError) as error:
                    failed.append(error)
                    made = _failing(error)
                found.append(Series(name, [made]))
            if failed and len(failed) == len(found):
                raise failed[0]
            return found

    def save(  # type: ignore[override]
        self, path: str, image: Any, *, progress: Progress, compressed: bool = False
    ) -> None:
        """Write the array "image", and "affine" and "zarnik" with what the image tells besides.

        :param compressed: Whether by deflate; such a file cannot be mapped.
        """
        import zipfile

        kind = zipfile.ZIP_DEFLATED if compressed else zipfile.ZIP_STORED
        text = _elements.description_with(
            _elements.description_of(image, ""), unit=image.unit, axes=_elements.axes_of(image)
        )
        with zipfile.ZipFile(path, "w", kind) as archive:
            with archive.open(f"{_ARRAY}.npy", "w", force_zip64=True) as file:
                _write(file, image, progress)
            for name, array in (("affine", image.affine), (_elements.DESCRIPTION, numpy.array(text))):
                with archive.open(f"{name}.npy", "w") as file:
                    numpy.lib.format.write_array(file, array, allow_pickle=False)


def _short(data: bytes, at: int) -> int:
    return int.from_bytes(data[at : at + 2], "little")


def _made(array: Any, letters: str, **told: Any) -> Any:
    return lambda: image_of(array, letters, **told)


def _failing(error: Exception) -> Any:
    def fail() -> Any:
        raise _classes.Error(str(error)) from error

    return fail


def _header(file: Any, name: str) -> tuple[tuple[int, ...], numpy.dtype[Any], bool]:
    version = numpy.lib.format.read_magic(file)
    read = {(1, 0): numpy.lib.format.read_array_header_1_0, (2, 0): numpy.lib.format.read_array_header_2_0}.get(version)
    if read is None:
        if version != (3, 0):
            raise _classes.Error(f"{name!r} is of version {version}, known are 1.0, 2.0 and 3.0")
        # Only names of fields need it, and an image has none.
        raise _classes.Error(f"{name!r} has elements with named fields, an image has numbers")
    shape, is_fortran, dtype = read(file)
    if dtype.hasobject or dtype.kind not in "iufcb":
        raise _classes.Error(f"{name!r} has elements of {dtype}, which are no numbers of an image")
    return shape, dtype, is_fortran


def _usual_header(head: bytes) -> tuple[tuple[int, ...], numpy.dtype[Any], bool, int] | None:
    """Shape, type, whether it is in Fortran's order, and where the elements begin; None if NumPy has to tell.

    What NumPy itself writes for numbers is told here: that it parses Python's literals takes as long as all the rest.
    """
    found = _USUAL.match(head)
    if found is None or found.end() != 10 + _short(head, 8):
        return None
    shape = tuple(int(size) for size in found["shape"].split(b",") if size)
    return shape, numpy.dtype(found["type"].decode()), found["order"] == b"True", found.end()


def _any_header(source: Source) -> tuple[tuple[int, ...], numpy.dtype[Any], bool, int]:
    with source.file() as file:
        return (*_header(file, source.name), file.tell())


def _member(source: Source, archive: Any, member: Any, axes: Any) -> tuple[Any, str]:
    with archive.open(member) as file:
        shape, dtype, is_fortran = _header(file, member.filename)
        header = file.tell()
    letters = _elements.letters_of_rank(len(shape), axes, f"{member.filename!r}")
    if is_fortran:
        shape, letters = shape[::-1], letters[::-1]
    offset = _offset(source, member)
    if member.compress_type == 0 and not member.flag_bits & 1:
        if math.prod(shape) * dtype.itemsize + header > member.file_size:
            raise _classes.Error(f"{member.filename!r} of {source.name!r} is cut: {member.file_size} bytes are there")
        return _elements.elements(source, offset + header, shape, dtype, letters), letters
    if member.compress_type != 8 or member.flag_bits & 1:
        raise _classes.Error(f"{member.filename!r} of {source.name!r} is encrypted, or not compressed by deflate")
    inflated = _elements.Inflated(source, offset, member.file_size, "deflate")
    return inflated.elements(header, shape, dtype), letters


def _offset(source: Source, member: Any) -> int:
    """Where the bytes of a member begin: behind its own header, whose lengths may differ from those of the list."""
    with source.file() as file:
        file.seek(member.header_offset)
        local = file.read(30)
    if len(local) < 30 or not local.startswith(_ZIP):
        raise _classes.Error(f"{source.name!r} has no {member.filename!r} where it says")
    return int(member.header_offset) + 30 + sum(struct.unpack("<HH", local[26:30]))


def _described(source: Source, archive: Any, members: Any) -> Series:
    with archive.open(members[_elements.DESCRIPTION]) as file:
        text = str(numpy.lib.format.read_array(file, allow_pickle=False))
    kept = json.loads(text)[_elements.DESCRIPTION]
    with archive.open(members["affine"]) as file:
        affine = numpy.lib.format.read_array(file, allow_pickle=False)
    array, letters = _member(source, archive, members[_ARRAY], kept["axes"])
    told = _elements.described_by(text, None, "NumPy")
    return Series(None, [_made(array, letters, affine=affine, **told)])


def _write(file: Any, image: Any, progress: Progress) -> None:
    header = {"descr": numpy.lib.format.dtype_to_descr(image.dtype), "fortran_order": False, "shape": image.shape}
    numpy.lib.format.write_array_header_1_0(file, header)
    _elements.write_elements(file, image, _elements.axes_of(image), progress)
