"""Sets of images as sequences, and images at several levels of detail."""

from __future__ import annotations

import operator
import os
from collections.abc import Iterable, Iterator, Mapping
from typing import TYPE_CHECKING, Any

import zarnik._classes as _classes
from zarnik import _direct
from zarnik._calls import flat
from zarnik._extension import Kept, extends, kept
from zarnik._progress import Progress, listener
from zarnik._recipes import made_by, recipe_of

if TYPE_CHECKING:
    from zarnik._classes import ImageView, LodImageView, MetadataNode, MultiImageView, ReadonlyMetadataNode


def multi_image(images: Iterable[ImageView] = ()) -> MultiImageView:
    """Make a set of images, which are shared, not copied."""
    frames = list(images)
    made = flat.MultiImageViewFactory_create_from_list(frames)
    return _made_of(made, frames)


@extends(_classes.MultiImageView)
class _MultiImageView:
    """A set of images is a sequence of its frames."""

    def __len__(self) -> int:
        return flat.MultiImageView_get_frame_count(self)

    def __getitem__(self, index: Any) -> Any:
        """Return a frame, or a set of those in a slice."""
        if isinstance(index, slice):
            return multi_image(_frame(self, i) for i in range(*index.indices(len(self))))
        return _frame(self, _place(self, index))

    def __setitem__(self, index: int, image: ImageView) -> None:
        place = _place(self, index)
        flat.MultiImageView_set_frame(self, place, image)
        _frames_of(self)[place : place + 1] = [image]

    def __delitem__(self, index: Any) -> None:
        places = range(*index.indices(len(self))) if isinstance(index, slice) else (_place(self, index),)
        for place in sorted(places, reverse=True):
            flat.MultiImageView_remove_frame(self, place)
            del _frames_of(self)[place : place + 1]

    def __iter__(self) -> Iterator[ImageView]:
        index = 0
        while index < len(self):
            yield _frame(self, index)
            index += 1

    def __reversed__(self) -> Iterator[ImageView]:
        return (_frame(self, index) for index in reversed(range(len(self))))

    def append(self, image: ImageView) -> None:
        """Add a frame at the end."""
        flat.MultiImageView_add_frame(self, image)
        _frames_of(self).append(image)

    def extend(self, images: Iterable[ImageView]) -> None:
        """Add frames at the end."""
        for image in list(images):
            _MultiImageView.append(self, image)

    @property
    def metadata(self) -> ReadonlyMetadataNode | None:
        """The root of the set's metadata, or None. Assign a node, or a dict of them, to change it."""
        node = flat.MultiImageView___get_metadata(self)
        return None if node is None else _classes.ReadonlyMetadataNode(node)

    @metadata.setter
    def metadata(self, metadata: MetadataNode | ReadonlyMetadataNode | Mapping[str, Any] | None) -> None:
        _MultiImageView.set_metadata(self, metadata)

    def set_metadata(self, metadata: Any) -> None:
        """Attach a copy of a tree of metadata to the set: a node, a dict of them, or None."""
        if isinstance(metadata, Mapping):
            metadata = _classes.MetadataNode.from_dict(metadata)
        elif isinstance(metadata, _classes.ReadonlyMetadataNode):
            metadata = metadata.clone()
        flat.MultiImageView_set_metadata(self, metadata)

    def __repr__(self) -> str:
        count = len(self)
        first = f", the first {flat.MultiImageView_frame(self, 0)!r}" if count else ""
        return f"<zarnik.MultiImageView of {count} {'image' if count == 1 else 'images'}{first}>"


