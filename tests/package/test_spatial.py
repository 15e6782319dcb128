"""Where images lie in space, against matrices of NumPy and the scans of nibabel."""

from itertools import product

import numpy
import pytest
from hypothesis import given
from hypothesis import strategies as st
from numpy.testing import assert_allclose, assert_array_equal

import zarnik
from support.expect import raises

FLIP = numpy.diag((-1.0, -1.0, 1.0, 1.0))


@st.composite
def affines(draw):
    """Draw matrices without shear, left-handed ones too."""
    random = numpy.random.default_rng(draw(st.integers(0, 2**32)))
    rotation, _ = numpy.linalg.qr(random.normal(size=(3, 3)))
    signs = draw(st.sampled_from(list(product((1, -1), repeat=3))))
    matrix = numpy.eye(4)
    matrix[:3, :3] = rotation * signs * random.uniform(0.1, 5, 3)
    matrix[:3, 3] = random.normal(size=3) * 100
    return matrix


@given(matrix=affines())
def test_matrices_come_back_with_their_handedness(matrix):
    image = zarnik.zeros((4, 5, 6), "u2", "XYZ")
    image.unit = "mm"
    image.set_affine(matrix)
    assert_allclose(image.affine, matrix, rtol=0, atol=1e-12)
    assert_allclose(image.get_affine("LPS"), FLIP @ matrix, rtol=0, atol=1e-12)
    assert numpy.sign(numpy.linalg.det(image.affine[:3, :3])) == numpy.sign(numpy.linalg.det(matrix[:3, :3]))
    assert (image.unit, image.axes) == ("mm", "ZYX")
    assert_allclose(numpy.abs(image.spacing), numpy.linalg.norm(matrix[:3, :3], axis=0))

    other = zarnik.zeros((4, 5, 6), "u2", "XYZ")
    other.set_affine(FLIP @ matrix, convention="LPS")
    assert_allclose(other.affine, matrix, rtol=0, atol=1e-12)

    index = numpy.random.default_rng(0).uniform(-3, 3, (2, 7, 3))
    expected = (matrix @ numpy.concatenate((index, numpy.ones((2, 7, 1))), -1)[..., None])[..., :3, 0]
    assert_allclose(image.index_to_world(index), expected, atol=1e-9)
    assert_allclose(image.world_to_index(expected), index, atol=1e-9)
    assert_allclose(image.index_to_world((1, 2)), (matrix @ (1, 2, 0, 1))[:3], atol=1e-9)
    assert image.world_to_index(image.index_to_world([1, 2, 3])).shape == (3,)


@pytest.mark.parametrize(
    ("change", "text"),
    [
        (lambda m: m.__setitem__((0, 1), 0.1), "shears: X and Y are 8[45].* degrees apart"),
        (lambda m: m.__setitem__((1, 2), 0.01), "shears: Y and Z"),
        (lambda m: m.__setitem__((slice(None), 2), 0), "axis Z of the affine matrix has no extent"),
        (lambda m: m.__setitem__((0, 0), numpy.nan), "finite"),
        (lambda m: m.__setitem__((3, 0), 1), r"last row of an affine matrix is \(0, 0, 0, 1\)"),
    ],
)
def test_what_is_no_position_of_voxels_is_refused(change, text):
    image = zarnik.zeros((4, 5, 6), "u2", "XYZ")
    before = image.affine
    matrix = numpy.eye(4)
    change(matrix)
    raises(ValueError, text, image.set_affine, matrix)
    raises(ValueError, "'RAS' or 'LPS', got 'ras'", image.set_affine, before, "ras")
    raises(ValueError, r"shape \(2, 2\)", image.set_affine, numpy.eye(2))
    assert_array_equal(image.affine, before)


def test_calibration_is_set_like_attributes():
    array = numpy.zeros((3, 4, 5), "i2")
    for writeable in (True, False):
        array.flags.writeable = writeable
        image = zarnik.from_numpy(
            array, "ZYX", spacing=(1, 2), origin=[3, 4, 5], unit="mm", metadata={"a": 1}, interpretation="LABEL"
        )
        assert (image.spacing, image.origin, image.unit) == ((1, 2, 1), (3, 4, 5), "mm")
        assert image.metadata == {"a": 1}
        assert image.interpretation is zarnik.ImageInterpretation.LABEL
        image.spacing, image.origin, image.unit = numpy.float32((2, 3, 4)), (1,), "um"
        image.directions = (0, 1, 0), (-1, 0, 0)
        image.value_range, image.bit_depth, image.interpretation = (-5, 5), 12, "grayscale"
        assert (image.get_spatial_spacing(), image.origin, image.get_spatial_unit()) == ((2, 3, 4), (1, 4, 5), "um")
        assert image.directions == zarnik.SpatialDirections(column=(0, 1, 0), row=(-1, 0, 0))
        assert (image.value_range, image.bit_depth, int(image.interpretation)) == ((-5, 5), 12, 1)
        for name, value, error in (
            ("spacing", 5, TypeError),
            ("spacing", (1, 2, 3, 4), ValueError),
            ("spacing", (0, 1, 1), zarnik.Error),
            ("origin", "abc", TypeError),
            ("unit", 5, TypeError),
            ("directions", 5, TypeError),
            ("interpretation", "colour", ValueError),
            ("bit_depth", 1.5, TypeError),
            ("affine", numpy.eye(4), AttributeError),
        ):
            raises(error, "", setattr, image, name, value)
        assert image.spacing == (2, 3, 4)
    raises(zarnik.Error, "", setattr, zarnik.ImageViewProvider.to_read_only(image), "spacing", (2, 2))


def test_properties_without_axes_keep_those_of_the_image():
    image = zarnik.zeros((3, 4, 5), "u2", "TYX")
    calibration = zarnik.SpatialCalibrationProperty(spacing=(2, 2, 2))
    image.properties = zarnik.ImageProperties(dtype="u2", calibration=calibration)
    assert (image.axes, image.spacing) == ("TYX", (2, 2, 2))
    image.properties = zarnik.ImageProperties(image_info=zarnik.ImageInfoProperty(dtype="u2", axes="ZYX"))
    assert image.axes == "ZYX"


def test_new_images_are_like_others():
    image = zarnik.full((2, 4, 3), 7, "u2", "YXC", unit="mm", metadata={"a": [1]}, interpretation="RGB")
    image.value_range = (0, 9)
    assert numpy.all(image.to_numpy() == 7)
    for like, value in ((zarnik.zeros_like(image), 0), (zarnik.full_like(image, 3), 3)):
        assert (like.axes, like.shape, like.dtype, like.unit) == ("YXC", (2, 4, 3), numpy.uint16, "mm")
        assert (like.value_range, like.metadata, int(like.interpretation)) == ((0, 9), {"a": [1]}, 0x21)
        assert numpy.all(like.to_numpy() == value)
    other = zarnik.empty_like(image, "f4")
    assert (other.dtype, other.value_range) == (numpy.float32, (0, 1))
    assert zarnik.zeros(5).axes == "X"
    assert zarnik.empty((2, 2), zarnik.DataTypeId.INT16).dtype == numpy.int16
    raises(ValueError, r"5 axes.*pass axes", zarnik.zeros, (1,) * 5)
    raises(TypeError, "axis C", zarnik.zeros, (2, 2), zarnik.DataTypeId.VEC3_UINT8)
