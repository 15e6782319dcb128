"""Image properties: constructors with keywords, arguments of every kind of number, text that evaluates back."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any

import zarnik._classes as _classes
from zarnik._calls import flat
from zarnik._enumerations import ImageInterpretation
from zarnik._extension import extends
from zarnik._types import as_data_type, as_image_type
from zarnik._vectors import as_vector

if TYPE_CHECKING:
    from zarnik._classes import ImageInfoProperty, ImageType, SpatialCalibrationProperty, SpatialDirections

_AXES = ("column", "row", "slice")


def _vector3(values: Any) -> Any:
    return as_vector(_classes.Vector3d, values)


class _Changeable:
    """What properties of all kinds share: no hash, since they can be changed, and pickling by their parts."""

    __hash__ = None  # type: ignore[assignment]

    def __reduce__(self) -> tuple[Any, ...]:
        return _restore, (type(self).__name__, self._parts())

    def __repr__(self) -> str:
        return f"{type(self).__name__}({', '.join(f'{name}={part!r}' for name, part in self._parts().items())})"

    if TYPE_CHECKING:

        def _parts(self) -> dict[str, Any]: ...


class _ReadOnly:
    """What is read-only is copied and pickled as what can be changed."""

    if TYPE_CHECKING:

        def _parts(self) -> dict[str, Any]: ...

    def __reduce__(self) -> tuple[Any, ...]:
        return _restore, (type(self).__name__[len("Readonly") :], self._parts())


def _restore(name: str, parts: dict[str, Any]) -> Any:
    return getattr(_classes, name)(**parts)


@extends("SpatialDirections")
class _SpatialDirections(_Changeable):
    if TYPE_CHECKING:

        def get_column_direction(self) -> Any: ...
        def get_row_direction(self) -> Any: ...
        def get_slice_direction(self) -> Any: ...

    def __init__(self, *arguments: Any, column: Any = None, row: Any = None) -> None:
        """Create directions from those of columns and rows; that of slices is their cross product.

        :param column: Where the next column lies, (1, 0, 0) by default.
        :param row: Where the next row lies, (0, 1, 0) by default.
        """
        if column is not None or row is not None:
            arguments = ((1, 0, 0) if column is None else column, (0, 1, 0) if row is None else row, *arguments)
        if len(arguments) == 2:
            arguments = tuple(_vector3(direction) for direction in arguments)
        flat.SpatialDirections_swiginit(self, flat.new_SpatialDirections(*arguments))

    def column_direction(self) -> Any:
        """Return where the next column lies."""
        return self.get_column_direction()

    def row_direction(self) -> Any:
        """Return where the next row lies."""
        return self.get_row_direction()

    def slice_direction(self) -> Any:
        """Return where the next slice lies."""
        return self.get_slice_direction()

    def _parts(self) -> dict[str, Any]:
        return {"column": tuple(self.get_column_direction()), "row": tuple(self.get_row_direction())}


class _Calibration:
    """Getters by their plain names."""

    if TYPE_CHECKING:

        def get_origin(self) -> Any: ...
        def get_spacing(self) -> Any: ...
        def get_directions(self) -> Any: ...
        def get_unit(self) -> str: ...

    def origin(self) -> Any:
        """Return the position of the first element, in units."""
        return self.get_origin()

    def spacing(self) -> Any:
        """Return the distances between elements along columns, rows and slices, in units."""
        return self.get_spacing()

    def directions(self) -> SpatialDirections:
        """Return the directions of the axes."""
        return self.get_directions()

    def unit(self) -> str:
        """Return the name of the unit, empty if it is not known."""
        return self.get_unit()

    def _parts(self) -> dict[str, Any]:
        return {
            "origin": tuple(self.get_origin()),
            "spacing": tuple(self.get_spacing()),
            "directions": self.get_directions(),
            "unit": self.get_unit(),
        }


@extends("ReadonlySpatialCalibrationProperty")
class _ReadonlySpatialCalibrationProperty(_Calibration, _ReadOnly):
    pass


@extends("SpatialCalibrationProperty")
class _SpatialCalibrationProperty(_Calibration, _Changeable):
    def __init__(
        self, *arguments: Any, origin: Any = None, spacing: Any = None, directions: Any = None, unit: str | None = None
    ) -> None:
        """Create a calibration, or copy one.

        :param origin: The position of the first element, in units; (0, 0, 0) by default.
        :param spacing: The distances between elements along X, Y and Z, in units; (1, 1, 1) by default.
        :param directions: The `SpatialDirections` of the axes; X, Y, Z by default.
        :param unit: The name of the unit, such as "mm"; empty by default.
        """
        if len(arguments) == 1 and isinstance(arguments[0], _CALIBRATIONS):
            given = arguments[0]
            made = flat.new_SpatialCalibrationProperty(
                given.get_origin(), given.get_spacing(), given.get_directions(), given.get_unit()
            )
        else:
            vectors = tuple(_vector3(vector) for vector in arguments[:2])
            made = flat.new_SpatialCalibrationProperty(*vectors, *arguments[2:])
        flat.SpatialCalibrationProperty_swiginit(self, made)
        if origin is not None:
            self.set_origin(origin)
        if spacing is not None:
            self.set_spacing(spacing)
        if directions is not None:
            flat.SpatialCalibrationProperty_set_directions(self, directions)
        if unit is not None:
            flat.SpatialCalibrationProperty_set_unit(self, unit)

    def set_origin(self, origin: Any) -> None:
        """Change the position of the first element, in units."""
        flat.SpatialCalibrationProperty_set_origin(self, _vector3(origin))

    def set_spacing(self, spacing: Any) -> None:
        """Change the distances between elements along X, Y and Z, in units."""
        flat.SpatialCalibrationProperty_set_spacing(self, _vector3(spacing))


_CALIBRATIONS = (_classes.SpatialCalibrationProperty, _classes.ReadonlySpatialCalibrationProperty)


class _Info:
    """Getters by their plain names."""

    if TYPE_CHECKING:

        def get_axes_interpretation(self) -> ImageType: ...
        def _get_interpretation(self) -> int: ...
        def get_alpha(self) -> bool: ...
        def get_bit_depth(self) -> int: ...
        def get_value_range(self) -> Any: ...

    def axes_interpretation(self) -> ImageType:
        """Return the meaning of the image's axes."""
        return self.get_axes_interpretation()

    def interpretation(self) -> ImageInterpretation | int:
        """Return the meaning of the channels; a plain int if it is none of those known."""
        return _member(self._get_interpretation())

    def _interpretation(self) -> int:
        return self._get_interpretation()

    def alpha(self) -> bool:
        """Return whether the last channel is an alpha channel."""
        return self.get_alpha()

    def bit_depth(self) -> int:
        """Return the bits that are really used in each value."""
        return self.get_bit_depth()

    def value_range(self) -> Any:
        """Return the smallest and the largest value that the values may take."""
        return self.get_value_range()

    def _parts(self) -> dict[str, Any]:
        return {
            "axes": self.get_axes_interpretation(),
            "interpretation": _InterpretationText(self._get_interpretation()),
            "alpha": self.get_alpha(),
            "bit_depth": self.get_bit_depth(),
            "value_range": tuple(self.get_value_range()),
        }


