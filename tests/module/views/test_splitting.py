"""Images split into frames and channels by the flat functions, against NumPy."""

import numpy

import _zarnik
from support.expect import refused
from support.images import array_of, image_of, ramp


def uint8s(view):
    return array_of(view, numpy.uint8)


def test_unstack():
    array = ramp((4, 3, 5))
    volume = image_of(array)
    for index, (name, constant) in enumerate((("COLUMN", 0), ("ROW", 1), ("SLICE", 2))):
        assert getattr(_zarnik, f"ImageDimension_{name}") == constant
        for made in (
            _zarnik.MultiImageViewFactory_unstack_dimension_index(volume, index),
            _zarnik.MultiImageViewFactory_unstack_dimension(volume, constant),
        ):
            assert _zarnik.MultiImageView_get_frame_count(made) == array.shape[index]
            for i in range(array.shape[index]):
                frame = _zarnik.MultiImageView_frame(made, i)
                numpy.testing.assert_array_equal(uint8s(frame), array.take(i, axis=index))
            refused("frame index", _zarnik.MultiImageView_frame, made, array.shape[index])
            refused("WRITE", _zarnik.MultiImageView_add_frame, made, volume)
    rows = _zarnik.MultiImageViewFactory_unstack_dimension(volume, _zarnik.ImageDimension_ROW)
    axes = _zarnik.ImageView_get_axes_interpretation(_zarnik.MultiImageView_frame(rows, 0))
    assert _zarnik.ImageType_value(axes) == 0b101  # X and Z are left
    # Frames of size 1 keep their dimensions.
    flat = image_of(ramp((4, 1, 5)))
    slices = _zarnik.MultiImageViewFactory_unstack_dimension_index(flat, 2)
    assert uint8s(_zarnik.MultiImageView_frame(slices, 0)).shape == (4, 1)


def test_writing_a_frame_writes_the_image():
    array = ramp((4, 3, 5))
    volume = image_of(array)
    rows = _zarnik.MultiImageViewFactory_unstack_dimension_index(volume, 1)
    _zarnik.ImageView___write(_zarnik.MultiImageView_frame(rows, 2), (3, 4), b"\xff")
    array[3, 2, 4] = 255
    numpy.testing.assert_array_equal(uint8s(volume), array)


def test_deinterlace():
    rgb = ramp((4, 3, 3))
    colours = image_of(rgb, _zarnik.DataTypeId_VEC3_UINT8)
    channels = _zarnik.MultiImageViewFactory_deinterlace(colours)
    assert _zarnik.MultiImageView_get_frame_count(channels) == 3
    for i in range(3):
        numpy.testing.assert_array_equal(uint8s(_zarnik.MultiImageView_frame(channels, i)), rgb[..., i])
    array = ramp((4, 3, 2, 5, 2))  # X Y Z C T
    spectral = image_of(array)
    channels = _zarnik.MultiImageViewFactory_deinterlace(spectral)
    assert _zarnik.MultiImageView_get_frame_count(channels) == 5
    numpy.testing.assert_array_equal(uint8s(_zarnik.MultiImageView_frame(channels, 4)), array[:, :, :, 4])
    array = ramp((4, 3))
    single = image_of(array)
    channels = _zarnik.MultiImageViewFactory_deinterlace(single)
    assert _zarnik.MultiImageView_get_frame_count(channels) == 1
    numpy.testing.assert_array_equal(uint8s(_zarnik.MultiImageView_frame(channels, 0)), array)


def test_splitting_what_cannot_be_split():
    volume = image_of(ramp((4, 3, 5)))
    refused("null", _zarnik.MultiImageViewFactory_deinterlace, None)
    refused("null", _zarnik.MultiImageViewFactory_unstack_dimension_index, None, 0)
    refused("null", _zarnik.MultiImageViewFactory_unstack_dimension, None, 0)
    refused("dimension", _zarnik.MultiImageViewFactory_unstack_dimension_index, volume, 3)
    refused("dimension", _zarnik.MultiImageViewFactory_unstack_dimension, volume, _zarnik.ImageDimension_SEQUENCE)
    refused("dimension", _zarnik.MultiImageViewFactory_unstack_dimension, volume, 77)
    _zarnik.ImageView_set_alpha(volume, True)  # of an image without colours
    for split, *arguments in (("unstack_dimension_index", 0), ("unstack_dimension", 0), ("deinterlace",)):
        refused("alpha", getattr(_zarnik, f"MultiImageViewFactory_{split}"), volume, *arguments)
