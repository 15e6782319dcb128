"""Resources of web servers: a real one, and one that misbehaves on purpose."""

import hashlib
import random
import signal
import subprocess
import sys
import threading
import time
import urllib.request
from collections.abc import Iterator

import pytest
from http_faults import BODY, Server
from http_nginx import Nginx, nginx

import zarnik
from support.expect import raises


@pytest.fixture(scope="module")
def web() -> Iterator[Nginx]:
    with nginx() as server:
        yield server


@pytest.fixture(scope="module")
def faulty() -> Iterator[str]:
    server = Server()
    threading.Thread(target=server.serve_forever, daemon=True).start()
    yield f"http://127.0.0.1:{server.server_address[1]}/"
    server.shutdown()


@pytest.fixture(autouse=True)
def no_proxy(monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.setenv("no_proxy", "*")


def test_reads_what_urllib_reads(web: Nginx) -> None:
    access = zarnik.open_random(web.url("content.bin"))
    with urllib.request.urlopen(web.url("content.bin")) as answer:
        expected = answer.read()
    assert len(access) == len(expected)
    assert access[:] == expected
    assert access[1000:2000] == expected[1000:2000]
    assert access.read(len(expected) - 5, 100) == expected[-5:]


def test_flat_functions_open_uris(web: Nginx) -> None:
    headers = zarnik.HTTPHeaders()
    headers.add("X-Kind", "test")
    for access in (
        zarnik.RandomAccessFactory.open_uri_read(zarnik.Uri(web.url("content.bin"))),
        zarnik.RandomAccessFactory.open_http_read(zarnik.Uri(web.url("content.bin")), "GET", headers),
    ):
        assert access.read(0, 100) == BODY[:100]
    raises(zarnik.Error, "status 404", zarnik.RandomAccessFactory.open_uri_read, zarnik.Uri(web.url("missing")))
    with pytest.raises(zarnik.Error, match="status 405"):
        stream = zarnik.StreamAccessFactory.open_uri_write(zarnik.Uri(web.url("content.bin")))
        for _ in range(100):
            stream.write(bytes(1_000_000))
            stream.flush()


def test_counts_what_it_does(web: Nginx) -> None:
    access = zarnik.open_random(web.url("content.bin"))
    before = access.http_counters()
    answered = web.requests()
    for _ in range(3):
        access.read(200_000, 10)
    after = access.http_counters()
    assert after["requests"] - before["requests"] == 1
    assert after["cache_hits"] - before["cache_hits"] == 2
    assert after["bytes_received"] - before["bytes_received"] >= 10
    assert after["retries"] == 0
    time.sleep(0.1)
    assert web.requests() - answered == 1


def test_limits_can_be_set(web: Nginx) -> None:
    before = zarnik.http_options()
    try:
        zarnik.set_http_options(block_bytes=1024, stall_seconds=5)
        access = zarnik.open_random(web.url("content.bin"))
        assert access.http_counters()["bytes_received"] == 1024
        for limits in ({"block_bytes": 3}, {"retries": 1000}, {"stall_seconds": float("nan")}):
            raises(zarnik.InvalidArgument, "allowed is", zarnik.set_http_options, cache_bytes=0, **limits)
        raises(TypeError, "", zarnik.set_http_options, patience=3)
        raises(OverflowError, "", zarnik.set_http_options, redirects=-1)
        assert zarnik.http_options() == {**before, "block_bytes": 1024, "stall_seconds": 5.0}
    finally:
        zarnik.set_http_options(**before)


def test_uploads_arrive(web: Nginx) -> None:
    data = random.Random(5).randbytes(3_000_001)
    with zarnik.open_stream(web.url("put/upload.bin"), "w", method="PUT") as stream:
        for begin in range(0, len(data), 100_000):
            assert stream.write(data[begin : begin + 100_000]) == len(data[begin : begin + 100_000])
    assert hashlib.sha256((web.root / "put/upload.bin").read_bytes()).digest() == hashlib.sha256(data).digest()


def test_the_end_of_a_with_block_raises_refusals(faulty: str) -> None:
    address = faulty + "refused_at_end/package"
    with pytest.raises(zarnik.Error, match="status 422"), zarnik.open_stream(address, "w") as stream:
        stream.write(b"abcd")


def test_an_exception_in_a_with_block_breaks_the_upload_off(web: Nginx) -> None:
    with pytest.raises(KeyError), zarnik.open_stream(web.url("put/part.bin"), "w", method="PUT") as stream:
        stream.write(b"abcd")
        stream.flush()
        raise KeyError
    time.sleep(0.2)
    assert not (web.root / "put/part.bin").exists()


def test_ctrl_c_ends_a_silent_read(faulty: str) -> None:
    program = f"""
import sys, zarnik
access = zarnik.open_random({faulty + "stalls_later"!r})
print("open", flush=True)
try:
    access.read(200_000, 10)
except KeyboardInterrupt:
    print("interrupted", access.read(0, 4), flush=True)
"""
    process = subprocess.Popen([sys.executable, "-c", program], stdout=subprocess.PIPE, text=True)
    assert process.stdout
    assert process.stdout.readline() == "open\n"
    time.sleep(0.3)
    begin = time.monotonic()
    process.send_signal(signal.SIGINT)
    assert process.stdout.readline() == "interrupted b'\\x00\\x00\\x00\\x00'\n"
    process.communicate(timeout=60)
    assert process.returncode == 0 and time.monotonic() - begin < 10
