"""TIFF and OME-TIFF: equal to what tifffile reads, and read by it when we write."""

import contextlib
import os
import subprocess
import sys
import time
import tracemalloc

import numpy
import pytest
import tifffile
from http_nginx import nginx
from numpy.testing import assert_allclose, assert_array_equal

import zarnik
from support.expect import raises
from support.images import same_as_tifffile, values
from zarnik._tiles import CACHE, TiledArray, in_threads

KINDS = {
    "plane": ((70, 90), {"metadata": None}),
    "volume": ((3, 70, 90), {"photometric": "minisblack", "metadata": {"axes": "ZYX"}}),
    "colours": ((70, 90, 3), {"photometric": "rgb"}),
    "planes of colours": ((3, 70, 90), {"photometric": "rgb", "planarconfig": "separate"}),
    "series": ((2, 3, 2, 70, 90), {"photometric": "minisblack", "metadata": {"axes": "TZCYX"}}),
    "volumetric": ((16, 32, 48), {"photometric": "minisblack", "volumetric": True, "tile": (16, 16, 16)}),
}
CODINGS = {
    "plain": {},
    "few rows": {"rowsperstrip": 7},
    "deflate": {"compression": "zlib", "predictor": True, "rowsperstrip": 7},
    "tiles": {"tile": (32, 48)},
    "tiles, lzw": {"tile": (32, 48), "compression": "lzw"},
    "swapped": {"byteorder": ">"},
    "swapped, zstd": {"byteorder": ">", "compression": "zstd", "tile": (16, 16)},
}


@pytest.mark.parametrize("coding", CODINGS)
@pytest.mark.parametrize("kind", KINDS)
def test_what_tifffile_writes(kind, coding, tmp_path):
    path = tmp_path / "image.tif"
    shape, options = KINDS[kind]
    options = {**options, **{name: value for name, value in CODINGS[coding].items() if name not in options}}
    if options.get("volumetric"):
        options.pop("rowsperstrip", None)
    for dtype in ("uint8", "float32"):
        if dtype == "float32":
            options.pop("predictor", None)
        tifffile.imwrite(path, values(shape, dtype), **options)
        (image,) = same_as_tifffile(path)
        part = {"Y": slice(11, 31), "X": slice(5, 40)}
        key = tuple(part.get(letter, slice(None)) for letter in image.axes)
        assert_array_equal(image.crop(*key).to_numpy(), image.to_numpy()[key])


def test_memory_is_shared_where_the_file_allows(tmp_path):
    path = tmp_path / "image.tif"
    tifffile.imwrite(path, values((4, 70, 90)), metadata={"axes": "ZYX"}, photometric="minisblack")
    # Pages with their headers between them are as far from each other as the next.
    with tifffile.TiffWriter(tmp_path / "pages.tif") as file:
        for page in values((4, 70, 90)):
            file.write(page, contiguous=False, metadata=None)
    for name in ("image.tif", "pages.tif"):
        image = zarnik.open(tmp_path / name)
        array = image.to_numpy(copy=False)
        assert array.shape == (4, 70, 90) and not array.flags.writeable
        assert_array_equal(array, values((4, 70, 90)))
        zarnik.open(tmp_path / name, mode="r+")[2, 3, 4] = 999
        assert array[2, 3, 4] == 999 and tifffile.imread(tmp_path / name)[2, 3, 4] == 999
    tifffile.imwrite(path, values((70, 90)), compression="zlib")
    raises(zarnik.NotImplemented, "only uncompressed TIFF", zarnik.open, path, mode="r+")
    assert zarnik.open(path.read_bytes()).equals(zarnik.open(path))


