"""Datasets of HDF5, through h5py."""

from __future__ import annotations

import math
import os
import zlib
from collections.abc import Callable, Sequence
from typing import TYPE_CHECKING, Any

import numpy

import zarnik._classes as _classes
from zarnik._formats import _elements
from zarnik._tiles import TiledArray
from zarnik.plugins import Format, Series, Source, image_of

if TYPE_CHECKING:
    from zarnik.plugins import Progress

_MAGIC = b"\x89HDF\r\n\x1a\n"
# A file may begin with something else: its own beginning stands at one of these then.
_BEGINNINGS = (0, 512, 1024, 2048)
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
        if dataset is not None:
            found = h5py.File(file).get(dataset)
            if not isinstance(found, h5py.Dataset):
                there = ", ".join(_datasets(file)) or "none"
                raise _classes.InvalidArgument(f"there is no dataset {dataset!r} in {source.name!r}, but {there}")
            problem = _problem(found)
            if problem:
                raise _classes.Error(f"dataset {dataset!r} of {source.name!r} {problem}")
            return [_series(source, dataset, found, axes)]
        return [_series(source, name, one, axes) for name, one in _datasets(file).items() if not _problem(one)]

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
        with h5py.File(path, "w") as file:
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
                done += block.nbytes
                progress(done, image.nbytes)


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


def _datasets(file: Any) -> dict[str, Any]:
    """The datasets of a file by their paths. What lies behind links to other files is not looked for."""
    from h5py import Dataset, h5d, h5o

    found = {}

    def visit(name: bytes) -> None:
        # A group would open each with property lists of its own, which takes ten times as long.
        one = h5o.open(file, name)
        if isinstance(one, h5d.DatasetID):
            found[name.decode("utf-8", "surrogateescape")] = Dataset(one, readonly=True)

    h5o.visit(file, visit)
    return found


def _problem(dataset: Any) -> str | None:
    """Why a dataset is no image."""
    try:
        dtype = dataset.dtype
    except (TypeError, ValueError) as error:
        return f"has elements that NumPy has not: {error}"
    if dtype.kind not in "iufcb" or dtype.itemsize > 16 or dtype in (numpy.longdouble, numpy.clongdouble):
        return f"has elements of {dtype}, which are no numbers of an image"
    if dataset.shape is None or not 1 <= len(dataset.shape) <= 5:
        return f"is of shape {dataset.shape}, an image has 1 to 5 axes"
    if 0 in dataset.shape:
        return f"has no elements: its shape is {dataset.shape}"
    return None


def _series(source: Source, name: str, dataset: Any, axes: Any) -> Series:
    def make() -> Any:
        letters, told = _told(dataset, axes, name)
        return image_of(_array(source, dataset), letters, **told)

    return Series(name, [make], {"chunks": dataset.chunks, "compression": dataset.compression})


def _array(source: Source, dataset: Any) -> Any:
    dtype = dataset.dtype
    offset = dataset.id.get_offset()
    if (
        source.path is not None
        and offset is not None
        and dataset.chunks is None
        and dataset.compression is None
        and not dataset.external
        and not dataset.is_virtual
        and dtype.kind != "c"
    ):
        return _elements.elements(source, offset, dataset.shape, dtype, "")
    if dataset.chunks is None or dataset.is_virtual or not _filters(dataset):
        return _Direct(dataset)
    identity = _elements.identity_of(source, dataset.name)
    return TiledArray(dataset.shape, dtype, dataset.chunks, _Chunks(dataset), identity=identity)


class _Direct:
    """A dataset that is read into what wants it, where that lies in the order of the file."""

    def __init__(self, dataset: Any) -> None:
        self._dataset = dataset
        self.shape, self.dtype, self.chunks = dataset.shape, dataset.dtype, dataset.chunks

    def __getitem__(self, key: Any) -> Any:
        return self._dataset[key]

    def read_into(self, origin: Sequence[int], out: Any) -> None:
        key = tuple(slice(first, first + count) for first, count in zip(origin, out.shape))
        if out.flags.c_contiguous:
            self._dataset.read_direct(out, key)
        else:
            out[...] = self._dataset[key]


