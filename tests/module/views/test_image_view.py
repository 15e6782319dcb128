"""Image views through the flat functions, with NumPy arrays as the oracle of what they hold."""

import numpy
import pytest

import _zarnik
from support.expect import bad_argument, fails, no_overload, null_reference
from zarnik import _classes

allocate = _zarnik.ImageViewFactory_allocate
FORMATS = [
    ((7,), "DOUBLE", "f8"),
    ((5, 4), "UINT8", "u1"),
    ((4, 3, 5), "INT16", "i2"),
    ((3, 2, 4, 3), "UINT64", "u8"),
    ((2, 3, 2, 2, 2), "FLOAT", "f4"),
]


def region(origin, size):
    return _classes.RegionXu64(_classes.VectorXu64(origin), _classes.VectorXu64(size))


def image_of(array):
    """An image in memory with the elements of a Fortran-ordered array; both have the same axes."""
    type_name = {kind: name for _, name, kind in FORMATS}[array.dtype.str[1:]]
    image = allocate(array.shape, getattr(_zarnik, f"DataTypeId_{type_name}"))
    _zarnik.ImageView___write_region(image, region((0,) * array.ndim, array.shape), array.tobytes("F"))
    return image


def ramp(shape, kind):
    return numpy.arange(1, 1 + numpy.prod(shape), dtype=kind).reshape(shape, order="F")


def components(vector):
    cls = type(vector).__name__
    size = int(cls[6]) if cls[6].isdigit() else vector.size()
    return tuple(vector.at(i) for i in range(size))


def message_of(function, *arguments):
    with pytest.raises(_classes.Error) as caught:
        function(*arguments)
    return str(caught.value)


@pytest.fixture
def image():
    return image_of(ramp((4, 3), "u1"))


@pytest.mark.parametrize(("shape", "type_name", "kind"), FORMATS)
def test_regions_and_elements_match_numpy(shape, type_name, kind):
    array = ramp(shape, kind)
    image = image_of(array)
    random = numpy.random.default_rng(7)
    for _ in range(20):
        origin = [int(random.integers(0, extent + 1)) for extent in shape]
        size = [int(random.integers(0, extent - start + 1)) for extent, start in zip(shape, origin, strict=True)]
        where = tuple(slice(start, start + extent) for start, extent in zip(origin, size, strict=True))
        read = numpy.zeros(size[::-1], kind)
        _zarnik.ImageView___read_region(image, region(origin, size), read)
        numpy.testing.assert_array_equal(read.T, array[where])

        array[where] = random.integers(0, 99, size)
        _zarnik.ImageView___write_region(image, region(origin, size), array[where].tobytes("F"))

        index = tuple(int(random.integers(0, extent)) for extent in shape)
        element = numpy.zeros(1, kind)
        _zarnik.ImageView___read(image, index, element)
        assert element[0] == array[index]
        array[index] = 99
        _zarnik.ImageView___write(image, _classes.VectorXu64(index), numpy.array([99], kind))
    whole = numpy.zeros(shape[::-1], kind)
    _zarnik.ImageView___read_region(image, region((0,) * len(shape), shape), whole)
    numpy.testing.assert_array_equal(whole.T, array)


def test_positions(image):
    buffer = bytearray(1)
    for transfer, data in ((_zarnik.ImageView___read, buffer), (_zarnik.ImageView___write, b"x")):
        for bad in (5, None, {1: 2}, iter([1, 2])):
            fails(ValueError, "input must be a sequence", transfer, image, bad, data)
        for bad in ([1, -1], [1, 2**64], [1, "a"], [1.0, 1]):
            fails(TypeError, "invalid item in sequence - expected long value", transfer, image, bad, data)
        for outside in ([4, 0], [0, 3], [2**64 - 1, 0], [0], [0, 0, 0], []):
            assert message_of(transfer, image, outside, data)
    assert buffer == b"\0"

    class Unsized:
        def __getitem__(self, index):
            return 0

    fails(ValueError, "input sequence must be sized", _zarnik.ImageView___read, image, Unsized(), buffer)


