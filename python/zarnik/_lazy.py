"""Images made from images without reading them, and from files, in NumPy's order of axes.

Each of these gives a new image at once; what it shows is read when it is asked for, and only that: `image[...]`,
`image.to_numpy()` or `numpy.asarray(image)` read. Chains of them are one step, whatever their order. Where the image is
in memory and only its geometry changes, the new image shares that memory.

    >>> import zarnik
    >>> scan = zarnik.uniform((40, 100, 120), 1000, "uint16")
    >>> part = scan.crop(z=slice(10, 30), y=slice(20, 60)).flip("X").astype("float32")
    >>> part.shape, str(part.dtype)
    ((20, 40, 120), 'float32')
    >>> scan.crop(z=5).axes
    'YX'
"""

from __future__ import annotations

import operator
import os
from collections.abc import Iterable, Mapping, Sequence
from functools import lru_cache
from typing import TYPE_CHECKING, Any

import numpy

import zarnik._classes as _classes
from zarnik import _axes, _direct
from zarnik._access import open_random
from zarnik._calls import flat
from zarnik._enumerations import ImageDimension, MemoryLayout
from zarnik._extension import extends
from zarnik._geometry import geometry_of
from zarnik._progress import Progress, listener
from zarnik._recipes import made_by, recipe_of
from zarnik._types import as_data_type, as_image_type, data_type_id_of, scalar_dtype
from zarnik._vectors import as_vector

if TYPE_CHECKING:
    from zarnik._classes import ImageView, MultiImageView


