"""Python classes of the objects that the tests' own module hands to _zarnik through the shared type table."""

import _typetable
import _zarnik
from zarnik import _classes

READ, WRITE, MEMORY_ACCESS = _zarnik.ImageCapability_READ, _zarnik.ImageCapability_WRITE, 8


class Shared:
    """A class of the tests' own module with the constructor and the functions that the module has for it."""

    def __init_subclass__(cls):
        for name, function in vars(_typetable).items():
            owner, _, rest = name.partition("_")
            if owner == cls.__name__ and rest not in vars(cls):
                setattr(cls, rest, staticmethod(function))
        cls.__swig_destroy__ = getattr(_typetable, f"delete_{cls.__name__}")
        cls.swigregister(cls)

    def __init__(self, *arguments):
        self.swiginit(self, getattr(_typetable, f"new_{type(self).__name__}")(*arguments))


class CountingView(Shared, _classes.ImageView):
    """A dense image in memory; CountingView.alive() tells how many there are."""

    def __init__(self, shape, dtype=_zarnik.DataTypeId_UINT8, axes=None, capabilities=READ | WRITE | MEMORY_ACCESS):
        super().__init__(_classes.VectorXu64(shape), dtype, 0 if axes is None else axes.value(), capabilities)


class TiledView(Shared, _classes.ImageView):
    """An image in tiles, without shared memory; TiledView.touched() tells how many elements were read and written."""

    def __init__(self, shape, dtype, tile_size):
        super().__init__(_classes.VectorXu64(shape), dtype, _classes.VectorXu64(tile_size))


class GatedView(Shared, _classes.ImageView):
    """An image far away, whose transfers wait for `open(True)`; GatedView.waiting() tells how many do."""

    def __init__(self, shape, dtype=_zarnik.DataTypeId_UINT8):
        super().__init__(_classes.VectorXu64(shape), dtype)


class ThrowingView(Shared, _classes.ImageView):
    """A view that throws the named kind of C++ exception whatever it is asked."""


class OddFrame(Shared, _classes.DataFrameView):
    """A table of two rows and one column of any type, whose texts are no UTF-8; OddFrame.writes(frame) counts."""


class StringWriter(Shared, _classes.Writer):
    """Writes two blocks into a string, which StringWriter.written(writer) tells."""


class CountingValue(Shared, _classes.VariantDataValue):
    """A metadata value of one element of any type; CountingValue.alive() tells how many there are."""