def test_calibration_and_metadata(tmp_path):
    path = tmp_path / "image.ome.tif"
    told = {
        "axes": "TCZYX", "PhysicalSizeX": 200, "PhysicalSizeXUnit": "nm", "PhysicalSizeY": 0.3, "PhysicalSizeZ": 0.001,
        "PhysicalSizeZUnit": "mm", "Channel": {"Name": ["DAPI", "GFP"]}, "SignificantBits": 12,
    }  # fmt: skip
    tifffile.imwrite(path, values((2, 2, 3, 20, 30)), metadata=told, photometric="minisblack")
    (image,) = same_as_tifffile(path)
    assert (image.unit, image.channel_names, image.bit_depth) == ("nm", ["DAPI", "GFP"], 12)
    assert_allclose(image.spacing, (200, 300, 1000))
    ome = image.metadata["OME"].to_python()
    assert ome["XML"].startswith("<?xml") and ome["Image"]["Pixels"]["Channel"][1]["Name"] == "GFP"
    assert image.metadata["TIFF/ImageWidth"].to_python() == 30
    info = zarnik.info(path)["series"][0]
    assert (info["axes"], info["shape"], info["kind"]) == ("TZYXC", (2, 3, 20, 30, 2), "ome")

    told = {"axes": "ZCYX", "spacing": 2.5, "unit": "um", "Labels": ["a", "b"]}
    tifffile.imwrite(path, values((3, 2, 20, 30)), imagej=True, metadata=told, resolution=(4, 2))
    (image,) = same_as_tifffile(path)
    assert (image.unit, image.spacing) == ("µm", (0.25, 0.5, 2.5))
    assert image.metadata["ImageJ/slices"].to_python() == 3
    tifffile.imwrite(path, values((20, 30)), resolution=(100, 50), resolutionunit="CENTIMETER", ome=False)
    assert (zarnik.open(path).spacing, zarnik.open(path).unit) == ((0.1, 0.2, 1), "mm")


def test_axes_that_nobody_named(tmp_path):
    path = tmp_path / "image.tif"
    tifffile.imwrite(path, values((3, 20, 30)), metadata=None, photometric="minisblack")
    assert zarnik.open(path).axes == "ZYX" and zarnik.open(path, axes="TYX").axes == "TYX"
    raises(zarnik.InvalidArgument, "'YX' name 2 axes, the file has 3", zarnik.open, path, axes="YX")
    array = values((2, 3, 2, 2, 2, 2, 20, 30))
    tifffile.imwrite(path, array, metadata={"axes": "ATZCPQYX"}, photometric="minisblack")
    images = zarnik.open(path)
    assert list(images)[1] == "A=0 P=0 Q=1" and len(images) == 8
    assert_array_equal(images["A=1 P=0 Q=1"].to_numpy("TZCYX"), array[1, :, :, :, 0, 1])
    tifffile.imwrite(path, array[0, :, 0, 0, 0], metadata={"axes": "AQYX"}, photometric="minisblack", tile=(16, 16))
    assert_array_equal(zarnik.open(path).to_numpy("ZTYX"), array[0, :, 0, 0, 0])


@pytest.mark.skipif("ZARNIK_SANITIZED" in os.environ, reason="sanitizers need memory of their own")
def test_large_files_in_little_memory(tmp_path):
    program = """
import resource, numpy, tifffile, zarnik
from zarnik._formats import tiff_writer
tiff_writer._CLASSIC_BYTES >>= 4  # as if it were 16 times as much
image = zarnik.uniform((5, 8192, 8192), 7, "uint8", axes="ZYX")
zarnik.save("warm.tif", image.crop(z=0, y=slice(100), x=slice(100)), compression="zstd", levels=2)
used = int(open("/proc/self/statm").read().split()[0]) * resource.getpagesize()
resource.setrlimit(resource.RLIMIT_AS, (used + (200 << 20),) * 2)
zarnik.save("large.tif", image, compression="zstd", tile=512, levels=2)
again = zarnik.open("large.tif")
assert again[4, 8191, 8191] == 7 and (again.levels[1][2, 1000:1010] == 7).all()
with tifffile.TiffFile("large.tif") as file:
    assert file.is_bigtiff and file.series[0].shape == image.shape
"""
    subprocess.run([sys.executable, "-c", program], check=True, cwd=tmp_path)


def test_odd_descriptions_end_in_errors(tmp_path):
    path = tmp_path / "image.tif"
    xml = '<?xml version="1.0"?><!DOCTYPE a [<!ENTITY b "x">]><OME xmlns="{}">&b;<Image/></OME>'
    for text in (xml, "<OME><Image>", '<OME><Image ID="a"><Pixels/></Image></OME>'):
        tifffile.imwrite(path, values((8, 8)), description=text, metadata=None)
        with contextlib.suppress(zarnik.Error):
            assert zarnik.open(path).shape == (8, 8)


