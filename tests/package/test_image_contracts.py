"""What every image does, whatever stands behind it; what chains of adapters move is tried with chains."""

import numpy
import pytest
from numpy.testing import assert_array_equal

import _zarnik
import zarnik
from support.expect import refused
from support.sources import source_of
from zarnik import ImageCapability, ParallelAccessCapability
from zarnik import ImageViewFactory as Factory
from zarnik._tiles import in_threads

READ, WRITE, RESHAPE, MEMORY = 1, 2, 4, 8
HUGE = 2**64 - 1

SOURCES = {
    "strided": READ | WRITE | MEMORY,
    **dict.fromkeys(("read-only", "array", "accessor, read-only"), READ),
    **dict.fromkeys(("accessor", "accessor, F", "tiled"), READ | WRITE),
    "memory": READ | WRITE | RESHAPE | MEMORY,
    "disk": READ | WRITE | RESHAPE,
    "write-only": WRITE,
}


def interlaced(image):
    return Factory.interlace(zarnik.MultiImageViewFactory.create_from_list([image]))


# In the end each leaves the elements where they are; and what it keeps of the capabilities.
ADAPTERS = {
    "itself": (lambda image: image, 15),
    "geometry": (lambda image: image.flip("X").flip("X"), 11),
    "channel": (lambda image: image.channel(0), 11),
    "stack": (lambda image: zarnik.stack([image], "T", threads=3).crop(t=0), 3),
    "interlaced": (interlaced, 3),
    "sub-sampled": (lambda image: image.subsample(1), 1),
    "relabelled": (lambda image: Factory.from_image_view(image, None, None), 15),
    "thread safe": (lambda image: image.thread_safe(), 15),
    "read-only": (zarnik.ImageViewProvider.to_read_only, 1),
    "write-only": (zarnik.ImageViewProvider.to_write_only, 2),
}
CASES = [(source, adapter) for source in SOURCES for adapter in ADAPTERS]
EACH = pytest.mark.parametrize(("source", "adapter"), CASES, ids=lambda case: case)


def made(source, adapter, shape=(3, 4)):
    """An image, its source, the elements and the capabilities that it has to have."""
    values = numpy.arange(1, 1 + numpy.prod(shape)).reshape(shape).astype("u2")
    held = source_of(source, values.copy(), "ZYX"[-len(shape) :], False)
    adapt, kept = ADAPTERS[adapter]
    return adapt(held), held, values, SOURCES[source] & kept


@EACH
def test_what_an_image_tells_and_refuses(source, adapter):
    image, held, values, capabilities = made(source, adapter)
    assert image.get_capabilities().value() == capabilities
    assert (image.shape, image.axes, image.dtype) == ((3, 4), "YX", "u2")
    assert zarnik.ImageProperties(image.properties).is_compatible_with((4, 3), "u2")
    assert "(4, 3)" in image.to_string()
    first, buffer, region = (0, 0), bytearray(24), zarnik.RegionXu64((0, 0), (4, 3))
    for capability, name, *arguments in (
        (READ, "__read", first, buffer),
        (READ, "__read_region", region, buffer),
        (WRITE, "__write", first, b"ab"),
        (WRITE, "__write_region", region, buffer),
        (WRITE, "set_properties", image.properties),
        (WRITE, "set_metadata", None),
        (WRITE, "set_spatial_unit", "mm"),
        (RESHAPE, "reshape", [2, 2], zarnik.DataTypeId.UINT8),
    ):
        if not capabilities & capability:
            text = ImageCapability(capability).name
            refused(text, getattr(_zarnik, f"ImageView_{name}"), image, *arguments)
    for place in ((4, 0), (0, 3), (HUGE, 0), (0,), ()):
        for offered, name, data in ((READ, "__read", buffer), (WRITE, "__write", b"ab")):
            if capabilities & offered:
                refused("index|exceeds|dimensions", getattr(_zarnik, f"ImageView_{name}"), image, place, data)
    for origin, size in (((1, 0), (4, 1)), ((0, 2), (1, 2)), ((HUGE - 1, 0), (1, 1)), ((0,), (1,)), ((5, 0), (0, 0))):
        region = zarnik.RegionXu64(origin, size)
        for offered, name in ((READ, "__read_region"), (WRITE, "__write_region")):
            if capabilities & offered:
                refused("", getattr(_zarnik, f"ImageView_{name}"), image, region, buffer)
    assert buffer == bytes(24)
    if held.support(ImageCapability.READ):
        assert_array_equal(held.to_numpy(), values)
    origin = image.view_origin()
    if origin is None:  # which an image of others need not tell
        return
    assert (origin.uid(), bool(origin.display_name())) == (image.view_origin().uid(), True)
    parents = [origin.parent(number) for number in range(origin.parent_count())]
    assert all(parent is None or parent.uid() != origin.uid() for parent in parents)
    refused("parent", origin.parent, origin.parent_count())
    assert made(source, adapter)[0].view_origin().uid() not in (0, origin.uid())


