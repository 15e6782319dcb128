"""What is saved in each format: read by the format's own library, and the same image again when it is opened."""

import os
import subprocess
import sys
import time
import warnings

import numpy
import pytest
from numpy.testing import assert_allclose, assert_array_equal

import zarnik
from support.expect import raises
from support.images import (
    affine_of_itk,
    is_mapped,
    oblique_affine,
    same_as_saved,
    same_as_tifffile,
    same_levels,
    values,
)
from zarnik.plugins import LossWarning

h5py = pytest.importorskip("h5py")
mrcfile = pytest.importorskip("mrcfile")
nibabel = pytest.importorskip("nibabel")
nrrd = pytest.importorskip("nrrd")
pytest.importorskip("tifffile")
sitk = pytest.importorskip("SimpleITK")

KINDS = {
    "line": ((9,), "X", "complex64", "UNKNOWN"),
    "plane": ((70, 91), "YX", "float64", "UNKNOWN"),
    "complex plane": ((5, 6), "YX", "complex64", "UNKNOWN"),
    "volume": ((5, 33, 70), "ZYX", "int16", "UNKNOWN"),
    "labels": ((21, 33, 70), "ZYX", "uint32", "LABEL"),
    "vectors": ((3, 5, 6, 2), "ZYXC", "float32", "UNKNOWN"),
    "series": ((2, 3, 21, 40), "TZYX", "uint16", "UNKNOWN"),
    "channels": ((2, 3, 21, 40, 2), "TZYXC", "int16", "UNKNOWN"),
    "colours": ((70, 90, 3), "YXC", "uint8", "RGB"),
    "alpha": ((40, 50, 4), "YXC", "uint8", "RGB"),
}
KINDS_OF = {
    "a.ome.tif": ("plane", "volume", "channels", "colours", "alpha"),
    "a.ome.zarr": ("plane", "volume", "labels", "channels", "colours"),
    "others": ("line", "plane", "complex plane", "volume", "labels", "vectors", "series"),
}
OPTIONS = {
    "a.nii": [{}],
    "a.nii.gz": [{}],
    "a.nrrd": [{}, {"encoding": "gzip"}],
    "a.h5": [{}, {"chunks": None}, {"compression": "gzip"}, {"dataset": "a/b"}],
    "a.npz": [{"compressed": False}, {"compressed": True}],
    "a.ome.tif": [
        {}, {"compression": "zlib"}, {"tile": (32, 16)}, {"bigtiff": True},
        {"compression": "zstd", "levels": 3, "tile": 16}, {"levels": 2, "tile": 32, "method": "nearest"},
    ],
    "a.ome.zarr": [
        {"version": "0.4", "levels": 2},
        {"version": "0.4", "compression": "blosc", "chunks": {"y": 16}},
        {"levels": 3, "chunks": {"y": 16, "x": 32}, "shards": {"y": 64, "x": 64}},
        {"compression": {"name": "blosc", "cname": "lz4"}, "levels": 2, "method": "nearest"},
    ],
}  # fmt: skip
OPTIONS["a.ozx"], KINDS_OF["a.ozx"] = OPTIONS["a.ome.zarr"], KINDS_OF["a.ome.zarr"]
CASES = [
    (name, options, kind)
    for name, choices in OPTIONS.items()
    for options in choices
    for kind in KINDS_OF.get(name, KINDS_OF["others"])
]


