"""Where an image lies in space, what its values stand for, and its metadata: properties of images that can be set."""

from __future__ import annotations

import math
import operator
from collections.abc import Mapping, Sequence
from itertools import chain
from typing import TYPE_CHECKING, Any

import numpy

import zarnik._classes as _classes
from zarnik._calls import flat
from zarnik._enumerations import ImageInterpretation
from zarnik._extension import extends
from zarnik._interop import as_interpretation, described
from zarnik._nodes import root_of
from zarnik._types import as_image_type
from zarnik._vectors import as_vector

if TYPE_CHECKING:
    from zarnik._classes import (
        ImageProperties,
        MetadataNode,
        ReadonlyImageProperties,
        ReadonlyMetadataNode,
        SpatialDirections,
    )
    from zarnik._geometry import Array

# How far from perpendicular axes may be: single precision, in which many files have their matrices, is far below.
_SHEAR = 1e-4
# Of positions in it to those in RAS.
_CONVENTIONS = {"RAS": (1.0, 1.0, 1.0), "LPS": (-1.0, -1.0, 1.0)}


@extends("ImageView")
class _Description:
    """What an image knows beside its elements.

    Everything spatial is in the library's order X, Y, Z, whatever the order of the axes of arrays, and in the space of
    `affine`: x grows to the right, y to the front and z to the head of a patient (RAS).
    """

    if TYPE_CHECKING:

        def get_spatial_spacing(self) -> Any: ...
        def get_spatial_origin(self) -> Any: ...
        def get_spatial_unit(self) -> str: ...
        def get_spatial_directions(self) -> Any: ...
        def get_value_range(self) -> Any: ...
        def get_bit_depth(self) -> int: ...
        def get_axes_interpretation(self) -> Any: ...

    # ---- space -------------------------------------------------------------------------------------------------------

    @property
    def spacing(self) -> tuple[float, float, float]:
        """The distances between elements along X, Y, Z, in units.

        They are finite and not 0; one along Z below 0 tells that slices run against the cross product of the
        directions of X and Y. Fewer than three numbers leave the rest as it is.
        """
        x, y, z = self.get_spatial_spacing()
        return x, y, z

    @spacing.setter
    def spacing(self, spacing: Any) -> None:
        self.set_spatial_spacing(_completed(spacing, self.spacing, "spacing"))

    @property
    def origin(self) -> tuple[float, float, float]:
        """The position of the first element along X, Y, Z, in units. Fewer than three numbers leave the rest."""
        x, y, z = self.get_spatial_origin()
        return x, y, z

    @origin.setter
    def origin(self, origin: Any) -> None:
        self.set_spatial_origin(_completed(origin, self.origin, "origin"))

    @property
    def unit(self) -> str:
        """The unit of spacing and origin along X, Y, Z, such as "mm"; empty if it is not known."""
        return self.get_spatial_unit()

    @unit.setter
    def unit(self, unit: str) -> None:
        self.set_spatial_unit(unit)

    @property
    def directions(self) -> SpatialDirections:
        """Where X, Y, Z grow, as vectors in space. Assign `SpatialDirections`, or the vectors of X and of Y."""
        return self.get_spatial_directions()

    @directions.setter
    def directions(self, directions: Any) -> None:
        self.set_spatial_directions(directions)

    @property
    def affine(self) -> Array:
        """The 4 by 4 matrix from an index (x, y, z, 1), in the library's order X, Y, Z, to a position in RAS, a copy.

        `set_affine` changes it.
        """
        return _affine_of(self)

    def get_affine(self, convention: str = "RAS") -> Array:
        """Return the matrix from an index (x, y, z, 1), in the library's order X, Y, Z, to a position.

        :param convention: "RAS", as NIfTI and nibabel have it, or "LPS", as DICOM and ITK have it.
        """
        matrix = _affine_of(self)
        matrix[:3] = numpy.diag(_signs(convention)) @ matrix[:3]
        return matrix

    def set_affine(self, matrix: Any, convention: str = "RAS") -> None:
        """Change origin, spacing and directions to those of a matrix.

        A left-handed matrix is kept as it is: the spacing along Z is below 0 then.

        :param matrix: 4 by 4, or the first 3 rows: from an index (x, y, z, 1) in the library's order X, Y, Z to a
            position in the image's unit.
        :param convention: Where positions grow: "RAS", to the right, the front and the head, as in NIfTI and nibabel;
            or "LPS", to the left, the back and the head, as in DICOM and ITK. Either way `affine` is in RAS.
        :raises ValueError: if axes are not perpendicular to each other, have no extent, or are not finite.
        """
        place = calibration_of_affine(matrix, convention)
        column, row = place.pop("directions")
        directions = _classes.SpatialDirections(column=column, row=row)
        self.properties = _with_calibration(self, directions=directions, **place)

    def index_to_world(self, index: Any) -> Array:
        """Return positions in RAS, along the last axis of the result, of indices in the library's order X, Y, Z.

        :param index: One index, or an array of them along its last axis; fractions are allowed. A Z that is left out
            is 0.
        """
        indices = _triples(index, "an index")
        matrix = _affine_of(self)
        return indices @ matrix[:3, :3].T + matrix[:3, 3]

    def world_to_index(self, position: Any) -> Array:
        """Return indices in the library's order X, Y, Z, with fractions, of positions in RAS.

        :param position: One position, or an array of them along its last axis.
        """
        matrix = _affine_of(self)
        offsets = _triples(position, "a position") - matrix[:3, 3]
        return numpy.linalg.solve(matrix[:3, :3], offsets.reshape(-1, 3).T).T.reshape(offsets.shape)

    # ---- values ------------------------------------------------------------------------------------------------------

    @property
    def value_range(self) -> tuple[float, float]:
        """The smallest and the largest value that the elements may take, whatever the axes X, Y, Z, C, T."""
        low, high = self.get_value_range()
        return low, high

    @value_range.setter
    def value_range(self, value_range: Any) -> None:
        self.set_value_range(value_range)

    @property
    def interpretation(self) -> ImageInterpretation:
        """What the values, or the channels along C, stand for: an `ImageInterpretation`, or assign the name of one."""
        return _interpretation_of(self)

    @interpretation.setter
    def interpretation(self, interpretation: int | str) -> None:
        self.set_image_interpretation(as_interpretation(interpretation))

    @property
    def bit_depth(self) -> int:
        """How many bits of each sample are used, in all of X, Y, Z, C, T."""
        return self.get_bit_depth()

    @bit_depth.setter
    def bit_depth(self, bit_depth: int) -> None:
        self.set_bit_depth(bit_depth)

    def get_image_interpretation(self) -> ImageInterpretation:
        """Shortcut to access Image interpretation from image properties"""
        return _interpretation_of(self)

    # ---- the setters of the library, with arguments of every kind ----------------------------------------------------

    def set_spatial_origin(self, origin: Any) -> None:
        """Change the position of the first element, along X, Y, Z in spatial units."""
        flat.ImageView_set_spatial_origin(described(self), as_vector(_classes.Vector3d, origin))

    def set_spatial_spacing(self, spacing: Any) -> None:
        """Change the distances between elements along X, Y, Z, in spatial units; they are finite and not 0."""
        flat.ImageView_set_spatial_spacing(described(self), as_vector(_classes.Vector3d, spacing))

    def set_spatial_unit(self, unit: str) -> None:
        """Change the unit of distances along X, Y, Z, such as "mm"."""
        if not isinstance(unit, str):
            raise TypeError(f"a unit is a string such as 'mm', got {unit!r}")
        flat.ImageView_set_spatial_unit(described(self), unit)

    def set_spatial_directions(self, directions: Any) -> None:
        """Change where X, Y, Z grow: to `SpatialDirections`, or the vectors of X and of Y."""
        if not isinstance(directions, _classes.SpatialDirections):
            try:
                column, row = directions
            except (TypeError, ValueError):
                raise TypeError(
                    f"directions are SpatialDirections, or the vectors of X and of Y, got {directions!r}"
                ) from None
            directions = _classes.SpatialDirections(column=column, row=row)
        flat.ImageView_set_spatial_directions(described(self), directions)

    def set_value_range(self, value_range: Any) -> None:
        """Change the smallest and the largest value that the elements may take."""
        flat.ImageView_set_value_range(described(self), as_vector(_classes.Vector2d, value_range))

    def set_axes_interpretation(self, axes: Any) -> None:
        """Change what the axes mean, to an `ImageType` or the dimensions of a string such as "ZYX"."""
        flat.ImageView_set_axes_interpretation(described(self), as_image_type(axes))

    def set_image_interpretation(self, interpretation: int | str) -> None:
        """Change what the values stand for, to an `ImageInterpretation` or the name of one."""
        flat.ImageView_set_image_interpretation(described(self), as_interpretation(interpretation))

    def set_bit_depth(self, bit_depth: int) -> None:
        """Change how many bits of each sample are used."""
        flat.ImageView_set_bit_depth(described(self), operator.index(bit_depth))

    def set_alpha(self, alpha: bool) -> None:
        """Change whether the last channel is an alpha channel."""
        if not isinstance(alpha, (bool, int, numpy.bool_)):
            raise TypeError(f"alpha is True or False, got {alpha!r}")
        flat.ImageView_set_alpha(described(self), bool(alpha))

    def set_properties(self, properties: ImageProperties) -> None:
        """Change all properties of the image to a copy of those given."""
        if isinstance(properties, _classes.ReadonlyImageProperties):
            properties = _classes.ImageProperties(properties)
        elif not isinstance(properties, _classes.ImageProperties):
            raise TypeError(f"the properties of an image are ImageProperties, got {properties!r}")
        flat.ImageView_set_properties(described(self), properties)

    # ---- properties and metadata as wholes ---------------------------------------------------------------------------

    @property
    def properties(self) -> ReadonlyImageProperties:
        """The image's properties. Assign changed ones, or use the setters of the image, to change them.

        Assigned ones that do not tell the axes leave those of the image as they are.
        """
        return flat.ImageView___get_properties(self)

    @properties.setter
    def properties(self, properties: Any) -> None:
        if isinstance(properties, (_classes.ImageProperties, _classes.ReadonlyImageProperties)):
            info = _classes.ImageInfoProperty(properties.get_image_info())
            axes = self.get_axes_interpretation()
            if not info.get_axes_interpretation() and axes:
                info.set_axes_interpretation(axes)
                properties = _classes.ImageProperties(calibration=properties.calibration(), image_info=info)
        self.set_properties(properties)

    @property
    def metadata(self) -> ReadonlyMetadataNode:
        """The root of the image's metadata, which is empty if there are none.

        `image.metadata["a/b"] = value` changes a copy of the tree and attaches that to the image: make a large tree
        from a `MetadataNode`, and assign it as a whole. A dict is taken too, None removes the metadata.
        """
        return root_of(self, flat.ImageView___get_metadata(self))

    @metadata.setter
    def metadata(self, metadata: MetadataNode | ReadonlyMetadataNode | Mapping[str, Any] | None) -> None:
        self.set_metadata(metadata)

    def set_metadata(self, metadata: Any) -> None:
        """Attach a copy of a tree of metadata to the image: a node, a dict of them, or None."""
        if isinstance(metadata, Mapping):
            metadata = _classes.MetadataNode.from_dict(metadata)
        elif isinstance(metadata, _classes.ReadonlyMetadataNode):
            metadata = metadata.clone()
        elif metadata is not None and not isinstance(metadata, _classes.MetadataNode):
            raise TypeError(f"the metadata of an image are a MetadataNode, a dict or None, got {metadata!r}")
        flat.ImageView_set_metadata(described(self), metadata)


