"""Images as layers of napari, and the reader by which napari opens files."""

from __future__ import annotations

import os
from collections.abc import Callable, Sequence
from typing import Any, Union

import numpy

from zarnik._bridges import LazyArray, in_memory, named_axes
from zarnik._enumerations import ImageInterpretation

Layer = tuple[Any, dict[str, Any], str]
Paths = Union[str, Sequence[str]]

_COLOURS = (ImageInterpretation.RGB, ImageInterpretation.SRGB)


def layer(image: Any, name: str | None = None) -> Layer:
    """`ImageView.to_napari`."""
    axes = named_axes(image)
    is_label = image.interpretation in (ImageInterpretation.LABEL, ImageInterpretation.BINARY)
    is_colour = image.interpretation in _COLOURS and axes.endswith("C") and image.shape[-1] in (3, 4)
    levels = [_data(level, axes.find("C")) for level in image.levels]
    told: dict[str, Any] = {"metadata": image.metadata.to_dict()}
    names = image.channel_names
    if is_colour:
        told["rgb"] = True
    elif "C" in axes and not is_label:
        told["channel_axis"] = axes.index("C")
        if names is not None and len(names) == image.shape[axes.index("C")]:
            told["name"] = names
    if name is not None:
        told.setdefault("name", name)
    shown = axes if is_label else axes.replace("C", "")
    told["axis_labels"] = tuple(shown)
    told["units"] = tuple(_unit(image) if letter in "XYZ" else "pixel" for letter in shown)
    told |= _places(image, shown)
    if len(levels) > 1:
        told["multiscale"] = True
    return (levels if len(levels) > 1 else levels[0]), told, "labels" if is_label else "image"


class _Channels(LazyArray):
    """Of which napari takes the channels apart by `array[:, :, channel]`, without wanting their elements yet."""

    def __init__(self, image: Any, axis: int) -> None:
        super().__init__(image)
        self._axis = axis

    def __getitem__(self, key: Any) -> Any:
        whole = [slice(None)] * self.ndim
        if isinstance(key, tuple) and len(key) == self.ndim and not isinstance(key[self._axis], slice):
            whole[self._axis] = key[self._axis]
            if list(key) == whole:
                return self.take(key[self._axis], self._axis)
        return super().__getitem__(key)


def _data(image: Any, channel_axis: int) -> Any:
    array = in_memory(image)
    if array is not None:
        return array
    return LazyArray(image) if channel_axis < 0 else _Channels(image, channel_axis)


def _unit(image: Any) -> str:
    # Those of pint, which napari asks.
    return "pixel" if not image.unit else str(image.unit)


def _places(image: Any, axes: str) -> dict[str, Any]:
    """Scale and translate where the axes are those of space, else scale and a matrix."""
    affine, lengths = image.affine, numpy.abs(image.spacing)
    matrix = affine[:3, :3] / lengths
    scale = [float(lengths["XYZ".index(letter)]) if letter in "XYZ" else 1.0 for letter in axes]
    of_space = [(place, "XYZ".index(letter)) for place, letter in enumerate(axes) if letter in "XYZ"]
    if numpy.array_equal(matrix, numpy.eye(3)):
        translate = [float(affine["XYZ".index(letter), 3]) if letter in "XYZ" else 0.0 for letter in axes]
        return {"scale": scale, "translate": translate}
    world = numpy.eye(len(axes) + 1)
    for row, to in of_space:
        world[row, -1] = affine[to, 3]
        for column, of in of_space:
            world[row, column] = matrix[to, of]
    return {"scale": scale, "affine": world}


def get_reader(path: Paths) -> Callable[[Paths], list[Layer]] | None:
    """Return what reads a file, or several as a stack, for napari; None for what is none of ours."""
    import zarnik

    paths = [path] if isinstance(path, (str, os.PathLike)) else list(path)
    try:
        for one in paths:
            zarnik.info(one)
    except (zarnik.Error, OSError):
        return None
    return read


def read(path: Paths) -> list[Layer]:
    """Return the layers of a file, or one of several as a stack."""
    import zarnik

    if isinstance(path, (str, os.PathLike)):
        opened: Any = zarnik.open(path)
        base = os.path.basename(os.fspath(path).rstrip("/"))
        if isinstance(opened, zarnik.ImageView):
            return [layer(opened, base)]
        if isinstance(opened, zarnik.DataFrameView):
            raise zarnik.Error(f"{base!r} is a table, napari shows images")
        return [layer(image, f"{base}: {name}") for name, image in opened.items()]
    images: list[Any] = [zarnik.open(one) for one in path]
    axis = next(letter for letter in "ZT" if letter not in (images[0].axes or ""))
    return [layer(zarnik.stack(images, axis), os.path.basename(os.path.dirname(os.path.abspath(path[0]))))]
