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


# ---- adapters --------------------------------------------------------------------------------------------------------

X, Y, Z, C, T = range(5)


def set_of(*images):
    return _zarnik.MultiImageViewFactory_create_from_list(images)


def axes_of(view):
    value = _zarnik.ImageType_value(_zarnik.ImageView_get_axes_interpretation(view))
    return "".join(letter for bit, letter in enumerate("XYZCT") if value >> bit & 1)


def vector3(view, what):
    return list(getattr(_zarnik, f"ImageView_get_spatial_{what}")(view))


@pytest.fixture(params=["memory", "disk"])
def volume(request):
    """An image of shape (5, 4, 6) with calibration and metadata, and its samples."""
    array = ramp((5, 4, 6), "uint16")
    image = image_of(array)
    _zarnik.ImageView_set_spatial_origin(image, [10.0, 20.0, 30.0])
    _zarnik.ImageView_set_spatial_spacing(image, [1.0, 2.0, 3.0])
    _zarnik.ImageView_set_metadata(image, node("scan"))
    return (image if request.param == "memory" else flat("copy_on_disk")(image)), array


def shows(view, expected, components=1):
    numpy.testing.assert_array_equal(array_of(view, expected.dtype, components), expected)


def test_geometry(volume):
    image, array = volume
    memory = capabilities_of(image) & MEMORY
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
    ):
        shows(view, expected)
        assert axes_of(view) == axes
        assert capabilities_of(view) == READ | WRITE | memory
        assert key_of(view) == "scan"
        if origin:
            assert vector3(view, "origin") == origin
        # What is written to the view goes to the image.
        index = [size - 1 for size in shape_of(view)]
        _zarnik.ImageView___write(view, index, b"\xfe\xff")
        changed = array_of(image, numpy.uint16)
        assert (changed != array).sum() == 1
        _zarnik.ImageView___write_region(image, whole(array.shape), array.tobytes(order="F"))


def test_sub_sampling(volume):
    image, array = volume
    view = flat("sub_sample")(image, 2)
    shows(view, array[::2, ::2, ::2])
    assert vector3(view, "spacing") == [2, 4, 6]
    assert capabilities_of(view) == READ
    shows(flat("sub_sample")(image, 1), array)
    shows(flat("sub_sample")(image, 100), array[:1, :1, :1])
    refused("step 0", flat("sub_sample"), image, 0)


def test_geometry_that_does_not_fit(volume):
    image, _ = volume
    outside = _classes.RegionXu64((4, 0, 0), (2, 1, 1))
    refused(r"exceeds .*shape \(5, 4, 6\)", flat("extract_region"), image, outside)
    refused(r"exceeds", flat("extract_adjusted_region"), image, outside)
    refused("no dimension SEQUENCE", flat("flip_dimension"), image, T)
    refused("dimension index 3", flat("flip_dimension_index"), image, 3)
    refused("twice", flat("reinterpret_axes"), image, [X, X, Y])
    refused("dimension", flat("reinterpret_axes"), image, [X, Y])
    refused("image dimension 9 is unknown, allowed are 0 to 4", flat("reinterpret_axes"), image, [X, Y, 9])
    refused("dimension", flat("reinterpret"), image, _classes.ImageType([X, Y]))
    fails(TypeError, "not a list", flat("reinterpret_axes"), image, 5)
    fails(TypeError, "list must contain ImageDimension", flat("reinterpret_axes"), image, [X, "y", Z])
    for name, *arguments in (
        ("extract_region", outside),
        ("extract_adjusted_region", outside),
        ("flip_dimension", X),
        ("flip_dimension_index", 0),
        ("reinterpret_axes", [X]),
        ("reinterpret", _classes.ImageType([X])),
        ("sub_sample", 1),
        ("extract_channel", 0),
        ("assemble_channels",),
        ("disassemble_channels",),
        ("make_thread_safe",),
        ("adapt_data_type", UINT8),
        ("adapt_dynamic_range", UINT8, [0.0, 1.0], [0.0, 1.0]),
        ("from_image_view", None, None),
        ("stack",),
        ("interlace",),
    ):
        refused("null", flat(name), None, *arguments)


