"""Extensions of views: found by identifier, usable after their view is gone."""

import pytest

import _zarnik
from support.expect import bad_argument, null_reference, refused
from zarnik import _classes

KINDS = {"TilingInfo": 1, "ParallelAccess": 2, "ViewOrigin": 3, "ColumnUnit": 4}
PROVIDERS = {
    "TilingInfo": _zarnik.ExtensionProvider_to_tiling_info,
    "ParallelAccess": _zarnik.ExtensionProvider_to_parallel_access,
    "ViewOrigin": _zarnik.ExtensionProvider_to_view_origin,
}


def image():
    return _zarnik.ImageViewFactory_allocate([2, 2], _zarnik.DataTypeId_UINT8)


@pytest.mark.parametrize("kind", KINDS)
def test_cast_gives_the_same_object_or_none(kind):
    cast = getattr(_zarnik, f"{kind}Extension_cast")
    assert all(_zarnik.View__extension(image(), other) is None for other in (0, 1, 4, 2**64 - 1))
    for identifier in (2, 3):
        result = cast(_zarnik.View__extension(image(), identifier))
        if KINDS[kind] == identifier:
            assert type(result) is getattr(_classes, f"{kind}Extension")
            assert type(cast(result)) is type(result)
        else:
            assert result is None
    assert cast(None) is None
    bad_argument(TypeError, cast, 1, "std::shared_ptr< zarnik::Extension >", image())
    if kind in PROVIDERS:
        extension = _zarnik.View__extension(image(), KINDS[kind])
        assert type(PROVIDERS[kind](extension)) is type(cast(extension))


def test_origin_tells_how_a_view_was_made():
    source = image()
    shown = _zarnik.ImageViewProvider_to_read_only(source)
    source_uid = _zarnik.View_view_origin(source).uid()
    origin = _zarnik.View_view_origin(shown)
    uid = _zarnik.View_view_origin(shown).uid()
    del source, shown
    assert _zarnik.ViewOriginExtension_uid(origin) == uid != source_uid
    assert _zarnik.ViewOriginExtension_parent_count(origin) == 1
    parent = _zarnik.ViewOriginExtension_parent(origin, 0)
    assert type(parent) is _classes.ViewOriginExtension
    assert (parent.uid(), parent.parent_count()) == (source_uid, 0)
    assert _zarnik.ViewOriginExtension_data_origin(origin) == _zarnik.ViewDataOrigin_CPU_MEMORY
    assert _zarnik.ViewOriginExtension_display_name(origin) == "read-only view of image in memory"
    assert "read-only view of image in memory" in _zarnik.ViewOriginExtension_to_string(origin)
    refused("parent index 1 is not below the parent count 1", _zarnik.ViewOriginExtension_parent, origin, 1)


def test_parallel_access():
    view = image()
    parallel = _zarnik.ImageView_parallel_access(view)
    expected = _zarnik.ParallelAccessCapability_PARALLEL_READ | _zarnik.ParallelAccessCapability_PARALLEL_WRITE
    assert _zarnik.ParallelAccessExtension_get_capabilities(parallel).value() == expected
    assert _zarnik.ParallelAccessExtension_support(parallel, expected) is True
    assert _zarnik.ParallelAccessExtension_support(parallel, _zarnik.ParallelAccessCapability_THREAD_SAFE) is False
    text = "ParallelAccessExtension(PARALLEL_READ | PARALLEL_WRITE)"
    assert _zarnik.ParallelAccessExtension_to_string(parallel) == text
    shown = _zarnik.ImageViewProvider_to_read_only(view)
    assert _zarnik.ImageView_parallel_access(shown).get_capabilities().value() == 8
    assert _zarnik.ImageView_tiling_info(view) is None


def test_self_of_another_kind():
    origin = _zarnik.View_view_origin(image())
    for name, cls in (("TilingInfoExtension_tile_count", "TilingInfo"), ("ColumnUnitExtension_unit", "ColumnUnit")):
        arguments = (0,) if name.endswith("unit") else ()
        bad_argument(TypeError, getattr(_zarnik, name), 1, f"zarnik::{cls}Extension const *", origin, *arguments)
        null_reference(getattr(_zarnik, name), 1, f"zarnik::{cls}Extension const *", None, *arguments)
    for name in ("read_tile", "write_tile"):
        method = getattr(_zarnik, f"TilingInfoExtension_{name}")
        bad_argument(TypeError, method, 1, "zarnik::TilingInfoExtension *", origin, 0, bytearray(1))
    bad_argument(TypeError, _zarnik.ViewOriginExtension_parent, 2, "size_t", origin, "x")
    bad_argument(OverflowError, _zarnik.ViewOriginExtension_parent, 2, "size_t", origin, -1)
