"""Variant values: made from Python objects and from pointers, read element by element."""

from collections import UserList

import numpy
import pytest

import _typetable
import _zarnik
from support.expect import fails, fails_late, null_reference, raises, refused
from support.shared_types import CountingValue
from support.values import ELEMENTS, type_id

create = _zarnik.VariantDataValueFactory_create
element = _zarnik.VariantDataValue___getitem


UTF8, INT32, INT64, DOUBLE = (getattr(_zarnik, f"DataTypeId_{n}") for n in ("UTF8_STRING", "INT32", "INT64", "DOUBLE"))


def content(value):
    return [element(value, i) for i in range(_zarnik.VariantDataValue_get_count(value))]


def type_of(value):
    return _zarnik.DataType_get_id(_zarnik.VariantDataValue_get_type(value))


@pytest.mark.parametrize(
    ("given", "type_id", "expected"),
    [
        ("abc", UTF8, ["abc"]),
        (["", "中文 \U0001f600"], UTF8, ["", "中文 \U0001f600"]),
        (True, INT32, [1]),
        (-(2**31), INT32, [-(2**31)]),
        (type("Scalar", (float,), {})(2.5), DOUBLE, [2.5]),
        ([True, 7], INT64, [1, 7]),
        (b"ab", INT64, [97, 98]),
        (range(3), INT64, [0, 1, 2]),
        (UserList([1, 2]), INT64, [1, 2]),
        # The first item decides, the others are made to fit; what does not becomes -1.
        ([1, 2.5], INT64, [1, -1]),
        ([2.5, 1], DOUBLE, [2.5, 1.0]),
        ([2.5, "x"], DOUBLE, [2.5, -1.0]),
        ((2**31, -(2**31) - 1, 3), INT64, [-1, -1, 3]),
    ],
)
def test_one_object_decides_the_type(given, type_id, expected):
    value = create(given)
    assert (type_of(value), content(value)) == (type_id, expected)
    copy = _zarnik.VariantDataValue_clone(value)
    assert (type_of(copy), content(copy)) == (type_id, expected)
    assert int(_zarnik.VariantDataValue_raw(copy)) != int(_zarnik.VariantDataValue_raw(value))


@pytest.mark.parametrize(
    ("kind", "text", "values"),
    [
        (ValueError, "Cannot create metadata value from an empty sequence", ([], b"")),
        (ValueError, "Cannot create metadata value from this sequence", ([None], [[1]])),
        (ValueError, "Cannot create metadata value from this value", (None, {}, 1j)),
        (OverflowError, "Python int too large to convert to C long", (2**31,)),
        (TypeError, "bad argument type for built-in operation", (["a", 1],)),
    ],
)
def test_objects_that_make_no_value(kind, text, values):
    for value in values:
        fails(kind, text, create, value)


def test_lone_surrogates_and_failing_sequences_keep_their_errors():
    raises(UnicodeEncodeError, "", create, "\ud800")
    failing = type("Failing", (UserList,), {"__getitem__": lambda _, i: 1 if i == 0 else 1 // 0})
    raises(ZeroDivisionError, "", create, failing([1, 2]))


# Integers come out as the signed number of their lower 32 bits, floats as they are.
def test_arrays_of_every_element_type():
    for suffix, (_, dtype) in ELEMENTS.items():
        limits = numpy.finfo(dtype) if suffix in "fd" else numpy.iinfo(dtype)
        expected = numpy.array([limits.min, limits.max], dtype)
        value = create(getattr(_typetable, f"limits_{suffix}")(), 2)
        assert type_of(value) == type_id(dtype)
        assert content(value) == (expected if suffix in "fd" else expected.astype("i4")).tolist()
    assert content(create([2**31 - 1])) == [2**31 - 1]


def test_there_is_no_element_beyond_the_last():
    for index in (-1, 1, 2**31 - 1, -(2**31)):
        fails(IndexError, "Index out of range", element, create(5), index)


# Text ends at the first zero byte, whatever the width: of 16 bits only text without zero bytes comes out whole.
def test_wide_text_ends_at_the_first_zero_byte():
    assert content(_typetable.utf16Value()) == ["\ufffd", "中文"]
    assert content(_typetable.utf32Value()) == ["\ufffd", "\ufffd"]


def test_types_without_elements_are_refused():
    for identifier in (0, 0x10118, 0x40118):
        value = CountingValue(identifier)
        text = f"Incompatible type {_zarnik.DataType_to_string(_zarnik.new_DataType(identifier))}"
        fails(ValueError, text, element, value, 0)


def test_arguments_that_fit_no_overload():
    for arguments in [(), ("ab", 2), ([1], 1), (["a", 1], 2), (_typetable.limits_u8(), -1), (5, 1)]:
        raises(TypeError, "overloaded function 'VariantDataValueFactory_create'", create, *arguments)


def test_nothing_to_copy_is_an_error():
    null_reference(create, 1, "uint8_t const *", None, 2)
    refused("at least one element, got 0", create, _typetable.limits_u8(), 0)
    refused("cannot take 3 strings from a sequence of 0", create, [], 3)


# The characters are looked for where a str has none.
def test_strings_with_a_count_of_their_own_fail():
    for count in (0, 1, 2, 2**40):
        fails_late(TypeError, "", create, ["a", "b"], count)
