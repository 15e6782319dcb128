"""Images as those of SimpleITK and nibabel, and back."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any

import numpy

from zarnik._bridges import LazyArray, in_memory, millimetres, named_axes, needed
from zarnik._enumerations import ImageInterpretation
from zarnik._interop import array_over

if TYPE_CHECKING:
    from zarnik._geometry import Array

# nibabel's names of units
_UNITS = {"meter": "m", "mm": "mm", "micron": "\N{MICRO SIGN}m"}
_COLOURS = ("R", "G", "B", "A")


# ---- SimpleITK -------------------------------------------------------------------------------------------------------


def simpleitk_image(image: Any) -> Any:
    """`ImageView.to_simpleitk`."""
    sitk = needed("SimpleITK", "simpleitk")
    axes = named_axes(image)
    affine = image.get_affine("LPS")
    affine[:3] *= millimetres(image.unit) or 1.0
    lengths = numpy.linalg.norm(affine[:3, :3], axis=0)
    directions = affine[:3, :3] / lengths
    array = image.to_numpy()
    # A dimension that the image does not have is there if something is behind it, or its place in space has to be told.
    is_flat = not directions[2, :2].any() and not directions[:2, 2].any() and directions[2, 2] == 1 and not affine[2, 3]
    for letter, following in (("X", "YZT"), ("Y", "XZT"), ("Z", "T")):
        is_needed = letter != "Z" or not is_flat or any(other in axes for other in following)
        if letter not in axes and is_needed:
            place = sum(other in axes for other in "TZYX"[: "TZYX".index(letter)])
            array = numpy.expand_dims(array, place)
            axes = axes[:place] + letter + axes[place:]
    made = sitk.GetImageFromArray(numpy.ascontiguousarray(array), isVector="C" in axes)
    rank = made.GetDimension()
    space = min(rank, 3)
    matrix = numpy.eye(rank)
    matrix[:space, :space] = directions[:space, :space]
    made.SetSpacing([*lengths[:space].tolist(), *[1.0] * (rank - space)])
    made.SetOrigin([*affine[:space, 3].tolist(), *[0.0] * (rank - space)])
    made.SetDirection(matrix.ravel().tolist())
    for name, text in _leaves(image.metadata.to_dict(), ""):
        made.SetMetaData(name, text)
    return made


def _leaves(tree: Any, path: str) -> Any:
    if isinstance(tree, dict):
        for name, value in tree.items():
            yield from _leaves(value, f"{path}/{name}" if path else str(name))
    elif path:
        yield path, str(tree)


def image_of_simpleitk(image: Any) -> Any:
    """`zarnik.from_simpleitk`."""
    from zarnik.plugins import image_of

    sitk = needed("SimpleITK", "simpleitk")
    if not isinstance(image, sitk.Image):
        raise TypeError(f"from_simpleitk takes an Image of SimpleITK, got {type(image).__name__}")
    rank = image.GetDimension()
    if rank > 4:
        raise ValueError(f"images of SimpleITK of 2 to 4 dimensions can be taken, got one of {rank}")
    shown = sitk.GetArrayViewFromImage(image)
    # Another one over the same memory: it goes on having that, whatever becomes of the image that was given.
    owner = sitk.Image(image)
    array = array_over(shown.ctypes.data if shown.size else 0, shown.shape, shown.dtype, owner)
    array.flags.writeable = False
    space = min(rank, 3)
    directions = numpy.asarray(image.GetDirection()).reshape(rank, rank)
    affine = numpy.eye(4)
    affine[:space, :space] = directions[:space, :space] * image.GetSpacing()[:space]
    affine[:space, 3] = image.GetOrigin()[:space]
    axes = "TZYX"[4 - rank :] + ("C" if image.GetNumberOfComponentsPerPixel() > 1 else "")
    metadata = {name: image.GetMetaData(name) for name in image.GetMetaDataKeys()}
    return image_of(array, axes, affine=affine, convention="LPS", unit="mm", metadata=metadata or None)


# ---- nibabel ---------------------------------------------------------------------------------------------------------


def nibabel_image(image: Any) -> Any:
    """`ImageView.to_nibabel`."""
    nibabel = needed("nibabel", "nifti")
    axes = named_axes(image)
    used = max("XYZTC".index(letter) for letter in axes)
    is_colour = image.interpretation in (ImageInterpretation.RGB, ImageInterpretation.SRGB)
    if is_colour and image.dtype == numpy.uint8 and axes[-1] == "C" and image.shape[-1] in (3, 4):
        colours = numpy.dtype([(name, "u1") for name in _COLOURS[: image.shape[-1]]])
        pixels = image.to_numpy()
        if pixels.strides[-1] != 1:
            pixels = numpy.ascontiguousarray(pixels)
        array: Any = pixels.view(colours)[..., 0]
        axes = axes[:-1]
        used = max("XYZTC".index(letter) for letter in axes)
    else:
        array = in_memory(image)
    order = [axes.find(letter) for letter in "XYZTC"[: used + 1]]
    if array is None:
        array = LazyArray(image, [None if axis < 0 else axis for axis in order])
    else:
        array = array.transpose([axis for axis in order if axis >= 0])
        array = numpy.expand_dims(array, tuple(place for place, axis in enumerate(order) if axis < 0))
    affine, unit = image.affine, image.unit
    scale = millimetres(unit)
    told = {value: name for name, value in _UNITS.items()}.get("\N{MICRO SIGN}m" if scale == 1e-3 else unit)
    if told is None and scale is not None:
        affine[:3] *= scale
        told = "mm"
    made = nibabel.Nifti1Image(array, affine, dtype=array.dtype)
    made.header.set_xyzt_units(told or "unknown")
    made.set_qform(affine, 1)
    made.set_sform(affine, 1)
    if image.interpretation == ImageInterpretation.LABEL:
        made.header.set_intent("label")
    return made


def image_of_nibabel(image: Any) -> Any:
    """`zarnik.from_nibabel`."""
    from zarnik.plugins import image_of

    nibabel = needed("nibabel", "nifti")
    if not isinstance(image, nibabel.spatialimages.SpatialImage):
        raise TypeError(f"from_nibabel takes an image of nibabel, got {type(image).__name__}")
    shape = image.shape
    while len(shape) > 1 and len(shape) > 5 and shape[-1] == 1:
        shape = shape[:-1]
    if not 1 <= len(shape) <= 5:
        raise ValueError(f"images of 1 to 5 dimensions can be taken, got one of shape {image.shape}")
    array, axes = _elements(nibabel, image.dataobj, shape), "XYZTC"[: len(shape)]
    interpretation = None
    if array.dtype.names is not None:
        if array.dtype.names != _COLOURS[: len(array.dtype.names)] or len(array.shape) > 4:
            raise TypeError(f"elements are numbers or colours, got {array.dtype}")
        array = _colours(array)
        axes = axes[::-1] + "C"
        interpretation = ImageInterpretation.RGB
    elif len(shape) == 5 and shape[3] == 1 and isinstance(array, numpy.ndarray):
        array, axes = array[:, :, :, 0], "XYZC"
    header: Any = getattr(image, "header", None)
    unit = _UNITS.get(header.get_xyzt_units()[0], "") if hasattr(header, "get_xyzt_units") else "mm"
    if getattr(header, "get_intent", None) and header.get_intent()[0] == "label":
        interpretation = ImageInterpretation.LABEL
    fields = getattr(header, "structarr", None)
    metadata = None
    if fields is not None:
        name = "NIfTI" if isinstance(header, nibabel.Nifti1Header) else type(image).__name__
        metadata = {
            name: {key: fields[key].item() if fields[key].ndim == 0 else fields[key] for key in fields.dtype.names}
        }
    return image_of(
        array, axes, affine=image.affine, unit=unit or None, interpretation=interpretation, metadata=metadata
    )


def _elements(nibabel: Any, data: Any, shape: tuple[int, ...]) -> Any:
    """The elements as an array in memory or of a mapped file, else as what reads them."""
    if not nibabel.is_proxy(data):
        return numpy.asarray(data).reshape(shape)
    name = getattr(data, "file_like", None)
    is_plain = isinstance(name, str) and not name.lower().endswith((".gz", ".bz2", ".zst", ".mgz"))
    if is_plain and getattr(data, "slope", None) == 1 and getattr(data, "inter", None) == 0:
        return numpy.asarray(data.get_unscaled()).reshape(shape)
    element = data[(slice(0, 1),) * len(data.shape)]
    if element.dtype.names is not None:
        return numpy.asarray(data).reshape(shape)
    return _Proxy(data, shape, element.dtype)


def _colours(array: Array) -> Array:
    """Structures of colours as an array with one more axis, axes before that reversed: the memory is the same."""
    return array.T[..., numpy.newaxis].view("u1")


class _Proxy:
    """What nibabel reads when it is asked for a part."""

    def __init__(self, data: Any, shape: tuple[int, ...], dtype: Any) -> None:
        self._data, self.shape, self.dtype = data, shape, dtype

    def __getitem__(self, key: tuple[Any, ...]) -> Any:
        return self._data[key + (0,) * (len(self._data.shape) - len(key))]
