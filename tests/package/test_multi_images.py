"""Sets of images as sequences, and images at several levels of detail."""

import numpy
import pytest

import zarnik
from support.expect import raises


def images(count):
    return [zarnik.from_numpy(numpy.full((2, 3), index, "uint8")) for index in range(count)]


def values(frames):
    return [int(frame[0, 0]) for frame in frames]


def test_a_set_is_a_sequence():
    frames = zarnik.multi_image(images(5))
    assert (len(frames), values(frames), values(reversed(frames))) == (5, [0, 1, 2, 3, 4], [4, 3, 2, 1, 0])
    assert (values(frames[1:4:2]), values([frames[-1], frames[0]])) == ([1, 3], [4, 0])
    del frames[1::2]
    frames.append(images(8)[7])
    frames[0] = images(10)[9]
    frames.extend(images(2))
    del frames[-1]
    assert values(frames) == [9, 2, 4, 7, 0]
    for wrong in (5, -6, 2**70):
        raises(IndexError, "", frames.__getitem__, wrong)
    raises(TypeError, "", frames.__getitem__, "a")
    frames.metadata = {"series": {"name": "a"}}
    assert "name = 'a'" in str(frames.metadata)
    assert "5 images" in repr(frames)
    assert len(zarnik.multi_image()) == 0


def mean_of_pairs(array):
    for axis in range(array.ndim):
        first = numpy.arange(0, array.shape[axis], 2)
        last = numpy.minimum(first + 1, array.shape[axis] - 1)
        array = (array.take(first, axis).astype(float) + array.take(last, axis)) / 2
    return array


@pytest.mark.parametrize("shape", [(300, 401), (90, 101, 75)])
@pytest.mark.parametrize("dtype", ["uint8", "float32"])
def test_coarser_levels_are_means(shape, dtype):
    array = numpy.random.default_rng(1).integers(0, 255, shape).astype(dtype)
    image = zarnik.from_numpy(array)
    image.set_spatial_spacing([1.0, 2.0, 3.0])
    lod = zarnik.coarser_levels(image, coarsest=30)
    assert lod.levels[0] == 0
    assert len(lod) == len(lod.levels) == len(list(lod))
    first, expected = lod[1], mean_of_pairs(array)
    for part in (tuple(slice(size // 3, size) for size in first.shape), ...):
        numpy.testing.assert_allclose(first[part], expected[part], atol=0.5 if dtype == "uint8" else 1e-4)
    assert (first.spacing[:2], first.origin[:2]) == ((2, 4), (0.5, 1))
    assert max(lod[lod.levels[-1]].shape) <= 30
    assert max(lod.at_most(64).shape) <= 64
    raises(IndexError, "", lod.__getitem__, len(lod))


def test_labels_keep_their_values():
    array = numpy.random.default_rng(2).integers(0, 3, (50, 61)).astype("uint8") * 100
    image = zarnik.from_numpy(array, interpretation=zarnik.ImageInterpretation.LABEL)
    lod = zarnik.coarser_levels(image, coarsest=16)
    numpy.testing.assert_array_equal(lod[1].to_numpy(), array[::2, ::2])
    numpy.testing.assert_array_equal(lod[2].to_numpy(), array[::4, ::4])
    assert list(lod[1].get_spatial_origin()) == [0, 0, 0]
    raises(ValueError, "median", zarnik.coarser_levels, image, "median")


def test_given_levels():
    lod = zarnik.lod_image(images(3), -1)
    assert (list(lod.levels), values(lod), int(lod[0][0, 0])) == ([-1, 0, 1], [0, 1, 2], 1)
    assert "(3, 2)" in lod.to_string()
    for level in (-2, 2, -(2**63)):
        raises((zarnik.Error, IndexError), "", lod.resolution, level)
    for count, first in ((2, 1), (1, -1), (1, 1), (1, -(2**63)), (0, 0)):
        raises(zarnik.Error, "", zarnik.lod_image, images(count), first)
    raises(TypeError, "", zarnik.lod_image, [5])
