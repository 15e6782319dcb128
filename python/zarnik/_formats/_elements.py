"""Elements that lie in a file one behind the other: mapped, read in part, decompressed as far as needed, or written."""

from __future__ import annotations

import io
import json
import math
import mmap
import os
from collections.abc import Callable, Iterator, Mapping
from typing import TYPE_CHECKING, Any, BinaryIO

import numpy

import zarnik._classes as _classes
from zarnik import _axes, _direct, _lazy
from zarnik._enumerations import ImageInterpretation
from zarnik._tiles import stamp_of
from zarnik._types import as_data_type

if TYPE_CHECKING:
    from zarnik.plugins import Progress, Source

    Array = numpy.ndarray[Any, Any]

# What is read or written at once, and from which size on decompressed elements go to a temporary file.
_PIECE = 1 << 18
_BLOCK = 1 << 24
_IN_MEMORY = 1 << 28
# How much longer than its compressed form anything can be: deflate by its format, bzip2 by what runs of zeros give.
_MOST = {"gzip": 1040, "deflate": 1040, "bzip2": 30000}
#: the child of the metadata, or the name in a header, under which `description` is kept
DESCRIPTION = "zarnik"


def size_of(source: Source) -> int:
    """The bytes of a file."""
    return os.path.getsize(source.path) if source.path is not None else len(source.access())


def identity_of(source: Source, *parts: Any) -> Any:
    """What tells a local file, as it is now, and something in it from all others; None if nothing does."""
    stamp = None if source.path is None else stamp_of(source.path)
    return None if stamp is None else (stamp, *parts)


def beside(source: Source, name: str) -> Source:
    """A file in the folder of a local one."""
    from zarnik.plugins import Source

    if source.path is None:
        raise _classes.Error(f"{source.name!r} has its elements in {name!r}, which only local files can")
    return Source(os.path.join(os.path.dirname(source.path), name), source.mode)


def elements(source: Source, offset: int, shape: tuple[int, ...], dtype: Any, axes: str) -> Any:
    """Return what a file has from an offset on, in C order: a mapped array of a local file, else an image.

    What `image_of` takes; of foreign byte order, elements are converted when they are read.

    :raises Error: if the file is too short.
    """
    dtype = numpy.dtype(dtype)
    _check_fit(source.name, offset, shape, dtype, size_of(source))
    if source.path is not None:
        mapped: Any = numpy.ndarray(shape, dtype, memory_of(source), offset)
        return Lazy(shape, dtype, mapped.__getitem__) if dtype.kind == "c" else mapped
    if dtype.isnative and dtype.kind in "iuf":
        return _lazy.open_raw(source.access(), shape, dtype, axes, offset=offset)
    parts = 2 if dtype.kind == "c" else 1
    unsigned = numpy.dtype(f"u{dtype.itemsize // parts}")
    raw: Any = _lazy.open_raw(source.access(), (math.prod(shape) * parts,), unsigned, "X", offset=offset)

    def read(key: Any) -> Array:
        # Whole parts along the slowest axis: what is wanted of them, and no more of them than lie between.
        first, stop = key[0].start, key[0].stop
        row = math.prod(shape[1:]) * parts
        numbers = raw[first * row : stop * row].view(dtype).reshape(stop - first, *shape[1:])
        within = (slice(None), *key[1:])
        part: Array = numbers[within]
        return part

    return Lazy(shape, dtype, read)


def memory_of(source: Source) -> mmap.mmap:
    """Map a local file, to write into in mode "r+": an array over it takes a fifth of what `numpy.memmap` does."""
    is_writable = source.mode == "r+"
    with io.FileIO(str(source.path), "r+" if is_writable else "r") as file:
        return mmap.mmap(file.fileno(), 0, access=mmap.ACCESS_WRITE if is_writable else mmap.ACCESS_READ)


def _check_fit(name: str, offset: int, shape: tuple[int, ...], dtype: numpy.dtype[Any], size: int) -> None:
    if min(shape, default=0) < 1:
        raise _classes.Error(f"{name!r} has no elements: its shape is {shape}")
    if offset < 0:
        raise _classes.Error(f"the elements of {name!r} begin at byte {offset}")
    wanted = math.prod(shape) * dtype.itemsize
    if offset + wanted > size:
        raise _classes.Error(
            f"{name!r} is cut, or its header wrong: {wanted} bytes of elements from byte {offset} on, it has {size}"
        )


