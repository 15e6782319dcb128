"""Who owns what, and that no order of destroying things does harm."""

import gc
import sys
import weakref

import pytest

import _typetable
import _zarnik
from support.expect import bad_argument, null_reference, raises, run_python
from support.shared_types import CountingView
from zarnik import _classes


@pytest.mark.parametrize("name", ["VersionInfo", "Error", "Vector3d", "VectorXu64", "DataType", "ImageType"])
def test_what_was_destroyed_is_not_reached_again(name):
    delete = getattr(_zarnik, f"delete_{name}")
    wrapped = getattr(_zarnik, f"new_{name}")(*["message"] * (name == "Error"))
    assert delete(wrapped) is None
    assert not wrapped.own()
    for _ in range(2):
        raises((RuntimeError, ValueError), "", delete, wrapped)
    for method in [m for m in dir(_zarnik) if m.startswith(f"{name}_") and "swig" not in m and "__" not in m]:
        raises((TypeError, ValueError, SystemError, _classes.Error), "", getattr(_zarnik, method), wrapped)


def test_objects_that_python_does_not_own_are_left_alone():
    view = CountingView((1,))
    alive = CountingView.alive()
    wrapped = view.this
    wrapped.disown()
    del view
    assert CountingView.alive() == alive
    wrapped.acquire()
    del wrapped
    assert CountingView.alive() == alive - 1
    # What the library owns stays its own, whatever is said to its holder.
    lent = _zarnik.cvar.ZARNIK_VERSION
    lent.this.acquire()
    lent.this.own(True)
    assert not lent.this.own()
    node = _zarnik.new_MetadataNode("key", None)
    node.disown()
    for delete, other in (
        (_zarnik.delete_VersionInfo, lent),
        (_zarnik.delete_VersionInfo, _typetable.lentVersion()),
        (_zarnik.delete_ImageType, _zarnik.cvar.ImageTypeId_VOLUME),
        (_zarnik.delete_MetadataNode, node),
    ):
        for _ in range(2):
            raises(RuntimeError, "cannot release ownership as memory is not owned for argument 1", delete, other)
    node.acquire()
    del lent
    assert (_zarnik.cvar.ZARNIK_VERSION.minor, _typetable.lentVersion().major) == (11, 7)
    assert _zarnik.cvar.ImageTypeId_VOLUME.dimension_count() == 3
    assert _zarnik.MetadataNode_get_key(node) == "key"


def test_destroying_by_the_class_of_the_base():
    alive = CountingView.alive()
    view = CountingView((1,))
    _zarnik.delete_View(view)
    assert CountingView.alive() == alive
    null_reference(_zarnik.ImageView_get_shape, 1, "zarnik::ImageView *", view)
    read_only = _zarnik.ImageView___get_properties(CountingView((1,)))
    raises(TypeError, "in method 'delete_ImageProperties', argument 1", _zarnik.delete_ImageProperties, read_only)


class Endless:
    def __getattr__(self, name):
        return Endless()


def test_objects_that_only_look_wrapped():
    looping = type("Looping", (), {})()
    looping.this = looping
    fleeting = type("Fleeting", (), {"this": property(lambda self: _zarnik.new_Vector3d())})()
    vector = _zarnik.new_Vector3d()
    impostor = type("SwigPyObject", (), {"__slots__": ("a", "b", "c", "d"), "own": type(vector).__dict__["own"]})()
    wrapping = type("Wrapping", (), {"this": impostor})()
    for odd in (Endless(), fleeting, looping, impostor, wrapping):
        bad_argument(TypeError, _zarnik.Vector3d_size, 1, "zarnik::Vector< double,3 > const *", odd)
    for odd in (impostor, wrapping):
        raises(TypeError, "", vector.append, odd)
    _zarnik.Vector3d_swiginit(vector, vector)
    assert vector.next() is None


def from_address(view):
    """The wrapped object takes over the shared pointer at the address."""
    return _zarnik.ImageView_create_from_pointer(_typetable.pointerAddress(view))


@pytest.mark.parametrize("share", [_typetable.sameView, from_address])
def test_shared_objects_live_as_long_as_either_side_needs_them(share):
    alive = CountingView.alive()
    view = CountingView((2, 3))
    assert _typetable.useCount(view) == 1
    second = share(view)
    assert type(second) is _classes.ImageView
    assert _typetable.useCount(view) == _typetable.useCount(second) == 2
    del view
    assert (CountingView.alive(), _typetable.useCount(second)) == (alive + 1, 1)
    assert _zarnik.ImageView_get_shape(second).at(1) == 3
    _zarnik.delete_ImageView(second.this)
    assert CountingView.alive() == alive
    null_reference(_zarnik.ImageView_get_shape, 1, "zarnik::ImageView *", second)
    del second
    assert CountingView.alive() == alive
    assert _typetable.emptyView() is _typetable.sameView(None) is None


class Cycle(_classes.VersionInfo):
    pass


def test_objects_in_cycles_are_collected():
    objects = [Cycle() for _ in range(100)]
    for record in objects:
        record.itself = record
    references = [weakref.ref(record) for record in objects]
    del objects, record
    gc.collect()
    assert not any(reference() for reference in references)


def test_calls_keep_reference_counts():
    vector, sequence = _classes.VectorXu64([1, 2]), [3, 4]
    view = CountingView((2, 3))
    arguments = [vector, sequence, view, NotImplemented]
    before = [sys.getrefcount(argument) for argument in arguments]
    for _ in range(1000):
        _zarnik.VectorXu64___add__(vector, sequence)
        _zarnik.VectorXu64___eq__(vector, "abc")
        _zarnik.ImageView_get_shape(view)
        _zarnik.VectorXu64_at(vector, 0)
        raises(ValueError, "", _zarnik.VectorXu64_dot, vector, 5)
        raises(SystemError, "", _zarnik.VectorXu64_dot, vector, [2**40, 1])
    after = [sys.getrefcount(argument) for argument in arguments]
    assert [b - a for a, b in zip(before, after)] == [0] * 4


def test_memory_stays_where_it_was_over_many_calls():
    """Temporaries of conversions, results and errors: a leak of ten bytes a call would show."""
    run = run_python(
        """
import resource
import _zarnik
from zarnik import _classes

vector = _classes.VectorXd([1.5] * 100)
sequence = [2.5] * 100

def calls(count):
    for _ in range(count):
        _zarnik.VectorXd___add__(vector, sequence)
        _zarnik.new_Error("message " * 20)
        _zarnik.new_ImageProperties(_classes.SpatialCalibrationProperty(), _classes.ImageInfoProperty(0x10108))
        for function, arguments in ((_zarnik.VectorXd_at, (vector, 1000)), (_zarnik.VectorXd_dot, (vector, [1, "a"]))):
            try:
                function(*arguments)
            except (TypeError, _classes.Error):
                pass

calls(2000)
before = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss
calls(20000)
print(resource.getrusage(resource.RUSAGE_SELF).ru_maxrss - before)
"""
    )
    assert run.stderr == ""
    assert int(run.stdout) < 1000, "KiB more after 20000 rounds"