def same_for_others(name, image, options):
    """The elements, and the place in space where it is told, are those that the format's own library reads."""
    array, axes, shape = image.to_numpy(), image.axes, dict(zip(image.axes, image.shape))
    if name.endswith("tif"):
        same_as_tifffile(name)
    elif name == "a.ome.zarr":
        zarr = pytest.importorskip("zarr", minversion="3")
        group = zarr.open_group(name, mode="r")
        assert_array_equal(group["0"][:], image.to_numpy("".join(letter for letter in "TCZYX" if letter in axes)))
        assert group.metadata.zarr_format == (2 if options.get("version") == "0.4" else 3)
        if "shards" in options:  # as many chunks as the image has, at the most as many as a shard
            sizes = [min(64, -(-shape[letter] // chunk) * chunk) for letter, chunk in (("Y", 16), ("X", 32))]
            assert [*group["0"].shards[-2:]] == sizes
        pytest.importorskip("ome_zarr_models").open_ome_zarr(group)
    elif name.startswith("a.nii"):
        loaded, order = nibabel.load(name), "".join(letter for letter in "XYZTC" if letter in axes)
        elements = numpy.asarray(loaded.dataobj).reshape([shape[letter] for letter in order])
        assert_array_equal(elements, image.to_numpy(order))
        assert_allclose(loaded.affine, image.affine, atol=1e-5)
        assert loaded.header.get_xyzt_units()[0] == "micron"
        assert loaded.header.get_intent()[0] == ("label" if image.interpretation.name == "LABEL" else "none")
    elif name == "a.nrrd" and array.dtype.kind != "c":
        elements, header = nrrd.read(name, index_order="C")
        assert_array_equal(elements, image.to_numpy("C" * ("C" in axes) + axes.rstrip("C")))
        assert set(header["space units"]) == {"um"}
    elif name == "a.h5":
        with h5py.File(name) as file:
            dataset = file[options.get("dataset", "image")]
            assert_array_equal(dataset[()], array)
            assert [dimension.label for dimension in dataset.dims] == [*axes.lower()]
    elif name == "a.npz":
        with numpy.load(name) as archive:
            assert_array_equal(archive["image"], array)
            assert_array_equal(archive["affine"], image.affine)
    if axes == "ZYX" and name.endswith(("nii", "gz", "nrrd")):
        itk = sitk.ReadImage(name)
        assert_array_equal(sitk.GetArrayFromImage(itk), array)
        in_its_units = affine_of_itk(itk)[:3] * (1 if name == "a.nrrd" else 1000)  # of NIfTI it makes millimetres
        assert_allclose(in_its_units, image.get_affine("LPS")[:3], atol=1e-4)


@pytest.mark.parametrize("name, options, kind", CASES, ids=str)
def test_others_read_it_and_it_comes_back(name, options, kind, tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    shape, axes, dtype, interpretation = KINDS[kind]
    is_tiff, names = "tif" in name, "axes dtype unit channel_names"
    image = zarnik.from_numpy(values(shape, dtype), axes, spacing=(0.5, 0.25, 2), origin=(1, 2, 3), unit="µm")
    image.interpretation = interpretation
    image.set_alpha(kind == "alpha")
    metadata = {} if is_tiff else {"name": "Å", "scanner": {"echoes": [4.5, 8]}}
    has_names = "C" in axes and not (is_tiff and interpretation == "RGB")
    image.metadata = {**metadata, **({"channel_names": [*"abcd"][: shape[-1]]} if has_names else {})}
    if is_tiff:
        image.bit_depth = 7 if dtype == "uint8" else image.bit_depth
        names += " bit_depth" + " interpretation" * (dtype == "uint8")
    else:
        image.value_range = 1, 99
        names += " value_range" + " interpretation" * (kind == "labels" or name in ("a.ome.zarr", "a.ozx"))
    if "Z" in axes and not is_tiff:  # the one handedness and the other
        image.set_affine(oblique_affine(left_handed="T" not in axes))
    done = []
    with warnings.catch_warnings():
        warnings.simplefilter("error", LossWarning)
        zarnik.save(name, image, progress=lambda *now: done.append(now), **options)
    assert done[-1][0] == done[-1][1] >= image.nbytes and os.listdir() == [name]
    same_for_others(name, image, options)
    again = zarnik.open(name)
    same_as_saved(again, image, names)
    known = 3 if "Z" in axes or name not in ("a.ome.tif", "a.ome.zarr", "a.ozx") else 2
    for place in ("spacing", "origin") if is_tiff else ("affine",):
        assert_allclose(getattr(again, place)[:known], getattr(image, place)[:known], atol=1e-5)
    assert {key: again.metadata[key].to_python() for key in metadata} == metadata
    if not (is_tiff and "Z" in axes):  # in space, TIFF has coarser planes only
        same_levels(again, image, options.get("levels", 1), options.get("method"))
    assert len(again.levels) == options.get("levels", 1)
    # What came from a file goes into the next one.
    zarnik.save("next" + name, again, **options)
    assert zarnik.open("next" + name).equals(image)


VOLUME = zarnik.from_numpy(values((4, 20, 30)), "ZYX")
PLANE = zarnik.from_numpy(values((40, 50)))


@pytest.mark.parametrize(
    "name, losses",
    (
        ("a.tif", ("directions", "unit 'furlong'", "metadata 'scanner'", "interpretation LABEL")),
        ("a.npy", ("the axes 'YXC'", "the spacing", "the unit 'mm'", "the metadata (a)")),
        ("a.jpg", ("exact values", "the metadata (a)")),
        ("a.mrc", ("directions", "unit 'furlong'", "metadata (scanner)")),
    ),
)
def test_losses_are_told_and_the_rest_is_saved(name, losses, tmp_path):
    if name in ("a.npy", "a.jpg"):
        image = zarnik.from_numpy(values((20, 30, 3), "uint8"), "YXC", interpretation="RGB", spacing=(2, 3), unit="mm")
        image.metadata = {"a": 1}
    else:
        image = VOLUME.with_properties(unit="furlong", metadata={"scanner": "Z1"})
        image.interpretation, image.directions = "LABEL", ((0, 1, 0), (1, 0, 0))
    with pytest.warns(LossWarning) as found:
        zarnik.save(tmp_path / name, image)
    for loss in losses:
        assert loss in str(found[0].message)
    if name == "a.npy":
        assert_array_equal(numpy.load(tmp_path / name), image)
    assert zarnik.open(tmp_path / name).shape == image.shape


WRONG, UNABLE = zarnik.InvalidArgument, zarnik.NotImplemented
REFUSED = [
    ("a.zarr", PLANE, {"version": "0.6"}, WRONG, "'0.6' is none of 0.4, 0.5"),
    ("a.zarr", PLANE, {"chunks": {"z": 3}}, WRONG, r"chunks name axes \['Z'\], the image has 'YX'"),
    ("a.zarr", PLANE, {"chunks": (3,)}, WRONG, "chunks are 2 sizes"),
    ("a.zarr", PLANE, {"chunks": (16, 16), "shards": (20, 32)}, WRONG, "no multiples"),
    ("a.zarr", PLANE, {"version": "0.4", "shards": (20, 32)}, WRONG, "has no shards"),
    ("a.zarr", PLANE, {"compression": "xyz"}, WRONG, "'xyz' is none of zstd, blosc, gzip"),
    ("a.zarr", zarnik.from_numpy(numpy.ones((3, 4), "complex64")), {}, UNABLE, "no elements of complex64"),
    ("a.zarr", PLANE, {"method": "median"}, ValueError, "'median' is neither"),
    ("a.tif", PLANE.astype("int64"), {}, UNABLE, "no elements of int64"),
    ("a.tif", zarnik.zeros(4), {}, UNABLE, "axes Y and X"),
    ("a.tif", PLANE, {"tile": 20}, WRONG, "multiples of 16, got 20 and 20"),
    ("a.tif", PLANE, {"compression": "no such thing"}, zarnik.Error, "TIFF"),
    ("a.mrc", PLANE.astype("float64"), {}, WRONG, "astype"),
    ("a.png", VOLUME.astype("uint8"), {}, WRONG, r"crop\(\) gives a plane"),
    ("a.png", PLANE.astype("float32"), {}, WRONG, "astype"),
    ("a.dcm", PLANE, {}, UNABLE, "read, not written"),
]


@pytest.mark.parametrize(
    "name, image, options, kind, text", REFUSED, ids=lambda value: value if type(value) is str else ""
)
def test_what_cannot_be_saved_leaves_what_was_there(name, image, options, kind, text, tmp_path):
    path = tmp_path / name
    if name != "a.dcm":
        zarnik.save(path, PLANE.astype("uint8"))
    there = os.listdir(tmp_path)
    raises(kind, text, zarnik.save, path, image, **options)
    assert os.listdir(tmp_path) == there
    assert name == "a.dcm" or zarnik.open(path).equals(PLANE.to_numpy().reshape(zarnik.open(path).shape))


@pytest.mark.parametrize(
    "name, options",
    (
        ("a.tif", {"tile": 64, "compression": "zlib"}),
        ("a.h5", {"chunks": (64, 64), "compression": "gzip"}),
        ("a.zarr", {"chunks": (64, 64), "levels": False}),
        ("a.zarr.zip", {"chunks": (64, 64), "levels": False}),
    ),
)
def test_regions_decode_the_tiles_that_they_need_and_once(name, options, tmp_path):
    path, array = tmp_path / name, values((256, 256))
    zarnik.save(path, zarnik.from_numpy(array), **options)
    time.sleep(0.03)  # a file that was changed just now shares no tiles
    before = zarnik.cache_info()
    image = zarnik.open(path)
    assert_array_equal(image[70:130, 10:20], array[70:130, 10:20])
    now = zarnik.cache_info()
    assert (now["misses"] - before["misses"], now["hits"] - before["hits"]) == (2, 0)
    assert list(image.tiling_info().max_tile_size()) == [64, 64] and not is_mapped(image)
    zarnik.open(path).crop(y=slice(64, 128)).to_numpy()
    again = zarnik.cache_info()
    assert (again["misses"] - now["misses"], again["hits"] - now["hits"]) == (3, 1)
    assert again["bytes"] - before["bytes"] == 5 * 64 * 64 * 2


FULL_DISK = """
import resource, signal, sys
import numpy, zarnik

signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
resource.setrlimit(resource.RLIMIT_FSIZE, (1 << 20, 1 << 20))
try:
    zarnik.save(sys.argv[1], zarnik.zeros((16, 256, 256), "uint16"))
except zarnik.Error as error:
    print(error)
"""


@pytest.mark.parametrize("name", ("a.h5", "a.ome.tif", "a.nii", "a.npz"))
def test_a_full_disk_leaves_the_old_file_and_the_process(name, tmp_path):
    (tmp_path / name).write_bytes(b"old")
    done = subprocess.run([sys.executable, "-c", FULL_DISK, name], cwd=tmp_path, capture_output=True, text=True)
    assert (done.returncode, done.stderr) == (0, "") and "File too large" in done.stdout
    assert os.listdir(tmp_path) == [name] and (tmp_path / name).read_bytes() == b"old"
