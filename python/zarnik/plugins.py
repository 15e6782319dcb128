"""Formats of files, for those who add one.

A package adds a format to `zarnik.open`, `zarnik.info` and `zarnik.save` by an entry point of the group
"zarnik.formats", which names a subclass of `Format`, or an instance of one::

    [project.entry-points."zarnik.formats"]
    mine = "my_package:MyFormat"

    class MyFormat(zarnik.plugins.Format):
        name = "Mine"
        suffixes = (".mine",)

        def recognizes(self, source):
            return source.head.startswith(b"MINE")

        def open(self, source):
            array, spacing = read_lazily(source.file())
            return [Series(None, [lambda: image_of(array, "ZYX", spacing=spacing, unit="mm")])]
"""

from __future__ import annotations

import io
import os
import re
import sys
from collections.abc import Callable, Mapping, Sequence
from functools import lru_cache
from typing import TYPE_CHECKING, Any, BinaryIO

import numpy

import zarnik._classes as _classes
from zarnik import _access, _axes, _direct, _interop, _lazy
from zarnik._calls import flat
from zarnik._drawing import counted
from zarnik._files import LossWarning
from zarnik._spatial import calibration_of_affine
from zarnik._vectors import as_vector

if TYPE_CHECKING:
    from zarnik._classes import ImageView, RandomAccess

    Progress = Callable[[int, int], None]

__all__ = ["Format", "LossWarning", "Series", "Source", "image_of", "plain"]

_HEAD = 4096
_ADDRESS = re.compile(r"([A-Za-z][A-Za-z0-9+.-]+)://")


class Source:
    """What is opened: a path or a list of paths, a URL, a bytes-like object, a binary file or an accessor.

    Attributes:
        name: The last part of the path or URL, for suffixes and messages; "" if it has none.
        path: The path of a local file or folder, else None.
        files: The paths of a list, else None.
        url: The URL of what is elsewhere, else None.
        mode: "r" to read, "r+" to write elements in place too.
    """

    def __init__(self, what: Any, mode: str = "r") -> None:
        self.what = what
        self.mode = mode
        self.path: str | None = None
        self.url: str | None = None
        self.files: list[str] | None = None
        if isinstance(what, (list, tuple)) and all(isinstance(one, (str, os.PathLike)) for one in what):
            self.files = [os.fsdecode(one) for one in what]
            missing = next((path for path in self.files if not os.path.isfile(path)), None)
            if missing is not None:
                raise _classes.Error(f"cannot open {missing!r}: {os.strerror(2)}")
        if isinstance(what, _classes.Uri):
            what = what.to_string()
        if isinstance(what, (str, os.PathLike)):
            text = os.fsdecode(what)
            scheme = _ADDRESS.match(text)
            if scheme is None:
                self.path = text
            elif scheme[1].lower() == "file":
                self.path = os.fsdecode(_access._local_path(_classes.Uri(text)))
            else:
                self.url = text
        self.name = _last_part(self.path if self.path is not None else (self.url or "").split("?")[0])
        self._access: Any = None
        self._head: bytes | None = None

    @property
    def opened(self) -> RandomAccess | None:
        """The accessor that `access` has returned, None if nobody has asked for it."""
        return self._access

    @property
    def is_folder(self) -> bool:
        """Whether this is a local folder."""
        return self.path is not None and not self._head and os.path.isdir(self.path)

    @property
    def head(self) -> bytes:
        """The first 4096 bytes, or all there are; none of a folder, a list, or a URL without content of its own."""
        if self._head is None:
            if self.files is not None:
                self._head = b""
            elif self.path is not None:
                try:
                    # Without a buffer, which would take as long as the rest.
                    with io.FileIO(self.path) as file:
                        self._head = file.read(_HEAD)
                except (OSError, ValueError) as error:
                    if not self.is_folder:
                        problem = getattr(error, "strerror", error)
                        raise _classes.Error(f"cannot open {self.path!r}: {problem}") from None
                    self._head = b""
            else:
                try:
                    self._head = self.access().read(0, _HEAD)
                except _classes.Error:
                    if self.url is None:
                        raise
                    self._head = b""
        return self._head

    def access(self) -> RandomAccess:
        """Return an accessor over the bytes."""
        if self._access is None:
            if self.is_folder or self.files is not None:
                raise _classes.Error(f"{self.path!r} is a folder" if self.path else "several files are no accessor")
            if self.url is not None and not self.url.lower().startswith(("http:", "https:")):
                self._access = _access.open_random(self._by_fsspec())
            else:
                self._access = _access.open_random(self.what if self.path is None else self.path)
        return self._access

    def _by_fsspec(self) -> Any:
        try:
            import fsspec
        except ImportError:
            raise _classes.Error(f'{self.url!r} needs fsspec: pip install "zarnik[remote]" installs it') from None
        try:
            return fsspec.open(self.url, "rb").open()
        except (OSError, ValueError, ImportError) as error:
            raise _classes.Error(f"cannot open {self.url!r}: {error}") from error

    def file(self) -> BinaryIO:
        """Return a binary file over the bytes that can seek, whose closing is up to the caller."""
        if self.path is not None:
            try:
                return open(self.path, "rb")
            except OSError as error:
                raise _classes.Error(f"cannot open {self.path!r}: {error.strerror}") from None
        if self.url is not None:
            from zarnik._read_ahead import ReadAhead

            return io.BufferedReader(ReadAhead(self.access()), 1 << 13)
        return io.BufferedReader(self.access().stream().as_file(), 1 << 16)

    def __repr__(self) -> str:
        return f"<zarnik.plugins.Source {self.path or self.url or type(self.what).__name__}>"


