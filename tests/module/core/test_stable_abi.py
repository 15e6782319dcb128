"""The built modules use nothing of Python outside the stable interface of the oldest version they are for."""

import shutil
import subprocess

import pytest
from abi3info import DATAS, FUNCTIONS
from abi3info.models import PyVersion, Symbol

import _typetable
import _zarnik
from zarnik import _direct

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
    assert {"PyModule_Create2", "PyImport_ImportModule"} <= used  # the listing is a listing


def test_one_name_for_every_interpreter():
    assert _zarnik.__file__.endswith("_zarnik.abi3.so")
    assert _zarnik.__name__ == "_zarnik"
