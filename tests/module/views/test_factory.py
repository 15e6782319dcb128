"""The factory of image views through the flat functions: what it makes of what, against NumPy."""

import numpy
import pytest

import _zarnik
from support.expect import bad_argument, fails, raises, refused
from support.images import array_of, capabilities_of, image_of, ramp, shape_of, whole
from support.values import vector
from zarnik import _classes

READ, WRITE, RESHAPE, MEMORY = 1, 2, 4, 8
UINT8, UINT16, RGB = _zarnik.DataTypeId_UINT8, _zarnik.DataTypeId_UINT16, _zarnik.DataTypeId_VEC3_UINT8
FLOAT, DOUBLE = _zarnik.DataTypeId_FLOAT, _zarnik.DataTypeId_DOUBLE
PROPERTIES, METADATA = "std::shared_ptr< zarnik::ImageProperties >", "std::shared_ptr< zarnik::MetadataNode >"
CONST_METADATA = "std::shared_ptr< zarnik::MetadataNode const >"
X, Y, Z, C, T = range(5)


def flat(name):
    return getattr(_zarnik, f"ImageViewFactory_{name}")


def described(data_type=UINT8, unit="mm", key="root"):
    """Properties with a unit, and metadata with a key."""
    calibration = _classes.SpatialCalibrationProperty(unit=unit)
    return _classes.ImageProperties(dtype=data_type, calibration=calibration), _classes.MetadataNode(key, None)


def description(view):
    key = _zarnik.MetadataNode_get_key(_zarnik.ImageView___get_metadata(view))
    return _zarnik.ImageView_get_spatial_unit(view), key


def set_of(*images):
    return _zarnik.MultiImageViewFactory_create_from_list(images)


def axes_of(view):
    value = _zarnik.ImageType_value(_zarnik.ImageView_get_axes_interpretation(view))
    return "".join(letter for bit, letter in enumerate("XYZCT") if value >> bit & 1)


def spatial(view, what):
    return list(getattr(_zarnik, f"ImageView_get_spatial_{what}")(view))


def shows(view, expected, components=1):
    numpy.testing.assert_array_equal(array_of(view, expected.dtype, components), expected)


# ---- arguments -------------------------------------------------------------------------------------------------------


def test_allocate():
    allocate = flat("allocate")
    assert shape_of(allocate((4, 3), UINT8)) == [4, 3]
    assert description(allocate([4, 3], UINT8, *described())) == ("mm", "root")
    assert _zarnik.ImageView_get_spatial_unit(allocate([4], UINT8, None, None)) == ""
    for arguments in ((5, UINT8), (None, UINT8), (5, UINT8, None, None)):
        fails(ValueError, "input must be a sequence", allocate, *arguments)
    raises(TypeError, "expected at most 4 arguments, got 5", allocate, (4,), UINT8, None, None, None)


def test_uniform_and_buffer_count_the_buffer_twice():
    for name, buffer, metadata_type in (("_uniform", b"\1", CONST_METADATA), ("__from_buffer", bytearray(4), METADATA)):
        make = flat(name)
        bad_argument(TypeError, make, 6, metadata_type, (4,), UINT8, buffer, None, 5)
        fails(ValueError, "input must be a sequence", make, 5, UINT8, buffer, None, None)
        raises(TypeError, f"{name} expected 5 arguments, got 4", make, (4,), UINT8, buffer, None)


# ---- sources ---------------------------------------------------------------------------------------------------------


def test_uniform():
    view = flat("_uniform")((2**20, 2**20), RGB, b"\1\2\3", *described(RGB))
    assert (capabilities_of(view), description(view)) == (READ, ("mm", "root"))
    buffer = bytearray(12)
    _zarnik.ImageView___read_region(view, _classes.RegionXu64((7, 2**20 - 2), (2, 2)), buffer)
    assert buffer == b"\1\2\3" * 4
    refused("not numeric", flat("_uniform"), (2,), _zarnik.DataTypeId_UTF8_STRING, b"x", None, None)


