"""How images were made, so that they travel as a reference and are opened again elsewhere.

Whatever opens something, or makes an image of another one without reading it, tells so by `made_by`. An image then
pickles as the calls that make it again: a path or a URL, and the steps from there. What is opened again is opened once
in a process, however many images of it arrive.
"""

from __future__ import annotations

import os
import re
import stat
import threading
from collections import OrderedDict
from typing import TYPE_CHECKING, Any, Callable, TypeVar, Union
from weakref import WeakValueDictionary

import numpy

import zarnik._classes as _classes
from zarnik import _direct
from zarnik._calls import flat
from zarnik._enumerations import ImageCapability
from zarnik._extension import Kept, extends, kept

if TYPE_CHECKING:
    from typing_extensions import Self

Made = TypeVar("Made")
#: A function, or the name of a method of its first argument; its arguments; of a file or URL, which version was opened.
Recipe = tuple[Union[str, Callable[..., Any]], tuple[Any, ...], dict[str, Any], Any]
#: A recipe without the image that it begins with.
Step = tuple[Union[str, Callable[..., Any]], tuple[Any, ...], dict[str, Any]]

# How many things that were opened again stay open when nobody uses them.
_OPEN_COUNT = 8

_VIEWS = frozenset((_classes.ImageView, _classes.MultiImageView, _classes.LodImageView))
_ADDRESS = r"([A-Za-z][A-Za-z0-9+.-]+)://"
_WRITE = int(ImageCapability.WRITE)


def made_by(made: Made, function: str | Callable[..., Any], *args: Any, **kwargs: Any) -> Made:
    """Remember how an object was made, for pickles of it; return the object.

    :param made: An image, a set of images or an accessor that was made just now.
    :param function: What gives an equal one for the same arguments: a function of a module, or the name of a method of
        the first argument. It must be cheap: it is called wherever the object arrives.
    :param args: Its arguments, which are not changed later. The first one is what was opened, a path or a URL for
        example, or the image that this one is made of.
    :param kwargs: Its named arguments, likewise. A "mode" other than "r" tells that what was opened may change.
    """
    keeps = getattr(made, "_kept", None)
    if keeps is None:
        keeps = made._kept = Kept()  # type: ignore[attr-defined]
    if args and type(args[0]) in _VIEWS:
        if args[0] is not made:
            keeps.recipe = function, args, kwargs, None
        return made
    keeps.recipe = recipe = _of_source(function, args, kwargs, made)
    if not _is_changeable(made):
        _opened.remember(recipe, made)
    return made


def of_version(made: Any, access: Any) -> None:
    """Remember which version of the resource of a server an image is of, which is read through an accessor."""
    version = _direct.http_version(access)
    recipe = recipe_of(made)
    if version is not None and recipe is not None:
        made._kept.recipe = recipe = (*recipe[:3], version)
        _opened.remember(recipe, made)


def recipe_of(made: Any) -> Recipe | None:
    """Return how an object was made, None if that is not known: it is what it holds."""
    keeps = kept(made)
    return None if keeps is None else getattr(keeps, "recipe", None)


def _of_source(function: Any, args: tuple[Any, ...], kwargs: dict[str, Any], made: Any) -> Recipe:
    path = _path_of(args[0]) if args else None
    if path is None:
        mark = _direct.http_version(made) if isinstance(made, _classes.RandomAccess) else None
        return function, args, kwargs, mark
    # A worker has a working folder of its own.
    path = os.path.abspath(path)
    return function, (path, *args[1:]), kwargs, _mark_of(path) if kwargs.get("mode", "r") == "r" else None


def _path_of(what: Any) -> str | None:
    """Return the local path that something is; None for a URL of a server, and for what is no name at all."""
    if not isinstance(what, str):
        return os.fsdecode(what) if isinstance(what, os.PathLike) else None
    scheme = re.match(_ADDRESS, what) if "://" in what else None
    if scheme is None:
        return what
    return _classes.Uri(what).path() if scheme[1].lower() == "file" else None


def _mark_of(path: str) -> tuple[int, int, int]:
    """Return what tells that a file was changed: its size and its time, 0 before; of a folder the sums of its files."""
    try:
        found = os.stat(path)
        if not stat.S_ISDIR(found.st_mode):
            return 0, found.st_size, found.st_mtime_ns
        # Of a folder the files in it, not those further below: there may be a million chunks.
        with os.scandir(path) as entries:
            files = [entry.stat() for entry in entries if entry.is_file()]
    except OSError as error:
        raise _classes.Error(f"cannot open {path!r} again: {error.strerror}") from None
    return len(files), sum(file.st_size for file in files), max((file.st_mtime_ns for file in files), default=0)


