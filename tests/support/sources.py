"""Images of every kind that is no adapter, with given elements."""

from __future__ import annotations

import io
from typing import Any

import numpy

import zarnik
from support.shared_types import TiledView
from zarnik import ImageViewFactory as Factory

KINDS = {"f": "FLOATING_POINT", "i": "SIGNED_INTEGER", "u": "UNSIGNED_INTEGER"}
TILE = 3


def source_of(kind: str, values: numpy.ndarray[Any, Any], axes: str, has_pixels: bool) -> Any:
    """An image with these elements; the last axis may be that of a pixel's components."""
    if kind == "strided":
        room = numpy.zeros([2 * extent for extent in values.T.shape], values.dtype).T
        own = room[(slice(None, None, -2),) * values.ndim]
        own[...] = values
        image = zarnik.from_numpy(own, axes)
        return Factory.assemble_channels(image) if has_pixels else image
    if kind == "array":
        return zarnik.from_array(values, axes)
    count = values.shape[-1] if has_pixels else 1
    dtype = zarnik.DataType(zarnik.PrimitiveTypeId[KINDS[values.dtype.kind]], values.itemsize * 8, count)
    letters = [letter for letter in "XYZCT" if letter in axes and not (has_pixels and letter == "C")]
    sizes = [values.shape[axes.index(letter)] for letter in letters]
    if kind == "accessor, read-only":  # of elements in the order of rows
        access = zarnik.open_random(values.tobytes())
        return Factory.from_random_access(access, zarnik.MemoryLayout.FORTRAN, sizes, dtype)
    if kind == "tiled":
        image = TiledView(sizes, dtype.get_id(), [TILE] * len(sizes))
    elif kind.startswith("accessor"):
        access = zarnik.open_random(io.BytesIO(bytes(values.nbytes)), mode="r+")
        layout = zarnik.MemoryLayout.FORTRAN if kind == "accessor, F" else zarnik.MemoryLayout.C
        image = Factory.from_random_access(access, layout, sizes, dtype)
    else:
        image = Factory.allocate(sizes, dtype)
    image.set_axes_interpretation("".join(letters))
    image[...] = values
    image = image.to_disk() if kind == "disk" else image
    provider = zarnik.ImageViewProvider
    restrict = {"read-only": provider.to_read_only, "write-only": provider.to_write_only}
    return restrict[kind](image) if kind in restrict else image
