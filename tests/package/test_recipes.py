"""What is opened, and what is made of it, travels as a reference and is opened again elsewhere."""

import concurrent.futures
import copy
import multiprocessing
import os
import pickle

import numpy
import pytest
from http_nginx import nginx

import zarnik
from support import elsewhere
from support.expect import raises
from support.images import Traced

ARRAY = numpy.arange(3 * 4 * 5 * 6, dtype="uint16").reshape(3, 4, 5, 6)


class Chunked(Traced):
    """An array that pickles as where it is from."""

    def __reduce__(self):
        return numpy.load, (self.path,)


@pytest.fixture(scope="module")
def folder(tmp_path_factory):
    folder = tmp_path_factory.mktemp("recipes")
    described = zarnik.from_numpy(ARRAY, axes="TZYX", spacing=(0.5, 1, 2), unit="mm", metadata={"a": [1, 2.5]})
    zarnik.save(folder / "image.zrn", described)
    ARRAY.tofile(folder / "image.raw")
    numpy.save(folder / "image.npy", ARRAY)
    Chunked.path = str(folder / "image.npy")
    return folder


@pytest.fixture(scope="module")
def worker():
    with concurrent.futures.ProcessPoolExecutor(1, multiprocessing.get_context("spawn")) as executor:
        yield executor


def stored(folder):
    return zarnik.open(folder / "image.zrn")


def raw(folder, **options):
    return zarnik.open_raw(folder / "image.raw", ARRAY.shape, "uint16", **options)


def changed(folder):
    image = raw(folder, mode="r+")
    image.spacing, image.unit = (1, 2, 3), "um"
    image.set_axes_interpretation("TZYX")
    image.metadata = {"who": "me"}
    part = image.crop(z=slice(1, 3))
    part.bit_depth = 12
    return part.flip("X")


REFERENCES = {
    "stored": stored,
    "raw": raw,
    "raw with an offset": lambda folder: zarnik.open_raw(folder / "image.raw", (4, 5, 6), "u2", offset=240),
    "raw, the other way round": lambda folder: raw(folder, axes="TZYX", order="F"),
    "accessor": lambda folder: zarnik.open(zarnik.open_random(folder / "image.zrn")),
    "address": lambda folder: zarnik.open((folder / "image.zrn").as_uri()),
    "chain": lambda folder: stored(folder).crop(t=1, y=slice(None, None, -2)).astype("f4").rescale(None, [0, 1]),
    "other axes": lambda folder: stored(folder).transpose("TXYZ").rename_axes(["T", "Z", "Y", "X"]).subsample(2),
    "relabelled": lambda folder: stored(folder).with_properties(unit="um", metadata={"b": "c"}).thread_safe(),
    "frame": lambda folder: stored(folder).frames("T")[1].frames("Z")[-1],
    "channel": lambda folder: list(stored(folder).rename_axes("CZYX").channels())[2],
    "read-only": lambda folder: zarnik.ImageViewProvider.to_read_only(raw(folder, mode="r+").crop(1)),
    "stack": lambda folder: zarnik.stack([stored(folder).crop(t=0), raw(folder).crop(t=1)], "T", 2),
    "stack of frames": lambda folder: zarnik.stack(raw(folder).frames("T"), "C"),
    "set": lambda folder: zarnik.multi_image([raw(folder), stored(folder)])[1],
    "level": lambda folder: zarnik.lod_image([stored(folder), stored(folder).subsample(2)], -1)[0],
    "coarser": lambda folder: zarnik.coarser_levels(stored(folder), coarsest=3)[1],
    "uniform": lambda folder: zarnik.uniform((1000, 1000), (1, 2, 3), "uint8").crop(slice(5)),
    "array": lambda folder: zarnik.from_array(Chunked(ARRAY, (1, 2, 5, 6)), "TZYX").crop(1),
    "changed": changed,
}


@pytest.mark.parametrize("name", REFERENCES)
def test_a_reference_is_the_same_elsewhere(name, folder, worker, monkeypatch):
    monkeypatch.chdir(folder)
    image = REFERENCES[name](folder)
    for protocol in (2, 5):
        data = pickle.dumps(image, protocol)
        assert len(data) < 1000
        there = worker.submit(elsewhere.seen_of_pickle, data).result()
        for here, its in zip(elsewhere.seen(image), there):
            numpy.testing.assert_equal(its, here)
    again = pickle.loads(data)
    assert pickle.loads(pickle.dumps(again)).equals(image)


def test_paths_are_those_of_the_sender(folder, worker, monkeypatch):
    monkeypatch.chdir(folder)
    assert worker.submit(elsewhere.total, zarnik.open("image.zrn")).result()[1] == ARRAY.sum()


