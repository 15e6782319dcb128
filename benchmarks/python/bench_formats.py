"""Files of each format: opening them and reading a block or a plane, beside the library that they are read by alone."""

from __future__ import annotations

import shutil
import sys
import tempfile
import time
from collections.abc import Iterator
from pathlib import Path
from typing import Any, Callable

import numpy

from http_delay import delayed
from measure import Ratio

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "tests" / "support"))

from http_nginx import nginx

import zarnik

SIDE = 256
ROUNDS = 5
# What is quick is tried more often, within some time.
MOST_ROUNDS = 101
SECONDS = 0.5
AIM = 1.1
# As large as what is read, and away from the corner, so that tiles are cut.
BLOCK = (slice(40, 40 + SIDE),) * 3
DELAY_SECONDS = 0.02


def volume(side: int) -> Any:
    """Something that compresses about as real images do."""
    z, y, x = numpy.ogrid[:side, :side, :side]
    smooth = 1000 + 500 * numpy.sin(x / 30) * numpy.cos(y / 40) * numpy.cos(z / 20)
    return (smooth + numpy.random.default_rng(0).normal(0, 10, (side,) * 3)).astype("uint16")


def medians(ours: Callable[[], Any], theirs: Callable[[], Any]) -> tuple[float, float]:
    """The median time of both, taking turns, with what was decoded forgotten before each."""
    times: tuple[list[float], list[float]] = ([], [])
    works = list(zip((ours, theirs), times))
    deadline = time.perf_counter() + SECONDS
    while len(times[0]) < ROUNDS or (len(times[0]) < MOST_ROUNDS and time.perf_counter() < deadline):
        # Nobody always comes first: a work finds memory and caches as the one before it leaves them.
        works.reverse()
        for function, found in works:
            limit = zarnik.cache_info()["limit_bytes"]
            zarnik.set_cache_size(0)
            zarnik.set_cache_size(limit)
            begin = time.perf_counter()
            function()
            found.append(time.perf_counter() - begin)
    return float(numpy.median(times[0])), float(numpy.median(times[1]))


def tiff(folder: Path, array: Any) -> Iterator[Ratio]:
    import tifffile

    image = zarnik.from_numpy(array, "ZYX")
    path = folder / "a.tif"

    def plane() -> Any:
        with tifffile.TiffFile(path) as file:
            return file.series[0].pages[100].asarray()

    def block() -> Any:
        pages = tifffile.imread(path, key=range(BLOCK[0].start, BLOCK[0].stop))
        return pages[:, BLOCK[1], BLOCK[2]]

    for name, options in (("plain", {}), ("zlib tiles", {"compression": "zlib", "tile": 128})):
        zarnik.save(path, image, **options)
        ours, theirs = medians(lambda: zarnik.open(path).to_numpy().sum(), lambda: tifffile.imread(path).sum())
        yield Ratio(f"TIFF {name}, open and sum all", "tifffile.imread", ours, theirs, AIM)
        numpy.testing.assert_array_equal(zarnik.open(path)[BLOCK], block())
        ours, theirs = medians(lambda: zarnik.open(path)[BLOCK], block)
        yield Ratio(f"TIFF {name}, open, a block", "pages of tifffile.imread", ours, theirs, AIM)
        ours, theirs = medians(lambda: zarnik.open(path)[100], plane)
        yield Ratio(f"TIFF {name}, open, a plane", "page of a series of tifffile", ours, theirs, AIM)


