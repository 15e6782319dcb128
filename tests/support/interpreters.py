"""Runs smoke.py with one and the same built package in every supported interpreter of the machine.

Each interpreter gets a NumPy that fits it, unpacked beside the build and kept between runs; together they cover the
oldest NumPy whose C interface is enough, later releases of 1.x, and 2.x.
"""

from __future__ import annotations

import argparse
import importlib.util
import os
import shutil
import subprocess
import sys
from pathlib import Path

NUMPY_FOR_PYTHON = {"3.9": "1.19.5", "3.10": "2.2.6", "3.11": "1.23.5", "3.12": "1.26.4", "3.13": "2.1.3"}
SMOKE = Path(__file__).with_name("smoke.py")


def runs(executable: str | Path, version: str) -> bool:
    """Whether the file is an interpreter of that version that starts (a version manager's stub may not)."""
    probe = [str(executable), "-c", "import sys; print('%d.%d' % sys.version_info[:2])"]
    try:
        done = subprocess.run(probe, capture_output=True, text=True, timeout=60, check=False)
    except OSError:
        return False
    return done.returncode == 0 and done.stdout.strip() == version


def find_interpreter(version: str) -> Path | None:
    """An interpreter of the version from PATH, else from the usual version manager's folder."""
    candidates = [shutil.which(f"python{version}"), shutil.which("python3")]
    managed = Path(os.environ.get("PYENV_ROOT", Path.home() / ".pyenv")) / "versions"
    candidates += sorted(managed.glob(f"{version}.*/bin/python3"), reverse=True)
    return next((Path(c) for c in candidates if c and runs(c, version)), None)


def stage_package(stage: Path) -> None:
    """Copies the installed package, and nothing else of its site-packages, to a folder of its own."""
    shutil.rmtree(stage, ignore_errors=True)
    stage.mkdir(parents=True)
    extension = importlib.util.find_spec("_zarnik")
    package = importlib.util.find_spec("zarnik")
    if not (extension and extension.origin and package and package.origin):
        raise SystemExit("the package is not installed, run: make build")
    shutil.copy2(extension.origin, stage)
    shutil.copytree(Path(package.origin).parent, stage / "zarnik", ignore=shutil.ignore_patterns("__pycache__"))


def fetch_numpy(python: str, numpy: str, cache: Path) -> Path | None:
    """The folder of a NumPy for an interpreter version, from the package index unless it was fetched before."""
    folder = cache / f"numpy-{numpy}-for-{python}"
    if (folder / ".complete").exists():
        return folder
    shutil.rmtree(folder, ignore_errors=True)
    command = [sys.executable, "-m", "pip", "install", "--quiet", "--disable-pip-version-check", "--no-deps"]
    command += ["--only-binary=:all:", "--implementation=cp", f"--python-version={python}", f"--target={folder}"]
    if subprocess.run([*command, f"numpy=={numpy}"], check=False).returncode != 0:
        return None
    (folder / ".complete").touch()
    return folder


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--cache", type=Path, required=True, help="folder for the staged package and the NumPys")
    cache = parser.parse_args().cache.resolve()
    stage = cache / "package"
    stage_package(stage)

    failed = 0
    for python, numpy in NUMPY_FOR_PYTHON.items():
        interpreter = find_interpreter(python)
        if interpreter is None:
            print(f"interpreter {python}: not on this machine")
            continue
        numpy_folder = fetch_numpy(python, numpy, cache)
        if numpy_folder is None:
            print(f"interpreter {python}: NumPy {numpy} could not be fetched")
            failed += 1
            continue
        environment = {k: v for k, v in os.environ.items() if not k.startswith("PYTHON")}
        environment.update(PYTHONPATH=os.pathsep.join([str(stage), str(numpy_folder)]), PYTHONDONTWRITEBYTECODE="1")
        run = subprocess.run([interpreter, "-s", SMOKE], env=environment, capture_output=True, text=True, check=False)
        if run.returncode == 0:
            print(f"interpreter {python}: ok, {run.stdout.strip()}")
        else:
            print(f"interpreter {python}: FAILED with NumPy {numpy} (exit {run.returncode})\n{run.stdout}{run.stderr}")
            failed += 1
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
