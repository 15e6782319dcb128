"""Images in other libraries and back: elements, place in space, laziness, and whose memory it is."""

import pickle
import re
from pathlib import Path

import numpy
import pytest

import zarnik
from support.expect import raises, run_python
from support.images import Traced, oblique_affine

nibabel = pytest.importorskip("nibabel")
sitk = pytest.importorskip("SimpleITK")
xarray = pytest.importorskip("xarray")

GUIDE = Path(__file__).parents[2] / "docs/guide/bridges.md"


DIRECTIONS = {
    "straight": numpy.eye(3),
    "las": numpy.diag([-1.0, 1, 1]),
    "lps": numpy.diag([-1.0, -1, 1]),
    "sagittal": numpy.array([[0.0, 0, 1], [1, 0, 0], [0, 1, 0]]),
    "oblique": oblique_affine()[:3, :3] / [0.5, 0.75, 1.25],
    "oblique left-handed": oblique_affine(left_handed=True)[:3, :3] / [0.5, 0.75, 1.25],
}
of_directions = pytest.mark.parametrize("directions", DIRECTIONS.values(), ids=DIRECTIONS)


def matrix_of(directions):
    matrix = numpy.eye(4)
    matrix[:3, :3] = directions * [0.5, 0.75, 2.5]
    matrix[:3, 3] = -31.4, 15.9, 26.5
    return matrix


def scan(directions=DIRECTIONS["oblique"], shape=(3, 4, 5), dtype="uint16", axes=None, **description):
    array = numpy.arange(numpy.prod(shape)).reshape(shape).astype(dtype)
    image = zarnik.from_numpy(array, axes, **{"unit": "mm", **description})
    image.set_affine(matrix_of(directions))
    return image, array


def same(left, right):
    assert left.axes == right.axes
    numpy.testing.assert_array_equal(left.to_numpy(), right.to_numpy())
    told = ["XYZ".index(letter) for letter in left.axes if letter in "XYZ"] + [3]
    numpy.testing.assert_allclose(left.affine[:, told], right.affine[:, told], rtol=0, atol=1e-6)
    assert left.unit == right.unit
    assert left.dtype == right.dtype


# ---- xarray ----------------------------------------------------------------------------------------------------------


@of_directions
@pytest.mark.parametrize("where", ["memory", "disk"])
def test_xarray_keeps_the_place_of_what_is_sliced(directions, where):
    image, array = scan(directions)
    given = (image if where == "memory" else image.to_disk()).to_xarray("scan")
    assert (given.dims, given.name, given.X.attrs["units"]) == (("Z", "Y", "X"), "scan", "mm")
    same(zarnik.from_xarray(given), image)
    part = given[1:, ::2, ::-1]
    assert part.variable._in_memory == (where == "memory")
    numpy.testing.assert_array_equal(part.values, array[1:, ::2, ::-1])
    same(zarnik.from_xarray(part), image.crop(slice(1, None), slice(None, None, 2), slice(None, None, -1)))
    same(zarnik.from_xarray(given.isel(Z=2)), image.crop(z=2))
    same(zarnik.from_xarray(given.transpose("X", "Z", "Y")), image)
    assert pickle.loads(pickle.dumps(given)).identical(given)


def test_xarray_coordinates_are_positions():
    image, _ = scan(numpy.diag([-1.0, 1, 1]))
    given = image.to_xarray()
    for index in ((0, 0, 0), (4, 3, 2), (1, 2, 0)):
        place = [float(given[letter][at]) for letter, at in zip("XYZ", index)]
        numpy.testing.assert_allclose(place, image.index_to_world(index))
    oblique = scan()[0].to_xarray()
    place = numpy.reshape(oblique.attrs["directions"], (3, 3)) @ [float(oblique[letter][1]) for letter in "XYZ"]
    numpy.testing.assert_allclose(place, scan()[0].index_to_world((1, 1, 1)))


