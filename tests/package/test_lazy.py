"""Images made of images without reading them, against the same steps in NumPy."""

import base64
import io
import os
import re
import tracemalloc

import numpy
import pytest
from hypothesis import given
from hypothesis import strategies as st

import _zarnik
import zarnik
from support.expect import raises, run_python
from support.images import Traced, values
from zarnik import _direct
from zarnik._tiles import in_threads


def volume(shape=(6, 5, 7), dtype="uint16", **description):
    array = numpy.arange(numpy.prod(shape)).reshape(shape).astype(dtype)
    image = zarnik.from_numpy(array.copy())
    for name, value in description.items():
        getattr(image, f"set_spatial_{name}")(value)
    return image, array


def shows(image, expected):
    numpy.testing.assert_array_equal(image.to_numpy(), expected)
    assert image.shape == expected.shape


SLICES = st.builds(slice, *[st.none() | st.integers(-7, 7)] * 2, st.sampled_from([None, 1, -1, 2, 3, -2]))


@given(keys=st.lists(SLICES | st.integers(0, 4), max_size=3).filter(lambda k: sum(isinstance(i, int) for i in k) < 3))
def test_crop_is_indexing(keys):
    image, array = volume()
    for kept in (image, image.to_disk()):
        shows(kept.crop(*keys), array[tuple(keys)])


@pytest.mark.skipif("ZARNIK_SANITIZED" in os.environ, reason="sanitizers need memory of their own")
def test_reading_a_chain_takes_little_memory():
    run = run_python(
        """
import resource
import numpy, zarnik
from zarnik import _direct
volume = zarnik.from_numpy(numpy.ones((65, 520, 1040), "uint16"), "ZYX")
chain = volume.crop(slice(1, 65), slice(3, 515), slice(5, 1029)).crop(..., slice(None, None, 2)).flip("X")
chain = chain.astype("float32").rescale((0, 4), (0, 1))
out = numpy.ones(chain.shape, "float32")
chain.crop(slice(0, 8), slice(0, 256)).to_numpy()
before = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss
_direct.fill_buffer(chain, (0, 0, 0), out.shape[::-1], out)
print(resource.getrusage(resource.RUSAGE_SELF).ru_maxrss - before < 2048, (out == 0.25).all())
"""
    )
    assert (run.stdout, run.stderr) == ("True True\n", "")


@pytest.mark.parametrize("dtype", ["uint16", "complex64"])
def test_an_array_is_filled_in_place(dtype):
    array = (numpy.arange(6 * 70 * 80) % 997).reshape(6, 70, 80).astype(dtype)
    image = zarnik.from_numpy(array.copy())
    chains = [(image.flip("Y").crop(x=slice(0, 79, 3)), array[:, ::-1, 0:79:3])]
    if dtype == "uint16":
        chains.append((image.astype("float32").rescale((0, 2), (0, 1)), array.astype("float32") / 2))
        stacked = zarnik.stack([image.crop(z=z).flip("X") for z in range(3)])
        chains.append((stacked, array[:3, :, ::-1]))
        frames = zarnik.MultiImageViewFactory.create_from_list([image.crop(z=0), image.crop(z=1)])
        chains.append((zarnik.ImageViewFactory.interlace(frames), numpy.stack([array[0], array[1]], -1)))
    for chain, expected in chains:
        room = numpy.zeros([2 * extent for extent in expected.shape], expected.dtype)
        places = (slice(None, None, 2), slice(None, None, -2), slice(1, None, 2))[: expected.ndim]
        for out in (numpy.zeros_like(expected), room[places], numpy.zeros_like(expected, order="F")):
            tracemalloc.start()
            assert chain.read_region(out=out) is out
            peak = tracemalloc.get_traced_memory()[1]
            tracemalloc.stop()
            numpy.testing.assert_array_equal(out, expected)
            assert peak < expected.nbytes // 4
    # What is read lies in the array that is filled.
    for axis in range(3):
        memory = array.copy()
        own = zarnik.from_numpy(numpy.flip(memory, axis))
        turned = zarnik.stack([own.crop(z=z) for z in range(6)])
        assert turned.read_region(out=memory) is memory
        numpy.testing.assert_array_equal(memory, numpy.flip(array, axis))


