"""Arrays as images and images as arrays, over one memory."""

from __future__ import annotations

import operator
from typing import TYPE_CHECKING, Any

import numpy

import _zarnik
import zarnik._classes as _classes
from zarnik import _axes, _direct, _types
from zarnik._calls import flat
from zarnik._enumerations import ImageCapability, ImageInterpretation
from zarnik._extension import Kept, kept
from zarnik._geometry import Layout
from zarnik._recipes import made_by

if TYPE_CHECKING:
    from zarnik._classes import ImageView


# Members of enumerations take longer to calculate with than the rest takes together.
_MEMORY_ACCESS, _WRITE = int(ImageCapability.MEMORY_ACCESS), int(ImageCapability.WRITE)


def from_numpy(
    array: numpy.ndarray[Any, Any],
    axes: _axes.Axes | None = None,
    *,
    spacing: Any = None,
    origin: Any = None,
    unit: str | None = None,
    metadata: Any = None,
    interpretation: int | str = ImageInterpretation.UNKNOWN,
    alpha: bool = False,
) -> ImageView:
    """Make an image over the memory of an array, whatever its strides; nothing is copied.

    The image keeps the array alive. The elements of a read-only array cannot be changed through the image; what the
    image knows beside them can. Complex numbers are the exception: their image has a copy of them.

    :param array: 1 to 5 axes of 8- to 64-bit integers, 32- or 64-bit floating point numbers, or complex numbers of
        two of these.
    :param axes: What the axes of the array are: a string that reads like the array's shape, such as "TZYX" for
        (time, slice, row, column), a list of letters or of `ImageDimension`, or an `ImageType`, whose dimensions are
        taken in the order T, Z, Y, X, C. By default X, YX, ZYX or TZYX by the number of axes; five have to be named.
    :param spacing: The distances between elements along X, Y, Z.
    :param origin: The position of the first element along X, Y, Z.
    :param unit: The unit of both, such as "mm".
    :param metadata: A `MetadataNode`, or a dict of what it is made from.
    :param interpretation: What the values stand for, an `ImageInterpretation` or the name of one.
    :param alpha: Whether the last channel is an alpha channel.
    :return: The image; its `get_shape()` is in the library's order X, Y, Z, C, T, its `shape` in the order of arrays.
    :raises TypeError: if array is no array, or its elements have no counterpart.
    :raises ValueError: if the axes do not fit the array.
    """
    if not isinstance(array, numpy.ndarray):
        raise TypeError(f"from_numpy takes a numpy.ndarray, got {type(array).__name__}: numpy.asarray makes one")
    interpretation = as_interpretation(interpretation)
    if array.dtype.kind == "c":
        view = _complex_image(array, axes, interpretation, alpha)
        _describe(view, spacing, origin, unit, metadata)
        return view
    dtype = _types.scalar_dtype(array.dtype, "an image cannot share an array")
    if getattr(array, "mask", None) is not None:
        raise TypeError("an image cannot share a masked array, its mask would be lost: take array.data or filled()")
    dimensions = _axes.dimensions_of_array(axes, array.shape)
    writeable = array.flags.writeable
    if array.dtype.num != dtype.num:
        array = array.view(dtype)
    if type(array) is not numpy.ndarray:
        array = _plain_over(array)
    view = flat.NumpyInterop__order_from_numpy_array(array, dimensions, interpretation, bool(alpha))
    if _has_attributes(array):
        view._kept = Kept()
        view._kept.witness = _direct.witness_array(view, array)
    _describe(view, spacing, origin, unit, metadata)
    return view if writeable else read_only(view, may_describe=True)


def _plain_over(array: numpy.ndarray[Any, Any]) -> numpy.ndarray[Any, Any]:
    """Return an array without attributes over the memory of one that may have some: an image that becomes one of them
    makes no cycle then. The array itself if it owns its memory, or is a part of another that does and has attributes.
    """
    owner: Any = array
    while isinstance(owner, numpy.ndarray) and type(owner) is not numpy.ndarray:
        if owner.base is None:
            return array
        owner = owner.base
    plain = array_over(array.ctypes.data, array.shape, array.dtype, owner, array.strides) if array.size else array
    if not array.flags.writeable:
        plain.flags.writeable = False
    return plain


