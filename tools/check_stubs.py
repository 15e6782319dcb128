"""Compares the stubs of the installed package with what it has when it runs, by mypy's stubtest."""

from __future__ import annotations

import sys
import tempfile
from pathlib import Path

from mypy import stubtest

import _zarnik

MODULES = ("zarnik._classes", "zarnik._direct")

# What stubs leave out on purpose: what the generator needs for itself, and operators of the module that classes have.
ALLOWED = r"""
zarnik\._classes\.\w+\.(this|__swig_destroy__|__idiv__)
zarnik\._classes\.__\w+__
"""

SETTINGS = """
[mypy]
ignore_missing_imports = True
ignore_errors = True
"""


def main() -> int:
    # It asks the type of the global variables for its module, which types of the generator do not have.
    type(_zarnik.cvar).__module__ = _zarnik.__name__
    with tempfile.TemporaryDirectory() as folder:
        allowed, settings = Path(folder, "allowed"), Path(folder, "mypy.ini")
        allowed.write_text(ALLOWED)
        settings.write_text(SETTINGS)
        options = ["--concise", "--allowlist", str(allowed), "--mypy-config-file", str(settings)]
        return stubtest.test_stubs(stubtest.parse_options([*MODULES, *options]))


if __name__ == "__main__":
    sys.exit(main())
