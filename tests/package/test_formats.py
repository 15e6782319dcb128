"""Files of every format: which one it is, what is told when there is none, saving whole or not at all."""

import concurrent.futures
import os
import subprocess
import sys
from pathlib import Path

import numpy
import pytest

import zarnik
from support.expect import raises
from zarnik import _atomic
from zarnik.plugins import image_of, plain

PLUGIN = """
import numpy
from zarnik.plugins import Format, Series, image_of

class Text(Format):
    name = "Text"
    suffixes = (".nums",)
    can_write = True

    def recognizes(self, source):
        return source.head.startswith(b"NUMS")

    def open(self, source, *, scale=1):
        with source.file() as file:
            rows = [line.split() for line in file.read().decode().split("\\n")[1:] if line]
        array = numpy.array(rows, "float64") * scale
        info = {"lines": len(rows)}
        return [Series(name, [lambda: image_of(array, "YX", spacing=(2, 3), unit="mm", metadata={"Text": info}),
                              lambda: image_of(array[::2, ::2], "YX")], info) for name in ("a", "a", None)]

    def save(self, path, image, *, progress, fail=False):
        with open(path, "w") as file:
            file.write("NUMS\\n")
            if fail:
                raise KeyboardInterrupt
            for done, row in enumerate(image.to_numpy(), 1):
                file.write(" ".join(map(str, row)) + "\\n")
                progress(done, len(image))

    def losses(self, image, fail=False):
        return ["the spacing"] if image.spacing != (1, 1, 1) else []

class Needy(Format):
    name = "Needy"
    suffixes = (".needy",)
    extra = "needy"
    requires = ("no_such_library_xyz",)

    def recognizes(self, source):
        return source.head.startswith(b"NEEDY")

broken = 7
"""

PROGRAM = """
import os, sys, warnings, numpy, pytest, zarnik
names = [format.name for format in zarnik.formats()]
assert names[0] == "Zarnik" and names[-2:] == ["Text", "Needy"], names
assert zarnik.formats()[-2] is zarnik.formats()[-2] and "zarnik[needy]" in repr(zarnik.formats()[-1])

image = zarnik.from_numpy(numpy.arange(12.0).reshape(3, 4))
told = []
zarnik.save("image.nums", image, progress=lambda *done: told.append(done))
assert told == [(1, 3), (2, 3), (3, 3)] and os.listdir() == ["image.nums"]
image.spacing = 2, 2
with pytest.warns(zarnik.LossWarning, match="Text cannot hold the spacing") as found:
    zarnik.save("image.nums", image, format="text")
assert found[0].filename == "<string>"
with pytest.raises(KeyboardInterrupt), warnings.catch_warnings():
    warnings.simplefilter("ignore")
    zarnik.save("image.nums", image, fail=True)
assert os.listdir() == ["image.nums"]

os.rename("image.nums", "image.zrn")  # the content decides
all_series = zarnik.open("image.zrn")
assert list(all_series) == ["a", "a (1)", "2"]
content = open("image.zrn", "rb").read()
for opened in (all_series["2"], zarnik.open("image.zrn", series=2), zarnik.open(content, series=-1)):
    assert (opened.to_numpy() == image.to_numpy()).all()
    assert (opened.spacing[:2], opened.unit, opened.metadata["Text/lines"].to_python()) == ((2, 3), "mm", 3)
    assert [level.shape for level in opened.levels] == [(3, 4), (2, 2)] and opened.levels.at_most(3).shape == (2, 2)
    assert repr(opened.levels) == "<2 levels of shape (3, 4), (2, 2)>"
    assert repr(zarnik.zeros((3, 4), "u1").levels) == "<1 level of shape (3, 4)>"
assert zarnik.open("image.zrn", series="a", level=-1, scale=2)[0, 1] == 4
info = zarnik.info("image.zrn")
assert (info["format"], len(info["series"])) == ("Text", 3)
assert info["series"][0]["levels"] == [(3, 4), (2, 2)] and info["series"][0]["lines"] == 3
for wrong in ({"series": 3}, {"series": "b"}, {"series": 0, "level": 2}):
    with pytest.raises(zarnik.InvalidArgument, match="allowed are|they are"):
        zarnik.open("image.zrn", **wrong)
with pytest.raises(TypeError, match="Text has no option 'colour': they are scale"):
    zarnik.open("image.zrn", colour=1)
with pytest.raises(zarnik.NotImplemented, match="written in place"):
    zarnik.open("image.zrn", mode="r+")

open("bad.nums", "w").write("NUMS\\n1 x\\n")
with pytest.raises(zarnik.Error, match="'bad.nums' as Text: could not convert"):
    zarnik.open("bad.nums")
open("x.nums", "w").write("NEEDY")
with pytest.raises(zarnik.Error, match='Needy needs no_such_library_xyz, .*pip install "zarnik.needy."'):
    zarnik.open("x.nums")
with pytest.raises(ValueError, match="there is no format 'xyz'"):
    zarnik.open("image.zrn", format="xyz")
with pytest.raises(zarnik.Error, match="format of 'image.xyz' by its suffix, can be written are Zarnik"):
    zarnik.save("image.xyz", image)
with pytest.raises(zarnik.NotImplemented, match="not tables"):
    zarnik.save("x.nums", zarnik.DataFrameView.from_dict({"a": [1]}))
"""


