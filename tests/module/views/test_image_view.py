"""Image views through the flat functions; what they hold is tested on arrays of any strides."""

import pytest

import _zarnik
from support.expect import fails, refused
from zarnik import _classes

allocate, region = _zarnik.ImageViewFactory_allocate, _classes.RegionXu64


@pytest.fixture
def image():
    made = allocate((4, 3), _zarnik.DataTypeId_UINT8)
    _zarnik.ImageView___write_region(made, region((0, 0), (4, 3)), bytes(range(1, 13)))
    return made


def test_regions_and_elements_have_their_first_dimension_fastest(image):
    read, element = bytearray(4), bytearray(1)
    _zarnik.ImageView___read_region(image, region((1, 1), (2, 2)), read)
    assert read == bytes([6, 7, 10, 11])
    for index in ((3, 2), _classes.VectorXu64((3, 2)), _classes.VectorXu64((3, 2)).this):
        element[0] = 0
        _zarnik.ImageView___read(image, index, element)
        assert element == bytes([12])


def test_positions(image):
    buffer = bytearray(1)
    for transfer, data in ((_zarnik.ImageView___read, buffer), (_zarnik.ImageView___write, b"x")):
        for bad in (5, None, {1: 2}, iter([1, 2])):
            fails(ValueError, "input must be a sequence", transfer, image, bad, data)
        for bad in ([1, -1], [1, 2**64], [1, "a"], [1.0, 1]):
            fails(TypeError, "invalid item in sequence - expected long value", transfer, image, bad, data)
    assert buffer == b"\0"


def test_shape_type_and_capabilities():
    image = allocate([4, 3], _zarnik.DataTypeId_UINT16)
    assert _zarnik.ImageView_get_dimension_count(image) == 2
    assert _zarnik.ImageView_get_data_type(image).get_id() == _zarnik.DataTypeId_UINT16
    assert _zarnik.ImageView_get_capabilities(image).value() == 15
    assert _zarnik.ImageView_support(image, 3) is True
    assert _zarnik.ImageView_support(image, _classes.ImageCapabilitySet(16)) is False
    text = "ImageView(shape (4, 3), UINT16, (COLUMN, ROW), READ | WRITE | RESHAPE | MEMORY_ACCESS)"
    assert _zarnik.ImageView_to_string(image) == text
    shape = _zarnik.ImageView_get_shape(image)
    _zarnik.ImageView_reshape(image, [2, 2, 2], _zarnik.DataTypeId_FLOAT)
    assert (tuple(shape), tuple(_zarnik.ImageView_get_shape(image))) == ((4, 3), (2, 2, 2))
    refused("1125899906842624 bytes", allocate, _classes.VectorXu64.create_uniform(1, 2**50), _zarnik.DataTypeId_UINT8)
    refused("not numeric", allocate, [2, 2], _zarnik.DataTypeId_UTF8_STRING)
    refused("99 is no image interpretation", _zarnik.ImageView_set_image_interpretation, image, 99)


def test_restricted_views(image):
    shown = _zarnik.ImageViewProvider_to_read_only(image)
    text = "the image does not support RESHAPE (its capabilities: READ)"
    fails(_classes.Error, text, _zarnik.ImageView_reshape, shown, [1], _zarnik.DataTypeId_UINT8)
    _zarnik.ImageView_set_metadata(image, _classes.MetadataNode("root", None))
    for view in (shown, image):
        assert type(_zarnik.ImageView___get_properties(view)) is _classes.ReadonlyImageProperties
    _zarnik.ImageView___get_metadata(shown).add_child(_classes.MetadataNode("added", None))
    assert _zarnik.ImageView___get_metadata(image).get_child_count() == 0


def test_provider(image):
    assert _zarnik.ImageViewProvider_is_image(image) is True
    assert _zarnik.ImageViewProvider_is_image(None) is False
    assert _zarnik.ImageViewProvider_to_image(None) is None
    same = _zarnik.ImageViewProvider_to_image(image)
    assert type(same) is _classes.ImageView
    assert same.view_origin().uid() == image.view_origin().uid()
    refused("null", _zarnik.ImageViewProvider_to_read_only, None)
