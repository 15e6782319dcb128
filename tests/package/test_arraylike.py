"""Images where arrays are expected."""

import copy
import gc
import inspect
import operator
import os
import pickle
import pydoc
import sys
import weakref

import numpy
import psutil
import pytest
from hypothesis import given
from hypothesis import strategies as st
from numpy.testing import assert_array_equal

import zarnik
from support.expect import raises
from support.images import values
from support.shared_types import TiledView
from support.strided import axes_for, strided_arrays
from zarnik import DataTypeId, RegionXu64, _classes


@given(array=strided_arrays(), data=st.data())
def test_images_measure_what_their_arrays_do(array, data):
    axes = data.draw(axes_for(array.ndim))
    image = zarnik.from_numpy(array, axes)
    shown = image.to_numpy()
    for measure in (len, *map(operator.attrgetter, ("size", "nbytes", "itemsize"))):
        assert measure(image) == measure(shown)
    for part, expected in zip(image, shown):
        assert_array_equal(part, expected)
    assert image.equals(image.to_numpy(copy=True))
    assert image.equals(zarnik.from_numpy(array.copy(), axes))
    assert not image.equals(shown[..., None])
    if array.size:
        assert shown.max() in image and 252 not in image
        interface = image.__array_interface__
        assert interface["data"] == shown.__array_interface__["data"]
        assert (interface["shape"], interface["strides"]) == (shown.shape, shown.strides)
        assert not image.equals(zarnik.from_numpy(array + array.dtype.type(1), axes))


def test_images_without_memory_to_share_are_arrays_by_copies():
    image = TiledView([10, 4], DataTypeId.UINT16, [4, 4])
    image[...] = numpy.arange(40).reshape(4, 10)
    assert not hasattr(image, "__array_interface__")
    assert_array_equal(numpy.asarray(image), image.read())
    assert_array_equal(numpy.from_dlpack(image), image.read())
    assert image.__dlpack_device__() == numpy.zeros(1).__dlpack_device__()
    assert [part.shape for part in image] == [(10,)] * 4
    assert 39 in image
    assert image.equals(image.read())
    raises(BufferError, "", image.__buffer__, 0)
    if sys.version_info >= (3, 12):  # from when on Python asks classes for buffers
        array = numpy.arange(6, dtype="u2").reshape(2, 3)
        assert memoryview(zarnik.from_numpy(array)).tolist() == array.tolist()


@pytest.mark.skipif("ZARNIK_SANITIZED" in os.environ, reason="sanitizers need memory of their own")
def test_memory_that_an_image_gave_up_goes_with_the_last_array():
    image = zarnik.ImageViewFactory.allocate([1000, 1000, 8], "u1")
    before = psutil.Process().memory_info().rss
    for depth in range(1, 25):
        shown = numpy.asarray(image)
        shown[...] = depth
        image.reshape([1000, 1000, 8 + depth % 2], "u1")
        assert (shown == depth).all()
    assert psutil.Process().memory_info().rss - before < 64e6


class Attributed(numpy.ndarray):
    """Arrays that may have attributes."""


def table():
    return zarnik.DataFrameView.from_dict({"a": [1.0, 2.0]})


GIVEN = {
    "image": lambda folder: numpy.asarray(zarnik.zeros((3, 4))),
    "to_numpy": lambda folder: zarnik.zeros((3, 4)).to_numpy(),
    "adapter": lambda folder: zarnik.zeros((3, 4)).flip("X").to_numpy(),
    "values": lambda folder: numpy.asarray(zarnik.zeros((3, 4)).astype("f4")),
    "part": lambda folder: zarnik.zeros((3, 4))[1:],
    "dlpack": lambda folder: numpy.from_dlpack(zarnik.zeros((3, 4))),
    "ArrayX": lambda folder: zarnik.ArrayXd([3, 4]).to_numpy(),
    "vector": lambda folder: numpy.asarray(zarnik.VectorXd([1, 2])),
    "matrix": lambda folder: numpy.asarray(zarnik.Matrix3d()),
    "variant": lambda folder: numpy.asarray(zarnik.variant([1, 2])),
    "node": lambda folder: zarnik.MetadataNode.from_dict({"a": numpy.arange(3)}).to_dict()["a"],
    "column": lambda folder: table()["a"],
    "cells": lambda folder: table().read("a"),
    "mapping": lambda folder: numpy.memmap(folder / "a.raw", "f8", "w+", shape=(3, 4)),
}


