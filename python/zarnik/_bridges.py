"""Images as those of other libraries, and back. Each library is imported when it is asked for.

Memory is shared where both sides can; `docs/guide/bridges.md` tells where not, and why.
"""

from __future__ import annotations

import math
from collections.abc import Sequence
from typing import TYPE_CHECKING, Any

import numpy

import zarnik._classes as _classes
from zarnik._extension import extends
from zarnik._geometry import geometry_of
from zarnik._interop import shared_array

if TYPE_CHECKING:
    from zarnik._classes import ImageView
    from zarnik._geometry import Array

# In millimetres, as people and files spell them.
_MILLIMETRES = {
    **dict.fromkeys(("\N{ANGSTROM SIGN}", "\N{LATIN CAPITAL LETTER A WITH RING ABOVE}", "angstrom"), 1e-7),
    **dict.fromkeys(("nm", "nanometer", "nanometre"), 1e-6),
    **dict.fromkeys(
        ("um", "\N{MICRO SIGN}m", "\N{GREEK SMALL LETTER MU}m", "micron", "micrometer", "micrometre"), 1e-3
    ),
    **dict.fromkeys(("mm", "millimeter", "millimetre"), 1.0),
    **dict.fromkeys(("cm", "centimeter", "centimetre"), 10.0),
    **dict.fromkeys(("m", "meter", "metre"), 1000.0),
    **dict.fromkeys(("in", "inch"), 25.4),
}


@extends(_classes.ImageView)
class _Bridges:
    def to_xarray(self, name: str | None = None, *, chunks: Any = None) -> Any:
        """Return the image as a `DataArray` of xarray, whose dims are the letters of the axes: "Z", "Y", "X".

        The coordinates of X, Y and Z are positions along the axes of the image, in its unit, which they have as the
        attribute "units" where pint-xarray looks for it. Where axes are not those of space, the attribute "directions"
        has the matrix, row by row, by which (X, Y, Z) of the coordinates become a position in RAS. The other attributes
        are the metadata, branches of it as JSON, and what the values stand for.

        An image in memory shares it with the result. Of any other image `isel`, `sel` and the like read nothing; values
        are read when they are asked for, and only those.

        :param name: That of the array.
        :param chunks: To have an array of dask, what `to_dask` takes.
        """
        from zarnik import _bridge_xarray

        return _bridge_xarray.data_array(self, name, chunks)

    def to_napari(self, name: str | None = None) -> tuple[Any, dict[str, Any], str]:
        """Return the image as a layer of napari: data, what `add_image` or `add_labels` takes, and which of them.

            viewer.add_layer(napari.layers.Layer.create(*image.to_napari()))

        Levels of detail, as `image.levels` has them, become a multiscale layer; C becomes the channel axis. An image in
        memory is shared; of any other napari reads what it shows. Axes stand in napari's space as Z, Y, X of RAS.
        """
        from zarnik import _bridge_napari

        return _bridge_napari.layer(self, name)

    def to_simpleitk(self) -> Any:
        """Return a copy of the image as one of SimpleITK, with its place in space.

        SimpleITK counts in millimetres: lengths in another metric unit are converted, those without a unit are taken as
        they are. A sequence has four dimensions, components along C become those of vectors. A picture that does not
        lie in the plane of X and Y becomes a volume of one slice, as SimpleITK has no place for it else.
        """
        from zarnik import _bridge_medical

        return _bridge_medical.simpleitk_image(self)

    def to_nibabel(self) -> Any:
        """Return the image as a `Nifti1Image` of nibabel, its axes in the order X, Y, Z, T, C.

        An image in memory shares it with the result. Any other is read when nibabel asks for elements.
        """
        from zarnik import _bridge_medical

        return _bridge_medical.nibabel_image(self)


@extends(_classes.DataFrameView)
class _FrameBridges:
    def to_pandas(self) -> Any:
        """Return the table as one of pandas: numbers share its memory, texts are copied. `attrs["units"]` has units."""
        frame: Any = self
        table = needed("pandas").DataFrame({name: frame[name] for name in frame.columns}, copy=False)
        units = {name: unit for name, unit in frame.units.items() if unit}
        if units:
            table.attrs["units"] = units
        return table

    def to_polars(self) -> Any:
        """Return the table as one of polars: numbers share its memory, texts are copied."""
        return needed("polars").DataFrame(self)

    def to_arrow(self) -> Any:
        """Return the table as one of pyarrow: numbers share its memory, texts are copied."""
        return needed("pyarrow").table(self)


def from_xarray(array: Any, axes: Any = None) -> ImageView:
    """Make an image of a `DataArray` of xarray; one in memory is shared, any other read when it is asked for.

    Coordinates along X, Y and Z give spacing and origin, their "units" the unit, and the attributes what `to_xarray`
    makes of an image. Other attributes become metadata; so do coordinates along T, and those along C as the names of
    channels. X, Y and Z with a single coordinate place an image that has not these axes.

    :param array: Its dims are called T, Z, Y, X, C in letters of either case, or time, depth, row, column, channel,
        band, lat, lon and the like.
    :param axes: What the dims are, if they have other names: "TYX".
    :raises TypeError: if it is no DataArray.
    :raises ValueError: if a name is not known, or coordinates are not evenly spaced.
    """
    from zarnik import _bridge_xarray

    return _bridge_xarray.image_of_data_array(array, axes)