def test_files_of_a_set_stay_in_their_folder(tmp_path):
    outside = tmp_path / "outside.tif"
    tifffile.imwrite(outside, values((8, 8)), metadata=None)
    (tmp_path / "set").mkdir()
    xml = (
        '<OME xmlns="http://www.openmicroscopy.org/Schemas/OME/2016-06"><Image ID="Image:0"><Pixels ID="Pixels:0" '
        'DimensionOrder="XYZCT" Type="uint16" SizeX="8" SizeY="8" SizeZ="2" SizeC="1" SizeT="1">'
        '<TiffData IFD="0" FirstZ="0"><UUID FileName="a.ome.tif">urn:uuid:00000000-0000-0000-0000-000000000001</UUID>'
        '</TiffData><TiffData IFD="0" FirstZ="1"><UUID FileName="{}">'
        "urn:uuid:00000000-0000-0000-0000-000000000002</UUID>"
        "</TiffData></Pixels></Image></OME>"
    )
    path, planes = tmp_path / "set" / "a.ome.tif", values((2, 8, 8))
    tifffile.imwrite(tmp_path / "set" / "b.ome.tif", planes[1], metadata=None)
    tifffile.imwrite(path, planes[0], description=xml.format("b.ome.tif"), metadata=None)
    assert_array_equal(zarnik.open(path).to_numpy(), planes)
    tifffile.imwrite(path, planes[0], description=xml.format("../outside.tif"), metadata=None)
    with pytest.raises(zarnik.Error, match="not in its folder"):
        zarnik.open(path).to_numpy()


@pytest.mark.parametrize("options", [{}, {"compression": "zlib"}])
def test_files_that_lost_their_last_pages_are_errors(tmp_path, options):
    path = tmp_path / "cut.tif"
    zarnik.save(path, zarnik.from_numpy(values((5, 40, 50)), "ZYX"), **options)
    os.truncate(path, path.stat().st_size * 3 // 10)
    raises(zarnik.Error, "is cut: its next page is at byte", zarnik.open, path)


def test_many_pages_of_a_server(tmp_path):
    array = values((400, 60, 70))
    tifffile.imwrite(tmp_path / "pages.tif", array, compression="zlib", photometric="minisblack")
    with nginx(tmp_path) as server:
        image = zarnik.open(server.url("pages.tif"))
        # The directory of each page tells where the next one is.
        assert server.requests() < 10
        assert_array_equal(image[7:300:13], array[7:300:13])
        before = zarnik.cache_info()
        assert_array_equal(zarnik.open(server.url("pages.tif"))[20], array[20])
        assert zarnik.cache_info()["misses"] == before["misses"]
        time.sleep(0.03)
        tifffile.imwrite(tmp_path / "pages.tif", array + 1, compression="zlib", photometric="minisblack")
        assert_array_equal(zarnik.open(server.url("pages.tif"))[20], array[20] + 1)


@pytest.fixture
def small_cache():
    limit = CACHE.limit
    yield zarnik.set_cache_size
    zarnik.set_cache_size(limit)


@pytest.mark.parametrize("options", [{}, {"fetch": lambda indices: {index: bytes(index) for index in indices}}])
def test_the_cache_is_bounded_and_shared_by_threads(options, small_cache):
    made = []
    damaged = set()

    def decode(index, fetched):
        assert fetched == (bytes(index) if options else None)
        if index in damaged:
            raise OSError("the disk is gone")
        time.sleep(1e-4)  # so that others come in between
        made.append(index)
        # A part of something large, as what is not compressed comes out of the file.
        tile = numpy.frombuffer(memoryview(bytearray(1 << 20))[:100], "uint8").reshape(10, 10)
        tile[...] = index[0] * 10 + index[1]
        return tile

    image = zarnik.from_array(TiledArray((100, 95), "uint8", (10, 10), decode, is_far=False, **options))
    expected = numpy.repeat(numpy.repeat(numpy.arange(100).reshape(10, 10), 10, 0), 10, 1)[:, :95]

    def read(place):
        # Some begin with tiles that others end with.
        for first in (70, 10 * place):
            assert_array_equal(image[first : first + 30], expected[first : first + 30])

    small_cache(1000)
    in_threads(read, range(8), 8)
    assert zarnik.cache_info()["bytes"] <= 1000
    small_cache(0)
    small_cache(1 << 20)
    made.clear()
    damaged.add((4, 5))
    with pytest.raises(zarnik.Error, match="the disk is gone"):
        image.to_numpy()
    damaged.clear()
    tracemalloc.start()
    in_threads(read, range(8), 8)
    assert tracemalloc.get_traced_memory()[0] < 1 << 20
    tracemalloc.stop()
    assert sorted(made) == sorted(set(made))  # what one thread makes, the others wait for, and what is made is kept
    small_cache(0)
    assert zarnik.cache_info()["tiles"] == 0 and image[5, 5] == 0
    raises(ValueError, "0 or more bytes, got -1", zarnik.set_cache_size, -1)
