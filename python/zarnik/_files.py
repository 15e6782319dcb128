"""Files of every format: opened, described and saved."""

from __future__ import annotations

import operator
import os
from collections.abc import Callable, Iterator, Mapping, Sequence
from functools import partial
from typing import TYPE_CHECKING, Any, cast

import zarnik._classes as _classes
from zarnik._drawing import counted
from zarnik._extension import Kept, extends, kept
from zarnik._progress import Progress, listener
from zarnik._recipes import made_by, of_version

if TYPE_CHECKING:
    from zarnik._classes import DataFrameView, ImageView
    from zarnik.plugins import Format, Series, Source

__all__ = ["LossWarning", "formats", "info", "open", "save"]


class LossWarning(UserWarning):
    """Something of an image that the format of a file cannot hold: it is not in what was saved."""


# Tells how an image was opened, given the image, its series and its level.
Again = Callable[..., Any]


def open(
    what: Any,
    *,
    series: int | str | None = None,
    level: int | None = None,
    format: str | None = None,
    mode: str = "r",
    **options: Any,
) -> ImageView | SeriesMapping | DataFrameView:
    """Open an image, of which no elements are read before they are asked for.

    The content decides which format it is. Where a file can be mapped, arrays of the image share its memory.

        image = zarnik.open("cells.ome.tif")
        image.shape, image.spacing, image.unit, image.metadata, image.channel_names
        image.levels                            # the same image coarser and coarser, where the file has that
        image.crop(z=5, y=slice(1000, 2000))    # reads the tiles that it needs, when it is read

    :param what: a path of a file or folder; a URL; a bytes-like object, a binary file or an accessor.
    :param series: Which of several images: its name or place.
    :param level: Which level of detail, 0 is the finest; negative ones count from the coarsest.
    :param format: The name of the format, if the content shall not decide.
    :param mode: "r" to read, "r+" to write elements in place too, where the format allows.
    :param options: Of the format, as its section in the guide tells.
    :return: The image; a mapping from names to images if there are several; a table, if that was stored.
    :raises Error: if nothing that can be read is there, or libraries for it are missing.
    """
    source, chosen, found = _opened(what, format, mode, options)
    with _errors_of(chosen, source):
        again = partial(_again, source, format=format, mode=mode, **options)
        if series is None:
            found = [one for one in found if not one.is_secondary] or found
        if series is None and len(found) > 1:
            return SeriesMapping(found, level, again)
        return _image_of_series(_series_of(found, series), level, partial(again, series=series))


def info(what: Any, *, format: str | None = None, **options: Any) -> dict[str, Any]:
    """Tell what is in a file without reading pixels.

        zarnik.info("cells.ome.tif")["series"][0]["shape"]

    :param what: What `open` takes, as are `format` and the options.
    :return: "format" is its name, and "series" a list of dicts, one for each image: name, shape, axes, dtype, spacing,
        origin and unit (X, Y, Z), levels (the shape of each), and what the format adds; or error, if that one cannot be
        opened.
    """
    source, chosen, found = _opened(what, format, "r", options)
    with _errors_of(chosen, source):
        return {"format": chosen.name, "series": [_described(one) for one in found]}


def formats() -> list[Format]:
    """Return the formats that can be read or written, those of other packages too.

    Each has a name, suffixes, can_read, can_write, the extra that installs its libraries, and those that are missing.
    """
    from zarnik import _formats

    return _formats.every()


