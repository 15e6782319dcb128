"""Image views: reading and writing by index, region and key, against the same on an array."""

import pickle

import numpy
import pytest
from hypothesis import assume, given
from hypothesis import strategies as st
from numpy.testing import assert_array_equal

import zarnik
from support.expect import raises
from support.shared_types import MEMORY_ACCESS, READ, WRITE, CountingView, OddFrame, TiledView
from support.strided import axes_for, strided_arrays
from zarnik import DataTypeId, ImageCapability, ImageCapabilitySet, ImageInterpretation, RegionXu64

LIBRARY_ORDER = "XYZCT"


@st.composite
def regions_within(draw, shape):
    origin = [draw(st.integers(0, size)) for size in shape]
    return origin, [draw(st.integers(0, size - start)) for size, start in zip(shape, origin)]


@st.composite
def keys_for(draw, shape):
    """Draw integers, slices with any steps and an ellipsis."""
    key = []
    for size in shape[: draw(st.integers(0, len(shape)))]:
        bounds = st.none() | st.integers(-size - 1, size + 1)
        step = st.none() | st.integers(-3, 3).filter(bool)
        one = st.builds(slice, bounds, bounds, step)
        key.append(draw(one | st.integers(-size, size - 1) if size else one))
    if len(key) == len(shape) and draw(st.booleans()):
        key.insert(draw(st.integers(0, len(key))), ...)
    elif draw(st.booleans()):
        key.append(...)
    return key[0] if len(key) == 1 and draw(st.booleans()) else tuple(key)


@given(array=strided_arrays(), data=st.data())
def test_a_region_is_the_same_part_of_the_array(array, data):
    axes = data.draw(axes_for(array.ndim))
    image = zarnik.from_numpy(array, axes=axes)
    letters = [letter for letter in LIBRARY_ORDER if letter in axes]
    in_library_order = array.transpose([axes.index(letter) for letter in letters])
    origin, size = data.draw(regions_within(in_library_order.shape))
    part = in_library_order[tuple(slice(first, first + count) for first, count in zip(origin, size))]
    expected = part.transpose([letters.index(letter) for letter in image.axes])

    assert_array_equal(image.read_region(RegionXu64(origin, size)), expected)
    out = data.draw(st.sampled_from([numpy.empty, numpy.zeros]))(expected.shape[::-1], array.dtype).T
    assert image.read_region((origin, size), out=out) is out
    assert_array_equal(out, expected)

    if 0 not in array.strides:
        replacement = (numpy.arange(expected.size) % 100 + 1).reshape(expected.shape).astype(array.dtype)
        before = array.copy()
        image.write_region((origin, size), replacement)
        assert_array_equal(image.read_region((origin, size)), replacement)
        image.write_region((origin, size), expected * 0 + out)
        assert_array_equal(array, before)


@given(array=strided_arrays(), data=st.data())
def test_a_key_selects_what_it_selects_of_an_array(array, data):
    image = zarnik.from_numpy(array, axes="TZYXC"[-array.ndim - (array.ndim < 5) :][: array.ndim])
    key = data.draw(keys_for(array.shape))
    expected, found = array[key], image[key]
    assert_array_equal(found, expected, strict=True)
    assert not numpy.shares_memory(found, array)

    assume(0 not in array.strides)
    changed = array.copy()
    changed[key] = 3
    image[key] = 3
    assert_array_equal(array, changed)
    values = (numpy.arange(numpy.size(expected)) % 90).reshape(numpy.shape(expected)).astype("u1")
    changed[key] = values
    image[key] = values
    assert_array_equal(array, changed)


