"""MRC, HDF5, NumPy's files, PNG and JPEG, against mrcfile, h5py, NumPy and Pillow; and files that are damaged."""

import io
import pickle
import shutil
import struct
import time
import zipfile
from pathlib import Path

import numpy
import pytest

import zarnik
from support.expect import raises
from support.images import is_mapped

mrcfile = pytest.importorskip("mrcfile")
h5py = pytest.importorskip("h5py")
Image = pytest.importorskip("PIL.Image")

ARRAY = numpy.random.default_rng(1).integers(0, 200, (5, 6, 7))


@pytest.fixture(autouse=True)
def _in_folder(tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)


# ---- MRC -------------------------------------------------------------------------------------------------------------


@pytest.mark.parametrize("name, compression", (("a.mrc", None), ("a.mrc.gz", "gzip"), ("a.mrc.bz2", "bzip2")))
@pytest.mark.parametrize("dtype", ("int8", "int16", "uint16", "float16", "float32", "complex64"))
def test_mrc_of_mrcfile(name, compression, dtype):
    with mrcfile.new(name, ARRAY.astype(dtype), compression) as file:
        file.voxel_size = 1.5, 2, 3
        file.header.origin = 10, 20, 30
        file.add_label("made by somebody")
        file.set_extended_header(numpy.zeros(40, "V1"))
    image = zarnik.open(name)
    assert image.equals(ARRAY.astype(image.dtype))
    assert (image.axes, image.unit, image.spacing, image.origin) == ("ZYX", "Å", (1.5, 2, 3), (10, 20, 30))
    assert is_mapped(image) == (name == "a.mrc" and dtype not in ("float16", "complex64"))
    assert "made by somebody" in image.metadata.to_dict()["MRC"]["label"]


def test_mrc_of_other_orders_of_bytes_and_axes():
    with mrcfile.new("a.mrc", ARRAY.astype("float32")) as file:
        file.header.mapc, file.header.mapr, file.header.maps = 3, 1, 2
    image = zarnik.open("a.mrc")
    numpy.testing.assert_array_equal(image.to_numpy("YXZ"), ARRAY)
    data = Path("a.mrc").read_bytes()
    swapped = [numpy.frombuffer(part, "<i4").byteswap().tobytes() for part in (data[:208], data[216:224], data[1024:])]
    Path("big.mrc").write_bytes(swapped[0] + b"MAP \x11\x11\0\0" + swapped[1] + data[224:1024] + swapped[2])
    with mrcfile.open("big.mrc") as file:
        numpy.testing.assert_array_equal(zarnik.open("big.mrc").to_numpy("YXZ"), file.data)


@pytest.mark.parametrize("axes, shape", (("YX", (6, 7)), ("ZYX", (5, 6, 7)), ("TZYX", (2, 3, 5, 7))))
def test_mrc_that_we_write(axes, shape):
    array = numpy.random.default_rng(2).normal(size=shape).astype("float32")
    image = zarnik.from_numpy(array, axes, spacing=(0.2, 0.3, 0.4), origin=(1, 2, 3), unit="nm")
    zarnik.save("a.mrc", image)
    assert mrcfile.validate("a.mrc", io.StringIO())
    with mrcfile.open("a.mrc") as file:
        numpy.testing.assert_array_equal(file.data, array)
        known = min(len(shape), 3)
        numpy.testing.assert_allclose(file.voxel_size.tolist()[:known], (2, 3, 4)[:known], rtol=1e-6)
        assert file.is_volume_stack() == (axes == "TZYX")
        numpy.testing.assert_allclose([file.header.dmin, file.header.rms], [array.min(), array.std()], 1e-5)
    again = zarnik.open("a.mrc")
    assert again.shape[-len(shape) :] == shape
    numpy.testing.assert_allclose(again.origin, (10, 20, 30))
    raises(zarnik.InvalidArgument, "astype", zarnik.save, "b.mrc", image.astype("float64"))


