"""Image properties: calibration, image information, what an image can have, and the read-only views of them."""

import gc
import math

import pytest

import _zarnik
from support.expect import bad_argument, refused
from support.shared_types import CountingView
from zarnik import _classes

UINT8, UINT16 = _zarnik.DataTypeId_UINT8, _zarnik.DataTypeId_UINT16
RGB, GRAYSCALE, CMYK = (getattr(_zarnik, f"ImageInterpretation_{name}") for name in ("RGB", "GRAYSCALE", "CMYK"))
IMAGE, VOLUME = _zarnik.cvar.ImageTypeId_IMAGE, _zarnik.cvar.ImageTypeId_VOLUME
COLOURS = _zarnik.cvar.ImageTypeId_MULTISPECTRAL_IMAGE

# The flat functions themselves: the package gives some of the classes richer constructors.
new_calibration, new_info = _zarnik.new_SpatialCalibrationProperty, _zarnik.new_ImageInfoProperty
new_directions, new_properties = _zarnik.new_SpatialDirections, _zarnik.new_ImageProperties
from_data_type = _zarnik.ImageProperties_from_data_type


def get(thing, kind, name):
    return getattr(_zarnik, f"{kind}_get_{name}")(thing)


def set_(thing, kind, **changes):
    for name, value in changes.items():
        getattr(_zarnik, f"{kind}_set_{name}")(thing, value)
    return thing


def parts(directions):
    return [tuple(get(directions, "SpatialDirections", f"{axis}_direction")) for axis in ("column", "row", "slice")]


def test_directions():
    straight = new_directions()
    assert parts(straight) == [(1, 0, 0), (0, 1, 0), (0, 0, 1)]
    turned = new_directions((0, 1, 0), [1, 0, 0])
    assert parts(turned) == [(0, 1, 0), (1, 0, 0), (0, 0, -1)]
    assert parts(new_directions(turned)) == parts(turned)
    assert _zarnik.SpatialDirections___ne__(straight, turned)
    assert _zarnik.SpatialDirections___eq__(straight, new_directions())
    assert _zarnik.SpatialDirections___eq__(straight, 5) is NotImplemented
    assert "column (0, 1, 0)" in _zarnik.SpatialDirections_to_string(turned)


@pytest.mark.parametrize("count", range(5))
def test_calibration_defaults_and_setters_agree_with_constructors(count):
    turned, kind = new_directions((0, 1, 0), (1, 0, 0)), "SpatialCalibrationProperty"
    defaults = {"origin": (0, 0, 0), "spacing": (1, 1, 1), "directions": new_directions(), "unit": ""}
    given = {"origin": (1, 2, 3), "spacing": (0.5, 0.25, 2), "directions": turned, "unit": "µm"}
    given = dict(list(given.items())[:count])
    made = new_calibration(*given.values())
    assert _zarnik.SpatialCalibrationProperty___eq__(made, set_(new_calibration(), kind, **given))
    assert _zarnik.SpatialCalibrationProperty___ne__(made, new_calibration(*list(given.values())[:-1])) == (count > 0)
    assert _zarnik.SpatialCalibrationProperty___eq__(new_calibration(made), made)
    for name, value in (defaults | given).items():
        assert get(made, kind, name) == value
    assert "origin" in _zarnik.SpatialCalibrationProperty_to_string(made)


def test_image_information():
    full, unknown = new_info(VOLUME, CMYK, True, 12, (0, 4095)), new_info(UINT16)
    for info, interpretation, *others in (
        (full, CMYK, VOLUME, True, 12, (0, 4095)),
        (unknown, _zarnik.ImageInterpretation_UNKNOWN, _zarnik.cvar.ImageTypeId_UNKNOWN, False, 16, (0, 65535)),
    ):
        assert _zarnik.ImageInfoProperty__get_interpretation(info) == interpretation
        names = ("axes_interpretation", "alpha", "bit_depth", "value_range")
        assert [get(info, "ImageInfoProperty", name) for name in names] == others
    typed = new_info(VOLUME, _classes.DataType(UINT16))
    changed = set_(typed, "ImageInfoProperty", interpretation=CMYK, alpha=True, bit_depth=12, value_range=(0, 4095))
    assert _zarnik.ImageInfoProperty___eq__(changed, full)
    assert not _zarnik.ImageInfoProperty___eq__(new_info(VOLUME, CMYK, True, UINT16), full)
    assert "interpretation CMYK, alpha, bit depth 12" in _zarnik.ImageInfoProperty_to_string(full)
    assert [_zarnik.ImageInfoProperty_channel_count(i) for i in (GRAYSCALE, RGB, CMYK)] == [1, 3, 4]
    for name, depth, limits in (("VEC3_UINT16", 16, (0, 65535)), ("FLOAT", 32, (0, 1)), ("UTF8_STRING", 8, (0, 0))):
        of_type = new_info(getattr(_zarnik, f"DataTypeId_{name}"))
        assert get(of_type, "ImageInfoProperty", "bit_depth") == depth
        assert get(of_type, "ImageInfoProperty", "value_range") == limits
    refused("19 is no image interpretation", _zarnik.ImageInfoProperty_channel_count, 19)


