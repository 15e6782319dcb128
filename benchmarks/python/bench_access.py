"""Bytes of files and memory: streams and accessors against the system's own calls and memcpy."""

from __future__ import annotations

import os
import tempfile
import time
from collections.abc import Iterator
from pathlib import Path

import numpy

import zarnik
from measure import Ratio, compare

GIGABYTE = 1 << 30
PIECE = 8 << 20


def run() -> Iterator[Ratio]:
    with tempfile.TemporaryDirectory() as folder:
        path = Path(folder) / "file"
        numpy.random.default_rng(7).integers(0, 256, GIGABYTE, dtype=numpy.uint8).tofile(path)
        yield from sequential(path)
        yield from scattered(path)
        yield from mapped(path)
    yield from growing()


def sequential(path: Path) -> Iterator[Ratio]:
    buffer = memoryview(bytearray(PIECE))

    def through_stream() -> None:
        with zarnik.open_stream(path) as stream:
            while stream.readinto(buffer):
                pass

    def through_system() -> None:
        descriptor = os.open(path, os.O_RDONLY)
        offset = 0
        while count := os.preadv(descriptor, [buffer], offset):
            offset += count
        os.close(descriptor)

    through_system()
    names = {"ours": through_stream, "system": through_system}
    yield compare(
        "stream, 1 GiB from the page cache",
        "ours()",
        "os.preadv",
        "system()",
        names,
        aim=1 / 0.95,
        clock=time.perf_counter,
        patience=24,
    )


def scattered(path: Path) -> Iterator[Ratio]:
    access = zarnik.open_random(path)
    descriptor = os.open(path, os.O_RDONLY)
    offsets = numpy.random.default_rng(8).integers(0, GIGABYTE - 4096, 1000).tolist()
    names = {"access": access, "os": os, "fd": descriptor, "offsets": offsets}
    yield compare(
        "accessor, 1,000 reads of 4 KiB",
        "for offset in offsets: access.read(offset, 4096)",
        "os.pread",
        "for offset in offsets: os.pread(fd, 4096, offset)",
        names,
        aim=1.5,
        clock=time.perf_counter,
        patience=4,
    )
    os.close(descriptor)


def mapped(path: Path) -> Iterator[Ratio]:
    access = zarnik.open_random(path, mode="m")
    source = numpy.fromfile(path, numpy.uint8, 256 << 20)
    destination = numpy.empty_like(source)
    names = {"access": access, "source": source, "destination": destination, "copy": numpy.copyto}
    yield compare(
        "mapping, 256 MiB",
        "access.read_into(0, destination)",
        "memcpy",
        "copy(destination, source)",
        names,
        aim=1.1,
        clock=time.perf_counter,
    )


def growing() -> Iterator[Ratio]:
    piece = os.urandom(64 << 10)
    source = numpy.ones(GIGABYTE, numpy.uint8)

    def through_stream() -> None:
        stream = zarnik.StreamAccessFactory.allocate()
        for _ in range(GIGABYTE // len(piece)):
            stream.write(piece)

    names = {"ours": through_stream, "source": source}
    yield compare(
        "growing stream, 1 GiB in writes of 64 KiB",
        "ours()",
        "memcpy into new memory",
        "source.copy()",
        names,
        aim=2.0,
        clock=time.perf_counter,
    )
