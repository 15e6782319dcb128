"""Matrices and transforms, against numpy.linalg and rotations composed by hand."""

import itertools
import math

import numpy
import pytest

import _zarnik
from support.expect import fails, null_reference, refused
from support.values import ELEMENTS, call, components, vector
from zarnik import _classes

MATRICES = {f"Matrix{size}{suffix}": (size, *ELEMENTS[suffix][::-1]) for size in (3, 4) for suffix in "fd"}
ALL = pytest.mark.parametrize("name", MATRICES)


def make(name, rows):
    matrix = getattr(_zarnik, f"new_{name}")()
    for (row, column), value in numpy.ndenumerate(rows):
        call(name, "set_at", matrix, column, row, float(value))
    return matrix


def array(name, matrix):
    size, dtype, _ = MATRICES[name]
    rows = [[call(name, "at", matrix, column, row) for column in range(size)] for row in range(size)]
    return numpy.array(rows, dtype)


@ALL
def test_algebra_is_that_of_numpy(name):
    size, dtype, _ = MATRICES[name]
    close = {"rtol": 1e-3, "atol": 1e-3} if dtype is numpy.float32 else {"rtol": 1e-9, "atol": 1e-9}
    rows = numpy.random.default_rng(3).normal(size=(20, size, size)).astype(dtype)
    for left, right in zip(rows, rows[1:]):
        a, b = make(name, left), make(name, right)
        for method, operand, expected in (
            ("add", b, left + right),
            ("sub", b, left - right),
            ("mul", 2.5, left * dtype(2.5)),
            ("truediv", 3, left / dtype(3)),
        ):
            assert numpy.array_equal(array(name, call(name, f"__{method}__", a, operand)), expected)
            assert numpy.array_equal(array(name, call(name, f"__i{method}__", make(name, left), operand)), expected)
        assert numpy.array_equal(array(name, call(name, "__neg__", a)), -left)
        assert numpy.allclose(array(name, call(name, "__mul__", a, b)), left @ right, **close)
        assert numpy.allclose(array(name, call(name, "inverse", a)), numpy.linalg.inv(left.astype(float)), **close)
        product = call(name, "__mul__", a, right[0].tolist())
        of_vector = f"Vector{size}{name[-1]}"
        assert type(product) is getattr(_classes, of_vector)
        assert numpy.allclose(components(of_vector, product), left @ right[0], **close)
        wrapped = call(name, "__mul__", a, vector(of_vector, right[0]))
        assert components(of_vector, wrapped) == components(of_vector, product)
        assert numpy.array_equal(array(name, call(name, "transpose", a)), left.T)
        assert call(name, "transpose_in_place", a) is None
        assert numpy.array_equal(array(name, a), left.T)


@ALL
def test_construction_comparison_and_access(name):
    size, _, element = MATRICES[name]
    identity = call(name, "identity")
    assert numpy.array_equal(array(name, identity), numpy.eye(size))
    assert numpy.array_equal(array(name, call(name, "uniform", 1.5)), numpy.full((size, size), 1.5))
    assert numpy.array_equal(array(name, getattr(_zarnik, f"new_{name}")()), numpy.zeros((size, size)))
    assert call(name, "__eq__", identity, call(name, "identity")) is True
    assert call(name, "__ne__", identity, call(name, "uniform", 1)) is True
    assert call(name, "__call__", identity, 1, 1) == 1.0
    matrix = make(name, numpy.arange(size * size).reshape(size, size) + 0.5)
    assert call(name, "at", matrix, 2, 0) == 2.5
    for singular in (numpy.ones((size, size)), numpy.diag([1.0] * (size - 1) + [0.0])):
        assert not numpy.isfinite(array(name, call(name, "inverse", make(name, singular)))).all()
    text = call(name, "to_string", matrix)
    assert numpy.array_equal(numpy.array(eval(text)), array(name, matrix))
    for position in ((size, 0), (0, size), (2**64 - 1, 0)):
        for method, *value in (("at",), ("__call__",), ("set_at", 1)):
            refused("index [0-9]+ is out of range, allowed are 0 to", call, name, method, matrix, *position, *value)
    fails(ValueError, "input sequence has invalid length", getattr(_zarnik, f"{name}___mul__"), matrix, [1] * 20)
    assert call(name, "__mul__", matrix, None) is NotImplemented
    for operand in ("x", 1j, ["a"] * size):
        assert call(name, "__mul__", matrix, operand) is NotImplemented
        assert call(name, "__add__", matrix, operand) is NotImplemented
    cpp = f"zarnik::Matrix< {element},{size} > const &"
    null_reference(getattr(_zarnik, f"{name}___add__"), 2, cpp, matrix, None)