def as_usual(folder: Path, array: Any) -> Iterator[Ratio]:
    """Beside how planes of such files are usually read."""
    import SimpleITK
    from bioio import BioImage
    from dask_image.imread import imread

    image = zarnik.from_numpy(array, "ZYX", spacing=(0.5, 0.5, 2), unit="mm")
    names = ("a.nii", "a.nrrd", "a.ome.tif", "a.ome.zarr")
    for name in names:
        zarnik.save(folder / name, image, **({"compression": "zlib"} if name == "a.ome.tif" else {}))

    def by_simpleitk(path: Path) -> Any:
        reader = SimpleITK.ImageFileReader()
        reader.SetFileName(str(path))
        reader.ReadImageInformation()
        reader.SetExtractIndex((0, 0, 100))
        reader.SetExtractSize((*reader.GetSize()[:2], 0))
        return SimpleITK.GetArrayFromImage(reader.Execute())

    def by_bioio(path: Path) -> Any:
        return BioImage(path).get_image_dask_data("ZYX", T=0, C=0)[100].compute()

    def by_dask_image(path: Path) -> Any:
        return imread(str(path))[100].compute()

    for name, peer, theirs in (
        *((name, "SimpleITK", by_simpleitk) for name in names[:2]),
        ("a.ome.tif", "dask-image", by_dask_image),
        *((name, "bioio", by_bioio) for name in names[2:]),
    ):
        path = folder / name
        numpy.testing.assert_array_equal(theirs(path), array[100])
        times = medians(lambda path=path: zarnik.open(path)[100], lambda path=path, read=theirs: read(path))
        yield Ratio(f"{name[2:]}, open, a plane", peer, *times, 1.0)


def medical(folder: Path, array: Any) -> Iterator[Ratio]:
    import mrcfile
    import nibabel

    image = zarnik.from_numpy(array, "ZYX")
    for name, alone, theirs in (
        ("b.nii", "nibabel", lambda path, key: numpy.asarray(nibabel.load(path).dataobj[key[::-1]])),
        ("b.mrc", "mrcfile", lambda path, key: numpy.array(mrcfile.mmap(path).data[key])),
        ("b.npy", "numpy.load", lambda path, key: numpy.array(numpy.load(path, mmap_mode="r")[key])),
    ):
        path = folder / name
        zarnik.save(path, image)
        for what, key in (("a block", BLOCK), ("a plane", (100, slice(None), slice(None)))):
            times = medians(
                lambda path=path, key=key: zarnik.open(path)[key],
                lambda path=path, key=key, read=theirs: read(path, key),
            )
            yield Ratio(f"{name[2:]}, open, {what}", alone, *times, AIM)


def hdf5(folder: Path, array: Any) -> Iterator[Ratio]:
    import h5py

    image = zarnik.from_numpy(array, "ZYX")
    path = folder / "b.h5"

    def alone(key: Any) -> Any:
        with h5py.File(path) as file:
            return file["image"][key]

    def described(key: Any) -> Any:
        with h5py.File(path) as file:
            dataset = file["image"]
            told = [axis.label for axis in dataset.dims], dataset.attrs["affine"], dataset.attrs["unit"]
            return dataset[key], told

    for name, options in (
        ("one piece", {"chunks": None}),
        ("chunks", {"chunks": (64, 64, 64)}),
        ("gzip", {"chunks": (64, 64, 64), "compression": "gzip"}),
    ):
        zarnik.save(path, image, **options)
        for what, key in (("a block", BLOCK), ("a plane", 100)):
            numpy.testing.assert_array_equal(alone(key), array[key])
            times = medians(lambda key=key: zarnik.open(path)[key], lambda key=key: alone(key))
            yield Ratio(f"HDF5 {name}, open, {what}", "h5py", *times, AIM)
            times = medians(lambda key=key: zarnik.open(path)[key], lambda key=key: described(key))
            yield Ratio(f"HDF5 {name}, open, {what}", "h5py, and where it lies", *times, AIM)


def dicom(folder: Path, array: Any) -> Iterator[Ratio]:
    import pydicom
    import pydicom.data

    path = folder / "b.dcm"
    file = pydicom.dcmread(pydicom.data.get_testdata_file("CT_small.dcm"))
    plane = array[100].astype("int16")
    file.Rows, file.Columns = plane.shape
    file.RescaleIntercept = 0
    file.PixelData = plane.tobytes()
    file.save_as(path)
    numpy.testing.assert_array_equal(zarnik.open(path).to_numpy(), plane)
    times = medians(lambda: zarnik.open(path)[:], lambda: pydicom.dcmread(path).pixel_array)
    yield Ratio("dcm, open, a plane", "pydicom", *times, AIM)


