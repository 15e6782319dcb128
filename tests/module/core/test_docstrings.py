"""The documentation that functions carry, as Python users read it: whole lines, in their order."""

import re

import pytest

import _zarnik
from support.flat_names import all_functions

LINES = {
    "Logger_init": [
        "Forces initialization of the logging system with",
        "a given log level.",
        "This should be called before any call to Zarnik.",
        ":type level: int",
        ":param level: The desired log level.",
        "Warning: If the logging system is already initialized,",
        "its log level will not be changed.",
    ],
    "Logger_log_level": ["Return the log level of the logging system.", ":rtype: int"],
    "Versioning_version": [
        "Return the version of the currently loaded Zarnik library.",
        ":rtype: :py:class:`VersionInfo`",
    ],
    "Versioning_version_string": ["Return a description string of the currently loaded Zarnik library."],
    "Versioning_check_compatibility": [
        "*Overload 1:*",
        "Check if the loaded library'version is compatible with the given one.",
        " - The major version is the same",
        " - The library minor version is greater than the given one.",
        ":type version: :py:class:`VersionInfo`",
        "*Overload 2:*",
        "Check if the loaded library is compatible with the one defined in the header.",
    ],
    "UidGenerator_generate": [
        "Generate a random unique identifier.",
        "This function will never return a value equal to UNDEFINED_UID.",
        ":rtype: int",
    ],
    "NumpyInterop_to_numpy_array": [
        "Creates a numpy array from an ImageView object.",
        "Data are not duplicated during this operation.",
        " - a volume of shape (12, 4, 6) gives an array of shape (6, 4, 12)",
        " - the same view holding Vector3u16 data gives an array of shape (6, 4, 12, 3)",
        ":type image: :py:class:`ImageView`",
        ":rtype: numpy.ndarray",
    ],
    "NumpyInterop_order_to_numpy_array": [
        "Creates a numpy array from an ImageView object by specifying axes order.",
        "It is only callable if ImageView has an axes interpretation different of UNKNWOWN.",
        ":type image: :py:class:`ImageView`",
        ":type dimensionList: list of int",
    ],
    "NumpyInterop__from_numpy_array": [
        "Creates an ImageView from a numpy array.",
        "Data are not duplicated during this operation.",
        ":type np: numpy.ndarray",
        ":type axesInterpretation: :py:class:`ImageType`",
        ":type interpretation: int",
        ":rtype: :py:class:`ImageView`",
    ],
    "NumpyInterop__order_from_numpy_array": [
        "Creates an ImageView from a numpy array by specifying axes order.",
        "Data are not duplicated during this operation.",
        ":type np: numpy.ndarray",
        ":type dimensionList: list of int",
        ":type interpretation: int",
    ],
}


@pytest.mark.parametrize("name", LINES)
def test_lines(name):
    remaining = iter(getattr(_zarnik, name).__doc__.splitlines())
    for line in LINES[name]:
        indented = any(found.rstrip() == line or found.strip() == line for found in remaining)
        assert indented, f"{line!r} is missing or out of order"


def test_no_type_of_c_plus_plus_shows_where_python_has_another():
    """Enumerations are ints, identifiers and sizes too, texts are strings."""
    opaque = ("_t ", "_t\n", "size_t", "zarnik::", "std::", "PyObject", "void")
    found = {}
    for name in dir(_zarnik):
        documentation = getattr(getattr(_zarnik, name), "__doc__", None) or ""
        for line in documentation.splitlines():
            if line.startswith((":type ", ":rtype:")) and any(word in line + "\n" for word in opaque):
                found.setdefault(line, name)
    assert found == {}


# Those that the generator leaves without a docstring; constructors, documented as those of their classes; attributes,
# which have one text for both of their functions.
WITHOUT_RESULT = r"__\w+__|delete_\w+|\w+_swig(register|init)|SwigPyIterator_\w+|new_\w+|VersionInfo_\w+"
PROCEDURES = (
    r"init|set_\w+|(add|remove)(_child|_frame)?|normalize|reshape|transpose_in_place",
    r"__(read|write)(_region)?|(read|write)_tile",
    r"resize|seek|flush|(add|remove)_(column|rows)|_reshape|_(read|write)_(bytes|strings)|_set_at|write_(all|init|data|finish)|encode_\w+",
)


def test_each_overload_tells_the_type_of_its_result():
    wrong = set()
    for name in set(all_functions()) & set(dir(_zarnik)):
        if not re.fullmatch(WITHOUT_RESULT, name):
            first, *others = getattr(_zarnik, name).__doc__.split("*Overload ")
            expected = not re.fullmatch(rf"(?!(Stream|Random)Access___read)[^_]+_({'|'.join(PROCEDURES)})", name)
            if any((":rtype: " in text) != expected for text in others or [first]):
                wrong.add(name)
    assert wrong == set()
