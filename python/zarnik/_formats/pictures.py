"""PNG and JPEG, through Pillow."""

from __future__ import annotations

import warnings
from typing import TYPE_CHECKING, Any

import numpy

import zarnik._classes as _classes
from zarnik._enumerations import ImageInterpretation
from zarnik._formats import _elements
from zarnik._tiles import TiledArray
from zarnik.plugins import Format, Series, Source, image_of

if TYPE_CHECKING:
    from zarnik.plugins import Progress

# What Pillow makes of a file, and what that is here: the mode of its pixels, letters, type, interpretation, alpha.
_GRAY, _RGB = ImageInterpretation.GRAYSCALE, ImageInterpretation.RGB
_MODES: dict[str, tuple[str, int, Any, Any, bool]] = {
    "1": ("1", 1, numpy.uint8, ImageInterpretation.BINARY, False),
    "L": ("L", 1, numpy.uint8, _GRAY, False),
    # An alpha channel needs a model of colours: here its name tells what it is.
    "LA": ("LA", 2, numpy.uint8, ImageInterpretation.UNKNOWN, False),
    "I;16": ("I;16", 1, numpy.uint16, _GRAY, False),
    "I;16B": ("I;16", 1, numpy.uint16, _GRAY, False),
    "I": ("I", 1, numpy.int32, _GRAY, False),
    "RGB": ("RGB", 3, numpy.uint8, _RGB, False),
    "RGBA": ("RGBA", 4, numpy.uint8, _RGB, True),
    "CMYK": ("CMYK", 4, numpy.uint8, ImageInterpretation.CMYK, False),
    "YCbCr": ("YCbCr", 3, numpy.uint8, ImageInterpretation.YCC, False),
}
_TEXT = "zarnik"


class _Pictures(Format):
    extra = "pillow"
    requires = ("PIL",)
    can_write = True
    kind = ""

    def open(self, source: Source) -> list[Series]:  # type: ignore[override]
        """Open a picture, which is decoded as a whole when it is first read. Palettes become colours."""
        from PIL import Image

        with source.file() as file, Image.open(file, formats=[self.kind]) as picture:
            size, mode, info = picture.size, picture.mode, dict(picture.info)
            raw = picture.tile[0][3] if picture.tile else None
        if mode == "P":
            mode = "RGBA" if "transparency" in info else "RGB"
        if mode not in _MODES:
            raise _classes.Error(f"{source.name!r} has pixels of mode {mode!r}, allowed are {', '.join(_MODES)}")
        wanted, samples, dtype, interpretation, alpha = _MODES[mode]
        wide = _wide_mode(raw) if mode in ("RGB", "RGBA") else None
        if wide:
            dtype = numpy.dtype(numpy.uint16)
        elif isinstance(raw, str) and raw.endswith("16B") and samples > 1:
            warnings.warn(f"{source.name!r} has 16 bits a sample, of which 8 are read", UserWarning, stacklevel=4)
        shape = (size[1], size[0], samples) if samples > 1 else (size[1], size[0])
        decoder = _Decoder(source, self.kind, wanted, wide, shape, dtype)
        # One tile, which is decoded again when the cache has let it go.
        picture = TiledArray(shape, dtype, shape, decoder, identity=_elements.identity_of(source, self.name))
        letters = "YXC"[: len(shape)]
        header = {key: value for key, value in info.items() if key != _TEXT and not isinstance(value, bytes)}
        header["mode"] = mode
        told = _elements.described_by(
            info.get(_TEXT), lambda: header, self.name, interpretation=interpretation, alpha=alpha,
            channel_names=["gray", "alpha"] if mode == "LA" else None,
        )  # fmt: skip
        return [Series(None, [lambda: image_of(picture, letters, **told)], {"mode": mode})]

    def save(self, path: str, image: Any, *, progress: Progress, **options: Any) -> None:
        from PIL import Image

        array = _pixels(image, self.name, self.types)
        if array.dtype == numpy.uint16 and array.ndim == 3:
            raise _classes.InvalidArgument(f"{self.name} of 16 bits is written of one channel, this image has more")
        picture = Image.fromarray(array)
        picture.save(path, self.kind, **options)
        progress(image.nbytes, image.nbytes)

    #: types of elements that can be written
    types: tuple[str, ...] = ("uint8",)


