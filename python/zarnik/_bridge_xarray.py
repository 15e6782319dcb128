"""Images as arrays of xarray, and back."""

from __future__ import annotations

import json
import warnings
from typing import TYPE_CHECKING, Any

import numpy

import zarnik._classes as _classes
from zarnik._bridges import in_memory, millimetres, named_axes, needed

if TYPE_CHECKING:
    from zarnik._geometry import Array

_SPACE = "XYZ"
_LETTERS = {
    **dict.fromkeys(("x", "column", "columns", "col", "lon", "longitude"), "X"),
    **dict.fromkeys(("y", "row", "rows", "lat", "latitude"), "Y"),
    **dict.fromkeys(("z", "slice", "slices", "plane", "planes", "depth", "height", "altitude", "level"), "Z"),
    **dict.fromkeys(("t", "time", "frame", "frames"), "T"),
    **dict.fromkeys(("c", "s", "channel", "channels", "band", "bands", "sample", "samples"), "C"),
}
# How far, in parts of the spacing, coordinates may be from being evenly spaced.
_UNEVEN = 1e-3
# A text that begins like one of these could be taken for JSON.
_JSON = ("{", "[", '"')


def data_array(image: Any, name: str | None, chunks: Any) -> Any:
    """`ImageView.to_xarray`."""
    xarray = needed("xarray", "xarray")
    axes = named_axes(image)
    coords, attrs = _coordinates(xarray, image, axes)
    data = in_memory(image) if chunks is None else image.to_dask(chunks)
    if data is None:
        data = _lazily(image)
    attrs.update(_attributes(image))
    return xarray.DataArray(data, coords, tuple(axes), name, attrs)


def _lazily(image: Any) -> Any:
    from xarray.backends import BackendArray
    from xarray.core import indexing

    class OfImage(BackendArray):  # type: ignore[misc,unused-ignore]
        __slots__ = ("dtype", "image", "shape")

        def __init__(self, image: Any) -> None:
            self.image, self.shape, self.dtype = image, image.shape, image.dtype

        def __getitem__(self, key: Any) -> Any:
            return indexing.explicit_indexing_adapter(
                key, self.shape, indexing.IndexingSupport.BASIC, self.image.__getitem__
            )

        def __reduce__(self) -> Any:
            return _of_image, (self.image,)

    return indexing.LazilyIndexedArray(OfImage(image))


def _of_image(image: Any) -> Any:
    return _lazily(image).array


def _coordinates(xarray: Any, image: Any, axes: str) -> tuple[dict[str, Any], dict[str, Any]]:
    """The coordinates, and the attribute that tells how they lie in space."""
    affine, unit = image.affine, image.unit
    lengths = numpy.abs(image.spacing)
    matrix = affine[:3, :3] / lengths
    # Coordinates grow to the right, the front and the head where axes are those of space, whatever their sign.
    signs = numpy.where(numpy.diag(matrix) < 0, -1.0, 1.0)
    matrix, spacing = matrix * signs, lengths * signs
    starts = matrix.T @ affine[:3, 3]
    is_placed = bool((spacing != 1).any() or starts.any() or unit)
    coords: dict[str, Any] = {}
    for place, letter in enumerate(_SPACE):
        of_axis = {"spacing": float(spacing[place]), **({"units": unit} if unit else {})}
        if letter in axes:
            values = starts[place] + spacing[place] * numpy.arange(image.shape[axes.index(letter)])
            coords[letter] = xarray.Variable(letter, values + 0.0, of_axis)
        elif is_placed and (starts[place] or spacing[place] != 1 or not _is_identity(matrix)):
            coords[letter] = xarray.Variable((), float(starts[place]), of_axis)
    names = image.channel_names
    if names is not None and "C" in axes and len(names) == image.shape[axes.index("C")]:
        coords["C"] = names
    kept = image.metadata.get("coordinates/T")
    if kept is not None and "T" in axes:
        moments = kept.to_python()
        if len(moments["values"]) == image.shape[axes.index("T")]:
            units = {"units": moments["units"]} if "units" in moments else {}
            coords["T"] = xarray.Variable("T", numpy.asarray(moments["values"], moments["dtype"]), units)
    return coords, {} if _is_identity(matrix) else {"directions": [float(number) for number in matrix.ravel()]}


def _is_identity(matrix: Array) -> bool:
    return bool(numpy.array_equal(matrix, numpy.eye(3)))


def _attributes(image: Any) -> dict[str, Any]:
    """Metadata as what files of xarray can hold: numbers, texts and lists of them, and JSON of the rest."""
    attrs: dict[str, Any] = {}
    tree = image.metadata.to_dict()
    for name, value in tree.items() if isinstance(tree, dict) else ():
        if name not in ("channel_names", "coordinates"):
            value = _without_bools(value)
            attrs[name] = value if _is_attribute(value) else image.metadata[(name,)].to_json()
    if image.interpretation:
        attrs["interpretation"] = getattr(image.interpretation, "name", int(image.interpretation))
    if image.dtype.kind in "iu":
        limits = numpy.iinfo(image.dtype)
        if tuple(image.value_range) != (float(limits.min), float(limits.max)):
            attrs["value_range"] = list(image.value_range)
        if image.bit_depth != limits.bits:
            attrs["bit_depth"] = image.bit_depth
    return attrs


def _without_bools(value: Any) -> Any:
    """Return a value with 1 and 0 in place of bools, which netCDF does not have."""
    if isinstance(value, numpy.ndarray):
        return value.astype("i1") if value.dtype.kind == "b" else value
    if isinstance(value, list) and value and all(isinstance(item, bool) for item in value):
        return [int(item) for item in value]
    return int(value) if isinstance(value, bool) else value


