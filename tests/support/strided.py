"""Random arrays of any strides: sliced, transposed, reversed, broadcast, empty, out of line."""

from __future__ import annotations

from typing import Any

import numpy
from hypothesis import strategies as st

SHARED_DTYPES = [numpy.dtype(name) for name in ("u1", "i1", "u2", "i2", "u4", "i4", "u8", "i8", "f4", "f8")]


@st.composite
def strided_arrays(draw: Any, max_side: int = 4, unaligned: bool = False) -> numpy.ndarray[Any, Any]:
    """Draw a writeable array with distinct elements, except where an axis is broadcast."""
    ndim = draw(st.integers(1, 5))
    dtype = draw(st.sampled_from(SHARED_DTYPES))
    shape = tuple(draw(st.lists(st.integers(0, max_side), min_size=ndim, max_size=ndim)))
    steps = draw(st.lists(st.sampled_from([1, 1, 2, -1, -2, 0]), min_size=ndim, max_size=ndim))
    base_shape = tuple(1 if step == 0 else max(size * abs(step), 1) for size, step in zip(shape, steps))
    order = draw(st.sampled_from("CF"))
    count = int(numpy.prod(base_shape))
    base = (numpy.arange(count) * 7 % 251).astype(dtype).reshape(base_shape, order=order)
    if unaligned and draw(st.booleans()):  # each element one byte further on
        record = numpy.zeros(base_shape, numpy.dtype([("pad", "u1"), ("value", dtype)]))
        record["value"] = base
        base = record["value"]
    array = base[tuple(slice(None, None, step or 1) for step in steps)]
    array = array[tuple(slice(0, 1 if step == 0 else size) for size, step in zip(shape, steps))]
    strides = tuple(0 if step == 0 else stride for step, stride in zip(steps, array.strides))
    array = numpy.lib.stride_tricks.as_strided(array, shape, strides)
    return array.transpose(draw(st.permutations(range(ndim))))


@st.composite
def axes_for(draw: Any, ndim: int) -> str:
    """Draw the axes of an array in any order."""
    return "".join(draw(st.permutations("TZYXC"))[:ndim])
