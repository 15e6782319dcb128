"""Common ancestors of views, over all that can be made of one another."""

import numpy

import zarnik
from support.shared_types import OddFrame

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
    odd = OddFrame(zarnik.DataTypeId.DOUBLE, 1)
    assert ask(odd, odd) is SHARED
    assert ask(odd, zarnik.DataFrameView.from_dict({})) is zarnik.CommonAncestorStatus.UNDETERMINED
