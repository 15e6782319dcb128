"""The command line: `zarnik info`, `convert`, `show` and `formats`."""

from __future__ import annotations

import argparse
import math
import os
import re
import sys
import warnings
from collections.abc import Callable, Sequence
from typing import Any

_SLICE = re.compile(r"([A-Za-z])=(?:(-?\d+)|(-?\d*):(-?\d*)(?::(-?\d+))?)")
_INTERRUPTED = 130

_HOW_TO_CROP = """AXIS=PLACES of one or more axes, such as Z=10:20,Y=:100,T=3; a single index leaves the axis out, as in
NumPy; may be given several times"""

_EPILOG = """\
Files, folders and URLs are opened by what is in them, and written in the format of their suffix: `zarnik formats`.
Exit codes: 0 all is done, 1 it could not be done, 2 the command was not understood, 130 Ctrl-C.
"""
_CONVERT_EPILOG = """\
examples:
  zarnik convert scan.nii.gz scan.ome.zarr --levels
  zarnik convert cells.ome.tif part.ome.tif --crop T=3,Y=100:612,X=100:612 --compression zstd
  zarnik convert ct.nrrd ct8.tif --rescale -1000 2000 --astype uint8

What the new format cannot hold is told by a warning. The new file appears when it is complete.
"""
_SHOW_EPILOG = """\
examples:
  zarnik show cells.ome.zarr -o cells.png
  zarnik show scan.nii.gz -o sagittal.png --crop X=90 --size 600 --flip Z
  zarnik show ct.nrrd -o bone.png --crop Z=40 --range 200 2000

Only the level of detail and the region are read that the picture needs. Elements have the proportions that they have
in space. Along axes that are left over, the middle is shown; channels are shown in colours.
"""


def main(arguments: Sequence[str] | None = None) -> int:
    """Do what the arguments say, and return the exit code."""
    parser = _parser()
    given = parser.parse_args(arguments)
    if given.run is None:
        parser.print_help()
        return 2
    warnings.showwarning = _show_warning
    try:
        given.run(given)
        sys.stdout.flush()
    except KeyboardInterrupt:
        print("zarnik: interrupted", file=sys.stderr)
        return _INTERRUPTED
    except BrokenPipeError:
        # Whoever read the output has enough of it; Python's own attempt to flush it again must not fail.
        os.dup2(os.open(os.devnull, os.O_WRONLY), sys.stdout.fileno())
        return 1
    except Exception as error:
        text = str(error.args[0] if isinstance(error, KeyError) else error) or type(error).__name__
        print(f"zarnik: error: {' '.join(text.split())}", file=sys.stderr)
        return 1
    return 0


def _show_warning(message: Any, *where: Any, **more: Any) -> None:
    print(f"zarnik: warning: {' '.join(str(message).split())}", file=sys.stderr)


# ---- arguments -------------------------------------------------------------------------------------------------------


