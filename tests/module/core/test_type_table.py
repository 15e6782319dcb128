"""Objects cross between modules that share the process-wide table of types."""

import _typetable
import _zarnik
from support.expect import prints
from support.shared_types import CountingView
from zarnik import _classes


def test_another_module_takes_an_object_and_hands_one_back():
    record = _classes.VersionInfo()
    record.major, record.minor, record.patch = 3, 4, 5
    copy = _typetable.copyVersion(record)
    assert type(copy) is _classes.VersionInfo
    assert copy.thisown
    assert (copy.major, copy.minor, copy.patch) == (3, 4, 5)
    assert _zarnik.Versioning_check_compatibility(_typetable.lentVersion()) is False


def test_the_table_is_where_every_module_looks_for_it():
    prints(
        "11\n",
        """
import _typetable, _zarnik
import sys
assert "swig_runtime_data4" in sys.modules
table = sys.modules["swig_runtime_data4"].type_pointer_capsule
assert type(table).__name__ == "PyCapsule"
assert '"swig_runtime_data4.type_pointer_capsule"' in repr(table)
copy = _typetable.copyVersion(_zarnik.cvar.ZARNIK_VERSION)
print(_zarnik.VersionInfo_minor_get(copy))
_zarnik.delete_VersionInfo(copy)
""",
    )


def test_modules_come_up_in_any_order_and_go_down():
    for module in ("_typetable", "_zarnik", "zarnik"):
        prints("", f"import {module}")
    for order in ("_typetable, _zarnik", "_zarnik, _typetable"):
        prints(
            "2 (3, 3)\n",
            f"import {order}\n"
            "shape = _zarnik.VectorXu64_create_uniform(2, 3)\n"
            "view = _typetable.new_CountingView(shape, _zarnik.DataTypeId_UINT8, 0, 11)\n"
            "got = _zarnik.ImageView_get_shape(view)\n"
            "print(_zarnik.VectorXu64_size(got), _zarnik.NumpyInterop_to_numpy_array(view).shape)\n"
            "[_zarnik.delete_VectorXu64(vector) for vector in (shape, got)]\n"
            "_typetable.delete_CountingView(view)\n"
            "view.disown()\n",
        )


def test_classes_derived_elsewhere_are_taken_for_their_base():
    """A shared pointer to the derived class becomes one to the base for the time of the call."""
    view = CountingView((4, 5))
    for _ in range(10):
        assert _zarnik.ImageView_get_shape(view).at(0) == 4
        assert _typetable.useCount(view) == 1
