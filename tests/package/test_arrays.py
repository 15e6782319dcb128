"""Arrays as images and back, over one memory."""

import copy
import gc
import itertools
import os
import pickle
import sys

import numpy
import psutil
import pytest
from hypothesis import given
from hypothesis import strategies as st
from numpy.testing import assert_array_equal

import zarnik
from support.expect import raises
from support.strided import axes_for, strided_arrays
from zarnik import DataTypeId, ImageDimension, ImageType

NUMPY_ORDER = "TZYXC"
LIBRARY_ORDER = "XYZCT"


@given(array=strided_arrays(), data=st.data())
def test_an_array_comes_back_with_its_memory_whatever_its_strides_and_axes(array, data):
    axes = data.draw(axes_for(array.ndim))
    image = zarnik.from_numpy(array, axes=axes)

    sizes = dict(zip(axes, array.shape))
    assert tuple(image.get_shape()) == tuple(sizes[letter] for letter in LIBRARY_ORDER if letter in axes)
    assert image.shape == tuple(sizes[letter] for letter in NUMPY_ORDER if letter in axes)
    assert image.axes == "".join(letter for letter in NUMPY_ORDER if letter in axes)
    assert (image.ndim, image.dtype) == (array.ndim, array.dtype)

    back = image.to_numpy(axes)
    assert_array_equal(back, array)
    assert back.dtype == array.dtype
    if array.size:
        assert (back.ctypes.data, back.strides) == (array.ctypes.data, array.strides)
    expected = array.transpose([axes.index(letter) for letter in image.axes])
    assert_array_equal(image.to_numpy(), expected)
    assert_array_equal(numpy.asarray(image), expected)


@pytest.mark.parametrize(
    ("axes", "expected"),
    [
        ("ZYX", "ZYX"),
        ([ImageDimension.CHANNEL, ImageDimension.ROW, ImageDimension.COLUMN], "YXC"),
        (ImageType("XYZ"), "ZYX"),
        ((zarnik.ImageDimension_SEQUENCE, 1, 0), "TYX"),
        (None, "ZYX"),
        ("zyx", "ZYX"),
        (["S", "y", "X"], "YXC"),
        (iter("TYX"), "TYX"),
    ],
)
def test_axes_can_be_given_in_each_way(axes, expected):
    image = zarnik.from_numpy(numpy.zeros((2, 3, 4)), axes=axes)
    assert (image.axes, image.get_axes_interpretation()) == (expected, ImageType(expected))
    for ndim, default in enumerate(("X", "YX", "ZYX", "TZYX"), 1):
        assert zarnik.from_numpy(numpy.zeros((1,) * ndim)).axes == default


@pytest.mark.parametrize(
    ("array", "axes", "error", "text"),
    [
        ([1, 2], None, TypeError, "from_numpy takes a numpy.ndarray, got list"),
        (numpy.zeros(3, bool), None, TypeError, "dtype bool: allowed are uint8, int8, .* view\\(numpy.uint8\\)"),
        (numpy.zeros(3, "g"), None, TypeError, "dtype float128|longdouble"),
        (numpy.zeros(3, "f2"), None, TypeError, "dtype float16"),
        (numpy.zeros(3, ">i4"), None, TypeError, "dtype >i4: .*native byte order; astype"),
        (numpy.zeros(3, "U2"), None, TypeError, "dtype <U2"),
        (numpy.ma.zeros(3), None, TypeError, "masked"),
        (numpy.zeros(()), None, ValueError, "1 to 5 axes, the array has 0"),
        (numpy.zeros((1,) * 6), None, ValueError, "1 to 5 axes, the array has 6"),
        (numpy.zeros((2, 3)), "ZYX", ValueError, r"'ZYX' name 3 axes, the array has 2: its shape is \(2, 3\)"),
        (numpy.zeros((2, 3)), "XX", ValueError, "name an axis twice"),
        (numpy.zeros((2, 3)), "AB", ValueError, "unknown axis 'A' in 'AB': the axes are T, Z, Y, X and C"),
        (numpy.zeros((2, 3)), "QX", ValueError, "unknown axis 'Q' in 'QX': Q stands for .*: say which of T, Z and C"),
        (numpy.zeros((2, 3)), 5, TypeError, "axes must be"),
        (numpy.zeros((1,) * 5), None, ValueError, "5 axes, .*: pass axes, such as axes='TZYXC' or axes='TCZYX'"),
    ],
)
def test_what_cannot_be_shared_is_refused_with_a_reason(array, axes, error, text):
    raises(error, text, zarnik.from_numpy, array, axes=axes)