def _parser() -> argparse.ArgumentParser:
    parser = argparse.ArgumentParser(
        "zarnik",
        description="Describe, convert and show images of many dimensions.",
        epilog=_EPILOG,
        formatter_class=argparse.RawDescriptionHelpFormatter,
    )
    parser.add_argument("--version", action=_Version, nargs=0, help="show the version and exit")
    parser.set_defaults(run=None)
    commands = parser.add_subparsers(title="commands", metavar="COMMAND")

    info = _command(commands, "info", _info, "tell what is in a file, without reading pixels")
    info.add_argument("file", metavar="FILE", help="a file, folder or URL")
    info.add_argument("--json", action="store_true", help="as JSON")
    info.add_argument("--metadata", action="store_true", help="the metadata, too")
    info.add_argument("--format", metavar="NAME", help="the format of FILE, if its content shall not decide")

    convert = _command(
        commands, "convert", _convert, "write an image, or a part of it, in another format", _CONVERT_EPILOG
    )
    convert.add_argument("source", metavar="IN", help="a file, folder or URL")
    convert.add_argument("target", metavar="OUT", help="the file or folder to be written; its suffix tells the format")
    _which(convert)
    convert.add_argument("--level", type=int, metavar="N", help="the level of detail to begin with, 0 is the finest")
    convert.add_argument("--astype", metavar="TYPE", help="the type of the new elements, such as uint8 or float32")
    convert.add_argument(
        "--rescale", nargs=2, type=float, metavar=("LOW", "HIGH"), help="map these values to all of the new type"
    )
    convert.add_argument(
        "--levels",
        nargs="?",
        type=int,
        const=True,
        metavar="N",
        help="write N levels of detail, each of half the size; without N as many as make sense",
    )
    convert.add_argument("--compression", metavar="NAME", help="such as zlib or zstd, as the format has it")
    convert.add_argument(
        "--option",
        action="append",
        default=[],
        type=_option,
        metavar="NAME=VALUE",
        help="any other option of the format; may be given several times",
    )
    convert.add_argument("--to", metavar="NAME", help="the format of OUT, if its suffix shall not decide")
    convert.add_argument("--overwrite", action="store_true", help="replace OUT if it exists")
    convert.add_argument("--quiet", action="store_true", help="no progress bar; there is none outside of a terminal")

    show = _command(commands, "show", _show, "make a picture of an image", _SHOW_EPILOG)
    show.add_argument("file", metavar="FILE", help="a file, folder or URL")
    show.add_argument("-o", "--output", metavar="PICTURE", required=True, help="the picture to write, such as a.png")
    _which(show)
    show.add_argument("--size", type=_size, metavar="N", help="the longest side in pixels; by default up to 1000")
    show.add_argument("--flip", default="", metavar="AXES", help="draw these axes the other way round, such as Z or YX")
    show.add_argument(
        "--range", nargs=2, type=float, metavar=("BLACK", "WHITE"), help="the values that are black and white"
    )

    formats = _command(commands, "formats", _formats, "list what can be read and written")
    formats.add_argument("--json", action="store_true", help="as JSON")
    return parser


class _Version(argparse.Action):
    def __call__(self, parser: Any, *_: Any) -> None:
        import zarnik

        print(f"zarnik {zarnik.__version__}")
        parser.exit()


def _command(commands: Any, name: str, run: Callable[[Any], None], does: str, epilog: str | None = None) -> Any:
    command = commands.add_parser(
        name,
        help=does,
        description=f"{does[0].upper()}{does[1:]}.",
        epilog=epilog,
        formatter_class=argparse.RawDescriptionHelpFormatter,
    )
    command.set_defaults(run=run)
    return command


def _which(command: Any) -> None:
    command.add_argument("--series", metavar="NAME", help="which of several images: its name or place")
    command.add_argument("--format", metavar="NAME", help="the format of the file, if its content shall not decide")
    command.add_argument("--crop", action="append", default=[], type=_places, metavar="PLACES", help=_HOW_TO_CROP)


def _places(text: str) -> dict[str, Any]:
    places: dict[str, Any] = {}
    for part in text.split(","):
        found = _SLICE.fullmatch(part.strip())
        if found is None or found[1].upper() in places:
            raise argparse.ArgumentTypeError(f"{part!r} is not AXIS=INDEX or AXIS=BEGIN:END, such as Z=5 or Y=10:20")
        limits = [int(number) if number else None for number in found.groups()[2:]]
        places[found[1].upper()] = int(found[2]) if found[2] is not None else slice(*limits)
    return places


def _option(text: str) -> tuple[str, Any]:
    import ast

    name, equals, value = text.partition("=")
    if not equals or not name.isidentifier():
        raise argparse.ArgumentTypeError(f"{text!r} is not NAME=VALUE")
    try:
        return name, ast.literal_eval(value)
    except (SyntaxError, ValueError):
        return name, value


