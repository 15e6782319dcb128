"""Reading regions of an image in memory against copies of NumPy slices, with the threads that users get."""

from __future__ import annotations

import os
import time
from collections.abc import Iterator

import numpy

import _zarnik
import zarnik
from measure import Ratio, compare


def run() -> Iterator[Ratio]:
    before = zarnik.thread_count()
    zarnik.set_thread_count(min(4, os.cpu_count() or 1))
    try:
        yield from reading()
    finally:
        zarnik.set_thread_count(before)


def reading() -> Iterator[Ratio]:
    array = numpy.random.default_rng(7).integers(0, 2**16, size=(64, 512, 512), dtype=numpy.uint16)
    view = zarnik.from_numpy(array, "ZYX")
    tile_bytes = 64 * 1024
    tile_side = 181  # 181 * 181 two-byte elements are just below 64 KiB
    assert tile_side**2 * array.itemsize <= tile_bytes
    for name, origin, size, aim in (
        ("row of 512", (0, 100, 30), (512, 1, 1), 1.0),
        ("tile of 64 KiB", (50, 60, 30), (tile_side, tile_side, 1), 1.2),
        ("whole volume 512x512x64", (0, 0, 0), (512, 512, 64), 1.0),
    ):
        region = zarnik.RegionXu64(origin, size)
        slices = tuple(slice(start, start + extent) for start, extent in zip(reversed(origin), reversed(size)))
        names = {"view": view, "region": region, "array": array, "slices": slices}
        names |= {"flat": _zarnik.ImageView___read_region, "buffer": numpy.empty_like(array[slices])}
        assert numpy.array_equal(view.read_region(region).reshape(array[slices].shape), array[slices])
        yield compare(
            f"read_region, {name}",
            "view.read_region(region)",
            "NumPy slice and copy",
            "array[slices].copy()",
            names,
            aim=aim,
            clock=time.perf_counter,
            patience=8,
        )
        yield compare(
            f"flat read into a buffer, {name}",
            "flat(view, region, buffer)",
            "NumPy slice and copy",
            "array[slices].copy()",
            names,
            aim=aim,
            clock=time.perf_counter,
            patience=8,
        )