def test_from_buffer_shares_the_memory():
    array = ramp((4, 3), "uint16")
    buffer = bytearray(array.tobytes(order="F"))
    view = flat("__from_buffer")([4, 3], UINT16, buffer, None, None)
    assert capabilities_of(view) == READ | WRITE | MEMORY
    shows(view, array)
    _zarnik.ImageView___write(view, (3, 2), b"\xff\xff")
    assert buffer[-2:] == b"\xff\xff"
    refused("24 bytes, which is more than the 23", flat("__from_buffer"), [4, 3], UINT16, bytearray(23), None, None)


def test_images_on_disk(tmp_path, monkeypatch):
    create, folder, array = flat("create_on_disk"), str(tmp_path), ramp((4, 3), "uint16")
    image = create(folder, (4, 3), UINT16, *described(UINT16))
    (file,) = tmp_path.iterdir()
    assert (file.stat().st_mode & 0o777, file.stat().st_size) == (0o600, 24)
    assert (capabilities_of(image), description(image)) == (READ | WRITE | RESHAPE, ("mm", "root"))
    _zarnik.ImageView___write_region(image, whole((4, 3)), array.tobytes(order="F"))
    assert file.read_bytes() == array.tobytes(order="F")
    copy, resident = flat("copy_on_disk")(image, folder), flat("copy_in_memory")(image)
    assert capabilities_of(copy) == capabilities_of(resident) & ~MEMORY == READ | WRITE | RESHAPE
    for each in (copy, resident):
        shows(each, array)
        assert description(each) == ("mm", "root")
    _zarnik.ImageView_reshape(image, (5,), UINT8)
    assert file.stat().st_size == 5
    view = _zarnik.ImageViewProvider_to_read_only(image)
    del image, copy
    assert list(tmp_path.iterdir()) == [file]
    del view
    assert list(tmp_path.iterdir()) == []

    wrong = _classes.ImageProperties(image_info=_classes.ImageInfoProperty(dtype=UINT8, bit_depth=99))
    refused("does not exist", create, str(tmp_path / "missing"), (4, 3), UINT8)
    refused("bit depth", create, folder, (4, 3), UINT8, wrong, None)
    refused("2305843009213693952", create, folder, vector("VectorXu64", [2**61]), UINT8)
    refused("does not exist", flat("copy_on_disk"), resident, str(tmp_path / "missing"))
    refused("READ", flat("copy_on_disk"), _zarnik.ImageViewProvider_to_write_only(resident), folder)
    refused("READ", flat("copy_in_memory"), _zarnik.ImageViewProvider_to_write_only(resident))
    assert list(tmp_path.iterdir()) == []
    # The usual folder is that of the environment.
    monkeypatch.setenv("TMPDIR", folder)
    images = create((4, 3), UINT8), create((4,), UINT8, *described()), flat("copy_on_disk")(resident)
    assert len(list(tmp_path.iterdir())) == len(images)


def test_copies_need_properties_that_fit():
    disk = flat("copy_on_disk")(image_of(ramp((20, 30))))
    _zarnik.ImageView_set_alpha(disk, True)  # of an image without colours
    refused("alpha", flat("copy_in_memory"), disk)


def test_a_region_of_a_terabyte(tmp_path):
    image = flat("create_on_disk")(str(tmp_path), (2**20, 2**20), UINT8)
    buffer = bytearray(6)
    _zarnik.ImageView___write(image, (2**20 - 1, 2**20 - 1), b"\7")
    _zarnik.ImageView___read_region(image, _classes.RegionXu64((2**20 - 2, 2**20 - 3), (2, 3)), buffer)
    assert buffer == b"\0\0\0\0\0\7"
    assert next(tmp_path.iterdir()).stat().st_blocks * 512 < 2**20


# ---- adapters --------------------------------------------------------------------------------------------------------


@pytest.fixture
def volume():
    """An image of shape (5, 4, 6) with calibration and metadata, and its samples."""
    array = ramp((5, 4, 6), "uint16")
    image = image_of(array)
    _zarnik.ImageView_set_spatial_origin(image, [10.0, 20.0, 30.0])
    _zarnik.ImageView_set_spatial_spacing(image, [1.0, 2.0, 3.0])
    _zarnik.ImageView_set_metadata(image, _classes.MetadataNode("scan", None))
    return image, array


