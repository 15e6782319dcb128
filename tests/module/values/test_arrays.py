"""The ten array classes and their two ways to NumPy."""

import gc
import sys

import numpy
import pytest

import _zarnik
from support.expect import fails, fails_late, null_reference, raises, refused
from support.values import ELEMENTS, call, components, vector

NAMES = {f"ArrayX{suffix}": element for suffix, element in ELEMENTS.items()}
ALL = pytest.mark.parametrize("name", NAMES)


def shape_of(name, array):
    return components("VectorXu64", call(name, "shape", array))


def layout_of(name, array):
    return components("VectorXu64", _zarnik.Indexer_layout(call(name, "indexer", array)))


def numbers(name, shape, order="C"):
    """Values of the element type, its limits among them."""
    dtype = NAMES[name][1]
    values = numpy.arange(numpy.prod(shape, dtype=int)).astype(dtype).reshape(shape)
    if values.size > 1:
        limits = numpy.iinfo(dtype) if numpy.issubdtype(dtype, numpy.integer) else numpy.finfo(dtype)
        values.flat[0], values.flat[-1] = limits.min, limits.max
    return numpy.asarray(values, order=order)


@ALL
@pytest.mark.parametrize("order", "CF")
@pytest.mark.parametrize("shape", [(2, 3), (4,), (2, 3, 4), (1, 5, 1), (0, 3), (), (2, 1, 2, 1, 2, 1, 2)])
def test_round_trip_keeps_values_and_layout(name, order, shape):
    source = numbers(name, shape, order)
    array = call(name, "from_numpy", source)
    assert tuple(shape_of(name, array)) == shape
    assert call(name, "dimension_count", array) == len(shape)
    expected = list(range(len(shape)))
    assert layout_of(name, array) == (expected[::-1] if source.flags.c_contiguous else expected)
    for index in numpy.ndindex(shape):
        assert call(name, "at", array, index) == source[index]
    back = call(name, "_to_numpy", array, array)
    assert back.dtype == source.dtype
    assert numpy.array_equal(back, source)
    if source.size:
        assert back.strides == source.strides or 1 in shape
    source.fill(1)
    original = numbers(name, shape, order)
    assert numpy.array_equal(back, original), "from_numpy copies"
    turned = [*shape[1:], *shape[:1]]
    call(name, "reshape", array, turned)
    in_memory_order = original.ravel("K").reshape(turned, order="C" if source.flags.c_contiguous else "F")
    assert numpy.array_equal(call(name, "_to_numpy", array, array), in_memory_order)


@ALL
def test_to_numpy_shares_and_keeps_its_owner(name):
    array = getattr(_zarnik, f"new_{name}")([2, 3])
    owner = [array]
    references = sys.getrefcount(owner)
    first = call(name, "_to_numpy", array, owner)
    second = call(name, "_to_numpy", array, owner)
    added = sys.getrefcount(owner) - references
    assert added == 2
    assert first.base is owner
    assert first.flags.f_contiguous and first.flags.aligned and first.flags.writeable
    first[1, 2] = 7
    assert call(name, "at", array, [1, 2]) == 7 == second[1, 2]
    call(name, "set_at", array, [0, 1], 5)
    assert second[0, 1] == 5
    del second
    added = sys.getrefcount(owner) - references
    assert added == 1
    del owner, array
    gc.collect()
    assert first[1, 2] == 7, "the owner keeps the memory"


@ALL
def test_from_numpy_refuses(name):
    dtype = NAMES[name][1]
    from_numpy = getattr(_zarnik, f"{name}_from_numpy")
    other = numpy.zeros(3, numpy.float32 if dtype is not numpy.float32 else numpy.float64)
    for array, text in (
        (other, "numpy array data type do not match"),
        (numbers(name, (4, 4))[:, ::2], "numpy array has unsupported flags"),
        (numbers(name, (4,))[::-1], "numpy array has unsupported flags"),
    ):
        fails_late(ValueError, text, from_numpy, array)
    # Each kind and size has one type number: on this platform those of long long stand for nothing.
    swapped = numpy.zeros(3, numpy.dtype(dtype).newbyteorder() if numpy.dtype(dtype).itemsize > 1 else bool)
    for array in (numpy.zeros(3, bool), numpy.zeros(3, complex), numpy.zeros(3, "U1"), numpy.zeros(3, "q"), swapped):
        refused("^Unsupported numpy data type$", from_numpy, array)
    for value in ([1, 2], None, 5, b"ab"):
        raises(TypeError, "a numpy array is needed, not <class", from_numpy, value)


