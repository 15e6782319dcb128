"""Images made and read by flat functions alone, as arrays of the same order of axes."""

from __future__ import annotations

from typing import Any

import numpy

import _zarnik
import zarnik
from support.values import type_id
from zarnik import _classes


class Traced:
    """An array in chunks that tells what was read of it: the first and the end along each axis."""

    def __init__(self, array: numpy.ndarray, chunks: Any = None) -> None:
        self.array, self.shape, self.dtype, self.chunks = array, array.shape, array.dtype, chunks
        self.keys: list[Any] = []

    def __getitem__(self, key: Any) -> numpy.ndarray:
        self.keys.append(tuple((place.start, place.stop) for place in key))
        return self.array[key]


def whole(shape: Any) -> Any:
    return _classes.RegionXu64([0] * len(shape), list(shape))


def shape_of(view: Any) -> list[int]:
    return list(_zarnik.ImageView_get_shape(view))


def image_of(array: numpy.ndarray, data_type: int | None = None) -> Any:
    """An image in memory with the samples of an array: first axis first; a vector type takes the array's last axis."""
    shape = array.shape if data_type is None else array.shape[:-1]
    made = _zarnik.ImageViewFactory_allocate(shape, type_id(array.dtype) if data_type is None else data_type)
    _zarnik.ImageView___write_region(made, whole(shape), bytes_of(array, len(shape)))
    return made


def bytes_of(array: numpy.ndarray, rank: int) -> bytes:
    """The samples as a transfer has them: the first of the image's dimensions fastest, components together."""
    return array.transpose([*range(rank)[::-1], *range(rank, array.ndim)]).tobytes()


def array_of(view: Any, dtype: Any, components: int = 1) -> numpy.ndarray:
    """All samples of a view; a vector type gives a last axis of its components."""
    shape = shape_of(view)
    parts = [components] if components > 1 else []
    buffer = bytearray(int(numpy.prod([*shape, *parts], dtype=int)) * numpy.dtype(dtype).itemsize)
    _zarnik.ImageView___read_region(view, whole(shape), buffer)
    array = numpy.frombuffer(buffer, dtype).reshape([*shape[::-1], *parts])
    return array.transpose([*range(len(shape))[::-1], *range(len(shape), array.ndim)])


def ramp(shape: tuple[int, ...], dtype: str = "uint8") -> numpy.ndarray:
    """Different values as far as the type has them."""
    return numpy.arange(numpy.prod(shape, dtype=int)).reshape(shape, order="F").astype(dtype)


def capabilities_of(view: Any) -> int:
    return _zarnik.ImageCapabilitySet_value(_zarnik.ImageView_get_capabilities(view))


def is_mapped(image: Any) -> bool:
    """Whether the samples are in memory as they are in a file."""
    try:
        return bool(image.to_numpy(copy=False).size)
    except ValueError:
        return False


def values(shape: Any, dtype: Any = "uint16", seed: int = 0) -> numpy.ndarray:
    """Random values that every type has."""
    return numpy.random.default_rng(seed).integers(0, 100, shape).astype(dtype)


def same_as_saved(found: Any, image: Any, names: str) -> None:
    """An image that was read back has the elements, and the attributes of these names."""
    numpy.testing.assert_array_equal(found.to_numpy(), image.to_numpy())
    for name in names.split():
        assert getattr(found, name) == getattr(image, name), name


def same_levels(found: Any, image: Any, count: int, method: str | None = None) -> None:
    """An image that was read back has so many levels, which are those that are made of what was saved."""
    assert len(found.levels) == count
    for level, like in zip(found.levels, zarnik.coarser_levels(image, method, coarsest=8)):
        numpy.testing.assert_allclose(level.to_numpy(), like.to_numpy(), rtol=1e-6)
        numpy.testing.assert_allclose(level.spacing[:2], like.spacing[:2])


def same_as_tifffile(path: Any) -> list[Any]:
    """The images of a file, each series and level of which has the elements and the axes that tifffile tells."""
    import tifffile

    opened = zarnik.open(path)
    images = [opened] if isinstance(opened, zarnik.ImageView) else list(opened.values())
    with tifffile.TiffFile(path) as file:
        assert len(images) == len(file.series)
        for image, series in zip(images, file.series):
            assert len(image.levels) == len(series.levels)
            for level, expected in zip(image.levels, series.levels):
                axes = expected.axes.replace("S", "C")
                assert sorted(level.axes) == sorted(axes)
                elements = expected.asarray().transpose([axes.index(a) for a in level.axes])
                numpy.testing.assert_array_equal(level.to_numpy(), elements)
    return images


ROTATION = numpy.linalg.qr(numpy.random.default_rng(1).normal(size=(3, 3)))[0]


def oblique_affine(left_handed: bool = False) -> numpy.ndarray:
    """A matrix in RAS."""
    matrix = numpy.eye(4)
    matrix[:3, :3] = ROTATION * (numpy.linalg.det(ROTATION) * numpy.array((0.5, 0.75, -1.25 if left_handed else 1.25)))
    matrix[:3, 3] = 11, -12, 13
    return matrix


def affine_of_itk(image: Any) -> numpy.ndarray:
    """The matrix of an image of SimpleITK, in LPS."""
    rank = image.GetDimension()
    matrix = numpy.eye(4)
    matrix[:rank, :rank] = numpy.array(image.GetDirection()).reshape(rank, rank) * image.GetSpacing()
    matrix[:rank, 3] = image.GetOrigin()
    return matrix