@extends(_classes.ImageView)
class _LazyImage:
    """What makes another image of an image, without reading it."""

    if TYPE_CHECKING:

        @property
        def axes(self) -> str | None: ...
        @property
        def shape(self) -> tuple[int, ...]: ...

    def crop(self, *places: Any, **by_axis: Any) -> ImageView:
        """Return a part of the image: a slice keeps an axis, an index leaves it out.

        :param places: One for each axis in the order of `shape`, as in square brackets; the rest are whole, and `...`
            stands for as many as there are left.
        :param by_axis: The same by the axis's letter, `image.crop(y=slice(100, 200), z=5)`.
        :return: The part. Its origin is where its first element is in space. A slice may run backwards.
        :raises IndexError: if an index is outside of the image.
        """
        view: Any = self
        layout, sizes = geometry_of(view)
        rank = layout.rank
        keys = _keys(places, by_axis, layout)
        origin, size, steps = [0] * rank, list(sizes), [1] * rank
        dropped = []
        for axis, (position, key) in enumerate(zip(layout.positions, keys)):
            extent = sizes[position]
            if not isinstance(key, slice):
                index = operator.index(key)
                if not -extent <= index < extent:
                    raise IndexError(f"index {index} is out of bounds for axis {axis} with size {extent}")
                origin[position], size[position] = index % extent, 1
                dropped.append(position)
                continue
            start, stop, step = key.indices(extent)
            if step != 1:
                steps[position] = step
                count = len(range(start, stop, step))
                first = start if step > 0 else start + (count - 1) * step
                start, stop = first, first + (count - 1) * abs(step) + 1 if count else first
            if start < stop:
                origin[position], size[position] = start, stop - start
            else:
                size[position] = 0
        component = _component(keys[rank], layout.components) if len(keys) > rank else None
        # What begins elsewhere has fewer elements, too.
        if tuple(size) != sizes:
            view = _direct.extract_region(view, origin, size)
        for position, step in enumerate(steps):
            if step < 0:
                view = flat.ImageViewFactory_flip_dimension_index(view, position)
                steps[position] = -step
        if steps != [1] * rank:
            view = _direct.every_nth(view, steps)
        for position in sorted(dropped, reverse=True):
            if len(view.get_shape()) == 1:
                raise IndexError("an index for every axis leaves no image: image[...] reads an element")
            frames = flat.MultiImageViewFactory_unstack_dimension_index(view, position)
            view = flat.MultiImageView_frame(frames, 0)
        if component is not None:
            view = flat.ImageViewFactory_extract_channel(view, component)
        return made_by(view, "crop", self, *places, **by_axis)

    def flip(self, *axes: str | int) -> ImageView:
        """Return the image turned around along axes, letters such as "Z" or positions in `shape`.

        The directions turn and the origin moves with them: each element stays where it is in space.
        """
        view: Any = self
        for axis in axes:
            view = flat.ImageViewFactory_flip_dimension_index(view, _position(view, axis))
        return made_by(view, "flip", self, *axes)

    def transpose(self, order: _axes.Axes | None = None) -> ImageView:
        """Return the image with its axes in another order, reversed by default.

        `image.transpose("XYZ")` of an image of axes "ZYX" shows along its first axis what was along X; as the first
        axis of every volume it is called Z then. The calibration goes with the axes.
        """
        view: Any = self
        axes = view.axes
        if axes is None:
            raise ValueError("the axes of this image are unknown: rename_axes names them")
        layout, _ = geometry_of(view)
        moving = axes[: layout.rank]
        letters = moving[::-1] if order is None else _axes.letters(_axes.dimensions_of(order))
        if layout.components and letters.endswith("C"):
            letters = letters[:-1]
        if sorted(letters) != sorted(moving):
            raise ValueError(f"axes {letters!r} are not the axes {moving!r} of the image in another order")
        new_name = dict(zip(letters, moving))
        meanings = [_axes.BY_LETTER[new_name[moving[layout.positions.index(p)]]] for p in range(layout.rank)]
        return made_by(flat.ImageViewFactory_reinterpret_axes(view, meanings), "transpose", self, letters)

    def astype(self, dtype: Any) -> ImageView:
        """Return the image with its values converted to another type.

        Values that an integer type cannot hold become the nearest it can; fractions are rounded to nearest, ties to
        even; NaN becomes 0. `rescale` maps the values to another range.

        :param dtype: What NumPy takes for a dtype, or a `DataType`; pixels keep their components.
        """
        data_type = _type_like(self, dtype)
        return made_by(flat.ImageViewFactory_adapt_data_type(self, data_type), "astype", self, data_type)

    def rescale(self, input_range: Any, output_range: Any, dtype: Any = None) -> ImageView:
        """Return the image with its values mapped linearly, `input_range` to `output_range`; they are not clamped.

        :param input_range: Two values; the value range of the image when None.
        :param output_range: The two values that they become.
        :param dtype: The type of the result; float32 by default, or the image's own floating point type.
        """
        view: Any = self
        own = geometry_of(view)[0].scalar
        dtype = dtype if dtype is not None else own if own.kind == "f" else numpy.float32
        ranges = (view.get_value_range() if input_range is None else input_range), output_range
        pairs = [pair if _is_pair(pair) else as_vector(_classes.Vector2d, pair) for pair in ranges]
        data_type = _type_like(view, dtype)
        made = flat.ImageViewFactory_adapt_dynamic_range(view, data_type, *pairs)
        return made_by(made, "rescale", view, *map(tuple, ranges), data_type)

    def channel(self, index: int) -> ImageView:
        """Return one channel: a component of the pixels, or an element along the axis C."""
        index = operator.index(index)
        return made_by(flat.ImageViewFactory_extract_channel(self, index), "channel", self, index)

    def subsample(self, step: int) -> ImageView:
        """Return every `step`-th element along X, Y and Z, from the first on."""
        step = operator.index(step)
        return made_by(flat.ImageViewFactory_sub_sample(self, step), "subsample", self, step)

    def rename_axes(self, axes: _axes.Axes) -> ImageView:
        """Return the image with its axes taken as others, in the same order, such as "TYX" for a "ZYX" image."""
        view: Any = self
        layout, _ = geometry_of(view)
        dimensions = list(as_image_type(axes))
        if layout.components and ImageDimension.CHANNEL in dimensions:
            dimensions.remove(ImageDimension.CHANNEL)
        made = flat.ImageViewFactory_reinterpret(view, _classes.ImageType(dimensions))
        return made_by(made, "rename_axes", view, _axes.letters(dimensions))

    def with_properties(self, properties: Any = None, **changes: Any) -> ImageView:
        """Return the image with other properties; the elements are shared, the image itself stays as it is.

        :param properties: The properties to begin with; those of the image by default.
        :param changes: `spacing`, `origin`, `unit`, `value_range`, `bit_depth`, `alpha`, `interpretation`, `metadata`.
        """
        view: Any = self
        own = flat.ImageView___get_properties(view) if properties is None else properties
        if not hasattr(own, "get_calibration"):
            raise TypeError(f"ImageProperties are needed, got {type(own).__name__}")
        calibration, info = own.get_calibration(), own.get_image_info()
        calibration = _classes.SpatialCalibrationProperty(
            calibration.get_origin(), calibration.get_spacing(), calibration.get_directions(), calibration.get_unit()
        )
        info = _classes.ImageInfoProperty(
            info.get_axes_interpretation(),
            info._get_interpretation(),
            info.get_alpha(),
            info.get_bit_depth(),
            info.get_value_range(),
        )
        metadata = changes.pop("metadata", None)
        is_kept = metadata is None
        if is_kept:
            metadata = flat.ImageView___get_metadata(view)
        elif isinstance(metadata, Mapping):
            metadata = _classes.MetadataNode.from_dict(metadata)
        of_space = {"spacing": calibration.set_spacing, "origin": calibration.set_origin, "unit": calibration.set_unit}
        of_values = {
            "value_range": info.set_value_range,
            "bit_depth": info.set_bit_depth,
            "alpha": info.set_alpha,
            "interpretation": info.set_interpretation,
        }
        for name, value in changes.items():
            setter = of_space.get(name) or of_values.get(name)
            if setter is None:
                raise TypeError(
                    f"there is no property {name!r}: they are {', '.join([*of_space, *of_values])}, metadata"
                )
            setter(value)
        changed = _classes.ImageProperties(calibration, info)
        made = flat.ImageViewFactory_from_image_view(view, changed, metadata)
        told = {} if is_kept else {"metadata": flat.ImageView___get_metadata(made)}
        return made_by(made, "with_properties", view, changed, **told)

    def to_memory(self, *, progress: Progress = None) -> ImageView:
        """Return a copy of the image in memory; the image itself if it is there.

        :param progress: True for a bar of tqdm; or a function of the bytes done and their total, called some times a
            second by whatever thread works: what it raises ends the copying, and nothing is left of it.
        """
        with listener(progress, "reading") as told:
            return _direct.copy_in_memory(self, told)

    def to_disk(self, folder: str | os.PathLike[str] | None = None, *, progress: Progress = None) -> ImageView:
        """Return a copy of the image in a temporary file, which goes with the last image that shows it.

        :param folder: Where to put it; by default the usual folder of temporary files.
        :param progress: As for `to_memory`.
        """
        with listener(progress, "copying") as told:
            return _direct.copy_on_disk(self, "" if folder is None else os.fspath(folder), told)

    def frames(self, axis: str | int) -> MultiImageView:
        """Return the images along an axis, which they do not have any more: `image.frames("T")[3]`."""
        position = _position(self, axis)
        return made_by(flat.MultiImageViewFactory_unstack_dimension_index(self, position), "frames", self, axis)

    def channels(self) -> MultiImageView:
        """Return the images of the channels."""
        return made_by(flat.MultiImageViewFactory_deinterlace(self), "channels", self)

    def thread_safe(self) -> ImageView:
        """Return the image for use by several threads at once: one operation runs at a time."""
        return made_by(flat.ImageViewFactory_make_thread_safe(self), "thread_safe", self)


