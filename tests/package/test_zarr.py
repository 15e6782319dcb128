"""OME-Zarr and plain Zarr: equal to what zarr reads, and read by it when we write."""

import concurrent.futures
import functools
import http.server
import json
import multiprocessing
import os
import shutil
import threading
import time
import warnings
import zipfile

import numpy
import pytest
from http_nginx import nginx
from numpy.testing import assert_allclose, assert_array_equal

import zarnik
from support.expect import raises
from support.images import values

zarr = pytest.importorskip("zarr", minversion="3")
numcodecs = pytest.importorskip("numcodecs")
with warnings.catch_warnings():
    warnings.simplefilter("ignore")  # the data type is not standardized
    LZMA = zarr.codecs.numcodecs.LZMA()
pytestmark = pytest.mark.filterwarnings("ignore:Numcodecs codecs are not")


CODECS = {
    "zstd": {},
    "plain": {"compressors": None},
    "blosc": {"compressors": {3: zarr.codecs.BloscCodec(cname="lz4", shuffle="bitshuffle")}},
    "gzip": {"compressors": {3: zarr.codecs.GzipCodec()}},
    "checked": {"compressors": {3: [zarr.codecs.ZstdCodec(), zarr.codecs.Crc32cCodec()]}},
    "turned": {"filters": {3: [zarr.codecs.TransposeCodec(order=(2, 0, 1))]}},
    "sharded": {"shards": {3: (16, 32, 48)}},
    "sharded, index first": {"shards": {3: {"shape": (16, 32, 48), "index_location": "start"}}},
    "columns first": {"order": {2: "F"}},
    "delta": {"filters": {2: [numcodecs.Delta("<u2")]}},
    "lzma": {"compressors": {2: numcodecs.LZMA(), 3: LZMA}},
    "dots": {"chunk_key_encoding": {2: {"name": "v2", "separator": "."}, 3: {"name": "default", "separator": "."}}},
}


@pytest.mark.parametrize("form", [2, 3])
@pytest.mark.parametrize("coding", CODECS)
def test_what_zarr_writes(coding, form, tmp_path):
    options = {name: value for name, value in CODECS[coding].items() if value is None or form in value}
    options = {name: value[form] if isinstance(value, dict) else value for name, value in options.items()}
    array = values((20, 50, 70))
    for dtype in ("uint16", ">u2") if coding in ("zstd", "plain") else ("uint16",):
        made = zarr.create_array(
            tmp_path / "a.zarr", shape=array.shape, chunks=(8, 16, 24), dtype=dtype, fill_value=7, zarr_format=form,
            overwrite=True, attributes={"_ARRAY_DIMENSIONS": ["time", "y", "x"], "who": "me"}, **options,
        )  # fmt: skip
        made[:13] = array[:13]
        image = zarnik.open(tmp_path / "a.zarr")
        assert (image.axes, image.shape) == ("TYX", array.shape)
        assert_array_equal(image.to_numpy(), made[:])
        assert_array_equal(image.crop(t=slice(6, 18), y=slice(15, 33), x=5).to_numpy(), made[6:18, 15:33, 5])
        assert image[19, 49, 69] == 7 and image.metadata["Zarr/who"].to_python() == "me"


def hierarchy(path, form=3, **told):
    """An image of OME by zarr alone."""
    group = zarr.open_group(path, mode="w", zarr_format=form)
    for level, shape in enumerate(((2, 4, 40, 60), (2, 4, 20, 30))):
        group.create_array(str(level), shape=shape, chunks=(1, 2, 16, 16), dtype="uint16")[:] = values(shape)
    axes = [
        {"name": "c", "type": "channel"}, {"name": "z", "type": "space", "unit": "nanometer"},
        {"name": "y", "type": "space", "unit": "micrometer"}, {"name": "x", "type": "space", "unit": "micrometer"},
    ]  # fmt: skip
    moved = {"type": "translation", "translation": [0, 1000, 3, 4]}
    steps = [{"type": "scale", "scale": scale} for scale in ([1, 500, 0.2, 0.1], [1, 500, 0.4, 0.2], [1, 2, 2, 2])]
    datasets = [{"path": path, "coordinateTransformations": [step, moved]} for path, step in zip("01", steps)]
    scales = {"version": "0.4", "name": "cells", "axes": axes, "datasets": datasets}
    scales["coordinateTransformations"] = steps[2:]
    omero = {"channels": [{"label": name, "window": {"min": 0, "max": 4095, "start": 1, "end": 9}} for name in "ab"]}
    told = {"multiscales": [{**scales, **told}], "omero": omero}
    group.attrs.update(told if form == 2 else {"ome": {"version": "0.5", **told}})
    return group


