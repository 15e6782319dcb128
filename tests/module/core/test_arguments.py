"""Every argument of the functions without overloads, given what the type that is documented for it does not take."""

import contextlib
import re

import numpy

import _zarnik
from support.expect import told
from support.flat_names import class_names, functions_of
from support.images import image_of, ramp
from support.shared_types import OddFrame, StringWriter, TiledView
from zarnik import _classes

UINT8 = _zarnik.DataTypeId_UINT8

# Values that are right for the documented types; a class stands for its own objects.
RIGHT = {"int": 0, "float": 1.0, "string": "x", "boolean": True, "list of int": [0], "list of str": ["a"]}
RIGHT |= {"writable buffer": bytearray(8), "bytes-like object": b"x" * 8, "numpy.ndarray": numpy.zeros((2, 2))}


def objects():
    """At least one of each class that functions take."""
    image, access = image_of(ramp((2, 2))), _classes.RandomAccessFactory.allocate(8)
    node = _classes.MetadataNode("key", _classes.VariantDataValueFactory.create(1))
    yield from (image, access, node, node.get_value(), _classes.ReadonlyMetadataNode(node), _classes.Uri("x"))
    yield from (image.parallel_access(), image.view_origin(), TiledView((2, 2), UINT8, (1, 1)).tiling_info())
    yield from (_classes.ImageProperties.from_data_type(UINT8), _classes.ImageInfoProperty(dtype=UINT8))
    yield from (_zarnik.ImageView___get_properties(image), _classes.RegionXu64((0, 0), (1, 1)), OddFrame(UINT8, 1))
    yield from (_classes.MultiImageViewFactory.create(), StringWriter(), _classes.Error("x"))
    yield from (_classes.StreamAccessFactory.from_random_access(access), _zarnik.ImageView_get_shape(image))
    yield _zarnik.DataAccess_get_storage(_zarnik.StreamAccessFactory_open_file_read(__file__))
    yield _zarnik.ColumnUnitExtension_cast(_zarnik.View__extension(_zarnik.DataFrameViewFactory__allocate_empty(), 4))
    for name in class_names():
        with contextlib.suppress(AttributeError, TypeError):
            yield getattr(_classes, name)(*[(1,)] * name.startswith("ArrayX"))


def documented():
    """Names and documented types of the arguments, of a method that of its object among them."""
    for owner in class_names():
        for name in functions_of(owner):
            text = getattr(_zarnik, name).__doc__ or ""
            types = re.findall(r":type \w+: (?::py:class:`)?([^`\n]+)", text)
            if types and "*Overload" not in text and not name.startswith("new_"):
                count = re.search(r"expected (\d+) arg", told(name))
                yield name, [owner, *types] if count and int(count[1]) > len(types) else types


# The texts for what is of another type. An argument that is two in C++ moves the positions of those behind it.
REFUSED = "TypeError: in method '{}', argument ({}|{}) of type '({})'"
OTHERS = {
    "int": r"u?int\d*(_t)?|size_t|unsigned long long|zarnik::[A-Z]\w+|zarnik::Vector\S+ .* >::ValueType",
    "float": "float|double|zarnik::Vector\\S+ (float|double).* >::ValueType",
    "string": "std::string const &",
    "boolean": "bool",
    "writable buffer": r"\(uint8_t\* \w+, size_t \w+\)",
    "bytes-like object": r"\(const uint8_t\* \w+, size_t \w+\)",
}
# Words of their own: what is a vector, a data type or an array, and operators.
OWN = r"Vector.*|DataType|list of .*|int, float or str|object|numpy.ndarray"


def limits(type_name):
    """The range of a type of integers; enumerations are ints."""
    bits = re.search(r"\d+(?=_t)", type_name)
    width = int(bits[0]) if bits else 64 if type_name in ("size_t", "unsigned long long") else 32
    unsigned = "uint" in type_name or (width == 64 and not bits)
    return (0, 2**width - 1) if unsigned else (-(2 ** (width - 1)), 2 ** (width - 1) - 1)


def test_every_argument_is_refused_by_its_position_and_type():
    right = dict(RIGHT)
    for each in objects():
        for cls in type(each).__mro__:
            right.setdefault(cls.__name__, each)
    odd, tried = {}, 0
    for name, types in documented():
        values = [right.get(kind) for kind in types]
        for i, kind in enumerate(types):
            if re.fullmatch(OWN, kind) or name.endswith("__") or (name.startswith("NumpyInterop") and i == 0):
                continue
            text = told(name, *values[:i], object(), *values[i + 1 :])
            match = re.fullmatch(REFUSED.format(name, i + 1, i + 2, OTHERS.get(kind, ".*zarnik::.*")), text)
            if not match:
                odd[name, i + 1] = text
                continue
            tried += 1
            refuses_none = kind not in OTHERS and not re.search("shared_ptr|Set", match[2])
            wrong = {"boolean": [1], "string": [None, b"x"]}.get(kind, ["x", *[None] * refuses_none])
            expected = {None: text.replace("TypeError: in", "ValueError: invalid null reference in")}
            if kind == "int":
                least, greatest = limits(match[2])
                wrong = [least - 1, greatest + 1]
                expected = dict.fromkeys(wrong, text.replace("TypeError", "OverflowError"))
            for value in wrong:
                other = told(name, *values[:i], value, *values[i + 1 :])
                if other != expected.get(value, text):
                    odd[name, i + 1, value] = other
    # Levels of detail are not made by a flat function.
    assert set(odd) <= {("LodImageView_resolution", 2)}
    assert tried > 700
