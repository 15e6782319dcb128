"""Pictures of images: for notebooks, and on axes of Matplotlib."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any

import numpy

import zarnik._classes as _classes
from zarnik._extension import extends

#: What a thumbnail may read, in bytes, and its longest side, in pixels.
_THUMBNAIL_BYTES = 16 << 20
_THUMBNAIL_PIXELS = 160


@extends(_classes.ImageView)
class _Picture:
    if TYPE_CHECKING:
        axes: str | None
        shape: tuple[int, ...]
        dtype: numpy.dtype[Any]

    def show(self, ax: Any = None, **options: Any) -> Any:
        """Draw the image on axes of Matplotlib, the middle picture of a volume or a sequence.

        Axes are in the unit of the calibration. `image.crop(z=5).show()` shows another picture.

        :param ax: The axes to draw on; new ones by default.
        :param options: What `imshow` takes.
        :return: The axes.
        """
        try:
            from matplotlib import pyplot
        except ImportError as error:
            raise ImportError("pictures need Matplotlib: pip install zarnik[demo]") from error
        view: Any = self
        picture = _middle(view)
        ax = pyplot.subplots()[1] if ax is None else ax
        spacing, unit = list(view.get_spatial_spacing()), view.get_spatial_unit()
        pixels = picture.to_numpy()
        axes = picture.axes or ("YXC" if pixels.ndim == 3 else "YX")
        rows, columns = pixels.shape[:2]
        height, width = (abs(spacing["XYZ".index(axis)]) if axis in "XYZ" else 1.0 for axis in axes[:2])
        options.setdefault("extent", (0, columns * width, rows * height, 0))
        options.setdefault("cmap", "gray")
        ax.imshow(pixels, **options)
        ax.set_xlabel(f"{axes[1]}{f' ({unit})' if unit else ''}")
        ax.set_ylabel(f"{axes[0]}{f' ({unit})' if unit else ''}")
        return ax

    def _repr_html_(self) -> str:
        import html  # takes longer than the rest of this module

        view: Any = self
        spacing = ", ".join(f"{distance:g}" for distance in view.get_spatial_spacing())
        rows = {
            "axes": view.axes or "unknown",
            "shape": " x ".join(str(size) for size in view.shape),
            "type": str(view.dtype),
            "spacing": f"{spacing} {view.get_spatial_unit()}".strip(),
        }
        origin = view.view_origin()
        if origin is not None:
            rows["made by"] = origin.display_name()
        heading = "<th style='text-align:left;white-space:nowrap'>"
        cells = "".join(
            f"<tr>{heading}{html.escape(name)}</th><td>{html.escape(text)}</td></tr>" for name, text in rows.items()
        )
        return (
            f"<div style='display:flex;gap:1em;align-items:flex-start'><table>{cells}</table>{_thumbnail(view)}</div>"
        )


def _middle(view: Any) -> Any:
    """The picture in the middle: two axes, and that of the components if they are colours."""
    axes = view.axes or ""
    kept = [axis for axis in range(len(view.shape)) if axes[axis : axis + 1] in "YX" and axes] or [*range(view.ndim)][
        -2:
    ]
    if "C" in axes and view.shape[-1] in (3, 4):
        kept.append(len(view.shape) - 1)
    if len([axis for axis in kept if axes[axis : axis + 1] != "C"]) < 2:
        more = [axis for axis in reversed(range(view.ndim)) if axis not in kept and axes[axis : axis + 1] != "C"]
        kept = sorted(kept + more[: 2 - len(kept)])
    places = [slice(None) if axis in kept else size // 2 for axis, size in enumerate(view.shape)]
    return view if all(isinstance(place, slice) for place in places) else view.crop(*places)


def _thumbnail(view: Any) -> str:
    import base64

    from zarnik._rendering import Plan

    try:
        if 0 in view.shape or view.ndim < 2 or not view.support(1):
            return ""
        plan = Plan(view, _THUMBNAIL_PIXELS, may_enlarge=False)
        if plan.bytes_read() > _THUMBNAIL_BYTES:
            # Single elements instead of means; of each row that is shown, all may have to be read.
            steps = [max(1, size // _THUMBNAIL_PIXELS) for size in plan.sizes]
            if plan.bytes_read() // steps[0] > _THUMBNAIL_BYTES:
                return ""
            places = [slice(None, None, dict(zip(plan.shown, steps)).get(letter)) for letter in plan.axes]
            plan = Plan(view.crop(*places), _THUMBNAIL_PIXELS, may_enlarge=False)
        png = base64.b64encode(png_of(plan.picture())).decode()
        return f"<img alt='thumbnail' style='flex:none' src='data:image/png;base64,{png}'/>"
    except (_classes.Error, TypeError, ValueError, MemoryError):
        return ""  # a picture that cannot be had is no reason not to show the rest


def png_of(pixels: Any) -> bytes:
    """Return bytes in rows and columns, of grey, RGB or RGBA, as a file."""
    import struct
    import zlib

    kind = {2: 0, 3: 2 if pixels.shape[-1] == 3 else 6}[pixels.ndim]
    lines = b"".join(b"\0" + row.tobytes() for row in pixels)

    def chunk(name: bytes, data: bytes) -> bytes:
        return struct.pack(">I", len(data)) + name + data + struct.pack(">I", zlib.crc32(name + data))

    header = struct.pack(">IIBBBBB", pixels.shape[1], pixels.shape[0], 8, kind, 0, 0, 0)
    return b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", zlib.compress(lines)) + chunk(b"IEND", b"")
