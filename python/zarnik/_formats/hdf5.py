"""Datasets of HDF5, through h5py."""

from __future__ import annotations

import io
import math
import operator
import os
import zlib
from collections.abc import Sequence
from functools import lru_cache
from typing import TYPE_CHECKING, Any

import numpy

import zarnik._classes as _classes
from zarnik._formats import _elements
from zarnik._tiles import TiledArray, parts_of_tiles
from zarnik.plugins import Format, Series, Source, image_of

if TYPE_CHECKING:
    from zarnik.plugins import Progress

_MAGIC = b"\x89HDF\r\n\x1a\n"
# A file may begin with something else: its own beginning stands at one of these then.
_BEGINNINGS = (0, 512, 1024, 2048)
_NUMBER = numpy.dtype(float)
_WIDEST = (numpy.dtype(numpy.longdouble), numpy.dtype(numpy.clongdouble))
# From this size on a chunk is found in less time than the library reads it as a whole.
_LARGE_CHUNK_BYTES = 1 << 16
_ATTRIBUTES = ("spacing", "origin", "affine", "unit", "axes")


class HDF5(Format):
    """Each dataset of numbers is an image; its chunks are tiles, and one that lies in one piece is mapped."""

    name = "HDF5"
    suffixes = (".h5", ".hdf5", ".hdf", ".he5")
    extra = "hdf5"
    requires = ("h5py",)
    can_write = True

    def recognizes(self, source: Source) -> bool:
        return any(source.head[at : at + 8] == _MAGIC for at in _BEGINNINGS)

    def open(self, source: Source, *, dataset: str | None = None, axes: Any = None) -> list[Series]:  # type: ignore[override]
        """Open all datasets of numbers with 1 to 5 axes, or one.

        HDF5's library trusts its files: one that was damaged or made on purpose may keep it busy for ever, or end the
        process. Open what strangers send in a process of its own, with a limit of time, as `zarnik convert` is one.

        :param dataset: The path of one in the file, such as "entry/data".
        :param axes: The axes of the dataset, slowest first, if its dimension scales or attributes do not tell.
        """
        import h5py

        file = _opened(source)
        # What somebody in this process writes is in the file when the library thinks fit.
        is_in_file = file.get_intent() == h5py.h5f.ACC_RDONLY
        if dataset is not None:
            found = h5py.Group(file).get(dataset)
            if not isinstance(found, h5py.Dataset):
                there = ", ".join(_identifiers(file)) or "none"
                raise _classes.InvalidArgument(f"there is no dataset {dataset!r} in {source.name!r}, but {there}")
            # Behind a link to another file it is there.
            is_in_file = is_in_file and h5py.h5f.get_name(found.id) == h5py.h5f.get_name(file)
            one = _Dataset(dataset, found.id)
            if one.problem:
                raise _classes.Error(f"dataset {dataset!r} of {source.name!r} {one.problem}")
            return [_series(source, one, axes, is_in_file)]
        every = (_Dataset(name, one) for name, one in _identifiers(file).items())
        return [_series(source, one, axes, is_in_file) for one in every if not one.problem]

    def save(  # type: ignore[override]
        self,
        path: str,
        image: Any,
        *,
        progress: Progress,
        dataset: str = "image",
        chunks: Sequence[int] | bool | None = True,
        compression: str | int | None = None,
    ) -> None:
        """Write a dataset with the calibration and the metadata as attributes.

        :param dataset: Its path in the file.
        :param chunks: The shape of the chunks, True for one that h5py chooses, None for a dataset in one piece, which
            can be mapped.
        :param compression: What h5py takes, such as "gzip" or "lzf"; it needs chunks.
        """
        import h5py

        axes = _elements.axes_of(image)
        shape = tuple(image.shape)
        if chunks is not None and chunks is not True and chunks is not False:
            chunks = tuple(min(int(chunk), size) for chunk, size in zip(chunks, shape))
        with _Output(path) as output, h5py.File(output, "w") as file:
            made = file.create_dataset(dataset, shape, image.dtype, chunks=chunks or None, compression=compression)
            for axis, letter in enumerate(axes):
                made.dims[axis].label = letter.lower()
            made.attrs["spacing"] = image.spacing
            made.attrs["origin"] = image.origin
            made.attrs["affine"] = image.affine
            made.attrs["unit"] = image.unit
            made.attrs["axes"] = axes
            for name, value in image.metadata.to_dict().get(self.name, {}).items():
                if name not in _ATTRIBUTES and isinstance(value, (str, int, float, numpy.ndarray)):
                    made.attrs[name] = value
            text = _elements.description_of(image, self.name)
            if text:
                made.attrs[_elements.DESCRIPTION] = text
            done = 0
            for place in _parts(shape, made.chunks, image.dtype.itemsize):
                block = numpy.ascontiguousarray(image[place])
                made[place] = block
                output.check()
                done += block.nbytes
                progress(done, image.nbytes)