@given(data=st.data())
def test_a_key_touches_no_more_than_rows_of_what_it_selects(data):
    array = numpy.arange(240, dtype="u2").reshape(2, 3, 4, 10)
    image = TiledView([10, 4, 3, 2], DataTypeId.UINT16, [4, 4, 1, 1])
    image[...] = array
    key = data.draw(keys_for(array.shape))
    before = TiledView.touched()
    assert_array_equal(image[key], array[key])
    columns = numpy.unique(numpy.broadcast_to(numpy.arange(10), array.shape)[key])
    if columns.size:
        rows = numpy.size(array[key]) // columns.size
        assert TiledView.touched() - before == rows * (columns[-1] - columns[0] + 1)
    values = numpy.arange(numpy.size(array[key])).reshape(numpy.shape(array[key])) + 500
    array[key] = values
    image[key] = values
    assert_array_equal(image.read(), array)


def test_tiles_are_arrays_of_their_regions():
    image = TiledView([3, 5, 7], DataTypeId.VEC2_UINT16, [2, 5, 3])
    image.set_axes_interpretation("YXC")
    array = numpy.arange(3 * 5 * 7 * 2, dtype="u2").reshape(5, 3, 7, 2)
    image.write_region(None, array)
    tiling = image.tiling_info()
    assert (tiling.tile_count(), tiling.max_tile_size()) == (6, (2, 5, 3))
    tile = tiling.read_tile(5)
    for same in (array[:, 2:, 6:], image.read_region(tiling.tile_region(5))):
        assert_array_equal(tile, same)
    out = numpy.empty((2, 1, 1, 5), "u2").transpose(3, 1, 2, 0)
    assert tiling.read_tile(5, out=out) is out
    assert_array_equal(out, tile)
    tiling.write_tile(0, 7)
    array[:, :2, :3] = 7
    assert_array_equal(image.read(), array)
    raises(ValueError, "out has shape", tiling.read_tile, 0, out=out)
    raises(zarnik.Error, "tile", tiling.read_tile, 6)
    del image
    assert tiling.read_tile(5).shape == (5, 1, 1, 2)
    with pytest.raises(TypeError, match="take it from"):
        zarnik.TilingInfoExtension.cast(tiling._kept._extension(1)).read_tile(0)


@given(data=st.data())
def test_vector_pixels_are_selected_with_their_components(data):
    image = zarnik.ImageViewFactory.allocate([4, 3, 2], zarnik.DataType(DataTypeId.VEC3_UINT16))
    image.set_axes_interpretation("YXT")
    array = numpy.arange(72, dtype="u2").reshape(2, 3, 4, 3)
    image.write_region(None, array)
    assert (image.axes, image.shape, image.dtype) == ("TYXC", array.shape, array.dtype)
    assert_array_equal(image.read((3, 2, 1)), array[1, 2, 3])
    key = data.draw(keys_for(array.shape))
    assert_array_equal(image[key], array[key])
    array[key] = 7
    image[key] = 7
    assert_array_equal(image.to_numpy(), array)


def test_a_region_is_read_as_the_image_is_by_then():
    image = zarnik.ImageViewFactory.allocate([4, 3, 2], "u2")
    same_image = zarnik.ImageViewProvider.to_image(image)
    region = RegionXu64((1, 0, 0), (3, 1, 2))
    assert image.read_region(region).shape == (2, 1, 3)
    same_image.set_axes_interpretation("YXC")
    values = numpy.arange(6, dtype="u2").reshape(1, 3, 2)
    image.write_region(region, values)
    assert_array_equal(image.read_region(region), values)
    same_image.reshape([4, 3, 2], "c8")
    assert image.read_region(region).dtype == numpy.complex64
    same_image.reshape([4, 1, 1], "u2")
    raises(zarnik.Error, "exceeds", image.read_region, region)


def test_single_elements_convert_as_in_an_array():
    array = numpy.zeros((2, 3), "u2")
    image = zarnik.from_numpy(array)
    for value in (5, 5.0, numpy.int64(5), numpy.float32(5), numpy.array(5)):
        array[...] = 0
        image.write((2, 1), value)
        assert array[1, 2] == 5 == image.read([2, 1]) == image.read(numpy.array([2, 1]))
    assert isinstance(image.read((0, 0)), numpy.uint16)
    assert image[1, 2].dtype == numpy.uint16
    image[0] = [1, 2, 3]
    assert array[0].tolist() == [1, 2, 3]
    image.write_region(((0, 0), (3, 2)), numpy.array([[1], [2]]))
    assert array.tolist() == [[1, 1, 1], [2, 2, 2]]
    raises(ValueError, "broadcast", image.write_region, ((0, 0), (2, 2)), [1, 2, 3])
    raises(ValueError, r"invalid literal|could not convert", image.write, (0, 0), "x")


