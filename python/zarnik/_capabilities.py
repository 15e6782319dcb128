"""Capability sets: iterated and printed by the names of their flags."""

from __future__ import annotations

from collections.abc import Iterator
from enum import IntFlag
from typing import TYPE_CHECKING, Any

from zarnik import _enumerations
from zarnik._extension import extends

_FLAGS: dict[str, type[IntFlag]] = {
    f"{flags.__name__}Set": flags
    for flags in (
        _enumerations.ImageCapability,
        _enumerations.MultiImageCapability,
        _enumerations.DataFrameCapability,
        _enumerations.StreamAccessCapability,
        _enumerations.RandomAccessCapability,
        _enumerations.ParallelAccessCapability,
    )
}


@extends("*CapabilitySet")
class _CapabilitySet:
    if TYPE_CHECKING:

        def value(self) -> int: ...

    def __iter__(self) -> Iterator[IntFlag]:
        """Iterate over the single flags that are set, lowest bit first."""
        mask = self.value()
        return iter([flag for flag in _single_flags(_FLAGS[type(self).__name__]) if flag & mask])

    def __len__(self) -> int:
        return len(list(iter(self)))

    def __bool__(self) -> bool:
        return self.value() != 0

    def __contains__(self, flags: Any) -> bool:
        return isinstance(flags, int) and self.value() & flags == flags

    def __int__(self) -> int:
        return self.value()

    def __str__(self) -> str:
        """The names of the flags, e.g. "READ | WRITE"; bits without a name as a number."""
        names = [str(flag.name) for flag in self]
        rest = self.value() & ~sum(int(flag) for flag in self)
        return " | ".join([*names, f"0x{rest:X}"] if rest else names) or "none"

    def __repr__(self) -> str:
        enumeration = _FLAGS[type(self).__name__].__name__
        rest = self.value() & ~sum(int(flag) for flag in self)
        terms = [f"{enumeration}.{flag.name}" for flag in self] + ([f"0x{rest:X}"] if rest else [])
        return f"{type(self).__name__}({' | '.join(terms)})"

    def __reduce__(self) -> tuple[Any, ...]:
        return type(self), (self.value(),)

    __hash__ = None  # type: ignore[assignment]


def _single_flags(flags: type[IntFlag]) -> list[IntFlag]:
    return [flag for flag in flags.__members__.values() if flag & (flag - 1) == 0]
