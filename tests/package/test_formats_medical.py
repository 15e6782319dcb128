"""NIfTI, NRRD and DICOM, against nibabel, pynrrd, pydicom and SimpleITK."""

import contextlib
import glob
import io
import os
from pathlib import Path

import numpy
import pytest

import zarnik
from support.expect import raises
from support.images import ROTATION, affine_of_itk, is_mapped, oblique_affine
from zarnik import plugins

nibabel = pytest.importorskip("nibabel")
nrrd = pytest.importorskip("nrrd")
pydicom = pytest.importorskip("pydicom", minversion="3")
sitk = pytest.importorskip("SimpleITK")

NIBABEL = os.path.join(os.path.dirname(nibabel.__file__), "tests", "data")


@pytest.fixture(autouse=True)
def _in_folder(tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)


class CountingFile(io.BytesIO):
    """A file that knows how far it was read."""

    furthest = 0

    def readinto(self, buffer):
        count = super().readinto(buffer)
        self.furthest = max(self.furthest, self.tell())
        return count


# ---- NIfTI -----------------------------------------------------------------------------------------------------------

SAMPLES = "anatomical.nii", "example4d.nii.gz", "example_nifti2.nii.gz", "functional.nii", "resampled_anat_moved.nii"


@pytest.mark.parametrize("name", SAMPLES)
def test_nifti_of_nibabel(name):
    path = os.path.join(NIBABEL, name)
    expected, image = nibabel.load(path), zarnik.open(path)
    elements = numpy.asarray(expected.dataobj)
    numpy.testing.assert_array_equal(image.to_numpy("XYZT"[: elements.ndim]), elements)
    numpy.testing.assert_allclose(image.affine, expected.affine, atol=1e-6)
    assert image.unit == {"mm": "mm", "unknown": ""}[expected.header.get_xyzt_units()[0]]
    header = image.metadata.to_dict()["NIfTI"]
    assert set(header) >= set(expected.header)
    assert header["pixdim"].tolist() == expected.header["pixdim"].tolist()
    stored = zarnik.open(path, scaled=False)
    numpy.testing.assert_array_equal(stored.to_numpy("XYZT"[: elements.ndim]), expected.dataobj.get_unscaled())


def nifti_image(dtype, kind=nibabel.Nifti1Image, order="<", shape=(6, 5, 4, 3)):
    numbers = numpy.arange(numpy.prod(shape)).reshape(shape)
    array = numbers.astype(dtype) if numpy.dtype(dtype).names is None else numpy.zeros(shape, dtype)
    if array.dtype.names:
        for place, name in enumerate(array.dtype.names):
            array[name] = numbers % 200 + place
    header = kind.header_class(endianness=order)
    header.set_data_dtype(array.dtype)
    made = kind(array, oblique_affine(), header)
    made.header.set_xyzt_units("micron", "sec")
    return made


@pytest.mark.parametrize("order", "<>")
@pytest.mark.parametrize("kind", (nibabel.Nifti1Image, nibabel.Nifti2Image, nibabel.Nifti1Pair))
@pytest.mark.parametrize("dtype", ("uint8", "int16", "uint32", "int64", "float32", "float64", "complex64"))
def test_nifti_of_every_type(dtype, kind, order):
    made = nifti_image(dtype, kind, order)
    name = "image.img" if kind is nibabel.Nifti1Pair else "image.nii"
    made.to_filename(name)
    image = zarnik.open(name)
    numpy.testing.assert_array_equal(image.to_numpy("XYZT"), numpy.asarray(nibabel.load(name).dataobj))
    assert image.dtype == numpy.dtype(dtype)
    assert image.unit == "µm"
    assert is_mapped(image) == ((order == "<" or dtype == "uint8") and dtype != "complex64")
    # The same from the bytes of a file, which cannot be mapped.
    assert kind is nibabel.Nifti1Pair or zarnik.open(Path(name).read_bytes()).equals(image)


def test_nifti_of_vectors_and_colours():
    nibabel.Nifti1Image(numpy.arange(120.0).reshape(4, 5, 2, 1, 3), numpy.eye(4)).to_filename("v.nii")
    vectors = zarnik.open("v.nii")
    assert vectors.axes == "ZYXC"
    numpy.testing.assert_array_equal(vectors.to_numpy("XYZC"), numpy.arange(120.0).reshape(4, 5, 2, 3))
    made = nifti_image([("R", "u1"), ("G", "u1"), ("B", "u1")], shape=(6, 5, 4))
    made.to_filename("c.nii")
    colours = zarnik.open("c.nii")
    assert (colours.axes, colours.interpretation.name) == ("ZYXC", "RGB")
    numpy.testing.assert_array_equal(colours.to_numpy("XYZC")[..., 1], numpy.asarray(made.dataobj)["G"])
    zarnik.save("again.nii", colours)
    assert nibabel.load("again.nii").get_data_dtype() == made.get_data_dtype()
    assert zarnik.open("again.nii").equals(colours)