def stack(images: Any, axis: str | int = "Z", threads: int | None = None) -> ImageView:
    """Put images of one shape and type one after the other along a new axis, without reading them.

    :param images: A `MultiImageView`, or any number of images.
    :param axis: The letter or dimension of the axis, which the images do not have.
    :param threads: How many images may be read at the same time.
    """
    dimension = axis if isinstance(axis, int) else _axes.dimensions_of(axis)[0]
    more = () if threads is None else (operator.index(threads),)
    if not isinstance(images, _classes.MultiImageView):
        images = tuple(images)
    elif recipe_of(images) is None:
        images = tuple(flat.MultiImageView_frame(images, i) for i in range(len(images)))
    made = flat.ImageViewFactory_stack(_multi_image(images), dimension, *more)
    return made_by(made, stack, images, int(dimension), *more)


def uniform(shape: Any, value: Any, dtype: Any = None, axes: _axes.Axes | None = None) -> ImageView:
    """Make an image whose elements all have one value, whatever its size, in next to no memory. It cannot be written.

    :param shape: The shape of an array of the image.
    :param value: The value, or the components of each pixel.
    :param dtype: What NumPy takes for a dtype, or a `DataType`; that of the value by default.
    :param axes: The axes in the order of the shape; by default X, YX, ZYX or TZYX by their number.
    """
    sizes = _axes.extents_of(shape)
    scalar = numpy.asarray(value) if dtype is None else numpy.asarray(value, as_data_type(dtype).dtype.base)
    element = numpy.dtype((scalar.dtype, scalar.shape)) if scalar.ndim else scalar.dtype
    data_type = as_data_type(data_type_id_of(element))
    dimensions = _axes.dimensions_of_array(axes, sizes)
    library_order = sorted(range(len(sizes)), key=lambda axis: dimensions[axis])
    shape = _wide(sizes[axis] for axis in library_order)
    properties = _properties(data_type, dimensions)
    made = flat.ImageViewFactory__uniform(shape, data_type, scalar.tobytes(), properties, None)
    return made_by(made, uniform, tuple(sizes), scalar, data_type, _axes.letters(dimensions))


