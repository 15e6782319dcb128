"""Elements and regions of arrays of any strides, with NumPy itself as the measure."""

import numpy
from hypothesis import given, settings
from hypothesis import strategies as st
from numpy.lib.stride_tricks import as_strided

import _zarnik
from support.strided import strided_arrays
from zarnik import _classes


@st.composite
def arrays_with_axes(draw):
    array = draw(strided_arrays(max_side=7, unaligned=True))
    return array, draw(st.permutations(range(5)))[: array.ndim]


def canonical(array, dimensions):
    """The array with its axes as a dense region of the view has them: the last dimension of the view first."""
    return array.transpose(sorted(range(array.ndim), key=lambda axis: -dimensions[axis]))


def region(slices):
    """The region of a view for the slices of a canonical array."""
    bounds = slices[::-1]
    return _classes.RegionXu64([s.start for s in bounds], [s.stop - s.start for s in bounds])


def draw_slices(data, shape):
    starts = [data.draw(st.integers(0, size)) for size in shape]
    return tuple(slice(start, data.draw(st.integers(start, size))) for start, size in zip(starts, shape))


def view_of(array, dimensions):
    return _zarnik.NumpyInterop__order_from_numpy_array(array, dimensions, 0, False)


@settings(deadline=None, max_examples=300)
@given(arrays_with_axes(), st.data())
def test_regions_are_read_and_written_like_slices(case, data):
    array, dimensions = case
    view, mirror = view_of(array, dimensions), canonical(array, dimensions)
    slices = draw_slices(data, mirror.shape)

    buffer = numpy.zeros_like(mirror[slices], order="C", subok=False)
    _zarnik.ImageView___read_region(view, region(slices), buffer)
    numpy.testing.assert_array_equal(buffer, mirror[slices])

    expected = mirror.copy()
    written = numpy.arange(1, buffer.size + 1).astype(array.dtype).reshape(buffer.shape)
    _zarnik.ImageView___write_region(view, region(slices), written)
    # Where one element stands for several, the last one written stays, and shows outside of the region, too.
    repeated = [stride == 0 and size > 1 for stride, size in zip(mirror.strides, mirror.shape)]
    last = tuple(slice(-1, None) if again else slice(None) for again in repeated)
    if written.size:
        everywhere = tuple(slice(None) if again else s for again, s in zip(repeated, slices))
        expected[everywhere] = written[last]
    numpy.testing.assert_array_equal(mirror, expected)


def test_four_gibibytes_of_addresses_in_one_element():
    base = numpy.array([7], numpy.uint8)
    array = as_strided(base, (1 << 16, 1 << 17), (0, 0))
    view = view_of(array, [1, 0])
    buffer = numpy.zeros((3, 5), numpy.uint8)
    _zarnik.ImageView___read_region(view, region((slice(65533, 65536), slice((1 << 17) - 5, 1 << 17))), buffer)
    assert (buffer == 7).all()
    back = _zarnik.NumpyInterop_to_numpy_array(view)
    assert (back.shape, back.strides) == (array.shape, (0, 0))
    back[12345, 54321] = 9
    assert base[0] == 9


def test_offsets_beyond_four_gibibytes():
    """Address space is taken, memory only for the few pages that are touched."""
    array = numpy.zeros((5, 1 << 30), numpy.uint8)
    array[4, -3:] = 1, 2, 3
    view = view_of(array, [1, 0])
    buffer = numpy.zeros((1, 3), numpy.uint8)
    where = region((slice(4, 5), slice((1 << 30) - 3, 1 << 30)))
    _zarnik.ImageView___read_region(view, where, buffer)
    assert buffer.tolist() == [[1, 2, 3]]
    _zarnik.ImageView___write_region(view, where, buffer + 10)
    assert array[4, -3:].tolist() == [11, 12, 13]
    turned = view_of(array[::-1, ::-1], [1, 0])
    _zarnik.ImageView___read_region(turned, region((slice(0, 1), slice(0, 3))), buffer)
    assert buffer.tolist() == [[13, 12, 11]]
