"""nginx on free loopback ports: HTTP/1.1 on one, HTTP/2 over TLS on another, with a certificate made on the spot.

`python http_nginx.py [folder]` serves the folder, by default a new one with `content.bin`, until its standard input
ends. It prints the two ports, the certificate's file and the folder. Files can be put below `/put/`; what is below
`/limited/` is sent slowly. Its access log is `access.log` in the folder of the certificate.
"""

from __future__ import annotations

import contextlib
import pathlib
import shutil
import socket
import subprocess
import sys
import tempfile
import time
from collections.abc import Iterator
from typing import NamedTuple

from http_faults import content

CONFIGURATION = """
daemon off;
master_process off;
pid {work}/pid;
error_log {work}/error.log;
events {{ worker_connections 512; }}
http {{
  access_log {work}/access.log;
  client_body_temp_path {work}/body;
  proxy_temp_path {work}/proxy;
  fastcgi_temp_path {work}/fastcgi;
  uwsgi_temp_path {work}/uwsgi;
  scgi_temp_path {work}/scgi;
  sendfile on;
  keepalive_requests 100000;
  client_max_body_size 1g;
  gzip on;
  gzip_types *;
  server {{
    listen 127.0.0.1:{port};
    listen 127.0.0.1:{tls_port} ssl http2;
    ssl_certificate {work}/certificate.pem;
    ssl_certificate_key {work}/key.pem;
    root {root};
    location /put/ {{ dav_methods PUT DELETE; create_full_put_path on; }}
    location /limited/ {{ alias {root}/; limit_rate 64k; }}
    location /moved/ {{ rewrite ^/moved/(.*)$ /$1 redirect; }}
  }}
}}
"""


class Nginx(NamedTuple):
    port: int
    tls_port: int
    certificate: pathlib.Path
    root: pathlib.Path

    def url(self, path: str) -> str:
        return f"http://127.0.0.1:{self.port}/{path}"

    def tls_url(self, path: str) -> str:
        return f"https://127.0.0.1:{self.tls_port}/{path}"

    def requests(self) -> int:
        """How many requests the server has answered."""
        return len((self.certificate.parent / "access.log").read_text().splitlines())


def make_certificate(folder: pathlib.Path) -> None:
    command = "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 2 -subj /CN=localhost"
    names = ["-addext", "subjectAltName=IP:127.0.0.1,DNS:localhost"]
    files = ["-keyout", str(folder / "key.pem"), "-out", str(folder / "certificate.pem")]
    subprocess.run([*command.split(), *names, *files], check=True, capture_output=True)


def answers(port: int) -> bool:
    try:
        socket.create_connection(("127.0.0.1", port), timeout=1).close()
        return True
    except OSError:
        return False


@contextlib.contextmanager
def nginx(root: pathlib.Path | None = None) -> Iterator[Nginx]:
    program = shutil.which("nginx", path="/usr/sbin:/usr/bin:/usr/local/sbin:/usr/local/bin:/sbin:/bin")
    if not program:
        raise FileNotFoundError("nginx is not installed (Debian's package nginx-light)")
    with tempfile.TemporaryDirectory() as name:
        work = pathlib.Path(name)
        if root is None:
            root = work / "root"
            (root / "put").mkdir(parents=True)
            (root / "content.bin").write_bytes(content())
            (root / "empty.bin").write_bytes(b"")
        make_certificate(work)
        # Somebody else may take a port between the look and the start.
        for _ in range(5):
            with socket.create_server(("127.0.0.1", 0)) as one, socket.create_server(("127.0.0.1", 0)) as other:
                port, tls_port = one.getsockname()[1], other.getsockname()[1]
            text = CONFIGURATION.format(work=work, root=root, port=port, tls_port=tls_port)
            (work / "nginx.conf").write_text(text)
            command = [program, "-p", str(work), "-e", str(work / "error.log"), "-c", str(work / "nginx.conf")]
            process = subprocess.Popen(command, stderr=subprocess.DEVNULL)
            try:
                for _ in range(100):
                    if answers(tls_port):
                        yield Nginx(port, tls_port, work / "certificate.pem", root)
                        return
                    if process.poll() is not None:
                        break
                    time.sleep(0.05)
            finally:
                process.terminate()
                process.wait()
        raise RuntimeError("nginx does not start: " + (work / "error.log").read_text())


def main() -> None:
    root = pathlib.Path(sys.argv[1]) if len(sys.argv) > 1 else None
    with nginx(root) as server:
        print(server.port, server.tls_port, server.certificate, server.root, flush=True)
        sys.stdin.buffer.read()


if __name__ == "__main__":
    main()