# ---- HDF5 ------------------------------------------------------------------------------------------------------------


def test_hdf5_of_h5py():
    with h5py.File("a.h5", "w") as file:
        for name, options in (
            ("plain", {}),
            ("chunks", {"chunks": (2, 3, 4)}),
            ("deep/gzip", {"chunks": (2, 3, 4), "compression": "gzip"}),
            ("deep/shuffled", {"chunks": (3, 6, 5), "compression": "gzip", "shuffle": True, "fletcher32": False}),
            ("lzf", {"chunks": (2, 3, 4), "compression": "lzf", "fletcher32": True}),
        ):
            file.create_dataset(name, data=ARRAY.astype("int32"), **options)
        file["big"] = ARRAY.astype(">f8")
        file["half"] = ARRAY.astype("f2")
        file["truth"] = ARRAY > 100
        file["complex"] = ARRAY.astype("c8")
        # Chunks that were never written.
        file.create_dataset("sparse", (5, 6, 7), "u1", chunks=(2, 3, 4), compression="gzip", fillvalue=9)[0, 0, 0] = 1
        file["text"], file["scalar"], file["table"] = "no image", 3.5, numpy.zeros(3, [("a", "i4")])
        file["empty"] = numpy.zeros((0, 3))
        file["elsewhere"] = h5py.ExternalLink("b.h5", "x")
        file["plain"].attrs.update({"element_size_um": [4.0, 3, 2], "who": "me", "nothing": h5py.Empty("f")})
        for dimension, label in zip(file["chunks"].dims, "tyx"):
            dimension.label = label
        file["five"] = numpy.zeros((1, 2, 3, 4, 5), "u1")
    images = zarnik.open("a.h5")
    names = "plain chunks deep/gzip deep/shuffled lzf big half truth complex sparse five"
    assert set(images) == set(names.split())
    with h5py.File("a.h5") as file:
        for name in sorted(set(images) - {"five"}):
            assert images[name].equals(file[name][()].astype(images[name].dtype)), name
            numpy.testing.assert_array_equal(images[name][1:4, 2, 3:], file[name][1:4, 2, 3:])
    assert list(images["deep/gzip"].tiling_info().max_tile_size()) == [4, 3, 2]
    assert (images["plain"].spacing, images["plain"].unit) == ((2, 3, 4), "µm")
    assert images["plain"].metadata.to_dict()["HDF5"]["who"] == "me"
    assert images["chunks"].axes == "TYX"
    raises(zarnik.Error, "axes=", images.__getitem__, "five")
    assert zarnik.open("a.h5", dataset="five", axes="TCZYX").shape == (1, 3, 4, 5, 2)
    raises(zarnik.Error, "no numbers of an image", zarnik.open, "a.h5", dataset="text")
    raises(zarnik.InvalidArgument, "no dataset 'deep'", zarnik.open, "a.h5", dataset="deep")
    assert zarnik.open(Path("a.h5").read_bytes(), dataset="deep/shuffled").equals(ARRAY)


