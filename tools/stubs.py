"""Writes _classes.pyi and _zarnik.pyi, from which editors and type checkers know the generated classes.

usage: stubs.py <generated _classes.py> <folder of the package's sources> <folder for the stubs>

Signatures come from the generated module, types from its docstrings, and what the package adds to a class from the
sources of the package: the class of additions becomes a base class.
"""

from __future__ import annotations

import ast
import re
import sys
from collections.abc import Iterable, Iterator
from pathlib import Path

# Which class of additions each generated class has; the first that matches its name counts.
ADDITIONS = [
    (r"Vector[234X]\w+", "_values._Vector"),
    (r"RegionXu64", "_values._WideRegion, _values._Region"),
    (r"Region[234]u64", "_values._Region"),
    (r"Matrix[34][fd]", "_values._Matrix"),
    (r"ArrayX\w+", "_values._Array"),
    (r"DataType", "_types._DataType"),
    (r"ImageType", "_types._ImageType"),
    (r"VariantDataValue", "_metadata._VariantDataValue"),
    (r"MetadataNode", "_metadata._MetadataNode, _metadata._Node"),
    (r"ReadonlyMetadataNode", "_metadata._ReadonlyMetadataNode, _metadata._Node"),
    (r"SpatialDirections", "_properties._SpatialDirections, _properties._Changeable"),
    (
        r"SpatialCalibrationProperty",
        "_properties._SpatialCalibrationProperty, _properties._Calibration, _properties._Changeable",
    ),
    (r"ReadonlySpatialCalibrationProperty", "_properties._Calibration"),
    (r"ImageInfoProperty", "_properties._ImageInfoProperty, _properties._Info, _properties._Changeable"),
    (r"ReadonlyImageInfoProperty", "_properties._Info"),
    (r"ImageProperties", "_properties._ImageProperties, _properties._Properties, _properties._Changeable"),
    (r"ReadonlyImageProperties", "_properties._Properties"),
    (r"ImageView", "_views._ImageView"),
    (r"ImageViewProvider", "_views._ImageViewProvider"),
    (r"TilingInfoExtension", "_views._TilingInfoExtension"),
    (r"ViewOriginExtension", "_views._ViewOriginExtension"),
    (r"ImageViewFactory", "_views._ImageViewFactory"),
    (r"DataFrameView", "_frames._DataFrameView"),
    (r"DataFrameViewFactory", "_frames._DataFrameViewFactory"),
    (r"DependencyGraph", "_dependencies._DependencyGraph"),
    (r"\w+CapabilitySet", "_capabilities._CapabilitySet"),
    (r"DataAccess", "_access._DataAccess"),
    (r"StreamAccess", "_access._StreamAccess"),
    (r"RandomAccess", "_access._RandomAccess"),
    (r"DataStorage", "_access._DataStorage"),
    (r"Uri", "_access._Uri"),
    (r"HTTPHeaders", "_access._HTTPHeaders"),
    (r"RandomAccessFactory", "_access._RandomAccessFactory"),
]
MODULES = (
    "_access",
    "_capabilities",
    "_dependencies",
    "_frames",
    "_metadata",
    "_properties",
    "_types",
    "_values",
    "_views",
)

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
        parameters.append(f"*{function.args.vararg.arg}: Any")
    result = result_of(function, class_name, types)
    if is_static:
        yield "    @staticmethod"
    yield f"    def {function.name}({', '.join(parameters)}) -> {result}: ..."


def added_names(sources: Path) -> dict[str, set[str]]:
    """Return the names that each class of additions defines, by module and class."""
    added = {}
    for module in MODULES:
        for node in ast.parse((sources / f"{module}.py").read_text()).body:
            if isinstance(node, ast.ClassDef):
                names = {entry.name for entry in node.body if isinstance(entry, ast.FunctionDef)}
                added[f"{module}.{node.name}"] = names
    return added


def class_lines(node: ast.ClassDef, types: Types, added: dict[str, set[str]]) -> Iterator[str]:
    additions = next((bases for pattern, bases in ADDITIONS if re.fullmatch(pattern, node.name)), "")
    own = [base.id for base in node.bases if isinstance(base, ast.Name) and base.id != "object"]
    bases = [*filter(None, additions.split(", ")), *own]
    hidden = set().union(*(added[base] for base in bases if base in added))
    yield f"class {node.name}({', '.join(bases)}):" if bases else f"class {node.name}:"
    yield "    thisown: bool"
    for entry in node.body:
        if isinstance(entry, ast.FunctionDef) and entry.name not in hidden:
            yield from method_lines(entry, node.name, types)
        elif isinstance(entry, ast.Assign) and isinstance(entry.value, ast.Call):
            for target in entry.targets:
                if isinstance(target, ast.Name) and target.id != "thisown":
                    yield f"    {target.id}: {'ImageType' if node.name == 'ImageTypeId' else 'int'}"
    yield ""


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
    added = added_names(sources)
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
        f"from zarnik import {', '.join(MODULES)}",
        "",
    ]
    lines.append("def _swig_repr(self: Any) -> str: ...")
    lines += ["cvar: Any", ""]
    for node in tree.body:
        if isinstance(node, ast.Assign) and isinstance(node.targets[0], ast.Name):
            name = node.targets[0].id
            if not name.startswith("_") and name != "cvar":
                lines.append(f"{name}: int")
    for node in classes:
        lines += class_lines(node, types, added)
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
