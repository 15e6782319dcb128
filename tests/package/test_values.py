"""Vectors, regions, matrices and arrays as Python values, all instances of each family."""

import operator

import numpy
import pytest
from numpy.testing import assert_array_equal

import zarnik
from support.expect import raises
from support.twins import twins
from support.values import ELEMENTS
from zarnik import ArrayXd, ArrayXu16, Region3u64, RegionXu64, Vector2d, Vector3u8, VectorXi64, VectorXu64

DTYPES = {suffix: numpy.dtype(dtype).str[1:] for suffix, (_, dtype) in ELEMENTS.items()}
VECTORS = [(f"Vector{size}{suffix}", size, dtype) for size in "234X" for suffix, dtype in DTYPES.items()]


def numbers(dtype: str, count: int) -> list:
    if dtype[0] == "f":
        return [float("inf"), -0.1, float(numpy.finfo(dtype).max), 2.0][:count]
    limits = numpy.iinfo(dtype)
    return [int(limits.max), int(limits.min), 1, 2][:count]


@pytest.mark.parametrize(("name", "size", "dtype"), VECTORS)
def test_vectors_are_sequences_of_their_components(name, size, dtype):
    cls = getattr(zarnik, name)
    values = numpy.array(numbers(dtype, 3 if size == "X" else int(size)), dtype)
    components = values.tolist()
    vector = cls(components)
    assert [vector[i] for i in range(-len(vector), len(vector))] == list(vector) * 2 == components * 2
    assert vector[1:] == tuple(components[1:])
    for same in (components, tuple(components), values, cls(values), cls(vector)):
        assert vector == same and (vector != same) is False
    for other in (components[:-1], [*components[:-1], 3], "abc", None, 5, {}):
        assert vector != other
    assert_array_equal(numpy.asarray(vector), values, strict=True)
    for twin in twins(vector):
        twin[0] = 1
        assert twin[0] == 1 != vector[0]
    with numpy.errstate(over="ignore"):
        assert_array_equal(2 * vector, values * values.dtype.type(2))
    raises(IndexError, f"index {len(vector)} is out of range for {name}", vector.__getitem__, len(vector))
    raises(TypeError, f"{name} is made of", cls, ["1"] * len(vector))
    if size != "X":
        raises(ValueError, f"{name} has {size} components, got 1", cls, [1])
    if dtype[0] != "f":
        too_large = [*components[:-1], int(numpy.iinfo(dtype).max) + 1]
        raises(OverflowError, f"out of the range of {values.dtype}", cls, too_large)


@pytest.mark.parametrize(("cls", "dtype"), [(VectorXu64, "u8"), (VectorXi64, "i8")])
def test_wide_integers_come_through_operators_whole(cls, dtype):
    left, right = [2**40 + 1, 2**62, 7], [2**41, 3, 2**33]
    vector, arrays = cls(left), (numpy.array(left, dtype), numpy.array(right, dtype))
    for operation in (operator.add, operator.sub, operator.mul):
        expected = operation(*arrays).tolist()
        assert operation(vector, right) == operation(vector, cls(right)) == operation(vector, arrays[1]) == expected
    assert vector.dot(right) == int(numpy.dot(*arrays))
    assert (vector < right) is (left < right)
    vector += right
    assert vector == (arrays[0] + arrays[1]).tolist()
    # What wraps around in narrow vectors does so in wide ones.
    assert operator.add(cls([5]), [-1]) == [4]
    assert vector != left


def test_large_whole_numbers_are_numbers():
    for number in (2**31, -(2**40), 2**62):
        vector = zarnik.Vector3d([number, 0, 1])
        assert vector == (number, 0, 1)
        offset = [number, 0, 0]
        assert vector + offset == (2.0 * number, 0, 1)
        assert vector.dot(numpy.array([1, 2**33, 0])) == number
        assert zarnik.Matrix3d.identity() * [number, 0, 1] == vector
    image = zarnik.ImageViewFactory.allocate([2], "u4")
    image.set_value_range((0, 2**32 - 1))
    assert image.get_value_range() == (0, 2**32 - 1)
    assert zarnik.Vector3u8((1, 2, 3)) + numpy.array([2**40 + 255, 1, 1]) == (0, 3, 4)


