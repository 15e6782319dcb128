"""What crossing between Python, NumPy and the library costs."""

from __future__ import annotations

import subprocess
import sys
from collections.abc import Iterator

import numpy

import _zarnik
import zarnik
from measure import Ratio, compare

IMPORT_ROUNDS = 9
IMPORT_AIM_SECONDS = 0.050


def volume(nbytes: int) -> numpy.ndarray:
    """A volume that takes so many bytes of address space, of which next to none is touched."""
    return numpy.zeros((nbytes // 256, 16, 16), dtype=numpy.uint8)


def arrays_and_views(label: str, nbytes: int) -> Iterator[Ratio]:
    array = volume(nbytes)
    axes = zarnik.ImageType(zarnik.ImageTypeId.VOLUME)
    names = {
        "array": array,
        "axes": axes,
        "shape": array.shape,
        "dtype": array.dtype,
        "strides": array.strides,
        "ndarray": numpy.ndarray,
        "to_array": _zarnik.NumpyInterop_to_numpy_array,
        "to_view": _zarnik.NumpyInterop__from_numpy_array,
        "grayscale": _zarnik.ImageInterpretation_GRAYSCALE,
        "view": zarnik.from_numpy(array, axes),
    }
    reference, numpy_alone = "numpy.ndarray on the same memory", "ndarray(shape, dtype, array, strides=strides)"
    yield compare(f"array from view, {label}", "to_array(view)", reference, numpy_alone, names, aim=2.0)
    yield compare(f"view from array, {label}", "to_view(array, axes, grayscale, False)", reference, numpy_alone, names)


def flat_calls() -> Iterator[Ratio]:
    names = {
        "vector": zarnik.VectorXu64([1, 2, 3]),
        "view": zarnik.from_numpy(volume(1024)),
        "size": _zarnik.VectorXu64_size,
        "get_shape": _zarnik.ImageView_get_shape,
        # The least that an interpreter has for a C function of one argument: it looks at one field of the type.
        "empty": callable,
    }
    yield compare("VectorXu64_size", "size(vector)", "empty C function (callable)", "empty(vector)", names)
    yield compare("ImageView_get_shape", "get_shape(view)", "empty C function (callable)", "empty(view)", names)


def import_seconds(statement: str) -> float:
    """Best time that an interpreter takes from its start to the end of a statement."""
    program = f"import time; start = time.perf_counter()\n{statement}\nprint(time.perf_counter() - start)"
    runs = (
        subprocess.run([sys.executable, "-c", program], capture_output=True, check=True) for _ in range(IMPORT_ROUNDS)
    )
    return min(float(run.stdout) for run in runs)


def imports() -> Iterator[Ratio]:
    beyond = max(0.0, import_seconds("import numpy, zarnik") - import_seconds("import numpy"))
    yield Ratio("import beyond NumPy's", "50 ms", beyond, IMPORT_AIM_SECONDS, aim=1.0)


def run() -> Iterator[Ratio]:
    yield from arrays_and_views("1 KiB", 1 << 10)
    yield from arrays_and_views("4 GiB of address space", 1 << 32)
    yield from flat_calls()
    yield from imports()