def test_a_strided_layout_is_shown_as_it_is():
    indexer = _zarnik.new_Indexer([2, 3], _zarnik.DataTypeId_INT32, [4, 16])
    array = _zarnik.new_ArrayXi32(indexer)
    for index in numpy.ndindex(2, 3):
        _zarnik.ArrayXi32_set_at(array, index, sum(index))
    shown = _zarnik.ArrayXi32__to_numpy(array, array)
    assert shown.strides == (4, 16)
    assert shown.tolist() == [[0, 1, 2], [1, 2, 3]]
    plain = _zarnik.ArrayXi32_from_numpy(numpy.array(shown))
    assert _zarnik.ArrayXi32___eq__(array, plain) is True
    _zarnik.ArrayXi32_set_at(plain, [0, 0], 9)
    assert _zarnik.ArrayXi32___ne__(array, plain) is True
    refused("cannot be reshaped", _zarnik.ArrayXi32_reshape, array, [6])
    for strides, dtype, text in (
        ([-4, 16], "INT32", "an array cannot begin 4 bytes before its buffer"),
        ([4, 16], "UINT32", "an array of INT32 cannot be laid out for UINT32"),
        ([2, 16], "INT32", "byte stride 2 is no multiple of the 4 bytes of INT32"),
    ):
        wrapped = vector("VectorXu64", numpy.array(strides, numpy.int64).view(numpy.uint64))
        indexer = _zarnik.new_Indexer([2, 3], getattr(_zarnik, f"DataTypeId_{dtype}"), wrapped)
        refused(text, _zarnik.new_ArrayXi32, indexer)


@ALL
def test_construction(name):
    new = getattr(_zarnik, f"new_{name}")
    array = new([2, 3])
    assert numpy.array_equal(call(name, "_to_numpy", array, array), numpy.zeros((2, 3)))
    assert layout_of(name, array) == [0, 1]
    call(name, "set_at", array, [1, 1], 1)
    copy = new(array)
    assert call(name, "__eq__", array, copy) is True
    assert call(name, "__eq__", array, new([3, 2])) is False
    call(name, "set_at", array, [1, 1], 0)
    assert call(name, "at", copy, [1, 1]) == 1
    assert array.own() and copy.own()
    for shape, text in (
        ((2, 2), "((0, 0), (0, 0))"),
        ((), "0"),
        ((0, 2), "(array of shape (0, 2))"),
        ((2000,), "(0, 0, 0, ..., 0, 0, 0)"),
    ):
        assert call(name, "to_string", new(list(shape))) == text
    assert len(call(name, "to_string", new([500, 500]))) < 300
    assert len(call(name, "to_string", new([1] * 100_000))) == 200_001


@ALL
def test_what_cannot_be(name):
    new = getattr(_zarnik, f"new_{name}")
    array = new([2, 3])
    for index in ([2, 0], [0, 3], [0], [0, 0, 0], []):
        refused(r"is outside of shape|differ in number", call, name, "at", array, index)
        refused(r"is outside of shape|differ in number", call, name, "set_at", array, index, 1)
    refused(r"^an array of 6 elements cannot take shape \(4\), which has 4$", call, name, "reshape", array, [4])
    assert shape_of(name, array) == [2, 3]
    refused(r"do not fit 64 bits|allowed are up to", new, vector("VectorXu64", [2**33, 2**32]))
    refused(r"cannot allocate [0-9]+ bytes for an array", new, vector("VectorXu64", [2**40, 2**18]))
    null_reference(new, 1, f"zarnik::ArrayX< {NAMES[name][0]} > &&", None)
    fails(ValueError, "input must be a sequence", getattr(_zarnik, f"{name}_at"), array, 0)
    assert call(name, "__eq__", array, 5) is NotImplemented