def calibration_of_affine(matrix: Any, convention: str) -> dict[str, Any]:
    """Return origin, spacing and directions, those of X and of Y, of a matrix, as `set_affine` takes it."""
    array = numpy.array(matrix, float)
    if array.shape not in ((4, 4), (3, 4)):
        raise ValueError(f"an affine matrix has 4 rows of 4 numbers, got an array of shape {array.shape}")
    # Each call of NumPy would take as long as all of the arithmetic does with plain numbers.
    rows = array.tolist()
    if len(rows) == 4 and rows[3] != [0, 0, 0, 1]:
        raise ValueError(f"the last row of an affine matrix is (0, 0, 0, 1), got {tuple(rows[3])}")
    if not all(map(math.isfinite, chain.from_iterable(rows))):
        raise ValueError(f"the numbers of an affine matrix are finite, got {rows}")
    # 0.0 is added for what is turned to be no negative zero.
    *steps, origin = zip(*[[sign * number + 0.0 for number in row] for sign, row in zip(_signs(convention), rows)])
    lengths = [math.sqrt(_dot(step, step)) for step in steps]
    if 0 in lengths:
        raise ValueError(f"axis {'XYZ'[lengths.index(0)]} of the affine matrix has no extent")
    column, row, last = ([part / length for part in step] for step, length in zip(steps, lengths))
    for axes, cosine in (("X and Y", _dot(column, row)), ("X and Z", _dot(column, last)), ("Y and Z", _dot(row, last))):
        if abs(cosine) > _SHEAR:
            angle = math.degrees(math.acos(min(max(cosine, -1), 1)))
            raise ValueError(f"the affine matrix shears: {axes} are {angle:.4g} degrees apart, an image has 90")
    if _dot(cross(column, row), last) < 0:
        lengths[2] = -lengths[2]
    return {"origin": origin, "spacing": lengths, "directions": (column, row)}