def test_hdf5_maps_only_elements_that_lie_there_as_they_are():
    few_bits = h5py.h5t.STD_I16LE.copy()
    few_bits.set_precision(12)
    shifted = few_bits.copy()
    shifted.set_offset(3)
    short_float = h5py.h5t.IEEE_F32LE.copy()
    short_float.set_fields(15, 7, 8, 0, 7)
    short_float.set_size(2)
    short_float.set_ebias(127)
    kinds = h5py.enum_dtype({"nothing": 0, "cell": 7}, basetype="u1")
    negative = ARRAY.astype("i2") - 100
    with h5py.File("a.h5", "w", userblock_size=512) as file:
        for name, kind in (("few bits", few_bits), ("shifted", shifted), ("short float", short_float)):
            for options in ({}, {"chunks": (2, 3, 4), "compression": "gzip"}):
                made = file.create_dataset(name + " gzip" * bool(options), ARRAY.shape, h5py.Datatype(kind), **options)
                made[...] = negative // 8 * 8
        file.create_dataset("names", data=ARRAY.astype("u1"), dtype=kinds)
        file.create_dataset("outside", data=ARRAY, external="a.raw")
        file.create_dataset("never written", ARRAY.shape, "u1", fillvalue=7)
        compact = h5py.h5p.create(h5py.h5p.DATASET_CREATE)
        compact.set_layout(h5py.h5d.COMPACT)
        space = h5py.h5s.create_simple((2, 3))
        h5py.h5d.create(file.id, b"compact", h5py.h5t.NATIVE_INT8, space, compact)
        file["compact"][...] = [[1, 2, 3], [4, 5, 6]]
        layout = h5py.VirtualLayout(ARRAY.shape, "u1")
        layout[...] = h5py.VirtualSource(file["names"])
        file.create_virtual_dataset("virtual", layout)
        file["plain"], file["big"] = ARRAY.astype("<i4"), ARRAY.astype(">i4")
        # Ways round, and to what has a name already.
        file["more/loop"] = file["/"]
        file["more/plain"] = file["plain"]
        file["more/soft"] = h5py.SoftLink("/plain")
    images = zarnik.open("a.h5")
    mapped = {"names", "more/plain"}
    with h5py.File("a.h5") as file:
        assert set(images) == {name for name in file if name not in ("more", "plain")} | {"more/plain"}
        for name, image in images.items():
            assert image.equals(file[name][()]), name
            assert is_mapped(image) == (name in mapped), name


@pytest.mark.parametrize("userblock", (0, 512))
def test_large_chunks_of_hdf5_and_what_is_written_meanwhile(userblock):
    large = numpy.arange(70 * 80 * 90, dtype="u4").reshape(70, 80, 90)
    keys = numpy.s_[33], numpy.s_[:, :, 89], numpy.s_[31:33, 79, :], numpy.s_[5:70, 31:65, 7:90], numpy.s_[::-7, ::5]
    with h5py.File("a.h5", "w", userblock_size=userblock) as file:
        file.create_dataset("chunks", data=large, chunks=(32, 32, 32))
        file.create_dataset("big", data=large.astype(">f8"), chunks=(32, 64, 32))
        file.create_dataset("piece", data=large)
        # One chunk of it is there.
        file.create_dataset("sparse", large.shape, "u2", chunks=(32, 32, 64), fillvalue=9)[40:, 70:, 70:] = 3
    with h5py.File("a.h5") as file:
        for name, image in zarnik.open("a.h5").items():
            for key in keys:
                numpy.testing.assert_array_equal(image[key], file[name][()][key], name)
            assert image.to_memory().equals(file[name][()]), name
    del image
    time.sleep(0.03)  # a file that was changed just now shares no tiles
    with h5py.File("b.h5", "w") as file:
        for name, options in (("piece", {}), ("chunks", {"chunks": (32, 32, 32)}), ("gzip", {"compression": "gzip"})):
            file.create_dataset(name, data=numpy.zeros((64, 64, 64), "u1"), **options)
            file["link to " + name] = h5py.ExternalLink("a.h5", name if name != "gzip" else "sparse")
    for name, target in (("piece", "piece"), ("chunks", "chunks"), ("gzip", "sparse")):
        assert zarnik.open("b.h5", dataset="link to " + name).equals(zarnik.open("a.h5", dataset=target))
    with h5py.File("a.h5", "r+") as file:
        for name in ("chunks", "piece"):
            file[name][40, 40] = 5
            image = zarnik.open("a.h5", dataset=name)
            file[name][41, 41] = 6
            assert image[40:42, 40:42].max(-1).tolist() == file[name][40:42, 40:42].max(-1).tolist(), name
            del image


