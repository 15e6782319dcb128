"""Writes _classes.pyi and _zarnik.pyi, from which editors and type checkers know the generated classes.

usage: stubs.py <generated _classes.py> <folder of the package's sources> <folder for the stubs>

Signatures come from the generated module, types from its docstrings, and what the package adds to a class from the
sources of the package: a class with the decorator `extends` becomes a base class of the classes that it names.
"""

from __future__ import annotations

import ast
import re
import sys
from collections.abc import Iterable, Iterator
from fnmatch import fnmatchcase
from pathlib import Path

SIMPLE_TYPES = {
    "int": "int",
    "float": "float",
    "string": "str",
    "boolean": "bool",
    "int, float or str": "int | float | str",
    "list of int": "Sequence[int]",
    "list of str": "list[str]",
    "bytes-like object": "ReadableBuffer",
    "writable buffer": "WriteableBuffer",
    "opaque pointer": "SupportsInt",
    "numpy.ndarray": "numpy.ndarray[Any, Any]",
}

#: operators that the package gives a parameter where the generated ones, which have overloads, take any number
BINARY = {"__eq__", "__mul__", "__truediv__", "__imul__", "__itruediv__"}


class Types:
    """Turns the types of docstrings into annotations."""

    def __init__(self, classes: Iterable[str]) -> None:
        self._classes = frozenset(classes)

    def annotation(self, described: str | None, is_parameter: bool) -> str:
        if described is None:
            return "Any"
        described = described.split(", optional")[0].strip()
        if described in SIMPLE_TYPES:
            return SIMPLE_TYPES[described]
        named = re.fullmatch(r":py:class:`(\w+)`( or int)?", described)
        if not named or named.group(1) not in self._classes:
            return "Any"
        name = named.group(1)
        if named.group(2) or (is_parameter and name == "DataType"):
            return f"{name} | int"
        return f"{name} | Sequence[Any]" if is_parameter and name.startswith("Vector") else name

    def result(self, docstring: str | None) -> str:
        """Return the annotation of what a function returns; one that returns something says so for each overload."""
        if docstring is None:
            return "Any"
        found = set(re.findall(r"^:rtype: (.+)$", docstring, re.MULTILINE))
        return self.annotation(found.pop(), False) if len(found) == 1 else "Any" if found else "None"


def result_of(function: ast.FunctionDef, class_name: str, types: Types) -> str:
    if function.name == "__init__":
        return "None"
    # The generator writes no docstring for the division of vectors and matrices.
    if function.name in ("__truediv__", "__itruediv__"):
        return class_name
    return types.result(ast.get_docstring(function))


def method_lines(function: ast.FunctionDef, class_name: str, types: Types) -> Iterator[str]:
    # The docstring of overloads has the types of all of them.
    docstring = "" if function.args.vararg else ast.get_docstring(function) or ""
    described = dict(re.findall(r"^:type (\w+): (.+)$", docstring, re.MULTILINE))
    is_static = any(isinstance(mark, ast.Name) and mark.id == "staticmethod" for mark in function.decorator_list)
    names = [argument.arg for argument in function.args.args]
    optional = len(names) - len(function.args.defaults)
    parameters = []
    for place, name in enumerate(names):
        if place == 0 and not is_static:
            parameters.append(name)
            continue
        default = " = ..." if place >= optional else ""
        parameters.append(f"{name}: {types.annotation(described.get(name), True)}{default}")
    if function.args.vararg:
        is_binary = function.name in BINARY
        parameters.append("other: Any" if is_binary else f"*{function.args.vararg.arg}: Any")
    result = result_of(function, class_name, types)
    if is_static:
        yield "    @staticmethod"
    yield f"    def {function.name}({', '.join(parameters)}) -> {result}: ..."


class Additions:
    """What the package adds to generated classes: the classes with the decorator `extends`, and what they define."""

    def __init__(self, sources: Path) -> None:
        self._trees = {path.stem: ast.parse(path.read_text()) for path in sorted(sources.glob("_*.py"))}
        #: pairs of a pattern for generated classes, and module and name of the class of additions
        self._extending = [
            (pattern, module, node.name)
            for module, tree in self._trees.items()
            for node in tree.body
            if isinstance(node, ast.ClassDef)
            for pattern in _extended_by(node)
        ]
        self.modules = sorted({module for _, module, _ in self._extending})

    def of(self, name: str) -> list[tuple[str, str]]:
        """Return module and name of the additions to a generated class."""
        return [(module, added) for pattern, module, added in self._extending if fnmatchcase(name, pattern)]

    def names(self, module: str, name: str) -> set[str]:
        """Return the names that a class of additions defines, by itself and by its bases."""
        found: set[str] = set()
        for node in self._trees[module].body:
            if isinstance(node, ast.ImportFrom) and name in {alias.asname or alias.name for alias in node.names}:
                source = (node.module or "").partition(".")[2]
                if source in self._trees:
                    return self.names(source, name)
            if isinstance(node, ast.ClassDef) and node.name == name:
                found |= {entry.name for entry in node.body if isinstance(entry, ast.FunctionDef)}
                for base in node.bases:
                    if isinstance(base, ast.Name):
                        found |= self.names(module, base.id)
        return found