def test_axes_by_name():
    image, array = volume(spacing=[1.0, 2.0, 3.0], origin=[10.0, 20.0, 30.0])
    part = image.crop(y=slice(1, 4), z=5)
    shows(part, array[5, 1:4])
    assert (part.axes, image.crop(y=slice(1, 4)).origin) == ("YX", (10, 22, 30))
    shows(image.crop((slice(None), 2)), array[:, 2])
    shows(image.flip("Z", "X"), array[::-1, :, ::-1])
    assert image.rename_axes("TYX").axes == "TYX"
    shared = image.crop(slice(None, None, 2), slice(None, None, -1)).transpose("XYZ")
    assert numpy.shares_memory(shared.to_numpy(copy=False), image.to_numpy())
    # What was taken apart or turned twice is where it was.
    for same in (zarnik.stack([image.crop(z=z) for z in range(6)], "Z"), image.flip("Y").flip("Y")):
        assert same.properties.calibration() == image.properties.calibration()
    assert image.flip("Y").get_spatial_directions().get_row_direction() == (0, -1, 0)
    assert (image.crop(y=2).axes, image.crop(y=2).spacing) == ("ZX", (1, 1, 3))
    raises(ValueError, "", image.crop, t=1)
    raises(ValueError, "", image.crop, 5, z=5)
    raises(ValueError, "", image.flip, "C")
    raises(ValueError, "", image.transpose, "ZZX")
    for wrong in ((6,), (0, 0, 0), (0, 0, 0, 0)):
        raises(IndexError, "", image.crop, *wrong)


def test_channels_and_stacks():
    frames = [volume((5, 7), "uint8")[1] + index for index in range(3)]
    images = [zarnik.from_numpy(frame) for frame in frames]
    stacked, expected = zarnik.stack(images, axis="T", threads=2), numpy.stack(frames)
    assert stacked.axes == "TYX"
    shows(stacked.crop(t=slice(None, None, -2)), expected[::-2])
    shows(stacked.frames("T")[1], frames[1])
    shows(stacked.frames("Y")[4], expected[:, 4])
    colours = zarnik.stack(images, axis="C")
    for channel, frame in zip([*colours.channels(), colours.channel(2)], [*frames, frames[2]]):
        shows(channel, frame)


def test_interpretation_and_metadata_follow_the_elements():
    planes = zarnik.zeros((3, 4, 4), "uint8", axes="YXC").with_properties(
        interpretation=zarnik.ImageInterpretation.RGB, alpha=True, metadata={"a": 1}
    )
    pixels = zarnik.ImageViewFactory.assemble_channels(planes)
    for image in (planes, pixels, zarnik.ImageViewFactory.disassemble_channels(pixels)):
        assert (image.interpretation.name, image.get_has_alpha(), image.axes) == ("RGB", True, "YXC")
        assert not image.channel(3).get_has_alpha()
        assert image.channel(1).flip("Y").metadata == {"a": 1}
    opaque = planes.crop(..., slice(3))
    assert (opaque.interpretation.name, opaque.get_has_alpha()) == ("RGB", False)
    assert planes.flip("C").interpretation.name == "MULTISPECTRAL"
    together = zarnik.ImageViewFactory.interlace(pixels.channels(), zarnik.ImageInterpretation.RGB, True)
    assert together.properties.image_info() == pixels.properties.image_info()


def test_what_is_told_of_values_follows_them():
    counts = zarnik.from_numpy(numpy.array([0, 1000, 4000], "u2")).with_properties(bit_depth=12)
    assert counts.astype("u4").bit_depth == 12
    as_bytes = zarnik.from_numpy(numpy.array([1.5])).astype("u1")
    assert (as_bytes.bit_depth, as_bytes.value_range) == (8, (0, 1))
    constant = counts.rescale((0, 1), (7, 7), "u1")
    shows(constant, numpy.full(3, 7))
    assert str(constant.get_capabilities()) == "READ"  # the way back is not known
    # A product and a sum, each rounded, and what becomes of the value range, which a negative scale turns around.
    scaled = _direct.map_linearly(counts, zarnik.DataTypeId.DOUBLE, -0.1, 3.3)
    shows(scaled, numpy.array([0, 1000, 4000]) * -0.1 + 3.3)
    assert scaled.value_range == (counts.value_range[1] * -0.1 + 3.3, 3.3)
    assert _direct.map_linearly(counts, zarnik.DataTypeId.INT16, 1, -1024).value_range[0] == -1024
    raises(zarnik.Error, "not finite", _direct.map_linearly, counts, zarnik.DataTypeId.FLOAT, numpy.nan, 0)


def test_uniform_and_properties():
    image = zarnik.uniform((2**20, 2**20, 3), 7, "uint16", axes="ZYX")
    assert image.view_origin().data_origin() is zarnik.ViewDataOrigin.GENERATED
    assert image[2**20 - 1, 0].tolist() == [7, 7, 7]
    assert zarnik.uniform((2, 3, 4), 1, axes="CXY").shape == (4, 3, 2)
    changed = image.with_properties(spacing=[1.0, 2.0, 3.0], unit="mm", metadata={"scan": {"a": 1}})
    assert (changed.spacing, changed.unit, image.unit, changed[5, 5, 0]) == ((1, 2, 3), "mm", "", 7)
    raises(TypeError, "spacing", image.with_properties, colour=1)