def test_xarray_reads_what_is_asked_for():
    traced = Traced(numpy.zeros((30, 40, 50), "u1"))
    image = zarnik.from_array(traced, "ZYX")
    given = image.to_xarray()
    part = given.sel(Z=slice(3, 5)).isel(Y=7, X=slice(None, None, 2))
    volume = image.to_nibabel()
    (layer, _, _) = image.to_napari()
    again = zarnik.from_xarray(given[4:6])
    assert traced.keys == []
    assert part.values.shape == (3, 25)
    assert layer[1, 5:7].shape == (2, 50)
    assert again[1, 2].shape == (50,)
    assert volume.slicer[10:20, :, 3:4].shape == (10, 40, 1)
    assert [key[0] for key in traced.keys] == [(3, 6), (1, 2), (5, 6), (3, 4)]
    assert traced.keys[0][1] == (7, 8)


def test_xarray_units_are_those_of_pint():
    mm = pytest.importorskip("pint_xarray").unit_registry.Unit("mm")
    image, _ = scan(numpy.eye(3), unit="\N{MICRO SIGN}m")
    given = image.to_xarray().pint.quantify().pint.to({"X": mm, "Y": mm, "Z": mm})
    back = zarnik.from_xarray(given.pint.dequantify())
    assert back.unit in ("mm", "millimeter")
    numpy.testing.assert_allclose(back.affine[:3], image.affine[:3] / 1000)


def test_xarray_attributes(tmp_path):
    pytest.importorskip("zarr")
    tree = {"exposure": 0.5, "site": "{3", "n": [1, 2], "device": {"name": "Z1", "on": True, "gains": [1.5]}, "q": '"'}
    tree |= {"open": True, "shutters": [True, False], "phase": numpy.array([1 + 2j])}
    image, _ = scan(shape=(2, 3, 4, 5, 6), axes="TZYXC", metadata={**tree, "channel_names": list("abcdef")})
    image.interpretation, image.value_range, image.bit_depth = "MULTISPECTRAL", (0, 4095), 12
    given = image.to_xarray("cells").assign_coords(T=("T", [0.0, 1.5], {"units": "s"}))
    assert (list(given.C.values), given.exposure) == (list("abcdef"), 0.5)
    assert type(given.open) is int
    given.to_zarr(tmp_path / "cells.zarr", zarr_format=2)
    for source in (given, xarray.open_zarr(tmp_path / "cells.zarr", chunks=None).cells):
        back = zarnik.from_xarray(source)
        same(back, image)
        told = back.metadata.to_dict()
        assert told.pop("coordinates") == {"T": {"values": [0.0, 1.5], "dtype": "<f8", "units": "s"}}
        assert told == image.metadata.to_dict()
        assert back.channel_names == list("abcdef")
        for name in ("interpretation", "value_range", "bit_depth"):
            assert getattr(back, name) == getattr(image, name)
        xarray.testing.assert_identical(back.to_xarray()["T"], given["T"])


def test_xarray_of_others():
    coords = {"time": [1, 2], "lat": [50.5, 50.0, 49.5], "lon": ("lon", [8, 9.0], {"units": "degrees"})}
    given = xarray.DataArray(numpy.ones((2, 3, 2), bool), coords, ("time", "lat", "lon"))
    given.lat.attrs["units"] = "rad"
    raises(ValueError, "an image has one unit, got 'rad' along Y, 'degrees' along X", zarnik.from_xarray, given)
    given.lat.attrs["units"] = "degrees"
    image = zarnik.from_xarray(given)
    assert (image.axes, image.unit, str(image.dtype)) == ("TYX", "degrees", "uint8")
    numpy.testing.assert_allclose(image.index_to_world((1, 2)), (9, 49.5, 0))
    assert zarnik.from_xarray(given.drop_vars("time"), "ZYX").axes == "ZYX"
    coords = {"y": ("y", [0, 1], {"units": "mm"}), "x": ("x", [0, 500.0], {"units": "um"})}
    assert zarnik.from_xarray(xarray.DataArray(numpy.zeros((2, 2)), coords, ("y", "x"))).spacing[:2] == (0.5, 1)
    for wrong, match in (
        (given.rename(time="when"), "dim 'when' is no axis that is known"),
        (given.assign_coords(lat=[0, 1, 5]), "'lat' are not evenly spaced"),
        (given.assign_coords(lat=list("abc")), "are no positions"),
    ):
        raises(ValueError, match, zarnik.from_xarray, wrong)
    raises(TypeError, "takes a DataArray of xarray, got ndarray", zarnik.from_xarray, numpy.zeros(3))
    with pytest.warns(UserWarning, match="no place for the coordinates area"):
        zarnik.from_xarray(given.assign_coords(area=("lat", [1, 2, 3])))


