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
    # Frames of size 1 keep their dimensions; what is written to one is written to the image.
    flat = image_of(ramp((4, 1, 5)))
    frame = _zarnik.MultiImageView_frame(_zarnik.MultiImageViewFactory_unstack_dimension_index(flat, 2), 4)
    assert uint8s(frame).shape == (4, 1)
    _zarnik.ImageView___write(frame, (3, 0), b"\xff")
    assert uint8s(flat)[3, 0, 4] == 255


def test_deinterlace():
    for array, data_type in (
        (ramp((4, 3, 1, 3)), _zarnik.DataTypeId_VEC3_UINT8),  # X Y Z and components
        (ramp((4, 3, 2, 5, 2)), None),  # X Y Z C T
    ):
        channels = _zarnik.MultiImageViewFactory_deinterlace(image_of(array, data_type))
        assert _zarnik.MultiImageView_get_frame_count(channels) == array.shape[3]
        for i in range(array.shape[3]):
            shown = uint8s(_zarnik.MultiImageView_frame(channels, i))
            numpy.testing.assert_array_equal(shown, array[:, :, :, i])
    single = image_of(ramp((4, 3)))
    shown = _zarnik.MultiImageView_frame(_zarnik.MultiImageViewFactory_deinterlace(single), 0)
    numpy.testing.assert_array_equal(uint8s(shown), ramp((4, 3)))


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