@pytest.mark.parametrize("part", [lambda array: array, lambda array: array[1:], lambda array: array[:, None][::-1]])
@pytest.mark.parametrize("given", GIVEN.values(), ids=GIVEN)
def test_arrays_that_have_an_image_of_themselves_are_collected(given, part, tmp_path):
    array = given(tmp_path)
    array = part(array if isinstance(array, numpy.memmap) else array.view(Attributed))
    array.image = zarnik.from_numpy(array, "X" if array.ndim == 1 else "YX" if array.ndim == 2 else "ZYX")
    assert_array_equal(array.image.to_numpy(), array)
    if array.flags.writeable:
        array.image[0] = 7
        assert (array[0] == 7).all()
    array.channel = array.image.isel(X=0) if array.ndim > 1 else array.image
    gone = weakref.ref(array)
    del array
    gc.collect()
    assert gone() is None


def array_with_image_of(part):
    array = Attributed((3, 4))
    array[...] = 2
    assert array.base is None
    array.image = zarnik.from_numpy(part(array), spacing=(1, 2, 3))
    return array


@pytest.mark.parametrize("part", [lambda array: array, lambda array: array[1:], numpy.asarray])
def test_arrays_that_own_their_memory_are_collected_with_their_image(part):
    gone = weakref.ref(array_with_image_of(part))
    gc.collect()
    assert gone() is None


@pytest.mark.parametrize(
    "hold",
    [lambda image: image, lambda image: image.this, lambda image: image.crop(y=1), lambda image: image.to_numpy()],
    ids=["image", "pointer", "part", "array"],
)
def test_arrays_stay_whole_while_something_else_holds_their_image(hold):
    array = array_with_image_of(numpy.asarray)
    held, gone = hold(array.image), weakref.ref(array)
    del array
    gc.collect()
    assert_array_equal(gone().image, numpy.full((3, 4), 2.0))
    del held
    gc.collect()
    assert gone() is None


def test_nan_is_equal_and_shapes_differ():
    image = zarnik.from_numpy(numpy.array([[1, numpy.nan]]))
    assert image.equals(zarnik.from_numpy(numpy.array([[1, numpy.nan]])))
    assert not image.equals(zarnik.from_numpy(numpy.array([[1, 2.0]])))
    assert not image.equals(zarnik.from_numpy(numpy.array([[1, numpy.nan]]), "YT"))
    assert not zarnik.zeros((2, 2), axes="YX").equals(zarnik.zeros((2, 2), axes="ZX"))
    assert not image.equals("text")
    assert bool(zarnik.zeros((0, 3))) is True


def test_parts_are_named_by_axes():
    array = numpy.arange(120).reshape(2, 3, 4, 5)
    image = zarnik.from_numpy(array, "TZYX")
    assert_array_equal(image.isel(Z=1, t=0), array[0, 1])
    assert_array_equal(image.isel(X=slice(None, None, -2), Y=-1), array[:, :, -1, ::-2])
    assert zarnik.zeros((2, 3, 4), axes="YXC").isel(C=0).shape == (2, 3)
    raises(ValueError, "no axis 'C', its axes are 'TZYX'", image.isel, C=0)
    raises(IndexError, "out of bounds", image.isel, Z=3)


@given(data=st.data())
def test_regions_are_slices_of_arrays(data):
    array = numpy.arange(2 * 3 * 4 * 5).reshape(2, 3, 4, 5)
    axes = "".join(data.draw(st.permutations("TZYX")))
    image = zarnik.from_numpy(array, axes)
    sizes = dict(zip(axes, array.shape))
    origin = [data.draw(st.integers(0, sizes[letter])) for letter in "XYZT"]
    size = [data.draw(st.integers(0, sizes[letter] - start)) for letter, start in zip("XYZT", origin)]
    region = RegionXu64(origin, size)
    assert_array_equal(image.to_numpy(axes)[region.slices(axes)], array[region.slices(axes)])
    assert_array_equal(image.to_numpy()[region.slices("TZYX")], image.read_region(region))
    assert RegionXu64.from_slices(region.slices(axes), axes) == region
    assert RegionXu64.from_slices(region.slices(axes), axes, array.shape) == region


