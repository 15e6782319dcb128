"""Indexers, against the strides and addresses of NumPy's arrays."""

import numpy
from hypothesis import given
from hypothesis import strategies as st

import _zarnik
from support.expect import refused
from support.strided import strided_arrays
from support.values import components, type_id, vector
from zarnik import _classes

shapes = st.lists(st.integers(1, 5), max_size=5)


def whole(method, indexer):
    return components("VectorXu64", getattr(_zarnik, f"Indexer_{method}")(indexer))


def wrapping(strides):
    return vector("VectorXu64", numpy.array(strides, numpy.int64).view(numpy.uint64))


def sizes(*numbers):
    """Numbers as they are, also where those of a sequence would not be."""
    return vector("VectorXu64", numpy.array(numbers, numpy.uint64))


@given(shapes, st.sampled_from(["u1", "i2", "f4", "f8"]), st.sampled_from("CF"))
def test_layouts_have_the_strides_of_numpy(shape, dtype, order):
    array = numpy.zeros(shape, dtype, order)
    layout = _zarnik.MemoryLayout_C if order == "C" else _zarnik.MemoryLayout_FORTRAN
    indexer = _zarnik.new_Indexer(shape, type_id(dtype), layout)
    strides = numpy.lib.stride_tricks.as_strided(array).strides
    for axis, extent in enumerate(shape):
        assert whole("byte_stride", indexer)[axis] == strides[axis] or extent == 1
        assert _zarnik.Indexer_stride(indexer, axis) * array.itemsize == _zarnik.Indexer_byte_stride(indexer, axis)
        assert _zarnik.Indexer_shape(indexer, axis) == extent
    axes = list(range(len(shape)))
    assert whole("layout", indexer) == (axes if order == "F" else axes[::-1])
    assert whole("shape", indexer) == shape
    assert whole("stride", indexer) == [stride // array.itemsize for stride in whole("byte_stride", indexer)]
    assert _zarnik.Indexer_dtype(indexer).get_id() == type_id(dtype)
    if order == "F":
        assert _zarnik.Indexer___eq__(indexer, _zarnik.new_Indexer(shape, type_id(dtype))) is True


@given(strided_arrays())
def test_any_strides_address_what_numpy_addresses(array):
    dtype = type_id(array.dtype)
    indexer = _zarnik.new_Indexer(list(array.shape), dtype, wrapping(array.strides))
    start = array.__array_interface__["data"][0]
    places = [array[(*index, ...)].__array_interface__["data"][0] - start for index in numpy.ndindex(array.shape)]
    for index, place in zip(numpy.ndindex(array.shape), places):
        assert _zarnik.Indexer_byte_offset(indexer, index) == place % 2**64
        assert _zarnik.Indexer_offset(indexer, index) == place // array.itemsize % 2**64
    spanned = max(places) + array.itemsize - min(places) if places else 0
    assert (_zarnik.Indexer_element_count(indexer), _zarnik.Indexer_byte_count(indexer)) == (array.size, spanned)
    dense = sorted(places) == list(range(0, array.nbytes, array.itemsize))
    assert _zarnik.Indexer_is_continuous(indexer) is dense
    # The memory order found from the strides is that of the axes, given again it changes nothing.
    again = _zarnik.new_Indexer(list(array.shape), dtype, wrapping(array.strides), whole("layout", indexer))
    assert _zarnik.Indexer___eq__(indexer, again) is True
    assert _zarnik.Indexer___ne__(indexer, _zarnik.new_Indexer()) is True


def test_construction():
    empty = _zarnik.new_Indexer()
    assert (_zarnik.Indexer_dimension_count(empty), _zarnik.Indexer_element_count(empty)) == (0, 0)
    indexer = _zarnik.new_Indexer([4, 3], _classes.DataType(_zarnik.DataTypeId_UINT16), [2, 8], (1, 0))
    assert whole("layout", indexer) == [1, 0] and _zarnik.Indexer_layout(indexer, 0) == 1
    copy = _zarnik.new_Indexer(indexer)
    assert indexer.own() and _zarnik.Indexer___eq__(copy, indexer)
    refused("", _zarnik.Indexer_byte_offset, empty, [])
    assert _zarnik.Indexer_byte_offset(_zarnik.new_Indexer([], _zarnik.DataTypeId_UINT16), []) == 0
    broadcast = _zarnik.new_Indexer(sizes(2**32, 2), _zarnik.DataTypeId_UINT16, [0, 2])
    assert (_zarnik.Indexer_byte_count(broadcast), _zarnik.Indexer_element_count(broadcast)) == (4, 2**33)
    large = _zarnik.new_Indexer(sizes(2**32, 2**20), _zarnik.DataTypeId_UINT16, _zarnik.MemoryLayout_UNKNOWN)
    assert _zarnik.Indexer_byte_offset(large, sizes(2**32 - 1, 1)) == 2 * (2**33 - 1)
    shape = _zarnik.Indexer_shape(indexer)
    _zarnik.VectorXu64_set_at(shape, 0, 9)
    assert whole("shape", indexer) == [4, 3], "a copy is handed out"


def test_layouts_that_cannot_be():
    u16 = _zarnik.DataTypeId_UINT16
    for text, *arguments in (
        ("^byte strides given for 1 dimensions, the shape has 2$", [4, 3], u16, [2]),
        ("^layout given for 3 dimensions, the shape has 2$", [4, 3], u16, [2, 8], [0, 1, 2]),
        (r"^layout \(0, 0\) is no order of 2 dimensions$", [4, 3], u16, [2, 8], [0, 0]),
        (r"^layout \(0, 2\) is no order of 2 dimensions$", [4, 3], u16, [2, 8], [0, 2]),
        (r"^memory layout 7 is unknown, allowed are 0 \(UNKNOWN\), 1 \(C\) and 2 \(FORTRAN\)$", [4], u16, 7),
        ("do not fit 64 bits", [2**30, 2**31 - 1, 2**30], u16),
        ("64 bits", sizes(2**32, 2**32), u16),
        ("64 bits", sizes(2**32, 2**32), u16, [0, 0]),
        ("64 bits", sizes(2**32, 2), u16, sizes(2**32, 2**64 - 2**32 - 1)),
    ):
        refused(text, _zarnik.new_Indexer, *arguments)


def test_positions_that_are_not_there():
    indexer = _zarnik.new_Indexer([4, 3], _zarnik.DataTypeId_UINT16)
    for function in (_zarnik.Indexer_offset, _zarnik.Indexer_byte_offset):
        refused(r"^index \(4, 0\) is outside of shape \(4, 3\)$", function, indexer, [4, 0])
        refused("^dimensions of index and shape differ in number: 1 and 2$", function, indexer, [0])
    for method in ("shape", "stride", "byte_stride", "layout"):
        refused("index 2 is out of range, allowed are 0 to 1", getattr(_zarnik, f"Indexer_{method}"), indexer, 2)