class Lazy:
    """What `from_array` takes: a shape, a type, and a function that reads the part of a key of slices."""

    def __init__(self, shape: tuple[int, ...], dtype: Any, read: Any, chunks: tuple[int, ...] | None = None) -> None:
        self.shape = tuple(shape)
        self.dtype = numpy.dtype(dtype)
        self.chunks = chunks
        self._read = read

    def __getitem__(self, key: tuple[slice, ...]) -> Any:
        return self._read(key)


class Inflated:
    """The bytes of a compressed file, decompressed once, as far as they have been asked for.

    A region of a file that is compressed as a whole costs what lies before it, but only the first time. More than
    256 MiB are kept in a temporary file, which goes with this object.

    :param begin: Where in the file the compressed bytes begin.
    :param size: How many bytes there are to be when decompressed.
    """

    def __init__(self, source: Source, begin: int, size: int, kind: str = "gzip") -> None:
        import threading

        self._source, self._position, self._kind = source, begin, kind
        compressed = size_of(source) - begin
        if size > compressed * _MOST[kind] + _PIECE:
            raise _classes.Error(
                f"{source.name!r} is cut, or its header wrong: {size} bytes cannot come of {max(compressed, 0)}"
            )
        self.size = size
        self._done = 0
        self._lock = threading.Lock()
        self._machine = _machine(kind)
        self._file: Any = None
        self._bytes: Any = None

    def upto(self, end: int) -> Any:
        """Return an array of all bytes, of which those before an offset have been decompressed.

        :raises Error: if there are fewer, or they are damaged.
        """
        with self._lock:
            if self._bytes is None:
                self._bytes = self._room()
            if self._done < end:
                self._decompress(min(end, self.size))
            return self._bytes

    def _room(self) -> Array:
        if self.size <= _IN_MEMORY:
            return numpy.empty(self.size, numpy.uint8)
        import tempfile

        # Written as a file is, not through the mapping: a full disk is an error then, not a signal.
        self._file = tempfile.TemporaryFile()  # noqa: SIM115
        self._file.truncate(self.size)
        return numpy.frombuffer(mmap.mmap(self._file.fileno(), self.size, access=mmap.ACCESS_READ), numpy.uint8)

    def _decompress(self, end: int) -> None:
        with self._source.file() as file:
            file.seek(self._position)
            try:
                for piece in self._pieces(file, end):
                    count = len(piece)
                    if self._file is None:
                        self._bytes[self._done : self._done + count] = numpy.frombuffer(piece, numpy.uint8)
                    else:
                        self._file.write(piece)
                        self._file.flush()
                    self._done += count
            except _damages() as error:
                raise _classes.Error(f"{self._source.name!r} is damaged at byte {self._position}: {error}") from error
        if self._done < end:
            raise _classes.Error(f"{self._source.name!r} is cut: {self._done} of {self.size} bytes are there")

    def _pieces(self, file: BinaryIO, end: int) -> Iterator[bytes]:
        machine = self._machine
        while self._done < end:
            most = min(self.size - self._done, 4 * _PIECE)
            waiting = getattr(machine, "unconsumed_tail", b"")
            data = waiting
            if machine.eof:
                # Another one behind the first is its continuation.
                data = machine.unused_data.lstrip(b"\0") or self._more(file)
                if not data or self._kind == "deflate":
                    return
                machine = self._machine = _machine(self._kind)
            elif not waiting and getattr(machine, "needs_input", True):
                data = self._more(file)
                if not data:
                    return
            piece = machine.decompress(data, most)
            if piece:
                yield piece
        if self._done == self.size and not machine.eof:
            # The check sum stands behind the last byte.
            machine.decompress(getattr(machine, "unconsumed_tail", b"") + file.read(64), 1)

    def _more(self, file: BinaryIO) -> bytes:
        data = file.read(_PIECE)
        self._position += len(data)
        return data

    def elements(self, offset: int, shape: tuple[int, ...], dtype: Any) -> Lazy:
        """Return the elements from an offset of the decompressed bytes on, in C order, for `image_of`."""
        dtype = numpy.dtype(dtype)
        _check_fit(self._source.name, offset, shape, dtype, self.size)
        strides = [math.prod(shape[axis + 1 :]) for axis in range(len(shape))]
        count = math.prod(shape) * dtype.itemsize

        def read(key: tuple[slice, ...]) -> Array:
            last = sum((place.stop - 1) * stride for place, stride in zip(key, strides))
            data = self.upto(offset + (last + 1) * dtype.itemsize)
            part: Array = data[offset : offset + count].view(dtype).reshape(shape)[key]
            return part

        return Lazy(shape, dtype, read)


