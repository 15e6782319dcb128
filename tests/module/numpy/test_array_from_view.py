"""NumPy arrays over the memory of image views."""

import itertools
import re
import weakref

import numpy
import pytest

import _typetable
import _zarnik
from support.expect import fails, raises
from support.fake_numpy import run_with_numpy, table
from support.shared_types import READ, CountingView
from support.strided import SHARED_DTYPES
from support.values import image_type, type_id
from zarnik import _classes

COLUMN, ROW, SLICE, CHANNEL, SEQUENCE = range(5)
NOT_A_VIEW = "Numpy array can only be built from ImageView instances"
to_array = _zarnik.NumpyInterop_to_numpy_array
to_ordered = _zarnik.NumpyInterop_order_to_numpy_array


def dense(sizes, dtype, components=1):
    """The memory of a view as an array: its dimensions, the first of them fastest, and then the components."""
    itemsize = numpy.dtype(dtype).itemsize
    steps = numpy.cumprod([itemsize * components, *sizes])[: len(sizes)]
    parts, strides = ([components], [itemsize]) if components > 1 else ([], [])
    buffer = bytes(int(numpy.prod(sizes)) * components * itemsize)
    return numpy.ndarray([*sizes, *parts], dtype, buffer, strides=[*steps, *strides])


def same_geometry(array, expected):
    assert (array.dtype, array.shape, array.strides) == (expected.dtype, expected.shape, expected.strides)


@pytest.mark.parametrize("name", re.findall(r"ImageTypeId_(\w+)", str(_zarnik.cvar)))
def test_axes_come_in_the_order_of_numpy(name):
    """Sequences and slices first, channels or components last; those of a view of unknown axes stay as they are."""
    axes = [axis for axis in range(5) if image_type(name).has(axis)]
    sizes = [12, 4, 6, 5, 3][: len(axes) or 3]
    order = [axes.index(axis) for axis in (SEQUENCE, SLICE, ROW, COLUMN, CHANNEL) if axis in axes] or [0, 1, 2]
    if CHANNEL in axes and SEQUENCE in axes:  # the list of axes serves as the list of their positions
        order = numpy.argsort(order)
    view = CountingView(sizes, _zarnik.DataTypeId_UINT16, image_type(name))
    same_geometry(to_array(view), dense(sizes, "u2").transpose(order))
    if CHANNEL not in axes:
        view = CountingView(sizes, _zarnik.DataTypeId_VEC3_UINT16, image_type(name))
        same_geometry(to_array(view), dense(sizes, "u2", 3).transpose([*order, -1]))


@pytest.mark.parametrize("dtype", SHARED_DTYPES, ids=str)
def test_data_types(dtype):
    expected = numpy.dtype(dtype.name)
    for components in ("", "VEC2_", "VEC4_"):
        found = to_array(CountingView((2, 3), type_id(dtype, components))).dtype
        assert (found.num, found) == (expected.num, expected)


@pytest.mark.parametrize(
    ("name", "components", "dtype"),
    [
        ("COMPLEX_DOUBLE", [2], "float64"),
        ("SYM_MATRIX3_FLOAT", [6], "float32"),
        ("UTF8_STRING", [], "bool"),  # what NumPy has no number for comes as its first type
    ],
)
def test_unusual_data_types_and_shapes(name, components, dtype):
    for shape in ((2, 3), (0, 4), (1, 1)):
        array = to_array(CountingView(shape, getattr(_zarnik, f"DataTypeId_{name}")))
        assert (array.shape, array.dtype) == ((*shape, *components), dtype)


def test_memory_is_shared():
    view = CountingView((12, 4, 6), _zarnik.DataTypeId_UINT16, image_type("VOLUME"))
    first, second = to_array(view), to_ordered(view, [COLUMN, ROW, SLICE])
    assert first.ctypes.data == second.ctypes.data == _typetable.bufferAddress(view)
    assert first.flags.writeable
    assert first.flags.aligned
    assert not first.flags.owndata
    first[5, 3, 11] = 777
    assert second[11, 3, 5] == 777


def test_the_array_keeps_the_view():
    alive = CountingView.alive()
    view = CountingView((2, 3))
    array = to_array(view)
    assert type(array.base).__name__ == "PyCapsule"
    assert '"ContainerView"' in repr(array.base)
    assert _typetable.useCount(view) == 2
    wrapper = weakref.ref(view)
    del view
    assert wrapper() is None
    part = array[1:, ::2].T
    array[1, 2] = 9
    del array
    assert CountingView.alive() == alive + 1
    assert part[1, 0] == 9
    del part
    assert CountingView.alive() == alive


def test_objects_that_are_no_views_with_memory():
    for function, others in ((to_array, ()), (to_ordered, ([COLUMN, ROW],))):
        fails(TypeError, "Input ImageView cannot be empty", function, None, *others)
        for wrong in (5, "view", numpy.zeros((2, 3)), _classes.VersionInfo(), _classes.DataType()):
            fails(TypeError, NOT_A_VIEW, function, wrong, *others)
        without = CountingView((2, 3), capabilities=READ)
        fails(ValueError, "Input ImageView must support MEMORY_ACCESS capability", function, without, *others)