class _Opened:
    """What is open in this process, by the recipe; the last few that came from elsewhere stay open for a while."""

    def __init__(self) -> None:
        self.forget()

    def forget(self) -> None:
        self._lock = threading.Lock()
        self._opening: dict[Any, threading.Lock] = {}
        self._known: WeakValueDictionary[Any, Any] = WeakValueDictionary()
        self._latest: OrderedDict[Any, Any] = OrderedDict()

    def remember(self, recipe: Recipe, made: Any) -> None:
        key = _key_of(recipe)
        if key is not None:
            with self._lock:
                self._known.setdefault(key, made)

    def again(self, recipe: Recipe) -> Any:
        function, args, kwargs, _ = recipe
        key = _key_of(recipe)
        if key is None:
            return _call(function, args, kwargs)
        with self._lock:
            opening = self._opening.setdefault(key, threading.Lock())
        try:
            # Whoever else wants it waits for the one that opens it.
            with opening:
                with self._lock:
                    made = self._known.get(key)
                if made is None:
                    made = _call(function, args, kwargs)
                    _check_version(made, recipe)
                    _keep_recipe(made, recipe)
                with self._lock:
                    self._known[key] = self._latest[key] = made
                    self._latest.move_to_end(key)
                    surplus = self._latest.popitem(last=False) if len(self._latest) > _OPEN_COUNT else None
                del surplus  # closed without the lock
                return made
        finally:
            with self._lock:
                self._opening.pop(key, None)


_opened = _Opened()
# A forked process must not share positions in files, or connections, with its parent.
if hasattr(os, "register_at_fork"):
    os.register_at_fork(after_in_child=_opened.forget)


def _key_of(recipe: Recipe) -> Any:
    """Return what equal recipes of a file or a URL have in common; None for one of anything else."""
    function, args, kwargs, mark = recipe
    if not args or not isinstance(args[0], str):
        return None
    if mark is None and os.path.exists(args[0]):
        # What may change is another one when another file has its name.
        found = os.stat(args[0])
        mark = found.st_dev, found.st_ino, found.st_size
    return function, repr((args, sorted(kwargs.items()))), mark


def _keep_recipe(made: Any, recipe: Recipe | None) -> None:
    keeps = kept(made)
    if keeps is None:
        keeps = made._kept = Kept()
    keeps.recipe = recipe


def _call(function: str | Callable[..., Any], args: tuple[Any, ...], kwargs: dict[str, Any]) -> Any:
    if isinstance(function, str):
        return getattr(args[0], function)(*args[1:], **kwargs)
    return function(*args, **kwargs)


# ---- pickles ---------------------------------------------------------------------------------------------------------


def reduced(made: Any, protocol: Any) -> tuple[Any, ...] | None:
    """Return the calls that make an object again, as `__reduce_ex__` does; None if it goes by its elements."""
    root, chain = unwound(made)
    recipe = _travelling(root, protocol)
    if recipe is None and not chain:
        return None
    if type(made) is _classes.ImageView and bytes_held(made, protocol) > made.nbytes:
        return None
    description = None
    steps: list[Step] = [step for _, step in chain]
    if _is_changeable(root):
        replayed = _replayed(root, recipe, chain)
        if replayed is None:
            return None
        description, steps = replayed
    if steps:
        return _made_again, (root, *steps)
    more = () if description is None else (description,)
    return _opened_again, (*recipe, *more)  # type: ignore[misc]


def bytes_held(made: Any, protocol: Any = 5) -> int:
    """Return how many bytes of elements a pickle of an object has: none where it is a mere reference."""
    total, seen, pending = 0, set(), [made]
    while pending:
        one = pending.pop()
        if isinstance(one, (tuple, list)):
            pending += one
            continue
        if id(one) in seen:
            continue
        seen.add(id(one))
        if isinstance(one, (numpy.ndarray, bytes, bytearray)):
            total += len(one) if isinstance(one, (bytes, bytearray)) else one.nbytes
        elif type(one) in _VIEWS or isinstance(one, _classes.RandomAccess):
            root, _ = unwound(one)
            recipe = _travelling(root, protocol)
            if recipe is not None:
                pending += recipe[1] + tuple(recipe[2].values())
            elif type(root) is _classes.ImageView:
                total += root.nbytes
            elif type(root) is not _classes.RandomAccess:
                pending += root
    return total


