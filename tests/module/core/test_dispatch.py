"""Unpacking of arguments, choice among overloads, and the texts of what does not fit."""

import re

import pytest

import _zarnik
from support.expect import bad_argument, fails, no_overload, null_reference
from support.flat_names import all_functions
from zarnik import _classes


@pytest.mark.parametrize(
    "function, expected, counts",
    [
        ("VersionInfo_major_set", 2, (0, 1, 3)),
        ("VectorXu8_set_at", 3, (4,)),
        ("NumpyInterop_order_to_numpy_array", 2, (1,)),
        ("NumpyInterop__from_numpy_array", 4, (3,)),
        ("NumpyInterop__order_from_numpy_array", 4, (5,)),
        ("Logger_swiginit", 2, (1, 3)),
    ],
)
def test_number_of_arguments(function, expected, counts):
    for count in counts:
        text = f"{function.replace('Logger_', '')} expected {expected} arguments, got {count}"
        fails(TypeError, text, getattr(_zarnik, function), *[None] * count)


def test_number_of_arguments_of_functions_without_or_with_one():
    for name in ("Logger_log_level", "new_VersionInfo"):
        fails(TypeError, f"_zarnik.{name}() takes no arguments (1 given)", getattr(_zarnik, name), 1)
    for name in ("Logger_init", "delete_VersionInfo"):
        fails(TypeError, f"_zarnik.{name}() takes exactly one argument (2 given)", getattr(_zarnik, name), 1, 2)


def test_registration_takes_one_class():
    for arguments in ((), (1, 2)):
        with pytest.raises(TypeError, match="takes exactly one argument"):
            _zarnik.Logger_swigregister(*arguments)
        text = f"swigregister expected 1 arguments, got {len(arguments)}"
        fails(TypeError, text, _zarnik.Logger_swigregister, arguments)


# What has no arguments, or says in words of its own what its first one has to be; operators refuse no operand.
OTHERWISE = (
    r"__\w+__|\w+_swig(register|init)|new_\w+|Versioning_version\w*|Logger_\w+|UidGenerator_generate|delete_Logger",
    r"Matrix\w+_identity|\w+Factory_(_uniform|__from_buffer|_allocate|_allocate_empty|create|create_from_list|translation)",
    r"\w+Factory_(scaling|rotation_euler|allocate)|ArrayX\w+_from_numpy|NumpyInterop_\w+|RegionXu64_(from_index|create_\w+)",
    r"DataType_(extract_scalar_type|standard_range)|ImageProperties_from_data_type|Serialization_encode_vector_\w+",
)


def told(name, first):
    """What a function tells of its first argument, given as many of them as it takes."""
    text = ""
    for count in range(1, 8):
        try:
            text = repr(getattr(_zarnik, name)(first, *[None] * (count - 1)))
        except (TypeError, ValueError, RuntimeError) as error:
            text = str(error).splitlines()[0]
        if not re.search(r"expected .*arguments?, got|takes exactly one argument", text):
            break
    return text


def test_every_function_names_the_first_argument_that_it_refuses():
    """And objects that are no longer there, where it takes an object of its class."""
    odd = {}
    for name in set(all_functions()):
        if not re.fullmatch("|".join(OTHERWISE), name):
            text = told(name, object())
            refused = re.fullmatch(f"in method '{name}', (argument 1 of type '(.+)')", text)
            if refused and refused[2].endswith("*") and not name.startswith("delete_") and not name.endswith("__"):
                text = told(name, None).replace("invalid null reference ", "")
            overloads = f"Wrong number or type of arguments for overloaded function '{name}'."
            if text not in (refused and refused[0], overloads, "NotImplemented"):
                odd[name] = text
    assert odd == {}


V3 = "zarnik::Vector< uint16_t,3 >"
MULTIPLY = [f"{V3}::operator *=({V3}{rest})" for rest in ("::ValueType", " const &")]
CHECK = [f"zarnik::Versioning::checkCompatibility({argument})" for argument in ("zarnik::VersionInfo const &", "")]


@pytest.mark.parametrize(
    "name, most, prototypes", [("Versioning_check_compatibility", 1, CHECK), ("Vector3u16___imul__", 2, MULTIPLY)]
)
def test_too_many_arguments_for_every_overload(name, most, prototypes):
    """The error of the count is pending when no overload is found, and is told first."""
    text = f"{name} expected at most {most} arguments, got {most + 1}"
    text += "\nAdditional information:\n" + no_overload(name, *prototypes)
    fails(TypeError, text, getattr(_zarnik, name), *[None] * (most + 1))


def test_a_call_is_refused_for_the_first_of_its_bad_arguments():
    bad_argument(TypeError, _zarnik.VectorXu8_set_at, 1, "zarnik::VectorX< uint8_t > *", 1, "a", "b")
    vector = _classes.VectorXu8([0])
    bad_argument(TypeError, _zarnik.VectorXu8_set_at, 2, "size_t", vector, "a", "b")
    bad_argument(OverflowError, _zarnik.VectorXu8_set_at, 2, "size_t", vector, -1, "b")
    bad_argument(TypeError, _zarnik.VectorXu8_set_at, 3, "zarnik::VectorX< uint8_t >::ValueType", vector, 0, "b")
    null_reference(_zarnik.VectorXu8_set_at, 1, "zarnik::VectorX< uint8_t > *", None, 0, 0)
    # Self of a method that changes nothing is const.
    bad_argument(TypeError, _zarnik.Vector3u16_dot, 1, f"{V3} const *", 3, [1, 2, 3])
    bad_argument(TypeError, _zarnik.Vector3u16_normalize, 1, f"{V3} *", 3)


def test_a_value_out_of_range_fits_no_overload():
    vector = _classes.Vector3u16([1, 2, 3])
    text = no_overload("Vector3u16___imul__", *MULTIPLY)
    for factor in (65536, -1, 2**40, 1.5):
        assert _zarnik.Vector3u16___mul__(vector, factor) is NotImplemented
        fails(TypeError, text, _zarnik.Vector3u16___imul__, _classes.Vector3u16(), factor)


class Reflecting:
    """Takes part in any operation, from the right."""

    def __radd__(self, other):
        return "added"

    def __rmul__(self, other):
        return "multiplied"


def test_python_tries_the_reflected_operation():
    vector = _classes.Vector3u16([1, 2, 3])
    assert vector * Reflecting() == "multiplied"
    with pytest.raises(TypeError, match="unsupported operand"):
        vector - "abc"
    assert (vector == "abc") is False
    assert (vector != "abc") is True


@pytest.mark.parametrize("function", ["__mul__", "__or__", "__and__", "__xor__"])
def test_module_level_operators(function):
    operator = getattr(_zarnik, function)
    assert operator.__doc__ is None
    assert operator("a", "b") is operator(1, "x") is NotImplemented
    assert operator() is operator(1) is operator(1, 2, 3) is NotImplemented