def _is_attribute(value: Any) -> bool:
    if isinstance(value, str):
        return not value.startswith(_JSON)
    if isinstance(value, list):
        return len(value) > 1 and (
            all(isinstance(item, str) for item in value) or all(type(item) in (int, float) for item in value)
        )
    return type(value) in (int, float) or (
        isinstance(value, numpy.ndarray) and value.ndim == 1 and value.dtype.kind != "c"
    )


def image_of_data_array(array: Any, axes: Any) -> Any:
    """`zarnik.from_xarray`."""
    from zarnik.plugins import image_of

    xarray = needed("xarray", "xarray")
    if not isinstance(array, xarray.DataArray):
        raise TypeError(f"from_xarray takes a DataArray of xarray, got {type(array).__name__}")
    data = getattr(array.variable, "_data", None)
    if hasattr(data, "magnitude"):  # of pint
        array = array.pint.dequantify()
        data = array.variable._data
    letters = _letters_of(array, axes)
    tree = {str(name): _from_attribute(value) for name, value in array.attrs.items()}
    directions = tree.pop("directions", None)
    matrix = numpy.eye(3) if directions is None else numpy.asarray(directions, float).reshape(3, 3)
    spacing, starts, unit = _places(array, letters, tree)
    affine = numpy.eye(4)
    affine[:3, :3] = matrix * spacing
    affine[:3, 3] = matrix @ starts
    of_values = {name: tree.pop(name, None) for name in ("interpretation", "value_range", "bit_depth")}
    names = tree.pop("channel_names", None)
    if array.chunks is None and not isinstance(data, numpy.ndarray):
        data = _LazyData(array.variable)
    return image_of(
        data, letters, affine=affine, unit=unit or None, channel_names=names, metadata=tree or None, **of_values
    )


class _LazyData:
    """What xarray has not read yet."""

    def __init__(self, variable: Any) -> None:
        self._variable, self.shape, self.dtype = variable, variable.shape, variable.dtype

    def __getitem__(self, key: Any) -> Any:
        return self._variable[key].values


def _letters_of(array: Any, axes: Any) -> str:
    if axes is not None:
        return "".join(axes) if not isinstance(axes, str) else axes.upper().replace("S", "C")
    letters = []
    for dim in array.dims:
        letter = _LETTERS.get(str(dim).lower())
        if letter is None:
            raise ValueError(f"dim {dim!r} is no axis that is known: pass axes, such as axes='TYX', for {array.dims}")
        letters.append(letter)
    return "".join(letters)


def _places(array: Any, letters: str, tree: dict[str, Any]) -> tuple[Array, Array, str]:
    """Spacing and position of the first element along X, Y and Z, and their unit; other coordinates go to the tree."""
    spacing, starts = numpy.ones(3), numpy.zeros(3)
    units: dict[str, str] = {}
    left_out = []
    for name, coordinate in array.coords.items():
        if name in array.dims:
            letter = letters[array.dims.index(name)]
        else:
            letter = _LETTERS.get(str(name).lower(), "")
            if coordinate.ndim or letter not in _SPACE or letter in letters or letter == "":
                left_out.append(str(name))
                continue
        unit = str(coordinate.attrs.get("units", ""))
        if letter == "C":
            tree["channel_names"] = [str(value) for value in coordinate.values]
        elif letter == "T":
            values = coordinate.values
            moments = values.tolist() if values.dtype.kind in "iufb" else [str(value) for value in values]
            kind = values.dtype.str if values.dtype.kind in "iufbmM" else "str"
            tree["coordinates"] = {"T": {"values": moments, "dtype": kind, **({"units": unit} if unit else {})}}
        else:
            place = _SPACE.index(letter)
            spacing[place], starts[place] = _spaced(name, coordinate)
            units[letter] = unit
    if left_out:
        warnings.warn(f"an image has no place for the coordinates {', '.join(left_out)}", UserWarning, stacklevel=4)
    common = next(iter(units.values()), "")
    for letter, unit in units.items():
        if unit == common:
            continue
        sizes = millimetres(unit), millimetres(common)
        if sizes[0] is None or sizes[1] is None:
            raise ValueError(
                f"an image has one unit, got {', '.join(f'{unit!r} along {it}' for it, unit in units.items())}"
            )
        place = _SPACE.index(letter)
        spacing[place] *= sizes[0] / sizes[1]
        starts[place] *= sizes[0] / sizes[1]
    return spacing, starts, common


def _spaced(name: Any, coordinate: Any) -> tuple[float, float]:
    try:
        values = numpy.atleast_1d(numpy.asarray(coordinate.values, float))
    except (TypeError, ValueError):
        raise ValueError(f"the coordinates {name!r} are no positions, but {coordinate.dtype}") from None
    told = coordinate.attrs.get("spacing")
    if len(values) < 2:
        return float(told or 1), float(values[0]) if len(values) else 0.0
    spacing = (values[-1] - values[0]) / (len(values) - 1)
    off = numpy.abs(values - (values[0] + spacing * numpy.arange(len(values)))).max()
    if not off <= _UNEVEN * abs(spacing) or not spacing:
        raise ValueError(
            f"the coordinates {name!r} are not evenly spaced, up to {off:.4g} off a spacing of {spacing:.4g}: "
            f"drop_vars({name!r}) leaves them out"
        )
    # As it was, if it was not changed: the difference of coordinates has their rounding.
    is_as_told = told is not None and abs(float(told) - spacing) <= 1e-9 * abs(spacing)
    return float(told if is_as_told else spacing), float(values[0])


def _from_attribute(value: Any) -> Any:
    if isinstance(value, str) and value.startswith(_JSON):
        try:
            json.loads(value)
        except ValueError:
            return value
        return _classes.MetadataNode.from_json(value).to_python()
    return value