@pytest.mark.parametrize(
    "attributes, told",
    (
        ({"affine": numpy.diag([2, 3, 4, 1]), "unit": numpy.bytes_(b"mm")}, ((2, 3, 4), "mm")),
        ({"affine": numpy.arange(12.0).reshape(3, 4), "spacing": numpy.array([2, 3, 4], "f4")}, ((2, 3, 4), "")),
        ({"affine": "none", "spacing": numpy.arange(5000.0), "origin": ["a", "b", "c"]}, ((1, 1, 1), "")),
        ({"element_size_um": [4, 3, 2], "unit": h5py.Empty("f")}, ((2, 3, 4), "µm")),
        ({"spacing": numpy.full(3, 2j), "unit": 5, "axes": ["T", "Y", "X"]}, ((1, 1, 1), "")),
        ({"unit": numpy.array("µm".encode(), h5py.string_dtype("utf-8", 4))}, ((1, 1, 1), "µm")),
    ),
)
def test_attributes_of_hdf5_of_any_kind(attributes, told):
    with h5py.File("a.h5", "w") as file:
        file["x"] = ARRAY
        file["x"].attrs.update({**attributes, "DIMENSION_LABELS": [b"time", b"y", b"x"]})
    image = zarnik.open("a.h5")
    assert (image.spacing, image.unit, image.axes) == (*told, "TYX")
    assert set(image.metadata.to_dict()["HDF5"]) == {*attributes, "DIMENSION_LABELS"}


# ---- NumPy -----------------------------------------------------------------------------------------------------------


@pytest.mark.parametrize("array", (ARRAY, ARRAY.T, ARRAY.astype(">i2"), ARRAY > 100, ARRAY.astype("c16"), ARRAY[0]))
def test_files_of_numpy(array):
    numpy.save("a.npy", array)
    numpy.savez("a.npz", first=array, second=ARRAY, names=["a"], scale=0.5)
    numpy.savez_compressed("b.npz", array)
    images = [zarnik.open("a.npy"), zarnik.open("a.npz")["first"], zarnik.open("b.npz")]
    for image in images:
        assert image.equals(array.astype(image.dtype))
    assert [is_mapped(image) for image in images] == [array.dtype.isnative and array.dtype.kind != "c"] * 2 + [False]
    assert pickle.loads(pickle.dumps(images[0])).equals(images[0])


HEADER = b"{'descr': '<i2', 'fortran_order': False, 'shape': (3, 4), }\n"


def test_headers_that_others_write():
    for version, header, content in (
        (1, b"{'shape': (3, 4), 'fortran_order': False, 'descr': '<i2'}\n", bytes(range(24))),
        (1, b"{'descr':'<i2','fortran_order':False,'shape':(3,4),}", bytes(range(24))),
        (1, HEADER.replace(b"False", b"True"), bytes(range(24))),
        (2, HEADER, bytes(range(24))),
        # Elements that look like more of the header.
        (1, HEADER, b"\n" * 24),
    ):
        length = len(header).to_bytes(2 * version, "little")
        Path("a.npy").write_bytes(b"\x93NUMPY" + bytes((version, 0)) + length + header + content)
        numpy.testing.assert_array_equal(zarnik.open("a.npy"), numpy.load("a.npy"))


def test_files_for_numpy():
    numpy.save("objects.npy", numpy.array([{}]), allow_pickle=True)
    raises(zarnik.Error, "no numbers", zarnik.open, "objects.npy")
    numpy.save("w.npy", numpy.zeros((3, 4), "u1"))
    zarnik.open("w.npy", mode="r+")[1] = 5
    assert numpy.load("w.npy")[1].tolist() == [5] * 4


# ---- pictures --------------------------------------------------------------------------------------------------------


