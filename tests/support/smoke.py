"""A short end-to-end run of the built package in one interpreter; prints the versions it ran with.

Kept to the oldest supported Python and free of test dependencies, so that any interpreter can run it.
"""

import sys

import numpy

import _zarnik
import zarnik


def check_values() -> None:
    vector = zarnik.VectorXu64([4, 5, 6])
    assert [vector.at(i) for i in range(_zarnik.VectorXu64_size(vector))] == [4, 5, 6]
    vector.set_at(0, 2**63)
    assert vector.__add__([1, 1, 1]).at(0) == 2**63 + 1
    assert vector.__add__("abc") is NotImplemented
    assert zarnik.DataType.extract_scalar_type(_zarnik.DataTypeId_VEC3_UINT16).get_id() == _zarnik.DataTypeId_UINT16
    assert _zarnik.Versioning_version_string() == _zarnik.cvar.ZARNIK_VERSION_STRING


def fails(kind: type, part: str, function, *arguments) -> None:
    try:
        function(*arguments)
    except kind as error:
        assert part in str(error), error
    else:
        raise AssertionError(f"{function} took {arguments}")


def check_errors() -> None:
    vector = zarnik.VectorXu64([4, 5, 6])
    fails(zarnik.Error, "3", vector.at, 3)
    fails(TypeError, "argument 2 of type 'size_t'", _zarnik.VectorXu64_at, vector, "a")
    fails(OverflowError, "argument 2 of type 'size_t'", _zarnik.VectorXu64_at, vector, 2**64)
    check = _zarnik.Versioning_check_compatibility
    fails(TypeError, "Possible C/C++ prototypes are", check, "x")
    fails(TypeError, "Additional information:", check, 1, 2)
    fails(TypeError, "Input ImageView cannot be empty", _zarnik.NumpyInterop_to_numpy_array, None)
    fails(SystemError, "returned a result with an exception set", _zarnik.Vector2u8_dot, zarnik.Vector2u8(), [2**40, 0])


def check_arrays() -> None:
    for dtype in "uint8 int8 uint16 int16 uint32 int32 uint64 int64 float32 float64".split():  # noqa: SIM905
        whole = numpy.arange(6 * 7 * 8).astype(dtype).reshape(6, 7, 8)
        for array in (whole, whole[::2, ::-1, 1:], whole.transpose(1, 2, 0), numpy.asfortranarray(whole)):
            view = zarnik.from_numpy(array)
            shared = view.to_numpy()
            assert (shared.dtype, shared.strides) == (array.dtype, array.strides)
            assert shared.ctypes.data == array.ctypes.data
            assert (shared == array).all()
            region = numpy.zeros((2, 3, 2), dtype)
            where = zarnik.RegionXu64([1, 2, 0], [2, 3, 2])
            _zarnik.ImageView___read_region(view, where, region)
            assert (region == array[0:2, 2:5, 1:3]).all()
            shared[1, 2, 3] = 99
            assert array[1, 2, 3] == 99


def check_lifetimes() -> None:
    array = numpy.zeros((2, 3), numpy.uint16)
    before = sys.getrefcount(array)
    for _ in range(1000):
        zarnik.from_numpy(array).to_numpy()
    assert sys.getrefcount(array) == before
    shared = zarnik.from_numpy(array).to_numpy()
    del array
    assert shared.sum() == 0


def main() -> None:
    check_values()
    check_errors()
    check_arrays()
    check_lifetimes()
    print("Python {}.{}.{}, NumPy {}".format(*sys.version_info[:3], numpy.__version__))


if __name__ == "__main__":
    main()