def test_regions_and_buffers_that_are_none(image):
    whole = region((0, 0), (4, 3))
    for name, size_text, bad_buffers in (
        ("read_region", "(uint8_t* dst, size_t size)", (b"read-only", 5, None, "text")),
        ("write_region", "(const uint8_t* src, size_t size)", (5, None, "text")),
    ):
        transfer = getattr(_zarnik, f"ImageView___{name}")
        for bad in (5, (0, 0), "x"):
            bad_argument(TypeError, transfer, 2, "zarnik::RegionXu64 const &", image, bad, bytearray(12))
        null_reference(transfer, 2, "zarnik::RegionXu64 const &", image, None, bytearray(12))
        for bad in bad_buffers:
            bad_argument(TypeError, transfer, 3, size_text, image, whole, bad)
    bad_argument(TypeError, _zarnik.ImageView___read, 3, "(uint8_t* dst, size_t size)", image, [0, 0], b"x")
    bad_argument(TypeError, _zarnik.ImageView___write, 3, "(const uint8_t* src, size_t size)", image, [0, 0], 1)
    outside = region((1, 0), (4, 1))
    text = "region origin (1, 0) + size (4, 1) exceeds the image shape (4, 3) on axis 0"
    assert message_of(_zarnik.ImageView___read_region, image, outside, bytearray(4)) == text
    assert message_of(_zarnik.ImageView___write_region, image, outside, bytes(4)) == text


def test_a_short_buffer_is_not_refused():
    # Empty regions need no byte, so that the missing check can be seen without harm.
    image = allocate([4, 3], _zarnik.DataTypeId_DOUBLE)
    _zarnik.ImageView___read_region(image, region((0, 0), (0, 3)), bytearray())
    memory = bytearray(8)
    _zarnik.ImageView___read(image, [0, 0], memoryview(memory)[:1])


def test_self_of_another_kind(image):
    for name, *arguments in (
        ("get_shape",),
        ("support", 1),
        ("__get_properties",),
        ("reshape", [1], 0),
        ("tiling_info",),
        ("set_alpha", True),
        ("__read", [0], bytearray(1)),
    ):
        method = getattr(_zarnik, f"ImageView_{name}")
        bad_argument(TypeError, method, 1, "zarnik::ImageView *", 5, *arguments)
        null_reference(method, 1, "zarnik::ImageView *", None, *arguments)
    for name in ("get_capabilities", "to_string", "__get_metadata"):
        bad_argument(TypeError, getattr(_zarnik, f"ImageView_{name}"), 1, "zarnik::ImageView const *", "x")
    bad_argument(TypeError, _zarnik.View_view_origin, 1, "zarnik::View *", _classes.DataType())
    bad_argument(TypeError, _zarnik.View__extension, 2, "size_t", image, "x")
    null_reference(_zarnik.ImageView_set_spatial_unit, 2, "std::string const &", image, None)


def test_shape_type_and_capabilities():
    image = allocate([4, 3], _zarnik.DataTypeId_UINT16)
    assert components(_zarnik.ImageView_get_shape(image)) == (4, 3)
    assert _zarnik.ImageView_get_dimension_count(image) == 2
    assert _zarnik.ImageView_get_data_type(image).get_id() == _zarnik.DataTypeId_UINT16
    assert _zarnik.ImageView_get_capabilities(image).value() == 15
    assert _zarnik.ImageView_support(image, 3) is True
    assert _zarnik.ImageView_support(image, _classes.ImageCapabilitySet(16)) is False
    text = "ImageView(shape (4, 3), UINT16, (COLUMN, ROW), READ | WRITE | RESHAPE | MEMORY_ACCESS)"
    assert _zarnik.ImageView_to_string(image) == text
    shape = _zarnik.ImageView_get_shape(image)
    _zarnik.ImageView_reshape(image, [2, 2, 2], _zarnik.DataTypeId_FLOAT)
    assert (components(shape), components(_zarnik.ImageView_get_shape(image))) == ((4, 3), (2, 2, 2))
    assert "bytes" in message_of(_zarnik.ImageView_reshape, image, [2**30, 2**30], _zarnik.DataTypeId_UINT8)
    assert components(_zarnik.ImageView_get_shape(image)) == (2, 2, 2)