def open_raw(
    source: Any,
    shape: Any,
    dtype: Any,
    axes: _axes.Axes | None = None,
    *,
    order: str = "C",
    offset: int = 0,
    mode: str = "r",
) -> ImageView:
    """Open a file of nothing but elements as an image, without reading it.

    :param source: What `open_random` takes: the path of a file, a file: or http(s): address, an accessor, ...
    :param shape: The shape of an array of the image.
    :param dtype: What NumPy takes for a dtype, or a `DataType`.
    :param axes: The axes in the order of the shape; by default X, YX, ZYX or TZYX by their number.
    :param order: "C" when the last axis of the shape is the fastest in the file, "F" when the first one is.
    :param offset: Bytes before the first element.
    :param mode: "r" to read; "r+" to write, too, which shares the memory of a mapped file.
    :raises Error: if the file is too short.
    """
    if order not in ("C", "F"):
        raise ValueError(f"order {order!r} is neither 'C' nor 'F'")
    if mode not in ("r", "r+"):
        raise ValueError(f"mode {mode!r} is neither 'r' nor 'r+'")
    offset = operator.index(offset)
    opened: Any = open_random(source, mode="m" if mode == "r+" else "r")
    access = flat.RandomAccessFactory_extract_region(opened, offset) if offset else opened
    sizes = _axes.extents_of(shape)
    dimensions = _axes.dimensions_of_array(axes, sizes)
    data_type = as_data_type(dtype)
    # The file has its axes in the order of the shape: as an image of unknown axes first, then with their names.
    fastest_first = sizes[::-1] if order == "C" else sizes
    made = flat.ImageViewFactory_from_random_access(access, int(MemoryLayout.FORTRAN), _wide(fastest_first), data_type)
    made = flat.ImageViewFactory_reinterpret_axes(made, dimensions[::-1] if order == "C" else dimensions)
    letters = _axes.letters(dimensions)
    named = {"order": order, "offset": offset, "mode": mode}
    return made_by(made, open_raw, opened, sizes, data_type, letters, **named)