def test_slices_become_regions():
    assert RegionXu64.from_slices(numpy.s_[2, 1:, :-1], shape=(3, 4, 5)) == ((0, 1, 2), (4, 3, 1))
    assert zarnik.Region3u64.from_slices(numpy.s_[-1, :, 3:2], "zyx", (3, 4, 5)) == ((3, 0, 2), (0, 4, 1))
    for slices, shape, error in (
        (numpy.s_[1:], None, ValueError),
        (numpy.s_[::2], (5,), ValueError),
        (5, (5,), IndexError),
        (-1, None, IndexError),
        (numpy.s_[1:2], (5, 5), ValueError),
    ):
        raises(error, "", RegionXu64.from_slices, slices, shape=shape)
    region = RegionXu64((0, 0), (1, 1))
    assert region in [RegionXu64((0,), (1,)), ((0, 0, 0), (1, 1, 1)), region]
    assert region not in [RegionXu64((0,), (1,)), ((0, 0, 0), (1, 1, 1)), ((0,), (1, 1)), "ab", None, zarnik.Vector2d()]


def by_tifffile(image, folder):
    tifffile = pytest.importorskip("tifffile")
    tifffile.imwrite(folder / "image.tif", image)
    return tifffile.imread(folder / "image.tif")


def by_matplotlib(image, folder):
    return pytest.importorskip("matplotlib.figure").Figure().gca().imshow(image).get_array()


TAKERS = {
    "Pillow": lambda image, folder: pytest.importorskip("PIL.Image").fromarray(image),
    "tifffile": by_tifffile,
    "matplotlib": by_matplotlib,
    "SciPy": lambda image, folder: pytest.importorskip("scipy.ndimage").zoom(image, 1, order=0),
}


@pytest.mark.parametrize("take", TAKERS.values(), ids=TAKERS)
def test_other_libraries_take_images_as_they_are(take, tmp_path):
    plane, colours = values((20, 30), "uint8"), values((20, 30, 3), "uint8")
    for array in (plane, colours, plane[::-1, ::2]):
        image = zarnik.from_numpy(array, "YXC"[: array.ndim])
        assert_array_equal(numpy.asarray(take(image, tmp_path)), array)


def test_the_names_are_those_that_a_person_uses():
    names = [name for name in dir(zarnik) if name[0] != "_"]
    assert 50 <= len(names) <= 65
    assert {"from_numpy", "zeros", "ImageView", "MetadataNode", "RegionXu64", "ImageDimension"} <= set(names)
    assert not {"ImageDimension_ROW", "Vector3u8", "SwigPyIterator", "NotImplemented", "annotations"} & set(names)
    assert zarnik.__all__ == [name for name in names if name != "open"]  # which would hide Python's own
    everything = {name for name, value in vars(_classes).items() if isinstance(value, (type, int)) and name[0] != "_"}
    assert everything <= set(vars(zarnik))
    assert zarnik.__version__ == zarnik.Versioning.version_string()
    for name in names:
        assert inspect.getdoc(getattr(zarnik, name)), name
    page = pydoc.plain(pydoc.render_doc(zarnik)).splitlines()
    assert any("from_numpy" in line for line in page[:40])


REFUSED = (TypeError, ValueError, OverflowError, AttributeError, zarnik.Error)


GENERATED = [value for name, value in vars(_classes).items() if isinstance(value, type) and name[0] != "_"]


def test_attributes_that_do_not_exist_are_refused():
    for cls in GENERATED:
        if not issubclass(cls, Exception):
            instance = object.__new__(cls)
            raises(AttributeError, "", setattr, instance, "no_such_name", 5)
            assert not hasattr(instance, "__dict__")


SPOKEN_BY_CPP = "::", "std", "C++", "in method", "SWIG", "Swig", "_t'", "overload", "without setting", "an exception"