def test_adapters_take_their_arguments_in_order(volume):
    image, array = volume
    region = _classes.RegionXu64((1, 2, 3), (3, 1, 2))
    part = array[1:4, 2:3, 3:5]
    for view, expected, axes, origin in (
        (flat("extract_region")(image, region), part, "XYZ", [11, 24, 39]),
        (flat("extract_adjusted_region")(image, region), part[:, 0], "XZ", [11, 24, 39]),
        (flat("flip_dimension")(image, Y), array[:, ::-1], "XYZ", [10, 26, 30]),
        (flat("flip_dimension_index")(image, 2), array[:, :, ::-1], "XYZ", [10, 20, 45]),
        (flat("reinterpret_axes")(image, (Z, X, Y)), array.transpose(1, 2, 0), "XYZ", None),
        (flat("reinterpret_axes")(image, [X, Y, T]), array, "XYT", None),
        (flat("reinterpret")(image, _classes.ImageType([X, Y, T])), array, "XYT", None),
        (flat("make_thread_safe")(image), array, "XYZ", [10, 20, 30]),
        (flat("sub_sample")(image, 2), array[::2, ::2, ::2], "XYZ", [10, 20, 30]),
        (flat("adapt_data_type")(image, FLOAT), array.astype(numpy.float32), "XYZ", [10, 20, 30]),
        (flat("adapt_dynamic_range")(image, DOUBLE, [0.0, 128.0], [-1.0, 1.0]), array / 64.0 - 1, "XYZ", None),
    ):
        shows(view, expected)
        assert (axes_of(view), description(view)) == (axes, ("", "scan"))
        assert origin is None or spatial(view, "origin") == origin
    rgb = ramp((5, 4, 3))
    pixels = image_of(rgb, RGB)
    apart = flat("disassemble_channels")(pixels)
    shows(apart, rgb)
    shows(flat("assemble_channels")(apart), rgb, components=3)
    for source in (pixels, apart):
        shows(flat("extract_channel")(source, 2), rgb[..., 2])
        refused("channel 3 is not below the number of channels 3", flat("extract_channel"), source, 3)
    refused("samples of type VEC3_UINT8 are not scalar", flat("assemble_channels"), pixels)


def test_geometry_that_does_not_fit(volume):
    image, _ = volume
    outside = _classes.RegionXu64((4, 0, 0), (2, 1, 1))
    for text, name, *arguments in (
        (r"exceeds the image shape \(5, 4, 6\) on axis 0", "extract_region", outside),
        ("does not fit the 3 dimensions", "extract_region", whole((1, 1))),
        ("exceeds", "extract_adjusted_region", outside),
        (r"no dimension SEQUENCE, its axes are \(COLUMN, ROW, SLICE\)", "flip_dimension", T),
        ("dimension index 3", "flip_dimension_index", 3),
        ("step 0", "sub_sample", 0),
        ("twice", "reinterpret_axes", [X, X, Y]),
        ("2 dimensions, the image has 3", "reinterpret_axes", [X, Y]),
        ("image dimension 9 is unknown, allowed are 0 to 4", "reinterpret_axes", [X, Y, 9]),
        ("2 dimensions, the image has 3", "reinterpret", _classes.ImageType([X, Y])),
        ("width|different", "adapt_dynamic_range", DOUBLE, [1.0, 1.0], [0.0, 1.0]),
        ("input range", "adapt_dynamic_range", DOUBLE, [0.0, float("nan")], [0.0, 1.0]),
        ("output range", "adapt_dynamic_range", DOUBLE, [0.0, 1.0], [0.0, float("inf")]),
        ("not finite", "adapt_dynamic_range", DOUBLE, [0.0, 1e-300], [0.0, 1e300]),
        ("no dimension CHANNEL", "assemble_channels"),
        ("convert", "adapt_data_type", RGB),
        ("are no vectors", "disassemble_channels"),
        ("channel 1", "extract_channel", 1),
    ):
        refused(text, flat(name), image, *arguments)
    fails(TypeError, "not a list", flat("reinterpret_axes"), image, 5)
    fails(TypeError, "list must contain ImageDimension", flat("reinterpret_axes"), image, [X, "y", Z])


