"""Extensions of views, usable after their view is gone; writers."""

import pytest

import _zarnik
from support.expect import refused
from support.shared_types import StringWriter, TiledView
from support.values import components
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
    if kind in PROVIDERS:
        extension = _zarnik.View__extension(image(), KINDS[kind])
        assert type(PROVIDERS[kind](extension)) is type(cast(extension))


def test_origin_tells_how_a_view_was_made():
    source = image()
    origin = _zarnik.View_view_origin(_zarnik.ImageViewProvider_to_read_only(source))
    uid = _zarnik.View_view_origin(source).uid()
    del source
    assert _zarnik.ViewOriginExtension_uid(origin) != uid
    assert _zarnik.ViewOriginExtension_parent_count(origin) == 1
    parent = _zarnik.ViewOriginExtension_parent(origin, 0)
    assert type(parent) is _classes.ViewOriginExtension
    assert (parent.uid(), parent.parent_count()) == (uid, 0)
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
    assert _zarnik.ImageView_tiling_info(view) is None


def test_tiles_are_numbered_along_the_first_dimension_first():
    tiling = TiledView((10, 7), _zarnik.DataTypeId_UINT8, (4, 3)).tiling_info()
    assert (tiling.tile_count(), tiling.tile_region(5)) == (9, _classes.RegionXu64((8, 3), (2, 3)))
    assert (components("VectorXu64", tiling.max_tile_size()), tiling.tiling_grid().at((2, 1))) == ([4, 3], 5)


def test_writing_in_phases():
    writer = StringWriter()
    assert (_zarnik.Writer_name(writer), _zarnik.Writer_version(writer)) == ("string", "2.0")
    set_option, value = _zarnik.Writer_set_option, _zarnik.VariantDataValueFactory_create("!")
    refused("^no such option: colour$", set_option, writer, "colour", value)
    refused('^there is no value for the option "end"$', set_option, writer, "end", None)
    assert set_option(writer, "end", value) is None
    refused("out of order: the writing has not begun$", _zarnik.Writer_write_data, writer)
    assert "not begun" in _zarnik.Writer_to_string(writer)
    refused("has not begun", _zarnik.Writer_write_finish, writer)
    assert _zarnik.Writer_write_init(writer) is None
    for again in (_zarnik.Writer_write_init, _zarnik.Writer_write_all, lambda begun: set_option(begun, "end", value)):
        refused("has begun", again, writer)
    refused("^data is missing, 0 of 2 blocks are written$", _zarnik.Writer_write_finish, writer)
    _zarnik.Writer_write_data(writer)
    _zarnik.Writer_write_finish(writer)
    assert StringWriter.written(writer) == "<01!"
    assert _zarnik.Writer_to_string(writer) == "Writer(string 2.0, finished)"
    for again in (_zarnik.Writer_write_data, _zarnik.Writer_write_finish):
        refused("is finished", again, writer)
    assert StringWriter.written(writer) == "<01!"
    at_once = StringWriter()
    _zarnik.Writer_write_all(at_once)
    assert StringWriter.written(at_once) == "<01>"