@extends(_classes.LodImageView)
class _LodImageView:
    """`lod[0]` is the image in full resolution, `lod[1]` half of it; negative levels are finer."""

    @property
    def levels(self) -> range:
        """The levels that there are, from the finest to the coarsest."""
        finest, coarsest = flat.LodImageView_get_level_range(self)
        return range(finest, coarsest + 1)

    def __getitem__(self, level: int) -> ImageView:
        number = operator.index(level)
        if number not in _LodImageView.levels.fget(self):  # type: ignore[attr-defined]
            levels = _LodImageView.levels.fget(self)  # type: ignore[attr-defined]
            raise IndexError(f"level {number} is not among the levels {levels[0]} to {levels[-1]}")
        return _level(self, number)

    def __len__(self) -> int:
        return len(_LodImageView.levels.fget(self))  # type: ignore[attr-defined]

    def __iter__(self) -> Iterator[ImageView]:
        """Go over the images, from the finest to the coarsest."""
        return (_level(self, level) for level in _LodImageView.levels.fget(self))  # type: ignore[attr-defined]

    def compute(self, *, progress: Progress = None) -> None:
        """Compute what nobody has read yet of the levels that `coarser_levels` makes; other levels stay as they are.

        :param progress: True for a bar of tqdm; or a function of the bytes done and their total. What it raises ends
            the work, and so does Ctrl-C; parts that are computed stay.
        """
        with listener(progress, "computing levels") as told:
            _direct.compute_levels(self, told)

    def at_most(self, pixels: int) -> ImageView:
        """Return the finest level of which no side along X, Y or Z is longer than so many elements, or the coarsest."""
        for chosen in self:
            sides = [size for letter, size in zip(chosen.axes or "", chosen.shape) if letter in "XYZ"]
            if max(sides or chosen.shape) <= pixels:
                return chosen
        return chosen


def lod_image(images: Iterable[ImageView], finest_level: int = 0) -> LodImageView:
    """Make an image of levels that exist already, the finest first."""
    levels = list(images)
    made = _direct.lod_image(tuple(levels), operator.index(finest_level))
    return _made_of(made, levels)


def coarser_levels(
    image: ImageView, method: str | None = None, coarsest: int = 64, folder: str | os.PathLike[str] | None = None
) -> LodImageView:
    """Make the coarser levels of an image: each has half the size of the one before along X, Y and Z.

    Nothing is read now. A part of a level is computed when it is first read, and kept in a temporary file that goes
    with the level. Later changes of the image are not seen in it.

    :param image: Level 0.
    :param method: "mean" of the elements that one covers, or the "nearest" of them; by default nearest for labels and
        binary images, else mean.
    :param coarsest: Levels are made until no side is longer than this.
    :param folder: Where to put the temporary files; by default their usual folder.
    """
    methods = {None: 0, "mean": 1, "nearest": 2}
    if method not in methods:
        raise ValueError(f"method {method!r} is neither 'mean' nor 'nearest'")
    where = "" if folder is None else os.fspath(folder)
    coarsest = operator.index(coarsest)
    made = _direct.coarser_levels(image, methods[method], coarsest, where)
    return made_by(made, coarser_levels, image, method, coarsest)


def _place(images: Any, index: Any) -> int:
    count = len(images)
    place = operator.index(index)
    if not -count <= place < count:
        raise IndexError(f"index {place} is outside of a set of {count} images")
    return place % count


def _made_of(images: Any, frames: list[Any]) -> Any:
    keeps = images._kept = Kept()
    keeps.frames = frames
    return images


def _frames_of(images: Any) -> list[ImageView]:
    """What a set was made of, as far as it was made and changed here; else a list that nobody sees."""
    keeps = kept(images)
    return [] if keeps is None or keeps.frames is None else keeps.frames


def _frame(images: Any, place: int) -> ImageView:
    return _known(images, place, place, flat.MultiImageView_frame(images, place))


def _level(images: Any, number: int) -> ImageView:
    finest, _ = flat.LodImageView_get_level_range(images)
    return _known(images, number, number - finest, flat.LodImageView_resolution(images, number))


def _known(images: Any, number: int, place: int, image: Any) -> ImageView:
    """Return an image of a set with what is known of it, see zarnik._recipes."""
    if recipe_of(images) is not None:
        return made_by(image, "__getitem__", images, number)
    for given in _frames_of(images)[place : place + 1]:
        if _direct.is_same_view(given, image):
            image._kept = kept(given)
    return image