def test_a_format_of_another_package(tmp_path):
    site, work = tmp_path / "site", tmp_path / "work"
    told = site / "their_package-1.dist-info"
    told.mkdir(parents=True)
    work.mkdir()
    (site / "their_package.py").write_text(PLUGIN)
    (told / "METADATA").write_text("Metadata-Version: 2.1\nName: their-package\nVersion: 1\n")
    entries = (f"{name.lower()} = their_package:{name}\n" for name in ("Text", "Needy", "broken"))
    (told / "entry_points.txt").write_text("[zarnik.formats]\n" + "".join(entries))
    paths = os.pathsep.join([str(site), os.environ.get("PYTHONPATH", "")])
    command, environment = [sys.executable, "-c", PROGRAM], {**os.environ, "PYTHONPATH": paths}
    warned = subprocess.run(command, cwd=work, env=environment, capture_output=True, text=True)
    assert warned.returncode == 0, warned.stderr
    assert "format 'broken' cannot be loaded: their_package:broken is no zarnik.plugins.Format" in warned.stderr


def test_folders_take_the_place_of_folders(tmp_path):
    path = tmp_path / "data.folder"

    def write(content, allowed=True, error=None):
        with _atomic.replaced(str(path), ".folder", lambda: allowed) as name:
            part = Path(name)
            assert part.name.endswith(".part.folder") and part.parent == tmp_path
            (part / "a" / "b").mkdir(parents=True)
            (part / "a" / "b" / "file").write_text(content)
            if error:
                raise error

    write("1")
    write("2")
    raises(zarnik.Error, "nothing of this format", write, "3", allowed=False)
    raises(KeyboardInterrupt, "", write, "4", error=KeyboardInterrupt())
    raises(zarnik.Error, "No space left", write, "5", error=OSError(28, os.strerror(28)))
    assert os.listdir(tmp_path) == ["data.folder"] and (path / "a" / "b" / "file").read_text() == "2"
    (tmp_path / "more").mkdir()
    for _ in range(2):
        with _atomic.replaced(str(path), ".folder", lambda: True) as part:
            Path(part).touch()
    assert path.is_file()
    write("6")
    assert (path / "a" / "b" / "file").read_text() == "6"


