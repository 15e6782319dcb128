"""Data types and image types."""

import re

import numpy
import pytest

import _zarnik
from support.expect import null_reference, refused
from support.values import components
from zarnik import _classes

IDS = {name[11:]: value for name, value in vars(_zarnik).items() if name.startswith("DataTypeId_")}


def new(*arguments):
    return _zarnik.new_DataType(*arguments)


@pytest.mark.parametrize("name", [name for name in IDS if name != "UNKNOWN" and "STRING" not in name])
def test_ids_pack_the_properties(name):
    primitive, count, depth = IDS[name] >> 16 & 0xFF, IDS[name] >> 8 & 0xFF, IDS[name] & 0xFF
    interpretation = IDS[name] >> 32
    scalar = name.split("_")[-1]
    for dtype in (new(IDS[name]), new(primitive, depth, count, interpretation)):
        assert _zarnik.DataType_get_id(dtype) == IDS[name]
        assert _zarnik.DataType_get_bit_depth(dtype) == depth
        assert _zarnik.DataType_get_element_count(dtype) == count
        assert _zarnik.DataType__get_primitive_type(dtype) == primitive
        assert _zarnik.DataType__get_interpretation(dtype) == interpretation
        assert _zarnik.DataType_bit_count(dtype) == depth * count
        assert _zarnik.DataType_byte_count(dtype) == depth * count // 8
        assert _zarnik.DataType_is_numeric(dtype) is True
        assert _zarnik.DataType_is_scalar(dtype) is (count == 1)
        assert _zarnik.DataType_is_vector(dtype) is (count > 1 and interpretation == 0)
        assert _zarnik.DataType_to_string(dtype) == name
        assert _zarnik.DataType_get_id(_zarnik.DataType_extract_scalar_type(dtype)) == IDS[scalar]
        limits = numpy.iinfo(scalar.lower()) if "INT" in scalar else None
        expected = [float(limits.min), float(limits.max)] if limits else [0.0, 1.0]
        assert components("Vector2d", _zarnik.DataType_standard_range(dtype)) == expected


def test_odd_types():
    opaque = new()
    for neither in (opaque, new(_zarnik.DataTypeId_UTF8_STRING)):
        assert not _zarnik.DataType_is_scalar(neither) and not _zarnik.DataType_is_vector(neither)
    assert (_zarnik.DataType_get_id(opaque), _zarnik.DataType_bit_count(opaque)) == (0, 0)
    assert _zarnik.DataType_byte_count(opaque) == 1
    assert _zarnik.DataType_byte_count(new(1, 12, 1)) == 2
    assert _zarnik.DataType___eq__(opaque, 0) is True and _zarnik.DataType___ne__(opaque, new(1)) is True
    assert _zarnik.DataType_is_numeric(new(IDS["UTF8_STRING"])) is False
    assert _zarnik.DataType_is_convertible_to(new(IDS["UINT8"]), IDS["FLOAT"]) is True
    no_way = ("UINT8", "VEC2_UINT8"), ("VEC2_FLOAT", "COMPLEX_FLOAT"), ("UTF8_STRING", "UINT8")
    assert not any(_zarnik.DataType_is_convertible_to(new(IDS[one]), new(IDS[other])) for one, other in no_way)
    refused("UNKNOWN has no range of values", _zarnik.DataType_standard_range, opaque)
    refused("UTF8_STRING has no range of values", _zarnik.DataType_standard_range, IDS["UTF8_STRING"])
    refused("bit depth 256 of a data type is out of range, allowed are 0 to 255", new, 1, 256, 1)


# Names tell what there is besides columns and rows.
AXES = {
    name: [0, 1, *[2] * ("VOLUME" in name), *[3] * ("MULTI" in name), *[4] * ("SEQUENCE" in name)]
    for name in re.findall(r"ImageTypeId_(\w+)", str(_zarnik.cvar))
}
AXES["UNKNOWN"] = []


def dimensions(image_type):
    return [_zarnik.ImageType__dimension(image_type, i) for i in range(_zarnik.ImageType_dimension_count(image_type))]


@pytest.mark.parametrize("name", AXES)
def test_named_image_types(name):
    named = getattr(_zarnik.cvar, f"ImageTypeId_{name}")
    assert isinstance(named, _classes.ImageType) and not named.thisown
    assert dimensions(named) == AXES[name]
    built = _zarnik.new_ImageType()
    for dimension in reversed(AXES[name]):
        assert _zarnik.ImageType_add(built, dimension) is None
    assert _zarnik.ImageType___eq__(built, named) is True
    value = _zarnik.ImageType_value(named)
    assert _zarnik.ImageType_value(_zarnik.new_ImageType(value)) == value
    for dimension in range(5):
        assert _zarnik.ImageType_has(named, dimension) is (dimension in AXES[name])
        if dimension in AXES[name]:
            assert _zarnik.ImageType_index_dimension(named, dimension) == AXES[name].index(dimension)
        else:
            refused("has no dimension", _zarnik.ImageType_index_dimension, named, dimension)
    refused("it has [0-9]", _zarnik.ImageType__dimension, named, len(AXES[name]))


def test_combining_and_removing():
    image = _zarnik.__or__(_zarnik.ImageDimension_ROW, _zarnik.ImageDimension_COLUMN)
    assert dimensions(image) == [0, 1]
    assert dimensions(_zarnik.__or__(_zarnik.ImageDimension_CHANNEL, image)) == [0, 1, 3]
    volume = _zarnik.ImageType___or__(image, _zarnik.ImageDimension_SLICE)
    assert dimensions(volume) == [0, 1, 2] and dimensions(image) == [0, 1]
    assert _zarnik.ImageType___ne__(image, volume) is True
    _zarnik.ImageType_remove(volume, _zarnik.ImageDimension_ROW)
    assert dimensions(volume) == [0, 2]
    assert _zarnik.ImageType_to_string(volume) == "(COLUMN, SLICE)"
    refused("image dimension 5 is unknown, allowed are 0 to 4", _zarnik.ImageType_add, volume, 5)
    refused("image type value 32 is unknown", _zarnik.new_ImageType, 32)
    text = r"image type \(COLUMN, SLICE\) has no dimension CHANNEL"
    refused(text, _zarnik.ImageType_index_dimension, volume, _zarnik.ImageDimension_CHANNEL)
    assert _zarnik.__or__(image, 0) is NotImplemented


def test_image_types_from_pointers():
    null_reference(_zarnik.new_ImageType, 1, "zarnik::ImageDimension const *", None, 2)
    assert dimensions(_zarnik.new_ImageType(None, 0)) == []
