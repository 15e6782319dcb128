"""Images by dask: next to what dask reads by itself, and what several processes gain."""

from __future__ import annotations

import tempfile
import time
from collections.abc import Iterator
from pathlib import Path
from typing import Any

import dask.array as da
import distributed
import numpy
import zarr

import zarnik
from measure import Ratio

SHAPE, CHUNKS = (32, 1024, 2048), (4, 1024, 1024)
ROUNDS = 3


def work(array: Any) -> Any:
    """What is computed: the mean of what is brighter than the background, slice by slice."""
    array = array.astype("float32")
    bright = array - array.mean(axis=(1, 2), keepdims=True)
    return da.where(bright > 0, bright, 0).mean(axis=(1, 2))


def best(*arrays: Any, **options: Any) -> list[float]:
    """The best time of each, which take turns."""
    found = [float("inf")] * len(arrays)
    for _ in range(ROUNDS):
        for place, make in enumerate(arrays):
            begin = time.perf_counter()
            work(make()).compute(**options)
            found[place] = min(found[place], time.perf_counter() - begin)
    return found


def run() -> Iterator[Ratio]:
    with tempfile.TemporaryDirectory() as name:
        folder = Path(name)
        volume = numpy.random.default_rng(1).integers(0, 4096, SHAPE, "uint16")
        volume.tofile(folder / "volume.raw")
        store = folder / "volume.zarr"
        zarr.create_array(store, shape=SHAPE, chunks=CHUNKS, dtype="uint16")[...] = volume
        zarnik.save(folder / "volume.zrn", zarnik.from_numpy(volume), checksums=False)
        del volume

        def image() -> Any:
            return zarnik.open_raw(folder / "volume.raw", SHAPE, "uint16").to_dask(CHUNKS)

        def stored() -> Any:
            return zarnik.open(folder / "volume.zrn").to_dask(CHUNKS)

        def chunked() -> Any:
            return zarnik.open(store).to_dask("tiles")

        def mapped() -> Any:
            return da.from_array(numpy.memmap(folder / "volume.raw", "uint16", "r", shape=SHAPE), CHUNKS)

        def of_zarr() -> Any:
            return da.from_zarr(str(store))

        works = {"a raw file": (image, mapped), "a stored image": (stored, mapped), "zarr": (chunked, of_zarr)}
        peers = {mapped: "from_array(memmap)", of_zarr: "from_zarr"}
        for scheduler in ("synchronous", "threads"):
            for what, (mine, peer) in works.items():
                times = best(mine, peer, scheduler=scheduler)
                yield Ratio(f"{what} by dask, {scheduler}", peers[peer], *times, aim=1.0)
        yield from by_processes(works, peers)


def by_processes(works: dict[str, Any], peers: dict[Any, str]) -> Iterator[Ratio]:
    spent: dict[tuple[str, int], float] = {}
    for processes in (1, 2):
        with (
            distributed.LocalCluster(n_workers=processes, threads_per_worker=1, dashboard_address=None) as cluster,
            distributed.Client(cluster),
        ):
            for what, (mine, peer) in works.items():
                times = best(mine, peer)
                spent[what, processes] = times[0]
                yield Ratio(f"{what} by dask, {processes} processes", peers[peer], *times, aim=1.0)
    for what in works:
        yield Ratio(f"{what} by 2 processes", "by 1 process", spent[what, 2], spent[what, 1])
