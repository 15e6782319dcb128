"""Images of many dimensions that share their memory with NumPy.

An image knows what its axes mean, how large its elements are, in which unit, and what its values stand for. The axes of
arrays stand in the order T, Z, Y, X, C; those of the library in the order X, Y, Z, C, T::

    array.shape         (20, 30, 64, 48)
    axes "TZYX"           T   Z   Y   X
                          |   |   |   +-- COLUMN     along a row of the picture, 48
                          |   |   +------ ROW        down the picture, 64
                          |   +---------- SLICE      from picture to picture, 30
                          +-------------- SEQUENCE   from moment to moment, 20
    image.shape         (20, 30, 64, 48)             what every array of the image has, and what `image[...]` takes
    image.get_shape()   (48, 64, 30, 20)             X, Y, Z, T; also the order of regions, and of `read` and `write`

The colours or components of a pixel are the axis C (CHANNEL), the last of an array.

Where to begin:

- images: `from_numpy(array, axes="ZYX", spacing=..., unit="mm")`, `zeros`, `empty`, `full`, `zeros_like`, `from_dlpack`
- elements: `image[...]`, `image.to_numpy()`, `image.isel(Z=3)`, `image.read_region(RegionXu64(origin, size))`
- space: `image.spacing`, `origin`, `unit`, `directions`, `affine`, `set_affine`, `index_to_world`
- meaning: `image.axes`, `interpretation`, `value_range`, `bit_depth`, and all together `image.properties`
- metadata: `image.metadata["scanner/name"] = "Z1"`, `MetadataNode.from_dict`, `to_json`
- views of images: `ImageViewFactory`, `ImageViewProvider`
- values: `RegionXu64`, `VectorXu64`, `Vector3d`, `Matrix4d`, `DataType`, `ImageType`, `ImageDimension`
- errors: `Error`, and its kinds `InvalidArgument` (a ValueError) and `NotImplemented` (a NotImplementedError)

`dir(zarnik)` has what a person uses. More can be imported: vectors, regions, matrices and arrays of every element type
(`zarnik.Vector3u8`), and the members of enumerations as constants (`zarnik.ImageDimension_ROW`).

    >>> import numpy, zarnik
    >>> scan = numpy.zeros((20, 30, 64, 48), numpy.uint16)
    >>> image = zarnik.from_numpy(scan, axes="TZYX")    # no copy
    >>> image.spacing = 0.8, 0.8, 2.5                   # along X, Y, Z
    >>> image[0, 10, 5, 5] = 7
    >>> int(scan[0, 10, 5, 5]), image[0, 10].shape, image.to_numpy().shape
    (7, (64, 48), (20, 30, 64, 48))
"""

from __future__ import annotations

import _zarnik as _zarnik

# Each of these adds to the generated classes. A new topic is one more name here, and a line below for each function
# that it makes public.
from zarnik import (  # noqa: F401
    _access,
    _arraylike,
    _bridges,
    _capabilities,
    _classes,
    _dask,
    _dependencies,
    _errors,
    _files,
    _frames,
    _indexer,
    _lazy,
    _matrices,
    _multi,
    _nodes,
    _picture,
    _properties,
    _regions,
    _small_arrays,
    _spatial,
    _store,
    _types,
    _vectors,
    _views,
    _writer,
)
from zarnik._access import open_random as open_random
from zarnik._access import open_stream as open_stream
from zarnik._bridges import from_nibabel as from_nibabel
from zarnik._bridges import from_simpleitk as from_simpleitk
from zarnik._bridges import from_xarray as from_xarray
from zarnik._classes import *  # noqa: F403
from zarnik._creation import empty as empty
from zarnik._creation import empty_like as empty_like
from zarnik._creation import full as full
from zarnik._creation import full_like as full_like
from zarnik._creation import zeros as zeros
from zarnik._creation import zeros_like as zeros_like
from zarnik._dask import from_dask as from_dask
from zarnik._enumerations import *  # noqa: F403
from zarnik._extension import publish as _publish
from zarnik._files import LossWarning as LossWarning
from zarnik._files import formats as formats
from zarnik._files import info as info
from zarnik._files import open as open
from zarnik._files import rebuild_levels as rebuild_levels
from zarnik._files import save as save
from zarnik._http import http_options as http_options
from zarnik._http import set_http_options as set_http_options
from zarnik._interop import from_dlpack as from_dlpack
from zarnik._interop import from_numpy as from_numpy
from zarnik._lazy import from_array as from_array
from zarnik._lazy import open_raw as open_raw
from zarnik._lazy import stack as stack
from zarnik._lazy import uniform as uniform
from zarnik._multi import coarser_levels as coarser_levels
from zarnik._multi import lod_image as lod_image
from zarnik._multi import multi_image as multi_image
from zarnik._names import SHOWN as _SHOWN
from zarnik._shared_files import create as create
from zarnik._threads import set_thread_count as set_thread_count
from zarnik._threads import thread_count as thread_count
from zarnik._tiles import cache_info as cache_info
from zarnik._tiles import set_cache_size as set_cache_size
from zarnik._variants import variant as variant
from zarnik._writer import writer as writer

_publish(vars(_classes).values())

__version__: str = _classes.cvar.ZARNIK_VERSION_STRING

# An asterisk import must not hide Python's own.
__all__ = [name for name in _SHOWN if name != "open"]


def __dir__() -> list[str]:
    return [*_SHOWN, "__version__"]