# ---- SimpleITK and nibabel -------------------------------------------------------------------------------------------


@of_directions
@pytest.mark.parametrize(
    ("axes", "shape"), [("ZYX", (3, 4, 5)), ("TZYX", (2, 3, 4, 5)), ("ZYXC", (3, 4, 5, 2)), ("TZYXC", (2, 3, 4, 5, 3))]
)
def test_place_in_space_is_that_of_others(directions, axes, shape):
    image, array = scan(directions, shape, "float32", axes)
    by_sitk, by_nibabel = image.to_simpleitk(), image.to_nibabel()
    indices = [(0, 0, 0), (4, 3, 2), (1, 2, 0)]
    for index in indices:
        expected, more = image.index_to_world(index), [0] * ("T" in axes)
        position = by_sitk.TransformIndexToPhysicalPoint([*index, *more])
        numpy.testing.assert_allclose(position[:3] * numpy.array([-1, -1, 1]), expected, atol=1e-6)
        numpy.testing.assert_allclose(nibabel.affines.apply_affine(by_nibabel.affine, index), expected, atol=1e-6)
        element = array[(*more, *index[::-1])]
        numpy.testing.assert_array_equal(by_sitk[(*index, *more)], element)
        numpy.testing.assert_array_equal(by_nibabel.get_fdata()[index].reshape(-1)[: element.size], element.ravel())
    same(zarnik.from_simpleitk(by_sitk), image)
    same(zarnik.from_nibabel(by_nibabel), image)


def test_pictures_and_units_of_simpleitk():
    picture, _ = scan(numpy.eye(3), (4, 5), unit="\N{MICRO SIGN}m", metadata={"a": {"b": 1}, "c": "d"})
    picture.origin = 1, 2, 0
    given = picture.to_simpleitk()
    assert (given.GetSpacing(), given.GetSize()) == (pytest.approx((0.0005, 0.00075)), (5, 4))
    assert {name: given.GetMetaData(name) for name in given.GetMetaDataKeys()} == {"a/b": "1", "c": "d"}
    back = zarnik.from_simpleitk(given)
    numpy.testing.assert_allclose(back.affine[:2], picture.affine[:2] / 1000)
    assert (back.unit, back.metadata.to_dict()) == ("mm", {"a/b": "1", "c": "d"})
    tilted, _ = scan(shape=(4, 5))
    numpy.testing.assert_allclose(zarnik.from_simpleitk(tilted.to_simpleitk()).affine, tilted.affine, atol=1e-6)
    assert tilted.to_simpleitk().GetSize() == (5, 4, 1)
    sequence, array = scan(shape=(2, 4, 5), axes="TYX", dtype="complex64")
    assert sequence.to_simpleitk().GetSize() == (5, 4, 1, 2)
    numpy.testing.assert_array_equal(zarnik.from_simpleitk(sequence.to_simpleitk()).to_numpy()[:, 0], array)
    raises(TypeError, "takes an Image of SimpleITK, got ndarray", zarnik.from_simpleitk, array)


