"""Packages that pass for NumPy as far as the extension looks at it."""

from __future__ import annotations

import subprocess
from pathlib import Path

from support.expect import run_python

ABI, ABI_OF_NUMPY_2, API = 0x1000009, 0x2000000, 0xD
UNKNOWN, LITTLE, BIG = 0, 1, 2

# A table of functions in a capsule. Slots: 0 the ABI version, 210 the byte order of the machine, 211 the API version.
TABLE = """
import ctypes
answers = {{0: {abi}, 210: {endianness}, 211: {api}}}
functions = {{slot: ctypes.CFUNCTYPE(ctypes.c_uint)(lambda value=value: value) for slot, value in answers.items()}}
functions.update({others})
table = (ctypes.c_void_p * 400)()
for slot, function in functions.items():
    table[slot] = ctypes.cast(function, ctypes.c_void_p)
ctypes.pythonapi.PyCapsule_New.restype = ctypes.py_object
ctypes.pythonapi.PyCapsule_New.argtypes = [ctypes.c_void_p, ctypes.c_char_p, ctypes.c_void_p]
name = {name!r}
_ARRAY_API = ctypes.pythonapi.PyCapsule_New(ctypes.addressof(table), name, None)
"""


def table(
    abi: int = ABI, api: int = API, endianness: int = LITTLE, name: bytes | None = None, others: str = "{}"
) -> str:
    """The source of a C module; others are an expression for more functions by their slots."""
    return TABLE.format(abi=abi, api=api, endianness=endianness, name=name, others=others)


def run_with_numpy(folder: Path, core: str, body: str, program: str) -> subprocess.CompletedProcess[str]:
    """Runs a program that finds a package numpy whose C module, in numpy.<core>, has this body."""
    package = folder / "numpy" / core
    package.mkdir(parents=True)
    (folder / "numpy" / "__init__.py").write_text("")
    (package / "__init__.py").write_text("")
    (package / "_multiarray_umath.py").write_text(body)
    return run_python(f"sys.path.insert(0, {str(folder)!r})\n{program}")