@pytest.mark.parametrize(
    ("use", "error", "text"),
    [
        (lambda image: image.read((4, 0)), IndexError, r"index \(4, 0\) is outside of an image of shape \(4, 3\)"),
        (lambda image: image.read((-1, 0)), IndexError, r"index \(-1, 0\)"),
        (lambda image: image.write((0, 3), 1), IndexError, r"index \(0, 3\)"),
        (lambda image: image.read(5), TypeError, "an index is a sequence of 2 integers, got 5"),
        (lambda image: image.read_region(5), TypeError, "a region is a RegionXu64 or a pair of origin and size, got 5"),
        (lambda image: image.set_spatial_spacing(5), TypeError, "Vector3d is made of a sequence of numbers, got 5"),
        (lambda image: zarnik.ImageViewFactory.allocate(5, "u1"), TypeError, "VectorXu64 is made of a sequence"),
        (lambda image: image.read_region(((3, 0), (2, 1))), zarnik.InvalidArgument, r"\(3, 0\) \+ size \(2, 1\)"),
        (lambda image: image.read_region(((2**63, 0), (2**63, 1))), zarnik.Error, "exceeds image shape"),
        (lambda image: image.read_region(RegionXu64((3, 0), (2, 1))), zarnik.Error, "exceeds the .*shape"),
        (lambda image: image.write_region(((0,), (1,)), 0), zarnik.Error, "exceeds image shape"),
        (lambda image: image[3], IndexError, "index 3 is out of bounds for axis 0 with size 3"),
        (lambda image: image[0, 0, 0], IndexError, "too many indices for an image of 2 axes"),
        (lambda image: image[..., ...], IndexError, "2 ellipses"),
        (lambda image: image[[0, 1]], TypeError, r"integers, slices and '...', got \[0, 1\]: to_numpy"),
        (lambda image: image[True], TypeError, "got True"),
        (lambda image: image[None], TypeError, "got None"),
        (lambda image: image["a"], TypeError, "got 'a'"),
        (lambda image: image.read_region(out=numpy.zeros((3, 3), "u1")), ValueError, r"out has shape \(3, 3\)"),
        (lambda image: image.read_region(out=numpy.zeros((3, 4), "i1")), ValueError, "dtype int8"),
        (lambda image: image.read_region(out=bytearray(12)), TypeError, "got bytearray"),
    ],
)
def test_what_does_not_fit_is_refused_and_changes_nothing(use, error, text):
    array = numpy.ones((3, 4), "u1")
    raises(error, text, use, zarnik.from_numpy(array))
    assert numpy.all(array == 1)


def test_calibration_takes_numbers_of_every_kind():
    image = zarnik.from_numpy(numpy.zeros((2, 3, 4), "i2"), unit="mm")
    for last, spacing in ((2.5, numpy.array([2, 2, 2.5], "f4")), (4, [numpy.float32(2), numpy.int64(2), 4])):
        image.set_spatial_spacing(spacing)
        assert repr(image) == f"<zarnik.ImageView ZYX (2, 3, 4) int16, spacing (2, 2, {last}) mm>"
    image.set_image_interpretation(ImageInterpretation.LABEL)
    assert image.get_image_interpretation() is image.properties.image_info().interpretation() is image.interpretation
    properties = zarnik.ImageProperties(image.properties)
    properties.set_calibration(zarnik.SpatialCalibrationProperty(properties.calibration(), unit="um"))
    assert image.get_spatial_unit() == "mm"
    image.properties = properties
    assert image.get_spatial_unit() == "um"


