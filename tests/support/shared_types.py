"""Python classes of the objects that the tests' own module hands to _zarnik through the shared type table."""

from __future__ import annotations

import _typetable
import _zarnik
from zarnik import _classes

READ, WRITE, MEMORY_ACCESS = _zarnik.ImageCapability_READ, _zarnik.ImageCapability_WRITE, 8


class CountingView(_classes.ImageView):
    """A dense image in memory; CountingView.alive() tells how many there are."""

    __swig_destroy__ = _typetable.delete_CountingView
    alive = staticmethod(_typetable.CountingView_alive)

    def __init__(self, shape, dtype=_zarnik.DataTypeId_UINT8, axes=None, capabilities=READ | WRITE | MEMORY_ACCESS):
        sizes = _classes.VectorXu64(shape)
        axes = 0 if axes is None else axes.value()
        _typetable.CountingView_swiginit(self, _typetable.new_CountingView(sizes, dtype, axes, capabilities))

    def forget_properties(self):
        _typetable.CountingView_forgetProperties(self)


class TiledView(_classes.ImageView):
    """An image in tiles, without shared memory; TiledView.touched() tells how many elements were read and written."""

    __swig_destroy__ = _typetable.delete_TiledView
    touched = staticmethod(_typetable.TiledView_touched)

    def __init__(self, shape, dtype, tile_size):
        sizes = _classes.VectorXu64(shape), _classes.VectorXu64(tile_size)
        _typetable.TiledView_swiginit(self, _typetable.new_TiledView(sizes[0], dtype, sizes[1]))


class GatedView(_classes.ImageView):
    """An image far away, whose transfers wait for `open(True)`; GatedView.waiting() tells how many do."""

    __swig_destroy__ = _typetable.delete_GatedView
    open = staticmethod(_typetable.GatedView_open)
    waiting = staticmethod(_typetable.GatedView_waiting)

    def __init__(self, shape, dtype=_zarnik.DataTypeId_UINT8):
        _typetable.GatedView_swiginit(self, _typetable.new_GatedView(_classes.VectorXu64(shape), dtype))


class ThrowingView(_classes.ImageView):
    """A view that throws the named kind of C++ exception whatever it is asked."""

    __swig_destroy__ = _typetable.delete_ThrowingView

    def __init__(self, kind):
        _typetable.ThrowingView_swiginit(self, _typetable.new_ThrowingView(kind))


class OddFrame(_classes.DataFrameView):
    """A table of two rows and one column of any type, whose texts are no UTF-8."""

    __swig_destroy__ = _typetable.delete_OddFrame

    def __init__(self, dtype, capabilities):
        _typetable.OddFrame_swiginit(self, _typetable.new_OddFrame(dtype, capabilities))

    def writes(self):
        return _typetable.OddFrame_writes(self)


class StringWriter(_classes.Writer):
    """Writes two blocks into a string, which `written` tells."""

    __swig_destroy__ = _typetable.delete_StringWriter

    def __init__(self):
        _typetable.StringWriter_swiginit(self, _typetable.new_StringWriter())

    def written(self):
        return _typetable.StringWriter_written(self)


class CountingValue(_classes.VariantDataValue):
    """A metadata value of one element of any type; CountingValue.alive() tells how many there are."""

    __swig_destroy__ = _typetable.delete_CountingValue
    alive = staticmethod(_typetable.CountingValue_alive)

    def __init__(self, type_id):
        _typetable.CountingValue_swiginit(self, _typetable.new_CountingValue(type_id))


_typetable.CountingView_swigregister(CountingView)
_typetable.GatedView_swigregister(GatedView)
_typetable.ThrowingView_swigregister(ThrowingView)
_typetable.TiledView_swigregister(TiledView)
_typetable.OddFrame_swigregister(OddFrame)
_typetable.StringWriter_swigregister(StringWriter)
_typetable.CountingValue_swigregister(CountingValue)