def test_values(volume):
    image, array = volume
    double = _zarnik.DataTypeId_DOUBLE
    shows(flat("adapt_data_type")(image, _zarnik.DataTypeId_FLOAT), array.astype(numpy.float32))
    view = flat("adapt_dynamic_range")(image, double, [0.0, 100.0], [-1.0, 1.0])
    numpy.testing.assert_allclose(array_of(view, numpy.float64), array / 50.0 - 1)
    assert capabilities_of(view) == READ | WRITE
    assert list(_zarnik.ImageView_get_value_range(view)) == [-1, 1]
    _zarnik.ImageView___write(view, (1, 1, 1), numpy.float64(0.5).tobytes())
    assert array_of(image, numpy.uint16)[1, 1, 1] == 75
    # Not clamped to the range, but to what the type can hold.
    shows(
        flat("adapt_dynamic_range")(flat("copy_in_memory")(image), UINT8, [0.0, 10.0], [0.0, 100.0]),
        numpy.clip(array_of(image, numpy.uint16).astype(float) * 10, 0, 255).astype(numpy.uint8),
    )
    wild = image_of(numpy.array([[numpy.nan, numpy.inf, -numpy.inf, 0.5, 1.5, 2.5, -0.5, 300]]).T)
    shows(flat("adapt_data_type")(wild, UINT8), numpy.array([[0, 255, 0, 0, 2, 2, 0, 255]], numpy.uint8).T)
    refused("width|different", flat("adapt_dynamic_range"), image, double, [1.0, 1.0], [0.0, 1.0])
    refused("finite", flat("adapt_dynamic_range"), image, double, [0.0, float("nan")], [0.0, 1.0])
    refused("convert", flat("adapt_data_type"), image, RGB)


def test_channels():
    rgb = ramp((5, 4, 3))
    image = image_of(rgb, RGB)
    shows(flat("extract_channel")(image, 2), rgb[..., 2])
    refused("channel 3", flat("extract_channel"), image, 3)
    apart = flat("disassemble_channels")(image)
    shows(apart, rgb)
    assert axes_of(apart) == "XYC"
    together = flat("assemble_channels")(apart)
    shows(together, rgb, components=3)
    refused("samples of type VEC3_UINT8 are not scalar", flat("assemble_channels"), image)
    refused("are no vectors", flat("disassemble_channels"), apart)
    shows(flat("extract_channel")(apart, 1), rgb[..., 1])
    for view, place in ((flat("extract_channel")(image, 1), (2, 3, 1)), (apart, (2, 3, 0))):
        index = (2, 3) if axes_of(view) == "XY" else place
        _zarnik.ImageView___write(view, index, b"\xff")
        assert array_of(image, numpy.uint8, 3)[place] == 255


def test_stack_and_interlace():
    arrays = [ramp((5, 4)) + index for index in range(3)]
    images = [image_of(array) for array in arrays]
    expected = numpy.stack(arrays, axis=-1)
    for arguments, axes in (((), "XYZ"), ((Z,), "XYZ"), ((T,), "XYT"), ((C, 2), "XYC"), ((Z, 3), "XYZ")):
        view = flat("stack")(set_of(*images), *arguments)
        shows(view, expected)
        assert axes_of(view) == axes
        assert capabilities_of(view) == READ | WRITE
    colours = flat("interlace")(set_of(*images), _zarnik.ImageInterpretation_RGB, False)
    shows(colours, expected, components=3)
    assert _zarnik.ImageView__get_image_interpretation(colours) == _zarnik.ImageInterpretation_RGB
    shows(flat("interlace")(set_of(*images)), expected, components=3)
    _zarnik.ImageView___write(colours, (4, 3), b"\1\2\3")
    assert [array_of(image, numpy.uint8)[4, 3] for image in images] == [1, 2, 3]

    refused("null|empty|frame", flat("stack"), set_of())
    refused("frame 1", flat("stack"), set_of(images[0], image_of(ramp((5, 3)))))
    refused("frame 1", flat("stack"), set_of(images[0], image_of(ramp((5, 4), "uint16"))))
    refused("have the dimension COLUMN already", flat("stack"), set_of(*images), X)
    refused("thread count 0 is not at least 1", flat("stack"), set_of(*images), Z, 0)
    refused("frame 1", flat("interlace"), set_of(images[0], image_of(ramp((5, 3)))))
    refused(
        "interpretation CMYK needs 4 channels, the image has 3",
        flat("interlace"),
        set_of(*images),
        _zarnik.ImageInterpretation_CMYK,
        False,
    )
    multi = "std::shared_ptr< zarnik::MultiImageView >"
    fails(
        TypeError,
        no_overload(
            "ImageViewFactory_stack",
            f"{PREFIX}stack({multi},zarnik::ImageDimension)",
            f"{PREFIX}stack({multi})",
            f"{PREFIX}stack({multi},zarnik::ImageDimension,size_t)",
        ),
        flat("stack"),
        5,
    )
    fails(
        TypeError,
        no_overload(
            "ImageViewFactory_interlace",
            f"{PREFIX}interlace({multi},zarnik::ImageInterpretation,bool)",
            f"{PREFIX}interlace({multi})",
        ),
        flat("interlace"),
        set_of(*images),
        33,
        0,
    )


