"""Image views: shape, type and axes as arrays have them, safe reading and writing, indexing."""

from __future__ import annotations

import itertools
import operator
from collections.abc import Sequence
from functools import partial
from typing import TYPE_CHECKING, Any

import numpy

import _zarnik
import zarnik._classes as _classes
from zarnik import _axes, _direct
from zarnik._calls import flat
from zarnik._enumerations import ViewDataOrigin
from zarnik._extension import extends, kept
from zarnik._geometry import corners_of, geometry_of
from zarnik._indexing import read_part, write_part
from zarnik._interop import read_only, shared_array
from zarnik._transfer import filled, read, write, write_tile
from zarnik._types import as_data_type
from zarnik._vectors import as_vector

if TYPE_CHECKING:
    from zarnik._classes import ImageView
    from zarnik._geometry import Array, Layout

# From here on several threads copy faster than NumPy's one.
_LARGE_BYTES = 4 << 20


@extends("ImageView")
class _ImageView:
    """Two orders of axes meet here.

    `shape`, `ndim`, `axes`, indexing and every array are in NumPy's order T, Z, Y, X, C. `get_shape()`, the index of
    `read` and `write`, and regions are in the library's order X, Y, Z, C, T. An image whose axes are unknown has one
    order only, that of `get_shape()`.
    """

    if TYPE_CHECKING:

        def get_spatial_spacing(self) -> Any: ...
        def get_spatial_unit(self) -> str: ...

    # ---- what an array would tell ------------------------------------------------------------------------------------

    @property
    def shape(self) -> tuple[int, ...]:
        """The shape of an array of this image, in the order T, Z, Y, X, C; `get_shape()` is in the library's order."""
        layout, sizes = geometry_of(self)
        return layout.shape(sizes)

    @property
    def ndim(self) -> int:
        """The number of axes of an array of this image."""
        layout, _ = geometry_of(self)
        return layout.rank + len(layout.components)

    @property
    def dtype(self) -> numpy.dtype[Any]:
        """The type of the elements of an array of this image; the components of vector data have an axis."""
        return geometry_of(self)[0].scalar

    @property
    def axes(self) -> str | None:
        """The axes of an array of this image, such as "TZYX", or None if they are not known."""
        return geometry_of(self)[0].axes

    # ---- arrays ------------------------------------------------------------------------------------------------------

    def to_numpy(self, order: _axes.Axes | None = None, *, copy: bool | None = None) -> Array:
        """Return the image as an array, in the order T, Z, Y, X, C or the one asked for.

        :param order: The axes in the order wanted, such as "XYZ"; "C" names the components of vector data.
        :param copy: None shares the memory where there is one to share and else reads the image; False shares or
            fails; True always makes a copy.
        :return: The array. One that shares memory keeps the image alive, and is read-only if the image is.
        :raises ValueError: if the order does not fit, or a copy is needed but not allowed.
        """
        layout, sizes = geometry_of(self)
        axes = None if order is None else layout.permutation(order)
        array = shared_array(self, layout)
        if array is None and copy is False:
            raise ValueError("this image is not in memory that can be shared: an array of it is a copy")
        if array is None or (copy and array.nbytes >= _LARGE_BYTES):
            array = read(self, layout, *corners_of(None, sizes))
        elif copy:
            array = array.copy()
        return array if axes is None else array.transpose(axes)

    def __array__(self, dtype: Any = None, copy: bool | None = None) -> Array:
        array = _ImageView.to_numpy(self, copy=copy)
        if dtype is None or array.dtype == dtype:
            return array
        if copy is False:
            raise ValueError(f"an array of dtype {numpy.dtype(dtype)} of an image of dtype {array.dtype} is a copy")
        return array.astype(dtype)

    # ---- reading and writing -----------------------------------------------------------------------------------------

    def read(self, index: Any = None) -> Any:
        """Return one element, at an index in the library's order X, Y, Z, C, T; without an index the whole image.

        :return: A NumPy scalar, or an array of its components.
        :raises IndexError: if the index is outside of the image.
        """
        layout, sizes = geometry_of(self)
        if index is None:
            return read(self, layout, *corners_of(None, sizes))
        element = numpy.empty(layout.components, layout.scalar)
        _direct.fill_buffer(self, _checked_index(index, sizes), layout.ones, element)
        return element if layout.components else element[()]

    def read_region(self, region: Any = None, out: Array | None = None) -> Array:
        """Return the elements of a region as a new array, in the order of axes of `to_numpy`.

        :param region: A region, or a pair of origin and size, in the library's order X, Y, Z, C, T; the whole image by
            default. No dimension is dropped, so a row of a volume is an array of shape (1, 1, columns).
        :param out: An array to fill instead, of the right shape and dtype, of any strides.
        :return: The array.
        """
        if out is None and type(region) is _classes.RegionXu64:
            # The library refuses a region that leaves the image.
            array = _direct.read_region(self, region)
            if array is not None:
                return array
        layout, sizes = geometry_of(self)
        return read(self, layout, *corners_of(region, sizes), out=out)

    def write(self, index: Any, value: Any) -> None:
        """Change one element, at an index in the library's order X, Y, Z, C, T.

        The value is converted as in an assignment to an element of an array.

        :raises IndexError: if the index is outside of the image.
        """
        layout, sizes = geometry_of(self)
        element = numpy.empty(layout.components, layout.scalar)
        element[...] = value
        _direct.write_buffer(self, _checked_index(index, sizes), layout.ones, element)

    def write_region(self, region: Any, values: Any) -> None:
        """Change the elements of a region.

        :param region: A region, or a pair of origin and size, in the library's order X, Y, Z, C, T; None is all.
        :param values: What could be assigned to the array of the region: an array in its order of axes, or anything
            that NumPy broadcasts and converts to it. They may lie in the memory of the image itself: then they are
            written as they were before. All are converted before any is written; only a file or a server that fails
            while it is written leaves a part of them.
        """
        layout, sizes = geometry_of(self)
        write(self, layout, *corners_of(region, sizes), values)

    # ---- indexing ----------------------------------------------------------------------------------------------------

    def __getitem__(self, key: Any) -> Any:
        """Read a part of the image into a new array: `view[time, slice, 10:20, ::2]`, in the order of `shape`.

        Only the part asked for is read; of a row that is stepped along, what lies between as well.
        """
        element = _direct.read_element(self, key)
        return read_part(self, key) if element is None else element

    def __setitem__(self, key: Any, values: Any) -> None:
        """Write a part of the image, with the conversions of an assignment to an array."""
        write_part(self, key, values)

    def reshape(self, shape: Any, data_type: Any = None) -> Any:
        """Change the shape and sample data type of the image; without a type, show its elements in another shape.

        All the image's data is invalidated by a change. Without a data type the image stays as it is, and the result
        is what `to_numpy().reshape(shape)` gives.

        :param shape: The new size along each dimension, in the library's order X, Y, Z, C, T; without a data type the
            shape of an array, as NumPy takes it.
        :param data_type: The new type of the samples, a `DataType` or what NumPy takes for a dtype.
        :raises Error: if the image does not support RESHAPE.
        """
        if data_type is None or isinstance(shape, int):
            return _ImageView.to_numpy(self).reshape(shape if data_type is None else (shape, data_type))
        flat.ImageView_reshape(self, as_vector(_classes.VectorXu64, shape), as_data_type(data_type))
        return None

    def __repr__(self) -> str:
        if not hasattr(self, "this"):
            return f"<zarnik.{type(self).__name__} that was not constructed>"
        try:
            layout, sizes = geometry_of(self)
            spacing = ", ".join(f"{distance:g}" for distance in self.get_spatial_spacing())
            unit = self.get_spatial_unit()
        except (TypeError, _classes.Error):  # elements that NumPy has no type for, or nothing that is told of it
            return f"<zarnik.ImageView {flat.ImageView_to_string(self)}>"
        return (
            f"<zarnik.ImageView {layout.axes or 'unknown axes'} {layout.shape(sizes)} {layout.scalar}, "
            f"spacing ({spacing}){' ' + unit if unit else ''}>"
        )

    __str__ = __repr__

    def tiling_info(self) -> Any:
        """Shortcut to retrieve TilingInfo extension.

        :return: The tiling of the image, or None if it has no tiles.
        """
        tiling = flat.ImageView_tiling_info(self)
        if tiling is not None:
            tiling._kept = self
        return tiling