def test_changed_and_missing_files_are_errors(tmp_path):
    path = tmp_path / "scan.raw"
    path.write_bytes(bytes(24))
    data = pickle.dumps(zarnik.open_raw(path, (2, 3, 4), "uint8"))
    os.utime(path, ns=(0, 0))
    raises(zarnik.Error, r"scan.raw' has changed since it was opened: it had 24 bytes", pickle.loads, data)
    path.unlink()
    raises(zarnik.Error, r"cannot open '.*scan.raw' again: No such file", pickle.loads, data)
    # What is written may change; but another file of its name is not taken for it.
    path.write_bytes(bytes(24))
    writable = zarnik.open_raw(path, (24,), "uint8", mode="r+")
    again = pickle.loads(pickle.dumps(writable))
    writable[3] = 9
    assert again[3] == 9
    path.unlink()
    path.write_bytes(bytes(range(24)))
    assert pickle.loads(pickle.dumps(writable))[3] == 3


def test_what_is_changed_of_one_is_not_changed_of_others(folder):
    image = raw(folder, mode="r+")
    one, other = pickle.loads(pickle.dumps((image, image.crop(0))))
    one.unit, one.metadata = "mm", {"x": 1}
    assert (image.unit, other.unit, pickle.loads(pickle.dumps(image)).unit) == ("", "", "")
    again = pickle.loads(pickle.dumps(one))
    assert (again.unit, again.metadata.to_dict()) == ("mm", {"x": 1})


def test_memory_goes_by_the_smaller_of_two():
    large, small = zarnik.zeros((100, 100), "uint8"), zarnik.zeros((10, 10), "uint8")
    large.unit = "mm"
    part, wider, stack = large.crop(slice(2), slice(5)), large.astype("float64"), zarnik.stack([large, large])
    for image, most in ((part, 1000), (wider, 11000), (stack, 11000)):
        data = pickle.dumps(image)
        again = pickle.loads(data)
        assert len(data) < most and again.equals(image) and again.unit == "mm"
    assert len(pickle.dumps(zarnik.multi_image([small, large.crop(slice(3))]))) < 2500
    buffers = []
    data = pickle.dumps(large.flip("X").astype("float32"), 5, buffer_callback=buffers.append)
    assert [numpy.shares_memory(numpy.frombuffer(buffer), large.to_numpy()) for buffer in buffers] == [True]
    again = pickle.loads(data, buffers=buffers)
    again[1, 1] = 45
    assert large[1, -2] == 45


def test_copies(folder):
    image = stored(folder).crop(0)
    assert copy.copy(image) is image and copy.deepcopy([image])[0] is image
    for changeable in (raw(folder, mode="r+").crop(1), zarnik.zeros((3, 3)).astype("float32"), zarnik.zeros((3, 3))):
        before = changeable.to_numpy(copy=True)
        again = copy.deepcopy(changeable)
        again[...] = 0
        again.unit = "mm"
        assert (changeable.equals(before), changeable.unit) == (True, "")


def test_files_are_opened_once(folder):
    data = pickle.dumps(stored(folder))
    one, other = pickle.loads(data), pickle.loads(data)
    assert numpy.shares_memory(one.to_numpy(copy=False), other.to_numpy(copy=False))
    access = pickle.dumps(zarnik.open_random(folder / "image.raw"))
    assert pickle.loads(access) is pickle.loads(access)
    # Those that nobody uses are kept for a while, but not all of them.
    before = len(os.listdir("/proc/self/fd"))
    for number in range(100):
        path = folder / f"{number}.raw"
        path.write_bytes(bytes(10))
        pickle.loads(pickle.dumps(zarnik.open_random(path)))
    assert len(os.listdir("/proc/self/fd")) < before + 20
    raises(TypeError, "cannot be pickled: only accessors of paths", pickle.dumps, zarnik.open_random(bytes(10)))


def test_long_chains(folder):
    image = stored(folder)
    for _ in range(2000):
        image = image.flip("X")
    assert pickle.loads(pickle.dumps(image)).equals(stored(folder))


def test_another_version_on_a_server_is_another_file(folder, worker):
    path = folder / "served.zrn"
    path.write_bytes((folder / "image.zrn").read_bytes())
    with nginx(folder) as server:
        address = server.url(path.name)
        old = zarnik.open(address)
        assert worker.submit(elsewhere.total, old).result()[1] == ARRAY.sum()
        assert pickle.loads(pickle.dumps(zarnik.open_random(address))).read(0, 8) == path.read_bytes()[:8]
        data = pickle.dumps(old)
        del old
        zarnik.save(path, zarnik.from_numpy(ARRAY + 1, axes="TZYX"))
        os.utime(path, (1, 1))  # which tells versions apart
        assert worker.submit(elsewhere.total, zarnik.open(address)).result()[1] == (ARRAY + 1).sum()
        text = r"served.zrn' has changed since it was opened: it was \d+ bytes, \"[^\"]+\""
        raises(zarnik.Error, text, pickle.loads, data)