def _dot(one: Sequence[float], other: Sequence[float]) -> float:
    return one[0] * other[0] + one[1] * other[1] + one[2] * other[2]


def cross(one: Sequence[float], other: Sequence[float]) -> tuple[float, float, float]:
    """The cross product of two vectors, of which `numpy.cross` takes fifty times as long."""
    return (
        one[1] * other[2] - one[2] * other[1],
        one[2] * other[0] - one[0] * other[2],
        one[0] * other[1] - one[1] * other[0],
    )


def _affine_of(view: Any) -> Array:
    directions, spacing = view.get_spatial_directions(), view.get_spatial_spacing()
    matrix = numpy.eye(4)
    for axis, direction in enumerate(
        (directions.get_column_direction(), directions.get_row_direction(), directions.get_slice_direction())
    ):
        matrix[:3, axis] = tuple(direction)
        matrix[:3, axis] *= spacing[axis]
    matrix[:3, 3] = tuple(view.get_spatial_origin())
    return matrix


def _signs(convention: str) -> tuple[float, float, float]:
    try:
        return _CONVENTIONS[convention]
    except (KeyError, TypeError):
        raise ValueError(f"a convention is 'RAS' or 'LPS', got {convention!r}") from None


def _triples(values: Any, what: str) -> Array:
    triples = numpy.asarray(values, float)
    if triples.ndim == 0 or triples.shape[-1] not in (2, 3):
        raise ValueError(f"{what} has 3 components X, Y, Z, got an array of shape {triples.shape}")
    if triples.shape[-1] == 2:
        triples = numpy.concatenate((triples, numpy.zeros((*triples.shape[:-1], 1))), axis=-1)
    return triples


def _completed(values: Any, before: tuple[float, ...], what: str) -> tuple[float, ...]:
    try:
        given = tuple(values)
    except TypeError:
        raise TypeError(f"{what} is a sequence of numbers along X, Y, Z, got {values!r}") from None
    if not 1 <= len(given) <= 3:
        raise ValueError(f"{what} has up to 3 numbers, along X, Y, Z, got {len(given)}: {values!r}")
    return given + before[len(given) :]


def _with_calibration(view: Any, **changed: Any) -> Any:
    properties = view.properties
    calibration = _classes.SpatialCalibrationProperty(properties.calibration(), **changed)
    return _classes.ImageProperties(calibration=calibration, image_info=properties.image_info())


def _interpretation_of(view: Any) -> ImageInterpretation:
    number = flat.ImageView__get_image_interpretation(view)
    try:
        return ImageInterpretation(number)
    except ValueError:  # none of those known: as it is
        return number  # type: ignore[no-any-return,unused-ignore]
