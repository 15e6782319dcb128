"""Sets of images and images at several levels of detail through the flat functions."""

import ctypes

import numpy

import _zarnik
from support.expect import bad_argument, fails, raises, refused
from support.images import array_of, image_of, ramp
from zarnik import _classes

UINT8 = _zarnik.DataTypeId_UINT8


def image(width):
    return _zarnik.ImageViewFactory_allocate((width, 2), UINT8)


def widths(images):
    frames = [_zarnik.MultiImageView_frame(images, i) for i in range(_zarnik.MultiImageView_get_frame_count(images))]
    return [_zarnik.VectorXu64_at(_zarnik.ImageView_get_shape(frame), 0) for frame in frames]


def test_frames_are_appended_replaced_and_removed():
    images = _zarnik.MultiImageViewFactory_create()
    assert widths(images) == []
    for width in (1, 2, 3):
        assert _zarnik.MultiImageView_add_frame(images, image(width)) is None
    _zarnik.MultiImageView_set_frame(images, 0, image(10))
    _zarnik.MultiImageView_remove_frame(images, 1)
    assert widths(images) == [10, 3]
    for name, *arguments in (("frame", 2), ("set_frame", 2, image(1)), ("remove_frame", 2**64 - 1)):
        refused("frame index", getattr(_zarnik, f"MultiImageView_{name}"), images, *arguments)
    refused("cannot be null", _zarnik.MultiImageView_add_frame, images, None)
    assert widths(images) == [10, 3]
    assert "2 frames" in _zarnik.MultiImageView_to_string(images)
    assert _zarnik.MultiImageCapabilitySet_value(_zarnik.MultiImageView_get_capabilities(images)) == 3
    assert _zarnik.MultiImageView_support(images, _zarnik.MultiImageCapability_READ_WRITE) is True
    assert _zarnik.View_view_origin(images).parent_count() == 2
    series = _classes.MetadataNode("series", None)
    _zarnik.MultiImageView_set_metadata(images, series)
    series.add_child(_classes.MetadataNode("late", None))
    assert _zarnik.MultiImageView___get_metadata(images).to_string() == "series"
    _zarnik.MultiImageView_set_metadata(images, None)
    assert _zarnik.MultiImageView___get_metadata(images) is None


def test_create_from_list():
    create = _zarnik.MultiImageViewFactory_create_from_list
    first, second = image(1), image(2)
    assert widths(create([first, second])) == [1, 2]
    assert widths(create((second, first, second))) == [2, 1, 2]
    assert widths(create([])) == []
    for other in (first, iter([first]), None, 5, "ab", {1: first}):
        fails(ValueError, "Input must be a list of a tuple", create, other)
    bad_argument(TypeError, create, 1, "std::shared_ptr< zarnik::ImageView >", [first, create([])])
    refused("frame 1 .* cannot be null", create, [first, None])


def test_list_that_changes_while_it_is_read():
    class Odd:
        """Not an image; looking at it empties the list."""

        @property
        def this(self):
            del items[:]
            raise AttributeError("this")

    items = [Odd(), image(1)]
    raises((TypeError, IndexError), "", _zarnik.MultiImageViewFactory_create_from_list, items)


def test_create_from_pointer():
    # The address of an empty shared pointer that the wrapped object must not free: two null words.
    empty = ctypes.create_string_buffer(16)
    held = _zarnik.MultiImageView_create_from_pointer(ctypes.addressof(empty))
    held.this.disown()


def test_providers():
    images, single = _zarnik.MultiImageViewFactory_create(), image(1)
    for kind, name in (("MultiImageViewProvider", "multi_image"), ("LodImageViewProvider", "lod_image")):
        is_kind, to_kind = getattr(_zarnik, f"{kind}_is_{name}"), getattr(_zarnik, f"{kind}_to_{name}")
        for other in (single, None):
            assert (is_kind(other), to_kind(other)) == (False, None)
    assert _zarnik.MultiImageViewProvider_is_multi_image(images) is True
    assert widths(_zarnik.MultiImageViewProvider_to_multi_image(images)) == []
    assert _zarnik.LodImageViewProvider_is_lod_image(images) is False
    assert _zarnik.ImageViewProvider_to_image(images) is None


# ---- images split into frames and channels ---------------------------------------------------------------------------


def test_unstack():
    array = ramp((4, 3, 5))
    volume = image_of(array)
    for index in range(3):
        for made in (
            _zarnik.MultiImageViewFactory_unstack_dimension_index(volume, index),
            _zarnik.MultiImageViewFactory_unstack_dimension(volume, index),
        ):
            assert _zarnik.MultiImageView_get_frame_count(made) == array.shape[index]
            for i in range(array.shape[index]):
                frame = _zarnik.MultiImageView_frame(made, i)
                numpy.testing.assert_array_equal(array_of(frame, "u1"), array.take(i, axis=index))
            refused("frame index", _zarnik.MultiImageView_frame, made, array.shape[index])
            refused("WRITE", _zarnik.MultiImageView_add_frame, made, volume)
    rows = _zarnik.MultiImageViewFactory_unstack_dimension(volume, _zarnik.ImageDimension_ROW)
    axes = _zarnik.ImageView_get_axes_interpretation(_zarnik.MultiImageView_frame(rows, 0))
    assert _zarnik.ImageType_value(axes) == 0b101  # X and Z are left
    # Frames of size 1 keep their dimensions; what is written to one is written to the image.
    flat = image_of(ramp((4, 1, 5)))
    frame = _zarnik.MultiImageView_frame(_zarnik.MultiImageViewFactory_unstack_dimension_index(flat, 2), 4)
    assert array_of(frame, "u1").shape == (4, 1)
    _zarnik.ImageView___write(frame, (3, 0), b"\xff")
    assert array_of(flat, "u1")[3, 0, 4] == 255


def test_deinterlace():
    for array, data_type in (
        (ramp((4, 3, 1, 3)), _zarnik.DataTypeId_VEC3_UINT8),  # X Y Z and components
        (ramp((4, 3, 2, 5, 2)), None),  # X Y Z C T
        (ramp((4, 3)), None),
    ):
        channels = _zarnik.MultiImageViewFactory_deinterlace(image_of(array, data_type))
        expected = [array[:, :, :, i] for i in range(array.shape[3])] if array.ndim > 3 else [array]
        assert _zarnik.MultiImageView_get_frame_count(channels) == len(expected)
        for i, channel in enumerate(expected):
            numpy.testing.assert_array_equal(array_of(_zarnik.MultiImageView_frame(channels, i), "u1"), channel)


def test_splitting_what_cannot_be_split():
    volume = image_of(ramp((4, 3, 5)))
    refused("dimension", _zarnik.MultiImageViewFactory_unstack_dimension_index, volume, 3)
    refused("dimension", _zarnik.MultiImageViewFactory_unstack_dimension, volume, _zarnik.ImageDimension_SEQUENCE)
    refused("dimension", _zarnik.MultiImageViewFactory_unstack_dimension, volume, 77)
    refused("dimension", _zarnik.MultiImageViewFactory_unstack_dimension_index, image_of(ramp((4,))), 0)
    _zarnik.ImageView_set_alpha(volume, True)  # of an image without colours
    for split, *arguments in (("unstack_dimension_index", 0), ("unstack_dimension", 0), ("deinterlace",)):
        refused("alpha", getattr(_zarnik, f"MultiImageViewFactory_{split}"), volume, *arguments)
        refused("null", getattr(_zarnik, f"MultiImageViewFactory_{split}"), None, *arguments)
