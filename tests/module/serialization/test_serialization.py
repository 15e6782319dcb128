"""What is stored can be read back, by the library and by whoever knows the format; what is not right is refused."""

import struct

import numpy
import pytest

import _zarnik
import zarnik
from support import stored
from support.expect import fails, refused
from support.flat_names import spelled
from support.values import ELEMENTS, VECTORS
from zarnik import _classes


def encoded(kind, value):
    stream = _classes.StreamAccessFactory.allocate()
    assert getattr(_zarnik, f"Serialization_encode_{kind}")(value, stream) is None
    stream.seek(0)
    return stream.read()


def decoded(kind, data):
    return getattr(_zarnik, f"Serialization_decode_{kind}")(zarnik.open_stream(data))


@pytest.mark.parametrize("family", VECTORS, ids=lambda family: family.name)
def test_vectors(family):
    kind = f"vector_{family.name[6].lower()}{spelled(family.name[7:])}"
    for components in family.samples():
        vector = family.make(components)
        data = encoded(kind, vector)
        name, identifier, found, total = stored.sections(data)
        assert (name, total) == ("vector", len(data))
        numpy.testing.assert_array_equal(numpy.frombuffer(found["VALS"][0], stored.dtype_of(identifier)), components)
        assert family.call("__eq__", decoded(kind, data), vector)


@pytest.mark.parametrize("suffix", ELEMENTS)
def test_arrays(suffix):
    dtype = ELEMENTS[suffix][1]
    for layout, order in ((1, "C"), (2, "F")):
        values = numpy.array(numpy.arange(24).reshape(2, 3, 4), dtype, order=order)
        array = getattr(_zarnik, f"ArrayX{suffix}_from_numpy")(values)
        data = encoded(f"arrayx{suffix}", array)
        _, _, found, _ = stored.sections(data)
        assert struct.unpack("<4QI", found["ARRY"][0]) == (3, 2, 3, 4, layout)
        numpy.testing.assert_array_equal(numpy.frombuffer(found["VALS"][0], dtype), values.ravel(order))
        again = decoded(f"arrayx{suffix}", data)
        assert getattr(_zarnik, f"ArrayX{suffix}___eq__")(again, array)


@pytest.mark.parametrize("name", ["3f", "3d", "4f", "4d"])
def test_matrices(name):
    matrix = getattr(_zarnik, f"Matrix{name}_identity")()
    getattr(_zarnik, f"Matrix{name}_set_at")(matrix, 2, 1, -0.75)
    data = encoded(f"matrix_{name}", matrix)
    size = int(name[0])
    _, identifier, found, _ = stored.sections(data)
    expected = numpy.eye(size)
    expected[1, 2] = -0.75
    rows = numpy.frombuffer(found["VALS"][0], stored.dtype_of(identifier)).reshape(size, size)
    numpy.testing.assert_array_equal(rows, expected)
    assert getattr(_zarnik, f"Matrix{name}___eq__")(decoded(f"matrix_{name}", data), matrix)


def test_sequences_stand_for_vectors_and_sizes_have_to_fit():
    data = encoded("vector_3u8", [1, 2, 300])
    assert _zarnik.VectorXu8_to_string(decoded("vector_xu8", data)) == "(1, 2, 44)"
    refused("section 'VALS' has 3 bytes, 2 elements of 1 bytes were expected", decoded, "vector_2u8", data)
    refused("VALS' has 3 bytes, 4 elements", decoded, "vector_4u8", data)
    assert _zarnik.VectorXd_size(decoded("vector_xd", encoded("vector_xd", []))) == 0


def test_other_kinds_types_and_streams_are_refused():
    vector, matrix = encoded("vector_3u_16", (1, 2, 3)), encoded("matrix_3f", _zarnik.Matrix3f_identity())
    refused("elements are of type UINT16, which is not compatible with FLOAT", decoded, "vector_3f", vector)
    refused("the object is a Matrix, not a Vector", decoded, "vector_xf", matrix)
    refused("the object is a Vector, not an ImageView", decoded, "image_view", vector)
    refused("the object is a Vector, not a DataFrameView", decoded, "data_frame_view", vector)
    refused("magic number 78 78 .* is invalid, 89 5a 52 4e", decoded, "vector_3f", b"x" * 100)
    refused("ends in the header, where 38 more bytes were expected", decoded, "vector_3f", vector[:10])
    room = bytearray(60)
    full = _zarnik.StreamAccessFactory_from_random_access(_zarnik.RandomAccessFactory___from_buffer(room))
    refused("takes no more bytes: 60 were written", _zarnik.Serialization_encode_vector_3u8, (1, 2, 3), full)


