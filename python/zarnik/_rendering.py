"""Pictures of images in a number of pixels: from the level of detail and of the region that they need, in bands."""

from __future__ import annotations

import math
from collections.abc import Mapping, Sequence
from typing import TYPE_CHECKING, Any

import numpy

from zarnik._enumerations import ImageInterpretation

if TYPE_CHECKING:
    from zarnik._geometry import Array

# What is read at once, in bytes.
_BAND_BYTES = 32 << 20
# The longest side of a picture for which nobody asked for another: small images are enlarged by whole numbers.
_FEWEST, _MOST = 500, 1000
# What is darker or brighter than all but these parts of a picture is black or white.
_TAILS = 0.2, 99.8
_COLOURS = (ImageInterpretation.RGB, ImageInterpretation.SRGB)
_LABELS = (ImageInterpretation.LABEL, ImageInterpretation.BINARY)
# Of channels one above the other: they add to white.
_CHANNELS = numpy.array([(0, 1, 0), (1, 0, 1), (0, 1, 1), (1, 1, 0), (1, 0, 0), (0, 0, 1), (1, 0.5, 0)], numpy.float32)


class Plan:
    """Which picture of an image is shown, and in how many pixels: the middle one along axes that are not told.

    :param pixels: The longest side; None for as many as the image has elements, 500 to 1000 of them.
    :param places: Slices and indices by the letters of axes, in full resolution.
    """

    def __init__(
        self, image: Any, pixels: int | None, places: Mapping[str, Any] | None = None, may_enlarge: bool = True
    ) -> None:
        # Axes that nobody named have the names of those that are usual for as many.
        self.axes: str = image.axes or "ZCTYX"[-image.ndim :]
        self.image = image
        self.places = _places(self.axes, image.shape, places or {})
        free = [letter for letter in self.axes if isinstance(self.places[letter], range)]
        self.is_labels = image.interpretation in _LABELS
        self.is_colour = self._is_colour(free)
        shown = [letter for letter in free if letter != "C"] or free
        shown = [letter for letter in shown if letter in "YX"] if {"Y", "X"} <= set(shown) else shown[-2:]
        for letter in free:
            if letter not in shown and (letter != "C" or self.is_labels):
                self.places[letter] = self.places[letter][len(self.places[letter]) // 2]
        #: the letters down and to the right of the picture; one only of an image with one axis
        self.shown = shown
        self.sizes = [len(self.places[letter]) for letter in shown]
        self.spacing = [abs(image.spacing["XYZ".index(letter)]) if letter in "XYZ" else 1.0 for letter in shown]
        lengths = [size * step for size, step in zip(self.sizes, self.spacing)]
        natural = max(length / min(self.spacing) for length in lengths)
        if pixels is None:
            pixels = min(_MOST, int(natural * max(1, _FEWEST // natural)))
        elif not may_enlarge:
            pixels = min(pixels, int(natural))
        per_length = pixels / max(lengths) if all(lengths) else 0.0
        #: the rows and columns of the picture
        self.shape = tuple(max(1, round(length * per_length)) for length in lengths)

    def _is_colour(self, free: Sequence[str]) -> bool:
        if "C" not in free or self.axes[-1] != "C" or len(self.places["C"]) not in (3, 4):
            return False
        is_unknown = self.image.interpretation == ImageInterpretation.UNKNOWN
        return self.image.interpretation in _COLOURS or (is_unknown and self.image.dtype == numpy.uint8)

    def level(self) -> Any:
        """The coarsest level that has as many elements as the picture has pixels."""
        chosen = self.image
        for level in self.image.levels:
            sizes = [
                size * level.shape[self.axes.index(letter)] / self.image.shape[self.axes.index(letter)]
                for letter, size in zip(self.shown, self.sizes)
            ]
            if level.axes == self.image.axes and all(size >= wanted for size, wanted in zip(sizes, self.shape)):
                chosen = level
        return chosen

    def bytes_read(self) -> int:
        """How many bytes the elements have that the picture is made of."""
        level = self.level()
        key, _ = self._regions(level)
        counts = [place.stop - place.start for place in key if isinstance(place, slice)]
        return math.prod(counts) * int(level.dtype.itemsize)

    def values(self) -> Array:
        """The picture in its pixels: rows and columns, and channels if there are; means of what a pixel covers."""
        level = self.level()
        key, edges = self._regions(level)
        order = [self.axes.index(letter) for letter in self.shown]
        channels = [self.axes.index("C")] if "C" in self.axes and isinstance(key[self.axes.index("C")], slice) else []
        rest = sorted([*order, *channels])
        turn = [rest.index(axis) for axis in [*order, *channels]]
        down = edges[0]
        row_bytes = level.dtype.itemsize * math.prod(
            key[axis].stop - key[axis].start for axis in [*order[1:], *channels]
        )
        count = max(1, len(down) - 1)
        rows_of_pixel = max(1.0, (down[-1] - down[0]) / count)
        step = max(1, int(_BAND_BYTES / max(1.0, row_bytes * rows_of_pixel)))
        bands = []
        for first in range(0, count, step):
            of_band = down[first : first + step + 1]
            begin, stop = int(of_band[0]), min(math.ceil(of_band[-1]), key[order[0]].stop)
            begin = min(begin, stop - 1)
            part = list(key)
            part[order[0]] = slice(begin, stop)
            block = numpy.asarray(level[tuple(part)]).transpose(turn)
            block = numpy.abs(block) if block.dtype.kind == "c" else block
            block = self._fitted(block, of_band - begin, 0)
            for axis, of_axis in enumerate(edges[1:], 1):
                block = self._fitted(block, of_axis - key[order[axis]].start, axis)
            bands.append(block)
        return numpy.concatenate(bands)

    def _regions(self, level: Any) -> tuple[list[Any], list[Array]]:
        """What to read of a level, and there the edges of the pixels along the axes that are shown."""
        key: list[Any] = []
        edges: dict[str, Array] = {}
        for axis, letter in enumerate(self.axes):
            factor = level.shape[axis] / max(1, self.image.shape[axis])
            place = self.places[letter]
            if not isinstance(place, range):
                key.append(min(int((place + 0.5) * factor), level.shape[axis] - 1))
            elif letter in self.shown:
                wanted = self.shape[self.shown.index(letter)]
                edges[letter] = numpy.linspace(place.start * factor, place.stop * factor, wanted + 1)
                key.append(slice(int(edges[letter][0]), min(math.ceil(edges[letter][-1]), level.shape[axis])))
            else:
                key.append(slice(place.start, place.stop))
        return key, [edges[letter] for letter in self.shown]

    def _fitted(self, block: Array, edges: Array, axis: int) -> Array:
        count = block.shape[axis]
        if self.is_labels:
            centres = ((edges[1:] + edges[:-1]) / 2).astype(int)
            return block.take(numpy.clip(centres, 0, count - 1), axis)
        if len(edges) == count + 1 and numpy.array_equal(edges, numpy.arange(count + 1)):
            return block
        # The mean of a pixel is the difference of two sums from the first element on.
        values = numpy.moveaxis(numpy.nan_to_num(block.astype(numpy.float64)), axis, 0)
        sums = numpy.concatenate((numpy.zeros_like(values[:1]), values.cumsum(0)))
        whole = numpy.clip(edges.astype(int), 0, count - 1)
        fractions = (edges - whole).reshape(-1, *[1] * (values.ndim - 1))
        at_edges = sums[whole] + fractions * values[whole]
        widths = numpy.diff(edges).reshape(fractions[1:].shape)
        means: Array = numpy.moveaxis(numpy.diff(at_edges, axis=0) / widths, 0, axis)
        return means

    def picture(self, window: tuple[float, float] | None = None) -> Array:
        """The picture as bytes: rows and columns of grey, or of RGB or RGBA.

        :param window: What is black and what is white; by default what the values of the picture suggest.
        """
        values = self.values()
        if len(self.shown) == 1:
            values = values[numpy.newaxis]
        if self.is_labels:
            return _coloured(values)
        values = numpy.nan_to_num(values.astype(numpy.float64))
        if self.is_colour:
            high = 255.0 if self.image.dtype == numpy.uint8 else max(float(values.max(initial=0)), 1e-300)
            low, high = window or (0.0, high)
            return _scaled(values, low, high)
        if values.ndim == 2:
            return _scaled(values, *(window or _window(values)))
        if values.shape[-1] == 1:
            return _scaled(values[..., 0], *(window or _window(values)))
        mixed = numpy.zeros((*values.shape[:2], 3))
        for channel in range(values.shape[-1]):
            of_channel = values[..., channel]
            grey = _scaled(of_channel, *(window or _window(of_channel)))
            mixed += grey[..., numpy.newaxis] * _CHANNELS[channel % len(_CHANNELS)]
        bytes_: Array = mixed.clip(0, 255).astype(numpy.uint8)
        return bytes_


def _places(axes: str, shape: Sequence[int], given: Mapping[str, Any]) -> dict[str, Any]:
    """Indices, and ranges with a step of 1, by letters."""
    upper = {letter.upper(): place for letter, place in given.items()}
    for letter in upper:
        if letter not in axes:
            raise ValueError(f"axis {letter!r} is none of the axes {axes!r} of the image")
    places: dict[str, Any] = {}
    for letter, size in zip(axes, shape):
        place = upper.get(letter, slice(None))
        if isinstance(place, slice):
            chosen = range(*place.indices(size))
            if chosen.step != 1 or not chosen:
                raise ValueError(f"a picture shows elements that follow each other along {letter}, not {place}")
            places[letter] = chosen
        else:
            if not -size <= place < size:
                raise IndexError(f"index {place} is out of bounds for axis {letter} with size {size}")
            places[letter] = place % size
    return places


def _window(values: Array) -> tuple[float, float]:
    low, high = (float(value) for value in numpy.percentile(values, _TAILS))
    if not high > low:
        low, high = float(values.min()), float(values.max())
    # What means of equal values differ by is no contrast.
    return (low, high) if high - low > 1e-9 * max(abs(low), abs(high)) else (low, low)


def _scaled(values: Array, low: float, high: float) -> Array:
    factor = 255 / (high - low) if high > low else 0.0
    scaled: Array = ((values - low) * factor + 0.5).clip(0, 255).astype(numpy.uint8)
    return scaled


def _coloured(labels: Array) -> Array:
    """A colour for each label, black for 0: neighbours in number have colours far apart."""
    turns = (labels.astype(numpy.float64) * 0.61803398875) % 1
    angles = (turns[..., numpy.newaxis] + (0, 1 / 3, 2 / 3)) * (2 * math.pi)
    colours: Array = (140 + 110 * numpy.cos(angles)).astype(numpy.uint8)
    colours[labels == 0] = 0
    return colours