def test_nifti_matrices_that_are_no_image_s():
    sheared = numpy.array([[1, 0.3, 0, 4], [0, 1, 0, 5], [0, 0, 1, 6], [0, 0, 0, 1.0]])
    made = nibabel.Nifti1Image(numpy.zeros((4, 5, 2), "u1"), None)
    made.set_qform(oblique_affine(), 1)
    made.set_sform(sheared, 2)
    made.to_filename("s.nii")
    with pytest.warns(UserWarning, match="shears"):
        image = zarnik.open("s.nii")
    numpy.testing.assert_allclose(image.affine, oblique_affine(), atol=1e-6)
    flat = numpy.diag((2.0, 3, 0, 1))
    made = nibabel.Nifti1Image(numpy.zeros((4, 5), "u1"), None)
    made.header["sform_code"], made.header["srow_x"], made.header["srow_y"] = 1, flat[0], flat[1]
    with open("f.nii", "wb") as file:
        made.header.write_to(file)
        file.write(bytes(24))
    assert zarnik.open("f.nii").spacing == (2, 3, 1)


def test_compressed_elements_are_read_as_far_as_they_are_asked_for():
    noise = numpy.random.default_rng(2).integers(0, 2**16, (160, 64, 64)).astype("u2")
    nibabel.Nifti1Image(noise.T, numpy.eye(4)).to_filename("n.nii.gz")
    nrrd.write("n.nrrd", noise.T, {"encoding": "gzip"})
    for name in ("n.nii.gz", "n.nrrd"):
        file, size = CountingFile(Path(name).read_bytes()), os.path.getsize(name)
        image = zarnik.open(file)
        assert 0 < file.furthest < size / 3
        numpy.testing.assert_array_equal(image[2], noise[2])
        assert file.furthest < size / 2
        numpy.testing.assert_array_equal(image, noise)
        file.furthest = 0
        numpy.testing.assert_array_equal(image[30, 5:9], noise[30, 5:9])
        assert file.furthest == 0


def test_time_of_nifti_and_writing_in_place():
    made = nifti_image("int16")
    made.header["pixdim"][4] = 2.5
    made.header["descrip"] = "told by somebody"
    made.to_filename("t.nii")
    zarnik.open("t.nii", mode="r+")[1, 2] = 7
    assert (nibabel.load("t.nii").dataobj[..., 2, 1] == 7).all()
    zarnik.save("u.nii", zarnik.open("t.nii"))
    header = nibabel.load("u.nii").header
    assert header["pixdim"][4] == 2.5
    assert header.get_xyzt_units() == ("micron", "sec")
    assert header["descrip"] == b"told by somebody"
    zarnik.save("wide.nii", zarnik.uniform((2, 40000), 3, "uint8"))
    assert type(nibabel.load("wide.nii")) is nibabel.Nifti2Image
    assert nibabel.load("wide.nii").shape == (40000, 2)


# ---- NRRD ------------------------------------------------------------------------------------------------------------


@pytest.mark.parametrize("encoding", ("raw", "gzip", "bzip2", "ascii"))
@pytest.mark.parametrize("is_detached", (False, True))
@pytest.mark.parametrize(
    "space, turn", (("RAS", (1, 1, 1)), ("left-posterior-superior", (-1, -1, 1)), ("LAS", (-1, 1, 1)))
)
def test_nrrd_of_pynrrd(encoding, is_detached, space, turn):
    array = numpy.random.default_rng(4).integers(-900, 900, (6, 5, 4)).astype("int16")
    matrix = oblique_affine()
    header = {
        "encoding": encoding,
        "space": space,
        "space directions": (matrix[:3, :3].T * turn),
        "space origin": matrix[:3, 3] * turn,
        "space units": ["mm"] * 3,
        "kinds": ["domain"] * 3,
        "sample units": "HU",
        "who": "somebody",
    }
    nrrd.write("a.nhdr" if is_detached else "a.nrrd", array, header, detached_header=is_detached)
    image = zarnik.open("a.nhdr" if is_detached else "a.nrrd")
    numpy.testing.assert_array_equal(image.to_numpy("XYZ"), array)
    numpy.testing.assert_allclose(image.affine, matrix, atol=1e-9)
    assert is_mapped(image) == (encoding == "raw")
    told = image.metadata.to_dict()["NRRD"]
    assert (told["sample units"], told["who"], image.unit) == ("HU", "somebody", "mm")
    if encoding in ("raw", "gzip") and space != "LAS":
        itk = sitk.ReadImage("a.nhdr" if is_detached else "a.nrrd")
        numpy.testing.assert_allclose(affine_of_itk(itk), image.get_affine("LPS"), atol=1e-6)


