"""How the generated classes get their Python manners."""

from __future__ import annotations

from collections.abc import Iterable
from typing import Any, Callable, TypeVar

import zarnik._classes as _classes

Addition = TypeVar("Addition", bound=type)


class _Empty:
    pass


# What every class statement brings by itself; the generated class keeps its own.
_BROUGHT_BY_ANY_CLASS = frozenset(vars(_Empty)) | {"__annotations__", "__annotate_func__", "__annotations_cache__"}

_CLASSES: dict[str, Any] = {name: entry for name, entry in vars(_classes).items() if isinstance(entry, type)}

# Which addition gave a class its attribute of a name.
_given: dict[tuple[type, str], type] = {}


def extends(*names: Any) -> Callable[[Addition], Addition]:
    """Add everything that the decorated class has, by itself or from its bases, to generated classes.

    Results of the flat functions come back as instances of the registered, generated classes: a subclass would never
    be seen. What the additions rely on is declared in them under TYPE_CHECKING. The stubs are made from these
    decorators: this is the only place that tells which class has which additions.

    :param names: Generated classes, their names, or how all names of a family begin or end, such as "Vector*".
    """
    targets = [found for name in names for found in _classes_named(name)]

    def add(addition: Addition) -> Addition:
        for target in targets:
            for base in reversed(addition.__mro__[:-1]):
                for name, attribute in vars(base).items():
                    if name not in _BROUGHT_BY_ANY_CLASS:
                        _set(target, name, attribute, addition)
        return addition

    return add


def _classes_named(pattern: Any) -> list[Any]:
    if isinstance(pattern, type):
        return [pattern]
    if pattern in _CLASSES:
        return [_CLASSES[pattern]]
    found = [entry for name, entry in _CLASSES.items() if _is_of_family(name, pattern)]
    if not found:
        raise TypeError(f"there is no generated class {pattern!r} to extend")
    return found


def _is_of_family(name: str, pattern: str) -> bool:
    before, star, after = pattern.partition("*")
    return bool(star) and name.startswith(before) and name.endswith(after)


def _set(target: Any, name: str, attribute: Any, addition: type) -> None:
    before = _given.setdefault((target, name), addition)
    if before is not addition:
        raise TypeError(f"{before.__qualname__} and {addition.__qualname__} both give {target.__name__} its {name!r}")
    setattr(target, name, attribute)


def kept(wrapped: Any) -> Any:
    """Return what the package keeps with an object, in the slot that every generated class has for it; or None."""
    return getattr(wrapped, "_kept", None)


class Kept:
    """What the package keeps with an image, a set of images or an accessor."""

    # Attributes of the class, so that what has few of them, as each image of a chain has, is made in no time.

    #: whose memory a read-only image shows
    source: Any = None
    #: whether its properties and metadata may be changed all the same
    may_describe = False
    #: arrays that hold what others look at by an address, and hold the image for
    memory: dict[int, Any] | None = None
    #: what shows Python's collector the array that the image holds
    witness: Any = None
    #: of a set of images or levels, those that it was made of
    frames: list[Any] | None = None
    #: coarser levels of the image, or functions that open them
    levels: Any = ()
    #: how it was made, see zarnik._recipes
    recipe: tuple[Any, ...] | None = None


def publish(names: Iterable[Any]) -> None:
    """Let the generated classes be known, to pickle and to readers, by the package's name, and describe themselves."""
    for name in names:
        if not isinstance(name, type) or name.__module__ != _classes.__name__:
            continue
        generated: Any = name
        generated.__module__ = "zarnik"
        attributes = vars(generated)
        for operator in ("__eq__", "__ne__"):
            if getattr(attributes.get(operator), "__module__", None) == _classes.__name__:
                setattr(generated, operator, _unless_none(attributes[operator]))
        if "to_string" in attributes:
            if "__str__" not in attributes:
                generated.__str__ = attributes["to_string"]
            if attributes.get("__repr__") is _classes._swig_repr:
                generated.__repr__ = _described


def _unless_none(compare: Callable[[Any, Any], Any]) -> Callable[[Any, Any], Any]:
    # The flat functions raise for None, since it stands for a null reference.
    def compare_objects(self: Any, other: Any) -> Any:
        return NotImplemented if other is None else compare(self, other)

    compare_objects.__name__ = compare.__name__
    compare_objects.__doc__ = compare.__doc__
    return compare_objects


def _described(self: Any) -> str:
    return f"<zarnik.{type(self).__name__} {self.to_string()}>"