def test_endless_shapes_and_indices_are_refused_before_they_fill_memory():
    endless, image = range(2**40), zarnik.zeros((2, 3))
    for make in (zarnik.zeros, zarnik.empty, *(lambda shape, f=f: f(shape, 1) for f in (zarnik.full, zarnik.uniform))):
        raises(ValueError, "1 to 5 axes, the shape has more: range", make, endless)
    raises(ValueError, "exceeds image shape", image.write_region, (endless, endless), 1)
    raises(IndexError, "outside of an image of shape", image.read, endless)
    raises(TypeError, r"a shape is an integer or a sequence of integers, got 1\.5", zarnik.zeros, 1.5)


@pytest.mark.parametrize("dtype", "lLqQiI")
def test_every_number_of_an_element_type_is_shared(dtype):
    array = numpy.ones((2, 3), dtype)
    back = zarnik.from_numpy(array).to_numpy()
    assert back.dtype == array.dtype
    back[1, 2] = 5
    assert array[1, 2] == 5


ALL_KNOWN_AXES = ["".join(axes) for count in range(1, 6) for axes in itertools.combinations(LIBRARY_ORDER, count)]


@pytest.mark.parametrize("data_type", [DataTypeId.UINT16, DataTypeId.VEC3_FLOAT, DataTypeId.COMPLEX_DOUBLE])
@pytest.mark.parametrize("axes", ALL_KNOWN_AXES)
def test_order_is_right_for_every_image(axes, data_type):
    """A number is written to each element through the library's index and found at its place in the array."""
    sizes = [(2, 3, 4, 5, 2)[LIBRARY_ORDER.index(letter)] for letter in axes]
    image = zarnik.ImageViewFactory.allocate(sizes, zarnik.DataType(data_type))
    image.set_axes_interpretation(axes)
    element = zarnik.DataType(data_type).dtype
    expected = numpy.zeros([*sizes, *element.shape], element.base)
    for number, place in enumerate(numpy.ndindex(*sizes)):
        expected[place] = numpy.array([number, 1, 2]) if element.shape else number
        image.write(place, expected[place])
    order = [axes.index(letter) for letter in NUMPY_ORDER if letter in axes]
    expected = expected.transpose(*order, *range(len(axes), expected.ndim))
    array = image.to_numpy()
    assert array.shape == image.shape and array.dtype == element.base
    for found in (array, image.to_numpy(image.axes), image.read()):
        assert_array_equal(found, expected)
    array[...] = 9
    assert numpy.all(image.read_region() == 9)


def test_unknown_axes_keep_the_order_of_the_image():
    image = zarnik.ImageViewFactory.allocate([12, 4, 6], zarnik.DataType("u1"))
    image.set_axes_interpretation(ImageType())
    assert image.axes is None
    assert image.shape == image.to_numpy().shape == image.read().shape == (12, 4, 6)
    image.write((11, 3, 5), 7)
    assert image[11, 3, 5] == image.to_numpy()[11, 3, 5] == 7
    raises(ValueError, "axes of this image are unknown", image.to_numpy, "XYZ")


def test_copies_are_made_when_asked_for_and_never_in_secret():
    array = numpy.arange(6, dtype="u2").reshape(2, 3)
    image = zarnik.from_numpy(array)
    assert numpy.shares_memory(image.to_numpy(copy=False), array)
    assert not numpy.shares_memory(image.to_numpy(copy=True), array)
    assert numpy.shares_memory(numpy.asarray(image), array)
    assert not numpy.shares_memory(numpy.array(image), array)
    assert numpy.asarray(image, dtype=float).dtype == float
    raises(ValueError, "is a copy", image.__array__, numpy.float64, copy=False)
    raises(ValueError, "order 'ZY' does not fit an image with axes 'YX'", image.to_numpy, "ZY")


def test_a_read_only_array_is_protected():
    array = numpy.arange(6, dtype="u2").reshape(2, 3)
    array.flags.writeable = False
    image = zarnik.from_numpy(array)
    raises(zarnik.Error, "WRITE", image.write, (0, 0), 1)
    assert_array_equal(image[1, ::-1], array[1, ::-1])
    for order in ("YX", "XY"):
        shown = image.to_numpy(order, copy=False)
        assert numpy.shares_memory(shown, array)
        while shown is not None and isinstance(shown, numpy.ndarray):
            with pytest.raises(ValueError, match="WRITEABLE"):
                shown.flags.writeable = True
            shown = shown.base
    memory = zarnik.ImageViewFactory.allocate([4, 3], "c8")
    shown = zarnik.ImageViewProvider.to_read_only(memory).to_numpy()
    assert numpy.shares_memory(shown, memory.to_numpy()) and not shown.flags.writeable


