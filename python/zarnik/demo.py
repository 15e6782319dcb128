"""Shows a real scan as an image that shares its memory with NumPy: `python -m zarnik.demo [--output picture.png]`."""

from __future__ import annotations

import argparse
import importlib
import time
from pathlib import Path
from typing import Any

import numpy

import zarnik
from zarnik import _demo_access


class MissingExtra(RuntimeError):
    """A package is not installed that only the demonstration needs."""


def require(module: str) -> Any:
    """Import a package of the extra "demo"."""
    try:
        return importlib.import_module(module)
    except ModuleNotFoundError as error:
        raise MissingExtra(
            f"the demonstration needs {(error.name or module).split('.')[0]}, which is not installed: "
            "pip install 'zarnik[demo]'"
        ) from None


class Story:
    """Prints what was done, with the time that it took."""

    def __init__(self) -> None:
        self._begin = time.perf_counter()

    def tell(self, text: str) -> None:
        milliseconds = (time.perf_counter() - self._begin) * 1000
        print(f"{milliseconds:8.2f} ms  {text}")
        self._begin = time.perf_counter()


def find_scan() -> Path:
    """Return the path of a scan that comes with nibabel."""
    folder = Path(require("nibabel").__file__).parent / "tests" / "data"
    for name in ("example4d.nii.gz", "functional.nii"):
        if (folder / name).exists():
            return folder / name
    raise MissingExtra(f"no scan in {folder}, where nibabel has them: pip install --force-reinstall nibabel")


def calibrate(image: Any, scan: Any) -> None:
    """Tell an image of the voxels of a scan where they are in space."""
    image.set_affine(scan.affine, convention="RAS")  # as nibabel has it, whichever way the file's axes run
    image.unit = scan.header.get_xyzt_units()[0]


def side(step: Any) -> tuple[str, str]:
    """Return the letters of the sides of the body where an axis begins and ends: Left, Posterior, Inferior ...

    :param step: From one element to the next in RAS, a column of the affine matrix.
    """
    axis = int(numpy.argmax(numpy.abs(step)))
    begin, end = (("L", "R"), ("P", "A"), ("I", "S"))[axis]
    return (begin, end) if step[axis] > 0 else (end, begin)


def where(image: Any, z: int) -> str:
    """Return where the middle of a slice is, along the axis of the body that slices follow most."""
    middle = image.index_to_world([(image.shape[-1] - 1) / 2, (image.shape[-2] - 1) / 2, z])
    axis = int(numpy.argmax(numpy.abs(image.affine[:3, 2])))
    return f"{'xyz'[axis]} = {middle[axis]:.1f} {image.unit}"