def test_metadata_of_an_image_are_changed_through_it():
    array = numpy.zeros((2, 3))
    for writeable in (True, False):
        array.flags.writeable = writeable
        image = zarnik.from_numpy(array)
        assert (len(image.metadata), image.metadata == {}) == (0, True)
        image.metadata["a/b"] = False
        shown = image.metadata
        shown["a"]["c"] = [1, {"d": 2}]
        for node in image.metadata["a/c"]:
            node["e"] = 5
        assert image.metadata["a/c/1"] == {"d": 2, "e": 5}
        assert shown["a"].pop("b").key() == "b" and "a/b" not in image.metadata
        assert image.metadata["a/c/1"].setdefault("d", 7).value() == 2
        del image.metadata["a"]
        with pytest.raises(KeyError, match="no metadata at 'a'"):
            shown["a"]["b"] = 1
        image.metadata = {"scanner": {"name": "Z1", "field": 3.0}}
        assert image.metadata == {"scanner": {"name": "Z1", "field": 3.0}}
        # What is shown is no way to change what other images share.
        assert not hasattr(image.metadata, "add_child") and not hasattr(image.metadata["scanner"], "add_child")
        image.metadata = None
        assert image.metadata == {}
        raises(TypeError, "a MetadataNode, a dict or None, got 5", setattr, image, "metadata", 5)


def test_views_of_one_image_depend_on_it():
    ask, status = zarnik.DependencyGraph.has_common_ancestor, zarnik.CommonAncestorStatus
    image, other = zarnik.zeros((5, 4)), zarnik.zeros((5, 4))
    odd, frame = OddFrame(DataTypeId.DOUBLE, 1), zarnik.DataFrameView.from_dict({"a": [1]})
    view = zarnik.ImageViewProvider.to_read_only(image)
    assert ask(image, image) is ask(image, view) is ask(view, view) is ask(odd, odd) is status.SHARE_ANCESTOR
    assert ask(view, other) is ask(other, view) is ask(view, frame) is status.SHARE_NO_ANCESTOR
    assert ask(odd, frame) is status.UNDETERMINED


def test_capabilities_are_printed_and_enforced():
    image = zarnik.from_numpy(numpy.zeros((2, 3)))
    capabilities = image.get_capabilities()
    assert str(capabilities) == "READ | WRITE | MEMORY_ACCESS"
    assert list(capabilities) == [ImageCapability.READ, ImageCapability.WRITE, ImageCapability.MEMORY_ACCESS]
    assert eval(repr(capabilities), vars(zarnik)) == capabilities
    assert ImageCapability.READ_WRITE in capabilities and ImageCapability.RESHAPE not in capabilities
    assert str(ImageCapabilitySet(0x44)) == "RESHAPE | 0x40"
    assert (str(ImageCapabilitySet()), len(ImageCapabilitySet()), bool(ImageCapabilitySet())) == ("none", 0, False)
    assert eval(repr(ImageCapabilitySet(0x44)), vars(zarnik)) == ImageCapabilitySet(0x44)
    write_only = zarnik.ImageViewProvider.to_write_only(image)
    write_only[:, :] = 4
    assert numpy.all(image.read() == 4)


