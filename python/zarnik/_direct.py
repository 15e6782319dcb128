"""What every access to an image needs, in one call of the extension module instead of ten flat ones.

The functions are a module of their own within the file of `_zarnik`.
"""

from __future__ import annotations

from importlib.machinery import ExtensionFileLoader
from importlib.util import module_from_spec, spec_from_file_location
from typing import Any, Callable

import numpy

import _zarnik


def _load() -> Any:
    name = "zarnik_direct"
    spec = spec_from_file_location(name, loader=ExtensionFileLoader(name, _zarnik.__file__))
    assert spec is not None and spec.loader is not None
    module = module_from_spec(spec)
    spec.loader.exec_module(module)
    return module


_module = _load()

#: the axes (the value of an ImageType), the data type (the id) and the size of an image along each dimension
geometry: Callable[[Any], tuple[int, int, tuple[int, ...]]] = _module.geometry
#: the origin and the size of a RegionXu64
corners: Callable[[Any], tuple[tuple[int, ...], tuple[int, ...]]] = _module.corners
#: a RegionXu64 of an image as a new array, or None if there is no layout for such images or no room for the array
read_region: Callable[[Any, Any], numpy.ndarray[Any, Any] | None] = _module.read_region
#: the layout that read_region uses: axes, data type, rank, dtype of elements, shape of a pixel, order of axes
add_layout: Callable[[int, int, int, numpy.dtype[Any], tuple[int, ...], tuple[int, ...]], None] = _module.add_layout
