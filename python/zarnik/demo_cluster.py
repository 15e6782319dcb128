"""Works on a scan of a web server by several processes: `python -m zarnik.demo_cluster [--output picture.png]`.

A real scan is saved as OME-Zarr with levels of detail, served, opened by its URL and handed to dask. Processes of a
cluster read what they need from the server, take the background away and write what is left to one file, each its own
regions.
"""

from __future__ import annotations

import argparse
import importlib
import os
import tempfile
from pathlib import Path
from typing import Any

import numpy

import zarnik
from zarnik._demo_access import MissingServer, web_server
from zarnik.demo import MissingExtra, Story, find_scan, require

PROCESSES = 2
# Of a chunk, and how far around an element its background reaches: slices, rows, columns.
CHUNK, REACH = (6, 96, 128), (3, 10, 10)


def mean_around(block: Any) -> Any:
    """The mean of the elements around each, along the last three axes, by sums of sums."""
    around = block.astype("float64")
    for axis, reach in zip((-3, -2, -1), REACH):
        padded = numpy.pad(
            around,
            [(reach + 1, reach) if axis == place - around.ndim else (0, 0) for place in range(around.ndim)],
            "edge",
        )
        sums = padded.cumsum(axis)
        count = 2 * reach + 1
        low, high = numpy.arange(block.shape[axis]), numpy.arange(block.shape[axis]) + count
        around = (sums.take(high, axis) - sums.take(low, axis)) / count
    return around.astype("float32")


def run(output: Path) -> None:
    require("dask.array")
    distributed = require("distributed")
    story = Story()
    scan: Any = zarnik.open(find_scan())
    story.tell(f"opened the scan, nothing of it read: {scan!r}")
    with tempfile.TemporaryDirectory() as name:
        folder = Path(name)
        zarnik.save(folder / "scan.ome.zarr", scan, chunks=(1, *CHUNK), levels=3)
        story.tell("saved it as OME-Zarr with levels of detail")
        with web_server(folder) as url:
            image: Any = zarnik.open(f"{url}/scan.ome.zarr")
            shapes = ", ".join(str(level.shape) for level in image.levels)
            story.tell(f"opened {url}/scan.ome.zarr, levels of {shapes}")
            with (
                distributed.LocalCluster(n_workers=PROCESSES, threads_per_worker=1, dashboard_address=None) as cluster,
                distributed.Client(cluster) as client,
            ):
                numbers = ", ".join(map(str, client.run(os.getpid).values()))
                story.tell(f"started a cluster of processes on this machine: {numbers}")
                work(image, folder / "bright.zrn", story)
            bright: Any = zarnik.open(folder / "bright.zrn")
            largest = bright.to_numpy().max(axis=(0, 1))
            projection = zarnik.from_numpy(largest, spacing=image.spacing[:2], unit=image.unit)
            zarnik.save(folder / "projection.ome.zarr", projection)
            story.tell(f"saved the largest value along slices and times: {projection!r}")
            draw(image.crop(t=0, z=image.shape[1] // 2), zarnik.open(folder / "projection.ome.zarr"), output)
            story.tell(f"drew both with axes in millimetres: {output}")


def work(image: Any, path: Path, story: Story) -> None:
    """Write an image less its background to a file, each process what it has computed."""
    import pickle

    array = image.to_dask("tiles")
    size = len(pickle.dumps(array))
    story.tell(f"handed it to dask in {array.npartitions} chunks, which travels in {size} bytes: {array!r}")
    da = importlib.import_module("dask.array")
    depth = {axis + 1: reach for axis, reach in enumerate(REACH)}
    background = array.map_overlap(mean_around, depth=depth, boundary="nearest", dtype="float32")
    bright = da.maximum(array - background, 0).astype("float32")
    da.store(bright, zarnik.create(path, image.astype("float32")), lock=False)
    story.tell("took the background away; each process read its chunks from the server and wrote them to one file")


def draw(one: Any, projection: Any, path: Path) -> None:
    require("matplotlib")
    figure = importlib.import_module("matplotlib.figure").Figure(figsize=(11, 4.6), layout="constrained")
    for place, image, title in zip(
        figure.subplots(1, 2),
        (one, projection),
        ("a slice, as it came from the server", "largest value over the background, along slices and times"),
    ):
        image.show(place).set_title(title)
    path.parent.mkdir(parents=True, exist_ok=True)
    figure.savefig(path, dpi=80)


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0] if __doc__ else None)
    parser.add_argument("--output", type=Path, default=Path("build/demo/cluster.png"))
    try:
        run(parser.parse_args().output)
    except (MissingExtra, MissingServer) as error:
        raise SystemExit(str(error)) from None


if __name__ == "__main__":
    main()