def test_nrrd_of_itk_and_kinds():
    array = numpy.arange(4 * 5 * 6 * 3, dtype="float32").reshape(4, 5, 6, 3)
    vectors = sitk.GetImageFromArray(array, isVector=True)
    vectors.SetSpacing((2, 3, 4))
    vectors.SetOrigin((1, 2, 3))
    for is_compressed in (False, True):
        sitk.WriteImage(vectors, "v.nrrd", is_compressed)
        image = zarnik.open("v.nrrd")
        assert image.axes == "ZYXC"
        numpy.testing.assert_array_equal(image, array)
        numpy.testing.assert_allclose(image.get_affine("LPS"), affine_of_itk(vectors))
    directions = numpy.array([[numpy.nan] * 3, *numpy.eye(3).tolist()])
    told = {"space": "LPS", "space directions": directions, "kinds": ["list", "domain", "domain", "domain"]}
    nrrd.write("l.nrrd", numpy.arange(120).reshape(2, 5, 4, 3), told)
    assert (zarnik.open("l.nrrd").axes, zarnik.open("l.nrrd").shape) == ("ZYXC", (3, 4, 5, 2))
    nrrd.write("s.nrrd", numpy.arange(20, dtype=">i4").reshape(5, 4), {"spacings": [2.0, 3.0], "axis mins": [1.0, 5.0]})
    plane = zarnik.open("s.nrrd")
    assert (plane.axes, plane.spacing, plane.origin) == ("YX", (2, 3, 1), (1, 5, 0))
    assert plane[1].tolist() == [1, 5, 9, 13, 17]


def test_nrrd_reads_no_files_elsewhere(tmp_path):
    (tmp_path / "secret").write_bytes(bytes(8))
    folder = tmp_path / "inner"
    folder.mkdir()
    for name in ("../secret", str(tmp_path / "secret"), "..\\secret"):
        text = f"NRRD0004\ntype: uint8\ndimension: 1\nsizes: 8\nencoding: raw\ndata file: {name}\n\n"
        (folder / "a.nhdr").write_text(text)
        raises(zarnik.Error, "outside of its folder", zarnik.open, folder / "a.nhdr")
    assert zarnik.open(folder / "a.nhdr", data_file=tmp_path / "secret").shape == (8,)


# ---- DICOM -----------------------------------------------------------------------------------------------------------

DICOM_FILES = sorted(
    path
    for path in glob.glob(os.path.join(os.path.dirname(pydicom.__file__), "data", "test_files", "*.dcm"))
    if os.path.getsize(path) > 600
)


@pytest.mark.parametrize("path", DICOM_FILES, ids=os.path.basename)
@pytest.mark.filterwarnings("ignore::UserWarning:pydicom")
def test_dicom_of_pydicom(path):
    expected = None
    with contextlib.suppress(Exception):
        expected = pydicom.pixels.pixel_array(path)
    if expected is None:
        # No picture, cut, or of a compression that nothing here decodes: pydicom refuses it, too.
        if "image_dfl" not in path:
            with pytest.raises(zarnik.Error):
                numpy.asarray(zarnik.open(path))
        return
    image = zarnik.open(path, scaled=False)
    numpy.testing.assert_array_equal(image, expected)
    header = pydicom.dcmread(path)
    told = image.metadata.to_dict()["DICOM"]
    assert told["SOPInstanceUID"] == header.SOPInstanceUID
    assert set(told) >= {element.keyword for element in header if element.keyword and element.tag < 0x7FE00000}
    if header.get("RescaleSlope") is not None and expected.ndim == 2:
        scaled = expected * float(header.RescaleSlope) + float(header.RescaleIntercept)
        numpy.testing.assert_array_equal(zarnik.open(path), scaled)
    if header.get("ImagePositionPatient") is not None and "rtdose" not in path:
        itk = affine_of_itk(sitk.ReadImage(path))
        numpy.testing.assert_allclose(image.get_affine("LPS"), itk, atol=1e-6)


