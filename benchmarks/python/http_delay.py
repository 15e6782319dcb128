"""A proxy on the loopback address that makes a server far away: what passes is held back for a time."""

from __future__ import annotations

import asyncio
import contextlib
import threading
from collections.abc import Iterator


async def forward(reader: asyncio.StreamReader, writer: asyncio.StreamWriter, delay: float) -> None:
    """Passes bytes on, each piece after the delay, however many are on their way."""
    loop = asyncio.get_running_loop()
    queue: asyncio.Queue[tuple[float, bytes]] = asyncio.Queue()

    async def deliver() -> None:
        while True:
            due, data = await queue.get()
            await asyncio.sleep(max(0.0, due - loop.time()))
            if not data:
                break
            writer.write(data)
            await writer.drain()
        writer.close()

    delivering = asyncio.ensure_future(deliver())
    with contextlib.suppress(OSError):
        while data := await reader.read(1 << 18):
            queue.put_nowait((loop.time() + delay, data))
    queue.put_nowait((loop.time() + delay, b""))
    with contextlib.suppress(OSError):
        await delivering


@contextlib.contextmanager
def delayed(port: int, round_trip: float) -> Iterator[int]:
    """Makes the server at a port of the loopback address answer a round trip later; gives the port to use instead."""
    loop = asyncio.new_event_loop()
    ready = threading.Event()
    ports: list[int] = []

    async def connect(reader: asyncio.StreamReader, writer: asyncio.StreamWriter) -> None:
        upstream_reader, upstream_writer = await asyncio.open_connection("127.0.0.1", port)
        await asyncio.gather(
            forward(reader, upstream_writer, round_trip / 2), forward(upstream_reader, writer, round_trip / 2)
        )

    async def start() -> None:
        server = await asyncio.start_server(connect, "127.0.0.1", 0)
        ports.append(server.sockets[0].getsockname()[1])
        ready.set()

    def run() -> None:
        asyncio.set_event_loop(loop)
        loop.run_until_complete(start())
        loop.run_forever()
        for task in asyncio.all_tasks(loop):
            task.cancel()
        loop.run_until_complete(asyncio.sleep(0))
        loop.close()

    thread = threading.Thread(target=run, daemon=True)
    thread.start()
    ready.wait()
    try:
        yield ports[0]
    finally:
        loop.call_soon_threadsafe(loop.stop)
        thread.join()