def from_array(array: Any, axes: _axes.Axes | None = None) -> ImageView:
    """Make an image of any array that is read lazily, without reading it.

    Every region is read by one `array[...]`, so that chunks are read once for each region, by whatever thread needs it.
    What that raises becomes an `Error`. The image cannot be written.

    :param array: What has `shape`, `dtype` and `__getitem__` for slices: arrays of zarr, h5py, dask, tensorstore, ...
    :param axes: The axes, as `from_numpy` takes them.
    :return: The image, whose tiles are the array's chunks.
    """
    if not all(hasattr(array, name) for name in ("shape", "dtype", "__getitem__")):
        raise TypeError(f"an array with shape, dtype and slices is needed, got {array!r}")
    shape = _axes.extents_of(array.shape)
    scalar = numpy.dtype(getattr(array.dtype, "numpy_dtype", array.dtype))
    if scalar not in (numpy.complex64, numpy.complex128):
        scalar = scalar_dtype(scalar, "an image cannot show an array")
    dimensions = _axes.dimensions_of_array(axes, shape)
    library_order = sorted(range(len(shape)), key=lambda axis: dimensions[axis])
    # Where each axis of the array is among those of a buffer, whose axes are the library's from last to first.
    array_order = [len(shape) - 1 - library_order.index(axis) for axis in range(len(shape))]
    # Ours decode into the memory where it is wanted, and may be written.
    read_into = getattr(array, "read_into", None)
    write_from = getattr(array, "write_from", None)

    def place_of(origin: tuple[int, ...], size: tuple[int, ...]) -> tuple[list[int], list[int]]:
        first, count = [0] * len(shape), [0] * len(shape)
        for place, axis in enumerate(library_order):
            first[axis], count[axis] = origin[place], size[place]
        return first, count

    def fill(origin: tuple[int, ...], size: tuple[int, ...], buffer: memoryview) -> None:
        first, count = place_of(origin, size)
        if read_into is not None:
            try:
                read_into(first, numpy.frombuffer(buffer, scalar).reshape(size[::-1]).transpose(array_order))
            except BaseException as error:
                # The frames below hold memory that is not theirs any more when somebody looks at them.
                error.__traceback__ = None
                raise
            return
        part = numpy.asarray(array[tuple(slice(begin, begin + extent) for begin, extent in zip(first, count))])
        if part.shape != tuple(count):
            raise ValueError(f"the array gave a part of shape {part.shape} for one of shape {tuple(count)}")
        numpy.frombuffer(buffer, scalar).reshape(size[::-1])[...] = part.transpose(library_order[::-1])

    def store(origin: tuple[int, ...], size: tuple[int, ...], buffer: memoryview) -> None:
        first, _ = place_of(origin, size)
        # A copy: whoever stores it may keep it.
        part = numpy.frombuffer(bytes(buffer), scalar).reshape(size[::-1]).transpose(array_order)
        write_from(first, part)  # type: ignore[misc]

    chunks = _chunks(array, len(shape))
    sizes = [shape[axis] for axis in library_order]
    tiles = None if chunks is None else [chunks[axis] for axis in library_order]
    data_type, named = data_type_id_of(scalar), _classes.ImageType(dimensions).value()
    name = f"array of {type(array).__module__}"
    made = _direct.callback_image(sizes, data_type, named, tiles, fill, None if write_from is None else store, name)
    return made_by(made, from_array, array, _axes.letters(dimensions))


def _chunks(array: Any, rank: int) -> tuple[int, ...] | None:
    layout = getattr(getattr(array, "chunk_layout", None), "read_chunk", None)
    for chunks in (getattr(array, "chunksize", None), getattr(array, "chunks", None), getattr(layout, "shape", None)):
        if isinstance(chunks, tuple) and len(chunks) == rank and all(isinstance(c, int) and c > 0 for c in chunks):
            return chunks
    return None


