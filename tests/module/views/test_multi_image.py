"""Sets of images and images at several levels of detail through the flat functions."""

import ctypes

import pytest

import _zarnik
from support.expect import bad_argument, fails, null_reference, refused
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
    _zarnik.MultiImageView_set_metadata(images, _classes.MetadataNode("series", None))
    assert _zarnik.MetadataNode_get_key(_zarnik.MultiImageView___get_metadata(images)) == "series"
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
    for bad in (5, "x", create([])):
        bad_argument(TypeError, create, 1, "std::shared_ptr< zarnik::ImageView >", [first, bad])
    refused("frame 1 .* cannot be null", create, [first, None])
    with pytest.raises(TypeError):
        create()


def test_list_that_changes_while_it_is_read():
    class Odd:
        """Not an image; looking at it empties the list."""

        @property
        def this(self):
            del items[:]
            raise AttributeError("this")

    items = [Odd(), image(1)]
    with pytest.raises((TypeError, IndexError)):
        _zarnik.MultiImageViewFactory_create_from_list(items)


def test_arguments():
    images = _zarnik.MultiImageViewFactory_create()
    bad_argument(TypeError, _zarnik.MultiImageView_frame, 2, "size_t", images, "0")
    bad_argument(OverflowError, _zarnik.MultiImageView_frame, 2, "size_t", images, -1)
    bad_argument(TypeError, _zarnik.MultiImageView_add_frame, 2, "std::shared_ptr< zarnik::ImageView >", images, images)
    bad_argument(TypeError, _zarnik.MultiImageView_support, 2, "zarnik::MultiImageCapabilitySet", images, "x")
    for name, kind in (
        ("MultiImageView_get_frame_count", "MultiImageView *"),
        ("MultiImageView_get_capabilities", "MultiImageView const *"),
        ("MultiImageView_to_string", "MultiImageView const *"),
        ("LodImageView_get_level_range", "LodImageView *"),
        ("LodImageView_to_string", "LodImageView const *"),
    ):
        bad_argument(TypeError, getattr(_zarnik, name), 1, f"zarnik::{kind}", image(1))
        null_reference(getattr(_zarnik, name), 1, f"zarnik::{kind}", None)
    bad_argument(TypeError, _zarnik.LodImageView_resolution, 1, "zarnik::LodImageView *", 5, 0)


def test_create_from_pointer():
    create = _zarnik.MultiImageView_create_from_pointer
    for bad in ("x", 1.0, None):
        bad_argument(TypeError, create, 1, "unsigned long long", bad)
    bad_argument(OverflowError, create, 1, "unsigned long long", -1)
    # The address of an empty shared pointer that the wrapped object must not free: two null words.
    empty = ctypes.create_string_buffer(16)
    held = create(ctypes.addressof(empty))
    held.this.disown()


def test_providers():
    images, single = _zarnik.MultiImageViewFactory_create(), image(1)
    for kind, name in (("MultiImageViewProvider", "multi_image"), ("LodImageViewProvider", "lod_image")):
        is_kind, to_kind = getattr(_zarnik, f"{kind}_is_{name}"), getattr(_zarnik, f"{kind}_to_{name}")
        assert is_kind(single) is False
        assert to_kind(single) is None
        assert is_kind(None) is False
        assert to_kind(None) is None
        bad_argument(TypeError, is_kind, 1, "std::shared_ptr< zarnik::View >", 5)
    assert _zarnik.MultiImageViewProvider_is_multi_image(images) is True
    assert widths(_zarnik.MultiImageViewProvider_to_multi_image(images)) == []
    assert _zarnik.LodImageViewProvider_is_lod_image(images) is False
    assert _zarnik.ImageViewProvider_to_image(images) is None
