"""Image views over the memory of NumPy arrays."""

import re
import sys
import weakref

import numpy
import pytest

import _typetable
import _zarnik
from support.expect import fails, refused
from support.strided import SHARED_DTYPES
from support.values import image_type, type_id
from zarnik import _classes

COLUMN, ROW, SLICE, CHANNEL, SEQUENCE = range(5)
UNKNOWN, RGB = 0, 33
WRONG_DIMENSIONS = "Given dimensions list is not compatible with array shape"


def from_array(array, axes="VOLUME", interpretation=UNKNOWN, alpha=False):
    return _zarnik.NumpyInterop__from_numpy_array(array, image_type(axes), interpretation, alpha)


def from_ordered(array, dimensions, interpretation=UNKNOWN, alpha=False):
    return _zarnik.NumpyInterop__order_from_numpy_array(array, dimensions, interpretation, alpha)


def shape(view):
    return list(_zarnik.ImageView_get_shape(view))


def byte_strides(view):
    return list(_typetable.indexerOf(view).byte_stride())


@pytest.mark.parametrize("name", re.findall(r"ImageTypeId_(\w+)", str(_zarnik.cvar).replace("ImageTypeId_UNKNOWN", "")))
def test_axes_in_numpy_order(name):
    canonical = [axis for axis in range(5) if image_type(name).has(axis)]
    dimensions = [axis for axis in (SEQUENCE, SLICE, ROW, COLUMN, CHANNEL) if axis in canonical]
    array = numpy.zeros([dimension + 2 for dimension in dimensions], numpy.float32)
    for view in (from_array(array, name), from_ordered(array, dimensions)):
        assert shape(view) == [dimension + 2 for dimension in canonical]
        assert byte_strides(view) == [array.strides[dimensions.index(d)] for d in canonical]
        assert _zarnik.ImageView_get_axes_interpretation(view).value() == image_type(name).value()
        assert _zarnik.ImageView_get_dimension_count(view) == len(dimensions)


def test_layout_follows_the_flags_of_the_base():
    """Fastest first for row-major memory, else as the axes of the array come; a base array's flags decide."""
    rows = numpy.zeros((6, 4, 12), numpy.uint8)
    columns = numpy.asfortranarray(rows)
    owned = bytes(6 * 4 * 12)
    cases = [
        (rows, [0, 1, 2]),
        (columns, [2, 1, 0]),
        (rows[::2], [0, 1, 2]),
        (rows[:, :, ::-1], [0, 1, 2]),
        (numpy.ndarray((6, 4, 12), numpy.uint8, rows, strides=(1, 6, 24)), [0, 1, 2]),
        (columns[::2], [2, 1, 0]),
        # No base array: the array's own flags.
        (numpy.frombuffer(owned, numpy.uint8).reshape(6, 4, 12), [0, 1, 2]),
        (numpy.ndarray((6, 4, 12), numpy.uint8, owned), [0, 1, 2]),
        (numpy.ndarray((6, 4, 12), numpy.uint8, owned, strides=(1, 6, 24)), [2, 1, 0]),
    ]
    for array, expected in cases:
        view = from_array(array)
        assert list(_typetable.indexerOf(view).layout()) == expected
        assert shape(view) == list(array.shape[::-1])
        assert byte_strides(view) == [stride % 2**64 for stride in array.strides[::-1]]


@pytest.mark.parametrize("code", "?bBhHiIlLqQefdgFDGSUVOMm")
def test_data_types(code):
    """One type number for each kind and size, the one that the named types have, in the byte order of the machine."""
    identifiers = {numpy.dtype(dtype.name).num: type_id(dtype) for dtype in SHARED_DTYPES}
    assert len(identifiers) == 10
    array = numpy.zeros((2, 3), numpy.dtype("V3" if code == "V" else code + ("1" if code in "SU" else "")))
    unsupported = [array.astype(array.dtype.newbyteorder())] if code in "hId" else []
    if array.dtype.num in identifiers:
        found = _zarnik.ImageView_get_data_type(from_array(array, "IMAGE"))
        assert found.get_id() == identifiers[array.dtype.num]
    else:
        unsupported.append(array)
    for each in unsupported:
        fails(_classes.Error, "Unsupported numpy data type", from_array, each, "IMAGE")