def _machine(kind: str) -> Any:
    if kind != "bzip2":
        import zlib

        return zlib.decompressobj(-15 if kind == "deflate" else 47)  # of gzip or zlib, as its beginning tells
    import bz2

    return bz2.BZ2Decompressor()


def _damages() -> tuple[type[Exception], ...]:
    import zlib

    return (zlib.error, OSError, EOFError, ValueError)


def beginning(head: bytes, count: int) -> bytes:
    """Return the first bytes of a file by its head, decompressed if it is compressed by gzip."""
    if not head.startswith(b"\x1f\x8b"):
        return head[:count]
    try:
        return bytes(_machine("gzip").decompress(head, count))
    except _damages():
        return b""


def scaled(array: Any, axes: str, scale: float, offset: float) -> Any:
    """Return an image of scale * element + offset in double precision, computed when it is read."""
    from zarnik.plugins import image_of

    image = array if isinstance(array, _classes.ImageView) else image_of(array, axes)
    return _direct.map_linearly(image, as_data_type("float64").get_id(), scale, offset)


# ---- what to write ---------------------------------------------------------------------------------------------------


def axes_of(image: Any) -> str:
    """The axes of an image that is saved.

    :raises Error: if they are unknown.
    """
    if image.axes is None:
        raise _classes.Error("the axes of this image are unknown: rename_axes names them")
    return str(image.axes)


def sizes_of(image: Any) -> dict[str, int]:
    """The size along each axis by its letter."""
    return dict(zip(axes_of(image), image.shape))


