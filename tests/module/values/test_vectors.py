"""All forty vector classes against NumPy: the same operation on the same element type."""

import math
import operator

import numpy
import pytest

import _zarnik
from support.expect import fails, null_reference, refused
from support.values import VECTORS, vector
from zarnik import _classes

FAMILIES = pytest.mark.parametrize("family", VECTORS, ids=lambda family: family.name)
COMPARISONS = ["lt", "le", "gt", "ge", "eq", "ne"]
BINARY = ["add", "sub", "mul", "truediv", *COMPARISONS]
IN_PLACE = ["iadd", "isub", "imul", "itruediv"]


def pairs(family):
    rows = family.samples()
    return [(left, right) for left in rows for right in rows]


@FAMILIES
@pytest.mark.parametrize("operation", ["add", "sub", "mul"])
def test_arithmetic_wraps_like_numpy(family, operation):
    on_arrays = getattr(operator, operation)
    for left, right in pairs(family):
        expected = on_arrays(left, right)
        operands = family.make(left), family.make(right)
        assert numpy.array_equal(family.array(family.call(f"__{operation}__", *operands)), expected)
        assert numpy.array_equal(family.array(operands[0]), left)
        changed = family.call(f"__i{operation}__", *operands)
        assert numpy.array_equal(family.array(changed), expected)


@FAMILIES
def test_scalars_and_negation_wrap_like_numpy(family):
    for left, right in pairs(family):
        scalar = right[0]
        vector = family.make(left)
        instance = getattr(_classes, family.name)(vector)
        for result in (
            family.call("__mul__", vector, scalar.item()),
            _zarnik.__mul__(scalar.item(), vector),
            _zarnik.__mul__(scalar.item(), instance),
        ):
            assert type(result) is type(instance)
            assert numpy.array_equal(family.array(result), left * scalar)
        assert numpy.array_equal(family.array(family.call("__neg__", vector)), -left)
        uniform = (3, scalar.item()) if family.size is None else (scalar.item(),)
        assert set(family.array(family.call("create_uniform", *uniform)).tolist()) == {scalar.item()}


def quotient(left, right):
    """As C divides: integers toward zero."""
    if isinstance(left, float):
        return left / right
    whole = abs(left) // abs(right)
    return whole if (left < 0) == (right < 0) else -whole


@FAMILIES
def test_division_is_toward_zero_and_never_ends_the_process(family):
    for left, right in pairs(family):
        operands = family.make(left), family.make(right)
        undefined = not family.is_float and any(
            b == 0 or (b == -1 and a == numpy.iinfo(family.dtype).min) for a, b in zip(left.tolist(), right.tolist())
        )
        if undefined:
            for method in ("__truediv__", "__itruediv__"):
                refused(r"integer division of -?[0-9]+ by (zero|-1 exceeds)", family.call, method, *operands)
            assert numpy.array_equal(family.array(operands[0]), left)
        elif numpy.all(right):
            expected = [quotient(a, b) for a, b in zip(left.tolist(), right.tolist())]
            result = family.array(family.call("__truediv__", *operands))
            assert numpy.array_equal(result, numpy.array(expected, family.dtype))
            scaled = family.array(family.call("__truediv__", operands[0], 3))
            assert numpy.array_equal(scaled, numpy.array([quotient(a, 3) for a in left.tolist()], family.dtype))
    if family.is_float:
        by_zero = family.call("__truediv__", family.make([1, -1, 0][: family.size]), 0)
        assert family.array(by_zero)[:2].tolist() == [math.inf, -math.inf]
    else:
        refused("by zero", family.call, "__truediv__", family.make(left), 0)


@FAMILIES
def test_comparisons_are_those_of_tuples(family):
    rows = family.samples()
    rows.append(rows[0].copy())
    for left, right in ((left, right) for left in rows for right in rows):
        for operation in COMPARISONS:
            result = family.call(f"__{operation}__", family.make(left), family.make(right))
            assert result is getattr(operator, operation)(tuple(left.tolist()), tuple(right.tolist()))