@extends("TilingInfoExtension")
class _TilingInfoExtension:
    """The tiling of an image as `image.tiling_info()` returns it, which keeps the image."""

    if TYPE_CHECKING:

        def tile_region(self, tile_index: int) -> Any: ...

    def read_tile(self, tile_index: int, out: Array | None = None) -> Array:
        """Return a tile as a new array, in the order of axes of the image's `to_numpy`.

        :param tile_index: Index of the tile, below the tile count.
        :param out: An array to fill instead, of the right shape and dtype, of any strides.
        :return: The array.
        """
        layout, (_, size) = self._geometry(tile_index)
        return filled(layout, size, out, partial(_zarnik.TilingInfoExtension_read_tile, self, tile_index))

    def write_tile(self, tile_index: int, values: Any) -> None:
        """Change the elements of a tile.

        :param tile_index: Index of the tile, below the tile count.
        :param values: What could be assigned to the array of the tile.
        """
        layout, region = self._geometry(tile_index)
        store = partial(_zarnik.TilingInfoExtension_write_tile, self, tile_index)
        write_tile(kept(self), layout, region, values, store)

    def _geometry(self, tile_index: int) -> tuple[Layout, tuple[Any, Any]]:
        image = kept(self)
        if image is None:
            raise TypeError("this tiling does not know the type of the image: take it from image.tiling_info()")
        return geometry_of(image)[0], _direct.corners(self.tile_region(tile_index))