def test_allocate_picks_the_overload_by_count():
    text = no_overload(
        "ImageViewFactory_allocate",
        "zarnik::ImageViewFactory::allocate(zarnik::VectorXu64 const &,zarnik::DataType,"
        "std::shared_ptr< zarnik::ImageProperties >,std::shared_ptr< zarnik::MetadataNode >)",
        "zarnik::ImageViewFactory::allocate(zarnik::VectorXu64 const &,zarnik::DataType)",
    )
    u8 = _zarnik.DataTypeId_UINT8
    for arguments in ((), ([2],), ([2], u8, None), ([2], "x"), ([2], u8, 5, None)):
        fails(TypeError, text, allocate, *arguments)
    for arguments in ((5, u8), (None, u8), (5, u8, None, None)):
        fails(ValueError, "input must be a sequence", allocate, *arguments)

    properties = _classes.ImageProperties.from_data_type(u8)
    node = _classes.MetadataNode("root", None)
    image = allocate([2, 2], u8, properties, node)
    node.add_child(_classes.MetadataNode("late", None))
    assert _zarnik.ImageView___get_metadata(image).get_child_count() == 0
    assert _zarnik.ImageView___get_metadata(allocate([2, 2], u8, None, None)) is None
    vector = _classes.VectorXu64.create_uniform
    assert "1125899906842624 bytes" in message_of(allocate, vector(1, 2**50), u8)
    assert message_of(allocate, vector(2, 2**50), u8)


def test_property_shortcuts(image):
    vector = _classes.Vector3d
    directions = _classes.SpatialDirections(vector((0, 1, 0)), vector((1, 0, 0)))
    for name, value in (
        ("spatial_origin", (1, 2.5, -3)),
        ("spatial_spacing", (0.5, 0.25, 2)),
        ("spatial_unit", "µm"),
        ("spatial_directions", directions),
        ("bit_depth", 7),
        ("value_range", (0, 100)),
        ("axes_interpretation", _zarnik.__or__(0, 2)),
    ):
        getattr(_zarnik, f"ImageView_set_{name}")(image, value)
        got = getattr(_zarnik, f"ImageView_get_{name}")(image)
        assert components(got) == value if isinstance(value, tuple) else got == value
    _zarnik.ImageView_set_image_interpretation(image, _zarnik.ImageInterpretation_LABEL)
    assert _zarnik.ImageView__get_image_interpretation(image) == _zarnik.ImageInterpretation_LABEL
    assert _zarnik.ImageView_get_has_alpha(image) is False
    for name, value in (("bit_depth", 9), ("spatial_spacing", (0, 1, 1)), ("image_interpretation", 99)):
        assert message_of(getattr(_zarnik, f"ImageView_set_{name}"), image, value)
    # Alpha and interpretation go together, in either order.
    _zarnik.ImageView_set_alpha(image, True)
    _zarnik.ImageView_set_image_interpretation(image, _zarnik.ImageInterpretation_RGB)
    assert _zarnik.ImageView_get_has_alpha(image) is True
    bad_argument(TypeError, _zarnik.ImageView_set_alpha, 2, "bool", image, 1)
    bad_argument(TypeError, _zarnik.ImageView_set_axes_interpretation, 2, "zarnik::ImageType", image, 1)
    wanted = "std::shared_ptr< zarnik::ImageProperties const >"
    bad_argument(TypeError, _zarnik.ImageView_set_properties, 2, wanted, image, 5)
    wanted = "std::shared_ptr< zarnik::MetadataNode >"
    bad_argument(TypeError, _zarnik.ImageView_set_metadata, 2, wanted, image, 5)