def _member(interpretation: int) -> ImageInterpretation | int:
    try:
        return ImageInterpretation(interpretation)
    except ValueError:
        return interpretation


class _InterpretationText(int):
    """An interpretation whose repr evaluates back."""

    def __repr__(self) -> str:
        member = _member(int(self))
        return f"ImageInterpretation.{member.name}" if isinstance(member, ImageInterpretation) else repr(member)

    def __reduce__(self) -> tuple[Any, ...]:
        return int, (int(self),)


@extends("ReadonlyImageInfoProperty")
class _ReadonlyImageInfoProperty(_Info, _ReadOnly):
    pass


@extends("ImageInfoProperty")
class _ImageInfoProperty(_Info, _Changeable):
    def __init__(
        self,
        *arguments: Any,
        axes: Any = None,
        interpretation: int | None = None,
        alpha: bool | None = None,
        bit_depth: int | None = None,
        value_range: Any = None,
        dtype: Any = None,
    ) -> None:
        """Create an information, or copy one.

        :param axes: The meaning of the image's axes: an `ImageType`, or a string such as "ZYX"; unknown by default.
        :param interpretation: The meaning of the channels, an `ImageInterpretation`; UNKNOWN by default.
        :param alpha: Whether the last channel is an alpha channel.
        :param bit_depth: The bits that are really used in each value; by default those of dtype.
        :param value_range: The smallest and the largest value; by default those of dtype.
        :param dtype: The type of the elements, a `DataType` or what NumPy takes for a dtype.
        """
        if len(arguments) == 1 and not isinstance(arguments[0], _INFOS):
            arguments = (as_data_type(arguments[0]),)
        elif len(arguments) == 1:
            given = arguments[0]
            arguments = (
                given.get_axes_interpretation(),
                given._get_interpretation(),
                given.get_alpha(),
                given.get_bit_depth(),
                given.get_value_range(),
            )
        elif not arguments and (dtype is not None or (bit_depth is not None and value_range is not None)):
            arguments = (_classes.DataType() if dtype is None else as_data_type(dtype),)
        elif not arguments:
            raise TypeError("ImageInfoProperty needs dtype, or both bit_depth and value_range")
        flat.ImageInfoProperty_swiginit(self, flat.new_ImageInfoProperty(*arguments))
        if axes is not None:
            self.set_axes_interpretation(axes)
        if interpretation is not None:
            flat.ImageInfoProperty_set_interpretation(self, interpretation)
        if alpha is not None:
            flat.ImageInfoProperty_set_alpha(self, alpha)
        if bit_depth is not None:
            flat.ImageInfoProperty_set_bit_depth(self, bit_depth)
        if value_range is not None:
            self.set_value_range(value_range)

    def set_axes_interpretation(self, axes: Any) -> None:
        """Change the meaning of the image's axes, an `ImageType` or a string such as "ZYX"."""
        flat.ImageInfoProperty_set_axes_interpretation(self, as_image_type(axes))

    def set_value_range(self, value_range: Any) -> None:
        """Change the smallest and the largest value that the values may take."""
        flat.ImageInfoProperty_set_value_range(self, as_vector(_classes.Vector2d, value_range))