def blocks(image: Any, order: str) -> Iterator[Array]:
    """Go over the elements in C order of axes, in contiguous arrays of some MiB, each with all axes of the image.

    :param order: The letters of the image's axes, slowest first.
    """
    axes = axes_of(image)
    sizes = sizes_of(image)
    turn = [axes.index(letter) for letter in order]
    try:
        shared = image.to_numpy(copy=False).transpose(turn)
    except ValueError:
        shared = None
    row = image.dtype.itemsize
    split = len(order)
    while split and row * sizes[order[split - 1]] <= _BLOCK:
        split -= 1
        row *= sizes[order[split]]
    if split == 0:
        split, row = 1, row // sizes[order[0]]
    step = max(_BLOCK // row, 1)
    outer = [sizes[letter] for letter in order[: split - 1]]
    for index in numpy.ndindex(*outer):
        for first in range(0, sizes[order[split - 1]], step):
            key = (*(slice(i, i + 1) for i in index), slice(first, first + step))
            part = shared[key] if shared is not None else image.isel(**dict(zip(order, key))).transpose(turn)
            yield numpy.ascontiguousarray(part)


def write_elements(file: Any, image: Any, order: str, progress: Progress, dtype: Any = None) -> None:
    """Write the elements of an image to a file in C order of axes, as `blocks` goes over them."""
    done = 0
    for block in blocks(image, order):
        data = block if dtype is None else block.astype(dtype, copy=False)
        file.write(data.reshape(-1).view(numpy.uint8).data)
        done += block.nbytes
        progress(done, image.nbytes)


def description_of(image: Any, without: str) -> str | None:
    """Return what a format has no place for as text, for a format that has a place for text; None if it is nothing.

    :param without: The child of the metadata that is the header of the format.
    """
    told = told_of(image)
    metadata = {key: value for key, value in image.metadata.to_dict().items() if key != without}
    if metadata:
        told["metadata"] = json.loads(_classes.MetadataNode.from_dict(metadata).to_json())
    return json.dumps({DESCRIPTION: told}) if told else None


def description_with(text: str | None, **more: Any) -> str:
    """Return the text of `description_of` that tells more."""
    told = json.loads(text)[DESCRIPTION] if text else {}
    return json.dumps({DESCRIPTION: {**told, **more}})


def told_of(image: Any) -> dict[str, Any]:
    """What the properties of an image tell of its values, unless any image of its type would tell that."""
    usual = _classes.ImageProperties.from_data_type(image.get_data_type()).image_info()
    told: dict[str, Any] = {}
    if tuple(image.value_range) != tuple(usual.get_value_range()):
        told["value_range"] = list(image.value_range)
    if image.interpretation != ImageInterpretation.UNKNOWN:
        told["interpretation"] = getattr(image.interpretation, "name", int(image.interpretation))
    if image.bit_depth != usual.get_bit_depth():
        told["bit_depth"] = image.bit_depth
    if image.properties.image_info().get_alpha():
        told["alpha"] = True
    return told


def described_by(
    text: str | None, header: Callable[[], Mapping[str, Any]] | None, name: str, **told: Any
) -> dict[str, Any]:
    """Return the arguments of `image_of` for what a file tells, and what `description_of` wrote into it.

    :param header: Returns the header of the file, which becomes the child of a name of the metadata; None if there is
        none.
    """
    metadata: dict[str, Any] = {}
    try:
        if text:
            kept = json.loads(text)[DESCRIPTION]
            metadata = _classes.MetadataNode.from_json(json.dumps(kept.pop("metadata", {}))).to_dict()
            known = ("value_range", "interpretation", "bit_depth", "alpha", "unit", "affine")
            told.update({key: value for key, value in kept.items() if key in known})
            names = metadata.pop("channel_names", None)
            if isinstance(names, (str, list)):
                told["channel_names"] = names
    except (ValueError, TypeError, KeyError, AttributeError, RecursionError, _classes.Error):
        metadata = {}  # text of somebody else, which is in the header
    return {**told, "metadata": metadata if header is None else lambda: {**metadata, name: header()}}


def losses_of(image: Any, *keeps: str, without: str = "") -> list[str]:
    """Return what of an image is lost by a format that has no place for text, but for what it keeps.

    :param keeps: Of "spacing", "origin", "directions", "unit", "interpretation", "value_range", "bit_depth", "alpha",
        "channel_names" and "metadata".
    :param without: The child of the metadata that is the header of the format.
    """
    losses = []
    told = told_of(image)
    metadata = image.metadata.to_dict()
    names = metadata.pop("channel_names", None)
    metadata.pop(without, None)
    matrix = image.affine
    turned = numpy.abs(matrix[:3, :3] - numpy.diag(image.spacing)).max() > 1e-9 or image.spacing[2] < 0
    for name, is_there, what in (
        ("spacing", image.spacing != (1, 1, 1), f"the spacing {image.spacing}"),
        ("origin", any(image.origin), f"the origin {image.origin}"),
        ("directions", turned, "the directions of the axes"),
        ("unit", bool(image.unit), f"the unit {image.unit!r}"),
        ("interpretation", "interpretation" in told, f"the interpretation {told.get('interpretation')}"),
        ("value_range", "value_range" in told, f"the value range {image.value_range}"),
        ("bit_depth", "bit_depth" in told, f"the bit depth {image.bit_depth}"),
        ("alpha", "alpha" in told, "that the last channel is alpha"),
        ("channel_names", names is not None, "the names of the channels"),
        ("metadata", bool(metadata), f"the metadata ({', '.join(list(metadata)[:5])})"),
    ):
        if is_there and name not in keeps:
            losses.append(what)
    return losses


def unit_of(text: str) -> str:
    """The usual symbol of a unit of length, or what is given."""
    return _UNITS.get(text.strip().lower(), text.strip())


ANGSTROM = "\N{LATIN CAPITAL LETTER A WITH RING ABOVE}"
_UNITS = {
    **dict.fromkeys(("um", "\N{MICRO SIGN}m", "\N{GREEK SMALL LETTER MU}m", "micron", "microns"), "\N{MICRO SIGN}m"),
    **dict.fromkeys(("micrometer", "micrometre"), "\N{MICRO SIGN}m"),
    **dict.fromkeys(("millimeter", "millimetre", "millimeters"), "mm"),
    **dict.fromkeys(("meter", "metre", "meters"), "m"),
    **dict.fromkeys(("centimeter", "centimetre"), "cm"),
    **dict.fromkeys(("nanometer", "nanometre"), "nm"),
    **dict.fromkeys(("angstrom", "angstroms", ANGSTROM.lower()), ANGSTROM),
    "unknown": "",
}


def affine_with_extent(matrix: Any) -> Array:
    """Return a matrix whose axes all have an extent: one without stands on the others, as that of a picture does."""
    affine = numpy.array(matrix, float)
    if not numpy.isfinite(affine).all():
        raise _classes.Error(f"the numbers of an affine matrix are finite, got {affine.tolist()}")
    has_extent: Any = affine[:3, :3].any(axis=0)
    for axis in range(3):
        if has_extent[axis]:
            continue
        one, other = (affine[:3, (axis + step) % 3] for step in (1, 2))
        across = numpy.cross(one, other)
        if not across.any():
            across = next(unit for unit in numpy.eye(3) if abs(unit @ one) < 1e-9 and abs(unit @ other) < 1e-9)
        affine[:3, axis] = across / numpy.linalg.norm(across)
    return affine


def letters_of_rank(rank: int, axes: Any, what: str) -> str:
    """The axes of an array in a file that does not tell them: those given, or X, YX, ZYX or TZYX."""
    return _axes.letters(_axes.dimensions_of_array(axes, (1,) * rank, what))