class _Output(io.FileIO):
    """A file that seems to take all that is written, and tells at its end what it could not take.

    HDF5's library cannot close a file whose disk is full, and would end the process later.
    """

    def __init__(self, path: str) -> None:
        super().__init__(path, "w+")
        self._problem: OSError | None = None

    def write(self, data: Any) -> int:
        rest = memoryview(data).cast("B")
        size = len(rest)
        try:
            while self._problem is None and rest:
                rest = rest[super().write(rest) :]
        except OSError as problem:
            self._problem = problem
        return size

    def truncate(self, size: int | None = None) -> int:
        try:
            return super().truncate(size)
        except OSError as problem:
            self._problem = problem
        return self.tell() if size is None else size

    def check(self) -> None:
        """:raises OSError: if not all was written."""
        if self._problem is not None:
            raise self._problem

    def __exit__(self, kind: Any, error: Any, trace: Any) -> None:
        super().__exit__(kind, error, trace)
        self.check()


# How h5py opens files: what it has set for one is told with others, which takes half of the time.
_access: Any = None


def _opened(source: Source) -> Any:
    """The identifier of a file, which stays open as long as that of anything in it."""
    global _access
    import h5py

    if source.path is None:
        return h5py.File(source.file(), "r").id
    if _access is None:
        file = h5py.File(source.path, "r").id
        _access = file.get_access_plist()
        return file
    path = source.path.encode() if os.name == "nt" else os.fsencode(source.path)
    return h5py.h5f.open(path, h5py.h5f.ACC_RDONLY, fapl=_access)


def _identifiers(file: Any) -> dict[str, Any]:
    """Those of the datasets of a file by their paths. What lies behind links to other files is not looked for."""
    import h5py

    opened, is_dataset, hard = h5py.h5o.open, h5py.h5d.DatasetID, h5py.h5l.TYPE_HARD
    found: dict[str, Any] = {}
    known = set()

    # Links, since a visit to objects walks through the index of all chunks of each to tell how large that is.
    def visit(name: bytes, link: Any) -> None:
        if link.type == hard and link.u not in known:
            known.add(link.u)
            # A group would open each with property lists of its own, which takes ten times as long.
            one = opened(file, name)
            if isinstance(one, is_dataset):
                found[name.decode("utf-8", "surrogateescape")] = one

    file.links.visit(visit, info=True)
    return found


