"""Threads: how many a transfer takes, and what may be done to images on several at once."""

import contextlib
import os
import threading

import numpy
import pytest
from numpy.testing import assert_array_equal

import zarnik
from support.expect import raises, run_python
from zarnik._tiles import in_threads

PRINT_COUNT = "import zarnik; print(zarnik.thread_count())"


@pytest.fixture
def threads():
    before = zarnik.thread_count()
    yield zarnik.set_thread_count
    zarnik.set_thread_count(before)


def test_results_are_the_same_for_any_number(threads):
    array = numpy.arange(3 * 2**20, dtype="u4").reshape(3, 1024, 1024)
    image = zarnik.from_numpy(array, axes="XYZ")
    for count in (1, 2, 5):
        threads(count)
        assert zarnik.thread_count() == count
        assert_array_equal(image.read(), array.T)


def test_all_processors_and_no_fewer_than_one(threads):
    threads(0)
    assert zarnik.thread_count() == len(os.sched_getaffinity(0))
    for count in (-1, 2**64):
        raises(ValueError, f"0 or above, got {count}", threads, count)
    raises(TypeError, "", threads, 1.5)


@pytest.mark.parametrize(("variable", "expected"), [("3", 3), ("0", None), ("many", 1), ("", 1)])
def test_what_a_process_begins_with(variable, expected):
    one_processor = "import os; os.sched_setaffinity(0, {min(os.sched_getaffinity(0))}); " if expected == 1 else ""
    run = run_python(f"import os; os.environ['ZARNIK_NUM_THREADS'] = '{variable}'; {one_processor}{PRINT_COUNT}")
    assert int(run.stdout) == (expected or len(os.sched_getaffinity(0)))


def test_an_error_of_another_thread_is_raised():
    both = threading.Barrier(2)

    def fail_elsewhere(_):
        both.wait(60)
        assert threading.current_thread() is threading.main_thread()

    raises(AssertionError, "", in_threads, fail_elsewhere, range(2), 2)


FACTORY = zarnik.ImageViewFactory
KINDS = {
    "itself": lambda image: image,
    "read-only": lambda image: zarnik.ImageViewProvider.to_read_only(image),
    "described": lambda image: FACTORY.from_image_view(image, image.properties, None),
    "protected": FACTORY.make_thread_safe,
    "cropped protected": lambda image: FACTORY.make_thread_safe(image).crop(slice(10, None)),
    "converted": lambda image: image.astype("i2"),
}


@pytest.mark.parametrize("on_disk", [False, True])
@pytest.mark.parametrize("kind", KINDS)
def test_images_may_be_reshaped_while_others_read_them(kind, on_disk):
    image = FACTORY.allocate([300, 400], "u1")
    image = image.to_disk() if on_disk else image
    view = KINDS[kind](image)
    is_over = threading.Event()

    def reshape():
        try:
            for _ in range(40):
                image.reshape([300, 400], "f8")
                image.reshape([40, 30, 5], "u2")
                image.reshape([300, 400], "u1")
        finally:
            is_over.set()

    thread = threading.Thread(target=reshape)
    thread.start()
    while not is_over.is_set():
        for attempt in (view.read, view.read_region, lambda: view.read([1, 1]), lambda: view[2:5, 7]):
            # It may be reshaped between two looks.
            with contextlib.suppress(zarnik.Error, IndexError, ValueError):
                assert not attempt().any()
    thread.join()
    assert image.dtype == "u1" and not view.read().any()


def test_a_protected_image_of_a_python_array_waits_for_nobody_for_ever():
    program = """
import threading, time, numpy, zarnik
class Slow:
    shape, dtype = (50, 60), numpy.dtype("u1")
    def __getitem__(self, key):
        time.sleep(0.01)
        return numpy.full(self.shape, 5, "u1")[key]
image = zarnik.ImageViewFactory.make_thread_safe(zarnik.from_array(Slow()))
stack = zarnik.ImageViewFactory.stack(zarnik.MultiImageViewFactory.create_from_list([image] * 3), 2, 3)
def work():
    for _ in range(5):
        assert image.shape == (50, 60) and (image.read() == 5).all() and (stack.read() == 5).all()
        assert len(image.spacing) == 3 and (image.flip("X").read_region() == 5).all()
threads = [threading.Thread(target=work) for _ in range(4)]
for thread in threads: thread.start()
for thread in threads: thread.join()
print("done", end="")
"""
    run = run_python(program)
    assert (run.stdout, run.stderr) == ("done", "")


def test_chains_of_arrays_and_images_go_without_a_deep_stack():
    array = numpy.zeros((2, 2), "u1")
    for _ in range(300_000):
        array = zarnik.from_numpy(array, axes="YX").to_numpy()
    base = array.base
    del array
    del base
