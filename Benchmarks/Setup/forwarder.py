"""A forwarder that makes a loopback connection as slow as a network, and writes down what passes and when."""

import asyncio
import base64
import contextlib
import re
import time
from dataclasses import dataclass, field

CHUNK_BYTES = 64 * 1024


@dataclass
class Connection:
    """What one connection carried, as the client saw it: moments are those of its own sending and receiving."""

    opened: float
    sent: list[tuple[float, bytes]] = field(default_factory=list)
    received: list[tuple[float, bytes]] = field(default_factory=list)

    def is_end_of_tunnel(self) -> bool:
        return b"x-sessioncookie" in b"".join(data for _, data in self.sent).lower()


@dataclass
class Step:
    """Something that the client had to wait for."""

    name: str
    begin: float
    end: float


class Forwarder:
    """Passes connections to the server of a port, each way `delay_seconds` later.

    On the loopback a connection is made at once, while a network takes a round trip for the handshake. The first bytes
    of a connection are therefore held back for a round trip more, by which everything behind them arrives exactly when
    it would have. `connections` belongs to the caller, who clears it before what is to be recorded.
    """

    def __init__(self, target_port: int, delay_seconds: float) -> None:
        self.connections: list[Connection] = []
        self.port = 0
        self._target_port = target_port
        self._delay = delay_seconds
        self._tasks: set[asyncio.Task] = set()

    async def open(self) -> "Forwarder":
        self._server = await asyncio.start_server(self._serve, "127.0.0.1", 0)
        self.port = self._server.sockets[0].getsockname()[1]
        return self

    async def close(self) -> None:
        self._server.close()
        for task in self._tasks:
            task.cancel()
        await asyncio.gather(*self._tasks, return_exceptions=True)

    async def _serve(self, reader: asyncio.StreamReader, writer: asyncio.StreamWriter) -> None:
        task = asyncio.current_task()
        self._tasks.add(task)
        connection = Connection(time.monotonic())
        self.connections.append(connection)
        try:
            server_reader, server_writer = await asyncio.open_connection("127.0.0.1", self._target_port)
            handshake = connection.opened + 2 * self._delay
            async with asyncio.TaskGroup() as directions:
                directions.create_task(self._forward(reader, server_writer, connection.sent, None, handshake))
                directions.create_task(self._forward(server_reader, writer, None, connection.received, 0.0))
        finally:
            writer.close()
            self._tasks.discard(task)

    async def _forward(
        self,
        reader: asyncio.StreamReader,
        writer: asyncio.StreamWriter,
        on_entry: list[tuple[float, bytes]] | None,
        on_exit: list[tuple[float, bytes]] | None,
        not_before: float,
    ) -> None:
        line: asyncio.Queue[tuple[float, bytes]] = asyncio.Queue()

        async def deliver() -> None:
            while True:
                due, data = await line.get()
                await asyncio.sleep(due - time.monotonic())
                if not data:
                    break
                if on_exit is not None:
                    on_exit.append((time.monotonic(), data))
                writer.write(data)
                await writer.drain()
            writer.close()

        async def accept() -> None:
            data = b"-"
            while data:
                data = b""
                with contextlib.suppress(ConnectionError):
                    data = await reader.read(CHUNK_BYTES)
                moment = time.monotonic()
                if on_entry is not None and data:
                    on_entry.append((moment, data))
                line.put_nowait((max(moment, not_before) + self._delay, data))

        with contextlib.suppress(ConnectionError):
            await asyncio.gather(accept(), deliver())


def steps_to_play(connections: list[Connection]) -> list[Step]:
    """From the opening of the tunnel to the reply to PLAY: every connection and every answered request, in order.

    Empty while that reply has not come. A request counts once its answer has, under its method's name.
    """
    ends = [connection for connection in connections if connection.is_end_of_tunnel()]
    if len(ends) < 2:
        return []
    get = next((end for end in ends if end.sent[0][1].startswith(b"GET ")), None)
    post = next((end for end in ends if end.sent[0][1].startswith(b"POST ")), None)
    if get is None or post is None or not get.received:
        return []
    steps = [
        Step("connect", get.opened, get.opened),
        Step("GET", get.sent[0][0], get.received[0][0]),
        Step("connect", post.opened, post.opened),
    ]
    replies = reply_moments(get)
    for moment, method, sequence in requests(post):
        if sequence not in replies:
            return []
        steps.append(Step(method, moment, replies[sequence]))
        if method == "PLAY":
            return steps
    return []


def requests(post: Connection) -> list[tuple[float, str, int]]:
    """Moment, method and CSeq of the RTSP requests in the body of a POST, whatever pieces its base64 came in."""
    found: list[tuple[float, str, int]] = []
    pending = b""
    text = b""
    is_body = False
    for moment, data in post.sent:
        pending += data
        if not is_body:
            _, blank_line, pending = pending.partition(b"\r\n\r\n")
            is_body = bool(blank_line)
            if not is_body:
                continue
        whole = len(pending) - len(pending) % 4
        # Each request may be padded for itself, so the groups are decoded one by one.
        text += b"".join(base64.b64decode(pending[at : at + 4]) for at in range(0, whole, 4))
        pending = pending[whole:]
        while (end := text.find(b"\r\n\r\n")) >= 0:
            request, text = text[:end], text[end + 4 :]
            sequence = re.search(rb"CSeq: *(\d+)", request, re.IGNORECASE)
            found.append((moment, request.split(b" ", 1)[0].decode("ascii"), int(sequence[1])))
    return found


def reply_moments(get: Connection) -> dict[int, float]:
    """When the reply with each CSeq had come."""
    moments: dict[int, float] = {}
    text = b""
    for moment, data in get.received:
        text += data
        for sequence in re.findall(rb"RTSP/1\.0 \d+[^$]*?CSeq: *(\d+)", text, re.IGNORECASE):
            moments.setdefault(int(sequence), moment)
    return moments
