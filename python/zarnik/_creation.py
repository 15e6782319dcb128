"""New images in memory, by the shape of an array."""

from __future__ import annotations

from collections.abc import Sequence
from typing import TYPE_CHECKING, Any, Union

import numpy

import zarnik._classes as _classes
from zarnik import _axes
from zarnik._interop import from_numpy
from zarnik._types import as_data_type

if TYPE_CHECKING:
    from zarnik._classes import ImageView

Shape = Union[int, Sequence[int]]


def zeros(shape: Shape, dtype: Any = float, axes: _axes.Axes | None = None, **description: Any) -> ImageView:
    """Make an image in memory with all elements 0.

    :param shape: The shape of an array of the image, in the order of `axes`.
    :param dtype: What NumPy takes for a dtype, or a `DataType`; pixels of several components are an axis C of it.
    :param axes: The axes, as `from_numpy` takes them; by default X, YX, ZYX or TZYX by their number.
    :param description: What else `from_numpy` takes: spacing, origin, unit, metadata, interpretation, alpha.
    :return: The image, whose elements are laid out as those of a new array of the shape.
    """
    return from_numpy(numpy.zeros(_axes.extents_of(shape), _dtype(dtype)), axes, **description)


def empty(shape: Shape, dtype: Any = float, axes: _axes.Axes | None = None, **description: Any) -> ImageView:
    """Make an image in memory whose elements may be anything; its parameters are those of `zeros`."""
    return from_numpy(numpy.empty(_axes.extents_of(shape), _dtype(dtype)), axes, **description)


def full(
    shape: Shape, fill_value: Any, dtype: Any = None, axes: _axes.Axes | None = None, **description: Any
) -> ImageView:
    """Make an image in memory with all elements of one value.

    :param shape: The shape of an array of the image, in the order of `axes`.
    :param fill_value: The value, or one for each place along the last axes.
    :param dtype: What NumPy takes for a dtype, or a `DataType`; that of the value by default.
    :param axes: The axes, as `from_numpy` takes them.
    :param description: What else `from_numpy` takes.
    """
    dtype = numpy.asarray(fill_value).dtype if dtype is None else dtype
    return from_numpy(numpy.full(_axes.extents_of(shape), fill_value, _dtype(dtype)), axes, **description)


def zeros_like(image: Any, dtype: Any = None) -> ImageView:
    """Make an image in memory with all elements 0, of the shape, the axes and the calibration of another.

    :param image: An image; its metadata are copied too.
    :param dtype: What NumPy takes for a dtype, or a `DataType`; that of the image by default.
    """
    return full_like(image, 0, dtype)


def empty_like(image: Any, dtype: Any = None) -> ImageView:
    """Make an image in memory as `zeros_like` does, whose elements may be anything."""
    shape, dtype = _geometry(image, dtype)
    return _like(image, numpy.empty(shape, dtype))


def full_like(image: Any, fill_value: Any, dtype: Any = None) -> ImageView:
    """Make an image in memory as `zeros_like` does, with all elements of one value."""
    shape, dtype = _geometry(image, dtype)
    return _like(image, numpy.full(shape, fill_value, dtype))


def _geometry(image: Any, dtype: Any) -> tuple[Any, Any]:
    if not isinstance(image, _classes.ImageView):
        raise TypeError(f"an ImageView is needed, got {type(image).__name__}")
    return image.shape, _dtype(image.dtype if dtype is None else dtype)


def _like(image: Any, array: Any) -> ImageView:
    axes = image.axes
    if axes is None:
        raise ValueError("the axes of this image are unknown: set_axes_interpretation names them")
    made: Any = from_numpy(array, axes)
    info = made.properties.image_info()
    info.set_interpretation(image.properties.image_info()._interpretation())
    info.set_alpha(image.get_has_alpha())
    if made.dtype == image.dtype:
        info.set_bit_depth(image.get_bit_depth())
        info.set_value_range(image.get_value_range())
    made.properties = _classes.ImageProperties(calibration=image.properties.calibration(), image_info=info)
    made.metadata = image.metadata if len(image.metadata) or image.metadata.value() is not None else None
    return made  # type: ignore[no-any-return,unused-ignore]


def _dtype(dtype: Any) -> Any:
    found: Any = as_data_type(dtype).dtype if isinstance(dtype, (int, _classes.DataType)) else numpy.dtype(dtype)
    if found.shape:
        raise TypeError(f"elements of {as_data_type(dtype).to_string()} are an axis C of numbers: add it to the shape")
    return found