@pytest.mark.parametrize("form", [2, 3])
def test_images_of_ome(form, tmp_path):
    path = tmp_path / "cells"
    group = hierarchy(path, form)
    image = zarnik.open(path)
    assert (image.axes, image.shape, image.unit) == ("ZYXC", (4, 40, 60, 2), "µm")
    assert_allclose(image.spacing, (0.2, 0.4, 1))
    assert_allclose(image.origin, (8, 6, 2))
    assert (image.channel_names, image.value_range) == (["a", "b"], (0, 4095))
    for level, expected in zip(image.levels, (group["0"], group["1"])):
        assert_array_equal(level.to_numpy("CZYX"), expected[:])
    assert_allclose(image.levels[1].spacing, (0.4, 0.8, 1))
    assert zarnik.open(path, level=-1).shape == (4, 20, 30, 2)
    told = image.metadata["OME-Zarr"].to_python()
    assert (told if form == 2 else told["ome"])["multiscales"][0]["name"] == "cells"

    labels = zarr.create_group(path / "labels", zarr_format=form)
    labels.attrs.update({"labels": ["nuclei"]} if form == 2 else {"ome": {"version": "0.5", "labels": ["nuclei"]}})
    hierarchy(path / "labels" / "nuclei", form)
    assert zarnik.open(path).shape == (4, 40, 60, 2)
    assert zarnik.open(path, series="labels/nuclei").interpretation.name == "LABEL"
    assert [one["name"] for one in zarnik.info(path)["series"]] == ["cells", "labels/nuclei"]

    outer = zarr.open_group(tmp_path / "several", mode="w", zarr_format=form)
    outer.attrs["bioformats2raw.layout"] = 3
    for name in "01":
        hierarchy(tmp_path / "several" / name, form)
    assert list(zarnik.open(tmp_path / "several")) == ["0", "1"]
    plate = zarr.open_group(tmp_path / "plate", mode="w", zarr_format=form)
    plate.attrs["plate"] = {"wells": [{"path": "A/1"}, {"path": "B/2"}]}
    for well in ("A/1", "B/2"):
        plate.create_group(well).attrs["well"] = {"images": [{"path": "0"}]}
        hierarchy(tmp_path / "plate" / well / "0", form)
    assert list(zarnik.open(tmp_path / "plate")) == ["A/1/0", "B/2/0"]
    assert zarnik.open(tmp_path / "plate")["B/2/0"].equals(image)


def test_folders_of_others_are_left_alone(tmp_path):
    (tmp_path / "papers").mkdir()
    (tmp_path / "papers" / "thesis.txt").write_text("years of work")
    raises(zarnik.Error, "nothing of this format", zarnik.save, tmp_path / "papers", zarnik.zeros(4), format="zarr")
    assert (tmp_path / "papers" / "thesis.txt").read_text() == "years of work"


HOSTILE = [
    {"axes": [{"name": "x"}] * 9},
    {"axes": [{"name": "q"}, {"name": "q"}]},
    {"datasets": []},
    {"datasets": [{"path": "../../secret"}]},
    {"datasets": [{"path": "elsewhere"}]},
    {"datasets": [{"path": "0", "coordinateTransformations": [{"type": "scale", "scale": [1, 2]}]}]},
    {"datasets": [{"path": "0", "coordinateTransformations": [{"type": "scale", "scale": [1, 0, 1, 1]}]}]},
    {"datasets": [{"path": "0", "coordinateTransformations": [{"type": "path", "path": "x"}]}]},
    {"datasets": "0"},
]


@pytest.mark.parametrize("told", HOSTILE, ids=str)
def test_descriptions_that_do_not_fit(told, tmp_path):
    hierarchy(tmp_path / "image", 2, **told)
    with pytest.raises(zarnik.Error):
        zarnik.open(tmp_path / "image").to_numpy()