def _multi_image(images: Any) -> Any:
    if isinstance(images, _classes.MultiImageView):
        return images
    return flat.MultiImageViewFactory_create_from_list(list(images))


def _wide(components: Iterable[int]) -> Any:
    # A sequence would be read with 32 bits an item.
    return as_vector(_classes.VectorXu64, list(components))


def _is_pair(value: Any) -> bool:
    """Whether something is two numbers as the flat functions take them."""
    return type(value) is tuple and len(value) == 2 and type(value[0]) in _NUMBERS and type(value[1]) in _NUMBERS


_NUMBERS = (int, float)


def _position(view: Any, axis: str | int) -> int:
    """The index, in the library's order, of an axis by its letter or its position in `shape`."""
    layout, _ = geometry_of(view)
    if isinstance(axis, str):
        found = (layout.axes or "")[: layout.rank].find(axis.upper())
        if len(axis) != 1 or found < 0:
            raise ValueError(f"axis {axis!r} is none of the axes {layout.axes!r} of the image")
        return layout.positions[found]
    index = operator.index(axis)
    if not -layout.rank <= index < layout.rank:
        raise ValueError(f"axis {index} is none of the {layout.rank} axes of the image")
    return layout.positions[index]


def _keys(places: Sequence[Any], by_axis: Mapping[str, Any], layout: Any) -> Sequence[Any]:
    rank = layout.rank + len(layout.components)
    if len(places) == 1 and isinstance(places[0], tuple):
        places = places[0]
    if len(places) == rank and not by_axis and Ellipsis not in places:
        return places
    whole = slice(None)
    given = list(places)
    if Ellipsis in given:
        at = given.index(Ellipsis)
        given[at : at + 1] = [whole] * (rank - len(given) + 1)
    if len(given) > rank:
        raise IndexError(f"{len(given)} places are given for the {rank} axes of the image")
    keys = given + [whole] * (rank - len(given))
    for name, key in by_axis.items():
        axis = (layout.axes or "").find(name.upper())
        if len(name) != 1 or axis < 0:
            raise ValueError(f"axis {name!r} is none of the axes {layout.axes!r} of the image")
        if axis < len(given) and keys[axis] != whole:
            raise ValueError(f"axis {name!r} is given twice")
        keys[axis] = key
    return keys


def _component(key: Any, components: Sequence[int]) -> int | None:
    if isinstance(key, slice):
        if len(range(*key.indices(components[0]))) != components[0]:
            raise IndexError("the components of a pixel are taken together or one at a time")
        return None
    index = operator.index(key)
    if not -components[0] <= index < components[0]:
        raise IndexError(f"component {index} is none of the {components[0]} of a pixel")
    return index % components[0]


def _type_like(view: Any, dtype: Any) -> Any:
    """The data type of a dtype, with as many components as the image has."""
    count = _direct.geometry(view)[1] & 0xFF00
    return (_type_of_count if isinstance(dtype, _USUAL) else _type_of_count.__wrapped__)(dtype, count)


# What is asked for as a type again and again, and can be looked up.
_USUAL = (str, type, numpy.dtype)


@lru_cache(maxsize=256)
def _type_of_count(dtype: Any, count: int) -> Any:
    data_type = as_data_type(dtype)
    if data_type.get_id() >> 8 & 0xFF == 1:
        return as_data_type((data_type.get_id() & ~0xFF00) | count)
    return data_type


def _properties(data_type: Any, dimensions: Iterable[int]) -> Any:
    properties = _classes.ImageProperties.from_data_type(data_type)
    info = flat.ImageProperties_get_image_info(properties)
    flat.ImageInfoProperty_set_axes_interpretation(info, _classes.ImageType(list(dimensions)))
    flat.ImageProperties_set_image_info(properties, info)
    return properties