@EACH
def test_elements_properties_and_shapes(source, adapter):
    image, held, values, capabilities = made(source, adapter)
    if capabilities & WRITE:
        image[1:, 2] = values[1:, 2] = 7, 9
        image.write((3, 0), 8)
        values[0, 3] = 8
        image.set_spatial_unit("mm")
        image.set_axes_interpretation("ZX")
        before = zarnik.ImageProperties(image.properties)
        refused("", image.set_bit_depth, 17)
        refused("", image.set_axes_interpretation, "ZYX")
        assert (image.properties, image.axes) == (before, "ZX")
        image.set_alpha(True)  # a colour model for it may follow
        image.set_image_interpretation(zarnik.ImageInterpretation.RGB)
        assert image.get_has_alpha()
        image.set_properties(before)
        before.set_calibration(zarnik.SpatialCalibrationProperty(unit="changed"))
        assert image.get_spatial_unit() == "mm"
    if capabilities & WRITE and source != "tiled":
        tree = zarnik.MetadataNode("root", None)
        image.set_metadata(tree)
        tree.add_child(zarnik.MetadataNode("late", None))
        assert (image.metadata.get_key(), len(image.metadata)) == ("root", 0)
        image.set_metadata(None)
        assert len(image.metadata) == 0
    if held.support(ImageCapability.READ):
        assert_array_equal(held.to_numpy(), values)
    if capabilities & READ:
        assert_array_equal(image[1:, ::2], values[1:, ::2])
        assert image.read((3, 0)) == values[0, 3]
    if capabilities & MEMORY:
        assert numpy.shares_memory(image.to_numpy(copy=False), held.to_numpy(copy=False))
        assert_array_equal(image.to_numpy(copy=False), values)
    if capabilities & RESHAPE:
        properties = image.properties
        for shape, dtype in (((2**60, 2**60), "u1"), ((2**60,), "f8")):
            refused("", image.reshape, shape, dtype)
        refused("", _zarnik.ImageView_reshape, image, [2, 2], zarnik.DataType())
        assert (image.properties, image.read((3, 0))) == (properties, 8)
        image.reshape((2, 3, 4), "f4")
        assert (image.shape, image.get_spatial_unit()) == ((4, 3, 2), "mm")
        image.write((1, 2, 3), 2.5)
        assert image.read((1, 2, 3)) == 2.5


@EACH
def test_what_threads_may_do(source, adapter):
    image, held, values, capabilities = made(source, adapter, (48, 64))
    parallel = image.parallel_access()
    if parallel is None:
        return
    reads, writes = (parallel.support(ParallelAccessCapability[f"PARALLEL_{name}"]) for name in ("READ", "WRITE"))
    assert bool(capabilities & READ) >= reads and bool(capabilities & WRITE) >= writes

    def work(first):
        for row in range(first, 48, 4):
            assert not reads or (image[row] == values[row]).all()
            if writes:
                image[row] = row

    in_threads(work, range(4), 4)
    if writes and held.support(ImageCapability.READ):
        assert_array_equal(held.to_numpy(), numpy.broadcast_to(numpy.arange(48)[:, None], (48, 64)))