def test_a_read_only_view_cannot_be_changed_through_any_path(image):
    _zarnik.ImageView_set_metadata(image, _classes.MetadataNode("root", None))
    shown = _zarnik.ImageViewProvider_to_read_only(image)
    buffer = bytearray(1)
    _zarnik.ImageView___write(image, [1, 1], b"\x63")
    _zarnik.ImageView___read(shown, [1, 1], buffer)
    assert buffer == b"\x63"
    assert _zarnik.ImageView_get_capabilities(shown).value() == 1
    for change, arguments, missing in (
        ("__write", ([0, 0], b"x"), "WRITE"),
        ("__write_region", (region((0, 0), (1, 1)), b"x"), "WRITE"),
        ("set_spatial_unit", ("mm",), "WRITE"),
        ("set_properties", (_zarnik.ImageView___get_properties(shown),), "WRITE"),
        ("set_metadata", (None,), "WRITE"),
        ("reshape", ([1], _zarnik.DataTypeId_UINT8), "RESHAPE"),
    ):
        text = f"the image does not support {missing} (its capabilities: READ)"
        assert message_of(getattr(_zarnik, f"ImageView_{change}"), shown, *arguments) == text

    for view in (shown, image):
        properties = _zarnik.ImageView___get_properties(view)
        assert type(properties) is _classes.ReadonlyImageProperties
        set_calibration = _zarnik.ImageProperties_set_calibration
        calibration = _classes.SpatialCalibrationProperty()
        bad_argument(TypeError, set_calibration, 1, "zarnik::ImageProperties *", properties, calibration)
    _zarnik.ImageView___get_metadata(shown).add_child(_classes.MetadataNode("added", None))
    assert _zarnik.ImageView___get_metadata(image).get_child_count() == 0


def test_a_write_only_view_writes_and_nothing_else(image):
    hidden = _zarnik.ImageViewProvider_to_write_only(image)
    _zarnik.ImageView___write(hidden, [2, 1], b"\x2a")
    buffer = bytearray(1)
    _zarnik.ImageView___read(image, [2, 1], buffer)
    assert buffer == b"\x2a"
    text = "the image does not support READ (its capabilities: WRITE)"
    assert message_of(_zarnik.ImageView___read, hidden, [0, 0], buffer) == text


def test_provider(image):
    assert _zarnik.ImageViewProvider_is_image(image) is True
    assert _zarnik.ImageViewProvider_is_image(None) is False
    assert _zarnik.ImageViewProvider_to_image(None) is None
    same = _zarnik.ImageViewProvider_to_image(image)
    assert type(same) is _classes.ImageView
    assert same.view_origin().uid() == image.view_origin().uid()
    for name, wanted in (("is_image", "View"), ("to_image", "View"), ("to_read_only", "ImageView")):
        function = getattr(_zarnik, f"ImageViewProvider_{name}")
        bad_argument(TypeError, function, 1, f"std::shared_ptr< zarnik::{wanted} >", 5)
    assert message_of(_zarnik.ImageViewProvider_to_read_only, None)


def test_create_from_pointer_takes_over_the_shared_pointer(image):
    create = _zarnik.ImageView_create_from_pointer
    address = int(image.this)
    uid = image.view_origin().uid()
    image.this.disown()
    taken = create(address)
    assert (int(taken.this), taken.thisown, type(taken)) == (address, True, _classes.ImageView)
    assert taken.view_origin().uid() == uid
    bad_argument(TypeError, create, 1, "unsigned long long", "x")
    bad_argument(OverflowError, create, 1, "unsigned long long", -1)
    bad_argument(OverflowError, create, 1, "unsigned long long", 2**64)


def test_docstrings():
    for name, line in (
        ("ImageView_get_shape", "Return the shape of the image, each component containing the size in this dimension."),
        ("ImageView___get_properties", "Return the view's properties."),
        ("ImageView___get_metadata", "Return the root node of the metadata attached to this image."),
        ("ImageView_set_spatial_directions", "Shortcut to set spatial direcitons into image properties"),
        ("ImageView___read", "Read the data at the given index into a buffer."),
        ("ImageView___write_region", "Write a input buffer into a given region of the image"),
        ("ImageView_reshape", "All the image's data is invalidated after this operation."),
        ("ImageView_set_properties", ":raises: NotImplemented If the implementation does not support writing."),
        ("ImageViewProvider_to_image", "Extracts the ImageView interface from a given generic view."),
        ("ImageViewProvider_to_image", "If the given view is not an ImageView, this method will return null."),
        ("ImageViewProvider_to_read_only", "Remove all capacities except READ to an ImageView."),
        ("ImageViewProvider_to_write_only", "Remove all capacities except WRITE to an ImageView."),
    ):
        assert line in getattr(_zarnik, name).__doc__.splitlines()
