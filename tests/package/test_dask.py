"""Images as dask arrays and back, against what NumPy computes of them."""

import concurrent.futures
import multiprocessing
import os
import pickle

import dask
import dask.array as da
import distributed
import joblib
import numpy
import pytest

import zarnik
from support import elsewhere
from support.expect import raises
from support.images import Traced

ARRAY = numpy.arange(6 * 50 * 70, dtype="uint16").reshape(6, 50, 70)


@pytest.fixture(scope="module")
def stored(tmp_path_factory):
    path = tmp_path_factory.mktemp("dask") / "image.zrn"
    zarnik.save(path, zarnik.from_numpy(ARRAY, spacing=(1, 2, 3), unit="um"))
    return path


@pytest.fixture(scope="module")
def client():
    with (
        distributed.LocalCluster(n_workers=2, threads_per_worker=1, dashboard_address=None) as cluster,
        distributed.Client(cluster) as client,
    ):
        yield client


def test_chunks_are_tiles():
    image = zarnik.from_array(Traced(ARRAY, (1, 20, 30)))
    tiles = ((1,) * 6, (20, 20, 10), (30, 30, 10))
    assert image.to_dask("tiles").chunks == tiles
    assert image.astype("f4").flip("X").to_dask("tiles").chunks == (*tiles[:2], (10, 30, 30))
    assert image.transpose("XYZ").to_dask("tiles").chunks == tiles[::-1]
    part = image.crop(2, y=slice(5, 45), x=slice(None, 30, -1))
    assert part.to_dask("tiles").chunks == ((15, 20, 5), (10, 29))
    numpy.testing.assert_array_equal(part.to_dask("tiles").compute(), ARRAY[2, 5:45, :30:-1])
    assert image.subsample(2).to_dask("tiles").chunks == ((1, 1, 1), (10, 10, 5), (15, 15, 5))
    assert zarnik.uniform((6, 50, 70), 1).to_dask("tiles").numblocks == (1, 1, 1)
    for most, blocks in ((1200, (6, 3, 3)), (2800, (6, 3, 1)), (7000, (6, 1, 1)), (14000, (3, 1, 1))):
        with dask.config.set({"array.chunk-size": most}):
            assert image.to_dask().numblocks == blocks
    assert image.to_dask({"Z": 2, 1: 25}).chunks == ((2, 2, 2), (25, 25), (70,))
    assert image.to_dask((3, -1, 35)).numblocks == (2, 1, 2)
    raises(ValueError, "axis 'T' is none of the axes 'ZYX'", image.to_dask, {"T": 1})


def test_a_slice_reads_no_more_than_it_shows():
    tiled = Traced(ARRAY, (1, 20, 30))
    array = zarnik.from_array(tiled).to_dask("tiles")
    assert tiled.keys == []
    numpy.testing.assert_array_equal(array[3, 5:10, ::7].compute(scheduler="sync"), ARRAY[3, 5:10, ::7])
    assert sum(numpy.prod([stop - first for first, stop in key]) for key in tiled.keys) <= 5 * 70
    picked = array[:, 1:][2, [30, 4, 7], 40:43].compute(scheduler="sync")
    numpy.testing.assert_array_equal(picked, ARRAY[2, [31, 5, 8], 40:43])


def test_equal_images_have_equal_names(stored):
    def names(image):
        return image.to_dask().name, image.crop(1).astype("f4").to_dask((10, 70)).name

    assert names(zarnik.open(stored)) == names(zarnik.open(stored)) != names(zarnik.open(stored).flip("X"))
    in_memory = zarnik.from_numpy(ARRAY.copy())
    before = names(in_memory)
    assert before == names(zarnik.from_numpy(ARRAY.copy())) == names(in_memory)
    in_memory[0, 0, 0] = 1
    assert names(in_memory) != before
    writable = zarnik.open(stored, mode="r+")
    assert writable.to_dask().name != writable.to_dask().name
    assert zarnik.open(stored).to_dask((1, 50, 70)).name != zarnik.open(stored).to_dask((2, 50, 70)).name
    os.utime(stored, ns=(0, 0))
    assert zarnik.open(stored).to_dask(name="mine").name == "mine"


def test_an_image_of_a_dask_array():
    array = da.from_array(ARRAY, chunks=(2, 50, 35)) * 2
    image = zarnik.from_dask(array, "TYX", spacing=(1, 2), unit="um", metadata={"a": 1})
    assert (image.axes, image.spacing[:2], image.unit, image.metadata["a"].to_python()) == ("TYX", (1, 2), "um", 1)
    for again in (image, pickle.loads(pickle.dumps(image))):
        numpy.testing.assert_array_equal(again.to_numpy(), ARRAY * 2)
    assert image.to_dask("tiles").chunks == array.chunks
    raises(ValueError, "chunks of unknown size", zarnik.from_dask, array[array > 5])
    raises(TypeError, "from_array takes others", zarnik.from_dask, ARRAY)
    with pytest.raises(zarnik.Error, match="division"):
        zarnik.from_dask(array.map_blocks(lambda block: 1 // 0, dtype="i4", meta=numpy.zeros((0, 0, 0), "i4")))[0]


def test_several_processes(stored, client):
    image = zarnik.open(stored)
    array = image.astype("float32").to_dask((1, 50, 70))
    assert len(pickle.dumps(array)) < 2000
    sums, expected = (given - given.mean(axis=0) for given in (array, ARRAY))
    numpy.testing.assert_allclose(sums.sum(axis=(1, 2)).compute(), expected.sum(axis=(1, 2)), rtol=1e-3)
    assert numpy.array_equal(zarnik.from_numpy(ARRAY).to_dask((1, 50, 70)).max(axis=0).compute(), ARRAY.max(axis=0))
    part = zarnik.from_numpy(ARRAY).flip("Z").astype("f4")
    assert numpy.array_equal(part.to_dask((1, 50, 70)).compute(), ARRAY[::-1])
    found = client.gather(client.map(elsewhere.total, [image.crop(z) for z in range(6)]))
    assert [total for _, total in found] == ARRAY.sum(axis=(1, 2)).tolist()
    assert os.getpid() not in {process for process, _ in found}


@pytest.mark.parametrize("way", ["fork", "spawn", "futures", "loky"])
def test_ways_to_other_processes(way, stored):
    images = [zarnik.open(stored).crop(1), zarnik.from_numpy(ARRAY[1]), zarnik.from_numpy(ARRAY[1]).flip("X")]
    if way == "loky":
        found = joblib.Parallel(2, backend="loky")(joblib.delayed(elsewhere.total)(image) for image in images)
    elif way == "futures":
        with concurrent.futures.ProcessPoolExecutor(1, multiprocessing.get_context("forkserver")) as executor:
            found = list(executor.map(elsewhere.total, images))
    else:
        with multiprocessing.get_context(way).Pool(1) as pool:
            found = pool.map(elsewhere.total, images)
    assert [total for _, total in found] == [ARRAY[1].sum()] * 3
    assert os.getpid() not in {process for process, _ in found}