def unwound(made: Any) -> tuple[Any, list[tuple[Any, Step]]]:
    """Return the object that a chain began with, and the links from there, each with the step that made it."""
    chain: list[tuple[Any, Step]] = []
    recipe = recipe_of(made)
    while recipe is not None and recipe[1] and type(recipe[1][0]) in _VIEWS:
        function, args, kwargs, _ = recipe
        chain.append((made, (function, args[1:], kwargs)))
        made = args[0]
        recipe = recipe_of(made)
    return made, chain[::-1]


def _travelling(root: Any, protocol: Any) -> Recipe | None:
    recipe = recipe_of(root)
    return recipe if recipe is not None and _can_travel((recipe[1], recipe[2]), protocol) else None


_PLAIN = frozenset((str, int, float, bool, bytes, slice, type(None), numpy.dtype, type(Ellipsis)))


def _can_travel(value: Any, protocol: Any) -> bool:
    if type(value) in _PLAIN or type(value) in _VIEWS or isinstance(value, numpy.ndarray):
        return True
    if isinstance(value, (tuple, list)):
        return all(_can_travel(entry, protocol) for entry in value)
    if isinstance(value, dict):
        return all(_can_travel(entry, protocol) for entry in value.values())
    if isinstance(value, _classes.RandomAccess):
        return _travelling(value, protocol) is not None
    try:
        value.__reduce_ex__(protocol)
    except Exception:  # whatever an object of somebody else says by it
        return False
    return True


def _is_changeable(made: Any) -> bool:
    """Tell whether properties and metadata of an image may have been changed since it was made."""
    if type(made) is not _classes.ImageView:
        return False
    if flat.ImageCapabilitySet_value(flat.ImageView_get_capabilities(made)) & _WRITE:
        return True
    keeps = kept(made)
    return keeps is not None and keeps.may_describe


#: properties as plain values, and metadata
Description = tuple[tuple[Any, ...], Any]


def _replayed(
    root: Any, recipe: Recipe | None, chain: list[tuple[Any, Step]]
) -> tuple[Description | None, list[Step]] | None:
    """Take all steps anew, adding those that describe what was changed by hand; None if it comes to something else."""
    description, steps = None, []
    again = root
    try:
        if recipe is not None:
            again = _opened.again(recipe)
            description = _difference(root, again)
            if description is not None:
                again = _described(again, *description)
        for link, (function, args, kwargs) in chain:
            again = _call(function, (again, *args), kwargs)
            steps.append((function, args, kwargs))
            if type(link) is _classes.ImageView:
                changed = _difference(link, again)
                if changed is not None:
                    again = _described(again, *changed)
                    steps.append((_described, changed, {}))
    except (_classes.Error, ValueError, TypeError, IndexError):
        return None
    last = chain[-1][0] if chain else root
    same = type(last) is not _classes.ImageView or (last.shape == again.shape and last.dtype == again.dtype)
    return (description, steps) if same else None


def _difference(view: Any, again: Any) -> Description | None:
    metadata, its = (flat.ImageView___get_metadata(image) for image in (view, again))
    is_same = (metadata is None) == (its is None) and (metadata is None or _trees_equal(metadata, its))
    if is_same and view.properties == again.properties:
        return None
    return plain(view.properties), own_metadata(view)


def own_metadata(image: Any) -> Any:
    """Return a copy of an image's metadata, which may be changed; None if there are none."""
    metadata = flat.ImageView___get_metadata(image)
    return None if metadata is None else flat.MetadataNode_clone(metadata)


def _trees_equal(one: Any, other: Any) -> bool:
    return bool(_classes.ReadonlyMetadataNode(one) == _classes.ReadonlyMetadataNode(other))


def plain(properties: Any) -> tuple[Any, ...]:
    calibration, info = properties.get_calibration(), properties.get_image_info()
    directions = calibration.get_directions()
    vectors = calibration.get_origin(), calibration.get_spacing()
    turned = directions.get_column_direction(), directions.get_row_direction()
    of_values = info.get_alpha(), info.get_bit_depth(), tuple(info.get_value_range())
    axes = info.get_axes_interpretation().value()
    return (*map(tuple, vectors + turned), calibration.get_unit(), axes, info._get_interpretation(), *of_values)


