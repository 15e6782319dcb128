"""What every accessor and every stream does, whatever stands behind it, against a bytearray."""

import io
import random

import pytest

import _zarnik
import zarnik
from zarnik import RandomAccessFactory as Randoms
from zarnik import StreamAccessFactory as Streams
from zarnik._tiles import in_threads

READ, WRITE, RESIZE, SEEK, MEMORY = 1, 2, 4, 4, 8
HUGE = 2**63 - 1, 2**63, 2**64 - 1
CONTENT = bytes(range(1, 11))


class Foreign(io.BytesIO):
    """A file of Python that stays as large as it is."""

    def write(self, data):
        return super().write(bytes(data)[: max(len(self.getbuffer()) - self.tell(), 0)])


class InOrder:
    """A file that can be read in order alone."""

    def __init__(self, content):
        self.read = io.BytesIO(content).read


def framed(content):
    return b"\xfa" * 3 + content + b"\xfb" * 2


def inside(access):
    return Randoms.extract_region(access, 3, len(access) - 5)


def filled(made, content):
    made.write(*[0] * isinstance(made, zarnik.RandomAccess), content)
    if isinstance(made, zarnik.StreamAccess):
        made.seek(0)
    return made


def stored(content, path, name="some file"):
    (path / name).write_bytes(content)
    return str(path / name)


def of_storage(path, mode):
    return zarnik.open_stream(path).get_storage().open_random_access("some file", mode)


def over_a_stream(content):
    return zarnik.open_random(Foreign(content), mode="r+")


RANDOM = {
    "memory": (15, lambda data, path: filled(Randoms.allocate(len(data)), data)),
    "buffer": (11, lambda data, path: Randoms.from_buffer(bytearray(data))),
    "read-only buffer": (9, lambda data, path: zarnik.open_random(data)),
    "file to read": (1, lambda data, path: Randoms.open_uri_read(zarnik.Uri(f"file://{stored(data, path, 'x')}"))),
    "file": (7, lambda data, path: of_storage(stored(data, path), 3)),
    "file to write": (6, lambda data, path: filled(of_storage(stored(b"", path), 2), data)),
    "mapping": (11, lambda data, path: Randoms.map_file(stored(data, path))),
    "region of memory": (11, lambda data, path: inside(Randoms.from_buffer(bytearray(framed(data))))),
    "region of region": (3, lambda data, path: inside(inside(of_storage(stored(framed(framed(data)), path), 3)))),
    "over a stream": (3, lambda data, path: over_a_stream(data)),
}

STREAMS = {
    "memory": (15, True, lambda data, path: filled(Streams.allocate(), data)),
    "memory of fixed size": (15, False, lambda data, path: filled(Streams.allocate(len(data)), data)),
    "copy in memory": (15, True, lambda data, path: Streams.copy_in_memory(zarnik.open_stream(io.BytesIO(data)))),
    "file to read": (5, False, lambda data, path: Streams.open_file_read(stored(data, path))),
    "file to write": (6, True, lambda data, path: filled(Streams.open_file_write(stored(b"x", path)), data)),
    "file": (7, True, lambda data, path: Streams.open_file(stored(data, path))),
    "over an accessor": (7, False, lambda data, path: Streams.from_random_access(over_a_stream(data))),
    "over a buffer": (13, False, lambda data, path: Streams.from_random_access(zarnik.open_random(data))),
    "file of Python in order": (1, False, lambda data, path: zarnik.open_stream(InOrder(data))),
}


def attempt(allowed, call, *arguments):
    """The result of a call, or None where it has to be refused."""
    if allowed:
        return call(*arguments)
    with pytest.raises(zarnik.Error):
        call(*arguments)
    return None


@pytest.mark.parametrize("seed", range(10))
@pytest.mark.parametrize("kind", RANDOM)
def test_random_accessors(kind, seed, tmp_path):
    capabilities, make = RANDOM[kind]
    access, expected, source = make(CONTENT, tmp_path), bytearray(CONTENT), random.Random(seed)
    assert access.capabilities().value() == capabilities
    for _ in range(40):
        offset, size = source.choice([*[source.randrange(15)] * 9, source.choice(HUGE)]), source.randrange(13)
        data, step = source.randbytes(size), source.choice(["read", "many", "write", "write", "resize"])
        part = bytes(expected[offset : offset + size])
        if step == "read":
            assert attempt(capabilities & READ, access.read, offset, size) in (part, None)
        elif step == "many" and capabilities & READ:
            whole = [(place, min(3, len(expected) - place)) for place in range(min(len(expected), 8))]
            assert access.read_many(whole) == [bytes(expected[place : place + count]) for place, count in whole]
            attempt(len(part) == size and offset <= len(expected), access.read_many, [*whole, (offset, size)])
        elif step == "write" and (size or offset < 15):
            room = size if capabilities & RESIZE else max(len(expected) - offset, 0)
            allowed = capabilities & WRITE and (offset < 15 or not capabilities & RESIZE)
            count = attempt(allowed, _zarnik.RandomAccess_write, access, offset, data)
            assert count == (min(size, room) if allowed else None)
            if count:
                expected.extend(bytes(max(offset - len(expected), 0)))
                expected[offset : offset + count] = data[:count]
        elif step == "resize":
            allowed = bool(capabilities & RESIZE) and offset < 15
            attempt(allowed, _zarnik.RandomAccess_resize, access, offset)
            if allowed:
                expected[:] = expected[:offset].ljust(offset, b"\0")
        assert len(access) == len(expected)
    if capabilities & READ:
        assert access[:] == expected
    assert len(make(b"", tmp_path)) == 0


