"""Image properties with keywords, and the enumerations."""

import enum
import pickle

import numpy
import pytest

import _zarnik
import zarnik
from support.expect import raises
from support.twins import twins
from zarnik import ImageInfoProperty, ImageInterpretation, ImageProperties, SpatialDirections
from zarnik import SpatialCalibrationProperty as Calibration

DIRECTIONS = SpatialDirections(column=numpy.array([0, 1, 0], "f4"), row=(-1, 0, 0))
CALIBRATION = Calibration(origin=(1, 2, 3), spacing=numpy.full(3, 0.5, "f4"), directions=DIRECTIONS, unit="mm")
LABEL = ImageInterpretation.LABEL
INFO = ImageInfoProperty(axes="ZYX", dtype="u2", bit_depth=12, interpretation=LABEL, value_range=(0, 9))
PROPERTIES = ImageProperties(calibration=CALIBRATION, image_info=INFO)


def test_keywords_set_what_they_name_and_leave_the_rest():
    assert DIRECTIONS.slice_direction() == (0, 0, 1)
    assert SpatialDirections(zarnik.Vector3d((0, 1, 0)), zarnik.Vector3d((-1, 0, 0))) == DIRECTIONS
    assert (CALIBRATION.origin(), CALIBRATION.spacing(), CALIBRATION.unit()) == ((1, 2, 3), (0.5, 0.5, 0.5), "mm")
    assert Calibration(unit="mm").spacing() == (1, 1, 1)
    assert (INFO.bit_depth(), INFO.value_range(), INFO.alpha()) == (12, (0, 9), False)
    assert INFO.interpretation() is LABEL
    assert INFO.axes_interpretation() == zarnik.ImageTypeId.VOLUME
    assert ImageInfoProperty(dtype="u2").value_range() == (0, 65535)
    assert ImageProperties(dtype="u2").calibration() == Calibration()
    assert ImageProperties(dtype="u2") == ImageProperties.from_data_type("u2")
    assert PROPERTIES.is_compatible_with((2, 3, 4), "u2")
    assert not PROPERTIES.is_compatible_with((2, 3), "u2")
    raises(TypeError, "needs dtype, or both bit_depth and value_range", ImageInfoProperty, bit_depth=3)
    raises(TypeError, "needs image_info or dtype", ImageProperties)


@pytest.mark.parametrize("value", [DIRECTIONS, CALIBRATION, INFO, PROPERTIES], ids=lambda value: type(value).__name__)
def test_properties_are_values(value):
    assert len(list(twins(value))) == 4
    assert type(value)(value) == value


ENUMERATIONS = [value for value in vars(zarnik).values() if isinstance(value, type) and issubclass(value, enum.Enum)]


def test_enumerations_are_those_of_the_module():
    assert len(ENUMERATIONS) == 17
    members = {
        f"{family.__name__}_{name}": member for family in ENUMERATIONS for name, member in family.__members__.items()
    }
    families = tuple(f"{family.__name__}_" for family in ENUMERATIONS)
    constants = {name: value for name, value in vars(_zarnik).items() if name.startswith(families)}
    assert members == {name: value for name, value in constants.items() if isinstance(value, int)}


def test_flags_combine_to_flags_and_dimensions_to_image_types():
    capability = zarnik.ImageCapability
    assert capability.READ | capability.WRITE is capability.READ_WRITE
    assert zarnik.ImageCapabilitySet(capability.READ | capability.WRITE).value() == 3
    assert pickle.loads(pickle.dumps(capability.READ)) is capability.READ
    assert isinstance(zarnik.ImageDimension.COLUMN | zarnik.ImageDimension.ROW, zarnik.ImageType)


def test_errors_are_exceptions():
    assert issubclass(zarnik.InvalidArgument, zarnik.Error) and issubclass(zarnik.NotImplemented, zarnik.Error)
    assert str(zarnik.Error("abc")) == "abc"
    assert "NotImplemented" not in zarnik.__all__
    with pytest.raises(zarnik.Error) as caught:
        zarnik.VectorXu64([1]).at(5)
    for error in (caught.value, zarnik.NotImplemented("a"), zarnik.InvalidArgument("b")):
        twin = pickle.loads(pickle.dumps(error))
        assert (type(twin), str(twin)) == (type(error), str(error))
        assert repr(error) == f"{type(error).__name__}({str(error)!r})"
