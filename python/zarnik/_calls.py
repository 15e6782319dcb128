"""What the generated classes do around the calls of flat functions; it must not import them.

Data types are taken as the package has them, and errors come in the words of a Python user: which argument was wrong,
and what it should have been.
"""

from __future__ import annotations

import re
import reprlib
import sys
from typing import Any

import _zarnik

#: What flat functions raise for arguments that do not fit.
REFUSALS = (TypeError, ValueError, OverflowError, SystemError, AttributeError)

# Compiled when a first error is told: each costs an import a fifth of a millisecond.
_ARGUMENT = r"(?s)in method '(\w+)', argument (\d+) of type '(.*)'"
_OVERLOADED = r"Wrong number or type of arguments for overloaded function '(\w+)'"
_COUNT = r"^(?:_zarnik\.)?(\w+)(?: expected (at least |at most )?\d+ arguments?, got |\(\) takes no arguments )\(?\d+"
_ITEMS = {
    "input must be a sequence": "a sequence of numbers",
    "input sequence has invalid length": "as many numbers as there are components",
    "invalid item in sequence - expected long value": "a sequence of integers",
    "invalid item in sequence - expected double value": "a sequence of numbers",
}
_ELEMENTS = {"float": "f", "double": "d"}


def as_data_type(value: Any) -> Any:
    """Return a DataType for what is none but stands for one: an id of any width, a dtype, the name of one."""
    if hasattr(value, "this") or (type(value) is int and 0 <= value < 2**31):
        return value
    types = sys.modules.get("zarnik._types")
    return value if types is None or value is None else types.as_data_type(value)


def as_vector(value: Any) -> Any:
    """Return a VectorXu64 for a sequence with an integer of more than the 32 bits that flat functions read of each."""
    if type(value) not in (list, tuple):
        return value
    try:
        if not value or (min(value) >= -(2**31) and max(value) < 2**31):
            return value
    except TypeError:
        return value
    return sys.modules["zarnik._classes"].VectorXu64(value)


def explained(error: Exception, function: str, arguments: tuple[Any, ...]) -> Exception:
    """Return the error to raise for one that a flat function raised.

    :param function: The name of the flat function, such as "Vector3d_at".
    :param arguments: What it was called with, self first.
    """
    text = str(error)
    # A SystemError comes from a conversion that failed without the function's notice.
    if re.search(_OVERLOADED, text) or isinstance(error, SystemError):
        return _refusal(function, arguments)
    if text in _ITEMS:
        return type(error)(f"{_spoken(function)}() needs {_ITEMS[text]}, got {_listed(function, arguments)}")
    found = re.search(_ARGUMENT, text)
    if not found:
        counted = re.match(_COUNT, text)
        if counted and counted.group(1) == function:
            return _refusal(function, arguments)
        return error
    place, wanted = int(found.group(2)), _in_python(found.group(3))
    given = arguments[place - 1] if 0 < place <= len(arguments) else None
    owner = getattr(sys.modules.get("zarnik._classes"), function.partition("_")[0], None)
    if place == 1 and isinstance(owner, type) and isinstance(given, owner):
        state = "deleted or closed" if _is_bound(given) else "not constructed"
        return ValueError(f"{_spoken(function)}() was called with an object that was {state}")
    kind = type(error) if isinstance(error, OverflowError) else TypeError
    return kind(f"{_spoken(function)}() needs {wanted}, got {reprlib.repr(given)}")


def _is_bound(wrapped: Any) -> bool:
    return getattr(wrapped, "this", None) is not None


def _spoken(function: str) -> str:
    """Return the name that a user called: Vector3d.at for Vector3d_at, Vector3d for new_Vector3d."""
    if function.startswith("new_"):
        return function[4:]
    owner, _, method = function.partition("_")
    return f"{owner}.{method}"


def _refusal(function: str, arguments: tuple[Any, ...]) -> TypeError:
    listed = _listed(function, arguments)
    if listed == "no arguments":
        return TypeError(f"{_spoken(function)}() needs arguments")
    return TypeError(f"{_spoken(function)}() does not take {listed}")


def _listed(function: str, arguments: tuple[Any, ...]) -> str:
    classes = sys.modules.get("zarnik._classes")
    owner = getattr(classes, function.partition("_")[0], None)
    has_self = isinstance(owner, type) and bool(arguments) and isinstance(arguments[0], owner)
    shown = arguments[1:] if has_self and not function.startswith("new_") else arguments
    return f"({', '.join(reprlib.repr(argument) for argument in shown)})" if shown else "no arguments"


def _in_python(declared: str) -> str:
    """Return how a Python user calls a type: 'a Vector3d' for 'zarnik::Vector< double,3 > const &'."""
    bare = re.sub(r"\bconst\b|[&*]", "", declared).strip()
    shared = re.fullmatch(r"std::shared_ptr<\s*(.*?)\s*>", bare)
    if shared:
        bare = shared.group(1).strip()
    bare = bare.replace("zarnik::", "").strip()
    if bare in ("std::string", "char", "string"):
        return "a str"
    if bare == "bool":
        return "a bool"
    if re.fullmatch(r"double|float|\w+<\s*(double|float)\b.*::ValueType", bare):
        return "a number"
    family = re.fullmatch(r"(Vector|Matrix|Region)<?\s*(\w+?)(_t)?\s*,\s*(\d)\s*>", bare)
    if family:
        return f"a {family.group(1)}{family.group(4)}{_suffix(family.group(2))}"
    family = re.fullmatch(r"(VectorX|ArrayX|RegionX\w?)<\s*(\w+?)(_t)?\s*>", bare)
    if family:
        return f"{'an' if bare[0] == 'A' else 'a'} {family.group(1).removesuffix('T')}{_suffix(family.group(2))}"
    if "buffer" in bare or "src" in bare or "dst" in bare:
        return "a contiguous buffer"
    if re.fullmatch(r"u?int\d+_t|size_t|(unsigned )?(int|long|short|char)( long)?|.*::ValueType", bare):
        return "an integer in the range of the type"
    name = re.fullmatch(r"\w+", bare)
    if name:
        return f"{'an' if bare[0] in 'AEIOU' else 'a'} {bare}"
    return "something else"


def _suffix(element: str) -> str:
    return _ELEMENTS.get(element) or element.replace("uint", "u").replace("int", "i")


class _Flat:
    """The flat functions as the package calls them where it replaces a generated method."""

    def __getattr__(self, name: str) -> Any:
        function = getattr(_zarnik, name)
        if not callable(function):
            return function

        def call(*arguments: Any) -> Any:
            try:
                return function(*arguments)
            except REFUSALS as error:
                raise explained(error, name, arguments) from None

        setattr(self, name, call)
        return call


flat: Any = _Flat()
