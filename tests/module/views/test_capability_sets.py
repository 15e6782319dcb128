"""The six capability sets: one family over a 64-bit mask."""

import operator

import pytest

import _zarnik
from support.expect import bad_argument
from zarnik import _classes

KINDS = ("Image", "MultiImage", "DataFrame", "StreamAccess", "RandomAccess", "ParallelAccess")
each_family = pytest.mark.parametrize("flag", [f"{kind}Capability" for kind in KINDS])


class Family:
    """The flat functions of one class, by method name."""

    def __init__(self, flag):
        self.name = f"{flag}Set"
        self.cls = getattr(_classes, self.name)

    def __getitem__(self, method):
        return getattr(_zarnik, f"{self.name}_{method}")


@each_family
def test_sets_work_like_their_masks(flag):
    family = Family(flag)
    masks = [0, 1, 2, 3, 6, 12, 21, 2**31 - 1]
    for left in masks:
        for right in masks:
            for operand in (right, family.cls(right)):
                a = family.cls(left)
                assert family["has"](a, operand) is ((left & right) == right)
                assert family["__eq__"](a, operand) is (left == right)
                assert family["__ne__"](a, operand) is (left != right)
                for name in ("or", "and", "xor"):
                    combined = family[f"__{name}__"](a, operand)
                    assert type(combined) is family.cls
                    assert combined.value() == getattr(operator, f"__{name}__")(left, right)
                    assert a.value() == left
                    assert family[f"__i{name}__"](family.cls(left), operand).value() == combined.value()
                family["add"](a, operand)
                assert a.value() == left | right
                family["remove"](a, operand)
                assert a.value() == left & ~right


@each_family
def test_construction(flag):
    family = Family(flag)
    assert family.cls().value() == 0
    assert family.cls(2**64 - 1).value() == 2**64 - 1
    assert family.cls(-1).value() == 2**64 - 1  # no mask, so it is taken as a flag
    original = family.cls(5)
    copy = family.cls(original)
    original.add(2)
    assert copy.value() == 5


@each_family
def test_operands_that_are_no_flags(flag):
    family = Family(flag)
    wanted = f"zarnik::FlagSet< zarnik::{flag} >"
    other = _classes.DataType()
    for method in ("__ior__", "__iand__", "__ixor__"):
        bad_argument(TypeError, family[method], 2, wanted, family.cls(1), 1.0)
        bad_argument(OverflowError, family[method], 2, wanted, family.cls(1), 2**31)
    for method in ("__eq__", "__ne__", "__or__", "__and__", "__xor__"):
        for bad in ("x", None, other):
            assert family[method](family.cls(1), bad) is NotImplemented
    assert family["has"](family.cls(2**64 - 1), -1) is True


def test_free_operators_take_the_first_enumerations_for_ints():
    assert type(_zarnik.__or__(0, 1)) is _classes.ImageType
    for name, expected in (("__and__", 2), ("__xor__", 5)):
        combined = getattr(_zarnik, name)(3, 6)
        assert type(combined) is _classes.StreamAccessCapabilitySet
        assert (combined.value(), combined.thisown) == (expected, True)
