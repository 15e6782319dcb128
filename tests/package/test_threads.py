"""The number of threads: chosen for the process, changed by its user, and of no effect on results."""

from __future__ import annotations

import os

import numpy
import pytest
from numpy.testing import assert_array_equal

import zarnik
from support.expect import run_python

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
        with pytest.raises(ValueError, match=f"0 or above, got {count}"):
            threads(count)
    with pytest.raises(TypeError):
        threads(1.5)


@pytest.mark.parametrize(("variable", "expected"), [("3", 3), ("0", None), ("many", 1), ("", 1)])
def test_what_a_process_begins_with(variable, expected):
    one_processor = "import os; os.sched_setaffinity(0, {min(os.sched_getaffinity(0))}); " if expected == 1 else ""
    run = run_python(f"import os; os.environ['ZARNIK_NUM_THREADS'] = '{variable}'; {one_processor}{PRINT_COUNT}")
    assert int(run.stdout) == (expected or len(os.sched_getaffinity(0)))
