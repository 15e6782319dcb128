"""The factory of image views through the flat functions: what it makes of what, against NumPy."""

import subprocess
import sys

import numpy
import pytest

import _zarnik
from support.expect import bad_argument, fails, no_overload, null_reference, refused
from support.images import array_of, capabilities_of, image_of, ramp, shape_of, whole
from zarnik import _classes

READ, WRITE, RESHAPE, MEMORY = 1, 2, 4, 8
UINT8, UINT16, RGB = _zarnik.DataTypeId_UINT8, _zarnik.DataTypeId_UINT16, _zarnik.DataTypeId_VEC3_UINT8
PROPERTIES, METADATA = "std::shared_ptr< zarnik::ImageProperties >", "std::shared_ptr< zarnik::MetadataNode >"
CONST_METADATA = "std::shared_ptr< zarnik::MetadataNode const >"
PREFIX = "zarnik::ImageViewFactory::"
VECTOR, TYPE = "zarnik::VectorXu64 const &", "zarnik::DataType"


def flat(name):
    return getattr(_zarnik, f"ImageViewFactory_{name}")


def properties(data_type=UINT8, unit="mm"):
    made = _classes.ImageProperties.from_data_type(data_type)
    calibration = made.get_calibration()
    calibration.set_unit(unit)
    made.set_calibration(calibration)
    return made


def node(key="root"):
    return _classes.MetadataNode(key, None)


def key_of(view):
    return _zarnik.MetadataNode_get_key(_zarnik.ImageView___get_metadata(view))


# ---- arguments -------------------------------------------------------------------------------------------------------


def test_overloads_are_chosen_by_the_number_of_arguments():
    allocate = flat("allocate")
    text = no_overload(
        "ImageViewFactory_allocate",
        f"{PREFIX}allocate({VECTOR},{TYPE},{PROPERTIES},{METADATA})",
        f"{PREFIX}allocate({VECTOR},{TYPE})",
    )
    assert shape_of(allocate((4, 3), UINT8)) == [4, 3]
    described = allocate([4, 3], UINT8, properties(), node())
    assert (_zarnik.ImageView_get_spatial_unit(described), key_of(described)) == ("mm", "root")
    assert _zarnik.ImageView_get_spatial_unit(allocate([4], UINT8, None, None)) == ""
    for arguments in (((4,), UINT8, None), ((4,),), (), ((4,), UINT8, 5, None), ((4,), "x")):
        fails(TypeError, text, allocate, *arguments)
    fails(ValueError, "input must be a sequence", allocate, 5, UINT8)
    with pytest.raises(TypeError, match="expected at most 4 arguments, got 5"):
        allocate((4,), UINT8, None, None, None)


def test_prototypes_of_images_on_disk():
    fails(
        TypeError,
        no_overload(
            "ImageViewFactory_create_on_disk",
            f"{PREFIX}createOnDisk(std::string const &,{VECTOR},{TYPE},{PROPERTIES},{METADATA})",
            f"{PREFIX}createOnDisk(std::string const &,{VECTOR},{TYPE})",
            f"{PREFIX}createOnDisk({VECTOR},{TYPE},{PROPERTIES},{METADATA})",
            f"{PREFIX}createOnDisk({VECTOR},{TYPE})",
        ),
        flat("create_on_disk"),
        5,
        UINT8,
    )
    view = "std::shared_ptr< zarnik::ImageView >"
    prototypes = (f"{PREFIX}copyOnDisk({view})", f"{PREFIX}copyOnDisk({view},std::string const &)")
    fails(TypeError, no_overload("ImageViewFactory_copy_on_disk", *prototypes), flat("copy_on_disk"), 5)


