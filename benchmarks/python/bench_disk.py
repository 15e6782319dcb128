"""Parts of a large file beside numpy.memmap and tensorstore, copies beside dd, and stacks of many files.

The file has 4 GiB, or ZARNIK_BENCH_GIB of them, and is in the page cache as far as that has room.
"""

from __future__ import annotations

import os
import resource
import subprocess
import tempfile
import time
from collections.abc import Iterator
from pathlib import Path
from typing import Any

import numpy

import zarnik
from measure import Ratio, compare
from zarnik import _direct

GIBIBYTES = int(os.environ.get("ZARNIK_BENCH_GIB", "4"))
SHAPE = (256 * GIBIBYTES, 1024, 2048)  # of uint16
BLOCK = 64


def write_samples(path: Path) -> None:
    plane = numpy.random.default_rng(7).integers(0, 2**16, SHAPE[1:], dtype="uint16")
    with path.open("wb") as file:
        for number in range(SHAPE[0]):
            file.write((plane + numpy.uint16(number)).tobytes())


def bytes_read() -> int:
    """What this process has read by calls of the system and from mappings of the package."""
    return int(Path("/proc/self/io").read_text(encoding="ascii").split()[1]) + _direct.bytes_from_mappings()


def places() -> dict[str, list[tuple[Any, ...]]]:
    random = numpy.random.default_rng(5)
    at = [tuple(int(random.integers(0, size)) for size in SHAPE) for _ in range(2000)]
    corners = [tuple(place // BLOCK * BLOCK for place in index) for index in at[:60]]
    return {
        "2000 rows": [(z, y, slice(None)) for z, y, _ in at],
        "60 planes": [(z,) for z, _, _ in at[:60]],
        "4 columns along the slowest axis": [(slice(None), y, x) for _, y, x in at[:4]],
        "60 blocks of 64 cubed": [tuple(slice(c, c + BLOCK) for c in corner) for corner in corners],
    }


def parts(path: Path) -> Iterator[Ratio]:
    image = zarnik.open_raw(path, SHAPE, "uint16")
    array = numpy.memmap(path, "uint16", "r", shape=SHAPE)
    for name, keys in places().items():

        def read(keys: Any = keys) -> int:
            return sum(image[key].nbytes for key in keys)

        def copy(keys: Any = keys) -> int:
            return sum(array[key].copy().nbytes for key in keys)

        def copy_anew(keys: Any = keys) -> int:
            fresh = numpy.memmap(path, "uint16", "r", shape=SHAPE)
            return sum(fresh[key].copy().nbytes for key in keys)

        assert all(numpy.array_equal(image[key], array[key]) for key in keys[:3])
        before = bytes_read()
        needed = read()
        print(f"  {name}: {(bytes_read() - before) / needed:.2f} bytes read for each that is needed")
        yield compare(name, read, "numpy.memmap", copy, clock=time.process_time)
        yield compare(name, read, "numpy.memmap, mapped anew", copy_anew, clock=time.process_time)


def chunks(path: Path, folder: Path) -> Iterator[Ratio]:
    """The same blocks of the first GiB as tensorstore has them in chunks of their own, uncompressed."""
    try:
        import tensorstore
    except ImportError:
        print("  skipped: tensorstore is not installed")
        return
    shape = (256, *SHAPE[1:])
    metadata = {"shape": shape, "chunks": (BLOCK,) * 3, "dtype": "<u2", "compressor": None}
    store = {"driver": "file", "path": str(folder / "chunks")}
    other = tensorstore.open({"driver": "zarr", "kvstore": store, "metadata": metadata}, create=True).result()
    image = zarnik.open_raw(path, shape, "uint16")
    for first in range(0, shape[0], BLOCK):
        other[first : first + BLOCK] = image[first : first + BLOCK]
    for name in ("60 planes", "60 blocks of 64 cubed"):
        keys = [
            tuple(place if isinstance(place, slice) else place % shape[0] for place in key) for key in places()[name]
        ]
        keys = [key for key in keys if not isinstance(key[0], slice) or key[0].stop <= shape[0]]
        assert numpy.array_equal(image[keys[0]], other[keys[0]].read().result())
        yield compare(
            f"{name}, the first GiB",
            lambda keys=keys: [image[key] for key in keys],
            "tensorstore, chunks of 64 cubed",
            lambda keys=keys: [other[key].read().result() for key in keys],
            clock=time.process_time,
        )


def copies(path: Path, folder: Path) -> Iterator[Ratio]:
    """Processor time, since the disk is the same."""
    image = zarnik.open_raw(path, SHAPE, "uint16")
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    subprocess.run(["dd", f"if={path}", f"of={folder / 'copy'}", "bs=1M"], check=True, capture_output=True)
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    (folder / "copy").unlink()
    by_dd = after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime
    memory = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss
    start = time.process_time()
    copy = image.to_disk(folder)
    seconds = time.process_time() - start
    grown = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss - memory
    del copy
    print(f"  to_disk of {GIBIBYTES} GiB took {grown / 1024:.1f} MiB of memory more than there was")
    yield Ratio(f"to_disk of {GIBIBYTES} GiB", "dd bs=1M", seconds, by_dd, 1 / 0.9)


def stacks(folder: Path) -> Iterator[Ratio]:
    plane = numpy.random.default_rng(7).integers(0, 2**16, (256, 256), dtype="uint16")
    images, arrays = [], []
    for number in range(1000):
        path = folder / f"plane{number}"
        (plane + numpy.uint16(number)).tofile(path)
        images.append(zarnik.open_raw(path, plane.shape, "uint16"))
        arrays.append(path)

    def by_numpy() -> object:
        return numpy.stack([numpy.fromfile(path, "uint16").reshape(plane.shape) for path in arrays])

    for threads in (1, 2, 4):
        stack = zarnik.stack(images, "Z", threads)
        assert stack.shape == (1000, *plane.shape)
        yield compare(
            f"a stack of 1000 files, {threads} threads",
            stack.to_memory,
            "numpy.fromfile and stack",
            by_numpy,
            clock=time.perf_counter,
        )


def run() -> Iterator[Ratio]:
    with tempfile.TemporaryDirectory() as name:
        folder, path = Path(name), Path(name) / "samples"
        yield from stacks(folder)
        write_samples(path)
        yield from parts(path)
        yield from chunks(path, folder)
        yield from copies(path, folder)
