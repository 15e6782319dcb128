"""Transfers by the package's own extension module: the lock given up, interruptions, kinds of errors, buffers."""

import threading
import time

import numpy
import pytest
from numpy.testing import assert_array_equal

import zarnik
from support.expect import raises, run_python
from support.shared_types import GatedView, ThrowingView
from zarnik import _direct


@pytest.fixture
def far_away():
    """An image whose transfers wait for `open(True)`."""
    GatedView.open(False)
    yield GatedView([64, 64])
    GatedView.open(True)


def wait_until(condition):
    deadline = time.monotonic() + 5
    while not condition() and time.monotonic() < deadline:
        time.sleep(0.001)
    assert condition()


def in_thread(function, *arguments):
    thread = threading.Thread(target=function, args=arguments)
    thread.start()
    return thread


def test_others_run_while_an_image_is_read(far_away):
    arrays = [numpy.ones((64, 64), "u1") for _ in range(3)]
    threads = [in_thread(_direct.fill_buffer, far_away, (0, 0), (64, 64), array) for array in arrays]
    wait_until(lambda: GatedView.waiting() == 3)
    GatedView.open(True)
    for thread, array in zip(threads, arrays):
        thread.join()
        assert not array.any()


def test_a_buffer_stays_where_it_is_while_it_is_written(far_away):
    buffer = bytearray(64 * 64)
    thread = in_thread(_direct.write_buffer, far_away, (0, 0), (64, 64), buffer)
    wait_until(lambda: GatedView.waiting() == 1)
    raises(BufferError, "", buffer.append, 1)
    GatedView.open(True)
    thread.join()
    buffer.append(1)


def test_a_waiting_read_is_interrupted():
    run = run_python(
        """
import signal, time
import numpy
from support.shared_types import GatedView
from zarnik import _direct

image = GatedView([64, 64])
signal.setitimer(signal.ITIMER_REAL, 0.2)
signal.signal(signal.SIGALRM, signal.default_int_handler)
start = time.monotonic()
try:
    _direct.fill_buffer(image, (0, 0), (64, 64), numpy.empty((64, 64), "u1"))
except KeyboardInterrupt:
    print("interrupted", time.monotonic() - start < 5, GatedView.waiting())
GatedView.open(True)
"""
    )
    assert (run.stdout, run.stderr, run.returncode) == ("interrupted True 1\n", "", 0)


@pytest.mark.parametrize(
    ("kind", "expected", "python_kind"),
    [
        ("Error", zarnik.Error, Exception),
        ("InvalidArgument", zarnik.InvalidArgument, ValueError),
        ("NotImplemented", zarnik.NotImplemented, NotImplementedError),
        ("runtime_error", RuntimeError, RuntimeError),
        ("bad_alloc", MemoryError, MemoryError),
    ],
)
def test_errors_keep_their_kind(kind, expected, python_kind):
    with pytest.raises(python_kind, match="^$" if kind == "bad_alloc" else f"^thrown as {kind}$") as caught:
        _direct.geometry(ThrowingView(kind))
    assert type(caught.value) is expected
    assert not issubclass(expected, zarnik.Error) or isinstance(caught.value, zarnik.Error)


def test_a_large_image_is_written_from_read_only_memory():
    image = zarnik.ImageViewFactory.allocate([256, 512], "u2")
    values = numpy.arange(256 * 512, dtype="u2").reshape(512, 256)
    for source in (values.tobytes(), memoryview(values).toreadonly(), bytearray(values.tobytes())):
        image.write_region(None, 0)
        _direct.write_buffer(image, (0, 0), (256, 512), source)
        assert_array_equal(image.read(), values)
    for refused in (values.T, values[:, ::2], "text", 5):
        raises((TypeError, ValueError), "", _direct.write_buffer, image, (0, 0), (256, 512), refused)
    raises(TypeError, "needs a contiguous buffer", _direct.fill_buffer, image, (0, 0), (256, 512), values.tobytes())


def test_arrays_that_do_not_fit_a_region_are_not_written():
    image = zarnik.from_numpy(numpy.arange(6, dtype="f8").reshape(2, 3))
    given = numpy.zeros((2, 3))
    _direct.fill_array(image, (0, 0), (3, 2), given[::-1])
    assert_array_equal(given[::-1], image.to_numpy())
    for dtype in ("S0", "V5", "f4", "O", [("a", "O")]):
        array = numpy.zeros((2, 3), dtype)
        raises(ValueError, "needs a writeable array of numbers", _direct.fill_array, image, (0, 0), (3, 2), array)
        assert array.tobytes() == numpy.zeros((2, 3), dtype).tobytes()
    frame = zarnik.DataFrameView.from_dict({"name": ["a", "bc"]})
    for offsets in numpy.array([0, 2**40, 3], "u8"), numpy.array([0, 1, 4], "u8"), numpy.array([0, 1], "u8"):
        raises(zarnik.InvalidArgument, "are no 2 texts", _direct.write_text_cells, frame, 0, offsets, b"xyz")
    assert frame["name"] == ["a", "bc"]


def test_a_layout_fits_its_elements():
    arguments = zarnik.ImageType("YX").value(), int(zarnik.DataTypeId.UINT8), 2, numpy.dtype("u8"), (), (0, 1)
    raises(ValueError, "elements of a layout are as large as those of the image", _direct.add_layout, *arguments)
