"""What the tests let workers of a cluster do."""

import re
import resource
import time
from pathlib import Path
from typing import Any

import distributed
import numpy
import psutil
import zarr

import zarnik


def without_background(volume: Any, result: Any, first: int, last: int) -> Any:
    """Slices less the mean of each and its neighbours, written to the result; the largest values along them."""
    low, high = max(first - 1, 0), min(last + 1, volume.shape[0])
    block = numpy.pad(volume[low:high], ((first - low == 0, high - last == 0), (0, 0), (0, 0)), "edge")
    block = block[1:-1] - (block[:-2] + block[1:-1] + block[2:]) / 3
    result[first:last] = block
    time.sleep(0.05)
    return block.max(axis=0)


class Limit(distributed.WorkerPlugin):
    """Gives a worker so many bytes of addresses more than it has."""

    def __init__(self, more: int) -> None:
        self.more = more

    def setup(self, worker: Any) -> None:
        zarnik.set_http_options(cache_bytes=8 << 20, read_ahead_bytes=1 << 20)
        # Each thread takes addresses that it does not use.
        zarr.config.set({"threading.max_workers": 1})
        zarr.save_array(zarr.storage.MemoryStore(), numpy.zeros(1))
        self.before = psutil.Process().memory_info().rss
        most = psutil.Process().memory_info().vms + self.more
        resource.setrlimit(resource.RLIMIT_AS, (most, most))


def growth(dask_worker: Any) -> int:
    """How many bytes of memory a worker had at most beyond those at its start."""
    plugin = next(plugin for plugin in dask_worker.plugins.values() if isinstance(plugin, Limit))
    # Not ru_maxrss: that begins with what the parent had.
    status = Path("/proc/self/status").read_text()
    return int(re.search(r"VmHWM:\s+(\d+) kB", status)[1]) * 1024 - plugin.before


def whole(image: Any) -> str:
    try:
        return str(image.to_numpy().nbytes)
    except (MemoryError, zarnik.Error) as error:
        return str(error)