@pytest.mark.parametrize("block_bytes", [64, 800, 2**24])
@pytest.mark.parametrize("copied_bytes", [0, 2**14])
def test_values_in_the_memory_of_the_image_are_written_as_they_were(monkeypatch, block_bytes, copied_bytes):
    monkeypatch.setattr("zarnik._transfer._BLOCK_BYTES", block_bytes)
    monkeypatch.setattr("zarnik._transfer._COPIED_BYTES", copied_bytes)
    start, random = numpy.arange(4 * 6 * 10, dtype="i4").reshape(4, 6, 10), numpy.random.default_rng(5)
    for values in (lambda a: a[::-1], lambda a: a[:, :, ::-1], lambda a: a[1:2], lambda a: a[:, ::-1].view("u4")):
        array = start.copy()
        zarnik.from_numpy(array).write_region(None, values(array))
        assert_array_equal(array, numpy.broadcast_to(values(start), start.shape))
    for turn in range(60):
        # Two parts of one size, which mostly overlap; one of them may be turned around.
        size = random.integers(2, start.shape)
        to, at = (random.integers(0, numpy.array(start.shape) - size + 1) for _ in range(2))
        target, source = ((..., *map(slice, first, first + size)) for first in (to, at))
        steps = tuple(slice(None, None, step) for step in random.choice([1, 1, -1], 3))
        array, expected = start.copy(), start.copy()
        expected[target] = start[source][steps]
        image = zarnik.from_numpy(array)
        # The write-only view does not tell where its memory is.
        writable = zarnik.ImageViewProvider.to_write_only(image) if turn % 3 == 0 else image
        if turn % 3 == 1:
            writable[target] = array[source][steps]
        else:
            writable.write_region((to[::-1], size[::-1]), array[source][steps])
        assert_array_equal(array, expected)
        array[...] = start
        image.read_region((at[::-1], size[::-1]), out=array[target][steps])
        expected[...] = start
        expected[target][steps] = start[source]
        assert_array_equal(array, expected)


def test_an_assignment_that_is_refused_leaves_nothing_written(monkeypatch):
    monkeypatch.setattr("zarnik._transfer._BLOCK_BYTES", 64)
    for image in (zarnik.from_numpy(numpy.ones((4, 6, 10), "u2")), TiledView([10, 6, 4], DataTypeId.UINT16, [4, 4, 1])):
        image[...] = 1
        last_is_wrong = numpy.zeros(image.shape, object)
        last_is_wrong[-1, -1, -1] = "x"
        too_large = numpy.zeros(image.shape, int).tolist()
        too_large[-1][-1][-1] = 2**70
        nan = numpy.zeros(image.shape)
        nan[-1, -1, -1] = numpy.nan
        for values, error in ((last_is_wrong, ValueError), (too_large, OverflowError), (nan, FloatingPointError)):
            with numpy.errstate(invalid="raise"):
                raises(error, "", image.write_region, None, values)
                for key in (..., numpy.s_[:, ::-1], numpy.s_[1::2, :, 1:]):
                    raises(error, "", image.__setitem__, key, values if key is ... else numpy.array(values)[key])
        assert numpy.all(image.read() == 1)
        # What fits is written slab by slab.
        numbers = numpy.arange(240).reshape(image.shape)
        for values in (numpy.zeros((1, 1, *image.shape), "f4"), numbers, numbers[:1], numbers[..., ::-1]):
            image.write_region(None, values)
            assert_array_equal(image.read(), numpy.broadcast_to(values, (1, 1, *image.shape))[0, 0])


@pytest.mark.parametrize("capabilities", [READ | WRITE | MEMORY_ACCESS, READ])
def test_a_foreign_image_without_properties_is_refused_wherever_they_are_needed(capabilities, tmp_path):
    image = CountingView((4, 3, 2), capabilities=capabilities)
    CountingView.forgetProperties(image)
    factory, provider = zarnik.ImageViewFactory, zarnik.ImageViewProvider
    for attempt in (
        lambda: image.properties,
        lambda: image.axes,
        lambda: numpy.asarray(image),
        lambda: image.to_memory() if capabilities == READ else image.to_numpy("ZYX"),
        image.to_disk,
        image.read_region,
        lambda: image.flip("X"),
        lambda: image.astype("f4"),
        lambda: pickle.dumps(image),
        lambda: zarnik.save(tmp_path / "image.zrn", image),
        lambda: zarnik.stack([image, image]),
        lambda: zarnik.coarser_levels(image),
        lambda: factory.from_image_view(image, None, None),
        lambda: factory.make_thread_safe(image).properties,
        lambda: provider.to_read_only(image).axes,
    ):
        raises(zarnik.Error, "tells no properties", attempt)
    assert "UINT8" in image.to_string() and image.to_string() in repr(image)
    assert list(tmp_path.iterdir()) == []