def _last_part(path: str) -> str:
    return path.replace(os.sep, "/").rstrip("/").rpartition("/")[2]


class Series:
    """One image of a file, with its levels of detail, of which nothing is read but headers.

    :param name: What the file calls it; None if it does not.
    :param levels: The image in full resolution, and coarser ones if there are: images that are read when they are
        asked for, or functions without arguments that return them.
    :param info: What `zarnik.info` tells besides shape, axes, dtype, spacing, origin and unit.
    """

    def __init__(
        self,
        name: str | None,
        levels: Sequence[ImageView | Callable[[], ImageView]],
        info: Mapping[str, Any] | None = None,
    ) -> None:
        self.name = name
        self.levels: Sequence[Any] = levels
        self.info = dict(info or {})
        #: whether it is opened only by its name or place, as labels beside an image are
        self.is_secondary = False

    def __repr__(self) -> str:
        return f"<zarnik.plugins.Series {self.name!r} of {counted(len(self.levels), 'level')}>"


class Format:
    """A format of files or folders. What it reads and writes, and with what; nothing is imported before it is used."""

    #: how people call it
    name: str = ""
    #: the endings of names, lower case, such as (".nii", ".nii.gz")
    suffixes: tuple[str, ...] = ()
    #: the extra that installs what is needed, None when nothing is
    extra: str | None = None
    #: import names of the libraries needed
    requires: tuple[str, ...] = ()
    can_read: bool = True
    can_write: bool = False
    #: whether elements can be written in place, `mode="r+"`
    can_update: bool = False
    #: whether `save` has an option `empty`, that writes descriptions alone, and `mode="r+"` fills in what is missing
    can_be_empty: bool = False

    def recognizes(self, source: Source) -> bool:
        """Tell whether a source is of this format: by `source.head`, or by the name only if the content cannot tell."""
        raise NotImplementedError

    def open(self, source: Source, **options: Any) -> list[Series]:
        """Return the images of a source, lazily. The options are the format's own."""
        raise _classes.NotImplemented(f"{self.name} can be written, not read")

    def save(self, path: str, image: ImageView, *, progress: Progress, **options: Any) -> None:
        """Write an image to a path that does not exist yet, and which is renamed when it is complete.

        :param path: A file or folder beside the one that it will replace, with the same suffix.
        :param progress: To be called with what is done and the total, in bytes.
        """
        raise _classes.NotImplemented(f"{self.name} can be read, not written")

    def losses(self, image: ImageView, **options: Any) -> list[str]:
        """Return what of an image this format cannot hold, such as "the direction of the axes"."""
        return []

    @property
    def missing(self) -> list[str]:
        """The libraries needed that are not installed."""
        absent = [name for name in self.requires if sys.modules.get(name) is None]
        if not absent:
            return absent
        from importlib.util import find_spec

        return [name for name in absent if find_spec(name) is None]

    def __repr__(self) -> str:
        uses = [use for use, can in (("read", self.can_read), ("write", self.can_write)) if can]
        needs = f', needs pip install "zarnik[{self.extra}]"' if self.missing else ""
        return f"<{self.name}: {', '.join(uses)} {' '.join(self.suffixes)}{needs}>"


