"""Metadata values as Python values of their full width."""

from __future__ import annotations

import operator
from collections.abc import Iterator
from typing import TYPE_CHECKING, Any

import numpy

import _zarnik
import zarnik._classes as _classes
from zarnik._enumerations import DataTypeId
from zarnik._extension import extends
from zarnik._interop import array_over

if TYPE_CHECKING:
    from zarnik._classes import DataType, VariantDataValue

_STRING_UNITS = {DataTypeId.UTF16_STRING: (2, "utf-16"), DataTypeId.UTF32_STRING: (4, "utf-32")}
# What the flat reader, which has 32 bits, reads whole.
_READ_WHOLE = {
    *(DataTypeId.INT8, DataTypeId.INT16, DataTypeId.INT32),
    *(DataTypeId.UINT8, DataTypeId.UINT16, DataTypeId.FLOAT, DataTypeId.DOUBLE),
}
_INT32 = range(-(2**31), 2**31)


def variant(value: Any) -> VariantDataValue:
    """Make a metadata value from a Python one: a number, a string, or a sequence or array of one kind of them.

    Integers are stored with 32 bits if there is one that fits, else with 64.

    :raises OverflowError: if an integer needs more than 64 signed bits.
    :raises TypeError: if there is no type for the value.
    """
    if isinstance(value, _classes.VariantDataValue):
        return value
    if isinstance(value, (numpy.ndarray, numpy.generic)):
        value = value.tolist()
    create = _zarnik.VariantDataValueFactory_create
    if isinstance(value, str):
        return create(_terminated(value))
    if isinstance(value, int):
        return create(int(value)) if value in _INT32 else _integers([value])
    if isinstance(value, float):
        return create(value)
    if not isinstance(value, (list, tuple, range)):
        raise TypeError(f"a metadata value is a number, a string, or a sequence of them, got {value!r}")
    items = list(value)
    if not items:
        raise ValueError("Cannot create metadata value from an empty sequence")
    if all(isinstance(item, str) for item in items):
        return create([_terminated(item) for item in items])
    items = [item.item() if isinstance(item, numpy.generic) else item for item in items]
    if all(isinstance(item, int) for item in items):
        return _integers(items)
    if all(isinstance(item, (int, float)) for item in items):
        return create([float(item) for item in items])
    raise TypeError(f"the items of a metadata value are all numbers or all strings, got {value!r}")


def _terminated(text: str) -> str:
    if "\0" in text:
        raise ValueError(f"a metadata string ends at its first zero character: {text!r} cannot be stored whole")
    return text


def _integers(items: list[int]) -> VariantDataValue:
    # The factory reads 32 bits of each item of a sequence: room is made by it, and filled here before anybody sees it.
    for item in items:
        if not -(2**63) <= item < 2**63:
            raise OverflowError(f"metadata integers have 64 signed bits, got {item}")
    made = _zarnik.VariantDataValueFactory_create([0] * len(items))
    _elements(made, numpy.dtype("i8"))[:] = items
    return made


def _elements(value: Any, dtype: numpy.dtype[Any]) -> numpy.ndarray[Any, Any]:
    address = int(_zarnik.VariantDataValue_raw(value))
    # A node shares the value, so the memory stays even if the object that wraps the value is destroyed.
    owner = _zarnik.new_MetadataNode("value", value)
    return array_over(address, (_zarnik.VariantDataValue_get_count(value),), dtype, owner)


def wide_string(address: int, unit_bytes: int, encoding: str) -> str:
    """Return the zero-terminated string at an address."""
    import ctypes

    unit = ctypes.c_uint16 if unit_bytes == 2 else ctypes.c_uint32
    length = 0
    while unit.from_address(address + length).value:
        length += unit_bytes
    return ctypes.string_at(address, length).decode(f"{encoding}-{'le' if numpy.little_endian else 'be'}", "replace")


