"""Many processes work on one image that none of them could hold, and write to one file."""

import concurrent.futures
import multiprocessing
import os
import signal
import subprocess
import sys
import time

import dask.array as da
import distributed
import numpy
import pytest

import zarnik
from support import elsewhere, http_faults, on_cluster
from support.expect import raises

SLICES = 4


@pytest.fixture
def server():
    command = [sys.executable, http_faults.__file__]
    with subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE) as process:
        yield f"http://127.0.0.1:{int(process.stdout.readline())}"
        process.stdin.close()


@pytest.fixture
def client(monkeypatch):
    # Where addresses are limited: by itself the C library sets 64 MiB of them aside for each thread that allocates.
    monkeypatch.setenv("MALLOC_ARENA_MAX", "1")
    with (
        distributed.LocalCluster(n_workers=4, threads_per_worker=1, dashboard_address=None) as cluster,
        distributed.Client(cluster) as client,
    ):
        yield client


def expected():
    volume = http_faults.volume(0, numpy.prod(http_faults.VOLUME)).reshape(http_faults.VOLUME)
    for place in range(len(volume)):
        near = volume[[max(place - 1, 0), place, min(place + 1, len(volume) - 1)]].astype("float32")
        yield near[1] - (near[0] + near[1] + near[2]) / 3


def stored_image(path, like):
    return zarnik.create(path / "result.zrn", like, mapped=False)


def one_zarr(path, like):
    # Each chunk is an eighth of what is written at a time.
    return zarnik.create(path / "result.ome.zarr", like, chunks={"z": SLICES, "y": 512, "x": 256}, levels=2)


@pytest.mark.skipif(bool(os.environ.get("ZARNIK_SANITIZED")), reason="shadow memory takes all addresses")
@pytest.mark.parametrize("create", [stored_image, one_zarr])
def test_more_than_a_process_may_hold(create, server, client, tmp_path):
    client.register_plugin(on_cluster.Limit(160 << 20))
    volume = zarnik.open_raw(f"{server}/volume", http_faults.VOLUME, "uint16").astype("float32")
    assert all(text != str(volume.nbytes) for text in client.run(on_cluster.whole, volume).values())
    result = create(tmp_path, volume)
    futures = [
        client.submit(on_cluster.without_background, volume, result, first, first + SLICES, pure=False)
        for first in range(0, len(volume), SLICES)
    ]
    process = next(iter(client.run(os.getpid).values()))
    while sum(future.done() for future in futures) < 3:
        time.sleep(0.01)
    os.kill(process, signal.SIGKILL)
    assert not all(future.done() for future in futures)
    largest = numpy.maximum.reduce(client.gather(futures))
    assert max(client.run(on_cluster.growth).values()) < 128 << 20
    path = next(tmp_path.glob("result.*"))
    written = zarnik.open(path)
    greatest, corner = -numpy.inf, []
    for place, plane in enumerate(expected()):
        numpy.testing.assert_array_equal(written[place], plane)
        greatest = numpy.maximum(greatest, plane)
        corner.append(plane[:2, :2].copy())
    numpy.testing.assert_array_equal(largest, greatest)
    if create is one_zarr:
        zarnik.rebuild_levels(path)
        numpy.testing.assert_allclose(zarnik.open(path).levels[1][0, 0, 0], numpy.mean(corner[:2]), rtol=1e-6)


def test_arrays_are_stored_from_all_processes(client, tmp_path):
    result = zarnik.create(tmp_path / "result.zrn", zarnik.uniform((16, 60, 70), 0, "float64"))
    array = da.arange(16 * 60 * 70, chunks=4200).reshape(16, 60, 70).rechunk((3, 25, 70)) * 0.5
    da.store(array, result, lock=False)
    numpy.testing.assert_array_equal(result.to_numpy(), numpy.arange(16 * 60 * 70).reshape(16, 60, 70) / 2)


@pytest.mark.parametrize("mapped", [True, False])
def test_writers_of_neighbouring_elements_need_no_lock(mapped, tmp_path):
    result = zarnik.create(tmp_path / "result.zrn", zarnik.uniform((300, 3), 0, "uint8"), mapped=mapped)
    with concurrent.futures.ProcessPoolExecutor(2, multiprocessing.get_context("spawn")) as executor:
        list(executor.map(elsewhere.mark, [result] * 2, [0, 1], [2] * 2))
    numpy.testing.assert_array_equal(result.to_numpy()[:, 0], [0, 1] * 150)


def test_a_new_file_takes_no_room(tmp_path):
    like = zarnik.uniform((3, 4, 500, 600), 7, "uint16").with_properties(unit="mm", metadata={"a": 1})
    result = zarnik.create(tmp_path / "result.zrn", like.astype("float32"))
    assert (result.shape, str(result.dtype), result.unit) == ((3, 4, 500, 600), "float32", "mm")
    assert (tmp_path / "result.zrn").stat().st_blocks * 512 < 65536 < result.nbytes
    assert zarnik.open(tmp_path / "result.zrn").metadata.to_dict() == {"a": 1}
    raises(zarnik.Error, "cannot write", zarnik.create, tmp_path / "nowhere" / "result.zrn", like)
    raises(TypeError, "for an ImageView, not tuple", zarnik.create, tmp_path / "result.zrn", (3, 4))
    zarnik.save(tmp_path / "a.zarr.zip", zarnik.uniform((4, 5), 1, "uint8", axes="YX"))
    raises(zarnik.NotImplemented, "into an archive", zarnik.create, tmp_path / "a.zarr.zip", like)
    assert zarnik.open(tmp_path / "a.zarr.zip")[3, 4] == 1
    in_parts = r"TIFF cannot be written in parts: \.zrn and \.zarr can"
    raises(zarnik.NotImplemented, in_parts, zarnik.create, tmp_path / "a.tif", like)
    raises(TypeError, "options 'chunks' are of Zarr", zarnik.create, tmp_path / "result.zrn", like, chunks=(1, 2))
