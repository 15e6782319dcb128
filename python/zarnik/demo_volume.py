"""Shows a part of a volume of 20 GiB without reading the rest: `python -m zarnik.demo_volume [--output picture.png]`.

The volume is a sparse raw file: a real scan, repeated over a few pictures in the middle; the rest was never written and
takes no room on the disk.
"""

from __future__ import annotations

import argparse
import importlib
import tempfile
from pathlib import Path
from typing import Any

import numpy

import zarnik
from zarnik import _direct
from zarnik.demo import MissingExtra, Story, find_scan, require

#: Z, Y, X: 20 GiB of 16-bit samples
SHAPE = 2560, 2048, 2048
SPACING = 0.25, 0.25, 0.5
WRITTEN = slice(1272, 1288)


def write_volume(path: Path) -> None:
    """Make the file, with the middle slice of a real scan side by side in the pictures in the middle."""
    scan = require("nibabel").load(find_scan())
    data = numpy.asarray(scan.dataobj)
    slices = data.reshape(*data.shape[:3], -1)[..., 0].T.astype("uint16")
    picture = slices[len(slices) // 2]
    tiles = [-(-size // tile) for size, tile in zip(SHAPE[1:], picture.shape)]
    plane = numpy.tile(picture, tiles)[: SHAPE[1], : SHAPE[2]]
    with path.open("wb") as file:
        file.truncate(int(numpy.prod(SHAPE)) * 2)
        for z in range(WRITTEN.start, WRITTEN.stop):
            file.seek(z * plane.nbytes)
            file.write(plane.tobytes())


def process(field: str, source: str) -> int:
    """A number of this process that the system tells, in bytes."""
    for line in Path(f"/proc/self/{source}").read_text().splitlines():
        name, _, value = line.partition(":")
        if name == field:
            return int(value.split()[0]) * (1024 if value.endswith("kB") else 1)
    return 0


def gib(count: float) -> str:
    return f"{count / 2**30:.1f} GiB"


def mib(count: float) -> str:
    return f"{count / 2**20:.2f} MiB"


def bytes_read() -> int:
    """What this process has read of files, by calls of the system and from mappings."""
    return process("rchar", "io") + _direct.bytes_from_mappings()


def run(output: Path) -> None:
    story = Story()
    with tempfile.TemporaryDirectory() as folder:
        path = Path(folder) / "volume.raw"
        write_volume(path)
        room = path.stat().st_blocks * 512
        story.tell(f"made a file of {gib(path.stat().st_size)}, which takes {mib(room)} on the disk")

        volume: Any = zarnik.open_raw(path, SHAPE, "uint16", axes="ZYX").with_properties(spacing=SPACING, unit="mm")
        story.tell(f"opened it: {volume!r}")

        part = volume.crop(z=slice(1276, 1284), y=slice(200, 1000, 2), x=slice(300, 1100, 2)).flip("Y")
        part = part.astype("float32").rescale((0, 1000), (0, 1))
        story.tell(f"cropped, stepped, flipped, converted and rescaled it: {part!r}")

        before = bytes_read()
        pixels = part[4]
        asked, read = pixels.size * 2, bytes_read() - before
        story.tell(f"read a picture: {mib(asked)} of samples were asked for, {mib(read)} read from the file")

        column = volume.crop(y=1024, x=1024)
        before = bytes_read()
        values = column.to_numpy()
        read = bytes_read() - before
        story.tell(f"read a line through all {values.size} pictures: {values.nbytes} bytes asked for, {read} read")

        draw(part, output)
        story.tell(f"drew the picture with axes in millimetres: {output}")
        print(f"{'':11}  the most memory in use was {mib(process('VmHWM', 'status'))}")


def draw(part: Any, path: Path) -> None:
    require("matplotlib")
    figure = importlib.import_module("matplotlib.figure").Figure(figsize=(6, 6), layout="constrained")
    axes = part.crop(z=4).show(figure.subplots())
    axes.set_title("a part of one of 2,560 pictures")
    path.parent.mkdir(parents=True, exist_ok=True)
    figure.savefig(path, dpi=80)


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0] if __doc__ else None)
    parser.add_argument("--output", type=Path, default=Path("build/demo/volume.png"))
    try:
        run(parser.parse_args().output)
    except MissingExtra as error:
        raise SystemExit(str(error)) from None


if __name__ == "__main__":
    main()
