"""Uses of the package that type checkers must understand: checked by `make lint`, and run by the tests."""

from __future__ import annotations

from typing import TYPE_CHECKING

import numpy

import zarnik
from zarnik import ImageCapability, ImageDimension, ImageView, MetadataNode, RegionXu64

if TYPE_CHECKING:
    from typing import Any

    Array = numpy.ndarray[Any, Any]


def made() -> ImageView:
    """Make images in each way."""
    array = numpy.zeros((3, 4, 5), numpy.uint16)
    image = zarnik.from_numpy(array, axes="ZYX", spacing=(0.5, 0.5, 2.0), unit="mm", interpretation="LABEL")
    others: list[ImageView] = [
        zarnik.zeros((3, 4), "u1"),
        zarnik.empty((3, 4), numpy.float32, axes=[ImageDimension.ROW, ImageDimension.COLUMN]),
        zarnik.full((3, 4), 7, axes="yx"),
        zarnik.zeros_like(image),
        zarnik.from_dlpack(array),
        zarnik.ImageViewFactory.allocate((5, 4, 3), "u2"),
        zarnik.ImageViewProvider.to_read_only(image),
    ]
    assert all(len(other) for other in others)
    return image


def elements(image: ImageView) -> float:
    """Read and write elements."""
    image[0, 1:3, ::2] = 5
    image.write((0, 0, 0), 3)
    image.write_region(RegionXu64((0, 0, 0), (2, 2, 1)), numpy.ones((1, 2, 2)))
    region: Array = image.read_region(((0, 0, 0), (2, 2, 1)))
    whole: Array = image.to_numpy("XYZ", copy=True)
    assert image.isel(Z=0).shape == image[0].shape
    assert image.equals(image) and 5 in image
    shape: tuple[int, ...] = image.shape
    rank: int = image.ndim + image.size + image.nbytes
    capabilities = image.get_capabilities()
    assert ImageCapability.READ | ImageCapability.WRITE in capabilities
    axes: str | None = image.axes
    assert axes and rank and shape
    return float(region.sum() + whole.sum() + sum(part.sum() for part in image))


def space(image: ImageView) -> tuple[float, float, float]:
    """Set and ask where an image lies."""
    image.spacing = (1.0, 1.0, 3.0)
    image.origin = numpy.zeros(3)
    image.directions = zarnik.SpatialDirections(column=(1, 0, 0), row=(0, 1, 0))
    image.set_affine(numpy.diag((-1.0, 1.0, 2.0, 1.0)), convention="RAS")
    world: Array = image.index_to_world((1, 2, 0))
    assert image.world_to_index(world).shape == world.shape == (3,)
    image.interpretation = zarnik.ImageInterpretation.GRAYSCALE
    image.value_range = (0, 100)
    image.bit_depth = 12
    properties = zarnik.ImageProperties(
        calibration=zarnik.SpatialCalibrationProperty(spacing=(1, 1, 1), unit="mm"),
        image_info=zarnik.ImageInfoProperty(dtype=image.dtype),
    )
    image.properties = properties
    assert properties.calibration().unit() == image.unit
    spacing: tuple[float, float, float] = image.spacing
    return spacing


def metadata(image: ImageView) -> str:
    """Make, change and read trees."""
    image.metadata["scanner/name"] = "Z1"
    node = MetadataNode.from_dict({"a": [1, 2], "b": {"c": None}})
    node["b", "d"] = True
    node.update({"e": 1.5}, f="text")
    image.metadata = node
    keys: list[str] = node.keys()
    value = node["a"].value()
    assert value is not None and value.to_python() == [1, 2] and keys
    assert node.to_dict() == image.metadata.to_dict()
    assert MetadataNode.from_json(node.to_json()) == node.clone()
    return node.to_json()


def values() -> float:
    """Calculate with values."""
    vector = zarnik.Vector3d((1, 2, 3)) + zarnik.Vector3d([1, 1, 1])
    components: list[float] = list(vector)
    matrix = zarnik.Matrix3d.identity()
    origin, size = RegionXu64((0, 1), (2, 3))
    slices: tuple[slice, ...] = RegionXu64((0, 1), (2, 3)).slices("YX")
    data_type = zarnik.DataType("uint16")
    assert data_type == zarnik.DataTypeId.UINT16 and data_type.dtype == numpy.uint16
    assert len(origin) == len(size) == len(slices)
    assert zarnik.ImageType("ZYX")[0] is ImageDimension.COLUMN
    try:
        vector.at(5)
    except zarnik.InvalidArgument as error:
        print(error)
    except zarnik.Error:
        pass
    return float(numpy.asarray(matrix * vector).sum()) + sum(components)


if __name__ == "__main__":
    zarnik.set_thread_count(zarnik.thread_count())
    print(zarnik.__version__, elements(made()), space(made()), metadata(made()), values())