def test_simpleitk_and_its_image_change_apart():
    given = sitk.Image(5, 4, 3, sitk.sitkUInt8)
    image = zarnik.from_simpleitk(given)
    given[0, 0, 0] = 7
    given += 1
    assert image.to_numpy().max() == 0
    del given
    assert image.to_numpy().max() == 0
    raises(zarnik.Error, "", image.__setitem__, (0, 0, 0), 1)


def test_nibabel_kinds(tmp_path):
    picture, _ = scan(shape=(4, 5, 3), dtype="uint8", axes="YXC", interpretation="RGB")
    given = picture.to_nibabel()
    assert given.get_data_dtype() == numpy.dtype([("R", "u1"), ("G", "u1"), ("B", "u1")])
    back = zarnik.from_nibabel(given)
    same(back, picture)
    assert back.interpretation == picture.interpretation
    labels, _ = scan(interpretation="LABEL", unit="cm")
    given = labels.to_nibabel()
    assert (given.header.get_intent()[0], given.header.get_xyzt_units()[0]) == ("label", "mm")
    assert zarnik.from_nibabel(given).interpretation == zarnik.ImageInterpretation.LABEL
    numpy.testing.assert_allclose(given.affine[:3], labels.affine[:3] * 10)
    scaled = nibabel.Nifti1Image(numpy.arange(24, dtype="f8").reshape(2, 3, 4) / 3, matrix_of(numpy.eye(3)))
    scaled.set_data_dtype("int16")
    other = nibabel.MGHImage(scaled.get_fdata().astype("f4"), scaled.affine)
    plain = nibabel.Nifti1Image(numpy.arange(24, dtype="i2").reshape(2, 3, 4), scaled.affine)
    for name, written in (("a.nii", scaled), ("a.nii.gz", scaled), ("plain.nii", plain), ("a.mgz", other)):
        nibabel.save(written, tmp_path / name)
        read = zarnik.from_nibabel(nibabel.load(tmp_path / name))
        numpy.testing.assert_array_equal(read.to_numpy("XYZ"), nibabel.load(tmp_path / name).get_fdata())
        numpy.testing.assert_allclose(read.affine, scaled.affine, atol=1e-5)
    big = nibabel.Nifti1Image(numpy.arange(24, dtype=">i2").reshape(2, 3, 4), None)
    numpy.testing.assert_array_equal(zarnik.from_nibabel(big).to_numpy("XYZ"), big.get_fdata())
    sheared = matrix_of(numpy.array([[1, 0.2, 0], [0, 1, 0], [0, 0, 1]]))
    raises(ValueError, "shears", zarnik.from_nibabel, nibabel.Nifti1Image(numpy.zeros((2, 2, 2), "u1"), sheared))
    lazy = scan(shape=(2, 3, 4, 5), axes="TZYX")[0].to_disk()
    assert nibabel.is_proxy(lazy.to_nibabel().dataobj)
    part = lazy.to_nibabel().slicer[1:3, ..., 1]
    numpy.testing.assert_array_equal(part.get_fdata(), lazy.to_numpy("XYZT")[1:3, ..., 1])


# ---- whose memory ----------------------------------------------------------------------------------------------------


def given_by(function):
    """Whether what a function makes of an image has its memory."""
    image, array = scan()
    return numpy.shares_memory(numpy.asarray(function(image)), array)


def taken_by(function, wrap):
    """Whether the image that a function makes of a wrapped array has its memory."""
    array = scan()[1]
    wrapped = wrap(array)
    shown = sitk.GetArrayViewFromImage(wrapped) if isinstance(wrapped, sitk.Image) else array
    return numpy.shares_memory(function(wrapped).to_numpy(), shown)


def of_frame(module, method, column):
    pytest.importorskip(module)
    table = zarnik.DataFrameView.from_dict({"a": numpy.arange(1000.0), "b": numpy.arange(1000, dtype="u2")})
    return numpy.shares_memory(numpy.asarray(column(getattr(table, method)())), table["a"])


