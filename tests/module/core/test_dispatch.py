"""Unpacking of arguments, choice among overloads, and the texts of what does not fit."""

import re

import pytest

import _zarnik
from support.expect import bad_argument, fails, null_reference, raises, told
from support.flat_names import OPERATORS, all_functions
from zarnik import _classes


def test_number_of_arguments():
    for function, expected, *counts in (
        ("VersionInfo_major_set", 2, 0, 1, 3),
        ("VectorXu8_set_at", 3, 4),
        ("NumpyInterop_order_to_numpy_array", 2, 1),
        ("NumpyInterop__from_numpy_array", 4, 3),
        ("NumpyInterop__order_from_numpy_array", 4, 5),
        ("Logger_swiginit", 2, 1, 3),
    ):
        for count in counts:
            text = f"{function.replace('Logger_', '')} expected {expected} arguments, got {count}"
            fails(TypeError, text, getattr(_zarnik, function), *[None] * count)
    for name in ("Logger_log_level", "new_VersionInfo"):
        fails(TypeError, f"_zarnik.{name}() takes no arguments (1 given)", getattr(_zarnik, name), 1)
    for name in ("Logger_init", "delete_VersionInfo"):
        fails(TypeError, f"_zarnik.{name}() takes exactly one argument (2 given)", getattr(_zarnik, name), 1, 2)


def test_registration_takes_one_class():
    for arguments in ((), (1, 2)):
        raises(TypeError, "takes exactly one argument", _zarnik.Logger_swigregister, *arguments)
        text = f"swigregister expected 1 arguments, got {len(arguments)}"
        fails(TypeError, text, _zarnik.Logger_swigregister, arguments)


# What has no arguments, or says in words of its own what its first one has to be; operators refuse no operand.
OTHERWISE = (
    r"__\w+__|\w+_swig(register|init)|new_\w+|Versioning_version\w*|Logger_\w+|UidGenerator_generate|delete_Logger",
    r"Matrix\w+_identity|\w+Factory_(_uniform|__from_buffer|_allocate|_allocate_empty|create|create_from_list|translation)",
    r"\w+Factory_(scaling|rotation_euler|allocate)|ArrayX\w+_from_numpy|NumpyInterop_\w+|RegionXu64_(from_index|create_\w+)",
    r"DataType_(extract_scalar_type|standard_range)|ImageProperties_from_data_type|Serialization_encode_vector_\w+",
)


def told_of_first(name, first):
    """What a function tells of its first argument, given as many of them as it takes."""
    texts = (told(name, first, *[None] * others).splitlines()[0] for others in range(7))
    return next(text for text in texts if not re.search(r"expected .*arguments?, got|takes exactly one argument", text))


def test_every_function_names_the_first_argument_that_it_refuses():
    """And objects that are no longer there, where it takes an object of its class."""
    odd = {}
    for name in set(all_functions()):
        if not re.fullmatch("|".join(OTHERWISE), name):
            text = told_of_first(name, object())
            refused = re.fullmatch(f"TypeError: in method '{name}', argument 1 of type '(.+)'", text)
            if refused and refused[1].endswith("*") and not name.startswith("delete_") and not name.endswith("__"):
                text = told_of_first(name, None).replace("ValueError: invalid null reference ", "TypeError: ")
            overloads = f"TypeError: Wrong number or type of arguments for overloaded function '{name}'."
            if text not in (refused and refused[0], overloads, "NotImplemented"):
                odd[name] = text
    assert odd == {}


V3, VX, R3 = "zarnik::Vector< uint16_t,3 >", "zarnik::VectorX< uint64_t >", "zarnik::Region< uint64_t,3 >"
ARRAY, FLAGS = "zarnik::ArrayX< uint8_t >", "zarnik::FlagSet< zarnik::ImageCapability >"
SHAPE, TYPE, TEXT = "zarnik::VectorXu64 const &", "zarnik::DataType", "std::string const &"
VIEW, IMAGES, ACCESS = (
    f"std::shared_ptr< zarnik::{name} >" for name in ("ImageView", "MultiImageView", "RandomAccess")
)
TOLD = "std::shared_ptr< zarnik::ImageProperties >,std::shared_ptr< zarnik::MetadataNode"
DIRECTION = "zarnik::Vector3d const &"
ELEMENTS = ("uint8_t", "uint16_t", "uint32_t", "uint64_t", "int8_t", "int16_t", "int32_t", "int64_t", "float", "double")
FACTORY = "ImageViewFactory::"