@extends("VariantDataValue")
class _VariantDataValue:
    """A sequence of its elements; one that has a single element compares with that too."""

    if TYPE_CHECKING:

        def clone(self) -> VariantDataValue: ...
        def get_type(self) -> DataType: ...
        def get_count(self) -> int: ...

    __hash__ = None  # type: ignore[assignment]

    def type(self) -> DataType:
        """Return the type of the values stored."""
        return self.get_type()

    def count(self) -> int:
        """Return the number of values stored."""
        return self.get_count()

    def tolist(self) -> list[Any]:
        """Return the elements as Python ints, floats or strings, whole at every width."""
        number = self.get_type().get_id()
        if number in _STRING_UNITS:
            unit, encoding = _STRING_UNITS[DataTypeId(number)]
            pointers = _elements(self, numpy.dtype(numpy.uintp)).tolist()
            return [wide_string(pointer, unit, encoding) for pointer in pointers]
        if number == DataTypeId.UTF8_STRING or (number in _READ_WHOLE and self.get_count() < 8):
            return [_zarnik.VariantDataValue___getitem(self, index) for index in range(self.get_count())]
        return list(self.__array__().tolist())

    def to_python(self) -> Any:
        """Return the element, or the list of elements if there are several."""
        elements = _VariantDataValue.tolist(self)
        return elements[0] if len(elements) == 1 else elements

    def __array__(self, dtype: Any = None, copy: bool | None = None) -> numpy.ndarray[Any, Any]:
        """Numbers come as a read-only array that shares the value's memory, strings as a copy."""
        number = self.get_type().get_id()
        is_string = number in _STRING_UNITS or number == DataTypeId.UTF8_STRING
        array = numpy.array(self.tolist()) if is_string else _elements(self, self.get_type().dtype)
        array.flags.writeable = False
        wanted = array.dtype if dtype is None else numpy.dtype(dtype)
        if copy is False and (is_string or array.dtype != wanted):
            raise ValueError(f"an array of dtype {wanted} of this value is a copy")
        return array.astype(wanted, copy=bool(copy))

    def __copy__(self) -> VariantDataValue:
        return self.clone()

    def __deepcopy__(self, memo: dict[int, Any]) -> VariantDataValue:
        return self.clone()

    def __reduce__(self) -> tuple[Any, ...]:
        elements = self.tolist()
        is_narrow = len(elements) == 1 and self.get_type().get_id() == DataTypeId.INT32
        return variant, (elements[0] if is_narrow else elements,)

    def __len__(self) -> int:
        return self.get_count()

    def __iter__(self) -> Iterator[Any]:
        return iter(self.tolist())

    def __getitem__(self, index: Any) -> Any:
        if isinstance(index, slice):
            return self.tolist()[index]
        place = operator.index(index)
        if not 0 <= place < self.get_count():
            raise IndexError("Index out of range")
        number = self.get_type().get_id()
        if number in _STRING_UNITS:
            return self.tolist()[place]
        if number == DataTypeId.UTF8_STRING:
            return _zarnik.VariantDataValue___getitem(self, place)
        return self.__array__()[place].item()

    def __eq__(self, other: object) -> Any:
        if isinstance(other, _classes.VariantDataValue):
            return self.tolist() == other.tolist()
        if isinstance(other, (numpy.ndarray, numpy.generic)):
            other = other.tolist()
        if isinstance(other, (list, tuple)):
            return self.tolist() == list(other)
        if isinstance(other, (int, float, str)):
            return self.tolist() == [other]
        return NotImplemented

    def __ne__(self, other: object) -> Any:
        equal = _VariantDataValue.__eq__(self, other)
        return equal if equal is NotImplemented else not equal

    def __int__(self) -> int:
        return int(self._single())

    def __float__(self) -> float:
        return float(self._single())

    def _single(self) -> Any:
        elements = self.tolist()
        if len(elements) != 1:
            raise TypeError(f"only a value of one element is a number, this one has {len(elements)}")
        return elements[0]

    def __str__(self) -> str:
        return str(self.to_python())

    def __repr__(self) -> str:
        return f"<zarnik.VariantDataValue {self.get_type().to_string()} {shortened(self)}>"


def shortened(value: Any, limit: int = 8) -> str:
    """Return the text of a value, of its first elements if there are many."""
    elements = value.tolist()
    if len(elements) == 1:
        return repr(elements[0])
    if len(elements) <= limit:
        return repr(elements)
    return f"[{', '.join(map(repr, elements[:limit]))}, ... {len(elements)} in all]"