class _Dataset:
    """What the identifier of a dataset tells, each asked for once, since any answer is an object of the library's.

    Attributes:
        problem: Why it is no image, None if it is one: all others are there only then.
        is_plain: Whether the elements in the file are those of an array. Numbers of fewer bits than their bytes have,
            and other floating point numbers than those of NumPy, are not.
        chunks: The shape of a chunk, None if there are none.
        filters: The numbers of those that a chunk goes through when it is written.
        offset: Where the elements are in the file, None if they are not there in one piece.
    """

    def __init__(self, name: str, one: Any) -> None:
        import h5py

        self.name, self.id = name, one
        try:
            stored = one.get_type()
            self.dtype = stored.dtype
        except (TypeError, ValueError) as error:
            self.problem: str | None = f"has elements that NumPy has not: {error}"
            return
        self.shape = one.shape
        self.problem = _problem(self.dtype, self.shape)
        if self.problem:
            return
        # Enumerations are integers by name only.
        self.is_plain = stored == _type_of(self.dtype) or stored == h5py.h5t.py_create(self.dtype, logical=True)
        made = one.get_create_plist()
        layout = made.get_layout()
        self.chunks: Any = made.get_chunk() if layout == h5py.h5d.CHUNKED else None
        self.filters = [made.get_filter(place)[0] for place in range(made.get_nfilters())] if self.chunks else []
        is_whole = layout == h5py.h5d.CONTIGUOUS and not made.get_external_count()
        # Where nothing was written the offset is none, but behind a user block it is one that is none any more.
        is_whole = is_whole and one.get_space_status() == h5py.h5d.SPACE_STATUS_ALLOCATED
        self.offset = one.get_offset() if is_whole else None

    @property
    def path(self) -> str:
        """Where it is in its file, whatever name it was opened by."""
        from h5py import h5i

        return os.fsdecode(h5i.get_name(self.id) or b"")


@lru_cache(maxsize=64)
def _type_of(dtype: Any) -> Any:
    """The type by which HDF5's library reads elements of NumPy's."""
    from h5py import h5t

    return h5t.py_create(dtype)


def _problem(dtype: Any, shape: Any) -> str | None:
    if dtype.kind not in "iufcb" or dtype.itemsize > 16 or dtype in _WIDEST:
        return f"has elements of {dtype}, which are no numbers of an image"
    if shape is None or not 1 <= len(shape) <= 5:
        return f"is of shape {shape}, an image has 1 to 5 axes"
    if 0 in shape:
        return f"has no elements: its shape is {shape}"
    return None


def _series(source: Source, dataset: _Dataset, axes: Any, is_in_file: bool) -> Series:
    def make() -> Any:
        letters, told = _told(dataset, axes)
        return image_of(_array(source, dataset, is_in_file), letters, **told)

    compression = None
    if dataset.filters:
        from h5py import Dataset

        compression = Dataset(dataset.id).compression
    return Series(dataset.name, [make], {"chunks": dataset.chunks, "compression": compression})


def _array(source: Source, dataset: _Dataset, is_in_file: bool) -> Any:
    if dataset.filters:
        identity = _elements.identity_of(source, dataset.path) if is_in_file else None
        return TiledArray(dataset.shape, dataset.dtype, dataset.chunks, _Chunks(dataset), identity=identity)
    if source.path is not None and is_in_file and dataset.is_plain and dataset.dtype.kind != "c":
        if dataset.offset is not None:
            return _elements.elements(source, dataset.offset, dataset.shape, dataset.dtype, "")
        if dataset.chunks and _Mapped.is_worth_it(dataset):
            return _Mapped(dataset, _elements.memory_of(source))
    return _Direct(dataset)


class _Direct:
    """A dataset that is read into what wants it, where that lies in the order of the file."""

    def __init__(self, dataset: _Dataset) -> None:
        self._id = dataset.id
        self.shape, self.dtype, self.chunks = dataset.shape, dataset.dtype, dataset.chunks

    def __getitem__(self, key: tuple[slice, ...]) -> Any:
        out = numpy.empty([place.stop - place.start for place in key], self.dtype)
        self.read_into([place.start for place in key], out)
        return out

    def read_into(self, origin: Sequence[int], out: Any) -> None:
        from h5py import h5s

        target = out if out.flags.c_contiguous else numpy.empty(out.shape, self.dtype)
        place = self._id.get_space()
        place.select_hyperslab(tuple(origin), out.shape)
        self._id.read(h5s.create_simple(out.shape), place, target, _type_of(self.dtype))
        if target is not out:
            out[...] = target


