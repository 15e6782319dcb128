"""Runs clang-tidy over our translation units, skipping those that passed unchanged before.

A translation unit passed unchanged when neither it, nor a header of ours that it includes, nor the list of checks has
another content than at its last clean run by this release.
"""

from __future__ import annotations

import argparse
import concurrent.futures
import hashlib
import json
import os
import re
import subprocess
import sys
from functools import cache
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.MULTILINE)
# What the compiler of the build has precompiled, clang-tidy cannot read; without it a missing include is found.
PRECOMPILED = re.compile(r" -Winvalid-pch(?: -Xclang)? -include(?:-pch)? \S*cmake_pch\S*")
INCLUDE_FOLDERS = ("library/include", "library/src", "src")


@cache
def included(path: Path) -> tuple[Path, ...]:
    """The headers of ours that a file includes itself."""
    folders = [path.parent, *(ROOT / folder for folder in INCLUDE_FOLDERS)]
    names = INCLUDE.findall(path.read_text(encoding="utf-8"))
    found = (next((f / name for f in folders if (f / name).is_file()), None) for name in names)
    return tuple(header.resolve() for header in found if header)


def fingerprint(unit: Path, flags: str) -> str:
    """Digest of everything of ours that the verdict on a translation unit depends on."""
    reached: set[Path] = set()
    pending = [unit]
    while pending:
        path = pending.pop()
        if path not in reached:
            reached.add(path)
            pending.extend(included(path))
    digest = hashlib.sha256((ROOT / ".clang-tidy").read_bytes() + flags.encode())
    for path in sorted(reached):
        digest.update(path.read_bytes())
    return digest.hexdigest()


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("build", type=Path, help="build folder with compile_commands.json")
    parser.add_argument("--cache", type=Path, required=True, help="folder that remembers the clean runs")
    parser.add_argument("folders", nargs="+", type=Path, help="translation units to check, or folders of them")
    arguments = parser.parse_args()

    folders = [folder.resolve() for folder in arguments.folders]
    commands = json.loads((arguments.build / "compile_commands.json").read_text())
    for entry in commands:
        entry["command"] = PRECOMPILED.sub("", entry["command"])
    flags = {Path(entry["file"]).resolve(): entry["command"] for entry in commands}
    arguments.cache.mkdir(parents=True, exist_ok=True)
    (arguments.cache / "compile_commands.json").write_text(json.dumps(commands))

    release = subprocess.run(["clang-tidy", "--version"], stdout=subprocess.PIPE, text=True, check=True).stdout

    pending = {}
    for unit in sorted(flags):
        if any(folder in (unit, *unit.parents) for folder in folders):
            stamp = arguments.cache / fingerprint(unit, release + flags[unit])
            if not stamp.exists():
                pending[unit] = stamp

    def check(unit: Path) -> tuple[Path, subprocess.CompletedProcess[str]]:
        command = ["clang-tidy", "--quiet", "-p", str(arguments.cache), str(unit)]
        return unit, subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)

    failed = 0
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for unit, run in pool.map(check, pending):
            if run.returncode == 0:
                pending[unit].touch()
            else:
                failed += 1
                print(f"{unit.relative_to(ROOT)}:\n{run.stdout}", flush=True)
    print(f"clang-tidy: {len(pending)} files checked, {failed} with findings")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