def test_properties_are_copied_part_by_part():
    properties = from_data_type(UINT8)
    calibration, info = new_calibration((1, 2, 3)), new_info(VOLUME, UINT16)
    make = _zarnik.ImageProperties_from_properties
    made = [make(calibration, info), make(make(properties, calibration), info), new_properties(calibration, info)]
    made += [set_(from_data_type(UINT8), "ImageProperties", calibration=calibration, image_info=info)]
    made += [new_properties(made[0]), _zarnik.ImageProperties_clone(made[0])]
    for each in made:
        assert _zarnik.ImageProperties___eq__(each, made[0])
        assert _zarnik.ImageProperties_to_string(each) == _zarnik.ImageProperties_to_string(made[0])
    # What a getter returns is a copy.
    set_(get(properties, "ImageProperties", "calibration"), "SpatialCalibrationProperty", unit="mm")
    assert _zarnik.ImageProperties___eq__(properties, from_data_type(UINT8))


SHAPE = (4, 5)
ODD = -1, 0.5, 2
FLAT, SKEWED = new_directions((1, 0, 0), (2, 0, 0)), new_directions((1, 1, 0), (2, 2, 0))
AXES_OF_COLOURS = {"axes_interpretation": COLOURS}
INTERPRETATIONS = ["UNKNOWN", "GRAYSCALE", "RGB", "HSL", "CMYK", "MULTISPECTRAL"]
NONE, GRAY, IN_RGB, IN_HSL, IN_CMYK, MANY = (
    {"interpretation": getattr(_zarnik, f"ImageInterpretation_{name}")} for name in INTERPRETATIONS
)
ALPHA = {"alpha": True}


@pytest.mark.parametrize(
    ("objection", "name", "shape", "info", "calibration"),
    [
        ("", "UINT8", SHAPE, {"axes_interpretation": IMAGE, "bit_depth": 5}, {"spacing": ODD}),
        ("bit depth 17", "UINT16", SHAPE, {"bit_depth": 17}, {}),
        ("3 dimensions, the image 2", "UINT8", SHAPE, {"axes_interpretation": VOLUME}, {}),
        ("", "UINT8", (4, 5, 3), AXES_OF_COLOURS | IN_RGB, {}),
        ("", "UINT8", (4, 5, 1), AXES_OF_COLOURS | IN_CMYK, {}),
        ("", "UINT8", (4, 5, 7), AXES_OF_COLOURS | MANY, {}),
        ("RGB needs 4 channels with alpha, the image has 3", "UINT8", (4, 5, 3), AXES_OF_COLOURS | IN_RGB | ALPHA, {}),
        ("GRAYSCALE is no colour model", "UINT8", (4, 5, 2), AXES_OF_COLOURS | GRAY | ALPHA, {}),
        ("UNKNOWN is no colour model", "VEC4_UINT8", SHAPE, NONE | ALPHA, {}),
        ("", "VEC3_UINT8", SHAPE, IN_HSL, {}),
        ("CMYK needs 4", "VEC3_UINT8", SHAPE, IN_CMYK, {}),
        ("", "COMPLEX_FLOAT", SHAPE, IN_RGB, {}),
        ("19 is no image interpretation", "UINT8", SHAPE, {"interpretation": 19}, {}),
        ("", "UINT8", (4,), {}, {"spacing": ODD}),
        (r"spacing \(1, 0, 1\)", "UINT8", (4,), {}, {"spacing": (1, 0, 1)}),
        (r"spacing \(", "UINT8", (4,), {}, {"spacing": (1, 1, math.inf)}),
        (r"origin \(", "UINT8", (4,), {}, {"origin": (0, -math.inf, 1)}),
        ("do not span", "UINT8", SHAPE, {}, {"directions": FLAT}),
        ("do not span", "UINT8", (4,), {}, {"directions": SKEWED}),
        ("value range", "FLOAT", (4,), {"value_range": (math.nan, 1)}, {}),
    ],
)
def test_compatibility(objection, name, shape, info, calibration):
    data_type = _classes.DataType(getattr(_zarnik, f"DataTypeId_{name}"))
    properties = from_data_type(data_type)
    changed = set_(get(properties, "ImageProperties", "image_info"), "ImageInfoProperty", **info)
    placed = set_(get(properties, "ImageProperties", "calibration"), "SpatialCalibrationProperty", **calibration)
    set_(properties, "ImageProperties", image_info=changed, calibration=placed)
    for same_type in (data_type, UINT8)[: 1 + (name == "UINT8")]:
        assert _zarnik.ImageProperties_is_compatible_with(properties, shape, same_type) is (not objection)
    if objection:
        refused(objection, _zarnik.ImageViewFactory_allocate, shape, data_type, properties, None)