def turn(axis, angle):
    """A rotation around one axis as a product with (x, y, z), written down from its effect on the other two axes."""
    matrix = numpy.eye(4)
    one, two = (axis + 1) % 3, (axis + 2) % 3
    matrix[one, one] = matrix[two, two] = numpy.cos(angle)
    matrix[two, one] = numpy.sin(angle)
    matrix[one, two] = -numpy.sin(angle)
    return matrix


def euler(angles, convention):
    return array("Matrix4d", _zarnik.TransformMatrix4Factory_rotation_euler(angles, convention))


def test_euler_conventions():
    angles = [0.3, -1.1, 2.2]
    conventions = ["".join(axes) for axes in itertools.permutations("xyz")] + ["zxz", "xyx", "yzy", "xxy"]
    for convention in conventions:
        first, second, third = (turn("xyz".index(axis), angle) for axis, angle in zip(convention, angles))
        assert numpy.allclose(euler(angles, convention), third @ second @ first)
        assert numpy.allclose(euler(angles, convention.upper()), first @ second @ third)
    for convention in ("ZyX", "zYX", "", "xy", "xyzx", "xyw", "\xe4yz"):
        refused(r"Euler convention .* is invalid", euler, angles, convention)


def test_transforms():
    factory = "TransformMatrix{}Factory_{}"
    for size, values in ((3, [2.0, 3.0]), (4, [2.0, 3.0, 4.0])):
        expected = numpy.eye(size)
        expected[:-1, -1] = values
        translation = getattr(_zarnik, factory.format(size, "translation"))(values)
        assert numpy.array_equal(array(f"Matrix{size}d", translation), expected)
        scaling = getattr(_zarnik, factory.format(size, "scaling"))(values)
        assert numpy.array_equal(array(f"Matrix{size}d", scaling), numpy.diag([*values, 1.0]))
        getattr(_classes, f"TransformMatrix{size}Factory")()
    plane = array("Matrix3d", _zarnik.TransformMatrix3Factory_rotation(0.5))
    assert numpy.allclose(plane[:2, :2], turn(2, 0.5)[:2, :2])
    on_axis = _zarnik.TransformMatrix4Factory_rotation_on_axis
    for axis in range(3):
        assert numpy.allclose(array("Matrix4d", on_axis(0.7, numpy.eye(3)[axis].tolist())), turn(axis, 0.7))
    direction = numpy.array([1.0, 2.0, 2.0]) / 3
    rotation = array("Matrix4d", on_axis(0.7, direction.tolist()))[:3, :3]
    assert numpy.allclose(rotation @ direction, direction)
    assert numpy.allclose(rotation @ rotation.T, numpy.eye(3))
    assert numpy.trace(rotation) == pytest.approx(1 + 2 * numpy.cos(0.7))
    for axis in ([0, 0, 0], [0, 0, 2], [math.nan, 0, 1]):
        refused("must be normalized", on_axis, 0.7, axis)
    fails(ValueError, "input sequence has invalid length", _zarnik.TransformMatrix3Factory_translation, [1, 2, 3])
