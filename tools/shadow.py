"""Finishes the generated classes: what the generator has no means for.

usage: shadow.py <generated module, changed in place>

- Slots: attributes that do not exist are refused. The generator offers methods instead, which every object pays for
  when it is made. `_kept` is for what the package keeps with an object, whatever its class; exceptions keep their
  dictionary.
- The kinds of errors are Python's kinds too.
- Data types may be given in each way that the package knows, integers of all 64 bits in a list.
- What flat functions say of wrong arguments is put into the words of a Python user.
"""

from __future__ import annotations

import re
import sys
from collections.abc import Iterator
from pathlib import Path

IMPORTS = """\
from zarnik._calls import REFUSALS as _REFUSALS
from zarnik._calls import as_data_type as _as_data_type
from zarnik._calls import as_vector as _as_vector
from zarnik._calls import explained as _explained"""
ROOT_SLOTS = '("this", "_kept", "__weakref__")'
PYTHON_KINDS = {"InvalidArgument": "ValueError", "NotImplemented": "NotImplementedError"}
CALL = re.compile(r"(?P<indent> +)(?P<use>return )?_zarnik\.(?P<function>\w+)\((?P<arguments>.*)\)$")
CONSTRUCTION = re.compile(
    r"(?P<indent> +)_zarnik\.\w+_swiginit\(self, _zarnik\.(?P<function>new_\w+)\((?P<arguments>.*)\)\)$"
)


def finished(text: str) -> Iterator[str]:
    """Return the lines of the finished module."""
    slots: str | None = None
    is_method = is_imported = False
    data_types: set[str] = set()
    vectors: set[str] = set()
    for line in text.split("\n"):
        heading = re.match(r"class (\w+)\((\w+)\):", line)
        if heading:
            name, base = heading.groups()
            slots = None if base in ("Exception", "type", "Error") else ROOT_SLOTS if base == "object" else "()"
            if name in PYTHON_KINDS:
                line = f"class {name}({base}, {PYTHON_KINDS[name]}):"
        if slots and line.startswith("    thisown = property("):
            yield f"    __slots__ = {slots}"
        if line.startswith("    def "):
            data_types, vectors = set(), set()
        documented = re.match(r" +:type (\w+): :py:class:`(DataType|VectorXu64)`$", line)
        if documented:
            (data_types if documented.group(2) == "DataType" else vectors).add(documented.group(1))
        is_method = line.startswith("    def ") or (is_method and not re.match(r"    \w|\w", line))
        call = is_method and (CONSTRUCTION.match(line) or CALL.match(line))
        if call:
            indent, arguments = call["indent"], call["arguments"]
            for name in data_types & set(arguments.split(", ")):
                yield f"{indent}{name} = _as_data_type({name})"
            for name in vectors & set(arguments.split(", ")):
                yield f"{indent}{name} = _as_vector({name})"
            if vectors and "*args" in arguments:
                yield f"{indent}args = tuple(map(_as_vector, args))"
            yield f"{indent}try:"
            yield f"    {line}"
            yield f"{indent}except _REFUSALS as _refused:"
            given = f"({arguments},)" if arguments else "()"
            yield f'{indent}    raise _explained(_refused, "{call["function"]}", {given}) from None'
        elif line.startswith('        raise AttributeError("No constructor'):
            yield f'        raise AttributeError("{name} is not made by calling its class")'
        else:
            yield line
        if line == "import _zarnik" and not is_imported:
            is_imported = True
            yield IMPORTS


if __name__ == "__main__":
    generated = Path(sys.argv[1])
    generated.write_text("\n".join(finished(generated.read_text())))