def test_uniform_and_buffer_count_the_buffer_twice():
    for name, buffer, buffer_type, metadata_type in (
        ("_uniform", b"\1", "(const uint8_t* src, size_t size)", CONST_METADATA),
        ("__from_buffer", bytearray(4), "(uint8_t* buffer, size_t bufferSize)", METADATA),
    ):
        make = flat(name)
        bad_argument(TypeError, make, 3, buffer_type, (4,), UINT8, 5, None, None)
        bad_argument(TypeError, make, 5, PROPERTIES, (4,), UINT8, buffer, 5, None)
        bad_argument(TypeError, make, 6, metadata_type, (4,), UINT8, buffer, None, 5)
        fails(ValueError, "input must be a sequence", make, 5, UINT8, buffer, None, None)
        with pytest.raises(TypeError, match=f"{name} expected 5 arguments, got 4"):
            make((4,), UINT8, buffer, None)
    bad_argument(
        TypeError, flat("__from_buffer"), 3, "(uint8_t* buffer, size_t bufferSize)", (3,), UINT8, b"abc", None, None
    )


# ---- sources ---------------------------------------------------------------------------------------------------------


def test_uniform():
    value = numpy.array([1, 2, 3], numpy.uint8)
    view = flat("_uniform")((2**20, 2**20), RGB, value.tobytes(), properties(RGB), node())
    assert capabilities_of(view) == READ
    assert (_zarnik.ImageView_get_spatial_unit(view), key_of(view)) == ("mm", "root")
    buffer = bytearray(12)
    _zarnik.ImageView___read_region(view, _classes.RegionXu64((7, 2**20 - 2), (2, 2)), buffer)
    assert buffer == value.tobytes() * 4
    refused("WRITE", _zarnik.ImageView___write, view, (0, 0), b"abc")
    refused("not numeric", flat("_uniform"), (2,), _zarnik.DataTypeId_UTF8_STRING, b"x", None, None)


def test_from_buffer_shares_the_memory():
    array = ramp((4, 3), "uint16")
    buffer = bytearray(array.tobytes(order="F"))
    view = flat("__from_buffer")([4, 3], UINT16, buffer, None, None)
    assert capabilities_of(view) == READ | WRITE | MEMORY
    numpy.testing.assert_array_equal(array_of(view, numpy.uint16), array)
    _zarnik.ImageView___write(view, (3, 2), b"\xff\xff")
    assert buffer[-2:] == b"\xff\xff"
    buffer[0] = 9
    assert array_of(view, numpy.uint16)[0, 0] == 9
    refused("24 bytes, which is more than the 23", flat("__from_buffer"), [4, 3], UINT16, bytearray(23), None, None)


def test_images_on_disk(tmp_path):
    create, folder = flat("create_on_disk"), str(tmp_path)
    image = create(folder, (4, 3), UINT16, properties(UINT16), node())
    (file,) = tmp_path.iterdir()
    assert (file.stat().st_mode & 0o777, file.stat().st_size) == (0o600, 24)
    assert capabilities_of(image) == READ | WRITE | RESHAPE
    assert (_zarnik.ImageView_get_spatial_unit(image), key_of(image)) == ("mm", "root")
    array = ramp((4, 3), "uint16")
    _zarnik.ImageView___write_region(image, whole((4, 3)), array.tobytes(order="F"))
    assert file.read_bytes() == array.tobytes(order="F")
    _zarnik.ImageView_reshape(image, (5,), UINT8)
    assert file.stat().st_size == 5
    view = _zarnik.ImageViewProvider_to_read_only(image)
    del image
    assert file.exists()
    del view
    assert not file.exists()

    refused("does not exist", create, str(tmp_path / "missing"), (4, 3), UINT8)
    wrong = properties()
    info = wrong.get_image_info()
    info.set_bit_depth(99)
    wrong.set_image_info(info)
    refused("bit depth", create, folder, (4, 3), UINT8, wrong, None)
    refused("2305843009213693952", create, folder, _vector(2**61), UINT8)
    assert list(tmp_path.iterdir()) == []


def _vector(*components):
    vector = _zarnik.new_VectorXu64(len(components))
    for index, component in enumerate(components):
        _zarnik.VectorXu64_set_at(vector, index, component)
    return vector