@extends("ViewOriginExtension")
class _ViewOriginExtension:
    def data_origin(self) -> ViewDataOrigin:
        """Returns the data origin of current view"""
        return ViewDataOrigin(flat.ViewOriginExtension_data_origin(self))


@extends("ImageViewProvider")
class _ImageViewProvider:
    @staticmethod
    def to_read_only(image: Any) -> ImageView:
        """Remove all capacities except READ to an ImageView.

        :param image: The image. The result shares its data, and shows it as arrays that cannot be written.
        :return: The image that cannot be changed.
        """
        shown: ImageView = read_only(image)
        return shown


@extends("ImageViewFactory")
class _ImageViewFactory:
    @staticmethod
    def allocate(shape: Any, data_type: Any, *attachments: Any) -> ImageView:
        """Create an image in memory, with all elements 0.

        :param shape: The size along each dimension, in the library's order X, Y, Z, C, T.
        :param data_type: The type of the elements, a `DataType`, the id of one, or what NumPy takes for a dtype.
        :param attachments: Properties and metadata, both or neither; None for either.
        :return: An image whose dimensions are X, Y, Z, T for up to 4 of them and all for 5, unless its properties tell
            otherwise.
        :raises Error: if the memory cannot be had, or the properties do not fit.
        """
        shape = as_vector(_classes.VectorXu64, shape)
        made: ImageView = flat.ImageViewFactory_allocate(shape, as_data_type(data_type), *attachments)
        return made


def _checked_index(index: Any, sizes: Sequence[int]) -> list[int]:
    try:
        checked = [operator.index(component) for component in itertools.islice(index, len(sizes) + 1)]
    except TypeError:
        raise TypeError(f"an index is a sequence of {len(sizes)} integers, got {index!r}") from None
    if len(checked) != len(sizes) or any(not 0 <= place < size for place, size in zip(checked, sizes)):
        raise IndexError(f"index {tuple(checked)} is outside of an image of shape {tuple(sizes)} (X, Y, Z, C, T)")
    return checked
