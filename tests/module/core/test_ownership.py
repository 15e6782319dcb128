"""What Python code does to wrapped objects behind a call's back, or through their holders, harms nobody."""

import gc
import sys
import weakref

import numpy
import pytest

import _typetable
import _zarnik
from support.expect import fails, null_reference, prints, raises, refused
from support.shared_types import CountingView
from zarnik import _classes


class Meddling(list):
    """A sequence that does something when it is asked for its items."""

    def __init__(self, items, act):
        super().__init__(items)
        self.act = act

    def __getitem__(self, index):
        if self.act:
            act, self.act = self.act, None
            act()
        return super().__getitem__(index)


def fill_memory(size):
    """Takes memory of a size that was just freed, and leaves something else there."""
    return [bytes([0xAB]) * size for _ in range(64)]


WAYS_TO_DESTROY = {
    "destructor": lambda name, wrapped: getattr(_zarnik, f"delete_{name}")(wrapped),
    "attribute": lambda name, wrapped: setattr(wrapped, "this", getattr(_zarnik, f"new_{name}")()),
}


@pytest.mark.parametrize("way", WAYS_TO_DESTROY)
@pytest.mark.parametrize(
    ("name", "items", "method", "others", "expected"),
    [
        ("Vector3d", [1.0, 2.0, 3.0], "dot", [4.0, 5.0, 6.0], 32.0),
        ("VectorXd", [1.0] * 20, "dot", [2.0] * 20, 40.0),
        ("VectorXu64", [3] * 9, "__eq__", [3] * 9, True),
    ],
)
def test_self_stays_for_the_time_of_the_call(way, name, items, method, others, expected):
    wrapped = getattr(_classes, name)(items)
    kept = []

    def destroy():
        WAYS_TO_DESTROY[way](name, wrapped)
        kept.extend(fill_memory(8 * len(items)))

    assert getattr(_zarnik, f"{name}_{method}")(wrapped, Meddling(others, destroy)) == expected
    if way == "destructor":
        raises(ValueError, "invalid null reference in method", getattr(_zarnik, f"{name}_size"), wrapped)


def test_other_arguments_stay_for_the_time_of_the_call():
    origin = _classes.VectorXu64([1] * 9)
    kept = []

    def destroy():
        _zarnik.delete_VectorXu64(origin)
        kept.extend(fill_memory(72))

    region = _zarnik.new_RegionXu64(origin, Meddling([2] * 9, destroy))
    assert list(_zarnik.RegionXu64_get_origin(region)) == [1] * 9
    null_reference(_zarnik.VectorXu64_size, 1, "zarnik::VectorX< uint64_t > const *", origin)
    image = _zarnik.ImageViewFactory_allocate([2, 2], _zarnik.DataTypeId_UINT8)
    _zarnik.ImageView___write(image, Meddling([1, 1], lambda: _zarnik.delete_ImageView(image)), b"x")
    null_reference(_zarnik.ImageView_get_shape, 1, "zarnik::ImageView *", image)


def test_what_is_destroyed_twice_in_a_call_is_freed_once():
    vector = _classes.Vector3d([1.0, 2.0, 3.0])

    def destroy():
        _zarnik.delete_Vector3d(vector)
        raises((ValueError, RuntimeError), "", _zarnik.delete_Vector3d, vector)

    inner = Meddling([1.0, 1.0, 1.0], destroy)
    outer = Meddling([1.0, 1.0, 1.0], lambda: _zarnik.Vector3d_dot(vector, inner))
    assert _zarnik.Vector3d_dot(vector, outer) == 6.0


# ---- in-place operators ----------------------------------------------------------------------------------------------

IN_PLACE = {
    "Vector3d": ("__iadd__", [1.0, 2.0, 3.0]),
    "VectorXi32": ("__iadd__", [1, 2, 3]),
    "Matrix3d": ("__imul__", 2.0),
    "ImageCapabilitySet": ("__ior__", 2),
}


