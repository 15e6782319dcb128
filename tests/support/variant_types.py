"""Python class of the values that the tests' own module hands to _zarnik through the shared type table."""

from __future__ import annotations

import _variants

from zarnik import _classes


class CountingValue(_classes.VariantDataValue):
    """A value of one element of any type; CountingValue.alive() tells how many there are."""

    __swig_destroy__ = _variants.delete_CountingValue
    alive = staticmethod(_variants.CountingValue_alive)

    def __init__(self, type_id):
        _variants.CountingValue_swiginit(self, _variants.new_CountingValue(type_id))


_variants.CountingValue_swigregister(CountingValue)