def test_open_raw(tmp_path):
    array = numpy.arange(2 * 3 * 4, dtype="int16").reshape(2, 3, 4)
    path = tmp_path / "raw file.bin"
    path.write_bytes(b"header" + array.tobytes() + array.tobytes(order="F"))
    shows(zarnik.open_raw(path, (2, 3, 4), "int16", offset=6), array)
    shows(zarnik.open_raw(str(path), (2, 3, 4), "int16", axes="TYX", offset=6 + array.nbytes, order="F"), array)
    by_address = zarnik.open_raw(path.as_uri(), (3, 2, 4), "int16", "XZY", offset=6)
    shows(by_address, array.reshape(3, 2, 4).transpose(1, 2, 0))
    mapped = zarnik.open_raw(path, (2, 3, 4), "int16", offset=6, mode="r+")
    mapped[1, 2, 3] = -5
    assert path.read_bytes()[6 + array.nbytes - 2 : 6 + array.nbytes] == b"\xfb\xff"
    raises(zarnik.Error, "more than", zarnik.open_raw, path, (200, 3, 4), "int16")
    raises(ValueError, "order", zarnik.open_raw, path, (2,), "int16", order="K")


def test_a_long_name_is_cut_between_characters(tmp_path):
    for begin in ("", "a", "aa"):
        path = tmp_path / (begin + "\N{EURO SIGN}" * 80)
        path.write_bytes(bytes(24))
        image = zarnik.open_raw(path, (2, 3, 4), "uint8")
        for _ in range(30):
            image = image.flip("Y")
        # A part of a character would be a lone surrogate, which has no bytes.
        assert b" ..., flipped" in image.to_string().encode()


