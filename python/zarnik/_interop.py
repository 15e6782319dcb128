"""Arrays as images and images as arrays, over one memory."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any

import numpy

import _zarnik
from zarnik import _axes, _types
from zarnik._enumerations import ImageCapability, ImageInterpretation
from zarnik._geometry import Layout

if TYPE_CHECKING:
    from zarnik._classes import ImageView


def from_numpy(
    array: numpy.ndarray[Any, Any],
    axes: _axes.Axes | None = None,
    *,
    interpretation: int = ImageInterpretation.UNKNOWN,
    alpha: bool = False,
) -> ImageView:
    """Make an image over the memory of an array, whatever its strides; nothing is copied.

    The image keeps the array alive. A read-only array gives a read-only image.

    :param array: 1 to 5 axes of 8- to 64-bit integers or 32- or 64-bit floating point numbers.
    :param axes: What the axes of the array are: a string that reads like the array's shape, such as "TZYX" for
        (time, slice, row, column), a list of `ImageDimension`, or an `ImageType`, whose dimensions are taken in the
        order T, Z, Y, X, C. By default X, YX, ZYX, TZYX or TZYXC, by the number of axes.
    :param interpretation: What the values stand for, an `ImageInterpretation`.
    :param alpha: Whether the last channel is an alpha channel.
    :return: The image; its `get_shape()` is in the library's order X, Y, Z, C, T, its `shape` in the order of arrays.
    :raises TypeError: if array is no array, or its elements have no counterpart.
    :raises ValueError: if the axes do not fit the array.
    """
    if not isinstance(array, numpy.ndarray):
        raise TypeError(f"from_numpy takes a numpy.ndarray, got {type(array).__name__}: numpy.asarray makes one")
    dtype = _types.scalar_dtype(array.dtype, "an image cannot share an array")
    if getattr(array, "mask", None) is not None:
        raise TypeError("an image cannot share a masked array, its mask would be lost: take array.data or filled()")
    dimensions = _axes.dimensions_of_array(axes, array.shape)
    writeable = array.flags.writeable
    if array.dtype.num != dtype.num:
        array = array.view(dtype)
    view = _zarnik.NumpyInterop__order_from_numpy_array(array, dimensions, interpretation, bool(alpha))
    return view if writeable else read_only(view)


def read_only(view: Any) -> Any:
    """Return a view that cannot be changed, and knows whose memory it may show as arrays that cannot be either."""
    shown = _zarnik.ImageViewProvider_to_read_only(view)
    if shown is not None:
        shown._source = view
    return shown


def shared_array(view: Any, layout: Layout) -> numpy.ndarray[Any, Any] | None:
    """Return an array over the memory of a view, in the order T, Z, Y, X, C; None if it has no memory to share."""
    capabilities = _zarnik.ImageCapabilitySet_value(_zarnik.ImageView_get_capabilities(view))
    source = getattr(view, "_source", None)
    if source is not None:
        view, capabilities = source, _zarnik.ImageCapabilitySet_value(_zarnik.ImageView_get_capabilities(source))
    if not capabilities & ImageCapability.MEMORY_ACCESS:
        return None
    writeable = source is None and bool(capabilities & ImageCapability.WRITE)
    # The axes that the flat functions choose by themselves are those of a buffer in all cases but one, and those that
    # they can be told are right for scalars only: so scalars are told, and the others reordered here.
    is_complex = layout.scalar.kind == "c"
    is_told = bool(layout.dimensions) and not is_complex and not layout.components
    if is_told:
        array = _zarnik.NumpyInterop_order_to_numpy_array(view, layout.dimensions)
    else:
        array = _zarnik.NumpyInterop_to_numpy_array(view)
    if is_complex:
        array = _as_complex(array, layout.dtype)
    if not writeable:
        array.flags.writeable = False
    return layout.to_array_axes(array) if layout.dimensions and not is_told else array


class _Memory:
    """Tells NumPy where an array lies, and keeps the owner of the memory alive."""

    def __init__(self, interface: dict[str, Any], owner: object) -> None:
        self.__array_interface__ = interface
        self.owner = owner


def array_over(
    address: int, shape: tuple[int, ...], dtype: numpy.dtype[Any], owner: object, strides: tuple[int, ...] | None = None
) -> numpy.ndarray[Any, Any]:
    """Return a writeable array over memory that the owner keeps."""
    if 0 in shape:
        return numpy.empty(shape, dtype)
    interface = {"version": 3, "typestr": dtype.str, "shape": shape, "data": (address, False)}
    if strides is not None:
        interface["strides"] = strides
    return numpy.asarray(_Memory(interface, owner))


def _as_complex(array: numpy.ndarray[Any, Any], dtype: numpy.dtype[Any]) -> numpy.ndarray[Any, Any]:
    # Not array.view: before 1.23 it wanted the whole array contiguous, not only the pairs.
    return array_over(array.ctypes.data if array.size else 0, array.shape[:-1], dtype, array, array.strides[:-1])