@FAMILIES
def test_products_and_lengths(family):
    for left, right in pairs(family):
        operands = family.make(left), family.make(right)
        dot = family.call("dot", *operands)
        assert type(dot) is (float if family.is_float else int)
        squared = sum(component * component for component in map(float, left))
        if family.is_float:
            assert dot == pytest.approx(float(numpy.dot(left, right)), rel=1e-5, abs=1e-2)
        else:
            assert dot == numpy.sum(left * right, dtype=family.dtype)
        assert family.call("squared_length", operands[0]) == pytest.approx(squared)
        assert family.call("length", operands[0]) == pytest.approx(math.sqrt(squared))
        if left.size == 3:
            with numpy.errstate(over="ignore"):
                a, b = left, right
                expected = [a[i - 2] * b[i - 1] - a[i - 1] * b[i - 2] for i in range(3)]
            assert family.array(family.call("cross", *operands)) == pytest.approx(numpy.array(expected), rel=1e-5)
        else:
            refused(f"cross product needs vectors of size 3, not {left.size}", family.call, "cross", *operands)


@FAMILIES
def test_normalize(family):
    vector, expected = family.make([4, 3, 0, 0][: family.size]), numpy.array([0.8, 0.6, 0, 0][: family.size])
    assert family.call("normalize", vector) is None
    rounded = expected if family.is_float else numpy.rint(expected)
    assert family.array(vector).tolist() == rounded.astype(family.dtype).tolist()
    refused("cannot normalize a vector of length 0", family.call, "normalize", family.make([0] * (family.size or 3)))


@FAMILIES
def test_construction(family):
    new = getattr(_zarnik, f"new_{family.name}")
    values = family.samples()[0]
    original = family.make(values)
    text = family.call("to_string", original)
    assert text == f"({text[1:-1]})" and [family.dtype(part) for part in text[1:-1].split(", ")] == values.tolist()
    copy = new(original)
    family.call("set_at", original, 0, 1)
    assert numpy.array_equal(family.array(copy), values)
    assert family.array(new([1, 2, 3, 4][: family.size])).tolist() == [1, 2, 3, 4][: family.size]
    if family.size is None:
        assert family.array(new(3)).tolist() == [0, 0, 0]
        assert family.array(new()).tolist() == []
    else:
        assert family.array(new()).tolist() == [0] * family.size
        run_time = vector(f"VectorX{family.name[7:]}", values)
        assert numpy.array_equal(family.array(new(run_time)), values)
        fails(ValueError, "input sequence has invalid length", new, [1])
        five = vector(f"VectorX{family.name[7:]}", [0] * 5)
        refused(f"a vector of {family.size} components cannot be made from 5", new, five)


@FAMILIES
def test_access(family):
    vector = family.make([1, 2, 3, 4][: family.size])
    beyond = family.call("size", vector)
    at, set_at = (getattr(_zarnik, f"{family.name}_{method}") for method in ("at", "set_at"))
    text = f"component index {beyond} is out of range, allowed are 0 to"
    refused(text, at, vector, beyond)
    refused(text, set_at, vector, beyond, 1)


@FAMILIES
def test_operands_that_are_none(family):
    vector = family.make([1, 2, 3, 4][: family.size])
    length = 2 if family.size is None else family.size
    for name in BINARY:
        for operand in ("x" * length, ["a"] * length, [None] * length):
            assert family.call(f"__{name}__", vector, operand) is NotImplemented
        for count in (0, 1, 3):
            assert family.call(f"__{name}__", *[vector] * count) is NotImplemented
        null_reference(getattr(_zarnik, f"{family.name}___{name}__"), 1, f"{family.cpp} const *", None, vector)
    fails(ValueError, "input must be a sequence", getattr(_zarnik, f"{family.name}___add__"), vector, 5)
    fails(ValueError, "input must be a sequence", getattr(_zarnik, f"{family.name}___eq__"), vector, None)
    assert family.call("__mul__", vector, None) is NotImplemented
    assert family.call("__mul__", vector, 1.5 if not family.is_float else 1j) is NotImplemented
    if family.size is None:
        for name in ("__add__", "__lt__", "__truediv__", "dot"):
            refused("differ in number: 4 and 1", family.call, name, vector, [1])
        assert family.call("__eq__", vector, [1]) is False
    else:
        fails(ValueError, "input sequence has invalid length", getattr(_zarnik, f"{family.name}___add__"), vector, [1])


