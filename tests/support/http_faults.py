"""A web server that misbehaves on purpose, each kind of fault under a path of its own.

`python http_faults.py` serves on a free loopback port, which it prints, until its standard input ends; so it ends with
whoever started it. What it serves are `SIZE` bytes of `content`. `GET /uploads/<path>` tells what came to a path.
"""

from __future__ import annotations

import email.utils
import gzip
import json
import re
import socket
import struct
import sys
import threading
import time
from collections.abc import Callable
from functools import partialmethod
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer
from typing import Any

SIZE = 300_000


def content(size: int = SIZE, salt: int = 0) -> bytes:
    """Bytes that tell where they are from: no two aligned words are the same."""
    return b"".join(struct.pack("<I", word ^ salt) for word in range((size + 3) // 4))[:size]


#: The shape of a volume that is made up as it is served, of 16-bit elements.
VOLUME = (64, 1024, 1024)


def volume(first: int, last: int) -> Any:
    """The elements of the volume from one to before another, in C order."""
    import numpy

    place = numpy.arange(first, last, dtype="uint32")
    return ((place * 40503 >> 9) + (place >> 20) * 977).astype("<u2")


BODY = content()
CHANGED = content(salt=0x5A000000)


class Server(ThreadingHTTPServer):
    daemon_threads = True
    request_queue_size = 128

    def __init__(self) -> None:
        super().__init__(("127.0.0.1", 0), Handler)
        self.lock = threading.Lock()
        self.counts: dict[str, int] = {}
        self.available = 0.0
        self.uploads: dict[str, dict[str, Any]] = {}

    def count(self, path: str) -> int:
        with self.lock:
            self.counts[path] = self.counts.get(path, 0) + 1
            return self.counts[path]

    def handle_error(self, request: Any, client_address: Any) -> None:
        pass  # connections that break are the purpose


def at_first(fault: Callable[..., None], *arguments: Any, every: int = 1 << 62, **options: Any) -> Any:
    """A fault of the first of so many requests; the others get the right answer."""

    def answer(self: Handler, number: int) -> None:
        fault(self, *arguments, number, **options) if number % every == 1 else self.serve()

    return answer


def later(fault: Callable[..., None], *arguments: Any, **options: Any) -> Any:
    """A fault of all requests but the first, which gets the right answer."""

    def answer(self: Handler, number: int) -> None:
        self.serve() if number == 1 else fault(self, *arguments, number, **options)

    return answer


class Handler(BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    server: Server

    def log_message(self, *_: Any) -> None:
        pass

    # ---- helpers for the faults

    def wanted(self, size: int = SIZE) -> tuple[int, int]:
        match = re.fullmatch(r"bytes=(\d+)-(\d+)", self.headers.get("Range", ""))
        assert match, self.headers
        return int(match[1]), min(int(match[2]), size - 1)

    def send(self, status: int, headers: dict[str, str], body: bytes = b"") -> None:
        lines = [f"HTTP/1.1 {status} Fine"] + [f"{name}: {value}" for name, value in headers.items()]
        self.wfile.write(("\r\n".join(lines) + "\r\n\r\n").encode("latin-1") + body)
        self.wfile.flush()

    def part(self, body: bytes = BODY, **changes: str | None) -> tuple[dict[str, str], bytes]:
        """The right answer to what was asked for, for faults to be put in."""
        first, last = self.wanted(len(body))
        data = body[first : last + 1]
        told = {"Content-Range": f"bytes {first}-{last}/{len(body)}", "Content-Length": str(len(data)), "ETag": '"one"'}
        told |= {name.replace("_", "-"): value for name, value in changes.items()}
        return {name: value for name, value in told.items() if value is not None}, data

    def serve(self, body: bytes = BODY, **changes: str | None) -> None:
        headers, data = self.part(body, **changes)
        self.send(206, headers, data)

    def fixed(self, status: int, body: bytes, _: int, **headers: str) -> None:
        """Answers without regard to what was asked for."""
        named = {name.replace("_", "-"): value for name, value in headers.items()}
        self.send(status, {**named, "Content-Length": str(len(body))}, body)

    def changed(self, _: int, **changes: str | None) -> None:
        """The right answer but for its headers."""
        self.serve(**changes)

    def moved(self, first: int, last: int, _: int) -> None:
        """The right answer to another question, whose ends lie so many bytes further on."""
        begin, end = (place + by for place, by in zip(self.wanted(), (first, last)))
        data = BODY[begin : end + 1]
        length = str(len(data))
        self.send(206, self.part(Content_Range=f"bytes {begin}-{end}/{SIZE}", Content_Length=length)[0], data)

    def begin(self, size: int | None = None) -> None:
        """The right answer broken off after so many bytes, by default after half of them."""
        headers, data = self.part()
        self.send(206, headers, data[: len(data) // 2 if size is None else size])

    def reset(self, _: int = 0) -> None:
        self.wfile.flush()
        self.connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        self.connection.close()
        self.close_connection = True

    def hang_up(self) -> None:
        self.wfile.flush()
        self.connection.shutdown(socket.SHUT_RDWR)
        self.close_connection = True

    # ---- requests

    def do_GET(self) -> None:
        path, _, _ = self.path.partition("?")
        name = path.strip("/").split("/")[0]
        if name == "uploads":
            self.serve(json.dumps(self.server.uploads.get(path.removeprefix("/uploads"), {})).encode())
            return
        getattr(self, "fault_" + name, self.fault_missing)(self.server.count(path))

    def do_POST(self) -> None:
        if self.headers.get("Transfer-Encoding") == "chunked":
            self.upload()
        else:
            self.do_GET()

    do_PUT = do_POST
    do_REPORT = do_GET

    fault_missing = partialmethod(fixed, 404, b"gone")
    fault_none = partialmethod(changed)

    # ---- wrong answers, which trying again does not help

    fault_ignores_ranges = partialmethod(fixed, 200, BODY)

    fault_stops_ranges = later(fixed, 200, BODY, ETag='"one"')
    fault_other_bytes = later(moved, -100, -100)
    fault_fewer_bytes = later(moved, 0, -1)

    def fault_more_bytes(self, _: int) -> None:
        headers, data = self.part(Content_Length=None, Connection="close")
        self.send(206, headers, data + b"more")
        self.hang_up()

    def fault_wrong_length(self, _: int) -> None:
        headers, data = self.part(Content_Length="100")
        self.send(206, headers, data[:100])

    def fault_compressed(self, _: int) -> None:
        headers, data = self.part()
        body = gzip.compress(data)
        self.send(206, headers | {"Content-Encoding": "gzip", "Content-Length": str(len(body))}, body)

    fault_no_content_range = partialmethod(changed, Content_Range=None)

    def fault_malformed_content_range(self, _: int) -> None:
        first, last = self.wanted()
        self.serve(Content_Range=f"bytes {first}-{last}/{SIZE}, 1-2/3")

    def fault_two_content_ranges(self, _: int) -> None:
        headers, data = self.part()
        self.send(206, headers | {"content-range": f"bytes 1-{len(data)}/{SIZE}"}, data)

    def fault_unknown_size(self, _: int) -> None:
        first, last = self.wanted()
        self.serve(Content_Range=f"bytes {first}-{last}/*")

    def fault_multipart(self, _: int) -> None:
        data = b"--x\r\nContent-Range: bytes 0-9/10\r\n\r\n0123456789\r\n--x--\r\n"
        self.fixed(206, data, 0, Content_Type="multipart/byteranges; boundary=x")

    def several(self, _: int, *, total: int = SIZE, first: int = 0, cut: int | None = None) -> None:
        """Answers with several ranges, if several were asked for, leaving out the first ones or cutting it."""
        ranges = [(int(a), int(b)) for a, b in re.findall(r"(\d+)-(\d+)", self.headers.get("Range", ""))]
        if len(ranges) == 1:
            self.serve()
            return
        boundary = "x y"
        parts = b"".join(
            f"\r\n--{boundary}\r\nContent-Type: x/y\r\nContent-Range: bytes {a}-{b}/{total}\r\n\r\n".encode()
            + BODY[a : b + 1]
            for a, b in ranges[first:]
        )
        body = (parts + f"\r\n--{boundary}--\r\nepilogue".encode())[:cut]
        kind = f'Multipart/ByteRanges; charset=x; boundary="{boundary}"'
        self.send(206, {"Content-Type": kind, "Content-Length": str(len(parts) + 20), "ETag": '"one"'}, body)
        self.hang_up()

    fault_several = several
    fault_several_incomplete = partialmethod(several, cut=700)

    fault_several_others = partialmethod(several, first=1)
    fault_several_changed = partialmethod(several, total=SIZE + 1)

    def single(self, status: int, body: bytes, _: int) -> None:
        """Answers with one range only."""
        self.fixed(status, body, 0) if "," in self.headers["Range"] else self.serve()

    fault_several_refused = partialmethod(single, 400, b"")
    fault_several_ignored = partialmethod(single, 200, BODY)

    def fault_changes(self, number: int) -> None:
        """Another version from the second request on, by a server that minds If-Range."""
        if number == 1:
            self.serve()
        elif self.headers.get("If-Range") == '"one"':
            self.fixed(200, CHANGED, number, ETag='"two"')
        else:
            self.serve(CHANGED, ETag='"two"')

    def fault_changes_carelessly(self, number: int) -> None:
        self.serve(*([] if number == 1 else [CHANGED]), ETag='"one"' if number == 1 else '"two"')

    def fault_changes_weakly(self, number: int) -> None:
        times = ["Sun, 01 Nov 2026 10:00:00 GMT", "Sun, 01 Nov 2026 10:00:01 GMT"]
        self.serve(ETag='W/"weak"', Last_Modified=times[min(number, 2) - 1])

    def fault_changes_while_opened(self, number: int) -> None:
        """Another version after a part of the first answer."""
        if number > 1:
            self.serve(CHANGED, ETag='"two"')
            return
        self.begin(1000)
        self.hang_up()

    def fault_changes_size(self, number: int) -> None:
        self.serve(BODY if number == 1 else BODY[:-1000], ETag=None)

    def fault_redirects_for_ever(self, number: int) -> None:
        self.fixed(302, b"", number, Location=f"/redirects_for_ever/{number}")

    fault_redirects_elsewhere = partialmethod(fixed, 302, b"", Location="file:///etc/hostname")
    fault_redirects = partialmethod(fixed, 307, b"", Location="/none")

    def fault_long_head(self, _: int) -> None:
        self.wfile.write(b"HTTP/1.1 206 Fine\r\n")
        for number in range(100_000):
            self.wfile.write(b"X-%d: %s\r\n" % (number, b"x" * 1000))

    def fault_garbage(self, _: int) -> None:
        self.wfile.write(b"\x00\x01\x02 this is no HTTP\r\n\r\n" * 10)
        self.hang_up()

    fault_forbidden = partialmethod(fixed, 403, b"")
    fault_status_451 = partialmethod(fixed, 451, b"x" * 1_000_000)
    fault_always_500 = partialmethod(fixed, 500, b"bad")

    def fault_always_truncated(self, _: int) -> None:
        self.begin(10)
        self.hang_up()

    def fault_silent(self, _: int) -> None:
        time.sleep(60)

    def fault_stalls(self, number: int) -> None:
        self.begin()
        time.sleep(60)

    fault_stalls_later = later(fault_stalls)
    fault_impatient = partialmethod(fixed, 429, b"", Retry_After="3600")

    # ---- faults that pass: the right bytes in the end

    fault_once_503 = at_first(fixed, 503, b"", every=2)
    fault_once_429 = at_first(fixed, 429, b"", Retry_After="1")
    fault_once_reset = at_first(reset, every=2)
    fault_stalls_once = at_first(fault_stalls)

    def fault_once_429_date(self, number: int) -> None:
        when = email.utils.formatdate(time.time() + 2, usegmt=True)
        self.fixed(429, b"", number, Retry_After=when) if number == 1 else self.serve()

    def broken(self, _: int) -> None:
        self.begin()
        time.sleep(0.05)
        self.reset()

    fault_once_reset_within = at_first(broken, every=2)

    def fault_truncates(self, number: int) -> None:
        """Half of what was asked for each time: only those who go on where it ended get through."""
        headers, data = self.part()
        half = data[: max(len(data) // 2, 20_000)]
        self.send(206, headers, half)
        if len(half) < len(data):
            self.hang_up()

    def fault_truncates_chunks(self, number: int) -> None:
        headers, data = self.part(Content_Length=None, Transfer_Encoding="chunked")
        chunk = data if number > 1 else data[:5000]
        self.send(206, headers, b"%x\r\n%s\r\n" % (len(chunk), chunk) + (b"0\r\n\r\n" if number > 1 else b""))
        if number == 1:
            self.hang_up()

    def fault_chunks_with_trailers(self, _: int) -> None:
        headers, data = self.part(Content_Length=None, Transfer_Encoding="chunked", Trailer="Content-Range")
        trailers = b"Content-Range: bytes 5-6/7\r\nContent-Encoding: gzip\r\n"
        self.send(206, headers, b"%x\r\n%s\r\n0\r\n%s\r\n" % (len(data), data, trailers))

    def fault_interim(self, _: int) -> None:
        self.wfile.write(b"HTTP/1.1 103 Early Hints\r\nContent-Range: bytes 7-8/9\r\nETag: x\r\n\r\n")
        self.serve()

    def fault_closes(self, _: int) -> None:
        """Ends each connection without saying so."""
        self.serve()
        self.hang_up()

    def fault_slow(self, _: int) -> None:
        """Slow, but alive: never silent for half a second."""
        headers, data = self.part()
        self.send(206, headers)
        size = max(len(data) // 10, 1)
        for begin in range(0, len(data), size):
            self.wfile.write(data[begin : begin + size])
            time.sleep(0.2)

    fault_empty = partialmethod(fixed, 416, b"", Content_Range="bytes */0")
    fault_empty_whole = partialmethod(fixed, 200, b"")

    fault_weak = partialmethod(changed, ETag='W/"weak"')

    def fault_latency(self, _: int) -> None:
        time.sleep(0.02)
        self.serve()

    def fault_protected(self, _: int) -> None:
        # user "me@home", password "p:w d"
        if self.headers.get("Authorization") == "Basic bWVAaG9tZTpwOncgZA==":
            self.serve()
        else:
            self.fixed(401, b"", 0, WWW_Authenticate='Basic realm="x"')

    def fault_volume(self, number: int) -> None:
        """The volume, from a server that is not available for a second after the first requests."""
        size = 2 * VOLUME[0] * VOLUME[1] * VOLUME[2]
        if number == 20:
            self.server.available = time.monotonic() + 1
        if time.monotonic() < self.server.available:
            self.fixed(503, b"", number)
            return
        first, last = self.wanted(size)
        data = volume(first // 2, last // 2 + 1).tobytes()[first % 2 :][: last - first + 1]
        headers = {"Content-Range": f"bytes {first}-{last}/{size}", "Content-Length": str(len(data)), "ETag": '"v"'}
        self.send(206, headers, data)

    # ---- uploads

    def chunks(self) -> Any:
        while size := int(self.rfile.readline().split(b";")[0] or b"-1", 16):
            data = self.rfile.read(max(size, 0))
            if len(data) != size:
                raise ConnectionError("the body broke off")
            self.rfile.readline()
            yield data
        while self.rfile.readline().strip():
            pass

    def upload(self) -> None:
        name = self.path.strip("/").split("/")[0]
        record = {"method": self.command, "headers": [*self.headers.items()], "bytes": 0, "sum": 0, "complete": False}
        self.server.uploads[self.path] = record
        getattr(self, "upload_" + name, self.upload_missing)(record)

    def take(self, record: dict[str, Any], most: int = 1 << 62) -> None:
        for data in self.chunks():
            record["bytes"] += len(data)
            record["sum"] = (record["sum"] + sum(data)) % (1 << 32)
            if record["bytes"] >= most:
                return
        record["complete"] = True

    def answered(self, record: dict[str, Any], status: int, body: bytes = b"", **headers: str) -> None:
        self.take(record)
        self.fixed(status, body, 0, **headers)

    upload_accept = partialmethod(answered, status=201, body=b"ok")
    upload_refused_at_end = partialmethod(answered, status=422)
    upload_redirects = partialmethod(answered, status=307, Location="/accept")

    def broken_off(self, record: dict[str, Any], then: Callable[..., None], most: int = 1 << 62) -> None:
        """Takes so many bytes at the least before it does something else than answer."""
        self.take(record, most)
        then(self)

    upload_breaks = partialmethod(broken_off, then=reset, most=1000)
    upload_hangs_up = partialmethod(broken_off, then=hang_up)
    upload_no_answer = partialmethod(broken_off, then=lambda _: time.sleep(60))

    def upload_takes_nothing(self, record: dict[str, Any]) -> None:
        time.sleep(60)

    def upload_missing(self, record: dict[str, Any]) -> None:
        self.fixed(404, b"", 0, Connection="close")
        self.close_connection = True

    def upload_too_large(self, record: dict[str, Any]) -> None:
        self.take(record, most=1000)
        self.fixed(413, b"", 0, Connection="close")
        time.sleep(0.5)
        self.close_connection = True

    def upload_early_ok(self, record: dict[str, Any]) -> None:
        """Says that all is well before it has got it, and goes."""
        self.take(record, most=1000)
        self.fixed(200, b"", 0, Connection="close")
        self.reset()

    def upload_interim(self, record: dict[str, Any]) -> None:
        self.wfile.write(b"HTTP/1.1 102 Processing\r\n\r\n")
        self.take(record)
        self.wfile.write(b"HTTP/1.1 102 Processing\r\n\r\n")
        self.fixed(200, b"", 0)


def main() -> None:
    server = Server()
    print(server.server_address[1], flush=True)
    threading.Thread(target=server.serve_forever, daemon=True).start()
    sys.stdin.buffer.read()


if __name__ == "__main__":
    main()