def test_there_has_to_be_an_image():
    for name, *arguments in (
        *(("extract_region", whole((1,))), ("extract_adjusted_region", whole((1,))), ("extract_channel", 0)),
        *(("flip_dimension", X), ("flip_dimension_index", 0), ("sub_sample", 1), ("from_image_view", None, None)),
        *(("reinterpret_axes", [X]), ("reinterpret", _classes.ImageType([X])), ("adapt_data_type", UINT8)),
        *(("adapt_dynamic_range", UINT8, [0.0, 1.0], [0.0, 1.0]), ("from_random_access", (5, 5), UINT16)),
        *((name,) for name in ("assemble_channels", "disassemble_channels", "make_thread_safe", "stack", "interlace")),
        *((name,) for name in ("copy_in_memory", "copy_on_disk")),
    ):
        refused("null", flat(name), None, *arguments)


def test_stack_and_interlace():
    arrays = [ramp((5, 4)) + index for index in range(3)]
    images = [image_of(array) for array in arrays]
    expected = numpy.stack(arrays, axis=-1)
    for arguments, axes in (((), "XYZ"), ((T,), "XYT"), ((C, 2), "XYC")):
        view = flat("stack")(set_of(*images), *arguments)
        shows(view, expected)
        assert (axes_of(view), capabilities_of(view)) == (axes, READ | WRITE)
    for arguments in ((), (_zarnik.ImageInterpretation_RGB, False)):
        shows(flat("interlace")(set_of(*images), *arguments), expected, components=3)
    assert _zarnik.ImageView__get_image_interpretation(flat("interlace")(set_of(*images), *arguments)) == arguments[0]
    cmyk = _zarnik.ImageInterpretation_CMYK
    refused("no frames", flat("stack"), set_of())
    smaller, wider = image_of(ramp((5, 3))), image_of(ramp((5, 4), "uint16"))
    for combine in (flat("stack"), flat("interlace")):
        refused(r"frame 1 has shape \(5, 3\), frame 0 has \(5, 4\)", combine, set_of(images[0], smaller))
        refused("frame 2 has type UINT16, frame 0 has UINT8", combine, set_of(*images[:2], wider))
    refused("have the dimension COLUMN already", flat("stack"), set_of(*images), X)
    refused("thread count 0 is not at least 1", flat("stack"), set_of(*images), Z, 0)
    refused("interpretation CMYK needs 4 channels, the image has 3", flat("interlace"), set_of(*images), cmyk, False)


def test_other_properties(volume):
    view = flat("from_image_view")(volume[0], *described(UINT16, "um", "other"))
    assert (description(view), description(volume[0])) == (("um", "other"), ("", "scan"))
    assert spatial(flat("from_image_view")(volume[0], None, None), "origin") == [10, 20, 30]


# ---- images over accessors -------------------------------------------------------------------------------------------


def test_from_random_access():
    create = flat("from_random_access")
    array = ramp((2, 3, 4), "uint16")
    access = _zarnik.RandomAccessFactory_allocate(array.nbytes)
    _zarnik.RandomAccess_write(access, 0, array.tobytes())
    for arguments, expected in (
        ((_zarnik.MemoryLayout_C, (2, 3, 4)), array),
        ((_zarnik.MemoryLayout_FORTRAN, (4, 3, 2)), array.transpose()),
        ((_zarnik.MemoryLayout_UNKNOWN, (4, 3, 2)), array.transpose()),
        (((4, 3, 2),), array.transpose()),
    ):
        shows(create(access, *arguments, UINT16), expected)
        view = create(access, *arguments, UINT16, *described(UINT16))
        shows(view, expected)
        assert description(view) == ("mm", "root")
    refused("50 bytes, which is more than the 48", create, access, (5, 5), UINT16)
    refused("memory layout 9 is unknown", create, access, 9, (2, 2), UINT16)
    _zarnik.RandomAccess_resize(access, 1)  # the memory stays where it is for the image
    shows(view, expected)