def test_images_of_arrays_that_numpy_cannot_share():
    values = numpy.arange(-12, 12).reshape(2, 3, 4)
    for dtype, expected in ((">i2", "int16"), ("bool", "uint8"), ("float16", "float32"), (">f8", "float64")):
        array = values.astype(dtype)
        image = image_of(array, "CYX", spacing=(2, 3), unit="µm", channel_names=["red", "green"], value_range=(0, 9))
        assert (image.axes, str(image.dtype)) == ("YXC", expected)
        numpy.testing.assert_array_equal(image.to_numpy("CYX"), array.astype(expected))
        assert (image.spacing, image.unit, image.value_range) == ((2, 3, 1), "µm", (0, 9))
        assert image.channel_names == ["red", "green"]
        assert numpy.shares_memory(image.to_numpy(), array) == (dtype == "bool")
    shared = numpy.zeros((2, 3), "uint16")
    shared.flags.writeable = False
    affine = numpy.array([[0, -2, 0, 5], [3, 0, 0, 6], [0, 0, 4, 7], [0, 0, 0, 1]], float)
    image = image_of(shared, "YX", affine=affine, convention="LPS", metadata={"Some": {"x": b"ab\0", 1: None}})
    assert numpy.shares_memory(image.to_numpy(), shared) and not image.to_numpy().flags.writeable
    numpy.testing.assert_allclose(image.get_affine("LPS"), affine)
    assert image.metadata.to_dict() == {"Some": {"x": "ab", "1": None}}
    assert plain([numpy.int16(3), (1.5, {2: object}), 2**70]) == [3, [1.5, {"2": str(object)}], str(2**70)]
    for held in (numpy.array([1.5]), numpy.array([[True]]), numpy.array([1 + 2j, 3]), numpy.zeros((0, 2), "u8")):
        back = image_of(shared, "YX", metadata={"x": held}).metadata["x"].to_python()
        numpy.testing.assert_array_equal(back, held)
        assert (back.dtype, back.shape) == (held.dtype, held.shape)
    rest = [numpy.complex64(1j), numpy.longdouble(0.5), numpy.array(7, "u2"), numpy.array([b"a"]), numpy.ma.array([1])]
    assert plain(rest) == [1j, 0.5, 7, ["a"], [1]]


def test_metadata_are_made_when_they_are_asked_for():
    calls = []

    def header():
        calls.append(1)
        return {"Some": {"x": 7}}

    for dtype in (">u2", "uint8"):  # read by a function, and shared by NumPy
        calls.clear()
        image = image_of(numpy.ones((4, 5), dtype), "YX", metadata=header, channel_names=["red"])
        views = [image, image.crop(x=slice(1, 3)), image.astype("float32").crop(y=2), zarnik.stack([image, image])]
        assert [view.to_numpy().sum() for view in views] == [20, 8, 5, 40] and not calls
        with concurrent.futures.ThreadPoolExecutor(8) as pool:
            found = list(pool.map(lambda view: view.metadata.to_dict(), views * 4))
        assert found == [{"Some": {"x": 7}, "channel_names": ["red"]}] * 16 and calls == [1]
    image.metadata["Some/x"] = 8
    assert image.metadata["Some"].to_dict() == {"x": 8} and views[1].metadata["Some"].to_dict() == {"x": 7}

    def broken():
        raise ValueError("an odd header")

    image = image_of(numpy.ones((4, 5), "uint8"), "YX", metadata=broken)
    assert image.to_numpy().all()
    raises(zarnik.Error, "cannot make the metadata: ValueError: an odd header", image.metadata.to_dict)


def test_saving_where_fsspec_reaches():
    fsspec = pytest.importorskip("fsspec")
    pytest.importorskip("zarr", minversion="3")
    system = fsspec.filesystem("memory")
    array = numpy.arange(3000, dtype="uint16").reshape(10, 15, 20)
    for place in ("a.ome.zarr", "shards.ome.zarr", "a.nii.gz"):
        options = {"shards": {"z": 10, "y": 15, "x": 20}, "chunks": (5, 5, 5)} if place.startswith("sh") else {}
        for step in (0, 1):  # the second takes the place of the first
            image = zarnik.from_numpy(array + step, "ZYX", spacing=(1, 2, 3), unit="mm")
            zarnik.save(f"memory://bucket/{place}", image, **options)
            again = zarnik.open(f"memory://bucket/{place}")
            assert (again.spacing, again.unit) == ((1, 2, 3), "mm")
            numpy.testing.assert_array_equal(again.to_numpy(), array + step)
    system.pipe("/bucket/other.ome.zarr/precious", b"text")
    raises(zarnik.Error, "a folder is there", zarnik.save, "memory://bucket/other.ome.zarr", image)
    assert system.cat("/bucket/other.ome.zarr/precious") == b"text"
    raises(zarnik.Error, "read only", zarnik.save, "http://127.0.0.1:1/a.tif", image)
