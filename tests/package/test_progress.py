"""How operations that take a while tell how far they are, and how they are broken off."""

import concurrent.futures
import os
import signal
import time

import numpy
import pytest

import zarnik
from support.expect import raises, run_python

SHAPE = 40, 1000, 500


def lazy(size=None):
    """An image of 20 MB that is not in memory."""
    return zarnik.uniform(SHAPE if size is None else (size >> 20, 1 << 20), 7, "uint8")


def in_thread(function):
    with concurrent.futures.ThreadPoolExecutor(1) as executor:
        return executor.submit(function).result()


def saved(folder, progress, size=None):
    zarnik.save(folder / "image.zrn", lazy(size), progress=progress)
    return zarnik.open(folder / "image.zrn")


WRITES = {
    "memory": lambda folder, progress, size=None: lazy(size).to_memory(progress=progress),
    "disk": lambda folder, progress, size=None: lazy(size).to_disk(folder, progress=progress),
    "save": saved,
}


def enough(done, total):
    raise KeyError("enough") from LookupError("cause")


@pytest.mark.parametrize("call", [lambda function: function(), in_thread], ids=["here", "thread"])
@pytest.mark.parametrize("copy", WRITES.values(), ids=WRITES)
def test_progress_ends_with_everything_done_or_an_exception(copy, call, tmp_path):
    def ended():
        raises(KeyError, r"^'enough'$", copy, tmp_path, enough)
        return list(tmp_path.iterdir())

    assert call(ended) == []
    told = []
    listen = lambda done, total: told.append((done, total))  # noqa: E731
    size = int(numpy.prod(SHAPE))
    assert call(lambda: copy(tmp_path, listen).to_numpy().sum()) == 7 * size
    assert told[-1] == (size, size) and told == sorted(told) and {total for _, total in told} == {size}


@pytest.mark.parametrize("suffix", [".tif", ".nii.gz", ".h5", ".npz", ".ome.zarr"])
def test_what_a_listener_raises_ends_the_work_of_formats(suffix, tmp_path):
    path = tmp_path / f"image{suffix}"
    image = zarnik.from_numpy(numpy.zeros((4, 100, 100), "u1"))
    zarnik.save(path, image)
    there = {found: found.read_bytes() for found in tmp_path.rglob("*") if found.is_file()}
    with pytest.raises(KeyError, match="enough") as caught:
        zarnik.save(path, zarnik.from_numpy(numpy.ones((4, 100, 100), "u1")), progress=enough)
    assert isinstance(caught.value.__cause__, LookupError)
    assert {found: found.read_bytes() for found in tmp_path.rglob("*") if found.is_file()} == there


@pytest.mark.parametrize("copy", WRITES.values(), ids=WRITES)
def test_ctrl_c_ends_the_work(copy, tmp_path):
    def interrupt(done, total):
        assert done < total
        os.kill(os.getpid(), signal.SIGINT)
        time.sleep(0.01)

    raises(KeyboardInterrupt, "", copy, tmp_path, interrupt, 1 << 33)
    assert list(tmp_path.iterdir()) == []


def test_bars():
    pytest.importorskip("tqdm")
    program = """
import zarnik
zarnik.uniform((40, 1000, 500), 7, "uint8").to_memory(progress=True)
zarnik.uniform((4, 10), 7, "uint8").to_memory(progress=False)
"""
    run = run_python(program)
    assert (run.returncode, run.stdout, run.stderr.count("reading: 100%")) == (0, "", 1)
    assert "19.1M/19.1M" in run.stderr


def test_a_table_tells_the_cells_that_are_saved(tmp_path):
    texts = [f"cell {row}" for row in range(200_000)]
    frame = zarnik.DataFrameView.from_dict({"text": texts, "number": numpy.arange(200_000)}, units={"number": "mm²"})
    told = []
    zarnik.save(tmp_path / "a.zrn", frame, progress=lambda *now: told.append(now))
    assert told == sorted(told) and told[-1] == (400_000, 400_000)
    raises(KeyError, "enough", zarnik.save, tmp_path / "a.zrn", frame, progress=enough)
    again = zarnik.open(tmp_path / "a.zrn")
    assert (again["text"], dict(again.units)) == (texts, dict(frame.units))
    numpy.testing.assert_array_equal(again["number"], frame["number"])


def test_what_is_no_progress():
    text = "progress is None, True or a function of done and total, got 'yes'"
    raises(TypeError, text, lazy().to_memory, progress="yes")
    program = "import sys; sys.modules['tqdm.auto'] = None\nimport zarnik\nzarnik.zeros((2, 2)).to_disk(progress=True)"
    run = run_python(program)
    assert 'ImportError: progress bars need tqdm: pip install "zarnik[progress]"' in run.stderr