def _size(text: str) -> int:
    if not text.isdecimal() or not 1 <= int(text) <= 1 << 16:
        raise argparse.ArgumentTypeError(f"{text!r} is no number of pixels from 1 to 65536")
    return int(text)


# ---- commands --------------------------------------------------------------------------------------------------------


def _open(given: Any, path: str, is_first: bool = False, level: int | None = None) -> Any:
    """The image that is asked for; the first of several where that will do."""
    import zarnik

    series = given.series
    if series is not None and re.fullmatch(r"-?\d+", series):
        opened: Any = zarnik.open(path, format=given.format, level=level)
        if not isinstance(opened, zarnik.ImageView) and series in opened:
            return opened[series]
        series = int(series)
    image: Any = zarnik.open(path, series=series, format=given.format, level=level)
    if isinstance(image, zarnik.DataFrameView):
        raise zarnik.Error(f"{path!r} holds a table, not an image")
    if not isinstance(image, zarnik.ImageView):
        names = list(image)
        if not is_first:
            choices = " or ".join(map(repr, names))
            raise zarnik.Error(f"{path!r} holds {len(names)} images, choose one: --series {choices}")
        image = image[names[0]]
    return image


def _crops(given: Any) -> dict[str, Any]:
    places: dict[str, Any] = {}
    for some in given.crop:
        places.update(some)
    return places


def _convert(given: Any) -> None:
    import numpy

    import zarnik

    if os.path.lexists(given.target) and not given.overwrite:
        raise zarnik.Error(f"{given.target!r} exists: --overwrite replaces it")
    image = _open(given, given.source, level=given.level)
    places = _crops(given)
    if places:
        image = image.crop(**places)
    if given.rescale is not None:
        dtype = numpy.dtype(given.astype or image.dtype)
        limits = (0, 1) if dtype.kind == "f" else (numpy.iinfo(dtype).min, numpy.iinfo(dtype).max)
        image = image.rescale(given.rescale, limits, "float32" if dtype.itemsize < 4 else "float64")
        image = image.astype(dtype).with_properties(value_range=limits)
    elif given.astype is not None:
        image = image.astype(given.astype)
    options = dict(given.option)
    if given.levels is not None:
        options["levels"] = given.levels
    if given.compression is not None:
        options["compression"] = given.compression
    zarnik.save(given.target, image, format=given.to, progress=_bar(given), **options)


def _bar(given: Any) -> Any:
    if given.quiet or not sys.stderr.isatty():
        return None
    from importlib.util import find_spec

    return True if find_spec("tqdm") else _told_plainly


def _told_plainly(done: int, total: int) -> None:
    part = done / total if total else 1
    filled = round(part * 40)
    print(f"\r{'#' * filled}{'.' * (40 - filled)} {part:4.0%}", end="\n" if done >= total else "", file=sys.stderr)


def _show(given: Any) -> None:
    import zarnik
    from zarnik import _picture, _rendering

    image = _open(given, given.file, is_first=True)
    if 0 in image.shape:
        raise zarnik.Error(f"{given.file!r} has no elements to show, its shape is {image.shape}")
    if os.path.exists(given.output) and os.path.exists(given.file) and os.path.samefile(given.file, given.output):
        raise zarnik.Error(f"{given.output!r} is the image itself, which a picture shall not replace")
    if given.range is not None and not all(map(math.isfinite, given.range)):
        raise zarnik.Error(f"black {given.range[0]} and white {given.range[1]} are not finite")
    plan = _rendering.Plan(image, given.size, _crops(given))
    pixels = plan.picture(None if given.range is None else tuple(given.range))
    for letter in given.flip.upper():
        if letter not in plan.shown:
            raise zarnik.Error(f"axis {letter!r} is none of those of the picture, {' and '.join(plan.shown)}")
        pixels = pixels[::-1] if letter == plan.shown[-2] else pixels[:, ::-1]
    if given.output.lower().endswith(".png"):
        from zarnik import _atomic

        with _atomic.replaced(given.output, ".png", lambda: False) as part, open(part, "wb") as file:
            file.write(_picture.png_of(pixels))
    else:
        picture = zarnik.from_numpy(pixels, "YXC" if pixels.ndim == 3 else "YX")
        if pixels.ndim == 3:
            picture.interpretation = "RGB"
        zarnik.save(given.output, picture)