class _Mapped(_Direct):
    """Chunks that lie in a file as they are, of which the library would read whole ones."""

    def __init__(self, dataset: _Dataset, memory: Any) -> None:
        super().__init__(dataset)
        self._memory = memory

    @staticmethod
    def is_worth_it(dataset: _Dataset) -> bool:
        from h5py import h5i

        if math.prod(dataset.chunks) * dataset.dtype.itemsize < _LARGE_CHUNK_BYTES:
            return False
        # Some versions of the library tell places behind a user block, others before it.
        return bool(h5i.get_file_id(dataset.id).get_create_plist().get_userblock() == 0)

    def read_into(self, origin: Sequence[int], out: Any) -> None:
        chunks, memory, place_of = self.chunks, self._memory, self._id.get_chunk_info_by_coord
        last = len(memory) - math.prod(chunks) * self.dtype.itemsize
        for index, source, target in parts_of_tiles(origin, out.shape, chunks):
            offset = place_of(tuple(map(operator.mul, index, chunks))).byte_offset
            if offset is None or offset > last:  # never written, or not there: the library tells
                _Direct.read_into(self, origin, out)
                return
            out[target] = numpy.ndarray(chunks, self.dtype, memory, offset)[source]


class _Chunks:
    """Decodes chunks: those of deflate on any thread, while h5py itself does one thing at a time."""

    def __init__(self, dataset: _Dataset) -> None:
        from h5py import h5z

        self._dataset, self._chunks, self._decoded = dataset, dataset.chunks, _Direct(dataset)
        deflate, shuffle = h5z.FILTER_DEFLATE, h5z.FILTER_SHUFFLE
        self._is_shuffled = dataset.filters == [shuffle, deflate]
        is_deflate = dataset.filters == [deflate] or self._is_shuffled
        self._is_deflate = is_deflate and dataset.is_plain and dataset.dtype.kind in "iuf"
        self._bytes = math.prod(self._chunks) * dataset.dtype.itemsize

    def __call__(self, index: tuple[int, ...], fetched: Any) -> Any:
        begin = tuple(place * chunk for place, chunk in zip(index, self._chunks))
        if self._is_deflate:
            chunk = self._inflated(begin)
            if chunk is not None:
                return chunk
        ends = (min(first + chunk, size) for first, chunk, size in zip(begin, self._chunks, self._dataset.shape))
        return self._decoded[tuple(map(slice, begin, ends))]

    def _inflated(self, begin: tuple[int, ...]) -> Any:
        try:
            skipped, data = self._dataset.id.read_direct_chunk(begin)
        except (OSError, ValueError, RuntimeError):
            return None  # one that was never written
        if skipped:
            return None
        machine = zlib.decompressobj()
        data = machine.decompress(data, self._bytes)
        if len(data) < self._bytes:
            raise _classes.Error(f"the chunk at {begin} of {self._dataset.path!r} is cut")
        dtype = self._dataset.dtype
        if self._is_shuffled:
            data = numpy.frombuffer(data, numpy.uint8).reshape(dtype.itemsize, -1).T.tobytes()
        return numpy.frombuffer(data, dtype).reshape(self._chunks)


