"""Images as pickles."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any

import numpy

from zarnik import _direct
from zarnik._calls import flat as _zarnik
from zarnik._extension import extends
from zarnik._geometry import geometry_of
from zarnik._recipes import own_metadata, reduced

if TYPE_CHECKING:
    from zarnik._classes import ImageView


@extends("ImageView")
class _PickledImage:
    def __reduce_ex__(self, protocol: Any) -> tuple[Any, ...]:
        return reduced(self, protocol) or by_value(self, protocol)


def by_value(image: Any, protocol: Any) -> tuple[Any, ...]:
    """Return what an image pickles as by its elements, out of band where the protocol has that."""
    samples = _stored_samples(image)
    data: Any = samples.tobytes() if protocol < 5 else _buffer_of(samples)
    properties = _zarnik.ReadonlyImageProperties_clone(_zarnik.ImageView___get_properties(image))
    data_type = _zarnik.DataType_get_id(_zarnik.ImageView_get_data_type(image))
    return _image_of, (data, tuple(image.get_shape()), data_type, properties, own_metadata(image))


def _stored_samples(image: Any) -> numpy.ndarray[Any, Any]:
    """The samples as an array whose memory, in C order, has the first dimension fastest; shared where it can be."""
    layout, _ = geometry_of(image)
    return numpy.ascontiguousarray(layout.to_buffer_axes(image.to_numpy()))


def _buffer_of(samples: numpy.ndarray[Any, Any]) -> Any:
    from pickle import PickleBuffer

    data: Any = samples.reshape(-1).view(numpy.uint8)
    return PickleBuffer(data)


def _image_of(data: Any, sizes: tuple[int, ...], data_type: int, properties: Any, metadata: Any) -> ImageView:
    # What came within the pickle belongs to nobody else: it may be changed.
    samples = bytearray(data) if isinstance(data, bytes) else data
    return _direct.image_over_buffer(samples, sizes, data_type, properties, metadata)