def image_of(
    array: Any,
    axes: _axes.Axes | None,
    *,
    spacing: Any = None,
    origin: Any = None,
    directions: Any = None,
    affine: Any = None,
    convention: str = "RAS",
    unit: str | None = None,
    value_range: Any = None,
    interpretation: int | str | None = None,
    alpha: bool = False,
    channel_names: Sequence[str] | None = None,
    bit_depth: int | None = None,
    metadata: Mapping[str, Any] | Callable[[], Mapping[str, Any]] | None = None,
) -> ImageView:
    """Make an image of an array and what a file tells of it.

    NumPy arrays, mapped ones too, share their memory with the image. Of others, which have `shape`, `dtype` and
    `__getitem__`, regions are read when they are asked for; so they are where NumPy's elements have to be converted:
    foreign byte order, booleans (to uint8), float16 (to float32). Another image is taken, too: it gets a description.

    :param axes: The axes of the array, such as "TCZYX"; not looked at where that is an image.
    :param spacing: The distances between elements along X, Y, Z; as are `origin`, and `directions`, the vectors of X
        and of Y.
    :param affine: A matrix from an index (x, y, z, 1) to a position, instead of the three.
    :param convention: Where positions of `affine` grow: "RAS" or "LPS".
    :param unit: The unit of positions, such as "mm" or "µm".
    :param interpretation: What the values stand for, an `ImageInterpretation` or the name of one.
    :param alpha: Whether the last channel is an alpha channel.
    :param channel_names: The names along C, kept in the metadata as "channel_names".
    :param metadata: The header, under the name of its format: {"NIfTI": {...}}. What metadata cannot hold becomes text.
        A function that returns it is called when somebody first asks for metadata, once, on any thread.
    :raises ValueError: if the axes do not fit the array, or the matrix is none of an image.
    """
    image = _image_over(array, axes)
    if spacing is not None:
        spacing = (*spacing, 1.0, 1.0)[:3]
    if origin is not None:
        origin = (*origin, 0.0, 0.0)[:3]
    if affine is not None:
        origin, spacing, directions = calibration_of_affine(affine, convention).values()
    space = origin, spacing, directions, unit
    values = interpretation, alpha or None, bit_depth, value_range
    properties = _properties(image, space, values)
    node = _metadata(metadata, channel_names)
    if not _is_array_of_image(array):
        return flat.ImageViewFactory_from_image_view(image, properties or image.properties, node)
    described = _interop.described(image)
    if properties is not None:
        flat.ImageView_set_properties(described, properties)
    if node is not None:
        flat.ImageView_set_metadata(described, node)
    return image


def _properties(image: Any, space: tuple[Any, ...], values: tuple[Any, ...]) -> Any:
    """The properties of an image with what is told beside its own, None if nothing is.

    By flat functions, since objects for parts that nobody sees take longer than everything else here.
    """
    places, meanings = (any(value is not None for value in told) for told in (space, values))
    if not places and not meanings:
        return None
    changed = flat.ReadonlyImageProperties_clone(flat.ImageView___get_properties(image))
    if places:
        own = flat.ImageProperties_get_calibration(changed)
        origin, spacing, directions, unit = space
        calibration = flat.new_SpatialCalibrationProperty(
            own.get_origin() if origin is None else _vector(_classes.Vector3d, origin),
            own.get_spacing() if spacing is None else _vector(_classes.Vector3d, spacing),
            own.get_directions() if directions is None else _directions(directions),
            own.get_unit() if unit is None else unit,
        )
        flat.ImageProperties_set_calibration(changed, calibration)
    if meanings:
        own = flat.ImageProperties_get_image_info(changed)
        interpretation, alpha, bit_depth, value_range = values
        info = flat.new_ImageInfoProperty(
            own.get_axes_interpretation(),
            own._get_interpretation() if interpretation is None else _interop.as_interpretation(interpretation),
            own.get_alpha() if alpha is None else alpha,
            own.get_bit_depth() if bit_depth is None else bit_depth,
            own.get_value_range() if value_range is None else _vector(_classes.Vector2d, value_range),
        )
        flat.ImageProperties_set_image_info(changed, info)
    return changed


def _directions(given: Any) -> Any:
    if isinstance(given, _classes.SpatialDirections):
        return given
    column, row = given[:2]
    return flat.new_SpatialDirections(_vector(_classes.Vector3d, column), _vector(_classes.Vector3d, row))