def draw(image: Any, path: Path, title: str, tiles: int = 12) -> None:
    """Save slices of the first volume of an image as a picture with axes in millimetres."""
    require("matplotlib")
    figure_module = importlib.import_module("matplotlib.figure")
    slices = image.shape[-3]
    chosen = numpy.unique(numpy.linspace(0, slices - 1, tiles).round().astype(int)).tolist()
    pictures = [image[0, z] if image.ndim == 4 else image[z] for z in chosen]
    spacing, unit = numpy.abs(image.spacing), image.unit
    height, width = pictures[0].shape
    # The first row is drawn at the bottom, so that both axes grow as the voxels are counted.
    extent = (0, width * spacing[0], 0, height * spacing[1])
    darkest, brightest = numpy.percentile(numpy.stack(pictures), (1, 99.5))
    left, right = side(image.affine[:3, 0])
    bottom, top = side(image.affine[:3, 1])

    columns = 4
    rows = -(-len(chosen) // columns)
    tile_width = 3.0
    figure = figure_module.Figure(
        figsize=(columns * tile_width + 0.8, rows * (tile_width * extent[3] / extent[1] + 0.35) + 1.0),
        layout="constrained",
    )
    axes = figure.subplots(rows, columns, sharex=True, sharey=True, squeeze=False)
    for place, (z, picture) in enumerate(zip(chosen, pictures)):
        tile = axes.flat[place]
        tile.imshow(picture, cmap="gray", vmin=darkest, vmax=brightest, origin="lower", extent=extent)
        tile.set_title(f"slice {z}, {where(image, z)}", fontsize=11)
        letters: dict[str, Any] = {"color": "gold", "fontsize": 11, "fontweight": "bold", "transform": tile.transAxes}
        letters["bbox"] = {"facecolor": "black", "edgecolor": "none", "alpha": 0.6, "pad": 1.5}
        tile.text(0.03, 0.5, left, ha="left", va="center", **letters)
        tile.text(0.97, 0.5, right, ha="right", va="center", **letters)
        tile.text(0.5, 0.97, top, ha="center", va="top", **letters)
        tile.text(0.5, 0.03, bottom, ha="center", va="bottom", **letters)
    for tile in axes.flat[len(chosen) :]:
        tile.set_axis_off()
    figure.suptitle(title, fontsize=14)
    figure.supxlabel(f"along rows ({unit})", fontsize=12)
    figure.supylabel(f"along columns ({unit})", fontsize=12)
    path.parent.mkdir(parents=True, exist_ok=True)
    figure.savefig(path, dpi=80)


def address(array: numpy.ndarray[Any, Any]) -> int:
    """Return the address of the first element."""
    return int(array.__array_interface__["data"][0])


def run(output: Path) -> None:
    """Tell the whole story."""
    nibabel = require("nibabel")
    require("matplotlib")
    story = Story()

    path = find_scan()
    scan = nibabel.load(path)
    voxels = numpy.asanyarray(scan.dataobj)
    order = "Fortran" if voxels.flags.f_contiguous else "C"
    story.tell(
        f"nibabel read {path.name}: {voxels.shape} voxels of {voxels.dtype}, {order} order, {voxels.nbytes} bytes"
    )

    image = zarnik.from_numpy(voxels, axes="XYZT"[: voxels.ndim])
    story.tell(f"wrapped as an image without a copy: shape {image.shape}, axes {image.axes}")

    calibrate(image, scan)
    story.tell("told it where the voxels are, from the file's header:")
    print(f"{'':13}{image!r}")

    row, column = image.shape[-2] // 2, image.shape[-1] // 2
    block = (..., image.shape[-3] // 2, slice(row, row + 8), slice(column, column + 8))
    before = image[block]
    story.tell(f"read a block of {before.shape} from the middle: mean {before.mean():.1f}, maximum {before.max()}")

    image[block] = 1000
    seen = voxels[(slice(column, column + 8), slice(row, row + 8), image.shape[-3] // 2)]
    story.tell(
        f"wrote 1000 into the block through the image; nibabel's array now has {seen.min()} to {seen.max()} there"
    )
    image[block] = before
    story.tell("put the old values back")

    second = image.to_numpy("XYZT"[: voxels.ndim])
    story.tell(f"made a second array from the image, in nibabel's order of axes: shape {second.shape}")
    verdict = "the same memory" if address(second) == address(voxels) else "NOT the same memory"
    print(f"{'':13}addresses: nibabel's array {address(voxels):#x}, ours {address(second):#x}: {verdict}")

    del scan, voxels, second
    story.tell(
        f"let go of nibabel's array: the image keeps the memory, its mean is still {image.to_numpy().mean():.2f}"
    )

    _demo_access.run(path, story.tell)

    draw(image, output, f"{path.name}: first of {image.shape[0] if image.ndim == 4 else 1} volumes")
    story.tell(f"drew slices of the first volume into {output}")


def main() -> None:
    """Run the demonstration from the command line."""
    parser = argparse.ArgumentParser(prog="python -m zarnik.demo", description=__doc__)
    parser.add_argument("--output", type=Path, default=Path("build/demo.png"), help="where the picture goes")
    arguments = parser.parse_args()
    try:
        run(arguments.output)
    except MissingExtra as error:
        raise SystemExit(f"zarnik.demo: {error}") from None


if __name__ == "__main__":
    main()