def test_arguments():
    encode = _zarnik.Serialization_encode_image_view
    stream, image = zarnik.open_stream(bytearray(9)), _zarnik.ImageViewFactory_allocate((1,), _zarnik.DataTypeId_UINT8)
    fails(ValueError, "input sequence has invalid length", _zarnik.Serialization_encode_vector_2d, [1], stream)
    refused("there is no image to encode", encode, None, stream)
    refused("there is no stream", encode, image, None)
    refused("there is no stream to decode a Vector from", _zarnik.Serialization_decode_vector_2d, None)
    refused("there is no data frame", _zarnik.Serialization_encode_data_frame_view, None, stream)


def described_image():
    image = _zarnik.ImageViewFactory_allocate((3, 2, 2), _zarnik.DataTypeId_VEC3_UINT16)
    whole = _classes.RegionXu64((0, 0, 0), (3, 2, 2))
    _zarnik.ImageView___write_region(image, whole, numpy.arange(36, dtype="<u2"))
    _zarnik.ImageView_set_spatial_origin(image, (1.5, -2.0, 1e-300))
    _zarnik.ImageView_set_spatial_spacing(image, (0.5, 0.25, 3.0))
    _zarnik.ImageView_set_spatial_unit(image, "µm")
    _zarnik.ImageView_set_spatial_directions(image, _classes.SpatialDirections((0, 1, 0), (-1, 0, 0)))
    _zarnik.ImageView_set_image_interpretation(image, _zarnik.ImageInterpretation_RGB)
    _zarnik.ImageView_set_bit_depth(image, 12)
    _zarnik.ImageView_set_value_range(image, (0.0, 4000.0))
    root = _classes.MetadataNode("", None)
    for key, value in (("n", [1, -2]), ("x", 0.1), ("text", ["é", ""])):
        root.add_child(_classes.MetadataNode(key, _zarnik.VariantDataValueFactory_create(value)))
    root.child("n").add_child(_classes.MetadataNode("below", None))
    _zarnik.ImageView_set_metadata(image, root)
    return image


def test_an_image_is_read_by_another_reader_and_comes_back_whole():
    image = described_image()
    data = encoded("image_view", image)
    told = stored.image(data)
    children = [("n", [1, -2], [("below", [], [])]), ("x", [0.1], []), ("text", ["é", ""], [])]
    assert told.pop("metadata") == ("", [], children)
    numpy.testing.assert_array_equal(told.pop("samples"), numpy.arange(36).reshape(2, 2, 3, 3))
    assert told == {
        "shape": [3, 2, 2],
        "axes": [0, 1, 2],
        "interpretation": _zarnik.ImageInterpretation_RGB,
        "alpha": False,
        "bit_depth": 12,
        "range": (0.0, 4000.0),
        "origin": (1.5, -2.0, 1e-300),
        "spacing": (0.5, 0.25, 3.0),
        "column": (0.0, 1.0, 0.0),
        "row": (-1.0, 0.0, 0.0),
        "unit": "µm",
    }
    again = decoded("image_view", data)
    assert encoded("image_view", again) == data


def test_every_damaged_byte_and_every_missing_end_is_an_error():
    for kind, data in (
        ("image_view", encoded("image_view", described_image())),
        ("data_frame_view", encoded("data_frame_view", described_frame())),
    ):
        for position in range(len(data)):
            damaged = bytearray(data)
            damaged[position] ^= 0x41
            for wrong in [bytes(damaged), *[data[:position]] * (position % 7 == 0)]:
                refused("", decoded, kind, wrong)


def image_parts(shape=(2,), samples=b"ab", metadata=None):
    header = struct.pack(f"<Q{len(shape)}Q", len(shape), *shape) + struct.pack("<QIIIQ2d", 1, 0, 0, 0, 8, 0, 255)
    header += struct.pack("<12d", 0, 0, 0, 1, 1, 1, 1, 0, 0, 0, 1, 0) + struct.pack("<Q", 0)
    return [("IMAG", header), *([("META", metadata)] if metadata is not None else []), ("PIXL", samples), ("END ", b"")]