def _filters(dataset: Any) -> list[int]:
    """The numbers of the filters that a chunk goes through when it is written."""
    properties = dataset.id.get_create_plist()
    return [properties.get_filter(place)[0] for place in range(properties.get_nfilters())]


class _Chunks:
    """Decodes chunks: those of deflate on any thread, while h5py itself does one thing at a time."""

    def __init__(self, dataset: Any) -> None:
        from h5py import h5z

        self._dataset, self._chunks = dataset, dataset.chunks
        deflate, shuffle = h5z.FILTER_DEFLATE, h5z.FILTER_SHUFFLE
        filters = _filters(dataset)
        self._is_shuffled = filters == [shuffle, deflate]
        self._is_deflate = (filters == [deflate] or self._is_shuffled) and dataset.dtype.kind in "iuf"
        self._bytes = math.prod(self._chunks) * dataset.dtype.itemsize

    def __call__(self, index: tuple[int, ...], fetched: Any) -> Any:
        begin = tuple(place * chunk for place, chunk in zip(index, self._chunks))
        if self._is_deflate:
            chunk = self._inflated(begin)
            if chunk is not None:
                return chunk
        return self._dataset[tuple(slice(first, first + chunk) for first, chunk in zip(begin, self._chunks))]

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
            raise _classes.Error(f"the chunk at {begin} of {self._dataset.name!r} is cut")
        dtype = self._dataset.dtype
        if self._is_shuffled:
            data = numpy.frombuffer(data, numpy.uint8).reshape(dtype.itemsize, -1).T.tobytes()
        return numpy.frombuffer(data, dtype).reshape(self._chunks)


def _told(dataset: Any, axes: Any, name: str) -> tuple[str, dict[str, Any]]:
    attributes = dataset.attrs

    # Each takes the library some tens of microseconds: those that are only metadata are read with these.
    def value_of(key: str) -> Any:
        return _readable(attributes, key) if key in attributes else None

    def header() -> dict[str, Any]:
        return {key: _readable(attributes, key) for key in attributes if key != _elements.DESCRIPTION}

    rank = len(dataset.shape)
    if axes is None:
        axes = _axes_by(value_of, rank)
    letters = _elements.letters_of_rank(rank, axes, f"dataset {name!r}")
    told: dict[str, Any] = {}
    affine = value_of("affine")
    if isinstance(affine, numpy.ndarray) and affine.shape == (4, 4) and affine.dtype.kind == "f":
        told["affine"] = affine
    else:
        # As microscopes and ImageJ have it: along Z, Y, X.
        micrometres = value_of("element_size_um")
        if isinstance(micrometres, numpy.ndarray) and micrometres.shape == (3,) and (micrometres > 0).all():
            told |= {"spacing": micrometres[::-1].tolist(), "unit": "\N{MICRO SIGN}m"}
        for key in ("spacing", "origin"):
            value = value_of(key)
            if (
                isinstance(value, numpy.ndarray)
                and value.shape == (3,)
                and numpy.isfinite(value).all()
                and (key == "origin" or value.all())
            ):
                told[key] = value.tolist()
    unit, text = value_of("unit"), value_of(_elements.DESCRIPTION)
    if isinstance(unit, str):
        told["unit"] = unit
    return letters, _elements.described_by(text if isinstance(text, str) else None, header, "HDF5", **told)


def _readable(attributes: Any, key: str) -> Any:
    try:
        value = attributes[key]
    except (OSError, TypeError, ValueError) as error:
        return f"cannot be read: {error}"
    return value.decode("utf-8", "replace") if isinstance(value, bytes) else value


def _axes_by(value_of: Callable[[str], Any], rank: int) -> str | None:
    for key in ("DIMENSION_LABELS", "axes", "DIMENSION_ORDER"):
        text = value_of(key)
        if key == "DIMENSION_LABELS":
            # As an attribute like others: the library's own function for labels crashes on damaged ones.
            labels = [] if text is None else numpy.ravel(text).tolist()
            labels = [one.decode("utf-8", "replace") if isinstance(one, bytes) else str(one) for one in labels]
            text = "".join(label[:1] for label in labels)
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
