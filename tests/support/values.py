"""The families of value classes, and their objects made and read by flat functions alone."""

from __future__ import annotations

from typing import Any

import numpy

import _zarnik

ELEMENTS = {
    "u8": ("uint8_t", numpy.uint8),
    "i8": ("int8_t", numpy.int8),
    "u16": ("uint16_t", numpy.uint16),
    "i16": ("int16_t", numpy.int16),
    "u32": ("uint32_t", numpy.uint32),
    "i32": ("int32_t", numpy.int32),
    "u64": ("uint64_t", numpy.uint64),
    "i64": ("int64_t", numpy.int64),
    "f": ("float", numpy.float32),
    "d": ("double", numpy.float64),
}


def type_id(dtype: Any, prefix: str = "") -> int:
    """The identifier of the data type of elements of a dtype, or of vectors of it that a prefix such as VEC3_ tells."""
    name = numpy.dtype(dtype).name.upper()
    return getattr(_zarnik, f"DataTypeId_{prefix}" + {"FLOAT32": "FLOAT", "FLOAT64": "DOUBLE"}.get(name, name))


def image_type(name: str) -> Any:
    """One of the axes interpretations that the library names."""
    return getattr(_zarnik.cvar, f"ImageTypeId_{name}")


def call(name: str, method: str, *arguments: Any) -> Any:
    """A method of a class, as a flat function."""
    return getattr(_zarnik, f"{name}_{method}")(*arguments)


class Family:
    """One vector class: its name, C++ name, element type and size, which is None when chosen at run time."""

    def __init__(self, size: str, suffix: str) -> None:
        self.name = f"Vector{size}{suffix}"
        element, self.dtype = ELEMENTS[suffix]
        self.size = None if size == "X" else int(size)
        self.cpp = f"zarnik::VectorX< {element} >" if size == "X" else f"zarnik::Vector< {element},{size} >"
        self.is_float = suffix in "fd"

    def call(self, method: str, *arguments: Any) -> Any:
        return call(self.name, method, *arguments)

    def make(self, values: Any) -> Any:
        values = numpy.asarray(values, self.dtype).tolist()
        new = getattr(_zarnik, f"new_{self.name}")
        vector = new(len(values)) if self.size is None else new()
        for index, value in enumerate(values):
            self.call("set_at", vector, index, value)
        return vector

    def array(self, vector: Any) -> numpy.ndarray:
        return numpy.array([self.call("at", vector, i) for i in range(self.call("size", vector))], self.dtype)

    def samples(self, count: int = 4) -> list[numpy.ndarray]:
        """Random values over the whole range of the element type, with its limits among them."""
        random = numpy.random.default_rng(20 + len(self.name))
        size = self.size or 3
        if self.is_float:
            rows = list(random.normal(size=(count, size)) * 100)
            return [row.astype(self.dtype) for row in [*rows, numpy.zeros(size), numpy.full(size, -1.5)]]
        limits = numpy.iinfo(self.dtype)
        rows = list(random.integers(limits.min, limits.max, (count, size), self.dtype, endpoint=True))
        edges = [limits.min, limits.max, 0, 1]
        return [*rows, numpy.array(edges[:size], self.dtype), numpy.array(edges[::-1][:size], self.dtype)]


VECTORS = [Family(size, suffix) for size in "234X" for suffix in ELEMENTS]
VECTOR_NAMES = [family.name for family in VECTORS]


def vector(name: str, values: Any) -> Any:
    """A bare vector of a class."""
    return VECTORS[VECTOR_NAMES.index(name)].make(values)


def components(name: str, wrapped: Any) -> list[Any]:
    """The components of a vector of a class."""
    return VECTORS[VECTOR_NAMES.index(name)].array(wrapped).tolist()
