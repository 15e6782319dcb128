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
        sizes = _classes.VectorXu64([0] * len(shape))
        for i, size in enumerate(shape):
            sizes.set_at(i, size)
        axes = 0 if axes is None else axes.value()
        _typetable.CountingView_swiginit(self, _typetable.new_CountingView(sizes, dtype, axes, capabilities))


class ThrowingView(_classes.ImageView):
    """A view that throws the named kind of C++ exception whatever it is asked."""

    __swig_destroy__ = _typetable.delete_ThrowingView

    def __init__(self, kind):
        _typetable.ThrowingView_swiginit(self, _typetable.new_ThrowingView(kind))


_typetable.CountingView_swigregister(CountingView)
_typetable.ThrowingView_swigregister(ThrowingView)
