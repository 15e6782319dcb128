"""A short end-to-end run of the built package in one interpreter; prints the versions it ran with.

Kept to the oldest supported Python and free of test dependencies, so that any interpreter can run it.
"""

import sys

import numpy

import _zarnik
import zarnik


def main() -> None:
    vector = zarnik.VectorXu64([4, 5, 6])
    assert [vector.at(i) for i in range(vector.size())] == [4, 5, 6]
    assert _zarnik.VectorXu64_size(vector) == 3

    array = numpy.arange(24, dtype=numpy.uint16).reshape(2, 3, 4)
    view = zarnik.from_numpy(array)
    shared = view.to_numpy()
    assert shared.shape == array.shape
    assert numpy.shares_memory(shared, array)
    shared[1, 2, 3] = 999
    assert array[1, 2, 3] == 999

    try:
        vector.at(3)
    except zarnik.Error as error:
        assert "3" in str(error)
    else:
        raise AssertionError("an index past the end was accepted")

    print("Python {}.{}.{}, NumPy {}".format(*sys.version_info[:3], numpy.__version__))


if __name__ == "__main__":
    main()