class _Attributes:
    """The attributes of a dataset. What opening needs is read as what it usually is, which takes a third of the time:
    h5py asks for the type of each, and makes NumPy's of it and one of the library's again.
    """

    def __init__(self, one: Any) -> None:
        from h5py import h5a

        #: what h5py's own look-up asks for
        self.id = one
        self._open = h5a.open
        self._names: list[bytes] = []
        h5a.iterate(one, self._names.append)

    def __getitem__(self, name: str) -> Any:
        """The value of an attribute as h5py has it, None if there is none, or why it cannot be read."""
        from h5py import AttributeManager

        if name.encode() not in self._names:
            return None
        try:
            value = AttributeManager(self)[name]
        except (OSError, TypeError, ValueError) as error:
            return f"cannot be read: {error}"
        return value.decode("utf-8", "replace") if isinstance(value, bytes) else value

    def all(self) -> dict[str, Any]:
        from h5py import AttributeManager

        return {name: self[name] for name in AttributeManager(self) if name != _elements.DESCRIPTION}

    def numbers(self, name: str, shape: tuple[int, ...]) -> Any:
        """An array of real numbers of a shape, None if the attribute is none."""
        return self._read(name, shape, _NUMBER)

    def text(self, name: str) -> Any:
        """A text, or what else the attribute is."""
        found = self._read(name, (), _text())
        return self[name] if found is None else _decoded(found[()])

    def texts(self, name: str, count: int) -> list[str]:
        """A list of as many texts, or of what else the attribute has."""
        found = self._read(name, (count,), _text())
        if found is None:
            found = self[name]
        return [] if found is None else [_decoded(one) for one in numpy.ravel(found).tolist()]

    def _read(self, name: str, shape: tuple[int, ...], dtype: Any) -> Any:
        if name.encode() not in self._names:
            return None
        try:
            attribute = self._open(self.id, name.encode())
            # Who reads is not asked how much there is room for.
            if attribute.shape != shape:
                return None
            found = numpy.empty(shape, dtype)
            attribute.read(found, _type_of(dtype))
        except (OSError, TypeError, ValueError):
            return None  # of another kind, or damaged
        return found


@lru_cache(maxsize=1)
def _text() -> Any:
    from h5py import string_dtype

    return string_dtype()


def _decoded(text: Any) -> str:
    return text.decode("utf-8", "surrogateescape") if isinstance(text, bytes) else str(text)


def _told(dataset: _Dataset, axes: Any) -> tuple[str, dict[str, Any]]:
    attributes = _Attributes(dataset.id)
    rank = len(dataset.shape)
    if axes is None:
        axes = _axes_by(attributes, rank)
    letters = _elements.letters_of_rank(rank, axes, f"dataset {dataset.name!r}")
    told: dict[str, Any] = {}
    affine = attributes.numbers("affine", (4, 4))
    if affine is not None:
        told["affine"] = affine
    else:
        # As microscopes and ImageJ have it: along Z, Y, X.
        micrometres = attributes.numbers("element_size_um", (3,))
        if micrometres is not None and (micrometres > 0).all():
            told |= {"spacing": micrometres[::-1].tolist(), "unit": "\N{MICRO SIGN}m"}
        for key in ("spacing", "origin"):
            value = attributes.numbers(key, (3,))
            if value is not None and numpy.isfinite(value).all() and (key == "origin" or value.all()):
                told[key] = value.tolist()
    unit, text = attributes.text("unit"), attributes.text(_elements.DESCRIPTION)
    if isinstance(unit, str):
        told["unit"] = unit
    # Of the others there may be many: they are metadata, read when somebody asks for those.
    return letters, _elements.described_by(text if isinstance(text, str) else None, attributes.all, "HDF5", **told)


def _axes_by(attributes: _Attributes, rank: int) -> str | None:
    for key in ("DIMENSION_LABELS", "axes", "DIMENSION_ORDER"):
        if key == "DIMENSION_LABELS":
            # As an attribute like others: the library's own function for labels crashes on damaged ones.
            text = "".join(label[:1] for label in attributes.texts(key, rank))
        else:
            text = attributes.text(key)
        letters = str(text or "").upper()
        if len(letters) == rank and set(letters) <= set("TZYXC") and len(set(letters)) == rank:
            return letters
    return None


def _parts(shape: tuple[int, ...], chunks: tuple[int, ...] | None, itemsize: int) -> Any:
    """Keys of whole chunks, some MiB each, that cover a shape."""
    steps = list(chunks or (1,) * len(shape))
    for axis in reversed(range(len(shape))):
        size = itemsize
        for step in steps:
            size *= step
        steps[axis] *= max(min((1 << 24) // size, -(-shape[axis] // steps[axis])), 1)
    counts = [-(-size // step) for size, step in zip(shape, steps)]
    for index in numpy.ndindex(*counts):
        yield tuple(slice(i * step, min((i + 1) * step, size)) for i, step, size in zip(index, steps, shape))
