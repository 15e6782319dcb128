"""What C++ exceptions become in Python, whatever call lets them through."""

import pytest

import _zarnik
from support.expect import fails, prints
from support.shared_types import ThrowingView
from zarnik import _classes

KINDS = {
    "Error": (_classes.Error, "thrown as Error"),
    "InvalidArgument": (_classes.Error, "thrown as InvalidArgument"),
    "NotImplemented": (_classes.Error, "thrown as NotImplemented"),
    "bad_alloc": (MemoryError, ""),
    "runtime_error": (RuntimeError, "thrown as runtime_error"),
    "foreign": (RuntimeError, "unknown C++ exception"),
}
CALLS = ["NumpyInterop_to_numpy_array", *(name for name in dir(_zarnik) if name.startswith("ImageView_get_"))]


@pytest.mark.parametrize("kind", KINDS)
@pytest.mark.parametrize("name", CALLS)
def test_every_kind_of_exception_comes_back_as_an_error(name, kind):
    function = getattr(_zarnik, name)
    view = ThrowingView(kind)
    expected, text = KINDS[kind]
    for _ in range(3):
        fails(expected, text, function, view)  # exactly of this class: the kind of an error is lost


def test_errors_are_raised_as_whatever_class_is_registered():
    prints(
        "component index 2 is out of range, allowed are 0 to 1\nMine\n",
        """
import _zarnik

vector = _zarnik.Vector2u8_create_uniform(7)
try:
    _zarnik.Vector2u8_at(vector, 2)
except RuntimeError as error:  # none is registered yet
    (wrapped,) = error.args
    assert type(error) is RuntimeError
    assert type(wrapped).__name__ == "SwigPyObject", type(wrapped)
    assert wrapped.own()
    text = _zarnik.Error___str__(wrapped)
    print(text)
    _zarnik.delete_Error(wrapped)

class Mine(Exception):
    __swig_destroy__ = _zarnik.delete_Error

assert _zarnik.Error_swigregister(Mine) is None
try:
    _zarnik.Vector2u8_at(vector, 2)
except Mine as error:
    assert _zarnik.Error___str__(error) == text
    print(type(error).__name__)
_zarnik.delete_Vector2u8(vector)
""",
    )