@pytest.mark.parametrize("is_instance", [True, False])
@pytest.mark.parametrize("name", IN_PLACE)
def test_destroying_the_result_of_an_in_place_operator_empties_all_who_had_it(name, is_instance):
    method, operand = IN_PLACE[name]
    operate, delete = getattr(_zarnik, f"{name}_{method}"), getattr(_zarnik, f"delete_{name}")
    make = getattr(_classes, name) if is_instance else getattr(_zarnik, f"new_{name}")
    first = make(*[operand] * name.startswith("Vector"))
    second = operate(first, operand)
    assert int(getattr(first, "this", first)) == int(second.this)
    third = operate(first, operand)
    delete(third)
    for wrapped in (first, second, third):
        raises((ValueError, RuntimeError), "", operate, wrapped, operand)
        raises((ValueError, RuntimeError), "", delete, wrapped)


# ---- holders ---------------------------------------------------------------------------------------------------------


def test_lists_of_holders_have_an_end():
    first, second, third = (_zarnik.new_VersionInfo() for _ in range(3))
    assert first.append(first) is None and first.next() is None
    first.append(second)
    first.append(second)
    fails(ValueError, "a list of wrapped objects cannot contain itself", second.append, first)
    first.append(third)
    chain, holder = [], first
    while holder is not None:
        chain.append(holder)
        holder = holder.next()
    assert len(chain) == 3
    fails(TypeError, "Attempt to append a non SwigPyObject", first.append, 5)
    record, added = _classes.VersionInfo(), _zarnik.new_VersionInfo()
    for _ in range(3):
        assert _zarnik.VersionInfo_swiginit(record, added) is None
    # The first keeps its place, the second goes to its list.
    assert record.this.next() is added
    _zarnik.VersionInfo_major_set(record, 5)
    assert _zarnik.VersionInfo_major_get(added) == 0
    raises(TypeError, "", _zarnik.Vector3d_size, record)


def test_only_the_module_makes_holders():
    kind = type(_zarnik.new_Vector3d())
    fails(TypeError, "cannot create 'SwigPyObject' instances", kind)
    for make in (lambda: object.__new__(kind), lambda: type("Derived", (kind,), {})):
        raises(TypeError, "", make)


def test_any_callable_can_destroy():
    prints(
        "[1, 2]\n[False]\n3\n",
        """
import _zarnik

destroyed, kept = [], []

class Counting:
    @staticmethod
    def __swig_destroy__(wrapped):
        destroyed.append(_zarnik.Vector2u8_at(wrapped, 0))
        _zarnik.delete_Vector2u8(wrapped)

class Keeping:
    __swig_destroy__ = kept.append

_zarnik.Vector2u8_swigregister(Counting)
for value in (1, 2):
    _zarnik.Vector2u8_create_uniform(value)
_zarnik.Vector2u8_swigregister(Keeping)
_zarnik.Vector2u8_create_uniform(3)
print(destroyed)
print([wrapped.own() for wrapped in kept])
print(_zarnik.Vector2u8_at(kept[0], 1))
_zarnik.Vector2u8_swigregister(Counting)
""",
    )


def test_classes_of_which_there_is_no_instance():
    prints(
        "cannot create 'generator' instances\ncannot set 'this' attribute of immutable type 'int'\n",
        """
import types
import _zarnik

version = _zarnik.cvar.ZARNIK_VERSION
_zarnik.VersionInfo_swigregister(types.GeneratorType)
for call in (lambda: _zarnik.cvar.ZARNIK_VERSION, lambda: _zarnik.VersionInfo_swiginit(int, version)):
    try:
        call()
    except TypeError as error:
        print(error)
assert not hasattr(5, "this")
""",
    )


# ---- memory that arrays show -----------------------------------------------------------------------------------------


