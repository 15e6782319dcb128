"""Start-up against NumPys that are missing, broken or of another build: each branch with its message."""

import pytest

import _zarnik
from support.expect import run_python
from support.fake_numpy import ABI, ABI_OF_NUMPY_2, API, BIG, UNKNOWN, run_with_numpy, table

IMPORT = """
try:
    import _zarnik
except ImportError as error:
    assert "_zarnik" not in sys.modules
    print(type(error).__name__, error)
else:
    print("imported", _zarnik.CommonAncestorStatus_UNDETERMINED)
"""
FAILED = "ImportError numpy.core.multiarray failed to import\n"


OTHER = "RuntimeError: module compiled against {} version {} but this version of numpy is {}"
ENDIAN = "module compiled as little endian, but detected different endianness at runtime"


@pytest.mark.parametrize("core", ["core", "_core"])
@pytest.mark.parametrize(
    ("body", "printed"),
    [
        ("raise ImportError('libblas is missing')", "ImportError: libblas is missing"),
        ("raise KeyError('broken')", "KeyError: 'broken'"),
        ("", "AttributeError: _ARRAY_API not found"),
        ("_ARRAY_API = None", "RuntimeError: _ARRAY_API is not PyCapsule object"),
        # A pointer is only given to who knows the name; NumPy's has none.
        (table(name=b"another name"), "RuntimeError: _ARRAY_API is NULL pointer"),
        (table(abi=0x1000008), OTHER.format("ABI", "0x1000009", "0x1000008")),
        (table(abi=0x3000000, api=99), OTHER.format("ABI", "0x1000009", "0x3000000")),
        (table(api=0xC), OTHER.format("API", "0xd", "0xc")),
        (table(endianness=UNKNOWN), "RuntimeError: FATAL: module compiled as unknown endian"),
        (table(endianness=BIG), f"RuntimeError: FATAL: {ENDIAN}"),
    ],
)
def test_the_reason_is_printed_and_the_import_fails(tmp_path, core, body, printed):
    if core == "_core" and "libblas" in body:
        printed = "No module named 'numpy.core'"  # the older place is tried, too
    run = run_with_numpy(tmp_path, core, body, IMPORT)
    assert run.stdout == FAILED
    assert printed in run.stderr.splitlines()[-1]


@pytest.mark.parametrize("core, abi, api", [("core", ABI, API), ("core", ABI, 0x10), ("_core", ABI_OF_NUMPY_2, 0x12)])
def test_compatible_numpys(tmp_path, core, abi, api):
    run = run_with_numpy(tmp_path, core, table(abi=abi, api=api), IMPORT)
    assert (run.stdout, run.stderr) == ("imported 2\n", "")


def test_without_numpy_and_at_a_second_attempt():
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
del sys.meta_path[0]
import _zarnik
print(_zarnik.cvar.ZARNIK_VERSION_STRING)
"""
    )
    assert run.stdout == f"{FAILED}1.11.0\n"
    assert run.stderr.splitlines()[-1] == "ModuleNotFoundError: No module named 'numpy'"


def test_the_real_numpy_is_imported_without_a_warning():
    run = run_python("import warnings\nwarnings.simplefilter('error')\nimport numpy\nimport _zarnik\nprint('imported')")
    assert (run.stdout, run.stderr) == ("imported\n", "")
    assert _zarnik.CommonAncestorStatus_SHARE_NO_ANCESTOR == 0
