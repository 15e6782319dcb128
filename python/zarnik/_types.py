"""Data types and image types: conversion from and to NumPy, and what Python users expect of values."""

from __future__ import annotations

import math
from collections.abc import Iterator
from functools import lru_cache
from typing import TYPE_CHECKING, Any

import numpy

import _zarnik
import zarnik._classes as _classes
from zarnik import _axes
from zarnik._calls import flat
from zarnik._enumerations import DataTypeId, DataTypeInterpretation, ImageDimension, PrimitiveTypeId
from zarnik._extension import extends

if TYPE_CHECKING:
    from zarnik._classes import ImageType

#: Suffixes of the typed families, such as Vector3u16, with the element type of NumPy.
ELEMENT_TYPES: dict[str, numpy.dtype[Any]] = {
    "u8": numpy.dtype("u1"),
    "i8": numpy.dtype("i1"),
    "u16": numpy.dtype("u2"),
    "i16": numpy.dtype("i2"),
    "u32": numpy.dtype("u4"),
    "i32": numpy.dtype("i4"),
    "u64": numpy.dtype("u8"),
    "i64": numpy.dtype("i8"),
    "f": numpy.dtype("f4"),
    "d": numpy.dtype("f8"),
}

_SHARED_NAMES = "uint8, int8, uint16, int16, uint32, int32, uint64, int64, float32, float64"
_PRIMITIVE_OF_KIND = {
    "u": PrimitiveTypeId.UNSIGNED_INTEGER,
    "i": PrimitiveTypeId.SIGNED_INTEGER,
    "f": PrimitiveTypeId.FLOATING_POINT,
}
_KIND_OF_PRIMITIVE = {int(primitive): kind for kind, primitive in _PRIMITIVE_OF_KIND.items()}
_SCALARS = frozenset(ELEMENT_TYPES.values())
_dtypes: dict[int, numpy.dtype[Any]] = {}


# Each file that is opened asks for that of its elements.
@lru_cache(maxsize=256)
def scalar_dtype(dtype: numpy.dtype[Any], what: str) -> numpy.dtype[Any]:
    """Return the one dtype for the kind and size of a dtype; long and long long may be of one size, but are two.

    :raises TypeError: if the library has no such element type.
    """
    if dtype.isnative and dtype.kind in _PRIMITIVE_OF_KIND and dtype.itemsize <= 8:
        canonical = numpy.dtype(f"{dtype.kind}{dtype.itemsize}")
        if canonical in _SCALARS:
            return canonical
    hint = ""
    if not dtype.isnative:
        hint = "; astype(dtype.newbyteorder('=')) makes a copy in native byte order"
    elif dtype.kind == "b":
        hint = "; view(numpy.uint8) shows the same bytes as integers"
    raise TypeError(f"{what} of dtype {dtype}: allowed are {_SHARED_NAMES} in native byte order{hint}")


def data_type_id_of(dtype: numpy.dtype[Any]) -> int:
    """Return the id of the data type for a dtype: scalars, complex numbers, subarrays such as ('u2', (3,))."""
    if dtype.subdtype:
        scalar, shape = dtype.subdtype
        count = math.prod(shape)
        if scalar.kind == "c" or not 1 <= count <= 255:
            raise TypeError(f"there is no data type for dtype {dtype}")
        return data_type_id_of(scalar) & ~0xFF00 | count << 8
    if dtype.isnative and dtype in (numpy.dtype("c8"), numpy.dtype("c16")):
        return DataTypeId.COMPLEX_FLOAT if dtype.itemsize == 8 else DataTypeId.COMPLEX_DOUBLE
    scalar = scalar_dtype(dtype, "there is no data type for elements")
    return _PRIMITIVE_OF_KIND[scalar.kind] << 16 | 1 << 8 | scalar.itemsize * 8


def dtype_of(data_type_id: int) -> numpy.dtype[Any]:
    """Return the dtype of one element: of vector and matrix types a subarray, of complex types a complex number.

    :raises TypeError: if NumPy has no such type.
    """
    found = _dtypes.get(data_type_id)
    if found is None:
        found = _dtypes[data_type_id] = _make_dtype(data_type_id)
    return found


def _make_dtype(data_type_id: int) -> numpy.dtype[Any]:
    kind = _KIND_OF_PRIMITIVE.get(data_type_id >> 16 & 0xFFFF)
    bits, count = data_type_id & 0xFF, data_type_id >> 8 & 0xFF
    try:
        scalar = numpy.dtype(f"{kind}{bits // 8}") if kind and bits % 8 == 0 else None
    except TypeError:
        scalar = None
    if scalar not in _SCALARS or count == 0:
        raise TypeError(f"NumPy has no type for {_classes.DataType(data_type_id).to_string()}")
    assert scalar is not None
    if data_type_id >> 32 == DataTypeInterpretation.COMPLEX and count == 2:
        return numpy.dtype(f"c{scalar.itemsize * 2}")
    return scalar if count == 1 else numpy.dtype((scalar, (count,)))


