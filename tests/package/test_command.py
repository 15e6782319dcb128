"""The command line, run as a user runs it: in another process, in a folder of its own."""

import json
import os
import signal
import subprocess
import sys
import time
from importlib.metadata import entry_points

import numpy
import pytest

import zarnik
from support.images import Traced
from zarnik._rendering import Plan

PIL = pytest.importorskip("PIL.Image")


@pytest.fixture
def run(tmp_path):
    def run(*arguments, expect=0, told=False, **more):
        command = [sys.executable, "-m", "zarnik", *arguments]
        done = subprocess.run(command, capture_output=True, text=True, cwd=tmp_path, check=False, **more)
        assert "Traceback" not in done.stderr
        assert done.returncode == expect, done.stderr
        if expect == 1:
            assert (done.stdout, done.stderr.count("\n")) == ("", 1)
            assert done.stderr.startswith("zarnik: error: ")
        return done.stderr if expect or told else done.stdout

    return run


@pytest.fixture
def volume(tmp_path):
    array = numpy.arange(4 * 30 * 40, dtype="uint16").reshape(4, 30, 40)
    image = zarnik.from_numpy(array, spacing=(0.5, 0.5, 2), unit="mm")
    zarnik.save(tmp_path / "a.zrn", image)
    return image


def picture(path):
    return numpy.asarray(PIL.open(path))


def test_info_and_formats(run, volume):
    text = run("info", "a.zrn")
    for line in ("a.zrn: Zarnik", "shape    4 x 30 x 40", "axes     ZYX", "spacing  X 0.5, Y 0.5, Z 2 mm"):
        assert line in text
    told = json.loads(run("info", "--json", "--metadata", "a.zrn"))
    assert told["series"][0]["shape"] == [4, 30, 40]
    assert json.loads(run("formats", "--json"))[0]["name"] == "Zarnik"
    listed = run("formats").splitlines()
    assert [line.split()[0] for line in listed] == [str(one.name).split()[0] for one in zarnik.formats()]
    assert run("--version") == f"zarnik {zarnik.__version__}\n"
    found = entry_points()
    scripts = found.select(group="console_scripts") if hasattr(found, "select") else found["console_scripts"]
    assert "zarnik._command:main" in [entry.value for entry in scripts if entry.name == "zarnik"]


def test_convert(run, volume, tmp_path):
    assert run("convert", "a.zrn", "b.zrn", "--crop", "Z=1:3,Y=-10:", "--crop", "x=::2", "--astype", "float32") == ""
    made = zarnik.open(tmp_path / "b.zrn")
    expected = volume.crop(slice(1, 3), slice(-10, None), slice(None, None, 2))
    numpy.testing.assert_array_equal(made.to_numpy(), expected.to_numpy())
    assert (str(made.dtype), made.origin, made.spacing) == ("float32", expected.origin, expected.spacing)
    run("convert", "a.zrn", "b.zrn", "--overwrite", "--crop", "Z=2", "--rescale", "0", "4799", "--astype", "uint8")
    made = zarnik.open(tmp_path / "b.zrn")
    numpy.testing.assert_allclose(made.to_numpy(), volume.to_numpy()[2] / 4799 * 255, atol=0.51)
    assert made.shape == (30, 40)


def test_convert_between_formats(run, volume, tmp_path):
    pytest.importorskip("tifffile")
    run("convert", "a.zrn", "b.ome.tif", "--levels", "2", "--compression", "zlib", "--option", "tile=16")
    assert [level.shape for level in zarnik.open(tmp_path / "b.ome.tif").levels] == [(4, 30, 40), (4, 15, 20)]
    assert "cannot hold" in run("convert", "b.ome.tif", "c.npy", told=True)
    numpy.testing.assert_array_equal(numpy.load(tmp_path / "c.npy"), volume.to_numpy())


def test_what_cannot_be_done(run, volume, tmp_path):
    before = sorted(os.listdir(tmp_path))
    for arguments, text in (
        (("info", "none.zrn"), "cannot open 'none.zrn': No such file or directory"),
        (("convert", "a.zrn", "a.zrn"), "'a.zrn' exists: --overwrite replaces it"),
        (("convert", "a.zrn", "b.what"), "cannot tell the format of 'b.what' by its suffix"),
        (("convert", "a.zrn", "none/b.zrn"), "cannot write 'none/b.zrn'"),
        (("convert", "a.zrn", "b.zrn", "--crop", "T=1"), "axis 'T' is none of the axes 'ZYX' of the image"),
        (("convert", "a.zrn", "b.zrn", "--crop", "Z=9"), "index 9 is out of bounds for axis 0 with size 4"),
        (("convert", "a.zrn", "b.zrn", "--astype", "uint7"), "uint7"),
        (("convert", "a.zrn", "b.zrn", "--option", "no=1"), "has no option 'no'"),
        (("convert", "a.zrn", "b.zrn", "--series", "3"), "series 3 is out of range"),
        (("show", "a.zrn", "-o", "a.png", "--flip", "Z"), "none of those of the picture, Y and X"),
        (("show", "a.zrn", "-o", "a.zrn"), "is the image itself"),
        (("show", "a.zrn", "-o", "a.png", "--range", "nan", "1"), "black nan and white 1.0 are not finite"),
        (("show", "a.zrn", "-o", "none/a.png"), "cannot write 'none/a.png'"),
    ):
        assert text in run(*arguments, expect=1)
    for wrong in ("", "what", "info", "show a.zrn", "show a.zrn -o a.png --size 0", "convert a.zrn b.zrn --crop Z"):
        run(*wrong.split(), expect=2)
    run("convert", "a.zrn", "b.zrn", "--option", "=1", expect=2)
    assert sorted(os.listdir(tmp_path)) == before


