"""Which formats there are. Ours are a table of modules, those of other packages are found by their entry points."""

from __future__ import annotations

from collections.abc import Callable, Iterator
from typing import TYPE_CHECKING, Any

import zarnik._classes as _classes

if TYPE_CHECKING:
    from zarnik.plugins import Format, Source

ENTRY_POINTS = "zarnik.formats"

# Name, suffixes and class: a module is imported when a name has one of its suffixes, or the content has to tell.
_OURS: tuple[tuple[str, tuple[str, ...], str], ...] = (
    ("Zarnik", (".zrn",), "zarnik._formats.own:Own"),
    # Before TIFF, which its first bytes may be, too.
    ("DICOM", (".dcm", ".dicom", ".ima"), "zarnik._formats.dicom:DICOM"),
    ("TIFF", (".tif", ".tiff", ".ome.tif", ".ome.tiff", ".tf2", ".tf8", ".btf"), "zarnik._formats.tiff:Tiff"),
    ("OME-Zarr", (".zarr", ".zarr.zip", ".ozx"), "zarnik._formats.zarr:Zarr"),
    ("NIfTI", (".nii", ".nii.gz", ".hdr", ".img", ".hdr.gz", ".img.gz"), "zarnik._formats.nifti:NIfTI"),
    ("NRRD", (".nrrd", ".nhdr"), "zarnik._formats.nrrd:NRRD"),
    ("HDF5", (".h5", ".hdf5", ".hdf", ".he5"), "zarnik._formats.hdf5:HDF5"),
    ("NumPy", (".npy",), "zarnik._formats.numpy_files:NumPyArray"),
    ("NumPy archive", (".npz",), "zarnik._formats.numpy_files:NumPyArchive"),
    ("PNG", (".png",), "zarnik._formats.pictures:PNG"),
    ("JPEG", (".jpg", ".jpeg"), "zarnik._formats.pictures:JPEG"),
    ("MRC", (".mrc", ".map", ".ccp4", ".mrcs", ".mrc.gz", ".map.gz", ".mrc.bz2"), "zarnik._formats.mrc:MRC"),
)

_made: dict[str, Format] = {}
_others: list[Format] | None = None


def ours(suffix_of: str | None = None) -> Iterator[Format]:
    """Go over our formats, or over those with a suffix that a name ends with."""
    lower = None if suffix_of is None else suffix_of.lower()
    for _, suffixes, place in _OURS:
        if lower is None or lower.endswith(suffixes):
            yield _made.get(place) or _instance(place)


def _instance(place: str) -> Format:
    from importlib import import_module

    module, _, name = place.partition(":")
    found = _made[place] = getattr(import_module(module), name)()
    return found


def others() -> list[Format]:
    """Return the formats of other packages; one that cannot be loaded is left out with a warning."""
    global _others
    if _others is None:
        from importlib.metadata import entry_points

        found: Any = entry_points()
        # Before Python 3.10 it was a dict of all groups.
        found = found.select(group=ENTRY_POINTS) if hasattr(found, "select") else found.get(ENTRY_POINTS, ())
        _others = [loaded for loaded in map(_loaded, found) if loaded is not None]
    return _others


def _loaded(entry: Any) -> Format | None:
    from zarnik.plugins import Format

    try:
        made = entry.load()
        made = made() if isinstance(made, type) else made
        if not isinstance(made, Format) or not made.name:
            raise TypeError(f"{entry.value} is no zarnik.plugins.Format with a name")
    except Exception as error:
        import warnings

        warnings.warn(f"format {entry.name!r} cannot be loaded: {error}", RuntimeWarning, stacklevel=2)
        return None
    return made


def every() -> list[Format]:
    """Return all formats, ours first."""
    return [*ours(), *others()]


def named(name: str) -> Format:
    """Return the format of a name, in letters of either case, or of a suffix.

    :raises ValueError: if there is none.
    """
    wanted = name.lower()
    known = every()
    for format in known:
        if wanted == format.name.lower():
            return format
    for format in known:
        if f".{wanted.lstrip('.')}" in format.suffixes:
            return format
    raise ValueError(f"there is no format {name!r}: they are {', '.join(format.name for format in known)}")


def of_source(source: Source) -> Format:
    """Return the format that recognizes a source, asking first those whose suffix its name has.

    :raises Error: if there is none.
    """
    asked = set()
    for format in _candidates(source.name):
        if id(format) not in asked and format.can_read:
            asked.add(id(format))
            if format.recognizes(source):
                return format
    if source.url is not None:
        source.access()  # tells why there is nothing, if so
    known = ", ".join(f"{format.name} ({' '.join(format.suffixes)})" for format in every() if format.can_read)
    what = repr(source.path or source.url or f"{len(source.access())} bytes")
    raise _classes.Error(f"cannot open {what}: its content is of no known format, can be read are {known}")


def _candidates(name: str) -> Iterator[Format]:
    yield from ours(name)
    yield from ours()
    yield from others()


def by_suffix(name: str, is_wanted: Callable[[Format], bool] = lambda format: True) -> Format | None:
    """Return the format of those wanted that has the longest suffix which a name ends with, None if none has."""
    lower = name.lower()
    found = [
        (len(suffix), format)
        for format in every()
        if is_wanted(format)
        for suffix in format.suffixes
        if lower.endswith(suffix)
    ]
    return max(found, key=lambda pair: pair[0])[1] if found else None


def for_name(name: str) -> Format:
    """Return the format to write a file of a name in: that of the longest suffix, our own without any.

    :raises Error: if no format has the suffix.
    """
    format = by_suffix(name, lambda format: format.can_write)
    if format is not None:
        return format
    if "." not in name.lstrip("."):
        return named("Zarnik")
    format = by_suffix(name)
    if format is not None:
        raise _classes.NotImplemented(f"{format.name} can be read, not written")
    known = ", ".join(f"{format.name} ({' '.join(format.suffixes)})" for format in every() if format.can_write)
    raise _classes.Error(f"cannot tell the format of {name!r} by its suffix, can be written are {known}")
