"""The part of the demonstration that reads a file of a web server in part."""

from __future__ import annotations

import contextlib
import os
import shutil
import socket
import subprocess
import tempfile
import time
import zlib
from collections.abc import Iterator
from pathlib import Path
from typing import Callable
from urllib.parse import quote

import numpy

import zarnik

CONFIGURATION = """
daemon off;
master_process off;
pid {work}/pid;
error_log {work}/error.log;
events {{}}
http {{
  access_log off;
  client_body_temp_path {work}/body;
  proxy_temp_path {work}/proxy;
  fastcgi_temp_path {work}/fastcgi;
  uwsgi_temp_path {work}/uwsgi;
  scgi_temp_path {work}/scgi;
  server {{ listen 127.0.0.1:{port}; root "{root}"; }}
}}
"""


class MissingServer(RuntimeError):
    """There is no web server on this machine."""


def free_port() -> int:
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return int(probe.getsockname()[1])


@contextlib.contextmanager
def web_server(folder: Path) -> Iterator[str]:
    """Serve a folder by nginx on a free port of the loopback address; gives the URL of the folder."""
    nginx = shutil.which("nginx", path=f"{os.environ.get('PATH', '')}:/usr/sbin:/usr/local/sbin")
    if nginx is None:
        raise MissingServer("there is no nginx to serve a file with: apt-get install nginx-light")
    with tempfile.TemporaryDirectory() as work:
        port = free_port()
        configuration = Path(work) / "nginx.conf"
        configuration.write_text(CONFIGURATION.format(work=work, port=port, root=folder))
        command = [nginx, "-p", work, "-e", f"{work}/error.log", "-c", str(configuration)]
        server = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        try:
            for _ in range(1000):
                if server.poll() is not None:
                    raise MissingServer(f"nginx did not start: {(Path(work) / 'error.log').read_text().strip()}")
                with contextlib.suppress(OSError), socket.create_connection(("127.0.0.1", port), 1):
                    break
                time.sleep(0.01)
            yield f"http://127.0.0.1:{port}"
        finally:
            server.terminate()
            server.wait()


def run(path: Path, tell: Callable[[str], None]) -> None:
    """Read the header and the end of a scan, compressed or not, from a web server."""
    try:
        with contextlib.ExitStack() as stack:
            url = f"{stack.enter_context(web_server(path.parent))}/{quote(path.name)}"
            access = zarnik.open_random(url)
            tell(f"opened {url}: {len(access)} bytes, none of them here yet but the first block")

            begin, end = access.read_many([(0, 2048), (len(access) - 8, 8)])
            header = zlib.decompressobj(31).decompress(begin, 348) if path.suffix == ".gz" else begin[:348]
            rank, *sizes = numpy.frombuffer(header, "<i2", 8, offset=40).tolist()
            whole = path.read_bytes()
            verdict = "the same as" if begin == whole[:2048] and end == whole[-8:] else "NOT the same as"
            counters = access.http_counters() or {}
            tell(f"read its begin and end, {verdict} on disk: a scan of {tuple(sizes[:rank])} voxels")
            print(
                f"{'':13}asked for {len(begin) + len(end)} bytes, received {counters['bytes_received']} "
                f"of {len(access)} in {counters['requests']} requests"
            )
    except MissingServer as error:
        tell(f"left out reading from a web server: {error}")