def _has_attributes(array: numpy.ndarray[Any, Any]) -> bool:
    """Tell whether an array, or what it has its memory from, may have an image of itself as an attribute."""
    owner: Any = array
    while type(owner) is numpy.ndarray:
        owner = owner.base
    return owner is not None


def from_dlpack(array: Any, axes: _axes.Axes | None = None, **description: Any) -> ImageView:
    """Make an image over the memory of an array of another library, by the DLPack protocol.

    :param array: An array in the main memory, such as a tensor on the CPU.
    :param axes: The axes of the array, as `from_numpy` takes them.
    :param description: What else `from_numpy` takes.
    """
    return from_numpy(numpy.from_dlpack(array), axes, **description)  # type: ignore[attr-defined,unused-ignore]


def as_interpretation(given: int | str) -> int:
    """Return an interpretation from one, or from the name of one such as "RGB"."""
    if isinstance(given, str):
        member = ImageInterpretation.__members__.get(given.upper())
        if member is None:
            raise ValueError(
                f"unknown interpretation {given!r}: allowed are {', '.join(ImageInterpretation.__members__)}"
            )
        return member
    if not hasattr(given, "__index__"):
        raise TypeError(f"an interpretation is an ImageInterpretation or the name of one, got {given!r}")
    return operator.index(given)


def _describe(view: Any, spacing: Any, origin: Any, unit: str | None, metadata: Any) -> None:
    if spacing is not None:
        view.spacing = spacing
    if origin is not None:
        view.origin = origin
    if unit is not None:
        view.unit = unit
    if metadata is not None:
        view.metadata = metadata


def _complex_image(array: numpy.ndarray[Any, Any], axes: _axes.Axes | None, interpretation: int, alpha: bool) -> Any:
    # The flat functions look at memory of real numbers only.
    dimensions = _axes.dimensions_of_array(axes, array.shape)
    sizes = dict(zip(dimensions, array.shape))
    ordered = _classes.VectorXu64([sizes[dimension] for dimension in sorted(sizes)])
    view = flat.ImageViewFactory_allocate(ordered, _types.as_data_type(array.dtype))
    view.set_axes_interpretation(_types.as_image_type(dimensions))
    view.set_image_interpretation(interpretation)
    view.set_alpha(alpha)
    view.to_numpy(_axes.letters(dimensions))[...] = array
    return view if array.flags.writeable else read_only(view, may_describe=True)


def read_only(view: Any, may_describe: bool = False) -> Any:
    """Return a view that cannot be changed, and knows whose memory it may show as arrays that cannot be either."""
    shown = flat.ImageViewProvider_to_read_only(view)
    if shown is not None:
        keeps = shown._kept = Kept()
        keeps.source, keeps.may_describe = _source_of(view) or view, may_describe
        made_by(shown, read_only, view, may_describe)
    return shown


def _source_of(view: Any) -> Any:
    keeps = kept(view)
    return None if keeps is None else keeps.source


def described(view: Any) -> Any:
    """Return the view whose properties and metadata are those of a view: elements alone are read-only."""
    keeps = kept(view)
    return keeps.source if keeps is not None and keeps.may_describe else view


def keep_memory(view: Any, array: numpy.ndarray[Any, Any]) -> None:
    """Keep the memory that an array shows as long as the view, even if that gets other memory by `reshape`."""
    keeps = kept(view)
    if keeps is None:
        keeps = view._kept = Kept()
    if keeps.memory is None:
        keeps.memory = {}
    keeps.memory.setdefault(array.ctypes.data if array.size else 0, array)


def shared_array(view: Any, layout: Layout) -> numpy.ndarray[Any, Any] | None:
    """Return an array over the memory of a view, in the order T, Z, Y, X, C; None if it has no memory to share."""
    capabilities = _zarnik.ImageCapabilitySet_value(_zarnik.ImageView_get_capabilities(view))
    source = _source_of(view)
    if source is not None:
        view = source
        capabilities = _zarnik.ImageCapabilitySet_value(_zarnik.ImageView_get_capabilities(view))
    if not capabilities & _MEMORY_ACCESS:
        return None
    writeable = source is None and bool(capabilities & _WRITE)
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
