"""Copies of a value by each way that Python has."""

import copy
import pickle
from collections.abc import Iterator
from typing import Any

import pytest

import zarnik


def twins(value: Any) -> Iterator[Any]:
    """Copies from the text, by pickling and by copying; values are equal to them, and have no hash."""
    from_text = eval(repr(value), dict(vars(zarnik)))
    for twin in (from_text, pickle.loads(pickle.dumps(value)), copy.copy(value), copy.deepcopy(value)):
        assert type(twin) is type(value)
        assert twin == value
        yield twin
    with pytest.raises(TypeError, match="unhashable"):
        hash(value)
