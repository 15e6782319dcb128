"""Strided copies and conversions beside numpy.copyto and ndarray.astype, on the same memory and one thread.

A conversion writes into memory that is there already, and so does the copyto that it is compared with; astype, which
users write, also allocates its result.
"""

from __future__ import annotations

import ctypes
import os
from collections.abc import Iterator
from pathlib import Path

import numpy

from measure import Ratio, compare

# Types in the order of the library's ScalarType.
SCALARS = ("u1", "i1", "u2", "i2", "u4", "i4", "u8", "i8", "f4", "f8")
ELEMENTS = {"u8": "u1", "u16": "u2", "f32": "f4", "f64": "f8", "Vector3u8": "V3"}
SIZES = {"256 KiB": 256 << 10, "8 MiB": 8 << 20, "256 MiB": 256 << 20}


class Pixels:
    """The engine's functions, on NumPy's arrays."""

    def __init__(self) -> None:
        folder = Path(os.environ["ZARNIK_BENCHMARKS"])
        self._library = ctypes.CDLL(str(next(folder.glob("*zarnik_benchmark_pixels*"))))

    @staticmethod
    def _geometry(source: numpy.ndarray, destination: numpy.ndarray) -> list[object]:
        vector = ctypes.c_uint64 * source.ndim
        strides = (vector(*(stride % 2**64 for stride in array.strides)) for array in (source, destination))
        return [ctypes.c_size_t(source.ndim), vector(*source.shape), *strides]

    def copy(self, destination: numpy.ndarray, source: numpy.ndarray) -> object:
        """Something to call that copies source to destination."""
        arguments = self._geometry(source, destination)
        arguments += [ctypes.c_size_t(source.itemsize)]
        arguments += [ctypes.c_void_p(array.ctypes.data) for array in (source, destination)]
        return lambda function=self._library.pixels_copy: function(*arguments)

    def convert(self, destination: numpy.ndarray, source: numpy.ndarray) -> object:
        """Something to call that converts source to destination."""
        arguments = self._geometry(source, destination)
        arguments += [ctypes.c_int(SCALARS.index(array.dtype.str[1:])) for array in (source, destination)]
        arguments += [ctypes.c_void_p(array.ctypes.data) for array in (source, destination)]
        return lambda function=self._library.pixels_convert: function(*arguments)


def filled(shape: tuple[int, ...], dtype: str) -> numpy.ndarray:
    """An array whose every page is there; values are small so that no conversion overflows."""
    array = numpy.empty(shape, dtype)
    raw = array.reshape(-1).view("u1")
    raw[:] = 0
    if dtype != "V3":
        array[...] = (numpy.arange(array.size, dtype="u4") % 100).astype(dtype).reshape(shape)
    return array


def geometries(nbytes: int, dtype: str) -> Iterator[tuple[str, numpy.ndarray, float]]:
    """Sources to be copied to C order, with how many times faster than copyto each is to be."""
    itemsize = numpy.dtype(dtype).itemsize
    far = nbytes > 64 << 20
    side = int((nbytes / itemsize) ** 0.5) - 5
    edge = round((nbytes / itemsize) ** (1 / 3)) - 1
    moved = 5.0 if itemsize < 4 else 3.0
    yield "transpose", filled((side, side), dtype).T, moved if far else 0
    yield "axes (2, 1, 0)", filled((edge, edge, edge), dtype).T, moved if far else 0
    yield "crop", filled((side, side * 4 // 3), dtype)[:, 5 : 5 + side], 0
    yield "flip", filled((side, side), dtype)[:, ::-1], 0
    if dtype != "V3":
        for channels in (3, 4):
            count = nbytes // itemsize // channels
            yield f"{channels} channels to planar", filled((count, channels), dtype).T, 4
            yield f"{channels} channels interleaved", filled((channels, count), dtype).T, 4


def copies(pixels: Pixels) -> Iterator[Ratio]:
    for size, nbytes in SIZES.items():
        for element, dtype in ELEMENTS.items():
            for name, source, times in geometries(nbytes, dtype):
                destination = filled(source.shape, dtype)
                work = pixels.copy(destination, source)
                work()
                assert numpy.array_equal(destination.view("u1"), numpy.ascontiguousarray(source).view("u1"))
                yield compare(
                    f"{name}, {element}, {size}",
                    work,
                    "numpy.copyto",
                    lambda d=destination, s=source: numpy.copyto(d, s),
                    aim=1 / times if times else None,
                )


def conversions(pixels: Pixels) -> Iterator[Ratio]:
    for size, nbytes in SIZES.items():
        for source_type in SCALARS:
            for destination_type in SCALARS:
                if source_type == destination_type or (
                    nbytes > 1 << 20 and source_type not in ("u1", "u2", "f4", "f8")
                ):
                    continue
                widest = max(numpy.dtype(source_type).itemsize, numpy.dtype(destination_type).itemsize)
                source = filled((nbytes // widest,), source_type)
                destination = filled(source.shape, destination_type)
                work = pixels.convert(destination, source)
                work()
                assert numpy.array_equal(destination, source.astype(destination_type))
                twice = nbytes > 64 << 20 and source_type in ("u1", "u2") and destination_type == "f4"
                name = f"{source_type} to {destination_type}, {size}"
                into = lambda d=destination, s=source: numpy.copyto(d, s, casting="unsafe")  # noqa: E731
                new = lambda t=destination_type, s=source: s.astype(t)  # noqa: E731
                yield compare(name, work, "ndarray.astype", new, aim=0.5 if twice else 1.0)
                yield compare(name, work, "numpy.copyto", into)


def run() -> Iterator[Ratio]:
    if "ZARNIK_BENCHMARKS" not in os.environ:
        print("  skipped: the library's benchmarks are not built")
        return
    pixels = Pixels()
    yield from copies(pixels)
    yield from conversions(pixels)