def save(path: Any, what: Any, *, format: str | None = None, progress: Progress = None, **options: Any) -> None:
    """Save an image in a file or folder, in the format of its suffix; tables in the package's own.

    It is written under another name in the same folder, synchronized with the disk and renamed: whatever happens, the
    path has the old file or the whole new one. It is read and written part by part, in memory of a few MiB and what
    `set_cache_size` allows. An image must not be saved to the folder that it is read from.

    :param path: The file or folder, which is replaced if it exists; a folder only by one of the same format. An address
        of what fsspec reaches, "s3://bucket/cells.ome.zarr", gets what is written to a temporary folder before: files
        are replaced as that place replaces them, of folders the old one is removed first, and descriptions come last.
    :param what: An ImageView or a DataFrameView.
    :param format: The name of the format, if the suffix shall not decide. Without a suffix it is the package's own.
    :param progress: True for a bar, or a function that is called with what is done and the total, in bytes; of a table
        in cells.
    :param options: Of the format, as its section in the guide tells.
    :raises Error: if the image cannot be read, the file not be written, or the format not hold the image at all.
    :warns LossWarning: of what the format cannot hold.
    """
    if not isinstance(what, (_classes.ImageView, _classes.DataFrameView)):
        raise TypeError(f"an ImageView or a DataFrameView can be saved, not {type(what).__name__}")
    from zarnik import _atomic, _formats
    from zarnik.plugins import Source

    path = os.fsdecode(path)
    place = Source(path)
    name = place.name
    path = path if place.path is None else place.path
    chosen = _formats.named(format) if format is not None else _formats.for_name(name)
    if not chosen.can_write:
        raise _classes.NotImplemented(f"{chosen.name} can be read, not written")
    if isinstance(what, _classes.DataFrameView) and not getattr(chosen, "can_write_tables", False):
        raise _classes.NotImplemented(f"{chosen.name} holds images, not tables")
    _require(chosen)
    _check_options(chosen.save, options, chosen)
    if isinstance(what, _classes.ImageView):
        _warn_of(chosen.losses(what, **options), chosen)
    suffix = max((end for end in chosen.suffixes if name.lower().endswith(end)), key=len, default="")
    suffix = name[len(name) - len(suffix) :]

    def is_of_format() -> bool:
        return chosen.recognizes(Source(path))

    def write(part: str) -> None:
        with listener(progress, "saving", "B" if isinstance(what, _classes.ImageView) else " cells") as told:
            report = _Report(told)
            with _errors_of(chosen, path, report):
                chosen.save(part, cast("ImageView", what), progress=report, **options)

    if place.url is not None:
        from zarnik import _elsewhere

        _elsewhere.put(write, path, is_of_format)
        return
    with _atomic.replaced(path, suffix, is_of_format) as part:
        write(part)


def rebuild_levels(path: Any, *, method: str | None = None, progress: Progress = None) -> None:
    """Compute the coarser levels of an OME-Zarr anew, in place, after its first level was written by regions.

    :param path: The folder of the image.
    :param method: "mean" or "nearest", by default the one that it was saved with, or the mean.
    :param progress: True for a bar, or a function that is called with what is done and the total, in bytes.
    :raises Error: if it is none.
    """
    from zarnik import _formats
    from zarnik.plugins import Source

    chosen = _formats.named("OME-Zarr")
    _require(chosen)
    source = Source(path)
    with listener(progress, "levels") as told:
        report = _Report(told)
        with _errors_of(chosen, source, report):
            from zarnik._formats import zarr_writer

            zarr_writer.rebuild_levels(source.path or "", method, report)


class SeriesMapping(Mapping[str, Any]):
    """The images of a file by their names, in the order of the file; each is opened when it is asked for."""

    def __init__(self, found: Sequence[Series], level: int | None, again: Again) -> None:
        self._series = dict(zip(_names(found), found))
        self._level = level
        self._again = again

    def __getitem__(self, name: str) -> ImageView:
        return _image_of_series(self._series[name], self._level, partial(self._again, series=name))

    def __iter__(self) -> Iterator[str]:
        return iter(self._series)

    def __len__(self) -> int:
        return len(self._series)

    def __repr__(self) -> str:
        return f"<{counted(len(self), 'image')}: {', '.join(map(repr, self))}>"


