"""Common ancestors of views, over all that can be made of one another."""

import numpy

import zarnik

ask = zarnik.DependencyGraph.has_common_ancestor
SHARED, NOT_SHARED = zarnik.CommonAncestorStatus.SHARE_ANCESTOR, zarnik.CommonAncestorStatus.SHARE_NO_ANCESTOR


def test_views_of_one_image_depend_on_it():
    image, other = (zarnik.ImageViewFactory.allocate([5, 4], numpy.uint8) for _ in range(2))
    frame = zarnik.DataFrameView.from_dict({"a": [1]})
    views = [image, zarnik.ImageViewProvider.to_read_only(image)]
    for view in views:
        assert all(ask(view, of_same) is SHARED for of_same in views)
        assert ask(view, other) is ask(other, view) is ask(view, frame) is NOT_SHARED


def test_views_that_do_not_tell():
    image = zarnik.from_numpy(numpy.zeros((4, 5), "u1"))
    assert ask(image, image) is SHARED
    assert ask(image, zarnik.DataFrameView.from_dict({})) is zarnik.CommonAncestorStatus.UNDETERMINED
