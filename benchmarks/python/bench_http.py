"""What reading over HTTP costs: next to curl, next to one request for each part, and in round trips to far servers."""

from __future__ import annotations

import random
import shutil
import subprocess
import sys
import tempfile
import time
from collections.abc import Iterator
from pathlib import Path

import zarnik
from http_delay import delayed
from measure import Ratio

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "tests" / "support"))

from http_nginx import Nginx, nginx

FILE_BYTES = 256 << 20
PARTS = 10_000
PART_BYTES = 4096
DELAY_SECONDS = 0.02
ROWS = 1000
ROW_STRIDES = (4096, 65_536, 200_000)
ROUNDS = 7


def seconds(work: object) -> float:
    begin = time.perf_counter()
    work()  # type: ignore[operator]
    return time.perf_counter() - begin


def sequential(server: Nginx) -> Iterator[Ratio]:
    url = server.url("large.bin")
    piece = bytearray(1 << 20)

    def by_curl() -> None:
        subprocess.run(["curl", "-s", "-o", "/dev/null", url], check=True)

    def at_once() -> None:
        zarnik.open_random(url).read_into(0, whole)

    def in_pieces() -> None:
        access = zarnik.open_random(url)
        for offset in range(0, FILE_BYTES, len(piece)):
            access.read_into(offset, piece)

    whole = bytearray(FILE_BYTES)
    works = (by_curl, at_once, in_pieces)
    # In turns, so that a change of the machine's pace hits all alike.
    times = [[seconds(work) for work in works] for _ in range(ROUNDS)]
    best = dict(zip(works, map(min, zip(*times))))
    yield Ratio("256 MiB in one read", "curl", best[at_once], best[by_curl], 1.2)
    yield Ratio("256 MiB in pieces of 1 MiB", "curl", best[in_pieces], best[by_curl], 1.2)


def scattered(server: Nginx) -> Iterator[Ratio]:
    source = random.Random(1)
    parts = [(source.randrange(FILE_BYTES - PART_BYTES), PART_BYTES) for _ in range(PARTS)]
    access = zarnik.open_random(server.url("large.bin"))
    together = seconds(lambda: access.read_many(parts))
    single = zarnik.open_random(server.url("large.bin"))
    apart = seconds(lambda: [single.read(offset, size) for offset, size in parts[:1000]]) * (PARTS / 1000)
    name = f"{PARTS} scattered reads, {access.http_counters()['requests']} requests"
    yield Ratio(name, f"one by one, {single.http_counters()['requests'] * 10} requests", together, apart)


def rows_from_afar(port: int, stride: int) -> Ratio:
    access = zarnik.open_random(f"http://127.0.0.1:{port}/large.bin")
    rows = [(row * stride, 2048) for row in range(ROWS)]
    spent = seconds(lambda: access.read_many(rows))
    requests = access.http_counters()["requests"] - 1
    return Ratio(f"{ROWS} rows {stride} apart, {requests} requests", "one round trip", spent, DELAY_SECONDS, 10)


def far(server: Nginx) -> Iterator[Ratio]:
    with delayed(server.port, DELAY_SECONDS) as port:
        for stride in ROW_STRIDES:
            yield rows_from_afar(port, stride)


def run() -> Iterator[Ratio]:
    folder = Path(tempfile.mkdtemp())
    try:
        (folder / "large.bin").write_bytes(random.Random(0).randbytes(1 << 20) * (FILE_BYTES >> 20))
        with nginx(folder) as server:
            yield from sequential(server)
            yield from scattered(server)
            yield from far(server)
    finally:
        shutil.rmtree(folder)
