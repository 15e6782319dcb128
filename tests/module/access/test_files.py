"""Files that are cut, very large, reached by links, and whose descriptors are counted."""

import os

import pytest

import _zarnik
import zarnik
from support.expect import refused
from zarnik import RandomAccessFactory as Randoms
from zarnik import StreamAccessFactory as Streams

WAYS = {
    "stream": Streams.open_file,
    "stream to read": Streams.open_file_read,
    "mapping": Randoms.map_file,
    "address": lambda path: Randoms.open_uri_read(zarnik.Uri(f"file:{path}")),
}


def test_a_file_that_is_cut_reads_short(tmp_path):
    path, content = tmp_path / "file", bytes(range(200)) * 100
    path.write_bytes(content)
    file, mapping = zarnik.open_random(path), Randoms.map_file(str(path))
    os.truncate(path, 100)
    for access in (file, mapping):
        assert (access.read(0, 20_000), access.read(19_000, 10)) == (content[:100], b"")
        refused("", access.read_many, [(50, 100)])
    assert [_zarnik.RandomAccess_write(mapping, offset, content[:20]) for offset in (90, 19_000)] == [10, 0]
    assert len(file) == 100


def test_sparse_files_beyond_four_gigabytes(tmp_path):
    path, far = tmp_path / "file", 5 * 2**30 + 7
    path.touch()
    file = zarnik.open_random(path, mode="r+")
    file.resize(far)
    assert file.write(far, b"abc") == 3
    stream = zarnik.open_stream(path)
    stream.seek(-4, os.SEEK_END)
    assert (stream.tell(), stream.peek()) == (far - 1, 0)
    part = Randoms.extract_region(zarnik.open_random(path), 1)
    for access in (zarnik.open_random(path), Randoms.map_file(str(path)), part):
        assert access.read(len(access) - 4, 9) == b"\0abc"


def descriptors(path):
    numbers = [int(number) for number in os.listdir("/proc/self/fd")]
    return [n for n in numbers if os.path.exists(f"/proc/self/fd/{n}") and os.readlink(f"/proc/self/fd/{n}") == path]


@pytest.mark.parametrize("way", WAYS)
def test_what_an_accessor_of_a_file_holds(way, tmp_path):
    path = str(tmp_path / "some file")
    (tmp_path / "some file").write_bytes(b"0123456789")
    access = WAYS[way](path)
    storage, name = access.get_storage(), access.get_resource_id()
    assert (name, storage.get_source()) == ("some file", str(tmp_path))
    again = storage.open_random_access(name, zarnik.AccessCapabilities.READ_ONLY)
    assert again[:] == b"0123456789"
    assert len(descriptors(path)) == 2 and not any(map(os.get_inheritable, descriptors(path)))
    del access, again
    assert descriptors(path) == []


def test_a_storage_keeps_to_its_folder(tmp_path):
    folder, secret = tmp_path / "in", tmp_path / "secret"
    (folder / "sub").mkdir(parents=True)
    for file in (secret, folder / "a", folder / "sub" / "b"):
        file.write_text(file.name)
    links = {"out": "../secret", "absolute": secret, "up": "..", "inner": "sub/b", "dangling": "../new"}
    for name, target in links.items():
        (folder / name).symlink_to(target)
    storage = zarnik.open_stream(folder / "a").get_storage()
    modes = list(zarnik.AccessCapabilities)
    for name in ("a", "sub/b", "./a", "sub//b", "inner"):
        assert storage.open_random_access(name, modes[0])[:] in (b"a", b"b")
    outside = ["../secret", "sub/../a", "..", "out", "absolute", "up/secret", "", str(folder / "a"), "a\0b", "dangling"]
    for name in outside:
        for mode in modes:
            refused("", storage.open_random_access, name, mode)
    assert (secret.read_text(), sorted(os.listdir(tmp_path))) == ("secret", ["in", "secret"])
    refused("No such file", storage.open_random_access, "c", zarnik.AccessCapabilities.READ_WRITE)
    assert len(storage.open_random_access("c", zarnik.AccessCapabilities.WRITE_ONLY)) == 0
