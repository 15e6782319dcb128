"""The Python of README.md and the guide, run as a new user would, in a folder that has the files which it names."""

import os
import re
import subprocess
import sys
from pathlib import Path

import numpy
import pytest

import zarnik

ROOT = Path(__file__).parents[2]
# What is in the guide as others have it, and here as a folder has it: addresses, and sizes that take long.
INSTEAD = {
    '"https://host/cells.ome.zarr"': '"cells.ome.zarr"',
    '"https://example.org/scan.raw"': '"scan.raw"',
    'fsspec.open("s3://...")': 'fsspec.open("scan.raw")',
    "4000, 8192, 8192": "64, 64, 64",
    "progress=True": "progress=None",
}


def series_of_dicom(folder):
    import pydicom
    import pydicom.data

    (folder / "Thorax").mkdir(parents=True)
    for place in range(6):
        one = pydicom.dcmread(pydicom.data.get_testdata_file("CT_small.dcm"))
        one.SeriesDescription = ("Thorax 1.0", "Scout")[place // 3]
        one.SeriesInstanceUID = f"1.2.3.{place // 3}"
        one.InstanceNumber = place
        one.ImagePositionPatient = [0, 0, place]
        one.save_as(folder / ("Thorax", "")[place // 3] / f"{place}.dcm")
    return folder / "Thorax"


def of_cells(folder):
    cells = zarnik.from_numpy(numpy.zeros((20, 2100, 16), "uint16"), "ZYX", spacing=(0.5, 0.5, 2), unit="µm")
    for name in ("cells.ome.tif", "cells.ome.zarr", "plate.ome.zarr", "from_a_stranger.h5"):
        zarnik.save(folder / name, cells)
    series = series_of_dicom(folder / "study")
    return {"image": cells, "subprocess": subprocess, "n": 0, "computed": 7, "folder": series}


def of_a_raw_file(folder):
    with open(folder / "scan.raw", "wb") as file:
        file.truncate(2560 * 2048 * 2048 * 2)  # a hole
    fsspec = pytest.importorskip("fsspec")
    memory = {"some_bytes": bytes(20_000_000), "buffer": bytearray(4), "data": b"end"}
    return {"fsspec": fsspec, "offset": 8, "size": 4, **memory}


def of_arrays(folder):
    nibabel = pytest.importorskip("nibabel")
    voxels = numpy.zeros((30, 40, 20), "int16")
    scan = nibabel.Nifti1Image(voxels, numpy.diag((2.0, 2, 3, 1)))
    image, positions = zarnik.from_numpy(voxels), numpy.zeros((5, 3))
    arrays = {"array": voxels, "picture": voxels[..., :3], "plane": voxels[0], "voxels": voxels}
    return {**arrays, "image": image, "scan": scan, "positions": positions}


def of_tables(folder):
    pyarrow = pytest.importorskip("pyarrow")
    return {"pyarrow": pyarrow, "table": pyarrow.table({"a": [1, 2]})}


@pytest.mark.parametrize(
    ("name", "prepared"),
    (
        ("README.md", of_cells),
        ("docs/guide/formats.md", of_cells),
        ("docs/guide/images.md", of_arrays),
        ("docs/guide/lazy.md", of_a_raw_file),
        ("docs/guide/access.md", of_a_raw_file),
        ("docs/guide/frames.md", of_tables),
    ),
)
def test_examples_run(name, prepared, tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    monkeypatch.setenv("PATH", os.pathsep.join((str(Path(sys.executable).parent), os.environ["PATH"])))
    known = {"numpy": numpy, "zarnik": zarnik, **prepared(tmp_path)}
    text = (ROOT / name).read_text(encoding="utf-8")
    for before, after in INSTEAD.items():
        text = text.replace(before, after)
    for found in re.finditer(r"```python\n(.*?)```", text, re.DOTALL):
        line = text[: found.start(1)].count("\n")
        code = compile("\n" * line + found[1], str(ROOT / name), "exec")
        exec(code, known)