@FAMILIES
@pytest.mark.parametrize("name", IN_PLACE)
def test_in_place_operators_hand_the_vector_over(family, name):
    vector = family.make([8, 6, 4, 2][: family.size])
    result = family.call(f"__{name}__", vector, [2] * family.call("size", vector))
    # A new wrapper of the same vector, which owns it now.
    assert vector.own() is False
    assert result.this.own() is True
    assert int(vector) == int(result.this)
    again = family.call(f"__{name}__", vector, [1] * family.call("size", vector))
    values = family.array(result).tolist()
    assert family.array(again).tolist() == values
    # No order of dying frees the vector twice, or under the hands of another wrapper.
    del result
    assert family.array(vector).tolist() == values
    del vector
    assert family.array(again).tolist() == values


def test_texts_of_any_size_are_short_and_lengths_of_any_are_right():
    many = _zarnik.VectorXu8_create_uniform(1_000_000, 7)
    assert _zarnik.VectorXu8_to_string(many) == "(7, 7, 7, ..., 7, 7, 7)"
    assert len(_zarnik.VectorXu8_to_string(_zarnik.VectorXu8_create_uniform(1000, 7))) == 3000
    assert _zarnik.Vector2d_to_string(_classes.Vector2d((0.1, 1 / 3))) == "(0.1, 0.3333333333333333)"
    assert _zarnik.Vector2f_to_string(_classes.Vector2f((0.1, 1e30))) == "(0.1, 1e+30)"
    assert _zarnik.VectorXd_to_string(_zarnik.new_VectorXd()) == "()"
    for components in ((3e200, 4e200), (3e-200, 4e-200), (math.inf, 1), (math.inf, math.nan)):
        expected = math.nan if math.isnan(components[1]) else math.hypot(*components)
        assert _zarnik.Vector2d_length(_classes.Vector2d(components)) == pytest.approx(expected, nan_ok=True)


@pytest.mark.parametrize("start", [_zarnik.new_Vector2d, _classes.Vector2d])
def test_an_alias_of_the_first_vector_costs_nothing(start):
    """Former owners held by the alias would pile up, and take the stack with them when it goes."""
    alias = vector = start()
    for _ in range(200_000):
        vector = _zarnik.Vector2d___iadd__(vector, (1, 2))
    assert _zarnik.Vector2d_at(alias, 1) == 400_000
    del alias
    assert _zarnik.Vector2d_at(vector, 0) == 200_000
    assert vector.thisown


@FAMILIES
def test_a_failed_in_place_operation_leaves_the_vector_without_owner(family):
    for operand, kind in ((5, ValueError), (["a"] * (family.size or 2), TypeError)):
        vector = family.make([8, 6, 4, 2][: family.size])
        with pytest.raises(kind):
            result = family.call("__iadd__", vector, operand)
            raise TypeError(result)  # NotImplemented for an operand of a wrong type
        assert vector.own() is False
        assert family.array(vector).tolist() == [8, 6, 4, 2][: family.size]
        vector.acquire()


def test_sizes_that_cannot_be_are_errors():
    refused("cannot allocate 1152921504606846976 bytes for a vector", _zarnik.new_VectorXu64, 2**57)
    refused("bytes to allocate do not fit 64 bits", _zarnik.VectorXd_create_uniform, 2**64 - 1, 0.0)


def test_module_level_product():
    for left, right in ((2, 3), (2, "x"), ("x", vector("Vector2d", [1, 2])), (1.5, vector("Vector2u8", [1, 2]))):
        assert _zarnik.__mul__(left, right) is NotImplemented
    assert _zarnik.__mul__(256, vector("Vector2u8", [1, 2])) is NotImplemented
