"""Chains of lazy views beside the same steps in NumPy, numpy.memmap and dask.array, on one thread.

Long reads of the package run on threads of their own, so what counts is the processor time of the process; the time by
the clock, with as many threads as are usual, stands beside it.
"""

from __future__ import annotations

import tempfile
import time
from collections.abc import Iterator
from pathlib import Path
from typing import Any

import numpy

import zarnik
from measure import Ratio, compare
from zarnik import _direct

SHAPE = (64, 512, 512)  # of the result, 64 MiB of float32
LOW, HIGH = 200, 65000  # become 0 and 1
SCALE = (LOW, HIGH), (0, 1)


def chain_of(image: Any, steps: tuple[int, ...]) -> Any:
    """Crop, step, flip, convert, rescale."""
    crop = [slice(9, 9 + size * step) for size, step in zip(SHAPE, steps)]
    view = image.crop(*crop).crop(*(slice(None, None, step) for step in steps))
    return view.flip("X").astype("float32").rescale(*SCALE)


def same_of(array: Any, steps: tuple[int, ...]) -> Any:
    """The same as NumPy's users write it."""
    crop = tuple(slice(9, 9 + size * step) for size, step in zip(SHAPE, steps))
    step = tuple(slice(None, None, step) for step in steps)
    return (array[crop][step][..., ::-1].astype("float32") - LOW) / (HIGH - LOW)


def chains(folder: Path) -> Iterator[Ratio]:
    samples = numpy.random.default_rng(7).integers(0, 2**16, SHAPE, dtype="uint16")
    one_pass = zarnik.from_numpy(samples, "ZYX").rescale(*SCALE)
    for steps in ((1, 1, 1), (2, 1, 1), (2, 2, 1), (1, 1, 2), (2, 2, 2)):
        shape = tuple(size * step + 20 for size, step in zip(SHAPE, steps))
        array = numpy.random.default_rng(8).integers(0, 2**16, shape, dtype="uint16")
        path = folder / "samples"
        array.tofile(path)
        chain = chain_of(zarnik.from_numpy(array, "ZYX"), steps)
        stored = chain_of(zarnik.open_raw(path, shape, "uint16"), steps)
        file = numpy.memmap(path, "uint16", "r", shape=shape)
        out = numpy.empty(SHAPE, "float32")
        names: dict[str, object] = {"chain": chain, "array": array, "stored": stored, "file": file, "steps": steps}
        names |= {"same_of": same_of, "out": out, "one_pass": one_pass}
        names |= {"fill": _direct.fill_buffer, "whole": ((0, 0, 0), SHAPE[::-1])}
        assert numpy.allclose(chain[...], same_of(array, steps), rtol=1e-6)
        assert numpy.array_equal(chain[...], stored[...])
        of = f"chain of five, steps {steps}"
        for name, work, reference, reference_work, aim, clock in (
            (of, "chain[...]", "NumPy", "same_of(array, steps)", 1 / 3, time.process_time),
            (f"{of}, by the clock", "chain[...]", "NumPy", "same_of(array, steps)", 1 / 3, time.perf_counter),
            (f"{of}, in place", "fill(chain, *whole, out)", "NumPy", "same_of(array, steps)", None, time.process_time),
            (
                of,
                "fill(chain, *whole, out)",
                "one conversion pass",
                "fill(one_pass, *whole, out)",
                1.5,
                time.process_time,
            ),
            (f"{of}, file", "stored[...]", "numpy.memmap", "same_of(file, steps)", 1 / 3, time.process_time),
            (
                f"{of}, file, by the clock",
                "stored[...]",
                "numpy.memmap",
                "same_of(file, steps)",
                1 / 3,
                time.perf_counter,
            ),
        ):
            yield compare(name, work, reference, reference_work, names, aim, clock=clock, patience=4)
        yield from by_dask(of, names)


def by_dask(name: str, names: dict[str, object]) -> Iterator[Ratio]:
    try:
        import dask
        import dask.array
    except ImportError:
        print("  skipped: dask is not installed")
        return
    array: Any = names["array"]
    with dask.config.set(scheduler="synchronous"):
        lazy = dask.array.from_array(array, chunks=(16, *array.shape[1:]), name=False)
        graph = same_of(lazy, names["steps"])  # type: ignore[arg-type]
        yield compare(
            name, "chain[...]", "dask.array", "graph.compute()", names | {"graph": graph}, clock=time.process_time
        )


def small_things() -> Iterator[Ratio]:
    array = numpy.arange(8 * 9 * 10, dtype="uint16").reshape(8, 9, 10)
    image = zarnik.from_numpy(array)
    names: dict[str, object] = {"image": image, "array": array, "flipped": image.flip("X"), "turned": array[..., ::-1]}
    yield compare("one element of an image", "image[3, 4, 5]", "NumPy", "array[3, 4, 5]", names, aim=10)
    yield compare("one element of a flipped image", "flipped[3, 4, 5]", "NumPy", "turned[3, 4, 5]", names, aim=10)
    volume = zarnik.from_numpy(numpy.zeros([size + 20 for size in SHAPE], "uint16"), "ZYX")
    names = {"chain_of": chain_of, "volume": volume, "steps": (2, 2, 2), "flip": volume.flip}
    yield compare("making a chain of six views", "chain_of(volume, steps)", "one view", "flip('X')", names)


def copies(folder: Path) -> Iterator[Ratio]:
    array = numpy.random.default_rng(9).integers(0, 2**16, (64, 1024, 1024), dtype="uint16")
    path = folder / "samples"
    array.tofile(path)
    image = zarnik.from_numpy(array, "ZYX")
    sources = {
        "a file": zarnik.open_raw(path, array.shape, "uint16"),
        "a temporary file": image.to_disk(folder),
        "a flipped file": zarnik.open_raw(path, array.shape, "uint16").flip("X"),
        "every other pixel": zarnik.open_raw(path, array.shape, "uint16").crop(..., slice(None, None, 2)),
        "memory as float32": image.astype("float32"),
        "one value": zarnik.uniform(array.shape, 7, "uint16").flip("X").astype("uint8"),
        "a stack of 64": zarnik.stack([image.crop(z=z).flip("X").astype("int32") for z in range(64)]),
        "an array": zarnik.from_array(array),
    }
    for name, source in sources.items():
        memory = numpy.ones(source.shape, source.dtype)
        yield compare(
            f"to_memory of {name}",
            source.to_memory,
            "numpy copy",
            memory.copy,
            clock=time.process_time,
            patience=2,
        )


def run() -> Iterator[Ratio]:
    yield from small_things()
    with tempfile.TemporaryDirectory() as folder:
        yield from chains(Path(folder))
        yield from copies(Path(folder))