def of_arrow():
    pyarrow = pytest.importorskip("pyarrow")
    column = pyarrow.array(numpy.arange(1000.0))
    return numpy.shares_memory(zarnik.DataFrameView.from_arrow(pyarrow.table({"a": column}))["a"], column.to_numpy())


def of_chunks():
    pytest.importorskip("dask.array")
    image, array = scan()
    is_shared = lambda block: numpy.full(block.shape, numpy.shares_memory(block, array))  # noqa: E731
    both = (image.to_dask({"Z": 1}), image.to_xarray(chunks={"Z": 1}).data)
    return all(given.map_blocks(is_shared, dtype=bool).all().compute(scheduler="threads") for given in both)


def as_other_array(array):
    return pytest.importorskip("array_api_strict").asarray(array, copy=False)


SHARED = {
    "image.to_numpy()": lambda: given_by(lambda image: image.to_numpy()),
    "zarnik.from_numpy(array)": lambda: taken_by(zarnik.from_numpy, lambda array: array),
    "image.to_xarray()": lambda: given_by(lambda image: image.to_xarray().data),
    "zarnik.from_xarray(array)": lambda: taken_by(zarnik.from_xarray, lambda a: xarray.DataArray(a, dims=list("zyx"))),
    "image.to_dask()`, `image.to_xarray(chunks=...)": of_chunks,
    "image.to_napari()": lambda: given_by(lambda image: image.to_napari()[0]),
    "image.to_nibabel()": lambda: given_by(lambda image: image.to_nibabel().dataobj),
    "zarnik.from_nibabel(scan)": lambda: taken_by(zarnik.from_nibabel, lambda a: nibabel.Nifti1Image(a, numpy.eye(4))),
    "image.to_simpleitk()": lambda: given_by(lambda image: sitk.GetArrayViewFromImage(image.to_simpleitk())),
    "zarnik.from_simpleitk(scan)": lambda: taken_by(zarnik.from_simpleitk, sitk.GetImageFromArray),
    "numpy.from_dlpack(image)": lambda: given_by(numpy.from_dlpack),
    "zarnik.from_dlpack(tensor)": lambda: taken_by(zarnik.from_dlpack, as_other_array),
    "frame.to_pandas()": lambda: of_frame("pandas", "to_pandas", lambda table: table["a"].to_numpy()),
    "frame.to_polars()": lambda: of_frame("polars", "to_polars", lambda table: table["a"].to_numpy()),
    "frame.to_arrow()": lambda: of_frame("pyarrow", "to_arrow", lambda table: table["a"].chunk(0).to_numpy()),
    "DataFrameView.from_arrow(table)": of_arrow,
}
TABLE = dict(re.findall(r"^\| `(.+?)` \| (shared|copied) \|", GUIDE.read_text(encoding="utf-8"), re.MULTILINE))


@pytest.mark.parametrize("call", SHARED)
def test_memory_is_shared_as_the_guide_says(call):
    assert set(TABLE) == set(SHARED)
    assert SHARED[call]() == (TABLE[call] == "shared")


def test_units_of_frames():
    pytest.importorskip("pandas")
    table = zarnik.DataFrameView.from_dict({"area": numpy.arange(3.0), "label": list("abc")}, units={"area": "mm²"})
    given = table.to_pandas()
    assert given.to_dict("list") == {"area": [0, 1, 2], "label": list("abc")}
    assert given.attrs == {"units": {"area": "mm²"}}
    assert zarnik.DataFrameView.from_dict({}).to_pandas().shape == (0, 0)


def test_what_is_not_installed_is_named():
    run = run_python("import sys; sys.modules['SimpleITK'] = None\nimport zarnik\nzarnik.zeros((2, 2)).to_simpleitk()")
    assert 'ImportError: this needs SimpleITK: pip install "zarnik[simpleitk]"' in run.stderr
