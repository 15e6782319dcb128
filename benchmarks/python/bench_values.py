"""Small vectors and matrices against small NumPy arrays."""

from __future__ import annotations

from collections.abc import Iterator

import numpy

import zarnik
from measure import Ratio, compare

AIM = 0.5


def run() -> Iterator[Ratio]:
    items = [1.0, 2.0, 3.0]
    matrix = zarnik.TransformMatrix4Factory.scaling([1.0, 2.0, 3.0])
    names = {
        "items": items,
        "array_of": numpy.array,
        "Vector": zarnik.Vector3d,
        "v": zarnik.Vector3d(items),
        "w": zarnik.Vector3d([4.0, 5.0, 6.0]),
        "a": numpy.array(items),
        "b": numpy.array([4.0, 5.0, 6.0]),
        "matrix": matrix,
        "point": zarnik.Vector4d([1.0, 2.0, 3.0, 1.0]),
        "array_matrix": numpy.asarray(matrix),
        "array_point": numpy.array([1.0, 2.0, 3.0, 1.0]),
    }
    for name, work, numpy_work in (
        ("Vector3d from a list", "Vector(items)", "array_of(items)"),
        ("Vector3d + Vector3d", "v + w", "a + b"),
        ("Vector3d.at", "v.at(1)", "a[1]"),
        ("Matrix4d * Vector4d", "matrix * point", "array_matrix @ array_point"),
    ):
        yield compare(name, work, f"NumPy, {numpy_work}", numpy_work, names, aim=AIM)