def test_nothing_leads_out_of_a_hierarchy(tmp_path):
    secret = zarr.create_array(tmp_path / "secret", shape=(2, 4, 40, 60), dtype="uint16", zarr_format=2)
    secret[:] = 5
    path = tmp_path / "image"
    hierarchy(path, 2)
    shutil.rmtree(path / "0")
    os.symlink(tmp_path / "secret", path / "0")
    with pytest.raises(zarnik.Error, match="not in the folder"):
        zarnik.open(path).to_numpy()
    os.unlink(path / "0")
    shutil.copytree(path / "1", path / "real")
    os.symlink("real", path / "0")  # within it, a link is as good as what it leads to
    description = json.loads((path / "real" / ".zarray").read_text())
    assert zarnik.open(path).shape == (4, 20, 30, 2)
    for wrong in ({"chunks": [1, 2, 1 << 40, 1 << 40]}, {"dtype": "|O"}, {"shape": [-1, 2, 3, 4]}, {"chunks": [0] * 4}):
        (path / "real" / ".zarray").write_text(json.dumps({**description, **wrong}))
        with pytest.raises(zarnik.Error):
            zarnik.open(path).to_numpy()
    (path / ".zattrs").write_text("[" * 100000)
    raises(zarnik.Error, "no JSON", zarnik.open, path)


def test_archives(tmp_path):
    image = zarnik.from_numpy(values((4, 40, 50)), "ZYX", spacing=(1, 2, 3))
    zarnik.save(tmp_path / "a.zarr", image, chunks={"y": 16, "x": 16}, shards={"y": 48, "x": 64})
    files = [place for place in (tmp_path / "a.zarr").rglob("*") if place.is_file()]
    for method in (zipfile.ZIP_STORED, zipfile.ZIP_DEFLATED):
        with zipfile.ZipFile(tmp_path / "a.zip", "w", method) as archive:
            for place in files:
                archive.write(place, place.relative_to(tmp_path))  # all in one folder
            archive.writestr("../evil", "x")
        again = zarnik.open(tmp_path / "a.zip")
        assert again.equals(image) and again.spacing == image.spacing
        assert zarnik.open((tmp_path / "a.zip").read_bytes()).equals(image)
    with zipfile.ZipFile(tmp_path / "papers.zip", "w") as archive:
        archive.writestr("thesis.txt", "years of work")
    raises(zarnik.Error, "no known format", zarnik.open, tmp_path / "papers.zip")
    with zipfile.ZipFile(tmp_path / "bomb.zip", "w") as archive:
        archive.writestr(".zgroup", "{}" + " " * (1 << 27), zipfile.ZIP_DEFLATED)
        archive.writestr(".zattrs", "{")
    raises(zarnik.Error, "no JSON", zarnik.open, tmp_path / "bomb.zip")


@pytest.mark.parametrize("name, options", [
    ("a.zarr", {"version": "0.4"}),
    ("a.zarr", {"shards": {"z": 10, "y": 40, "x": 50}}),
    ("a.zarr.zip", {}),
], ids=str)  # fmt: skip
def test_tiles_are_shared_until_they_change(name, options, tmp_path):
    path = tmp_path / name
    array = values((20, 40, 50))
    save = functools.partial(zarnik.save, path, levels=False, chunks={"z": 10, "y": 20, "x": 25}, **options)

    def misses():
        before = zarnik.cache_info()["misses"]
        assert_array_equal(zarnik.open(path)[...], array)
        return zarnik.cache_info()["misses"] - before

    save(zarnik.from_numpy(array, "ZYX"))
    time.sleep(0.03)
    opened = zarnik.open(path)
    assert (misses(), misses()) == (8, 0)
    if name == "a.zarr":
        array[10:] += 1
        zarr.open_array(path / "0", mode="r+")[10:] = array[10:]
        assert_array_equal(opened[...], array)
        time.sleep(0.03)
        assert misses() <= 4 and misses() == 0
    array += 3
    save(zarnik.from_numpy(array, "ZYX"))
    assert misses() == 8