@pytest.mark.parametrize("kind", [kind for kind, (capabilities, _) in RANDOM.items() if capabilities & READ])
def test_memory_and_threads_of_random_accessors(kind, tmp_path):
    capabilities, make = RANDOM[kind]
    access = make(CONTENT * 20, tmp_path)

    def read(number):
        for round in range(50):
            offset = (number * 37 + round * 11) % 190
            assert access.read(offset, 10) == (CONTENT * 20)[offset : offset + 10]

    in_threads(read, range(4), 4)
    if capabilities & MEMORY:
        array = access.share()
        if capabilities & WRITE:
            access.write(4, b"M")
            assert array[4] == ord("M")
            array[4] = CONTENT[4]
        if capabilities & RESIZE:
            for size in (5, 200, 1_000_000):
                _zarnik.RandomAccess_resize(access, size)
            access.write(1_999_000, bytes(1000))
        # The memory that was shared outlives all that becomes of the accessor.
        del access
        assert bytes(array) == CONTENT * 20
    else:
        attempt(False, access.share)


@pytest.mark.parametrize("seed", range(10))
@pytest.mark.parametrize("kind", STREAMS)
def test_streams(kind, seed, tmp_path):
    capabilities, grows, make = STREAMS[kind]
    stream, expected, source = make(CONTENT, tmp_path), bytearray(CONTENT), random.Random(seed)
    assert stream.capabilities().value() == capabilities
    place, met_end = 0, False
    for _ in range(60):
        step, size = source.choice(["read", "peek", "seek", "seek", "write"]), source.randrange(6)
        if step == "read":
            buffer = bytearray(size)
            count = attempt(capabilities & READ, _zarnik.StreamAccess___read, stream, buffer)
            if count is not None:
                assert buffer[:count] == expected[place : place + size]
                place, met_end = place + count, met_end or count < size
        elif step == "peek":
            allowed = bool(capabilities & READ) and place < len(expected)
            assert attempt(allowed, _zarnik.StreamAccess_peek, stream) in (None, *expected[place : place + 1])
        elif step == "seek":
            origin, base = source.choice([(1, 0), (2, place), (3, len(expected))])
            offset = source.choice([*range(-len(expected) - 2, 13), -(2**63), 2**63 - 1])
            to = base + offset
            allowed = bool(capabilities & SEEK) and 0 <= to < 2**64 and (to <= len(expected) or grows)
            attempt(allowed, _zarnik.StreamAccess_seek, stream, offset, origin)
            place, met_end = (to, False) if allowed else (place, met_end)
        elif step == "write":
            room = size if grows else max(len(expected) - place, 0)
            allowed = capabilities & WRITE and (place < 1000 or not size)
            data = source.randbytes(size)
            count = attempt(allowed, _zarnik.StreamAccess_write, stream, data)
            assert count == (min(size, room) if allowed else None)
            if count:
                expected.extend(bytes(max(place - len(expected), 0)))
                expected[place : place + count] = data[:count]
                place += count
        assert stream.tell() == place
        states = [getattr(_zarnik, f"StreamAccess_get_{state}")(stream) for state in ("good", "eof", "fail")]
        assert states == [not met_end, met_end, False]
    for origin in (0, 4):
        attempt(False, _zarnik.StreamAccess_seek, stream, 0, origin)


def test_accessors_are_copied_and_converted_only_where_they_have_to_be(tmp_path):
    memory, file = Randoms.allocate(3), of_storage(stored(CONTENT, tmp_path), 1)
    Randoms.copy_in_memory(memory).write(0, b"abc")
    assert memory[:] == b"abc"
    assert bytes(Randoms.copy_in_memory(file).share()) == CONTENT
    assert repr(Randoms.from_stream(Streams.from_random_access(file))) == repr(file)
    in_order = zarnik.open_stream(InOrder(CONTENT))
    for convert in (Randoms.from_stream, Streams.copy_in_memory):
        attempt(False, convert, in_order)
    source = zarnik.open_stream(io.BytesIO(CONTENT))
    source.seek(4)
    Streams.copy_in_memory(source)
    assert source.tell() == 4
