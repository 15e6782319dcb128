"""Runs the benchmarks and prints what they measured as ratios; keeps the numbers as JSON.

Every module bench_*.py of this folder has a run() that yields Ratio objects.
"""

from __future__ import annotations

import argparse
import importlib
import json
import os
import platform
import subprocess
import sys
from pathlib import Path

FOLDER = Path(__file__).resolve().parent
LIBRARY_MIN_SECONDS = 0.1


def readable(seconds: float) -> str:
    for factor, unit in ((1.0, "s"), (1e-3, "ms"), (1e-6, "us")):
        if seconds >= factor:
            return f"{seconds / factor:.3g} {unit}"
    return f"{seconds / 1e-9:.3g} ns"


def run_module(name: str, output: Path) -> None:
    """Runs one Python module of benchmarks."""
    print(f"\n{name}")
    results = []
    for ratio in importlib.import_module(name).run():
        results.append(ratio.as_dict())
        aim = "" if ratio.aim is None else f"  aim <= {ratio.aim:g}: {'met' if ratio.met else 'MISSED'}"
        times = f"{readable(ratio.seconds):>9} / {readable(ratio.reference_seconds):<9}"
        print(f"  {ratio.name:<42}{ratio.ratio:8.2f} x {ratio.reference:<36}{times}{aim}", flush=True)
    report = {"machine": platform.platform(), "python": platform.python_version(), "results": results}
    (output / f"{name}.json").write_text(json.dumps(report, indent=2) + "\n", encoding="utf-8")


def run_library(executable: Path, output: Path, pattern: str) -> None:
    """Runs the benchmarks of the library, which print their own table."""
    print(f"\n{executable.name}", flush=True)
    command = [str(executable), f"--benchmark_min_time={LIBRARY_MIN_SECONDS}", f"--benchmark_filter={pattern or '.'}"]
    command += [f"--benchmark_out={output / 'library.json'}", "--benchmark_out_format=json"]
    subprocess.run(command, check=True)


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--output", type=Path, required=True, help="folder for the results")
    parser.add_argument("--library", type=Path, help="executable of the library's own benchmarks")
    parser.add_argument("--only", default="", help="run modules, or benchmarks of the library, with this in their name")
    arguments = parser.parse_args()
    arguments.output.mkdir(parents=True, exist_ok=True)

    sys.path.insert(0, str(FOLDER))
    # Times are those of one thread; who measures several says so.
    os.environ["ZARNIK_NUM_THREADS"] = "1"
    if arguments.library:
        os.environ["ZARNIK_BENCHMARKS"] = str(arguments.library.parent)
    for path in sorted(FOLDER.glob("bench_*.py")):
        if arguments.only in path.stem:
            run_module(path.stem, arguments.output)
    if arguments.library:
        run_library(arguments.library, arguments.output, arguments.only)
    print(f"\nresults are in {arguments.output}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