def test_the_usual_folder_is_that_of_the_environment(tmp_path, monkeypatch):
    monkeypatch.setenv("TMPDIR", str(tmp_path))
    image = flat("create_on_disk")((4, 3), UINT8)
    copy = flat("copy_on_disk")(image)
    described = flat("create_on_disk")((4,), UINT8, properties(), None)
    assert len(list(tmp_path.iterdir())) == 3
    del image, copy, described
    assert list(tmp_path.iterdir()) == []


def test_what_a_killed_process_left_is_swept_away(tmp_path):
    program = (
        f"import sys; sys.path[:] = {sys.path!r}\nimport _zarnik, time\n"
        f"image = _zarnik.ImageViewFactory_create_on_disk({str(tmp_path)!r}, (4, 3), {UINT8})\n"
        "print('made', flush=True); time.sleep(60)"
    )
    with subprocess.Popen([sys.executable, "-c", program], stdout=subprocess.PIPE) as process:
        assert process.stdout.readline() == b"made\n"
        process.kill()
    (left,) = tmp_path.iterdir()
    image = flat("create_on_disk")(str(tmp_path), (4, 3), UINT8)
    assert not left.exists()
    assert len(list(tmp_path.iterdir())) == 1
    del image


def test_copies_on_disk(tmp_path):
    array = ramp((200, 300, 20), "uint16")
    image = image_of(array)
    _zarnik.ImageView_set_spatial_unit(image, "um")
    _zarnik.ImageView_set_metadata(image, node("scan"))
    copy = flat("copy_on_disk")(image, str(tmp_path))
    assert capabilities_of(copy) == READ | WRITE | RESHAPE
    assert (_zarnik.ImageView_get_spatial_unit(copy), key_of(copy)) == ("um", "scan")
    numpy.testing.assert_array_equal(array_of(copy, numpy.uint16), array)
    again = flat("copy_on_disk")(copy, str(tmp_path))
    assert len(list(tmp_path.iterdir())) == 2
    _zarnik.ImageView___write(copy, (0, 0, 0), b"\xff\xff")
    numpy.testing.assert_array_equal(array_of(again, numpy.uint16), array)
    refused("null", flat("copy_on_disk"), None)
    refused("READ", flat("copy_on_disk"), _zarnik.ImageViewProvider_to_write_only(image), str(tmp_path))
    refused("does not exist", flat("copy_on_disk"), image, str(tmp_path / "missing"))
    null_text = "std::string const &"
    null_reference(flat("copy_on_disk"), 2, null_text, image, None)
    assert len(list(tmp_path.iterdir())) == 2


def test_copies_in_memory():
    array = ramp((20, 30), "float32")
    image = image_of(array)
    same = flat("copy_in_memory")(image)
    _zarnik.ImageView___write(same, (0, 0), numpy.float32(77).tobytes())
    assert array_of(image, numpy.float32)[0, 0] == 77
    disk = flat("copy_on_disk")(image)
    copy = flat("copy_in_memory")(disk)
    assert capabilities_of(copy) == READ | WRITE | RESHAPE | MEMORY
    numpy.testing.assert_array_equal(array_of(copy, numpy.float32), array_of(disk, numpy.float32))
    refused("null", flat("copy_in_memory"), None)
    refused("READ", flat("copy_in_memory"), _zarnik.ImageViewProvider_to_write_only(image))
    _zarnik.ImageView_set_alpha(disk, True)  # of an image without colours
    refused("alpha", flat("copy_in_memory"), disk)


def test_a_region_of_a_terabyte(tmp_path):
    image = flat("create_on_disk")(str(tmp_path), _vector(2**20, 2**20), UINT8)
    buffer = bytearray(6)
    _zarnik.ImageView___write(image, (2**20 - 1, 2**20 - 1), b"\7")
    region = _classes.RegionXu64(_vector(2**20 - 2, 2**20 - 3), _vector(2, 3))
    _zarnik.ImageView___read_region(image, region, buffer)
    assert buffer == b"\0\0\0\0\0\7"
    assert next(tmp_path.iterdir()).stat().st_blocks * 512 < 2**20