def readonly_properties(view):
    properties = _zarnik.ImageView___get_properties(view)
    assert type(properties) is _classes.ReadonlyImageProperties
    return properties


def test_read_only_properties_show_what_they_were_made_from():
    original = from_data_type(UINT16)
    seen = readonly_properties(CountingView(SHAPE, UINT16))
    for same in (original, readonly_properties(CountingView(SHAPE, UINT16))):
        assert _zarnik.ReadonlyImageProperties___eq__(seen, same)
    assert _zarnik.ImageProperties___eq__(original, seen)
    assert not _zarnik.ReadonlyImageProperties___eq__(seen, from_data_type(UINT8))
    assert _zarnik.ReadonlyImageProperties___eq__(seen, 5) is NotImplemented
    assert _zarnik.ImageProperties___eq__(_zarnik.ReadonlyImageProperties_clone(seen), original)
    assert _zarnik.ReadonlyImageProperties_to_string(seen) == _zarnik.ImageProperties_to_string(original)
    for part, kind, names in (
        ("calibration", "SpatialCalibrationProperty", ("origin", "spacing", "directions", "unit")),
        ("image_info", "ImageInfoProperty", ("axes_interpretation", "alpha", "bit_depth", "value_range")),
    ):
        shown, source = get(seen, "ReadonlyImageProperties", part), get(original, "ImageProperties", part)
        texts = [getattr(_zarnik, f"{each}_to_string") for each in (f"Readonly{kind}", kind)]
        assert texts[0](shown) == texts[1](source)
        for name in names:
            assert get(shown, f"Readonly{kind}", name) == get(source, kind, name)
    assert _zarnik.ReadonlyImageInfoProperty__get_interpretation(shown) == 0


def test_read_only_properties_are_read_everywhere_and_changed_nowhere():
    seen = readonly_properties(CountingView(SHAPE, UINT16))
    assert _zarnik.ImageProperties___eq__(new_properties(seen), from_data_type(UINT16))
    assert get(get(seen, "ImageProperties", "image_info"), "ImageInfoProperty", "bit_depth") == 16
    self_type = "zarnik::ImageProperties *"
    bad_argument(TypeError, _zarnik.ImageProperties_set_calibration, 1, self_type, seen, new_calibration())
    bad_argument(TypeError, _zarnik.ImageProperties_set_image_info, 1, self_type, seen, new_info(UINT8))


def test_read_only_parts_outlive_the_view():
    alive = CountingView.alive()
    seen = readonly_properties(CountingView(SHAPE, UINT16))
    calibration = get(seen, "ReadonlyImageProperties", "calibration")
    origin = get(calibration, "ReadonlySpatialCalibrationProperty", "origin")
    del seen
    gc.collect()
    assert CountingView.alive() == alive
    assert get(calibration, "ReadonlySpatialCalibrationProperty", "spacing") == (1, 1, 1)
    del calibration
    assert origin == (0, 0, 0)