class PNG(_Pictures):
    """Pictures of one channel or colours, of 8 or 16 bits."""

    name = "PNG"
    kind = "PNG"
    suffixes = (".png",)
    types = ("uint8", "uint16")

    def recognizes(self, source: Source) -> bool:
        return source.head.startswith(b"\x89PNG\r\n\x1a\n")

    def save(self, path: str, image: Any, *, progress: Progress, compression: int = 6) -> None:  # type: ignore[override]
        """Write a picture with axes Y, X, and C of 2 (with alpha), 3 or 4 (with alpha) channels of 8 bits, or 16 bits.

        :param compression: 0 for none to 9.
        """
        from PIL.PngImagePlugin import PngInfo

        info = PngInfo()
        text = _elements.description_of(image, self.name)
        kept = image.metadata.to_dict().get(self.name, {})
        for name, value in kept.items():
            if isinstance(value, str) and name not in ("mode", _TEXT) and 0 < len(name) < 80:
                info.add_itxt(name, value)
        if text:
            info.add_itxt(_TEXT, text, zip=True)
        super().save(path, image, progress=progress, compress_level=compression, pnginfo=info)

    def losses(self, image: Any, **options: Any) -> list[str]:
        keeps = ("interpretation", "value_range", "bit_depth", "alpha", "channel_names", "metadata")
        return _elements.losses_of(image, *keeps, without=self.name)


class JPEG(_Pictures):
    """Pictures of one channel or colours, of 8 bits, whose values change when they are saved."""

    name = "JPEG"
    kind = "JPEG"
    suffixes = (".jpg", ".jpeg")

    def recognizes(self, source: Source) -> bool:
        return source.head.startswith(b"\xff\xd8\xff")

    def save(self, path: str, image: Any, *, progress: Progress, quality: int = 90) -> None:  # type: ignore[override]
        """Write a picture with axes Y, X, and C of 3 channels of 8 bits.

        :param quality: 1 to 95.
        """
        if _elements.sizes_of(image).get("C") not in (None, 3):
            raise _classes.InvalidArgument(f"JPEG holds 1 or 3 channels, this image has {image.shape[-1]}")
        super().save(path, image, progress=progress, quality=quality)

    def losses(self, image: Any, **options: Any) -> list[str]:
        keeps = ("interpretation",) if image.interpretation in (_GRAY, _RGB) else ()
        return ["the exact values", *_elements.losses_of(image, *keeps, without=self.name)]


class _Decoder:
    """Decodes the pixels of a picture."""

    def __init__(self, source: Source, kind: str, mode: str, wide: Any, shape: tuple[int, ...], dtype: Any) -> None:
        self._source, self._kind, self._mode, self._wide = source, kind, mode, wide
        self._shape, self._dtype = shape, numpy.dtype(dtype)

    def __call__(self, index: tuple[int, ...], fetched: Any) -> Any:
        if self._wide is None:
            return self._by_pillow(None)
        # Pillow has colours of 8 bits only, and keeps the upper half of a sample: of another byte order, the lower one.
        high, low = (self._by_pillow(mode).astype(numpy.uint16) for mode in self._wide)
        return (high << 8) | low

    def _by_pillow(self, raw: str | None) -> Any:
        from PIL import Image

        with self._source.file() as file, Image.open(file, formats=[self._kind]) as picture:
            if raw is not None:
                picture.tile = [(*one[:3], raw) for one in picture.tile]
            try:
                picture.load()
            except (OSError, SyntaxError, ValueError) as error:
                raise _classes.Error(f"{self._source.name!r} is damaged or cut: {error}") from error
            pixels = numpy.asarray(picture if picture.mode == self._mode else picture.convert(self._mode))
        if pixels.shape != self._shape:
            raise _classes.Error(f"{self._source.name!r} has pixels of shape {pixels.shape}, not {self._shape}")
        return pixels.astype(self._dtype, copy=False)


def _wide_mode(raw: Any) -> tuple[str, str] | None:
    """The raw modes of the upper and the lower halves of colours of 16 bits."""
    return (raw, raw[:-1] + "L") if raw in ("RGB;16B", "RGBA;16B") else None


def _pixels(image: Any, name: str, types: tuple[str, ...]) -> Any:
    sizes = _elements.sizes_of(image)
    flat = {letter for letter, size in sizes.items() if letter in "TZ" and size == 1}
    letters = [letter for letter in "TZYXC" if letter in sizes and letter not in flat]
    if letters[:2] != ["Y", "X"] or not set(letters) <= set("YXC") or sizes.get("C", 1) > 4:
        raise _classes.InvalidArgument(
            f"{name} holds axes YX, or YXC of at most 4 channels, not {image.axes!r} of shape {image.shape}:"
            " crop() gives a plane"
        )
    if image.dtype.name not in types:
        raise _classes.InvalidArgument(
            f"{name} holds elements of {' and '.join(types)}, not {image.dtype}: rescale() or astype() converts them"
        )
    array = image.isel(**dict.fromkeys(flat, 0)) if flat else numpy.asarray(image)
    if "C" in letters and sizes["C"] == 1:
        array = array[..., 0]
    return numpy.ascontiguousarray(array)