@pytest.mark.parametrize("mode", ("L", "LA", "RGB", "RGBA", "I;16", "1", "P"))
def test_png_of_pillow(mode):
    levels = (ARRAY[:, :, :4] if mode == "RGBA" else ARRAY[:, :, :3]).astype("uint8")
    if mode == "I;16":
        picture = Image.fromarray((ARRAY[0] * 300).astype("uint16"))
    else:
        picture = Image.fromarray(levels, "RGBA" if mode == "RGBA" else "RGB").convert(mode)
    picture.save("a.png")
    expected = numpy.asarray(picture.convert("RGB") if mode == "P" else picture)
    image = zarnik.open("a.png")
    assert image.equals(expected.astype(image.dtype))
    interpretations = {"RGB": "RGB", "RGBA": "RGB", "P": "RGB", "1": "BINARY", "LA": "UNKNOWN"}
    assert image.interpretation.name == interpretations.get(mode, "GRAYSCALE")
    assert image.properties.image_info().get_alpha() == (mode == "RGBA")
    assert image.channel_names == (["gray", "alpha"] if mode == "LA" else None)
    if mode != "1":
        zarnik.save("b.png", image)
        with Image.open("b.png") as again:
            numpy.testing.assert_array_equal(numpy.asarray(again), expected)


@pytest.mark.parametrize("samples", (3, 4))
@pytest.mark.parametrize("row_filter", ("NONE", "SUB", "UP", "AVG", "PAETH"))
def test_png_of_sixteen_bits(samples, row_filter):
    imagecodecs = pytest.importorskip("imagecodecs")  # Pillow writes no colours of 16 bits
    array = numpy.random.default_rng(3).integers(0, 2**16, (9, 8, samples)).astype("uint16")
    Path("a.png").write_bytes(imagecodecs.png_encode(array, filter=imagecodecs.PNG.FILTER[row_filter]))
    assert zarnik.open("a.png").equals(array)


def test_pictures_that_we_write():
    image = zarnik.from_numpy(ARRAY[:, :, :3].astype("uint8"), "YXC", interpretation="RGB", metadata={"a": 1})
    zarnik.save("a.png", image)
    assert zarnik.open("a.png").metadata.to_dict()["a"] == 1
    image.metadata = {}
    zarnik.save("a.jpg", image, quality=95)
    with Image.open("a.jpg") as picture:
        numpy.testing.assert_array_equal(zarnik.open("a.jpg"), numpy.asarray(picture))
    Image.fromarray(ARRAY[0].astype("uint8")).convert("CMYK").save("c.jpg")
    assert zarnik.open("c.jpg").interpretation.name == "CMYK"


# ---- damage ----------------------------------------------------------------------------------------------------------


CHUNKS, SHARDS = {"chunks": (2, 8, 4)}, {"shards": (4, 16, 8)}
OPTIONS: dict[str, dict] = {
    **{name: {} for name in ("a.nii", "a.nii.gz", "a.nrrd", "a.mrc", "a.npy", "a.npz", "a.png", "a.jpg", "a.dcm")},
    "packed.nrrd": {"encoding": "gzip"},
    "packed.tif": {"compression": "zlib", "tile": 16},
    "a.h5": {"compression": "gzip", **CHUNKS},
    "a.zarr.zip": CHUNKS,
    "blosc.zarr": {"version": "0.4", "compression": "blosc", **CHUNKS},
    "zstd.zarr": {"compression": "zstd", **CHUNKS, **SHARDS},
    "gzip.zarr": {"compression": "gzip", **CHUNKS, **SHARDS},
}


def save_sample(name):
    if name.endswith(".dcm"):
        pydicom = pytest.importorskip("pydicom", minversion="3")
        shutil.copy(pydicom.data.get_testdata_file("MR_small.dcm"), name)
        return
    array = ARRAY[0] if name.endswith(("png", "jpg")) else numpy.repeat(ARRAY, 4, axis=1)
    image = zarnik.from_numpy(array.astype("uint8"))
    image.metadata = {} if name.endswith(("png", "jpg", ".mrc", ".npy", ".tif")) else {"who": "me"}
    zarnik.save(name, image, **OPTIONS[name])