@pytest.mark.parametrize("order", list(itertools.permutations([COLUMN, ROW, SLICE, CHANNEL])))
def test_any_order_of_axes(order):
    """The axis of the channels may be that of the components."""
    sizes = [12, 4, 6, 5]
    scalar = CountingView(sizes, _zarnik.DataTypeId_FLOAT, image_type("MULTISPECTRAL_VOLUME"))
    same_geometry(to_ordered(scalar, order), dense(sizes, "f4").transpose(order))
    vector = CountingView(sizes[:3], _zarnik.DataTypeId_VEC2_FLOAT, image_type("VOLUME"))
    same_geometry(to_ordered(vector, [*order]), dense(sizes[:3], "f4", 2).transpose(order))


@pytest.mark.parametrize(
    "order, shape, strides",
    [
        # X and Y are found, T is taken for the first axis wherever it was asked for.
        ((SEQUENCE, ROW, COLUMN, CHANNEL), (6, 4, 12, 3), (288, 72, 6, 2)),
        ((CHANNEL, SEQUENCE, ROW, COLUMN), (6, 1, 4, 12), (288, 0, 72, 6)),
        ((ROW, COLUMN, CHANNEL, SEQUENCE), (6, 12, 3, 1), (288, 6, 2, 0)),
    ],
)
def test_components_and_a_sequence_shift_the_axes(order, shape, strides):
    """An axis that is left over has one element, so that nothing outside of the buffer is reached."""
    view = CountingView((12, 4, 6), _zarnik.DataTypeId_VEC3_UINT16, image_type("IMAGE_SEQUENCE"))
    array = to_ordered(view, order)
    assert (array.shape, array.strides) == (shape, strides)
    low, high = numpy.lib.array_utils.byte_bounds(array)
    address = _typetable.bufferAddress(view)
    assert address <= low <= high <= address + _typetable.bufferSize(view)


INVALID, INCOMPLETE = (f"Input dimensions list is {what}" for what in ("not valid", "incomplete"))
EXISTING = "CHANNEL dimension already exists - vectorial data cannot be converted"


@pytest.mark.parametrize(
    "axes, dtype, orders, text",
    [
        ("UNKNOWN", "UINT8", [[0, 1, 2]], "ImageView has no axes interpretation - Dimensions are unknown"),
        ("MULTISPECTRAL_IMAGE", "VEC2_UINT8", [[0, 1, 3]], EXISTING),
        ("VOLUME", "UINT8", [[0, 1], [], [0, 1, 2, 3]], INVALID),
        ("VOLUME", "VEC3_UINT8", [[0, 1, 2]], INVALID),
        ("VOLUME", "UINT8", [[0, 1, 3], [0, 1, 1], [0, 1, 7]], INCOMPLETE),
        ("VOLUME", "VEC3_UINT8", [[0, 1, 2, 4]], INCOMPLETE),
    ],
)
def test_orders_that_do_not_fit(axes, dtype, orders, text):
    view = CountingView((2, 3, 4), getattr(_zarnik, f"DataTypeId_{dtype}"), image_type(axes))
    for order in orders:
        fails(_classes.Error, text, to_ordered, view, order)
    assert _typetable.useCount(view) == 1


def test_orders_that_are_no_list_of_dimensions():
    view = CountingView((2, 3), axes=image_type("IMAGE"))
    for wrong in (None, 5, {0, 1}, object()):
        fails(TypeError, "not a list", to_ordered, view, wrong)
    for wrong in ("01", [0, "1"], [0, None], [0.0, 1]):
        fails(TypeError, "list must contain ImageDimension", to_ordered, view, wrong)
    assert to_ordered(view, (ROW, COLUMN)).shape == (3, 2)


CONVERT = """
import _typetable, _zarnik
shape = _zarnik.VectorXu64_create_uniform(2, 3)
view = _typetable.new_CountingView(shape, _zarnik.DataTypeId_UINT8, 0, 11)
try:
    _zarnik.NumpyInterop_to_numpy_array(view)
except MemoryError:
    print("MemoryError")
except RuntimeError as error:
    print(_zarnik.Error___str__(error.args[0]))
print(_typetable.useCount(view))
"""
# Slots: 2 the array type, 93 the function that makes an array, 282 the one that sets its base.
OUT_OF_MEMORY = "{2: 1, 93: ctypes.pythonapi.PyErr_NoMemory}"
REFUSED_BASE = "{2: 1, 93: ctypes.pythonapi.PyDict_New, 282: ctypes.CFUNCTYPE(ctypes.c_int)(lambda: -1)}"


@pytest.mark.parametrize(
    "functions, lines",
    [
        (OUT_OF_MEMORY, ["error when creating array", "MemoryError", "1"]),
        (REFUSED_BASE, ["Error when linking Numpy array to Zarnik View"]),
    ],
)
def test_an_array_that_numpy_cannot_make(tmp_path, functions, lines):
    """A line on standard output beside NumPy's error; nothing holds the view any longer."""
    run = run_with_numpy(tmp_path, "core", table(others=functions), CONVERT)
    assert run.stderr == ""
    assert run.stdout.splitlines()[: len(lines)] == lines


def test_more_dimensions_than_numpy_knows(capfd):
    for view in (CountingView([1] * 65), _zarnik.ImageViewFactory_allocate([1] * 65, _zarnik.DataTypeId_UINT8)):
        raises(ValueError, "dimension", to_array, view)
        assert capfd.readouterr().out == "error when creating array\n"
    assert to_array(CountingView([1] * 32)).ndim == 32