def _extended_by(node: ast.ClassDef) -> list[str]:
    patterns = []
    for mark in node.decorator_list:
        if isinstance(mark, ast.Call) and isinstance(mark.func, ast.Name) and mark.func.id == "extends":
            for argument in mark.args:
                if isinstance(argument, ast.Attribute):
                    patterns.append(argument.attr)
                elif isinstance(argument, ast.Constant) and isinstance(argument.value, str):
                    patterns.append(argument.value)
                else:
                    raise SystemExit(f"{node.name}: extends takes generated classes, or patterns of their names")
    return patterns


def class_lines(node: ast.ClassDef, types: Types, additions: Additions, constants: Iterable[str]) -> Iterator[str]:
    inherited = {found for base in node.bases if isinstance(base, ast.Name) for found in additions.of(base.id)}
    added = [found for found in additions.of(node.name) if found not in inherited]
    own = [base.id for base in node.bases if isinstance(base, ast.Name) and base.id != "object"]
    bases = [*(f"{module}.{name}" for module, name in added), *own]
    hidden = set().union(*(additions.names(module, name) for module, name in added))
    yield f"class {node.name}({', '.join(bases)}):" if bases else f"class {node.name}:"
    yield "    thisown: bool"
    for entry in node.body:
        if isinstance(entry, ast.FunctionDef) and entry.name not in hidden:
            yield from method_lines(entry, node.name, types)
        elif isinstance(entry, ast.Assign) and isinstance(entry.value, (ast.Call, ast.Attribute)):
            for target in entry.targets:
                if isinstance(target, ast.Name) and target.id not in ("thisown", "__swig_destroy__"):
                    yield f"    {target.id}: int"
    for name in constants:
        if name.startswith(f"{node.name}_"):
            yield f"    {name[len(node.name) + 1 :]}: {constant_type(name)}"
    yield ""


def variables(tree: ast.Module) -> list[str]:
    """Return the names of the constants that are variables of C++."""
    return [
        node.value.attr
        for node in tree.body
        if isinstance(node, ast.Assign)
        and isinstance(node.value, ast.Attribute)
        and ast.unparse(node.value.value) in ("cvar", "_zarnik.cvar")
    ]


def constant_type(name: str) -> str:
    if name.startswith("ImageTypeId_"):
        return "ImageType"
    return {"ZARNIK_VERSION": "VersionInfo", "ZARNIK_VERSION_STRING": "str"}.get(name, "int")


def flat_results(classes: Iterable[ast.ClassDef], types: Types) -> dict[str, str]:
    """Return what the flat functions behind the methods of classes return."""
    return {
        called.attr: result_of(function, node.name, types)
        for node in classes
        for function in node.body
        if isinstance(function, ast.FunctionDef) and function.name != "__init__"
        for called in ast.walk(function)
        if isinstance(called, ast.Attribute) and isinstance(called.value, ast.Name) and called.value.id == "_zarnik"
    }


def main(generated: Path, sources: Path, output: Path) -> None:
    tree = ast.parse(generated.read_text())
    classes = [node for node in tree.body if isinstance(node, ast.ClassDef) and not node.name.startswith("_")]
    types = Types(node.name for node in classes)
    additions = Additions(sources)
    heading = [
        "from collections.abc import Sequence",
        "from typing import Any, SupportsInt",
        "import numpy",
        "from _typeshed import ReadableBuffer, WriteableBuffer",
        "",
    ]
    lines = [
        "# Written by tools/stubs.py.",
        "# mypy: ignore-errors",
        *heading,
        f"from zarnik import {', '.join(additions.modules)}",
        "",
    ]
    lines.append("def _swig_repr(self: Any) -> str: ...")
    lines += ["cvar: Any", ""]
    for node in tree.body:
        if isinstance(node, ast.Assign) and isinstance(node.targets[0], ast.Name):
            name = node.targets[0].id
            if not name.startswith("_") and name != "cvar":
                lines.append(f"{name}: {constant_type(name)}")
    for node in classes:
        lines += class_lines(node, types, additions, variables(tree))
    (output / "_classes.pyi").write_text("\n".join(lines))

    text = generated.read_text()
    flat = set(re.findall(r"\b_zarnik\.(\w+)", text)) - {"cvar"}
    constants = set(re.findall(r"^(\w+) = _zarnik\.\1$", text, re.MULTILINE)) - {"cvar"}
    lines = [
        "# Written by tools/stubs.py: the flat functions behind the classes of zarnik.",
        *heading,
        f"from zarnik._classes import {', '.join(node.name for node in classes)}",
        "",
    ]
    lines += ["cvar: Any", *(f"{name}: int" for name in sorted(constants))]
    results = flat_results(classes, types)
    lines += [f"def {name}(*arguments: Any) -> {results.get(name, 'Any')}: ..." for name in sorted(flat - constants)]
    (output / "_zarnik.pyi").write_text("\n".join(lines) + "\n")


if __name__ == "__main__":
    main(*map(Path, sys.argv[1:]))