def _properties_of(plain: tuple[Any, ...]) -> Any:
    origin, spacing, column, row, unit, axes, interpretation, alpha, bit_depth, value_range = plain
    directions = _classes.SpatialDirections(column=column, row=row)
    info = _classes.ImageInfoProperty(
        axes=_classes.ImageType(axes),
        interpretation=interpretation,
        alpha=alpha,
        bit_depth=bit_depth,
        value_range=value_range,
    )
    calibration = _classes.SpatialCalibrationProperty(origin=origin, spacing=spacing, directions=directions, unit=unit)
    return _classes.ImageProperties(calibration=calibration, image_info=info)


def _described(view: Any, plain: tuple[Any, ...], metadata: Any) -> Any:
    """Return the image with properties and metadata of its own."""
    from zarnik._interop import read_only

    keeps = kept(view)
    source = view if keeps is None or keeps.source is None else keeps.source
    made = flat.ImageViewFactory_from_image_view(source, _properties_of(plain), metadata)
    if source is not view:
        made = read_only(made, keeps.may_describe)
    made_by(made, _described, view, plain, metadata)
    if keeps is not None and keeps.levels:
        made._kept.levels = keeps.levels
    return made


def _opened_again(
    function: Any, args: tuple[Any, ...], kwargs: dict[str, Any], mark: Any, description: Description | None = None
) -> Any:
    if isinstance(mark, tuple):
        _check_unchanged(args[0], mark)
    recipe = function, args, kwargs, mark
    made = _opened.again(recipe)
    if description is None:
        if not _is_changeable(made):
            return made
        description = plain(made.properties), flat.ImageView___get_metadata(made)
    # What is changed of one that arrived is not changed of the others.
    made = _described(made, *description)
    _keep_recipe(made, recipe)
    return made


def _made_again(root: Any, *steps: Step) -> Any:
    made = root
    for function, args, kwargs in steps:
        made = _call(function, (made, *args), kwargs)
    return made


def _check_version(made: Any, recipe: Recipe) -> None:
    found = recipe_of(made)
    if isinstance(recipe[3], str) and found is not None and found[3] != recipe[3]:
        raise _classes.Error(f"{recipe[1][0]!r} has changed since it was opened: it was {recipe[3]}, it is {found[3]}")


def _check_unchanged(path: str, mark: Any) -> None:
    found = _mark_of(path)
    if found != tuple(mark):
        raise _classes.Error(
            f"{path!r} has changed since it was opened: it had {mark[1]} bytes and the time {mark[2]} ns, it has "
            f"{found[1]} bytes and the time {found[2]} ns"
        )


@extends("ImageView")
class _TravellingImage:
    def __copy__(self) -> Self:
        return _copied(self)

    def __deepcopy__(self, memo: dict[int, Any]) -> Self:
        return _copied(self)


def _copied(view: Any) -> Any:
    """An image that nobody can change is a copy of itself; others are copied with their elements."""
    from zarnik._store import by_value

    if recipe_of(view) is None or bytes_held(view):
        function, arguments = by_value(view, 4)
        return function(*arguments)
    root, _ = unwound(view)
    if not _is_changeable(root):
        return view
    if flat.ImageCapabilitySet_value(flat.ImageView_get_capabilities(view)) & _WRITE:
        function, arguments = by_value(view, 4)
        return function(*arguments)
    return _described(view, plain(view.properties), flat.ImageView___get_metadata(view))


@extends(_classes.RandomAccess)
class _TravellingAccess:
    def __reduce_ex__(self, protocol: Any) -> tuple[Any, ...]:
        found = reduced(self, protocol)
        if found is None:
            what = flat.RandomAccess_to_string(self)
            raise TypeError(f"{what} cannot be pickled: only accessors of paths and URLs can be opened elsewhere")
        return found


@extends(_classes.MultiImageView)
class _TravellingSet:
    def __reduce_ex__(self, protocol: Any) -> tuple[Any, ...]:
        found = reduced(self, protocol)
        if found is not None:
            return found
        node = flat.MultiImageView___get_metadata(self)
        images = [flat.MultiImageView_frame(self, place) for place in range(flat.MultiImageView_get_frame_count(self))]
        return _set_of, (images, None if node is None else flat.MetadataNode_clone(node))


def _set_of(images: list[Any], metadata: Any) -> Any:
    made = flat.MultiImageViewFactory_create_from_list(images)
    if metadata is not None:
        flat.MultiImageView_set_metadata(made, metadata)
    return made


@extends(_classes.LodImageView)
class _TravellingLevels:
    def __reduce_ex__(self, protocol: Any) -> tuple[Any, ...]:
        from zarnik._multi import lod_image

        found = reduced(self, protocol)
        return (lod_image, (tuple(self), self.levels[0])) if found is None else found  # type: ignore[arg-type,attr-defined]
