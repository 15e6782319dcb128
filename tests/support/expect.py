"""Assertions on errors whose class and text are part of the interface."""

from __future__ import annotations

import subprocess
import sys
from collections.abc import Callable

import pytest

import _zarnik
from zarnik import _classes


def fails(kind: type[BaseException], text: str, function: Callable[..., object], *arguments: object) -> None:
    """A call raises exactly this class with exactly this text."""
    with pytest.raises(kind) as caught:
        function(*arguments)
    assert type(caught.value) is kind
    assert str(caught.value) == text


def bad_argument(kind: type[BaseException], function: Callable[..., object], position: int, type_name: str, *arguments):
    """A call is refused for one of its arguments."""
    text = f"in method '{function.__name__}', argument {position} of type '{type_name}'"
    fails(kind, text, function, *arguments)


def null_reference(function: Callable[..., object], position: int, type_name: str, *arguments: object) -> None:
    """A call is refused for one of its arguments being null."""
    text = f"invalid null reference in method '{function.__name__}', argument {position} of type '{type_name}'"
    fails(ValueError, text, function, *arguments)


def fails_late(kind: type[BaseException], text: str, function: Callable[..., object], *arguments: object) -> None:
    """A call is made to its end and fails then, for an error with this text that an argument left behind."""
    with pytest.raises(SystemError, match="returned a result with an exception set") as caught:
        function(*arguments)
    assert type(caught.value.__cause__) is kind
    assert text in str(caught.value.__cause__)


def refused(text: str, function: Callable[..., object], *arguments: object) -> None:
    """The library refuses a call, with a text that matches."""
    raises(_classes.Error, text, function, *arguments)


def raises(
    kind: type[BaseException] | tuple[type[BaseException], ...],
    text: str,
    function: Callable[..., object],
    /,
    *arguments: object,
    **options: object,
) -> None:
    """A call raises an error of this class, or of one of these, with a text that matches."""
    with pytest.raises(kind, match=text or None):
        function(*arguments, **options)


def told(name: str, *arguments: object) -> str:
    """What a flat function returns, or the class and the text of its error."""
    try:
        return repr(getattr(_zarnik, name)(*arguments))
    except Exception as error:
        return f"{type(error).__name__}: {error}"


def run_python(program: str, *arguments: str) -> subprocess.CompletedProcess[str]:
    """Runs a program in a new interpreter that finds the same modules as this one."""
    start = f"import sys; sys.path[:] = {sys.path!r}; sys.argv[1:] = {arguments!r}\n"
    return subprocess.run(
        [sys.executable, "-c", start + program], capture_output=True, text=True, check=False, timeout=600
    )


def prints(text: str, program: str) -> None:
    """A program prints this in a new interpreter, nothing to standard error, and ends well."""
    run = run_python(program)
    assert (run.returncode, run.stdout, run.stderr) == (0, text, "")