@pytest.mark.parametrize("cls", [cls for cls in GENERATED if cls.__name__ not in ("SwigPyIterator", "Logger")])
def test_wrong_arguments_are_refused_in_the_words_of_python(cls):
    """Each method, and the constructor, with an object and with a string where something else is expected."""
    instance = example_of(cls)
    for name in sorted(vars(cls)):
        if (name.startswith("_") and name != "__init__") or name == "create_from_pointer":  # trusts its caller
            continue
        owner = cls if instance is None or not callable(vars(cls)[name]) else instance
        method = cls if name == "__init__" else getattr(owner, name)
        if not callable(method):
            continue
        for arguments in ((object(),), ("text", object()), [object()] * 3, (2**70,), (DataTypeId.MATRIX2_FLOAT,)):
            try:
                method(*arguments)
            except (*REFUSED, KeyError, IndexError) as error:  # noqa: PERF203
                assert not any(word in str(error) for word in SPOKEN_BY_CPP), (name, arguments, str(error))


def example_of(cls: type) -> object:
    if cls.__name__ == "ImageView":
        return zarnik.zeros((2, 3))
    for arguments in ((), ("u1",), (3,), ("key",), ((1, 2), "u1")):
        try:
            return cls(*arguments)
        except REFUSED:  # noqa: PERF203
            continue
    return None


def test_errors_say_what_was_expected():
    image, frame = zarnik.zeros((2, 3)), zarnik.DataFrameView.from_dict({"a": [1.0]})
    matrix = zarnik.Matrix3d()
    for attempt, text in (
        (lambda: zarnik.Vector3d().at("a"), r"^Vector3d.at\(\) needs an integer .*, got 'a'$"),
        (lambda: zarnik.MetadataNode("a").add_child(5), r"^MetadataNode.add_child\(\) needs a MetadataNode, got 5$"),
        (lambda: zarnik.Indexer("a", 5), r"^Indexer\(\) does not take \('a', 5\)$"),
        (lambda: zarnik.Vector3d().set_at(0, "a"), r"^Vector3d.set_at\(\) needs a number, got 'a'$"),
        (lambda: matrix.__setitem__((0, 0), "a"), "^a number is needed, got 'a'$"),
        (lambda: zarnik.ArrayXd([2]).at("a"), r"^ArrayXd.at\(\) needs a sequence of integers, got \('a'\)$"),
        (lambda: image.set_alpha("no"), "^alpha is True or False, got 'no'$"),
        (lambda: zarnik.MetadataNode(), r"^MetadataNode\(\) needs arguments$"),
        (lambda: zarnik.Matrix3d(None, None), r"^Matrix3d\(\) does not take \(None, None\)$"),
        (lambda: zarnik.zeros_like([1]), "^an ImageView is needed, got list$"),
        (lambda: image.with_properties("mm"), "^ImageProperties are needed, got str$"),
        (lambda: image.metadata.to_json([]), "'list' object cannot be interpreted as an integer"),
        (lambda: matrix @ None, "unsupported operand type.* @: 'Matrix3d' and 'NoneType'"),
        (lambda: zarnik.DataFrameViewFactory.allocate(1, ["a"]), "^columns are a dict of names and dtypes, got list$"),
        (lambda: setattr(image, "interpretation", None), "^an interpretation is an ImageInterpretation or the name"),
        (lambda: setattr(frame, "units", 5), "^units are a mapping from the names of columns"),
        (lambda: frame.read("a", "x"), "'str' object cannot be interpreted as an integer"),
        (lambda: zarnik.DataFrameView.from_dict(5), "^from_dict takes a mapping from names to columns, got 5$"),
    ):
        raises(TypeError, text, attempt)
    raises(IndexError, "^-1 counts from the end: the shape of the array is needed$", zarnik.RegionXu64.from_slices, -1)
    raises(ValueError, "^axes '.{,40}' name an axis twice$", zarnik.ImageType, [0] * 2**20)
    raises(AttributeError, "^ImageView is not made by calling its class$", zarnik.ImageView)
    assert zarnik.DataType("u1").is_convertible_to(DataTypeId.MATRIX2_FLOAT) is False
    assert zarnik.DataType("u1").is_convertible_to("f4") is True
    assert zarnik.DataType.extract_scalar_type(DataTypeId.MATRIX2_DOUBLE) == DataTypeId.DOUBLE
    assert {numpy.dtype("u1"): 5}[zarnik.DataType("u1")] == 5


def test_copies_of_what_is_read_only_can_be_changed():
    properties = zarnik.zeros((2, 3)).properties
    for twin in (copy.copy(properties), copy.deepcopy(properties), pickle.loads(pickle.dumps(properties))):
        assert isinstance(twin, zarnik.ImageProperties)
        assert twin == zarnik.ImageProperties(properties)
