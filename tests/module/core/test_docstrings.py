"""The documentation that functions carry, as Python users read it."""

import re

import pytest

import _zarnik
from support.flat_names import all_functions

# Sentences by which the documentation is known, of each form that it takes and misspelt ones; * stands for any suffix
# of a family.
QUOTES = [
    ("Versioning_check_compatibility", "Check if the loaded library'version is compatible with the given one."),
    ("Vector*_size", "Returns the size of the vector, which also correspond to vector number of dimension."),
    ("Vector*_length", "Specifically, it is the L1 norm that's computed here."),
    ("Vector*_squared_length", "Specifically, it is the L1 norm that's computed here."),
    ("Matrix*_inverse", "Warning: Calling this method on a non-invertable matrix will cause\nundefined behaviour."),
    ("TransformMatrix4Factory_rotation_euler", ":raises: InvalidArgument If the convention is invalid."),
    ("Region3*___eq__", "Returns the intersection region between current and given one\n"),
    ("Indexer_stride", "Deprecated in 1.8, will be dropped in 2.0, you should use the\nbyteStride method instead."),
    ("MetadataNode_child", ":raises: Error If the key is not found in the children of the current node"),
    ("MetadataNodeHelper_get_node", " - \\MRC\\ext\\pixelSize"),
    ("ImageView_set_spatial_directions", "Shortcut to set spatial direcitons into image properties\n"),
    ("StreamAccess_seek", "If new computed position is less than 0, previous current position is kept."),
    ("HTTPHeaders_add", "Add a new entry in the hedaer set by giving its name and value."),
    ("RandomAccessFactory_copy_in_memory", "no copy are done"),
    ("DataFrameView__reshape", "Warning: No check is done on inputs. Pass arguments very carefully."),
    ("NumpyInterop_to_numpy_array", "of shape (12, 4, 6) gives an array of shape (6, 4, 12)\n"),
    ("NumpyInterop_order_to_numpy_array", "if ImageView has an axes interpretation different of UNKNWOWN."),
    ("NumpyInterop_order_to_numpy_array", ":type dimensionList: list of int"),
]


@pytest.mark.parametrize(("pattern", "text"), QUOTES)
def test_quotes(pattern, text):
    names = [name for name in vars(_zarnik) if re.fullmatch(pattern.replace("*", "[^_]*"), name)]
    assert names
    assert [name for name in names if text not in getattr(_zarnik, name).__doc__ + "\n"] == []


def test_the_parts_of_a_documentation_come_in_order():
    found = iter(_zarnik.Versioning_check_compatibility.__doc__.splitlines())
    for line in ("*Overload 1:*", ":type version: :py:class:`VersionInfo`", "*Overload 2:*", ":rtype: boolean"):
        assert line in found


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