@pytest.mark.parametrize("name", OPTIONS)
@pytest.mark.filterwarnings("ignore")
def test_damaged_files_are_errors(name):
    """Whatever is cut or changed, there is an image or an Error: soon, and without taking all memory."""
    resource = pytest.importorskip("resource")
    save_sample(name)
    files = [path for path in Path().rglob("*") if path.is_file()]
    contents, is_one = [path.read_bytes() for path in files], len(files) == 1
    random = numpy.random.default_rng(7)
    limits = resource.getrlimit(resource.RLIMIT_DATA)

    def tried(data, by_bytes, which=0):
        files[which].write_bytes(data)
        try:
            found = zarnik.open(io.BytesIO(data) if by_bytes and is_one else name)
            for image in [found] if isinstance(found, zarnik.ImageView) else list(found.values()):
                assert image.nbytes < 1 << 30 or not isinstance(image[(slice(0, 1),) * len(image.shape)], int)
                if image.nbytes < 1 << 24:
                    numpy.asarray(image)
        except zarnik.Error:
            return False
        finally:
            files[which].write_bytes(contents[which])
        return True

    try:
        with open("/proc/self/statm") as file:
            used = int(file.read().split()[5]) * resource.getpagesize()
        resource.setrlimit(resource.RLIMIT_DATA, (used + (1 << 30), limits[1]))
        assert tried(contents[0], False) and tried(contents[0], True)
        survived = []
        for which, whole in enumerate(contents):
            cuts = sorted({*range(0, min(len(whole), 400), 13), *random.integers(0, len(whole), 30).tolist()})
            survived += [tried(whole[:cut], cut % 2 == 0, which) for cut in cuts]
        # The end of some files is no part of the elements.
        assert sum(survived) <= len(survived) // 4
        for turn in range(150):
            which = turn % len(files)
            damaged = bytearray(contents[which])
            for _ in range(1 + turn % 3):
                where = int(random.integers(0, min(len(damaged), 2000)))
                if turn % 2:
                    damaged[where : where + 4] = random.bytes(4)
                else:
                    damaged[where] = int(random.choice([0, 1, 0x7F, 0x80, 0xFF, damaged[where] ^ 1]))
            tried(bytes(damaged), turn % 5 == 0, which)
    finally:
        resource.setrlimit(resource.RLIMIT_DATA, limits)


def test_sizes_that_cannot_be():
    image = zarnik.from_numpy(ARRAY.astype("uint8"))
    for name, options, was, claimed in (
        ("a.nii", {"version": 2}, struct.pack("<3q", 7, 6, 5), struct.pack("<3q", *[1 << 20] * 3)),
        ("a.mrc", {}, struct.pack("<3i", 7, 6, 5), struct.pack("<3i", *[1 << 30] * 3)),
        ("a.npy", {}, b"(5, 6, 7)", b"(5, 6000000000, 7)"),
        ("a.nrrd", {}, b"sizes: 7 6 5", b"sizes: 7 6000000000 5"),
    ):
        zarnik.save(name, image, **options)
        Path(name).write_bytes(Path(name).read_bytes().replace(was, claimed, 1))
        raises(zarnik.Error, "cut, or its header wrong", zarnik.open, name)
    # Little that claims to become much, and a member that is larger than its file.
    with zipfile.ZipFile("a.npz", "w", zipfile.ZIP_DEFLATED) as archive:
        header = io.BytesIO()
        numpy.lib.format.write_array_header_1_0(header, {"descr": "|u1", "fortran_order": False, "shape": (1 << 40,)})
        archive.writestr("x.npy", header.getvalue() + bytes(100))
    with pytest.raises(zarnik.Error):
        numpy.asarray(zarnik.open("a.npz"))
