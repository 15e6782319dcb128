"""The demonstration and the examples run as a newcomer would run them."""

import os
import re
import subprocess
import sys
from pathlib import Path

import numpy
import pytest

import zarnik

ROOT = Path(__file__).resolve().parents[2]


def run(*arguments: str, cwd: Path, **environment: str) -> subprocess.CompletedProcess[str]:
    paths = [path for path in sys.path if path]
    environment = {**os.environ, "PYTHONPATH": os.pathsep.join(paths), **environment}
    return subprocess.run(
        [sys.executable, *arguments], cwd=cwd, env=environment, capture_output=True, text=True, timeout=120
    )


def drawn(module: str, folder: Path) -> tuple[str, numpy.ndarray]:
    """What a demonstration tells, and the picture that it draws."""
    pytest.importorskip("nibabel")
    image = pytest.importorskip("matplotlib.image")
    done = run("-m", module, "--output", "picture.png", cwd=folder)
    assert done.returncode == 0, done.stderr
    return done.stdout, image.imread(folder / "picture.png")[..., :3]


def test_the_demonstration_tells_its_story_and_draws_a_picture(tmp_path):
    told, picture = drawn("zarnik.demo", tmp_path)
    on_disk = "the same as on disk: a scan of (128, 96, 24, 2) voxels"
    assert all(text in told for text in ("the same memory", "now has 1000 to 1000 there", on_disk))
    assert "NOT the same" not in told and len(told.splitlines()) <= 18
    # Black around gray slices on white paper, not an empty page.
    assert min(picture.shape[:2]) > 400
    assert 0.1 < (picture.max(axis=-1) < 0.1).mean() < 0.8


@pytest.mark.skipif("ZARNIK_SANITIZED" in os.environ, reason="sanitizers need memory of their own")
def test_the_large_volume_is_read_in_part(tmp_path):
    told, picture = drawn("zarnik.demo_volume", tmp_path)
    asked, read = (float(text) for text in re.findall(r"([\d.]+) MiB(?: of samples| read)", told)[:2])
    assert asked <= read <= 4 * asked
    assert float(re.search(r"the most memory in use was ([\d.]+) MiB", told).group(1)) < 300
    assert min(picture.shape[:2]) > 300


def test_a_cluster_works_on_the_scan(tmp_path):
    for module in ("zarr", "distributed"):
        pytest.importorskip(module)
    told, picture = drawn("zarnik.demo_cluster", tmp_path)
    assert "levels of (2, 24, 96, 128), (2, 12, 48, 64), (2, 6, 24, 32)" in told
    assert int(re.search(r"travels in (\d+) bytes", told).group(1)) < 2000
    # Two pictures, neither of them empty.
    for half in numpy.array_split(picture, 2, axis=1):
        assert 0.2 < (half.max(axis=-1) < 0.1).mean() < 0.8
        assert (abs(half.mean(axis=-1) - 0.5) < 0.3).mean() > 0.1


@pytest.mark.parametrize("missing", ["nibabel", "matplotlib"])
def test_a_missing_extra_is_named_with_what_installs_it(tmp_path, missing):
    if missing != "nibabel":
        pytest.importorskip("nibabel")
    (tmp_path / f"{missing}.py").write_text(f"raise ModuleNotFoundError('no', name='{missing}')")
    paths = os.pathsep.join([str(tmp_path), *filter(None, sys.path)])
    done = run("-m", "zarnik.demo", cwd=tmp_path, PYTHONPATH=paths)
    assert done.returncode != 0 and "Traceback" not in done.stderr
    assert f"needs {missing}, which is not installed: pip install 'zarnik[demo]'" in done.stderr


PROGRAMS = [*sorted((ROOT / "examples").glob("*.py")), ROOT / "tests" / "typing" / "everything.py"]


@pytest.mark.parametrize("example", PROGRAMS, ids=lambda path: path.stem)
def test_examples_run(example, tmp_path):
    done = run(str(example), cwd=tmp_path)
    assert done.returncode == 0, done.stderr
    assert done.stdout


def test_the_first_lines_of_the_readme_are_true(tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    cells = numpy.arange(6 * 2100 * 16, dtype="uint16").reshape(6, 2100, 16)
    zarnik.save("cells.ome.tif", zarnik.from_numpy(cells, axes="ZYX", spacing=(0.5, 0.5, 2), unit="µm"))
    blocks = (ROOT / "README.md").read_text().split("```python\n")
    of_files, of_memory = (block.split("```")[0] for block in blocks[1:3])
    names: dict = {}
    exec(of_files, names)
    assert numpy.array_equal(names["array"], cells[5, 1000:2000])
    saved = zarnik.open("part.ome.zarr")
    assert numpy.array_equal(saved, names["array"])
    assert saved.spacing[:2] == (0.5, 0.5) and saved.origin[1] == 500
    exec(of_memory, names)
    assert numpy.shares_memory(names["stack"], names["same"])


def test_the_example_of_the_package_is_true():
    import doctest

    failed, tried = doctest.testmod(zarnik)
    assert (failed, tried > 3) == (0, True)
