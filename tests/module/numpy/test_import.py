"""Start-up against NumPys that are missing, broken or of another build: each branch with its message."""

import pytest

import _zarnik
from support.expect import run_python

ABI, ABI_OF_NUMPY_2, API = 0x1000009, 0x2000000, 0xD
LITTLE, BIG, UNKNOWN = 1, 2, 0

# A function table of NumPy, as far as start-up looks at it, in a capsule. Slots: 0 the ABI version, 210 the byte order
# of the machine, 211 the API version.
FAKE_TABLE = """
import ctypes
answers = {{0: {abi}, 210: {endianness}, 211: {api}}}
functions = {{slot: ctypes.CFUNCTYPE(ctypes.c_uint)(lambda value=value: value) for slot, value in answers.items()}}
table = (ctypes.c_void_p * 400)(*[ctypes.cast(functions[i], ctypes.c_void_p) if i in functions else None
                                   for i in range(400)])
ctypes.pythonapi.PyCapsule_New.restype = ctypes.py_object
ctypes.pythonapi.PyCapsule_New.argtypes = [ctypes.c_void_p, ctypes.c_char_p, ctypes.c_void_p]
name = {name!r}
_ARRAY_API = ctypes.pythonapi.PyCapsule_New(ctypes.addressof(table), name, None)
"""
IMPORT = """
import sys
sys.path.insert(0, sys.argv[1])
try:
    import _zarnik
except ImportError as error:
    assert "_zarnik" not in sys.modules
    print(type(error).__name__, error)
else:
    print("imported", _zarnik.CommonAncestorStatus_UNDETERMINED)
"""
FAILED = "ImportError numpy.core.multiarray failed to import\n"


def fake_numpy(folder, core, body):
    """A package numpy whose C module has this body."""
    package = folder / "numpy" / core
    package.mkdir(parents=True)
    (folder / "numpy" / "__init__.py").write_text("")
    (package / "__init__.py").write_text("")
    (package / "_multiarray_umath.py").write_text(body)
    return run_python(IMPORT, str(folder))


def table(abi=ABI, api=API, endianness=LITTLE, name=None):
    return FAKE_TABLE.format(abi=abi, api=api, endianness=endianness, name=name)


@pytest.mark.parametrize("core", ["core", "_core"])
@pytest.mark.parametrize(
    "body, printed",
    [
        ("raise ImportError('libblas is missing')", "ImportError: libblas is missing"),
        ("raise KeyError('broken')", "KeyError: 'broken'"),
        ("", "AttributeError: _ARRAY_API not found"),
        ("_ARRAY_API = object()", "RuntimeError: _ARRAY_API is not PyCapsule object"),
        ("_ARRAY_API = None", "RuntimeError: _ARRAY_API is not PyCapsule object"),
        # A pointer is only given to who knows the name; NumPy's has none.
        (table(name=b"another name"), "RuntimeError: _ARRAY_API is NULL pointer"),
        (
            table(abi=0x1000008),
            "RuntimeError: module compiled against ABI version 0x1000009 but this version of numpy is 0x1000008",
        ),
        (
            table(abi=0x3000000, api=99),
            "RuntimeError: module compiled against ABI version 0x1000009 but this version of numpy is 0x3000000",
        ),
        (
            table(api=0xC),
            "RuntimeError: module compiled against API version 0xd but this version of numpy is 0xc",
        ),
        (table(endianness=UNKNOWN), "RuntimeError: FATAL: module compiled as unknown endian"),
        (
            table(endianness=BIG),
            "RuntimeError: FATAL: module compiled as little endian, but detected different endianness at runtime",
        ),
    ],
)
def test_the_reason_is_printed_and_the_import_fails(tmp_path, core, body, printed):
    if core == "_core" and "libblas" in body:
        printed = "No module named 'numpy.core'"  # the older place is tried, too
    run = fake_numpy(tmp_path, core, body)
    assert run.stdout == FAILED
    assert printed in run.stderr.splitlines()[-1]


@pytest.mark.parametrize("core, abi, api", [("core", ABI, API), ("core", ABI, 0x10), ("_core", ABI_OF_NUMPY_2, 0x12)])
def test_compatible_numpys(tmp_path, core, abi, api):
    run = fake_numpy(tmp_path, core, table(abi=abi, api=api))
    assert (run.stdout, run.stderr) == ("imported 2\n", "")


def test_without_numpy():
    # -S and -I cannot be used, they hide _zarnik as well: a finder refuses every part of NumPy.
    run = run_python(
        """
class NoNumpy:
    @staticmethod
    def find_spec(name, path=None, target=None):
        if name.split(".")[0] == "numpy":
            raise ModuleNotFoundError(f"No module named {name!r}", name=name)

sys.meta_path.insert(0, NoNumpy)
try:
    import _zarnik
except ImportError as error:
    print(type(error).__name__, error)
"""
    )
    assert run.stdout == FAILED
    assert run.stderr.splitlines()[-1] == "ModuleNotFoundError: No module named 'numpy'"


def test_a_second_attempt_after_a_failure():
    run = run_python(
        """
class Once:
    refused = 0

    @classmethod
    def find_spec(cls, name, path=None, target=None):
        if name == "numpy" and cls.refused < 2:
            cls.refused += 1
            raise ModuleNotFoundError("not yet")

sys.meta_path.insert(0, Once)
try:
    import _zarnik
except ImportError:
    pass
import _zarnik
print(_zarnik.cvar.ZARNIK_VERSION_STRING)
"""
    )
    assert run.stdout == "1.11.0\n"


def test_the_real_numpy_is_imported_without_a_warning():
    run = run_python("import warnings\nwarnings.simplefilter('error')\nimport numpy\nimport _zarnik\nprint('imported')")
    assert (run.stdout, run.stderr) == ("imported\n", "")
    assert _zarnik.CommonAncestorStatus_SHARE_NO_ANCESTOR == 0