@extends("DataType")
class _DataType:
    """`numpy.dtype(data_type)` and `DataType(dtype)` convert; both kinds compare with each other."""

    if TYPE_CHECKING:

        def get_id(self) -> int: ...

    def __init__(self, *properties: Any) -> None:
        if len(properties) == 1 and not isinstance(properties[0], int):
            (given,) = properties
            if isinstance(given, _classes.DataType):
                properties = (given.get_id(),)
            elif given is None:
                raise TypeError("DataType is made of a dtype, what makes one, or the id of a data type, got None")
            else:
                properties = (data_type_id_of(numpy.dtype(given)),)
        flat.DataType_swiginit(self, flat.new_DataType(*properties))

    @property
    def dtype(self) -> numpy.dtype[Any]:
        """The dtype of one element; a type of several components has a subarray, a complex one a complex number."""
        return dtype_of(self.get_id())

    def get_primitive_type(self) -> PrimitiveTypeId:
        """Return the kind of the components."""
        return PrimitiveTypeId(flat.DataType__get_primitive_type(self))

    def get_interpretation(self) -> DataTypeInterpretation:
        """Return what the components mean together."""
        return DataTypeInterpretation(flat.DataType__get_interpretation(self))

    def __eq__(self, other: object) -> bool:
        """Compare with a data type, the id of one, or a dtype."""
        if isinstance(other, _classes.DataType):
            return self.get_id() == other.get_id()
        if isinstance(other, int):
            return self.get_id() == other
        if isinstance(other, numpy.dtype) or (isinstance(other, type) and issubclass(other, numpy.generic)):
            try:
                return bool(dtype_of(self.get_id()) == other)
            except TypeError:
                return False
        return NotImplemented

    def __ne__(self, other: object) -> bool:
        equal = _DataType.__eq__(self, other)
        return equal if equal is NotImplemented else not equal

    def __hash__(self) -> int:
        """That of the dtype, since both are equal; data types without one have that of their id."""
        number = self.get_id()
        try:
            return hash(dtype_of(number))
        except TypeError:
            return hash(number)

    def __repr__(self) -> str:
        number = self.get_id()
        try:
            return f"DataType(DataTypeId.{DataTypeId(number).name})"
        except ValueError:
            return f"DataType(0x{number:X})"

    def __reduce__(self) -> tuple[Any, ...]:
        return type(self), (self.get_id(),)


def as_data_type(value: Any) -> Any:
    """Return a data type from one, an id of any width, a dtype or what makes one."""
    return value if isinstance(value, _classes.DataType) else _classes.DataType(value)


@extends("ImageType")
class _ImageType:
    """A set of dimensions, iterated in canonical order; strings of axes read in NumPy's order: `ImageType("ZYX")`."""

    if TYPE_CHECKING:

        def add(self, dimension: int) -> None: ...
        def has(self, dimension: int) -> bool: ...
        def dimension_count(self) -> int: ...
        def value(self) -> int: ...

    def __init__(self, *dimensions: Any) -> None:
        # A plain int is a mask, a dimension is a dimension.
        if len(dimensions) == 1 and (isinstance(dimensions[0], ImageDimension) or not isinstance(dimensions[0], int)):
            (axes,) = dimensions
            made = flat.new_ImageType()
            for dimension in _axes.dimensions_of(axes):
                flat.ImageType_add(made, dimension)
        else:
            made = flat.new_ImageType(*dimensions)
        flat.ImageType_swiginit(self, made)

    @property
    def axes(self) -> str:
        """The axes as a string in the order in which they stand in arrays, e.g. "ZYX" for a volume."""
        return _axes.letters(dimension for dimension in _axes.NUMPY_ORDER if self.has(dimension))

    def dimension(self, index: int) -> ImageDimension:
        """Return the dimension at a position, e.g. 2 of a sequence of images is SEQUENCE."""
        return ImageDimension(flat.ImageType__dimension(self, index))

    def __len__(self) -> int:
        return self.dimension_count()

    def __bool__(self) -> bool:
        return self.dimension_count() != 0

    def __iter__(self) -> Iterator[ImageDimension]:
        return iter([self.dimension(index) for index in range(self.dimension_count())])

    def __getitem__(self, index: Any) -> Any:
        return tuple(self)[index]

    def __contains__(self, dimension: object) -> bool:
        return isinstance(dimension, int) and dimension in tuple(self)

    def __or__(self, other: Any) -> ImageType:
        """Return the type that has the dimensions of both."""
        if not isinstance(other, (int, _classes.ImageType)):
            return NotImplemented
        union: ImageType = _classes.ImageType(tuple(self))
        for dimension in (other,) if isinstance(other, int) else other:
            union.add(dimension)
        return union

    def __repr__(self) -> str:
        return f"ImageType({self.axes!r})"

    def __reduce__(self) -> tuple[Any, ...]:
        return type(self), (self.value(),)


def as_image_type(axes: Any) -> Any:
    """Return an image type from one, or from a string of axes or dimensions."""
    return axes if isinstance(axes, _classes.ImageType) else _classes.ImageType(axes)


class _Constant:
    """A named image type, made anew at each access: the library's own could be changed for the whole process."""

    def __init__(self, name: str) -> None:
        self._name = name

    def __get__(self, instance: object, owner: type) -> ImageType:
        return _classes.ImageType(getattr(_zarnik.cvar, f"ImageTypeId_{self._name}").value())


for _name in (
    "UNKNOWN",
    "IMAGE",
    "VOLUME",
    "MULTISPECTRAL_IMAGE",
    "MULTISPECTRAL_VOLUME",
    "IMAGE_SEQUENCE",
    "VOLUME_SEQUENCE",
    "MULTISPECTRAL_IMAGE_SEQUENCE",
    "MULTISPECTRAL_VOLUME_SEQUENCE",
):
    setattr(_classes.ImageTypeId, _name, _Constant(_name))
