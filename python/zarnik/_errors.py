"""Errors as other Python errors: a repr with the message, and pickling, which brings them home from other processes."""

from __future__ import annotations

from typing import Any

from zarnik._extension import extends


@extends("Error", "InvalidArgument", "NotImplemented")
class _Error:
    def __repr__(self) -> str:
        return f"{type(self).__name__}({str(self)!r})"

    def __reduce__(self) -> tuple[Any, ...]:
        return type(self), (str(self),)
