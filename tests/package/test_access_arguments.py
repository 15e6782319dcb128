"""Every argument of what opens, reads and writes bytes, given what it cannot take: an error, and all goes on."""

import errno
import io
import os
import resource
import signal
from collections.abc import Callable
from pathlib import Path
from typing import Any

import numpy
import pytest

import zarnik
from support.expect import raises

CONTENT = bytes(range(256)) * 4

# References to objects, whose bytes nobody may change or keep.
OBJECTS = numpy.array([object()])
WITH_OBJECTS = numpy.zeros(2, [("N", "u1"), ("at", "O")])
REFERENCES = (OBJECTS, WITH_OBJECTS, memoryview(OBJECTS), memoryview(WITH_OBJECTS), OBJECTS.view(numpy.recarray))

NOT_NUMBERS = (None, "7", 1.5, b"7", object())
BAD = {
    "size": (*NOT_NUMBERS, -1, 2**64),
    "size or all": (*NOT_NUMBERS[1:], 2**64),
    "offset": (*NOT_NUMBERS, -1, 2**64),
    "seek": (*NOT_NUMBERS, -1, 2**64, -(2**64)),
    "whence": (*NOT_NUMBERS, -1, 3, 2**64),
    "source": (None, 7, "text", object(), memoryview(CONTENT)[::2], *REFERENCES),
    "destination": (None, 7, "text", object(), CONTENT, memoryview(bytearray(9))[::2], *REFERENCES),
    "index": ("0", None, 1.5, len(CONTENT), -len(CONTENT) - 1, 2**64),
    "pairs": (None, 7, [7], [(0,)], [(0, 1, 2)], [None], [("0", 1)], [(0, None)], [(-1, 1)], [(0, -1)], [(2**64, 1)]),
    "pairs beyond": ([(0, 2**64)], [(2**63, 2**63)], [(0, 1), (1024, 1)], [(2**64 - 1, 1)]),
    "path": ("", "a\0b", Path("a\0b"), "http://", "http://[", "http:///x", "ftp://x/y", "file://elsewhere/x"),
    "what": (None, 7, 1.5, object(), {}, [1], "some.missing"),
    "mode": (None, 7, "", "x", "rw", "r\0", "rbb"),
    "method": (None, 7, "", "GET\r\nX: y", "G\0ET", "GET x"),
    "headers": (7, "text", {"A": None}, {7: "x"}, {"A\n": "x"}, {"A": "x\r\ny"}, {"A": "x\0"}, {"": "x"}),
    "uri": (None, 7, "\0", "http://h\n", "http://[", "http://h:99999/"),
}

random_factory, stream_factory = zarnik.RandomAccessFactory, zarnik.StreamAccessFactory


def open_by_request(method: Any, headers: Any) -> Any:
    return zarnik.open_random("http://127.0.0.1:9/", method=method, headers=headers)


class Things:
    """What the calls are made on."""

    def __init__(self, path: Path) -> None:
        self.path = path
        path.write_bytes(CONTENT)
        self.file = zarnik.open_random(path, mode="r+")
        self.memory = random_factory.copy_in_memory(zarnik.open_random(CONTENT))
        self.stream = zarnik.open_stream(path, "r+")
        self.python = zarnik.open_random(io.BytesIO(CONTENT))

    def randoms(self) -> list[Any]:
        return [self.file, self.memory, self.python, random_factory.from_stream(self.stream)]


CALLS: list[tuple[str, Callable[[Things], Any], list[tuple[str, Any]]]] = [
    ("read", lambda t: t.file.read, [("offset", 3), ("size or all", 4)]),
    ("read_memory", lambda t: t.memory.read, [("offset", 3), ("size or all", 4)]),
    ("read_python", lambda t: t.python.read, [("offset", 3), ("size or all", 4)]),
    ("item", lambda t: t.file.__getitem__, [("index", 3)]),
    ("read_into", lambda t: t.file.read_into, [("offset", 3), ("destination", bytearray(4))]),
    ("read_many", lambda t: t.file.read_many, [("pairs", [(3, 4), (5, 4), (3, 4), (1024, 0)])]),
    ("read_many_beyond", lambda t: t.memory.read_many, [("pairs beyond", [])]),
    ("write", lambda t: t.memory.write, [("offset", 3), ("source", CONTENT[3:7])]),
    ("write_file", lambda t: t.file.write, [("offset", 3), ("source", CONTENT[3:7])]),
    ("resize", lambda t: t.memory.resize, [("size", len(CONTENT))]),
    ("resize_file", lambda t: t.file.resize, [("size", len(CONTENT))]),
    ("stream_read", lambda t: t.stream.read, [("size or all", 4)]),
    ("stream_readinto", lambda t: t.stream.readinto, [("destination", bytearray(4))]),
    ("stream_write", lambda t: t.stream.write, [("source", b"")]),
    ("stream_seek", lambda t: t.stream.seek, [("seek", 3), ("whence", 0)]),
    ("as_file_seek", lambda t: t.stream.as_file().seek, [("seek", 3), ("whence", 0)]),
    ("open_random", lambda t: lambda a, mode: zarnik.open_random(a, mode=mode), [("what", CONTENT), ("mode", "r")]),
    ("open_random_path", lambda t: zarnik.open_random, [("path", CONTENT)]),
    ("open_stream", lambda t: zarnik.open_stream, [("what", CONTENT), ("mode", "r")]),
    ("open_stream_path", lambda t: zarnik.open_stream, [("path", CONTENT)]),
    ("from_buffer", lambda t: random_factory.from_buffer, [("what", CONTENT)]),
    ("uri", lambda t: zarnik.Uri, [("uri", "http://h/x")]),
    ("http", lambda t: open_by_request, [("method", "GET"), ("headers", None)]),
]  # fmt: skip


