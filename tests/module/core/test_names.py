"""The functions of the module are exactly those of its interface, and use nothing of Python outside of its own."""

import re
import shutil
import subprocess

import pytest
from abi3info import DATAS, FUNCTIONS
from abi3info.models import PyVersion, Symbol

import _typetable
import _zarnik
from support.flat_names import all_functions, class_names, functions_of
from zarnik import _classes, _direct


def exported():
    module_attributes = {"__loader__", "__spec__"}
    return [name for name, value in vars(_zarnik).items() if callable(value) and name not in module_attributes]


def test_every_function_is_of_the_interface():
    assert len(class_names()) == len(set(class_names())) == 125
    assert len(all_functions()) == len(set(all_functions())) == 2269
    assert set(exported()) == set(all_functions())


def test_functions_of_the_value_classes_come_in_order():
    families = ("DataType", "Vector", "Matrix", "TransformMatrix", "Region", "ArrayX", "Indexer", "ImageType")
    expected = [entry for name in class_names() if name.startswith(families) for entry in functions_of(name)]
    assert [name for name in exported() if name in set(expected)] == expected


def test_every_function_has_a_documentation_but_operators_and_registration():
    """And those of the generator's own class."""
    missing = {name for name in exported() if not getattr(_zarnik, name).__doc__}
    without = r"__\w+__|\w+_swig(register|init)|(delete_)?SwigPyIterator\w*"
    assert missing == {name for name in exported() if re.fullmatch(without, name)}


def test_every_class_is_registered_under_its_name():
    for name in sorted(class_names()):
        assert getattr(_classes, name).__name__ == name


OLDEST_PYTHON = PyVersion(3, 9)


def undefined_symbols(path):
    """Names that a shared library leaves to others, without their versions."""
    nm = shutil.which("nm")
    assert nm, "nm, of the tools that built the module, is needed"
    listing = subprocess.run([nm, "-D", "--undefined-only", path], capture_output=True, text=True, check=True).stdout
    return {line.split()[-1].split("@")[0] for line in listing.splitlines()}


@pytest.mark.parametrize("module", [_zarnik, _direct, _typetable])
def test_python_symbols_are_of_the_stable_interface(module):
    used = {name for name in undefined_symbols(module.__file__) if name.startswith(("Py", "_Py"))}
    known = {name: FUNCTIONS.get(Symbol(name)) or DATAS.get(Symbol(name)) for name in used}
    assert {name for name, symbol in known.items() if symbol is None or symbol.added > OLDEST_PYTHON} == set()
    assert module.__file__.endswith(f"{module.__name__.split('.')[-1]}.abi3.so")
    assert {"PyModule_Create2", "PyImport_ImportModule"} <= used  # the listing is a listing
