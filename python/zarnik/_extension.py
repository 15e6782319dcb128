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


def extends(*generated: Any) -> Callable[[Addition], Addition]:
    """Add everything that the decorated class defines to generated classes.

    Results of the flat functions come back as instances of the registered, generated classes: a subclass would never
    be seen. What the additions rely on is declared in them under TYPE_CHECKING.
    """

    def add(addition: Addition) -> Addition:
        for target in generated:
            for name, attribute in vars(addition).items():
                if name not in _BROUGHT_BY_ANY_CLASS:
                    setattr(target, name, attribute)
        return addition

    return add


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
