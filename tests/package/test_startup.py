"""What an import brings along, and what comes only when it is used."""

import sys

import pytest

from support.expect import prints, run_python


@pytest.mark.skipif(sys.platform != "linux", reason="looks into /proc")
def test_an_import_loads_no_library_that_takes_time():
    prints(
        "[]\n[]\n['libcurl']\n",
        """
import sys
import numpy
def mapped(*libraries):
    files = open("/proc/self/maps").read()
    return [name for name in libraries if f"/{name}." in files]
before = set(sys.modules)
import zarnik
print(mapped("libcurl", "libssl", "libcrypto", "libhwy"))
late = "asyncio ctypes.util dask dataclasses html http json matplotlib mmap nibabel pandas SimpleITK tempfile xarray"
print(set(late.split()) & set(sys.modules) - before or [])
try:
    zarnik.open_random("http://127.0.0.1:1/")
except zarnik.Error:
    print(mapped("libcurl"))
""",
    )


def test_a_machine_without_the_http_library_is_told_what_to_install(tmp_path, monkeypatch):
    (tmp_path / "libcurl.so.4").touch()
    monkeypatch.setenv("LD_LIBRARY_PATH", str(tmp_path))
    run = run_python("import zarnik\nprint(zarnik.zeros((2, 3)).shape)\nzarnik.open_random('http://127.0.0.1:1/')")
    assert run.stdout == "(2, 3)\n"
    assert "zarnik.Error: HTTP needs libcurl, install it" in run.stderr
    assert "libcurl.so.4: file too short" in run.stderr