_INFOS = (_classes.ImageInfoProperty, _classes.ReadonlyImageInfoProperty)


class _Properties:
    """Getters by their plain names. What they return is a part of its own, not a way to change the whole."""

    if TYPE_CHECKING:

        def get_calibration(self) -> Any: ...
        def get_image_info(self) -> Any: ...

    def calibration(self) -> SpatialCalibrationProperty:
        """Return a copy of the spatial calibration."""
        return _classes.SpatialCalibrationProperty(self.get_calibration())

    def image_info(self) -> ImageInfoProperty:
        """Return a copy of the image information."""
        return _classes.ImageInfoProperty(self.get_image_info())

    def _parts(self) -> dict[str, Any]:
        return {"calibration": _Properties.calibration(self), "image_info": _Properties.image_info(self)}


@extends("ReadonlyImageProperties")
class _ReadonlyImageProperties(_Properties, _ReadOnly):
    pass


@extends("ImageProperties")
class _ImageProperties(_Properties, _Changeable):
    def __init__(self, *arguments: Any, calibration: Any = None, image_info: Any = None, dtype: Any = None) -> None:
        """Create properties from their parts, or copy some.

        :param calibration: The `SpatialCalibrationProperty`; by default spacing 1 without a unit.
        :param image_info: The `ImageInfoProperty`; by default that for dtype.
        :param dtype: The type of the elements, a `DataType` or what NumPy takes for a dtype.
        """
        if not arguments:
            if image_info is None and dtype is None:
                raise TypeError("ImageProperties needs image_info or dtype")
            arguments = (
                _classes.SpatialCalibrationProperty() if calibration is None else calibration,
                _classes.ImageInfoProperty(dtype=dtype) if image_info is None else image_info,
            )
        elif len(arguments) == 1 and isinstance(arguments[0], _classes.ReadonlyImageProperties):
            arguments = (arguments[0].clone(),)
        flat.ImageProperties_swiginit(self, flat.new_ImageProperties(*arguments))

    @staticmethod
    def from_data_type(dtype: Any) -> Any:
        """Create properties with all values defaulted for a data type."""
        return flat.ImageProperties_from_data_type(as_data_type(dtype))

    def is_compatible_with(self, shape: Any, dtype: Any) -> bool:
        """Tell whether an image of a shape (X, Y, Z, C, T) and a data type can have these properties."""
        shape = as_vector(_classes.VectorXu64, shape)
        return bool(flat.ImageProperties_is_compatible_with(self, shape, as_data_type(dtype)))
