"""The six capability sets: one family over a 64-bit mask."""

import operator

import pytest

import _zarnik
from support.expect import bad_argument
from zarnik import _classes

KINDS = ("Image", "MultiImage", "DataFrame", "StreamAccess", "RandomAccess", "ParallelAccess")
each_family = pytest.mark.parametrize("name", [f"{kind}CapabilitySet" for kind in KINDS])


def flat(name, method):
    return getattr(_zarnik, f"{name}_{method}")


@each_family
def test_sets_work_like_their_masks(name):
    cls = getattr(_classes, name)
    masks = [0, 1, 2, 3, 6, 12, 21, 2**31 - 1]
    for left in masks:
        for right in masks:
            for operand in (right, cls(right)):
                a = cls(left)
                assert flat(name, "has")(a, operand) is ((left & right) == right)
                assert flat(name, "__eq__")(a, operand) is (left == right)
                assert flat(name, "__ne__")(a, operand) is (left != right)
                for sign in ("or", "and", "xor"):
                    combined = flat(name, f"__{sign}__")(a, operand)
                    assert type(combined) is cls
                    assert combined.value() == getattr(operator, f"__{sign}__")(left, right)
                    assert a.value() == left
                    assert flat(name, f"__i{sign}__")(cls(left), operand).value() == combined.value()
                flat(name, "add")(a, operand)
                assert a.value() == left | right
                flat(name, "remove")(a, operand)
                assert a.value() == left & ~right


@each_family
def test_construction(name):
    cls = getattr(_classes, name)
    assert cls().value() == 0
    assert cls(2**64 - 1).value() == 2**64 - 1
    assert cls(-1).value() == 2**64 - 1  # no mask, so it is taken as a flag
    original = cls(5)
    copy = cls(original)
    original.add(2)
    assert copy.value() == 5


@each_family
def test_operands_that_are_no_flags(name):
    cls = getattr(_classes, name)
    wanted = f"zarnik::FlagSet< zarnik::{name[:-3]} >"
    other = _classes.DataType()
    for method in ("__ior__", "__iand__", "__ixor__"):
        bad_argument(TypeError, flat(name, method), 2, wanted, cls(1), 1.0)
        bad_argument(OverflowError, flat(name, method), 2, wanted, cls(1), 2**31)
    for method in ("__eq__", "__ne__", "__or__", "__and__", "__xor__"):
        for bad in ("x", None, other):
            assert flat(name, method)(cls(1), bad) is NotImplemented
    assert flat(name, "has")(cls(2**64 - 1), -1) is True


def test_free_operators_take_the_first_enumerations_for_ints():
    assert type(_zarnik.__or__(0, 1)) is _classes.ImageType
    for name, expected in (("__and__", 2), ("__xor__", 5)):
        combined = getattr(_zarnik, name)(3, 6)
        assert type(combined) is _classes.StreamAccessCapabilitySet
        assert (combined.value(), combined.thisown) == (expected, True)