# What is told of calls that fit none of the overloads: the C++ name, a stroke before the arguments of each overload.
OVERLOADS = {
    "Versioning_check_compatibility": "Versioning::checkCompatibility|zarnik::VersionInfo const &|",
    "new_Error": f"Error::Error|{TEXT}|zarnik::Error const &|zarnik::Error &&",
    "new_DataType": "DataType::DataType||uint64_t|zarnik::DataTypeId|zarnik::PrimitiveTypeId,size_t,size_t,"
    "zarnik::DataTypeInterpretation|zarnik::PrimitiveTypeId,size_t,size_t",
    "new_Vector3u16": f"{V3}::Vector||VectorX< {V3}::ValueType > const &|{V3} const &|{V3} &&",
    "Vector3u16___imul__": f"{V3}::operator *=|{V3}::ValueType|{V3} const &",
    "Vector3u16___itruediv__": f"{V3}::operator /=|{V3}::ValueType|{V3} const &",
    "new_VectorXu64": f"{VX}::VectorX||size_t|{VX} const &|{VX} &&",
    "new_Region3u64": f"{R3}::Region||{R3}::VectorType const &,{R3}::SizeType const &|RegionX< uint64_t > const &"
    f"|{R3} const &",
    "Region3u64_contains": f"{R3}::contains|{R3} const &|{R3}::VectorType const &| const",
    "new_ArrayXu8": f"{ARRAY}::ArrayX|{SHAPE}|Indexer const &|{ARRAY} const &|{ARRAY} &&",
    "new_Indexer": f"Indexer::Indexer||{SHAPE},{TYPE}|{SHAPE},{TYPE},zarnik::MemoryLayout|{SHAPE},{TYPE},{SHAPE}"
    f"|{SHAPE},{TYPE},{SHAPE},{SHAPE}|zarnik::Indexer const &|zarnik::Indexer &&",
    "Indexer_byte_stride": "Indexer::byteStride||size_t| const",
    "new_ImageType": "ImageType::ImageType||zarnik::ImageDimension const *,size_t|uint64_t",
    "ImageType_remove": "ImageType::remove|zarnik::ImageDimension|size_t",
    "VariantDataValueFactory_create": "VariantDataValueFactory::create"
    f"{''.join(f'|{element} const *,size_t' for element in ELEMENTS)}|char const **,size_t",
    "new_MetadataNode": f"MetadataNode::MetadataNode|{TEXT},std::shared_ptr< zarnik::VariantDataValue >"
    "|zarnik::MetadataNode const &|zarnik::MetadataNode &&",
    "new_SpatialDirections": f"SpatialDirections::SpatialDirections||{DIRECTION},{DIRECTION}"
    "|zarnik::SpatialDirections const &|zarnik::SpatialDirections &&",
    "new_Uri": f"Uri::Uri|{TEXT}|zarnik::Uri const &",
    "HTTPHeaders_add": f"HTTPHeaders::add|zarnik::HTTPHeaders::Entry const &|{TEXT},{TEXT}",
    "StreamAccessFactory_allocate": "StreamAccessFactory::allocate|size_t|",
    "RandomAccessFactory_extract_region": f"RandomAccessFactory::extractRegion|{ACCESS},size_t|{ACCESS},size_t,size_t",
    "new_ImageCapabilitySet": "FlagSet< ImageCapability >::FlagSet||uint64_t|zarnik::ImageCapability"
    f"|{FLAGS} const &|{FLAGS} &&",
    "ImageViewFactory_allocate": f"{FACTORY}allocate|{SHAPE},{TYPE},{TOLD} >|{SHAPE},{TYPE}",
    "ImageViewFactory_create_on_disk": f"{FACTORY}createOnDisk|{TEXT},{SHAPE},{TYPE},{TOLD} >|{TEXT},{SHAPE},{TYPE}"
    f"|{SHAPE},{TYPE},{TOLD} >|{SHAPE},{TYPE}",
    "ImageViewFactory_copy_on_disk": f"{FACTORY}copyOnDisk|{VIEW}|{VIEW},{TEXT}",
    "ImageViewFactory_stack": f"{FACTORY}stack|{IMAGES},zarnik::ImageDimension|{IMAGES}"
    f"|{IMAGES},zarnik::ImageDimension,size_t",
    "ImageViewFactory_interlace": f"{FACTORY}interlace|{IMAGES},zarnik::ImageInterpretation,bool|{IMAGES}",
    "ImageViewFactory_from_random_access": f"{FACTORY}fromRandomAccess"
    f"|{ACCESS},zarnik::MemoryLayout,{SHAPE},{TYPE} const,{TOLD} const > const"
    f"|{ACCESS},zarnik::MemoryLayout,{SHAPE},{TYPE} const"
    f"|{ACCESS},{SHAPE},{TYPE} const,{TOLD} const >|{ACCESS},{SHAPE},{TYPE} const",
}


