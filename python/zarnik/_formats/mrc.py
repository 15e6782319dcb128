"""MRC, through mrcfile."""

from __future__ import annotations

import math
import struct
import warnings
from collections.abc import Iterable, Mapping
from functools import lru_cache
from typing import TYPE_CHECKING, Any

import numpy

import zarnik._classes as _classes
from zarnik._formats import _elements
from zarnik.plugins import Format, Series, Source, image_of

if TYPE_CHECKING:
    from zarnik.plugins import Progress

_HEADER = 1024
# Where it tells the size of what follows it, and the type of the elements.
_EXTENDED = 92
_MODE = 12
# How many of them are one of a unit.
_ANGSTROMS = {_elements.ANGSTROM: 1.0, "nm": 10.0, "\N{MICRO SIGN}m": 1e4, "mm": 1e7, "m": 1e10}
_TYPES = ("int8", "int16", "uint16", "float32", "complex64", "float16")
_SINGLES = struct.Struct("3f")
# Groups of 401 on tell that there are several volumes one behind the other.
_STACK_OF_VOLUMES = 401


class MRC(Format):
    """Volumes and stacks of them, in angstrom; elements of files that are not compressed are mapped."""

    name = "MRC"
    suffixes = (".mrc", ".map", ".ccp4", ".mrcs", ".mrc.gz", ".map.gz", ".mrc.bz2")
    extra = "mrc"
    requires = ("mrcfile",)
    can_write = True
    can_update = True

    def recognizes(self, source: Source) -> bool:
        head = _beginning(source)
        # Older files have no word there, and only their name tells.
        return len(head) == _HEADER and (head[208:211] == b"MAP" or _looks_old(source, head))

    def open(self, source: Source, *, axes: Any = None) -> list[Series]:  # type: ignore[override]
        """Open a volume.

        :param axes: The axes, slowest first, such as "TYX" for the pictures of a tilt series.
        """
        head = _beginning(source)
        header, dtype = _header(head, source.name)
        told: dict[str, Any] = dict(zip(header.dtype.names, header.item()))
        sizes: tuple[int, ...] = told["nz"], told["ny"], told["nx"]
        letters = _letters(told)
        if min(sizes) > 0 and told["ispg"] >= _STACK_OF_VOLUMES:
            depth = told["mz"]
            if depth < 1 or sizes[0] % depth:
                raise _classes.Error(f"{source.name!r} has {sizes[0]} sections, which are no volumes of {depth} each")
            sizes, letters = (sizes[0] // depth, depth, *sizes[1:]), "T" + letters
        if axes is not None:
            letters = _elements.letters_of_rank(len(sizes), axes, repr(source.name))
        extended = told["nsymbt"]
        if extended < 0:
            raise _classes.Error(f"{source.name!r} has an extended header of {extended} bytes")
        array = _array(source, _HEADER + extended, sizes, dtype, letters)
        # In single precision, as mrcfile has them.
        counts = _singles(max(told[f"m{axis}"], 1) for axis in "xyz")
        spacing = list(map(_positive, _singles(length / count for length, count in zip(told["cella"], counts))))
        origin = list(told["origin"])
        if not any(origin):
            origin = [told[f"n{axis}start"] * size for axis, size in zip("xyz", spacing)]
        angles = list(told["cellb"])
        if any(angle not in (0, 90) for angle in angles):
            problem = f"{source.name!r} has axes {angles} degrees apart, an image has 90"
            warnings.warn(problem, UserWarning, stacklevel=4)

        def metadata_of() -> dict[str, Any]:
            return {self.name: _plain(header)}

        return [
            Series(
                None,
                [
                    lambda: image_of(
                        array, letters, spacing=spacing, origin=origin, unit=_elements.ANGSTROM, metadata=metadata_of
                    )
                ],
                {"space_group": told["ispg"]},
            )
        ]

    def save(self, path: str, image: Any, *, progress: Progress) -> None:  # type: ignore[override]
        """Write a volume, or a sequence of volumes as a stack of them.

        Elements are of int8, int16, uint16, float32 or complex64; uint8 becomes uint16.
        """
        dtype = numpy.dtype("uint16") if image.dtype == numpy.uint8 else image.dtype
        if dtype.name not in _TYPES or "C" in _elements.axes_of(image):
            raise _classes.InvalidArgument(
                f"MRC holds no {'channels' if 'C' in image.axes else f'elements of {dtype}'}: astype() and channel()"
                f" give what it holds, {', '.join(_TYPES[:5])}"
            )
        if not path.lower().endswith((".mrc", ".map", ".ccp4", ".mrcs")):
            raise _classes.InvalidArgument("a compressed MRC can be read, not written")
        header, order = _new_header(image, dtype)
        with open(path, "wb") as file:
            file.write(header.tobytes())
            _elements.write_elements(file, image, order, progress, dtype)

    def losses(self, image: Any, **options: Any) -> list[str]:
        keeps = ["spacing", "origin"]
        if _elements.unit_of(image.unit) in ("", *_ANGSTROMS):
            keeps.append("unit")
        return _elements.losses_of(image, *keeps, without=self.name)


def _beginning(source: Source) -> bytes:
    if source.head.startswith(b"BZh"):
        try:
            return bytes(_elements._machine("bzip2").decompress(source.head, _HEADER)) or _inflated_head(source)
        except _elements._damages():
            return b""
    return _elements.beginning(source.head, _HEADER)


def _inflated_head(source: Source) -> bytes:
    try:
        return bytes(_elements.Inflated(source, 0, _HEADER, "bzip2").upto(_HEADER))
    except _classes.Error:
        return b""


def _looks_old(source: Source, head: bytes) -> bool:
    if not source.name.lower().endswith(MRC.suffixes):
        return False
    for order in ("little", "big"):
        numbers = [int.from_bytes(head[at : at + 4], order, signed=True) for at in (0, 4, 8, 12)]  # type: ignore[arg-type,unused-ignore]
        if all(0 < number < 1 << 20 for number in numbers[:3]) and numbers[3] in (0, 1, 2, 4, 6, 12):
            return True
    return False


def _header(head: bytes, name: str) -> tuple[Any, numpy.dtype[Any]]:
    """The header as mrcfile reads it, and the type of the elements."""
    try:
        header_type, dtype = _types_of(head[212:216], head[_MODE : _MODE + 4])
    except ValueError:
        return _doubtful_header(head, name)
    if head[208:211] != b"MAP":
        return _doubtful_header(head, name)
    return numpy.ndarray((), header_type, head), dtype


# Half of what a header costs, and the same for most files.
@lru_cache(maxsize=64)
def _types_of(stamp: bytes, mode: bytes) -> tuple[numpy.dtype[Any], numpy.dtype[Any]]:
    """The types of a header and of the elements."""
    from mrcfile.dtypes import HEADER_DTYPE
    from mrcfile.utils import byte_order_from_machine_stamp, dtype_from_mode

    order: Any = byte_order_from_machine_stamp(stamp)
    number = int(numpy.frombuffer(mode, numpy.dtype("i4").newbyteorder(order))[0])
    return HEADER_DTYPE.newbyteorder(order), dtype_from_mode(number).newbyteorder(order)


def _doubtful_header(head: bytes, name: str) -> tuple[Any, numpy.dtype[Any]]:
    """The same of one that breaks the rules, with warnings: mrcfile's reader makes the best of it."""
    import io

    from mrcfile.mrcinterpreter import MrcInterpreter
    from mrcfile.utils import data_dtype_from_header

    # It would make room for an extended header of any size: none is told it.
    with warnings.catch_warnings(record=True) as doubts:
        warnings.simplefilter("always")
        short = io.BytesIO(head[:_EXTENDED] + bytes(4) + head[_EXTENDED + 4 :])
        header = MrcInterpreter(short, permissive=True, header_only=True).header
    header["nsymbt"] = numpy.frombuffer(head, header["nsymbt"].dtype, 1, _EXTENDED)[0]
    for doubt in doubts:
        warnings.warn(f"{name!r}: {doubt.message}", UserWarning, stacklevel=5)
    try:
        # As a record array it takes ten times as long to look up a field.
        return header.view(numpy.ndarray), data_dtype_from_header(header)
    except ValueError as error:
        raise _classes.Error(f"{name!r} has elements of mode {int(header['mode'])}: {error}") from error


def _letters(told: Mapping[str, Any]) -> str:
    order = [told[name] for name in ("maps", "mapr", "mapc")]
    # Files that do not tell have zeros there.
    return "".join("XYZ"[axis - 1] for axis in order) if sorted(order) == [1, 2, 3] else "ZYX"


def _singles(numbers: Iterable[float]) -> tuple[float, ...]:
    # Arrays of three numbers would take ten times as long.
    return _SINGLES.unpack(_SINGLES.pack(*numbers))


def _positive(number: float) -> float:
    return number if math.isfinite(number) and number > 0 else 1.0


def _array(source: Source, offset: int, sizes: tuple[int, ...], dtype: numpy.dtype[Any], letters: str) -> Any:
    kind = "gzip" if source.head.startswith(b"\x1f\x8b") else "bzip2" if source.head.startswith(b"BZh") else ""
    if not kind:
        return _elements.elements(source, offset, sizes, dtype, letters)
    if source.mode != "r":
        raise _classes.NotImplemented(f"{source.name!r} is compressed: its elements cannot be written in place")
    count = dtype.itemsize
    for size in sizes:
        count *= max(size, 0)
    return _elements.Inflated(source, 0, offset + count, kind).elements(offset, sizes, dtype)


def _plain(header: Any) -> dict[str, Any]:
    plain: dict[str, Any] = {}
    for name in header.dtype.names:
        value = header[name]
        if value.dtype.names:
            plain[name] = {part: value[part].item() for part in value.dtype.names}
        elif name == "label":
            plain[name] = [text.decode("latin-1").rstrip() for text in value[: max(int(header["nlabl"]), 0)].tolist()]
        elif value.dtype.kind in "SV":
            plain[name] = value.tobytes().rstrip(b"\0").decode("latin-1")
        else:
            plain[name] = value.item() if value.ndim == 0 else value
    return plain


def _new_header(image: Any, dtype: numpy.dtype[Any]) -> tuple[Any, str]:
    from mrcfile.mrcinterpreter import MrcInterpreter
    from mrcfile.utils import mode_from_dtype

    interpreter = MrcInterpreter()
    interpreter._create_default_attributes()
    header = interpreter.header
    sizes = _elements.sizes_of(image)
    x, y, z, t = (sizes.get(letter, 1) for letter in "XYZT")
    header.mode = mode_from_dtype(dtype)
    header.nx, header.ny, header.nz = x, y, z * t
    header.mx, header.my, header.mz = x, y, z
    header.ispg = _STACK_OF_VOLUMES if "T" in sizes else 1 if "Z" in sizes else 0
    scale = _ANGSTROMS.get(_elements.unit_of(image.unit), 1.0)
    spacing = [abs(size) * scale for size in image.spacing]
    for axis, size, count, start in zip("xyz", spacing, (x, y, z), image.origin):
        header.cella[axis] = size * count
        header.origin[axis] = start * scale
    kept = image.metadata.to_dict().get("MRC", {}).get("label", [])
    labels = [*(str(text).encode("latin-1", "replace")[:80] for text in kept[:9]), b"Written by zarnik"]
    header.label = [*labels, *[b""] * (10 - len(labels))]
    header.nlabl = len(labels)
    low, high, total, squares, number = numpy.inf, -numpy.inf, 0.0, 0.0, 0
    if dtype.kind != "c":
        for block in _elements.blocks(image, "".join(letter for letter in "TZYX" if letter in sizes)):
            low, high = min(low, float(block.min())), max(high, float(block.max()))
            total += float(block.sum(dtype=float))
            squares += float(numpy.square(block, dtype=float).sum())
            number += block.size
        mean = total / number
        header.dmin, header.dmax, header.dmean = low, high, mean
        header.rms = max(squares / number - mean * mean, 0.0) ** 0.5
    return header, "".join(letter for letter in "TZYX" if letter in sizes)
