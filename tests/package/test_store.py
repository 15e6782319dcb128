"""What is saved comes back whole, wherever it lies."""

import copy
import os
import pickle
import resource

import numpy
import pytest

import zarnik
from support.expect import raises
from support.images import same_as_saved, values


def described(shape=(3, 4, 5), dtype="uint16", axes="ZYX"):
    told = {"spacing": (0.5, 0.25, 2), "origin": (1, 2, 3), "unit": "mm"}
    metadata = {"scanner": {"name": "Z1", "echoes": [4.2, 8.4]}}
    return zarnik.from_numpy(values(shape, dtype), axes, metadata=metadata, **told)


def same(image, expected):
    assert type(image) is zarnik.ImageView
    assert image.get_data_type() == expected.get_data_type()
    assert image.properties == expected.properties
    assert image.metadata.to_dict() == expected.metadata.to_dict()
    same_as_saved(image, expected, "axes shape")


IMAGES = {
    "described": described,
    "channels": lambda: described((2, 3, 4, 5, 3), "float32", "TZYXC"),
    "strided": lambda: zarnik.from_numpy(numpy.arange(60.0).reshape(5, 12)[::2, ::-3], axes="YX"),
    "vectors": lambda: zarnik.ImageViewFactory.allocate((5, 4, 2), zarnik.DataType(zarnik.DataTypeId.VEC3_INT16)),
    "read-only": lambda: zarnik.ImageViewProvider.to_read_only(described()),
    "empty": lambda: zarnik.ImageViewFactory.allocate((0, 3), zarnik.DataType("uint8")),
}


@pytest.mark.parametrize("kind", IMAGES)
def test_files_pickles_and_copies_keep_everything(kind, tmp_path):
    image = IMAGES[kind]()
    path = tmp_path / "image.zrn"
    zarnik.save(path, image)
    same(zarnik.open(path), image)
    same(zarnik.open(path.read_bytes()), image)
    for protocol in (2, 4, 5):
        same(pickle.loads(pickle.dumps(image, protocol)), image)
    for again in (copy.copy(image), copy.deepcopy(image)):
        same(again, image)
        if again.to_numpy().size:
            assert not numpy.shares_memory(again.to_numpy(), image.to_numpy())


def test_an_opened_image_is_its_file(tmp_path):
    path = tmp_path / "image.zrn"
    zarnik.save(path, described())
    image = zarnik.open(path, mode="r+")
    array = image.to_numpy(copy=False)
    os.unlink(path)
    array[2, 3, 4] = 7
    assert image[2, 3, 4] == 7
    zarnik.save(path, described())
    kept = zarnik.open(path)
    assert numpy.shares_memory(kept.to_numpy(copy=False), kept.to_numpy(copy=False))
    raises(zarnik.Error, "WRITE", kept.__setitem__, ..., 0)
    zarnik.open(path, mode="r+")[0, 0, 0] = 99
    assert kept[0, 0, 0] == 99
    # The hash of what was there before is in the file still.
    raises(zarnik.Error, "damaged", zarnik.Serialization.decode_image_view, zarnik.open_stream(path))


def test_saving_leaves_the_old_file_or_the_new_one(tmp_path):
    path = tmp_path / "image.zrn"
    zarnik.save(path, described())
    before = path.read_bytes()
    (tmp_path / "plain").touch()
    assert path.stat().st_mode == (tmp_path / "plain").stat().st_mode  # as the user's mask has it
    (tmp_path / "plain").unlink()

    limits = resource.getrlimit(resource.RLIMIT_FSIZE)
    resource.setrlimit(resource.RLIMIT_FSIZE, (1 << 20, limits[1]))
    try:
        raises(zarnik.Error, "File too large", zarnik.save, path, zarnik.zeros((2048, 1024), "uint8"))
    finally:
        resource.setrlimit(resource.RLIMIT_FSIZE, limits)
    assert path.read_bytes() == before
    raises(zarnik.Error, "No such file", zarnik.save, tmp_path / "missing" / "image.zrn", described())
    raises(TypeError, "an ImageView or a DataFrameView", zarnik.save, path, numpy.zeros(3))
    assert os.listdir(tmp_path) == ["image.zrn"]


def test_what_is_no_stored_image_is_refused(tmp_path):
    path = tmp_path / "file"
    for content in (b"", b"text", bytes(1000)):
        path.write_bytes(content)
        raises(zarnik.Error, "no known format, can be read are Zarnik", zarnik.open, path)
    raises(zarnik.Error, "No such file", zarnik.open, tmp_path / "missing")
    zarnik.save(path, described())
    path.write_bytes(path.read_bytes()[:-100])
    raises(zarnik.Error, "", zarnik.open, path)
    raises(ValueError, '"r" or "r\\+"', zarnik.open, path, mode="w")


class TestWriter:
    @pytest.fixture
    def image(self) -> zarnik.ImageView:
        return zarnik.from_numpy(numpy.arange(60, dtype="u2").reshape(3, 4, 5), axes="ZYX", spacing=(1, 2, 3))

    @pytest.mark.parametrize("steps", [(), ("write_init",), ("write_init", "write_data"), ("write_all",)])
    def test_writes_what_is_missing_when_it_is_closed(self, image, steps, tmp_path):
        path = tmp_path / "image.zrn"
        with zarnik.writer(path, image, block_bytes=1024, checksums=True) as writer:
            writer.set_option("alignment", 4096)
            for step in steps:
                getattr(writer, step)()
            assert not path.exists()
        assert zarnik.open(path).equals(image)
        assert os.listdir(tmp_path) == ["image.zrn"]
        assert path.read_bytes().index(numpy.arange(60, dtype="u2").tobytes()) % 4096 == 0
        # Without hashes the samples are followed by the end alone.
        with zarnik.writer(path, image, alignment=4096, checksums=0):
            pass
        assert path.stat().st_size == 4096 + 120 + 32
        assert zarnik.open(path).equals(image)

    def test_leaves_nothing_of_a_block_that_fails(self, image, tmp_path):
        path = tmp_path / "image.zrn"
        path.write_bytes(b"before")
        with pytest.raises(FileNotFoundError, match="of the block"), zarnik.writer(path, image) as writer:
            writer.write_init()
            raise FileNotFoundError("of the block")
        dropped = zarnik.writer(path, image)
        dropped.write_all()
        del dropped
        wrong = {"block_bites": 4, "block_bytes": 1000, "checksums": 2, "alignment": 48}
        for name, value in (*wrong.items(), ("checksums", 1.0)):
            raises(zarnik.Error, "option", zarnik.writer, path, image, **{name: value})
        with pytest.raises(zarnik.Error, match="out of order"), zarnik.writer(path, image) as writer:
            writer.write_data()
        assert os.listdir(tmp_path) == ["image.zrn"]
        assert path.read_bytes() == b"before"
        raises(zarnik.Error, "nowhere", zarnik.writer, tmp_path / "nowhere" / "image.zrn", image)
        raises(TypeError, "an ImageView can be written, not ndarray", zarnik.writer, path, numpy.zeros(3))