def test_other_properties(volume):
    image, array = volume
    view = flat("from_image_view")(image, properties(UINT16, "um"), node("other"))
    assert capabilities_of(view) == capabilities_of(image)
    assert (_zarnik.ImageView_get_spatial_unit(view), key_of(view)) == ("um", "other")
    assert (_zarnik.ImageView_get_spatial_unit(image), key_of(image)) == ("", "scan")
    shows(view, array)
    same = flat("from_image_view")(image, None, None)
    assert vector3(same, "origin") == [10, 20, 30]
    _zarnik.ImageView_set_spatial_unit(same, "km")
    assert _zarnik.ImageView_get_spatial_unit(image) == ""
    _zarnik.ImageView___write(view, (0, 0, 0), b"\1\1")
    assert array_of(image, numpy.uint16)[0, 0, 0] == 257


def test_thread_safe(volume):
    image, array = volume
    view = flat("make_thread_safe")(image)
    shows(view, array)
    assert capabilities_of(view) == capabilities_of(image)
    assert _zarnik.ImageView_parallel_access(view).support(_zarnik.ParallelAccessCapability_THREAD_SAFE)


# ---- images over accessors -------------------------------------------------------------------------------------------


def accessor(array):
    """Random access to the bytes of an array in C order."""
    access = _zarnik.RandomAccessFactory_allocate(array.nbytes)
    _zarnik.RandomAccess_write(access, 0, array.tobytes())
    return access


def test_from_random_access():
    create = flat("from_random_access")
    array = ramp((2, 3, 4), "uint16")
    access = accessor(array)
    c_order, fortran = _zarnik.MemoryLayout_C, _zarnik.MemoryLayout_FORTRAN
    for arguments, expected in (
        ((c_order, (2, 3, 4)), array),
        ((fortran, (4, 3, 2)), array.transpose()),
        ((_zarnik.MemoryLayout_UNKNOWN, (4, 3, 2)), array.transpose()),
        (((4, 3, 2),), array.transpose()),
    ):
        plain = create(access, *arguments, UINT16)
        described = create(access, *arguments, UINT16, properties(UINT16), node())
        for view in (plain, described):
            shows(view, expected)
            assert capabilities_of(view) & (READ | WRITE) == READ | WRITE
        assert (_zarnik.ImageView_get_spatial_unit(described), key_of(described)) == ("mm", "root")
    refused("24 bytes, which is more than the 48|50 bytes, which is more than the 48", create, access, (5, 5), UINT16)
    refused("null", create, None, (5, 5), UINT16)
    refused("memory layout 9 is unknown", create, access, 9, (2, 2), UINT16)
    # The memory is shared, and stays where it is for the image.
    view = create(access, c_order, (2, 3, 4), UINT16)
    _zarnik.ImageView___write(view, (1, 2, 3), b"\xff\xff")
    last = bytearray(2)
    _zarnik.RandomAccess___read(access, array.nbytes - 2, last)
    assert last == b"\xff\xff"
    if capabilities_of(view) & MEMORY:
        _zarnik.RandomAccess_resize(access, 1)
        array_of(view, numpy.uint16)


def test_prototypes_over_accessors():
    access, layout = "std::shared_ptr< zarnik::RandomAccess >", "zarnik::MemoryLayout"
    name = f"{PREFIX}fromRandomAccess({access}"
    fails(
        TypeError,
        no_overload(
            "ImageViewFactory_from_random_access",
            f"{name},{layout},{VECTOR},{TYPE} const,{PROPERTIES},{CONST_METADATA} const)",
            f"{name},{layout},{VECTOR},{TYPE} const)",
            f"{name},{VECTOR},{TYPE} const,{PROPERTIES},{CONST_METADATA})",
            f"{name},{VECTOR},{TYPE} const)",
        ),
        flat("from_random_access"),
        5,
        (2,),
        UINT16,
    )