def test_dicom_headers_of_any_length():
    header = pydicom.dcmread(pydicom.data.get_testdata_file("CT_small.dcm"))
    expected = header.pixel_array
    header.add_new(0x60000010, "US", 1)
    header.add_new(0x60003000, "OB", b"")
    header.save_as("short.dcm")
    pixels = os.path.getsize("short.dcm") - len(header.PixelData) - len(header[0xFFFCFFFC].value) - 24
    # What is read of a file at first ends before, amid and behind the element of the pixels, and far before it.
    for end in (*range(65536 - 16, 65536 + 4, 2), 200000):
        header[0x60003000].value = bytes(end - pixels)
        header.save_as("a.dcm")
        assert Path("a.dcm").read_bytes()[end : end + 4] == b"\xe0\x7f\x10\x00"
        numpy.testing.assert_array_equal(zarnik.open("a.dcm", scaled=False), expected)
    os.truncate("a.dcm", 70000)
    raises(zarnik.Error, "a.dcm", zarnik.open, "a.dcm")


def write_slices(folder, count=6, times=1, orientation=(1, 0, 0, 0, 1, 0), step=2.5, slope=1):
    """A series with files in another order than the planes; returns what is expected, and the matrix in LPS."""
    folder.mkdir(exist_ok=True)
    across, down = numpy.reshape(orientation, (2, 3))
    normal = numpy.cross(across, down)
    array = numpy.random.default_rng(5).integers(0, 4000, (times, count, 8, 9)).astype("int16")
    start = numpy.array((-10.0, 20.0, 30.0))
    names = numpy.random.default_rng(6).permutation(count * times)
    series = pydicom.uid.generate_uid()
    for time in range(times):
        for place in range(count):
            one = pydicom.dcmread(pydicom.data.get_testdata_file("CT_small.dcm"))
            one.SeriesInstanceUID, one.SOPInstanceUID = series, pydicom.uid.generate_uid()
            one.file_meta.MediaStorageSOPInstanceUID = one.SOPInstanceUID
            one.Rows, one.Columns, one.PixelSpacing = 8, 9, [0.7, 0.6]
            one.ImageOrientationPatient = [f"{number:.10f}" for number in orientation]
            one.ImagePositionPatient = [f"{number:.10f}" for number in start + normal * step * place]
            one.RescaleSlope, one.RescaleIntercept = slope, -1024
            one.InstanceNumber = time * count + place
            one.SeriesDescription = "a series"
            one.PixelData = array[time, place].tobytes()
            one.save_as(folder / f"{names[time * count + place]:03}.dcm")
    matrix = numpy.eye(4)
    matrix[:3, :3] = numpy.column_stack((across * 0.6, down * 0.7, normal * step))
    matrix[:3, 3] = start
    return array, matrix


@pytest.mark.parametrize("orientation", ((1, 0, 0, 0, 1, 0), ROTATION[:, :2].T.ravel()))
def test_series_is_sorted_by_position(tmp_path, orientation):
    scan = tmp_path / "scan"
    array, matrix = write_slices(scan, orientation=orientation)
    (scan / "notes.txt").write_text("no DICOM")
    (scan / "empty.dcm").touch()
    os.symlink(pydicom.data.get_testdata_file("reportsi.dcm"), scan / "report.dcm")
    image = zarnik.open(scan)
    numpy.testing.assert_array_equal(image, array[0].astype("int32") - 1024)
    numpy.testing.assert_array_equal(zarnik.open(scan, scaled=False), array[0])
    numpy.testing.assert_allclose(image.get_affine("LPS"), matrix, atol=1e-6)
    assert (image.unit, image.interpretation.name) == ("mm", "GRAYSCALE")
    reader = sitk.ImageSeriesReader()
    reader.SetFileNames(reader.GetGDCMSeriesFileNames(str(scan)))
    itk = reader.Execute()
    numpy.testing.assert_array_equal(sitk.GetArrayFromImage(itk), image)
    numpy.testing.assert_allclose(affine_of_itk(itk), image.get_affine("LPS"), atol=1e-6)
    assert image.metadata.to_dict()["DICOM"]["images"]["InstanceNumber"] == list(range(6))
    files = sorted(scan.glob("0*.dcm"))
    assert zarnik.open(files).equals(image)
    raises(zarnik.Error, "no DICOM", zarnik.open, [*files, scan / "notes.txt"])
    assert zarnik.info(scan)["series"][0]["files"] == 6