def test_regions_are_pairs_of_origin_and_size():
    for cls in (Region3u64, RegionXu64):
        region = cls((1, 2, 2**40), numpy.array([3, 4, 5]))
        origin, size = region
        assert (origin, size) == ((1, 2, 2**40), (3, 4, 5)) == (region.origin, region.size)
        assert region == ((1, 2, 2**40), (3, 4, 5)) == (region[0], region[-1])
        assert all(region != other for other in (((1, 2, 0), (3, 4, 5)), ((1, 2), (3, 4)), 5))
        assert region.contains((3, 5, 2**40 + 4)) and (0, 0, 0) not in region
        assert cls(region) == region
        assert_array_equal(numpy.asarray(region), [[1, 2, 2**40], [3, 4, 5]])
        assert len(list(twins(region))) == 4
    assert RegionXu64.create_full_region((2**40, 2)) == ((0, 0), (2**40, 2))
    assert RegionXu64.from_index((2**40, 2)).get_origin() == (2**40, 2)


@pytest.mark.parametrize("name", ["Matrix3f", "Matrix3d", "Matrix4f", "Matrix4d"])
def test_matrices_have_rows_first_as_arrays_have(name):
    cls, size = getattr(zarnik, name), int(name[6])
    array = numpy.random.default_rng(1).normal(size=(size, size)).astype(DTYPES[name[7]])
    matrix = cls(array)
    assert_array_equal(numpy.asarray(matrix), array)
    assert (len(matrix), matrix[-1]) == (size, tuple(array[-1]))
    assert matrix[1, 2] == matrix.at(2, 1) == array[1, 2]
    assert_array_equal(matrix[:, 1], array[:, 1])
    assert matrix == array.tolist() == cls(array.tolist())
    assert matrix != array.T and matrix != 5
    close = {"rtol": 1e-4, "atol": 1e-6}
    numpy.testing.assert_allclose(numpy.asarray(matrix @ matrix), array @ array, **close)
    for dtype in ("f4", "f8", "i8"):
        row = numpy.arange(len(matrix), dtype=dtype)
        for factor in (row, row.tolist(), array.astype(dtype)):
            for product in (matrix @ factor, matrix * factor):
                numpy.testing.assert_allclose(product, array @ numpy.asarray(factor), **close)
        numpy.testing.assert_allclose(row @ matrix, row @ array, **close)
    for number in (2, 2.0, numpy.float32(2), numpy.int64(2)):
        assert matrix * number == number * matrix == matrix * 2.0
    with pytest.raises(TypeError):
        array * matrix
    for twin in twins(matrix):
        twin[0, 1] = 9
        assert twin != matrix
    raises(ValueError, f"{name} has {size} rows", cls, [[1, 2], [3, 4]])
    raises(IndexError, "", matrix.__getitem__, (0, size))


@pytest.mark.parametrize("suffix", DTYPES)
def test_arrays_share_their_memory_with_numpy(suffix):
    cls = getattr(zarnik, f"ArrayX{suffix}")
    source = numpy.arange(24).astype(DTYPES[suffix]).reshape(2, 3, 4)
    for given in (source, source.T, source[:, ::2], source[::-1], numpy.asfortranarray(source)):
        array = cls.from_numpy(given)
        assert_array_equal(numpy.asarray(array), given, strict=True)
        assert array == given.tolist() == cls.from_sequence(given.tolist())
        for twin in twins(array):
            twin[0, -1, 0] = 99
            assert twin != array
        shared = array.to_numpy()
        shared[1, 1, 1] = 77
        assert array[1, 1, 1] == array.at((1, 1, 1)) == 77
        assert (len(array), [row.shape for row in array]) == (given.shape[0], [given.shape[1:]] * given.shape[0])
        assert not numpy.shares_memory(numpy.array(array, copy=True), shared)


def test_arrays_refuse_what_they_cannot_hold():
    for given, text in (
        (numpy.zeros(3, "i2"), "ArrayXu16 cannot hold elements of dtype int16: its own is uint16"),
        (numpy.zeros(3, bool), "dtype bool: allowed are"),
        ([1], "got list"),
    ):
        raises(TypeError, text, ArrayXu16.from_numpy, given)


def test_reprs_stay_readable():
    empty = ArrayXd.from_sequence([], (0, 3))
    assert numpy.asarray(eval(repr(empty), vars(zarnik))).shape == (0, 3)
    assert repr(ArrayXd.from_numpy(numpy.zeros((40, 40)))) == "<zarnik.ArrayXd of shape (40, 40)>"
    assert repr(VectorXu64(range(2000))) == "<zarnik.VectorXu64 of 2000 components (0, 1, 2, ..., 1997, 1998, 1999)>"
    assert repr(Vector3u8((1, 2, 3))) == "Vector3u8((1, 2, 3))"
    assert repr(Vector2d((float("nan"), -float("inf")))) == "Vector2d((float('nan'), float('-inf')))"
    assert repr(RegionXu64((0, 1), (2, 3))) == "RegionXu64((0, 1), (2, 3))"
    assert repr(ArrayXu16.from_sequence([[1, 2]])) == "ArrayXu16.from_sequence(((1, 2),))"