def test_a_million_round_trips_leave_nothing_behind():
    array = numpy.zeros((3, 4, 5), "u2")
    process = psutil.Process()
    interop, dimensions = zarnik.NumpyInterop, [ImageDimension.SLICE, ImageDimension.ROW, ImageDimension.COLUMN]

    def rounds(count: int) -> None:
        to_numpy, from_numpy = interop.to_numpy_array, interop._order_from_numpy_array
        for _ in range(count):
            to_numpy(from_numpy(array, dimensions, 0, False))

    rounds(10_000)
    gc.collect()
    references, memory = sys.getrefcount(array), process.memory_info().rss
    # Sanitizers hold freed memory back for a while, and take their time.
    sanitized = "ZARNIK_SANITIZED" in os.environ
    rounds(9_000 if sanitized else 980_000)
    for _ in range(20_000):
        zarnik.from_numpy(array).to_numpy()
    gc.collect()
    assert sys.getrefcount(array) == references
    # One lost byte a round would be a mebibyte.
    assert sanitized or process.memory_info().rss - memory < 800_000


def test_indexers_place_elements_as_strides_of_numpy_do():
    indexer = zarnik.Indexer((4, 5, 3), "f4", [20, 2**64 - 4, 80])
    for same in (indexer, zarnik.Indexer()):
        assert copy.deepcopy(same) == pickle.loads(pickle.dumps(same)) == same
    assert indexer.byte_offset((2, 3, 1)) == 2 * 20 - 3 * 4 + 80
    assert repr(indexer) == "<zarnik.Indexer of shape (4, 5, 3), byte strides (20, -4, 80), FLOAT>"
    far = 2**33  # integers of lists have all their bits
    indexer = zarnik.Indexer([far, 4], "u1")
    assert (tuple(indexer.shape()), indexer.offset([far - 1, 1])) == ((far, 4), 2 * far - 1)
    raises(OverflowError, "out of the range of uint64", indexer.offset, [-far, 1])


def test_data_types_and_dtypes_convert_and_compare():
    for name in ("u1", "i8", "f4", "f8", "c8", "c16"):
        data_type = zarnik.DataType(numpy.dtype(name))
        assert data_type == numpy.dtype(name) == numpy.dtype(data_type)
        assert pickle.loads(pickle.dumps(data_type)) == data_type == eval(repr(data_type), vars(zarnik))
    assert zarnik.DataType(("u2", (3,))) == DataTypeId.VEC3_UINT16
    assert zarnik.DataType(DataTypeId.VEC3_UINT16).dtype == numpy.dtype(("u2", (3,)))
    assert zarnik.DataType("u2") == numpy.uint16 != zarnik.DataType("u4")
    assert zarnik.DataType(DataTypeId.MATRIX3_FLOAT).dtype.shape == (9,)
    assert zarnik.DataType("u2") != "uint16"
    assert zarnik.DataType("f8").get_primitive_type() is zarnik.PrimitiveTypeId.FLOATING_POINT
    for unshared in (DataTypeId.UTF8_STRING, DataTypeId.UNKNOWN, 0x1010C):
        with pytest.raises(TypeError, match="NumPy has no type for"):
            numpy.dtype(zarnik.DataType(unshared).dtype)
        assert zarnik.DataType(unshared) != numpy.dtype("u1")
    raises(TypeError, "dtype object", zarnik.DataType, object)


def test_image_types_are_sets_of_dimensions():
    for dimension in ImageDimension:
        assert list(ImageType(dimension)) == [dimension]
    volume = ImageType("ZYX")
    assert list(volume) == [ImageDimension.COLUMN, ImageDimension.ROW, ImageDimension.SLICE]
    assert ImageDimension.COLUMN | ImageDimension.ROW | ImageDimension.SLICE == volume == zarnik.ImageTypeId.VOLUME
    assert volume | ImageDimension.SEQUENCE == volume | ImageType("T") == ImageType("TZYX")
    assert ImageDimension.SLICE in volume and ImageDimension.CHANNEL not in volume
    assert (volume[0], volume[-1], len(volume), volume.dimension(1)) == (0, ImageDimension.SLICE, 3, 1)
    assert eval(repr(volume), vars(zarnik)) == pickle.loads(pickle.dumps(volume)) == volume
    zarnik.ImageTypeId.VOLUME.add(ImageDimension.CHANNEL)
    assert volume == zarnik.ImageTypeId.VOLUME