def _write_parts(path, numbers):
    target = zarnik.open(path, mode="r+")
    for number in numbers:
        target[number * 10 : number * 10 + 10] = values((10, 40, 50), seed=number)


@pytest.mark.parametrize("options", [{"version": "0.4"}, {"shards": {"z": 10, "y": 40, "x": 50}}], ids=str)
def test_processes_write_regions_of_one_image(options, tmp_path):
    path = tmp_path / "a.zarr"
    like = zarnik.uniform((60, 40, 50), 0, "uint16", axes="ZYX").with_properties(spacing=(1, 2, 3), unit="mm")
    zarnik.save(path, like, empty=True, levels=2, chunks={"z": 10, "y": 20, "x": 25}, **options)
    watching = zarnik.open(path)
    assert not watching[...].any()
    with concurrent.futures.ProcessPoolExecutor(3, multiprocessing.get_context("spawn")) as executor:
        list(executor.map(_write_parts, [path] * 3, ((0, 3, 5), (1, 4), (2,))))
    expected = numpy.concatenate([values((10, 40, 50), seed=number) for number in range(6)])
    image = zarnik.open(path)
    assert_array_equal(image[...], expected)
    assert (image.spacing, image.unit) == ((1, 2, 3), "mm") and not image.levels[1][...].any()
    zarnik.rebuild_levels(path)
    levels = zarnik.coarser_levels(zarnik.from_numpy(expected, "ZYX"), coarsest=30)
    assert_array_equal(zarnik.open(path).levels[1][...], levels[1].to_numpy())

    target = zarnik.open(path, mode="r+")
    for cut in ((slice(5, 10),), (slice(0, 10), slice(0, 33)), (slice(52, 60),)):
        raises(zarnik.Error, "others may write the rest", target.__setitem__, cut, 1)
    alone = zarnik.open(path, mode="r+", whole_chunks=False)
    alone[5:7, 3] = 1234
    expected[5:7, 3] = 1234
    assert_array_equal(alone[...], expected)
    assert_array_equal(zarnik.open(path)[...], expected)
    with pytest.raises(zarnik.Error, match="local folder"):
        zarnik.save(tmp_path / "a.ozx", like)
        zarnik.open(tmp_path / "a.ozx", mode="r+")


def test_servers(tmp_path):
    array = values((40, 100, 120))
    image = zarnik.from_numpy(array, "ZYX", spacing=(1, 2, 3), unit="mm")
    kinds = {
        "a.zarr": {"version": "0.4", "levels": 2, "chunks": {"z": 20, "y": 50, "x": 60}},
        "b.zarr": {"chunks": {"z": 10, "y": 50, "x": 60}, "shards": {"z": 40, "y": 100, "x": 60}},
        "c.ozx": {"chunks": {"z": 10, "y": 50, "x": 60}},
    }
    for name, options in kinds.items():
        zarnik.save(tmp_path / name, image, **options)
    shutil.rmtree(tmp_path / "a.zarr" / "0" / "1" / "1")  # what is not there is zero
    expected = {"a.zarr": array.copy(), "b.zarr": array, "c.ozx": array}
    expected["a.zarr"][20:, 50:] = 0
    with nginx(tmp_path) as server:
        for name, content in expected.items():
            again = zarnik.open(server.url(name))
            assert (again.spacing, again.unit) == ((1, 2, 3), "mm")
            before = server.requests()
            assert_array_equal(again[25:30, 10:20, 30:90], content[25:30, 10:20, 30:90])
            again[28, 12, 31:80]
            assert name != "a.zarr" or server.requests() - before == 2  # one for each chunk
            assert_array_equal(again[...], content)
        raises(zarnik.Error, "404", zarnik.open, server.url("nothing.zarr"))

    class Quiet(http.server.SimpleHTTPRequestHandler):  # which sends no parts
        def log_message(self, *_):
            pass

    with http.server.ThreadingHTTPServer(("127.0.0.1", 0), functools.partial(Quiet, directory=tmp_path)) as simple:
        threading.Thread(target=simple.serve_forever, daemon=True).start()
        for name in ("a.zarr", "b.zarr"):
            assert_array_equal(zarnik.open(f"http://127.0.0.1:{simple.server_port}/{name}")[...], expected[name])
        simple.shutdown()