class Levels(Sequence[Any]):
    """An image and its coarser levels, the finest first; each is opened when it is asked for."""

    def __init__(self, finest: Any, coarser: Sequence[Any]) -> None:
        self._images = [finest, *coarser]

    def __len__(self) -> int:
        return len(self._images)

    def __getitem__(self, index: Any) -> Any:
        if isinstance(index, slice):
            return [self[place] for place in range(*index.indices(len(self)))]
        found = self._images[index]
        if not isinstance(found, _classes.ImageView):
            found = self._images[index] = found()
        return found

    def at_most(self, pixels: int) -> Any:
        """Return the finest level of which no side along X, Y or Z is longer than so many elements, or the coarsest."""
        for image in self:
            sides = [size for letter, size in zip(image.axes or "", image.shape) if letter in "XYZ"]
            if max(sides or image.shape) <= pixels:
                return image
        return image

    def __repr__(self) -> str:
        return f"<{counted(len(self), 'level')} of shape {', '.join(str(image.shape) for image in self)}>"


@extends(_classes.ImageView)
class _Leveled:
    @property
    def levels(self) -> Levels:
        """The image and the coarser levels of it that its file has: `image.levels[-1]` is the coarsest."""
        keeps = kept(self)
        return Levels(self, keeps.levels if isinstance(keeps, Kept) else ())

    @property
    def channel_names(self) -> list[str] | None:
        """The names of the channels along C, if the file that the image came from has them."""
        metadata: Any = self.metadata  # type: ignore[attr-defined]
        names = None if metadata is None else metadata.get("channel_names")
        return None if names is None else [str(name) for name in names.to_python()]


def _opened(what: Any, format: str | None, mode: str, options: Any) -> tuple[Source, Format, list[Series]]:
    if mode not in ("r", "r+"):
        raise ValueError(f'mode must be "r" or "r+", not {mode!r}')
    from zarnik import _formats
    from zarnik.plugins import Source

    source = what if isinstance(what, Source) else Source(what, mode)
    if source.path is not None and format is None:
        source.head  # noqa: B018  which everybody looks at, and fails where there is nothing
    elif source.path is not None and not os.path.exists(source.path):
        raise _classes.Error(f"cannot open {source.path!r}: {os.strerror(2)}")
    chosen = _formats.named(format) if format is not None else _formats.of_source(source)
    if not chosen.can_read:
        raise _classes.NotImplemented(f"{chosen.name} can be written, not read")
    if mode != "r" and not chosen.can_update:
        raise _classes.NotImplemented(f"{chosen.name} can only be read or saved whole, not written in place")
    _require(chosen)
    _check_options(chosen.open, options, chosen)
    with _errors_of(chosen, source):
        found = chosen.open(source, **options)
    for one in found:
        one.levels = [partial(_made, level, chosen, source) for level in one.levels]
    if not found:
        raise _classes.Error(f"there is no image in {source.path or source.url or source.name!r}")
    return source, chosen, found


def _require(chosen: Format) -> None:
    missing = chosen.missing
    if missing:
        how = f'pip install "zarnik[{chosen.extra}]" installs it' if chosen.extra else "install it"
        raise _classes.Error(f"{chosen.name} needs {' and '.join(missing)}, which is not installed: {how}")


def _check_options(function: Any, options: Mapping[str, Any], chosen: Format) -> None:
    """:raises TypeError: if a format does not have an option."""
    if not options:
        return
    from inspect import Parameter, signature

    known = signature(function).parameters.values()
    if any(parameter.kind is Parameter.VAR_KEYWORD for parameter in known):
        return
    names = [parameter.name for parameter in known if parameter.kind is Parameter.KEYWORD_ONLY]
    names = [name for name in names if name != "progress"]
    for name in options:
        if name not in names:
            has = f"they are {', '.join(names)}" if names else "it has none"
            raise TypeError(f"{chosen.name} has no option {name!r}: {has}")