def test_an_array_over_an_array_outlives_it():
    elements = numpy.arange(10_000, dtype="f8")
    for destroy in (_zarnik.delete_ArrayXd, lambda array: array.__init__(_classes.VectorXu64([1]))):
        array = _classes.ArrayXd.from_numpy(elements)
        shown = [_zarnik.ArrayXd__to_numpy(array, owner) for owner in (array, None, array)]
        part = shown[1][5:]
        destroy(array)
        fill_memory(80_000)
        del shown[0], array
        assert numpy.array_equal(shown[0], elements) and numpy.array_equal(part, elements[5:])


def test_writing_to_what_numpy_calls_read_only():
    """As long as it says so; what the view offers is the same for every array."""
    array = numpy.zeros((4, 5), "u2")
    later = numpy.zeros((4, 5), "u2")
    array.flags.writeable = False
    dimensions = [_zarnik.ImageDimension_ROW, _zarnik.ImageDimension_COLUMN]
    views = [_zarnik.NumpyInterop__order_from_numpy_array(each, dimensions, 0, False) for each in (array, later)]
    later.flags.writeable = False
    region = _classes.RegionXu64([0, 0], [5, 4])
    for view in views:
        assert _zarnik.ImageCapabilitySet_value(_zarnik.ImageView_get_capabilities(view)) == 11
        refused("read-only", _zarnik.ImageView___write, view, [0, 0], b"ab")
        for adapted in (view, _zarnik.ImageViewFactory_flip_dimension(view, _zarnik.ImageDimension_ROW)):
            refused("read-only", _zarnik.ImageView___write_region, adapted, region, bytes(40))
        as_float = _zarnik.ImageViewFactory_adapt_data_type(view, _zarnik.DataTypeId_FLOAT)
        refused("read-only", _zarnik.ImageView___write_region, as_float, region, bytes(80))
        _zarnik.ImageView_set_spatial_unit(view, "mm")
    assert not array.any() and not later.any()
    assert not _zarnik.NumpyInterop_to_numpy_array(views[0]).flags.writeable


def test_views_over_arrays_go_on_any_thread():
    """Dropped by a thread that Python does not know, the array goes a little later."""
    array = numpy.zeros(1000)
    gone = weakref.ref(array)
    view = _zarnik.NumpyInterop__order_from_numpy_array(array, [0], 0, False)
    del array
    _typetable.dropOnAnotherThread(_typetable.pointerAddress(view))
    del view
    gc.collect()
    for _ in range(1000):  # pending calls are made between instructions
        if gone() is None:
            break
    assert gone() is None


def test_more_dimensions_than_there_are():
    view = CountingView((2, 3), axes=_classes.ImageType("YX"))
    array = numpy.zeros((2, 3), "u1")
    endless = type("Endless", (list,), {"__len__": lambda self: 2**40, "__getitem__": lambda self, index: 0})()
    for dimensions in (endless, [0] * 1000):
        refused("^Input dimensions list is not valid$", _zarnik.NumpyInterop_order_to_numpy_array, view, dimensions)
        text, from_array = "^Given dimensions list is not compat", _zarnik.NumpyInterop__order_from_numpy_array
        refused(text, from_array, array, dimensions, 0, False)


def test_a_second_interpreter_is_refused():
    """And the classes of the first one stay."""
    for module in ("_xxsubinterpreters", "_interpreters"):
        try:
            __import__(module)
        except ImportError:
            continue
        prints(
            "True\n3\n",
            f"""
import {module} as interpreters
import _zarnik, zarnik
path = {sys.path!r}
program = "import sys; sys.path[:] = " + repr(path) + chr(10) + "import _zarnik"
try:
    failed = interpreters.run_string(interpreters.create(), program)
except Exception as error:
    failed = error
print("main interpreter" in str(failed))
print(len(zarnik.Vector3d() + [1, 2, 3]))
""",
        )
        return
    pytest.skip("this Python offers no second interpreter")