def test_regions_of_series_read_the_files_they_need(tmp_path, monkeypatch):
    array, _ = write_slices(tmp_path / "scan", slope=0.5)
    image = zarnik.open(tmp_path / "scan")
    opened, whole = [], plugins.Source.file
    monkeypatch.setattr(plugins.Source, "file", lambda self: opened.append(self.name) or whole(self))
    numpy.testing.assert_array_equal(image[3, 2:4], array[0, 3, 2:4] * 0.5 - 1024)
    assert len(opened) == 1


def test_several_series_and_times(tmp_path):
    (tmp_path / "all").mkdir()
    first, matrix = write_slices(tmp_path / "all" / "one", times=3)
    write_slices(tmp_path / "all" / "two", count=2)
    found = zarnik.open(tmp_path / "all")
    assert list(found) == ["a series", "a series (1)"]
    image = found["a series"]
    assert image.axes == "TZYX"
    numpy.testing.assert_array_equal(image, first.astype("int32") - 1024)
    numpy.testing.assert_allclose(image.get_affine("LPS"), matrix, atol=1e-6)


def change(folder, number, **values):
    path = sorted(folder.glob("*.dcm"))[number]
    header = pydicom.dcmread(path)
    for name, value in values.items():
        setattr(header, name, value)
    header.save_as(path)
    return header


@pytest.mark.parametrize(
    "problem, message",
    (
        (lambda folder: next(p for p in folder.iterdir() if pydicom.dcmread(p).InstanceNumber == 2).unlink(), "gap"),
        (lambda folder: change(folder, 1, ImageOrientationPatient=[0, 1, 0, 0, 0, 1]), "different directions"),
        (lambda folder: change(folder, 1, PixelSpacing=[0.7, 0.8]), "different spacing"),
        (lambda folder: change(folder, 1, Rows=4, PixelData=bytes(72)), "different Rows"),
        (lambda folder: change(folder, 1, ImagePositionPatient=change(folder, 0).ImagePositionPatient), "at one place"),
    ),
)
def test_series_that_are_no_grid(tmp_path, problem, message):
    write_slices(tmp_path / "scan")
    problem(tmp_path / "scan")
    raises(zarnik.Error, message, zarnik.open, tmp_path / "scan")
    if "Rows" not in message:
        with pytest.warns(UserWarning, match=message):
            assert zarnik.open(tmp_path / "scan", strict=False).shape[1:] == (8, 9)


def test_tilted_series_and_frames_of_one_file(tmp_path):
    write_slices(tmp_path / "scan")
    for number in range(6):
        header = change(tmp_path / "scan", number)
        x, y, z = header.ImagePositionPatient
        change(tmp_path / "scan", number, ImagePositionPatient=[x, y + 0.1 * header.InstanceNumber, z])
    raises(zarnik.Error, "is tilted", zarnik.open, tmp_path / "scan")
    # Frames with places of their own, the last one first.
    _, matrix = write_slices(tmp_path / "frames", count=1)
    array = numpy.random.default_rng(7).integers(0, 4000, (4, 8, 9)).astype("int16")

    def item(**values):
        made = pydicom.Dataset()
        for name, value in values.items():
            setattr(made, name, [item(**value)] if isinstance(value, dict) else value)
        return made

    def opened(positions, slopes):
        frames = [
            item(
                PlanePositionSequence={"ImagePositionPatient": [-10, 20, 30 + 2.5 * position]},
                PixelValueTransformationSequence={"RescaleSlope": slope, "RescaleIntercept": 0},
            )
            for position, slope in zip(positions, slopes)
        ]
        change(tmp_path / "frames", 0, PerFrameFunctionalGroupsSequence=frames)
        return zarnik.open(tmp_path / "frames" / "000.dcm")

    orientation = {"ImageOrientationPatient": [1, 0, 0, 0, 1, 0]}
    shared = item(PlaneOrientationSequence=orientation, PixelMeasuresSequence={"PixelSpacing": [0.7, 0.6]})
    told = {"NumberOfFrames": 4, "PixelData": array.tobytes(), "SharedFunctionalGroupsSequence": [shared]}
    change(tmp_path / "frames", 0, **told)
    image = opened((3, 2, 1, 0), (1, 2, 3, 4))
    numpy.testing.assert_array_equal(image, (array * numpy.arange(1.0, 5)[:, None, None])[::-1])
    numpy.testing.assert_allclose(image.get_affine("LPS"), matrix, atol=1e-6)
    image = opened((0, 1, 2, 3), (1, 1, 1, 1))
    assert is_mapped(image)
    numpy.testing.assert_array_equal(image, array)