@pytest.fixture
def things(tmp_path: Path) -> Things:
    return Things(tmp_path / "content")


@pytest.mark.parametrize(("make", "arguments"), [call[1:] for call in CALLS], ids=[call[0] for call in CALLS])
def test_what_an_argument_cannot_be_is_an_error(things: Things, make: Any, arguments: list[tuple[str, Any]]) -> None:
    good = [value for _, value in arguments]
    wrong = []
    for place, (kind, _) in enumerate(arguments):
        for bad in BAD[kind]:
            given = [*good[:place], bad, *good[place + 1 :]]
            try:
                result = make(things)(*given)
            except (TypeError, ValueError, IndexError, OverflowError, zarnik.Error) as error:
                if not str(error):
                    wrong.append((given, "no text"))
                continue
            wrong.append((given, result))
    assert not wrong
    for access in things.randoms():
        assert access.read(0, 2000) == CONTENT


class Filling(io.RawIOBase):
    """A file that tries to take away the memory that it fills."""

    def __init__(self, take: Callable[[], None]) -> None:
        self.take, self.refusals = take, 0

    def readable(self) -> bool:
        return True

    def readinto(self, buffer: Any) -> int:
        try:
            self.take()
        except BufferError:
            self.refusals += 1
        buffer[:] = b"x" * len(buffer)
        return len(buffer)


def test_memory_stays_while_it_is_filled() -> None:
    memory = bytearray(1000)
    view = memoryview(memory)
    for take in (memory.clear, lambda: memory.extend(bytes(1 << 20)), view.release):
        file = Filling(take)
        assert zarnik.open_stream(file).readinto(view if take == view.release else memory) == 1000
        # Releasing a view of the memory takes nothing away: the call has its own.
        assert file.refusals == (take != view.release) and memory == b"x" * 1000
        memory[:] = bytes(1000)


def test_a_structure_may_have_any_names() -> None:
    records = memoryview(numpy.zeros(2, [("O", "u1"), ("NO", "u1")]))
    assert zarnik.open_random(CONTENT).read_into(1, records) == 4 and bytes(records) == CONTENT[1:5]


def test_signals_do_not_disturb_transfers(tmp_path: Path) -> None:
    seen: list[int] = []
    before = signal.signal(signal.SIGALRM, lambda number, _: seen.append(number))
    signal.siginterrupt(signal.SIGALRM, True)
    signal.setitimer(signal.ITIMER_REAL, 0.001, 0.001)
    data = os.urandom(1 << 20) * 16
    try:
        while len(seen) < 20:
            with zarnik.open_stream(tmp_path / "file", "w") as stream:
                assert stream.write(data) == len(data)
            assert zarnik.open_random(tmp_path / "file").read() == data
    finally:
        signal.setitimer(signal.ITIMER_REAL, 0)
        signal.signal(signal.SIGALRM, before)


def test_a_full_disk_is_an_error_of_the_write(tmp_path: Path) -> None:
    limits = resource.getrlimit(resource.RLIMIT_FSIZE)
    stream = zarnik.open_stream(tmp_path / "full", "w")
    access = zarnik.open_random(tmp_path / "full", mode="r+")
    image = zarnik.empty((20_000,), "u1").to_disk(tmp_path)
    reason = os.strerror(errno.EFBIG)
    zeros = bytes(20_000)
    resource.setrlimit(resource.RLIMIT_FSIZE, (10_000, limits[1]))
    try:
        for write in (lambda: stream.write(zeros), lambda: access.write(9_000, zeros), lambda: access.resize(20_000)):
            raises(zarnik.Error, f"{tmp_path}.*{reason}", write)
        image[9_999] = 7
        raises(zarnik.Error, f"{tmp_path}.*{reason}", image.__setitem__, 10_000, 7)
        assert stream.tell() == 0
    finally:
        resource.setrlimit(resource.RLIMIT_FSIZE, limits)
    assert access.write(0, b"goes on") == 7