@pytest.mark.parametrize("array", [numpy.zeros((2, 3)), numpy.zeros((2, 3), bool)])
def test_dimensions_that_do_not_fit_are_refused_first(array):
    fails(_classes.Error, WRONG_DIMENSIONS, from_array, array, "VOLUME")
    fails(_classes.Error, WRONG_DIMENSIONS, from_array, array, "UNKNOWN")
    for dimensions in ([COLUMN], [COLUMN, ROW, SLICE], [ROW, ROW]):
        fails(_classes.Error, WRONG_DIMENSIONS, from_ordered, array, dimensions)


def test_arguments():
    """The array is looked at first, or the list of dimensions and then the array."""
    array = numpy.zeros((2, 3))
    function = _zarnik.NumpyInterop__from_numpy_array
    for wrong in (None, [[1, 2], [3, 4]], b"12", numpy.float64(1), memoryview(array)):
        fails(TypeError, "Input Numpy Array is not valid", function, wrong, None, "RGB", 1)

    function = _zarnik.NumpyInterop__order_from_numpy_array
    for wrong in (None, 5, {0, 1}):
        fails(TypeError, "not a list", function, array, wrong, 0, False)
    for wrong in ([0, "1"], [None, 1], "01", [0, 1.0]):
        fails(TypeError, "list must contain ImageDimension", function, [1], wrong, "RGB", 1)
    fails(TypeError, "List of dimensions cannot be empty", function, [1], [], "RGB", 1)
    fails(TypeError, "Input Numpy Array is not valid", function, [1], [0], "RGB", 1)
    for wrong in ([0, 5], [0, -1], [0, 2**31 - 1]):
        refused("is unknown", function, array, wrong, 0, False)
    assert shape(function(array, (ROW, True - 1), 0, False)) == [3, 2]


def test_properties():
    array = numpy.zeros((4, 5, 4), numpy.uint8)
    view = from_array(array, "MULTISPECTRAL_IMAGE", RGB, True)
    assert _zarnik.ImageView_get_has_alpha(view) is True
    assert _zarnik.ImageView__get_image_interpretation(view) == RGB
    assert _zarnik.ImageView_get_bit_depth(view) == 8
    assert list(_zarnik.ImageView_get_value_range(view)) == [0, 255]
    assert str(_zarnik.ImageView_get_capabilities(view)) == "READ | WRITE | MEMORY_ACCESS"
    assert _zarnik.ViewOriginExtension_data_origin(_zarnik.View_view_origin(view)) == 1
    assert _zarnik.ParallelAccessExtension_support(_zarnik.ImageView_parallel_access(view), 8 | 16)
    assert _zarnik.ImageView___get_metadata(view) is None
    refused("RESHAPE", _zarnik.ImageView_reshape, view, [1, 2, 3], _zarnik.DataTypeId_UINT8)
    # The size of the buffer is that of the elements, not of the memory that they span.
    spread = numpy.zeros((10, 10), numpy.float64)[::3, ::2]
    for each, shown in ((array, view), (spread, from_array(spread, "IMAGE"))):
        assert _typetable.bufferSize(shown) == each.nbytes
        assert _typetable.bufferAddress(shown) == each.ctypes.data


def test_the_view_keeps_the_array_and_nothing_more():
    array = numpy.zeros((2, 3, 4)).view(numpy.recarray)  # a subclass is an array like any other
    gone = weakref.ref(array)
    before = sys.getrefcount(array)
    view = from_array(array)
    assert sys.getrefcount(array) == before + 1
    second = _typetable.sameView(view)
    assert sys.getrefcount(array) == before + 1
    del array, view
    assert gone() is not None
    assert shape(second) == [4, 3, 2]
    del second
    assert gone() is None


def test_a_refused_array_is_released():
    for axes, dtype in (("IMAGE", float), ("VOLUME", bool)):
        array = numpy.zeros((2, 3, 4), dtype)
        before = sys.getrefcount(array)
        for _ in range(10):
            refused("compatible|Unsupported", from_array, array, axes)
        assert sys.getrefcount(array) == before