def from_simpleitk(image: Any) -> ImageView:
    """Make an image of one of SimpleITK, with its place in space in millimetres and its metadata.

    The memory is shared, and cannot be changed by this image. If SimpleITK changes its image, that gets memory of its
    own first.
    """
    from zarnik import _bridge_medical

    return _bridge_medical.image_of_simpleitk(image)


def from_nibabel(image: Any) -> ImageView:
    """Make an image of one of nibabel, with its place in space.

    An array in memory is shared, and so is a file that nibabel maps; of any other file, elements are read when they are
    asked for.

    :raises ValueError: if its matrix shears.
    """
    from zarnik import _bridge_medical

    return _bridge_medical.image_of_nibabel(image)


def needed(module: str, extra: str | None = None) -> Any:
    """Import a library.

    :raises ImportError: if it is not installed, telling how to.
    """
    from importlib import import_module

    try:
        return import_module(module)
    except ImportError as error:
        name = module.partition(".")[0]
        how = f"zarnik[{extra}]" if extra else name
        raise ImportError(f'this needs {name}: pip install "{how}"') from error


def millimetres(unit: str) -> float | None:
    """How many millimetres a unit has; None if it is none of length."""
    return _MILLIMETRES.get(unit if len(unit) < 3 else unit.lower().rstrip("s"))


def named_axes(image: Any) -> str:
    """The axes of an image.

    :raises ValueError: if they are not known.
    """
    if image.axes is None:
        raise ValueError("the axes of this image are unknown: set_axes_interpretation names them")
    axes: str = image.axes
    return axes


def in_memory(image: Any) -> Array | None:
    """An array over the memory of an image, None if that has none to share."""
    return shared_array(image, geometry_of(image)[0])


class LazyArray:
    """An image as what takes arrays, but must not read them whole: its axes in an order, with more of length 1.

    :param order: For each axis, which of the image it is; None for one that the image does not have.
    """

    #: what nibabel asks of an array that is not in memory
    is_proxy = True

    def __init__(self, image: Any, order: Sequence[int | None] | None = None) -> None:
        self._image = image
        self._order = tuple(range(image.ndim)) if order is None else tuple(order)
        self.shape: tuple[int, ...] = tuple(1 if axis is None else image.shape[axis] for axis in self._order)
        self.dtype: numpy.dtype[Any] = image.dtype
        self.ndim = len(self.shape)
        self.size = math.prod(self.shape)
        self.nbytes = self.size * self.dtype.itemsize

    def __len__(self) -> int:
        return self.shape[0]

    def __getitem__(self, key: Any) -> Any:
        entries = list(key) if isinstance(key, tuple) else [key]
        if Ellipsis in entries:
            place = entries.index(Ellipsis)
            entries[place : place + 1] = [slice(None)] * (self.ndim - len(entries) + 1)
        entries += [slice(None)] * (self.ndim - len(entries))
        if len(entries) > self.ndim:
            raise IndexError(f"{len(entries)} indices are too many for {self.ndim} axes")
        of_image: list[Any] = [slice(None)] * self._image.ndim
        for axis, entry in zip(self._order, entries):
            if axis is not None:
                of_image[axis] = entry
        part = numpy.asarray(self._image[tuple(of_image)])
        kept = [axis for axis, entry in enumerate(of_image) if isinstance(entry, slice)]
        wanted = [axis for axis, entry in zip(self._order, entries) if axis is not None and isinstance(entry, slice)]
        part = part.transpose([kept.index(axis) for axis in wanted])
        added = tuple(
            (numpy.newaxis if isinstance(entry, slice) else None) if axis is None else slice(None)
            for axis, entry in zip(self._order, entries)
            if isinstance(entry, slice)
        )
        return part[added] if numpy.newaxis in added else part

    def __array__(self, dtype: Any = None, copy: bool | None = None) -> Array:
        if copy is False:
            raise ValueError("this image is not in memory that can be shared: an array of it is a copy")
        return numpy.asarray(self[...], dtype)

    def take(self, indices: Any, axis: Any = None, out: Any = None, mode: str = "raise") -> Any:
        """Return what numpy.take gives; of one index along an axis without reading it."""
        if axis is None or not isinstance(indices, (int, numpy.integer)) or out is not None or None in self._order:
            return numpy.take(numpy.asarray(self), indices, axis, out, mode)  # type: ignore[call-overload,unused-ignore]
        places: list[Any] = [slice(None)] * self.ndim
        dropped = self._order[axis]
        places[dropped] = int(indices)
        rest = [own for own in self._order if own != dropped]
        return LazyArray(self._image.crop(*places), [own - (own > dropped) for own in rest])

    def __repr__(self) -> str:
        return f"<lazy array of shape {self.shape} and {self.dtype}, of {self._image!r}>"
