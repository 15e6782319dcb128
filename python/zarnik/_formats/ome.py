"""The description of microscopic images in OME's XML."""

from __future__ import annotations

import math
from typing import Any

import zarnik._classes as _classes

_NAMESPACE = "http://www.openmicroscopy.org/Schemas/OME/2016-06"
# How many metres, for units of one length whose names others write out.
_NAMES = {
    "micron": "µm", "microns": "µm", "micrometer": "µm", "micrometre": "µm", "um": "µm", "μm": "µm", "\\u00b5m": "µm",
    "nanometer": "nm", "nanometre": "nm", "millimeter": "mm", "millimetre": "mm", "centimeter": "cm",
    "centimetre": "cm", "meter": "m", "metre": "m", "angstrom": "Å", "picometer": "pm", "picometre": "pm",
    "inch": "in", "pixel": "", "pixels": "", "reference frame": "",
}  # fmt: skip
#: how many metres a unit is
METRES = {"m": 1.0, "cm": 1e-2, "mm": 1e-3, "µm": 1e-6, "nm": 1e-9, "pm": 1e-12, "Å": 1e-10, "in": 0.0254, "km": 1e3}


def unit_of(name: str) -> str:
    """Return the short name of a unit of length, as images have it."""
    return _NAMES.get(name.strip().lower(), name.strip())


class Description:
    """What a text in XML says of the images of a file."""

    def __init__(self, text: str, root: Any) -> None:
        self._text = text
        self._images = [] if root is None else [node for node in root if _local(node.tag) == "Image"]
        self._root = root

    @classmethod
    def of(cls, text: str | None) -> Description:
        """Read a text; without one there is nothing in the description.

        :raises Error: if it is no XML that may be read.
        """
        if not text:
            return cls("", None)
        # Entities are for texts that grow when they are read.
        if "<!DOCTYPE" in text or "<!ENTITY" in text:
            raise _classes.Error("the OME-XML has a document type, which may not be read")
        from xml.etree import ElementTree

        try:
            return cls(text, ElementTree.fromstring(text.encode()))
        except (ElementTree.ParseError, ValueError) as error:
            raise _classes.Error(f"the OME-XML cannot be read: {error}") from None

    def image(self, place: int) -> ImageDescription | None:
        """Return what is said of an image."""
        if place >= len(self._images):
            return None
        pixels = next((node for node in self._images[place] if _local(node.tag) == "Pixels"), None)
        return None if pixels is None else ImageDescription(self._images[place], pixels)

    def tree(self) -> dict[str, Any]:
        """Return it as metadata: the text as it is, and nested dicts of it."""
        return {"XML": self._text, **({} if self._root is None else _tree(self._root))}


class ImageDescription:
    def __init__(self, image: Any, pixels: Any) -> None:
        self._image = image
        self._pixels = pixels

    def calibration(self) -> dict[str, Any]:
        """Return what `image_of` takes: spacing, origin, unit, channel_names, bit_depth, as far as it is told."""
        pixels = self._pixels
        steps, units = [], []
        for axis in "XYZ":
            step = _number(pixels.get(f"PhysicalSize{axis}"))
            steps.append(step)
            if step is not None:
                units.append(unit_of(pixels.get(f"PhysicalSize{axis}Unit", "µm")))
        told: dict[str, Any] = {}
        unit = units[0] if units else ""
        if units:
            scales = iter([scale_of(other, unit) for other in units])
            told["spacing"] = [1.0 if step is None else step * next(scales) for step in steps]
            told["unit"] = unit
        channels = [node for node in pixels if _local(node.tag) == "Channel"]
        names = [node.get("Name") for node in channels]
        if any(names):
            told["channel_names"] = [name or f"channel {place}" for place, name in enumerate(names)]
        bits = pixels.get("SignificantBits")
        if bits and bits.isdigit() and 0 < int(bits) <= 64:
            told["bit_depth"] = int(bits)
        plane = next((node for node in pixels if _local(node.tag) == "Plane"), None)
        if plane is not None and unit:
            origin = [
                (_number(plane.get(f"Position{axis}"), False) or 0.0)
                * scale_of(unit_of(plane.get(f"Position{axis}Unit", "reference frame")), unit)
                for axis in "XYZ"
            ]
            if any(origin):
                told["origin"] = origin
        return told


def scale_of(unit: str, other: str) -> float:
    """How many of the other unit one is; 1 where nobody knows."""
    return METRES[unit] / METRES[other] if unit in METRES and other in METRES and unit != other else 1.0


def _number(text: str | None, must_be_above: bool = True) -> float | None:
    try:
        number = float(text)  # type: ignore[arg-type]
    except (TypeError, ValueError):
        return None
    return number if math.isfinite(number) and (number > 0 or not must_be_above) else None


def _local(tag: Any) -> str:
    return str(tag).rpartition("}")[2]


def _tree(node: Any) -> dict[str, Any]:
    """Nested dicts of a node: attributes, children by their names, lists where there are several, and text."""
    told: dict[str, Any] = dict(node.attrib)
    for child in node:
        name, below = _local(child.tag), _tree(child)
        if name in told:
            told[name] = [*told[name], below] if isinstance(told[name], list) else [told[name], below]
        else:
            told[name] = below
    text = (node.text or "").strip()
    if text:
        told["text"] = text
    return told