def nrrd(folder: Path, array: Any) -> Iterator[Ratio]:
    import nrrd

    image = zarnik.from_numpy(array, "ZYX")
    path = folder / "b.nrrd"

    def alone() -> Any:
        return nrrd.read(str(path), index_order="C")[0][BLOCK]

    for encoding in ("raw", "gzip"):
        zarnik.save(path, image, encoding=encoding)
        numpy.testing.assert_array_equal(zarnik.open(path)[BLOCK], alone())
        times = medians(lambda: zarnik.open(path)[BLOCK], alone)
        yield Ratio(f"NRRD {encoding}, open, a block", "pynrrd", *times, AIM)


def pictures(folder: Path, array: Any) -> Iterator[Ratio]:
    from PIL import Image

    # As large as those that cameras make.
    pixels = numpy.tile((array[100] >> 3).astype("uint8"), (8, 8))
    for name in ("b.png", "b.jpg"):
        path = folder / name
        Image.fromarray(pixels).save(path)

        def alone(path: Path = path) -> Any:
            return numpy.asarray(Image.open(path))

        numpy.testing.assert_array_equal(zarnik.open(path).to_numpy(), alone())
        times = medians(lambda path=path: zarnik.open(path).to_numpy(), alone)
        yield Ratio(f"{name[2:]} of {pixels.size >> 20} Mi pixels, open and read", "Pillow", *times, AIM)


def ome_zarr(folder: Path, array: Any) -> Iterator[Ratio]:
    import zarr

    image = zarnik.from_numpy(array, "ZYX")
    path = folder / "a.zarr"
    plane = (slice(None), slice(None), 100)

    def alone(where: Any) -> Any:
        return zarr.open_group(path, mode="r")["0"][where]

    for name, options in (
        ("0.4 blosc", {"version": "0.4", "compression": "blosc"}),
        ("0.5 zstd", {}),
        ("0.5 shards", {"shards": {"z": 128, "y": 256, "x": 256}}),
        ("0.5 plain", {"compression": None}),
    ):
        zarnik.save(path, image, chunks={"z": 64, "y": 64, "x": 64}, levels=1, **options)
        ours, theirs = medians(lambda: zarnik.open(path)[BLOCK], lambda: alone(BLOCK))
        yield Ratio(f"OME-Zarr {name}, open, a block", "zarr", ours, theirs, AIM)
        ours, theirs = medians(lambda: zarnik.open(path)[plane], lambda: alone(plane))
        yield Ratio(f"OME-Zarr {name}, open, a plane", "zarr", ours, theirs, AIM)


def from_afar(folder: Path, array: Any) -> Iterator[Ratio]:
    import zarr

    image = zarnik.from_numpy(array[:SIDE, :SIDE, :SIDE], "ZYX")
    zarnik.save(folder / "far.zarr", image, chunks={"z": 32, "y": 64, "x": 64}, levels=1)
    block = (slice(10, 70), slice(30, 200), slice(30, 200))
    with nginx(folder) as server:
        for delay in (0.0, DELAY_SECONDS):
            with delayed(server.port, delay) as port:
                address = f"http://127.0.0.1:{port}/far.zarr"
                before = server.requests()
                zarnik.open(address)[block]
                middle = server.requests()
                zarr.open_group(address, mode="r")["0"][block]
                after = server.requests()
                ours, theirs = medians(
                    lambda address=address: zarnik.open(address)[block],
                    lambda address=address: zarr.open_group(address, mode="r")["0"][block],
                )
                name = f"OME-Zarr over HTTP, {delay * 1000:g} ms, {middle - before} requests"
                yield Ratio(name, f"zarr with fsspec, {after - middle} requests", ours, theirs, AIM)


def run() -> Iterator[Ratio]:
    folder = Path(tempfile.mkdtemp())
    threads = zarnik.thread_count()
    # The others use every processor.
    zarnik.set_thread_count(0)
    array = volume(SIDE + 64)
    try:
        yield from tiff(folder, array)
        yield from ome_zarr(folder, array)
        yield from medical(folder, array)
        yield from hdf5(folder, array)
        yield from dicom(folder, array)
        yield from nrrd(folder, array)
        yield from pictures(folder, array)
        yield from as_usual(folder, array)
        yield from from_afar(folder, array)
    finally:
        shutil.rmtree(folder)
        zarnik.set_thread_count(threads)