def _info(given: Any) -> None:
    import zarnik

    told = zarnik.info(given.file, format=given.format)
    if given.metadata:
        for place, series in enumerate(told["series"]):
            image: Any = zarnik.open(given.file, series=place, format=given.format)
            series["metadata"] = image.metadata.to_dict()
    if given.json:
        _print_json(told)
        return
    print(f"{given.file}: {told['format']}")
    for place, series in enumerate(told["series"]):
        if len(told["series"]) > 1 or series.get("name"):
            name = series.get("name")
            print(f"\n{place}{'' if name is None else f'  {name}'}")
        rows = dict(_rows(series))
        width = max(map(len, rows), default=0)
        for name, text in rows.items():
            lines = text.split("\n")
            print(f"  {name:{width}}  {lines[0]}", *(f"  {'':{width}}  {line}" for line in lines[1:]), sep="\n")


def _rows(series: dict[str, Any]) -> Any:
    told = dict(series)
    told.pop("name", None)
    unit = told.pop("unit", "")
    for name in ("spacing", "origin"):
        if told.get(name) is not None:
            numbers = ", ".join(f"{letter} {value:g}" for letter, value in zip("XYZ", told[name]))
            told[name] = f"{numbers} {unit}".rstrip()
    if "shape" in told:
        told["shape"] = _sizes(told["shape"])
    levels = told.pop("levels", ())
    if len(levels) > 1:
        told["levels"] = "\n".join(map(_sizes, levels))
    for name, value in told.items():
        text = "" if value is None else _text(value)
        if text:
            yield name.replace("_", " "), text


def _sizes(shape: Sequence[int]) -> str:
    return " x ".join(map(str, shape))


def _text(value: Any) -> str:
    if isinstance(value, dict):
        return "\n".join(_branches(value, ""))
    if hasattr(value, "tolist"):
        value = value.tolist()
    if isinstance(value, (list, tuple)):
        return ("\n" if value and isinstance(value[0], (list, tuple)) else ", ").join(map(_text, value))
    if isinstance(value, float):
        return f"{value:.6g}"
    return str(value)


def _branches(tree: dict[str, Any], path: str) -> Any:
    for name, value in tree.items():
        if isinstance(value, dict) and value:
            yield from _branches(value, f"{path}{name}/")
        else:
            text = " ".join(str(value).split())
            yield f"{path}{name} = {text if len(text) <= 200 else text[:197] + '...'}"


def _formats(given: Any) -> None:
    import zarnik

    found: list[dict[str, Any]] = [
        {
            "name": format.name,
            "suffixes": list(format.suffixes),
            "read": format.can_read,
            "write": format.can_write,
            "missing": format.missing,
            "extra": format.extra,
        }
        for format in zarnik.formats()
    ]
    if given.json:
        _print_json(found)
        return
    width = max(len(one["name"]) for one in found)
    for one in found:
        uses = f"{'read' if one['read'] else '':4}  {'write' if one['write'] else '':5}"
        needs = f'  (needs pip install "zarnik[{one["extra"]}]")' if one["missing"] else ""
        print(f"{one['name']:{width}}  {uses}  {' '.join(one['suffixes'])}{needs}")


def _print_json(what: Any) -> None:
    import json

    def plain(value: Any) -> Any:
        return value.tolist() if hasattr(value, "tolist") else str(value)

    json.dump(what, sys.stdout, default=plain, indent=2, ensure_ascii=False)
    print()
