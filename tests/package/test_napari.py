"""Layers of napari, and the reader, as napari's own engine of plug-ins finds and calls it."""

from fnmatch import fnmatch

import numpy
import pytest

import zarnik

npe2 = pytest.importorskip("npe2")


@pytest.fixture(scope="module")
def manager():
    manager = npe2.PluginManager.instance()
    manager.discover()
    return manager


def world(meta, index, axes):
    """The position of an index as napari places it, by letters."""
    scaled = numpy.asarray(meta["scale"]) * index
    placed = meta["affine"] @ [*scaled, 1] if "affine" in meta else scaled + meta["translate"]
    return [dict(zip(axes, placed))[letter] for letter in "XYZ"]


@pytest.mark.parametrize("turned", [False, True])
def test_layers_stand_where_the_image_stands(turned):
    image = zarnik.zeros((2, 3, 4, 5), "uint16", axes="TZYX")
    image.spacing, image.origin, image.unit = (0.5, 0.75, 2), (1, 2, 3), "\N{MICRO SIGN}m"
    if turned:
        image.directions = (0, 1, 0), (0.6, 0, 0.8)
    data, meta, kind = image.to_napari("cells")
    assert (kind, meta["name"], meta["axis_labels"]) == ("image", "cells", tuple("TZYX"))
    assert meta["units"] == ("pixel", *["\N{MICRO SIGN}m"] * 3)
    assert ("affine" in meta) == turned
    numpy.testing.assert_allclose(world(meta, (1, 2, 3, 4), "TZYX"), image.index_to_world((4, 3, 2)))
    assert data.shape == image.shape


def test_channels_labels_and_colours():
    array = numpy.arange(2 * 4 * 5 * 3, dtype="uint8").reshape(2, 4, 5, 3)
    image = zarnik.from_numpy(array, "ZYXC", metadata={"channel_names": ["a", "b", "c"], "n": 1}).to_disk()
    data, meta, kind = image.to_napari()
    assert (kind, meta["channel_axis"], meta["name"], len(meta["scale"])) == ("image", 3, ["a", "b", "c"], 3)
    whole = slice(None)
    for channel in (data[whole, whole, whole, 1], numpy.take(data, 1, axis=3)):  # as napari takes them apart
        assert not isinstance(channel, numpy.ndarray)
        numpy.testing.assert_array_equal(channel[1, 2:], array[1, 2:, :, 1])
        numpy.testing.assert_array_equal(channel, array[..., 1])
    numpy.testing.assert_array_equal(data[1, 2:, :, 1], array[1, 2:, :, 1])
    numpy.testing.assert_array_equal(numpy.take(data, [2, 0], axis=0 + 3), array[..., [2, 0]])
    image.interpretation = "RGB"
    assert image.to_napari()[1]["rgb"]
    assert zarnik.zeros((4, 5), "uint8", interpretation="LABEL").to_napari()[2] == "labels"


def test_the_engine_finds_the_reader(manager, tmp_path):
    array = numpy.arange(3 * 4 * 5, dtype="uint16").reshape(3, 4, 5)
    image = zarnik.from_numpy(array, spacing=(0.5, 0.5, 2), unit="mm")
    for name in ("a.zrn", "b.zrn"):
        zarnik.save(tmp_path / name, image)
    layers = npe2.read([str(tmp_path / "a.zrn")], stack=False)
    assert [(meta["name"], meta["scale"], kind) for _, meta, kind in layers] == [("a.zrn", [2, 0.5, 0.5], "image")]
    numpy.testing.assert_array_equal(layers[0][0], array)
    paths = [str(tmp_path / name) for name in ("a.zrn", "b.zrn")]
    (stacked,) = npe2.read(paths, stack=True)
    assert (stacked[0].shape, stacked[1]["axis_labels"]) == ((2, 3, 4, 5), tuple("TZYX"))
    (tmp_path / "text.zrn").write_text("nothing of ours")
    with pytest.raises(ValueError, match="No readers"):
        npe2.read([str(tmp_path / "text.zrn")], stack=False)


def test_the_manifest_names_all_formats(manager):
    (reader,) = manager.get_manifest("zarnik").contributions.readers
    assert reader.accepts_directories
    others = [format for format in zarnik.formats() if format.can_read and format.name not in ("PNG", "JPEG")]
    names = [f"a{suffix}" for format in others for suffix in format.suffixes]
    patterns = reader.filename_patterns
    assert [name for name in names if not any(fnmatch(name, pattern) for pattern in patterns)] == []