def _vector(kind: Any, numbers: Any) -> Any:
    """What flat functions take for a vector: plain numbers as they are."""
    return numbers if [type(one) for one in numbers] == _PLAIN_NUMBERS[kind] else as_vector(kind, numbers)


_PLAIN_NUMBERS = {_classes.Vector2d: [float] * 2, _classes.Vector3d: [float] * 3}


def _metadata(told: Any, channel_names: Sequence[str] | None) -> Any:
    names = {} if channel_names is None else {"channel_names": [str(name) for name in channel_names]}
    if not callable(told):
        tree = {**plain(told or {}), **names}
        return _classes.MetadataNode.from_dict(tree) if tree else None
    return _direct.deferred_metadata(lambda: _classes.MetadataNode.from_dict({**plain(told()), **names}))


def _is_array_of_image(array: Any) -> bool:
    """Whether the image is over the memory of an array of NumPy, and so can be described itself."""
    return isinstance(array, numpy.ndarray) and (array.dtype.kind == "b" or _wanted(array.dtype) == array.dtype)


def _image_over(array: Any, axes: Any) -> Any:
    if isinstance(array, _classes.ImageView):
        return array
    if _is_array_of_image(array):
        # A mapped array as a plain one: it takes less to slice, and keeps the mapping.
        plain_array = numpy.asarray(array).view(numpy.uint8 if array.dtype.kind == "b" else array.dtype)
        return _interop.from_numpy(plain_array, axes)
    dtype = numpy.dtype(getattr(array.dtype, "numpy_dtype", array.dtype))
    wanted = _wanted(dtype)
    return _lazy.from_array(array if dtype == wanted else _Converted(array, wanted), axes)


#: Of a floating point number and of a complex one in metadata.
_MOST_BYTES = {"f": 8, "c": 16}
_CONVERTED: dict[numpy.dtype[Any], numpy.dtype[Any]] = {
    numpy.dtype(bool): numpy.dtype("uint8"),
    numpy.dtype("float16"): numpy.dtype("float32"),
}


@lru_cache(maxsize=64)
def _wanted(dtype: numpy.dtype[Any]) -> numpy.dtype[Any]:
    native: numpy.dtype[Any] = dtype.newbyteorder("=")
    return _CONVERTED.get(native, native)


class _Converted:
    """An array whose elements are converted when they are read."""

    def __init__(self, array: Any, dtype: numpy.dtype[Any]) -> None:
        self._array = array
        self.dtype = dtype
        self.shape = array.shape
        self.chunks = getattr(array, "chunks", None)

    def __getitem__(self, key: Any) -> Any:
        return numpy.asarray(self._array[key]).astype(self.dtype)


def plain(tree: Any) -> Any:
    """Return a header as metadata can hold it: dicts with names, lists, arrays, numbers and text.

    Arrays of numbers stay what they are, also of one element; a complex number becomes an array without axes. What is
    nothing of that becomes text.
    """
    if tree is None or isinstance(tree, (str, bool, int, float)):
        return tree if not isinstance(tree, int) or -(2**63) <= tree < 2**64 else str(tree)
    if isinstance(tree, Mapping):
        return {str(key): plain(value) for key, value in tree.items()}
    if isinstance(tree, (bytes, bytearray, memoryview)):
        return bytes(tree).rstrip(b"\0").decode("utf-8", "backslashreplace")
    if isinstance(tree, (complex, numpy.complexfloating)):
        return _plain_array(numpy.asarray(tree))
    if isinstance(tree, numpy.generic):
        return plain(float(tree) if isinstance(tree, numpy.floating) else tree.item())
    if isinstance(tree, numpy.ndarray):
        return _plain_array(tree) if tree.ndim or tree.dtype.kind == "c" else plain(tree[()])
    if isinstance(tree, (list, tuple)):
        return [plain(value) for value in tree]
    return str(tree)


def _plain_array(array: numpy.ndarray[Any, Any]) -> Any:
    # Numbers of more than 64 bits are rounded.
    kind = array.dtype.kind
    if kind in "fc" and array.dtype.itemsize > _MOST_BYTES[kind]:
        return array.astype(f"{kind}{_MOST_BYTES[kind]}")
    return array if kind in "biufc" and not isinstance(array, numpy.ma.MaskedArray) else plain(array.tolist())