class _Report:
    """Tells a listener, if there is one, and remembers what it raised, whatever becomes of that on its way."""

    def __init__(self, told: Callable[[int, int], Any] | None) -> None:
        self._told = told
        self.raised: BaseException | None = None

    def __call__(self, done: int, total: int) -> None:
        if self._told is None:
            return
        try:
            self._told(done, total)
        except BaseException as error:
            self.raised = error
            raise


class _errors_of:
    """What libraries raise of what they cannot read or write becomes an Error; what a listener raised stays itself."""

    def __init__(self, chosen: Format, where: Any, report: _Report | None = None) -> None:
        self._name = chosen.name
        self._report = report
        self._where = where

    def __enter__(self) -> None:
        pass

    def __exit__(self, kind: Any, error: Any, trace: Any) -> None:
        raised = self._report and self._report.raised
        if raised:
            if error is not raised:
                raise raised
            return
        if not isinstance(error, Exception) or isinstance(error, _classes.Error):
            return
        text = str(error) or kind.__name__
        where = self._where if isinstance(self._where, str) else self._where.path or self._where.url or "the bytes"
        raise _classes.Error(f"{where!r} as {self._name}: {text}") from error


def _warn_of(losses: Sequence[str], chosen: Format) -> None:
    if losses:
        import warnings

        warnings.warn(f"{chosen.name} cannot hold {'; '.join(losses)}", LossWarning, stacklevel=3)


def _names(found: Sequence[Series]) -> list[str]:
    names: list[str] = []
    for place, one in enumerate(found):
        name = one.name or str(place)
        names.append(name if name not in names else f"{name} ({place})")
    return names


def _series_of(found: Sequence[Series], series: int | str | None) -> Series:
    if series is None:
        return found[0]
    names = _names(found)
    if isinstance(series, str):
        if series in names:
            return found[names.index(series)]
        raise _classes.InvalidArgument(f"there is no series {series!r}: they are {', '.join(map(repr, names))}")
    place = operator.index(series)
    if not -len(found) <= place < len(found):
        raise _classes.InvalidArgument(f"series {place} is out of range, allowed are 0 to {len(found) - 1}")
    return found[place]


def _image_of_series(one: Series, level: int | None, again: Again) -> Any:
    count = len(one.levels)
    place = 0 if level is None else operator.index(level)
    if not -count <= place < count:
        raise _classes.InvalidArgument(f"level {place} is out of range, allowed are 0 to {count - 1}")
    place %= count
    image = again(one.levels[place](), level=level)
    if place + 1 < count:
        keeps = kept(image)
        if keeps is None:
            keeps = image._kept = Kept()
        keeps.levels = [partial(_level_of, one, coarser, again) for coarser in range(place + 1, count)]
    return image


def _level_of(one: Series, place: int, again: Again) -> Any:
    return again(one.levels[place](), level=place)


def _again(source: Source, image: Any, **options: Any) -> Any:
    """Tell how an image was opened, so that it can be opened elsewhere."""
    if not isinstance(image, _classes.ImageView):
        return image
    told = {name: option for name, option in options.items() if option is not None}
    made_by(image, open, source.what if source.path is None else source.path, **told)
    if source.opened is not None:
        of_version(image, source.opened)
    return image


def _made(level: Any, chosen: Format, source: Source) -> Any:
    if isinstance(level, (_classes.ImageView, _classes.DataFrameView)):
        return level
    with _errors_of(chosen, source):
        return level()


def _described(one: Series) -> dict[str, Any]:
    told: dict[str, Any] = {"name": one.name}
    try:
        levels: list[Any] = [level() for level in one.levels]
    except _classes.Error as error:
        # The others can be told of all the same.
        return told | {"error": str(error)} | one.info
    finest = levels[0]
    if isinstance(finest, _classes.ImageView):
        told |= {
            "shape": finest.shape,
            "axes": finest.axes,
            "dtype": str(finest.dtype),
            "spacing": finest.spacing,
            "origin": finest.origin,
            "unit": finest.unit,
            "levels": [level.shape for level in levels],
            "channel_names": finest.channel_names,
        }
    return told | one.info
