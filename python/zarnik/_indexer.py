"""Indexers: made from data types of every kind, and with a text."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any

from zarnik._calls import as_data_type, as_vector, flat
from zarnik._extension import extends


@extends("Indexer")
class _Indexer:
    if TYPE_CHECKING:

        def shape(self) -> Any: ...
        def dtype(self) -> Any: ...
        def byte_stride(self) -> Any: ...
        def layout(self) -> Any: ...

    def __init__(self, *arguments: Any) -> None:
        if len(arguments) >= 2:
            shape, data_type, *places = arguments
            arguments = (as_vector(shape), as_data_type(data_type), *map(as_vector, places))
        flat.Indexer_swiginit(self, flat.new_Indexer(*arguments))

    def __reduce__(self) -> tuple[Any, ...]:
        state = (self.shape(), self.dtype(), self.byte_stride(), self.layout())
        return type(self), state if len(state[0]) else ()

    def __repr__(self) -> str:
        strides = tuple((stride + 2**63) % 2**64 - 2**63 for stride in self.byte_stride())
        return f"<zarnik.Indexer of shape {tuple(self.shape())}, byte strides {strides}, {self.dtype().to_string()}>"