def metadata_of(*nodes):
    """A tree from keys and positions of children."""
    packed = [struct.pack(f"<Q{len(key)}sQQ{len(c)}Q", len(key), key.encode(), 0, len(c), *c) for key, c in nodes]
    return struct.pack("<Q", len(nodes)) + b"".join(packed)


def test_headers_that_ask_for_too_much_or_contradict_themselves():
    image, vector, array, frame = 4, 1, 2, 5
    uint8 = _zarnik.DataTypeId_UINT8
    assert stored.image(encoded("image_view", decoded("image_view", stored.put_together(image, uint8, *image_parts()))))

    def image_fails(text, *parts, **header):
        refused(text, decoded, "image_view", stored.put_together(image, uint8, *parts, **header))

    image_fails("format version 2.0 is not compatible with 1.0", *image_parts(), major=2)
    image_fails("flags 0x3 are not known", *image_parts(), flags=3)
    image_fails("blocks of 17 bytes", *image_parts(), block=17)
    image_fails("'PIXL' has 2 bytes, an image of shape", *image_parts(shape=(2**60,)))
    image_fails("64 bits", *image_parts(shape=(2**33, 2**33)))
    image_fails("bytes are left", *image_parts(metadata=struct.pack("<Q", 2**61)))
    image_fails("no root", *image_parts(metadata=metadata_of()))
    image_fails("node 1 of 2 has node 0 as its child", *image_parts(metadata=metadata_of(("r", [1]), ("c", [0]))))
    image_fails("node 0 of 1 has node 0 as its child", *image_parts(metadata=metadata_of(("r", [0]))))
    image_fails("two children 'c'", *image_parts(metadata=metadata_of(("r", [1, 2]), ("c", []), ("c", []))))
    image_fails("section 'NEWS' stands where it is not expected", ("NEWS", b""), *image_parts())
    image_fails("section 'PIXL' stands where", *image_parts()[1:])
    # What may be skipped is skipped, of any minor version; what is said to be there has to come.
    parts = image_parts()
    whole = stored.put_together(image, uint8, *parts, minor=9)
    extra = stored.section("NEWS", 3, flags=1) + b"abc" + stored.hash_of(b"abc")
    assert encoded("image_view", decoded("image_view", whole[:48] + extra + whole[48:]))
    huge = stored.put_together(image, uint8, parts[0]) + stored.section("META", 2**60) + b"few"
    refused("the stream ends in META", decoded, "image_view", huge)
    endless = stored.put_together(vector, uint8) + stored.section("VALS", 2**63) + bytes(100)
    refused("the stream ends in VALS", decoded, "vector_xu8", endless)
    shape = struct.pack("<3QI", 2, 2**40, 2**40, 1)
    refused("64 bits", decoded, "arrayxu8", stored.put_together(array, uint8, ("ARRY", shape), ("VALS", b"")))
    columns = struct.pack("<QQQ1sQQ", 1, 2**62, 1, b"a", 0, uint8)
    refused("cannot allocate", decoded, "data_frame_view", stored.put_together(frame, 0, ("COLS", columns)))


def described_frame():
    frame = _zarnik.DataFrameViewFactory__allocate(
        (2, 3), ["area", "name"], [_zarnik.DataTypeId_DOUBLE, _zarnik.DataTypeId_UTF8_STRING]
    )
    _zarnik.DataFrameView_set_unit(frame, 0, "mm²")
    _zarnik.DataFrameView__write_bytes(frame, 0, 0, 3, numpy.array([1.5, -2, 1e300]))
    _zarnik.DataFrameView__write_strings(frame, 1, 0, 3, ["a", "", "éé"])
    return frame


def test_tables():
    data = encoded("data_frame_view", described_frame())
    _, _, found, total = stored.sections(data)
    assert total == len(data)
    numpy.testing.assert_array_equal(numpy.frombuffer(found["NCOL"][0]), [1.5, -2, 1e300])
    count, *offsets = struct.unpack("<5Q", found["TCOL"][0][:40])
    assert (count, offsets, found["TCOL"][0][40:].decode()) == (3, [0, 1, 1, 5], "aéé")
    again = decoded("data_frame_view", data)
    assert encoded("data_frame_view", again) == data
    assert _zarnik.DataFrameView_unit(again, 0) == "mm²"