def prototypes(name):
    """The text of a call that fits none of the overloads."""
    cpp, *overloads = OVERLOADS[name].split("|")
    const = overloads.pop() if overloads[-1] == " const" else ""
    cpp = cpp if cpp.startswith("zarnik::") else f"zarnik::{cpp}"
    text = f"Wrong number or type of arguments for overloaded function '{name}'.\n  Possible C/C++ prototypes are:\n"
    return text + "".join(f"    {cpp}({arguments}){const}\n" for arguments in overloads)


@pytest.mark.parametrize("name", OVERLOADS)
def test_what_fits_no_overload(name):
    """Arguments of no type that any of them takes, however many; and none where each needs one."""
    text = prototypes(name)
    if name == "VariantDataValueFactory_create":  # the last is the module's own
        text += "    zarnik::VariantDataValueFactory::zarnik_VariantDataValueFactory_create__SWIG_11(PyObject *)\n"
    texts = [told(name, *[object()] * count) for count in range(7)]
    assert {each for each in texts if each.startswith("TypeError: Wrong")} == {f"TypeError: {text}"}


@pytest.mark.parametrize("name, most", [("Versioning_check_compatibility", 1), ("Vector3u16___imul__", 2)])
def test_too_many_arguments_for_every_overload(name, most):
    """The error of the count is pending when no overload is found, and is told first."""
    text = f"{name} expected at most {most} arguments, got {most + 1}\nAdditional information:\n{prototypes(name)}"
    fails(TypeError, text, getattr(_zarnik, name), *[None] * (most + 1))


def test_a_call_is_refused_for_the_first_of_its_bad_arguments():
    bad_argument(TypeError, _zarnik.VectorXu8_set_at, 1, "zarnik::VectorX< uint8_t > *", 1, "a", "b")
    bad_argument(OverflowError, _zarnik.VectorXu8_set_at, 2, "size_t", _classes.VectorXu8([0]), -1, "b")
    null_reference(_zarnik.VectorXu8_set_at, 1, "zarnik::VectorX< uint8_t > *", None, 0, 0)
    # Self of a method that changes nothing is const.
    bad_argument(TypeError, _zarnik.Vector3u16_dot, 1, f"{V3} const *", 3, [1, 2, 3])
    bad_argument(TypeError, _zarnik.Vector3u16_normalize, 1, f"{V3} *", 3)


def test_a_value_out_of_range_fits_no_overload():
    vector = _classes.Vector3u16([1, 2, 3])
    for factor in (65536, -1, 2**40, 1.5):
        assert _zarnik.Vector3u16___mul__(vector, factor) is NotImplemented
        fails(TypeError, prototypes("Vector3u16___imul__"), _zarnik.Vector3u16___imul__, _classes.Vector3u16(), factor)
    for name, *wrong in (
        ("new_VectorXu64", -1, 2**64, 1.5, None, "12"),
        ("new_DataType", -1 - 2**63, "a", None),
        ("new_ImageType", -1, "a"),
        ("new_ImageCapabilitySet", "x", 1.0, None, 2**64, _classes.DataType()),
        ("new_Error", b"abc", 1, "\udce9", _classes.Logger()),
        ("new_Region3u64", 5, None, [1, 2, 3], _zarnik.new_Region2u64()),
        ("new_ArrayXu8", 5),
    ):
        for value in wrong:
            fails(TypeError, prototypes(name), getattr(_zarnik, name), value)


class Reflecting:
    def __rmul__(self, other):
        return "multiplied"


def test_python_tries_the_reflected_operation():
    vector = _classes.Vector3u16([1, 2, 3])
    assert vector * Reflecting() == "multiplied"
    with pytest.raises(TypeError, match="unsupported operand"):
        vector - "abc"
    assert (vector == "abc") is False


@pytest.mark.parametrize("function", OPERATORS)
def test_module_level_operators(function):
    operator = getattr(_zarnik, function)
    assert operator("a", "b") is operator(1, "x") is operator(1, _zarnik.new_Uri("x")) is NotImplemented
    assert operator() is operator(1) is operator(1, 2, 3) is NotImplemented