def test_help_reads_well(run):
    text = run("--help")
    for command in ("info", "convert", "show", "formats"):
        assert f"\n    {command} " in text
        lines = run(command, "--help", env={**os.environ, "COLUMNS": "80"}).splitlines()
        assert len(lines) > 5
        assert [line for line in lines if line.endswith((" ", "%"))] == []


@pytest.mark.skipif(sys.platform == "win32", reason="signals of POSIX")
def test_ctrl_c_leaves_nothing(tmp_path):
    source = tmp_path / "zeros.raw"
    with open(source, "wb") as file:
        file.truncate(1 << 33)
    program = (
        "import sys, zarnik\nfrom zarnik import _command\n"
        "big = zarnik.open_raw('zeros.raw', (1 << 13, 1 << 20), 'uint8')\n"
        "_command._open = lambda *_, **__: big\n"
        "sys.exit(_command.main(['convert', 'zeros.raw', 'b.zrn']))"
    )
    running = subprocess.Popen([sys.executable, "-c", program], cwd=tmp_path, stderr=subprocess.PIPE, text=True)
    while not list(tmp_path.glob("*.part.zrn")) and running.poll() is None:
        time.sleep(0.01)
    running.send_signal(signal.SIGINT)
    _, errors = running.communicate(timeout=60)
    assert (running.returncode, errors) == (130, "zarnik: interrupted\n")
    assert os.listdir(tmp_path) == ["zeros.raw"]


# ---- pictures --------------------------------------------------------------------------------------------------------


def test_pictures_have_the_proportions_of_space(run, volume, tmp_path):
    run("show", "a.zrn", "-o", "xz.png", "--crop", "Y=3", "--size", "80")
    assert picture(tmp_path / "xz.png").shape == (32, 80)  # 4 * 2 mm by 40 * 0.5 mm
    run("show", "a.zrn", "-o", "a.png", "--crop", "Z=1,X=10:30", "--size", "20", "--range", "1200", "2399")
    shown = picture(tmp_path / "a.png")
    assert shown.shape == (20, 13)
    numpy.testing.assert_allclose(shown.mean(), (volume.to_numpy()[1, :, 10:30] - 1200).mean() / 1199 * 255, atol=1)
    run("show", "a.zrn", "-o", "full.png", "--crop", "Z=1", "--size", "40", "--range", "1200", "2399", "--flip", "Y")
    whole = (volume.to_numpy()[1, ::-1] - 1200) / 1199 * 255
    numpy.testing.assert_allclose(picture(tmp_path / "full.png"), whole, atol=1)


@pytest.mark.parametrize("size", [7, 10, 13, 40, 100])
def test_a_pixel_is_the_mean_of_what_it_covers(size):
    array = numpy.random.default_rng(1).random((20, 40))
    shown = Plan(zarnik.from_numpy(array), size).values()
    rows, columns = shown.shape
    fine = numpy.kron(array, numpy.ones((rows, columns)))  # each element as whole numbers of pixels
    expected = fine.reshape(rows, 20, columns, 40).mean((1, 3))
    numpy.testing.assert_allclose(shown, expected)


def test_pictures_read_the_level_and_the_region_that_they_need():
    traced = [Traced(numpy.ones((6, 1600 // factor, 1600 // factor), "u2")) for factor in (1, 2, 4, 8)]
    levels = [zarnik.from_array(level, "ZYX") for level in traced]

    class Image:
        def __getattr__(self, name):
            return levels if name == "levels" else getattr(levels[0], name)

    assert Plan(Image(), 300).picture().shape == (300, 300)
    assert Plan(Image(), 100, {"Y": slice(400, 800), "X": slice(0, 400), "Z": 5}).picture().shape == (100, 100)
    assert [level.keys for level in traced if level is not traced[2]] == [[], [], []]
    assert traced[2].keys == [((3, 4), (0, 400), (0, 400)), ((5, 6), (100, 200), (0, 100))]


def test_colours_channels_labels():
    colours = numpy.random.default_rng(1).integers(0, 256, (20, 30, 3)).astype("uint8")
    numpy.testing.assert_array_equal(Plan(zarnik.from_numpy(colours, "YXC"), 30).picture(), colours)
    channels = numpy.zeros((20, 30, 2), "uint16")
    channels[:10, :, 0] = channels[5:, :, 1] = 1000
    shown = Plan(zarnik.from_numpy(channels, "YXC"), 30).picture()
    assert [tuple(shown[row, 0]) for row in (0, 7, 15)] == [(0, 255, 0), (255, 255, 255), (255, 0, 255)]
    steps = numpy.arange(180, dtype="uint16").repeat(6).reshape(6, 30, 6)  # together brighter than white
    shown = Plan(zarnik.from_numpy(steps, "YXC"), 30).picture().astype(int)
    assert (numpy.diff(shown, axis=1) >= 0).all()
    labels = zarnik.from_numpy(numpy.repeat(numpy.arange(4, dtype="uint16"), 10).reshape(4, 10))
    labels.interpretation = "LABEL"
    shown = Plan(labels, 10).picture()
    assert len({tuple(pixel) for pixel in shown.reshape(-1, 3)}) == len(shown)
    assert tuple(shown[0, 0]) == (0, 0, 0)
    flat, line = numpy.array([[numpy.nan, numpy.inf], [0, 1]]), numpy.arange(10.0)
    for array, size, shape in ((flat, 2, (2, 2)), (line, 10, (1, 10)), (numpy.zeros((3, 4), "c8"), None, (375, 500))):
        assert Plan(zarnik.from_numpy(array), size).picture().shape == shape