def test_a_file_is_read_in_slices_by_several_threads(tmp_path):
    path = tmp_path / "volume"
    array = numpy.random.default_rng(3).integers(0, 2**16, (5, 600, 1501), "uint16")
    path.write_bytes(b"head" + array.tobytes())
    image = zarnik.open_raw(path, array.shape, "uint16", offset=4)
    for keys in (
        (slice(None), slice(None, None, -1), slice(None)),
        (slice(None), slice(3, None), slice(None, None, -2)),
        (slice(None, None, 3), slice(None, None, 2), slice(1, None, 2)),
        (slice(None, None, -1), slice(None, None, 7), slice(20, 24)),
    ):
        shows(image.crop(*keys), array[keys])
        shows(image.crop(*keys).astype("float64"), array[keys].astype("float64"))
    row = zarnik.open_raw(path, (array.size,), "uint16", offset=4).crop(slice(None, None, 3)).astype("int32")
    shows(row, array.ravel()[::3].astype("int32"))
    os.truncate(path, array.nbytes // 2)
    raises(zarnik.Error, "could be read of", image.astype("float32").to_numpy)


def test_from_array_reads_what_is_asked_for():
    array = numpy.arange(600 * 800, dtype="float32").reshape(600, 800)
    source = Traced(array, (100, 200))
    image = zarnik.from_array(source)
    assert (image.shape, image.dtype, source.keys) == (array.shape, array.dtype, [])
    assert list(image.tiling_info().max_tile_size()) == [200, 100]
    shows(image.crop(slice(10, 20), slice(30, 50)), array[10:20, 30:50])
    assert source.keys == [((10, 20), (30, 50))]
    tiles = image.crop(slice(50, 450), slice(100, 700)).flip("X").transpose().tiling_info()
    assert (list(tiles.max_tile_size()), tiles.tile_count()) == ([100, 200], 5 * 4)
    assert tiles.tile_region(0) == ((0, 0), (50, 100))
    raises(zarnik.Error, "WRITE", image.write, (0, 0), 1)
    in_threads(lambda _: shows(image, array), range(3), 3)
    raises(TypeError, "", zarnik.from_array, numpy.zeros(3, "U4"))
    raises(TypeError, "an array with shape, dtype and slices is needed, got 5", zarnik.from_array, 5)


READERS = {
    "array": lambda image: image.to_numpy(),
    "element": lambda image: image[1, 2],
    "chain": lambda image: image.flip("X").crop(y=slice(1, 3)).astype("float32")[...],
    "copy": lambda image: image.to_memory(),
    "flat copy": lambda image: _zarnik.ImageViewFactory_copy_in_memory(image),
    "threads": lambda image: zarnik.stack([image, image], "T", threads=2)[...],
}


@pytest.mark.parametrize("read", READERS.values(), ids=READERS)
def test_from_array_that_fails(read):
    class Failing(Traced):
        def __getitem__(self, key):
            if not self.keys:
                self.keys.append(key)
                raise KeyError("the disk is on fire")
            return super().__getitem__(key)

    image = zarnik.from_array(Failing(numpy.zeros((4, 4), "uint8")))
    with pytest.raises(zarnik.Error, match="KeyError: 'the disk is on fire'") as caught:
        read(image)
    assert isinstance(caught.value.__cause__, KeyError) and caught.value.__cause__.__traceback__
    assert image.to_numpy().tolist() == [[0] * 4] * 4


def test_copies_read_every_chunk_once(tmp_path):
    array = numpy.arange(700 * 9 * 3000, dtype="uint16").reshape(700, 9, 3000)
    for copy in (lambda image: image.to_memory(), lambda image: image.to_disk(tmp_path)):
        source = Traced(array, (500, 4, 1000))
        shows(copy(zarnik.from_array(source)), array)
        assert all(first % size == 0 for key in source.keys for (first, _), size in zip(key, source.chunks))
        assert sum(numpy.prod([stop - first for first, stop in key]) for key in source.keys) == array.size


def test_levels_tell_their_progress():
    levels = zarnik.coarser_levels(volume((40, 100, 200))[0], coarsest=10)
    total = sum(level.nbytes for level in list(levels)[1:])
    raises(KeyError, "enough", levels.compute, progress=lambda done, total: {}["enough"])
    told = []
    levels.compute(progress=lambda *now: told.append(now))
    assert told == sorted(told) and told[-1] == (total, total)


def test_long_operations_end_by_ctrl_c(tmp_path):
    """Also where the samples come from Python code, which the interrupted thread runs."""
    run = run_python(
        """
import os, signal, time
import numpy, zarnik

class Slow:
    shape, dtype, chunks = (400, 500, 500), numpy.dtype("u2"), (4, 500, 500)
    def __getitem__(self, key):
        time.sleep(0.2)
        return numpy.zeros([place.stop - place.start for place in key], "u2")

slow = zarnik.from_array(Slow())
levels = zarnik.coarser_levels(slow.crop(z=slice(0, 100)), folder=sys.argv[1])
image = zarnik.uniform((100, 4000, 4000), 1, "u2").astype("f4")
for operation in (
    image.to_memory, lambda: image.to_disk(sys.argv[1]), slow.to_memory, lambda: slow.to_disk(sys.argv[1]),
    levels[2].to_numpy,
):
    before = os.listdir(sys.argv[1])
    signal.signal(signal.SIGALRM, signal.default_int_handler)
    signal.setitimer(signal.ITIMER_REAL, 0.3)
    try:
        operation()
    except KeyboardInterrupt:
        print(os.listdir(sys.argv[1]) == before)
""",
        str(tmp_path),
    )
    assert (run.stdout, run.stderr, run.returncode) == ("True\n" * 5, "", 0)


def thumbnail(image):
    """The picture of an image."""
    png = base64.b64decode(re.search(r"base64,([^']+)'", image._repr_html_()).group(1))
    return pytest.importorskip("PIL.Image").open(io.BytesIO(png))


@pytest.mark.parametrize("axes", ["YX", "ZYX", "TZYX", "YXC"])
def test_thumbnails(axes):
    shape = [{"T": 2, "Z": 9, "Y": 40, "X": 50, "C": 3}[letter] for letter in axes]
    array = values(shape, "uint8")
    picture = thumbnail(zarnik.from_numpy(array, axes)).convert()
    assert (picture.size, picture.mode) == ((50, 40), "RGB" if axes == "YXC" else "L")
    assert axes != "YXC" or (numpy.asarray(picture) == array).all()


def test_thumbnails_have_the_proportions_of_space():
    for count in (30, 30000):
        image = zarnik.uniform((30, 1, count), 7, "uint8").with_properties(spacing=(30 / count, 1, 2))
        width, height = thumbnail(image.crop(y=0)).size
        assert height / width == pytest.approx(2, rel=0.02)


def test_descriptions_are_escaped():
    image = zarnik.from_numpy(numpy.zeros((2, 2), "uint8"))
    image.set_spatial_unit("<script>")
    assert "<script>" not in image._repr_html_()
    huge = zarnik.uniform((2**20, 2**30), 1, "uint8")
    assert "thumbnail" not in huge._repr_html_()
