"""What the binary format costs next to memcpy, numpy.save, pickle and zarr: 512 MiB in memory and in files.

In memory both sides have one thread. In files the package has two, as many as it takes on a machine of two processors,
and NumPy the one that it always has; the files are in the page cache. Blocks are hashed wherever nothing else is said.
What saves under another name and waits for the disk is compared with numpy.save that does the same, what just writes
with numpy.save alone.
"""

from __future__ import annotations

import io
import os
import pickle
import tempfile
import time
from collections.abc import Iterator
from pathlib import Path

import numpy

import zarnik
from measure import Ratio, compare

BYTES = 512 << 20
SHAPE = (128, 1024, 2048)  # uint16
WIDE_SHAPE = (1024, 1024, 2048)  # 4 GiB of uint16
AIM_MEMORY = 1 / 0.9
WALL = time.perf_counter

try:
    import zarr
except ImportError:
    zarr = None


def settled(path: Path) -> None:
    """Waits until a file is on the disk, so that one measurement does not pay for another."""
    with open(path, "rb") as file:
        os.fsync(file.fileno())


def in_memory(image: zarnik.ImageView, array: numpy.ndarray) -> Iterator[Ratio]:
    # Both sides write to the same memory, where pages are small or large alike; it has room for the header too.
    memory = bytearray(BYTES + (1 << 20))
    stream = zarnik.open_stream(memory, "w")
    target = numpy.frombuffer(memory, array.dtype, array.size, offset=512).reshape(array.shape)

    def encoded(checksums: bool) -> None:
        stream.seek(0)
        zarnik._direct.store_image(image, stream, 0, checksums)

    def decoded() -> zarnik.ImageView:
        stream.seek(0)
        return zarnik.Serialization.decode_image_view(stream)

    copied = lambda: numpy.copyto(target, array)  # noqa: E731
    yield compare("encode", lambda: encoded(True), "memcpy", copied, aim=AIM_MEMORY, clock=WALL)
    encoded(True)
    yield compare("decode", decoded, "memcpy to new memory", array.copy, aim=AIM_MEMORY, clock=WALL)
    yield compare("encode, no checksums", lambda: encoded(False), "memcpy", copied, aim=AIM_MEMORY, clock=WALL)
    encoded(False)
    yield compare("decode, no checksums", decoded, "memcpy to new memory", array.copy, aim=AIM_MEMORY, clock=WALL)


def in_files(image: zarnik.ImageView, array: numpy.ndarray, folder: Path) -> Iterator[Ratio]:
    zarnik.set_thread_count(2)
    ours, theirs = folder / "image.zrn", folder / "array.npy"

    def saved() -> None:
        zarnik.save(ours, image)

    def saved_by_numpy() -> None:
        # As safe: the file is on the disk, under another name until it is whole.
        part = folder / "array.part.npy"
        numpy.save(part, array)
        settled(part)
        part.replace(theirs)

    def written_by_numpy() -> None:
        theirs.unlink(missing_ok=True)
        numpy.save(theirs, array)

    def streamed() -> None:
        # Emptying a file may wait for what is being written of it.
        ours.unlink(missing_ok=True)
        with zarnik.open_stream(ours, "w") as stream:
            zarnik.Serialization.encode_image_view(image, stream)

    def loaded() -> numpy.ndarray:
        return zarnik.open(ours).to_numpy(copy=True)

    def decoded() -> zarnik.ImageView:
        with zarnik.open_stream(ours) as stream:
            return zarnik.Serialization.decode_image_view(stream)

    yield compare("save", saved, "numpy.save, synchronized", saved_by_numpy, aim=1, clock=WALL, patience=8)
    yield compare("encode to a file", streamed, "numpy.save", written_by_numpy, aim=1, clock=WALL, patience=8)
    settled(ours)
    settled(theirs)
    yield compare("open and read all", loaded, "numpy.load", lambda: numpy.load(theirs), aim=1, clock=WALL, patience=8)
    yield compare("decode, checked", decoded, "numpy.load", lambda: numpy.load(theirs), aim=1, clock=WALL, patience=8)
    archive = folder / "array.npz"
    yield compare("save", saved, "numpy.savez", lambda: numpy.savez(archive, array), clock=WALL)
    if zarr is not None:
        chunks = {"chunks": (16, 256, 256), "compressors": None, "overwrite": True}
        store = lambda: zarr.create_array(folder / "a.zarr", data=array, **chunks)  # noqa: E731
        yield compare("save", saved, "zarr, uncompressed", store, clock=WALL)
        group = zarr.open_array(folder / "a.zarr")
        yield compare("open and read all", loaded, "zarr, uncompressed", lambda: group[...], clock=WALL)


def opened(folder: Path) -> Iterator[Ratio]:
    small, large = folder / "small.zrn", folder / "large.zrn"
    zarnik.save(small, zarnik.uniform((2, 2, 2), 7, "uint16"))
    zarnik.save(large, zarnik.uniform(WIDE_SHAPE, 7, "uint16"), checksums=False)
    element_of = lambda path: zarnik.open(path)[1, 1, 1]  # noqa: E731
    name = "open 4 GiB, one element"
    yield compare(name, lambda: element_of(large), "of 16 bytes", lambda: element_of(small), aim=1.5)
    yield compare(name, lambda: element_of(large), "1 ms", lambda: time.sleep(0.001), aim=1, clock=WALL)


def pickled(image: zarnik.ImageView, array: numpy.ndarray) -> Iterator[Ratio]:
    def out_of_band(what: object) -> bytes:
        buffers: list[pickle.PickleBuffer] = []
        return pickle.dumps(what, protocol=5, buffer_callback=buffers.append)

    def in_band(what: object) -> None:
        pickle.dump(what, io.BytesIO(), protocol=5)

    yield compare("pickle out of band", lambda: out_of_band(image), "array", lambda: out_of_band(array), clock=WALL)
    yield compare("pickle in band", lambda: in_band(image), "array", lambda: in_band(array), aim=1.1, clock=WALL)


def run() -> Iterator[Ratio]:
    array = numpy.random.default_rng(0).integers(0, 4096, SHAPE, numpy.uint16)
    image = zarnik.from_numpy(array, axes="ZYX", spacing=(0.5, 0.5, 2), unit="mm")
    yield from in_memory(image, array)
    yield from pickled(image, array)
    with tempfile.TemporaryDirectory() as name:
        yield from in_files(image, array, Path(name))
        yield from opened(Path(name))
