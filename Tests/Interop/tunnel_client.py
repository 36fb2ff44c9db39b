"""A small RTSP client through an HTTP tunnel, which sends what the component sends.

The checks use it where the component cannot help: to show that a server ends a session without keep-alive, and to keep
a stream running beside a measurement. It asks for one thing at a time and has no credentials.
"""

import asyncio
import base64
import secrets
from dataclasses import dataclass

ANSWER_LIMIT_SECONDS = 10.0


@dataclass
class Reply:
    status: int
    headers: dict[str, str]
    body: str


class TunnelClient:
    def __init__(self, port: int, path: str) -> None:
        self._port = port
        self._path = path
        self._cseq = 0
        self.session = ""

    async def open(self) -> None:
        cookie = secrets.token_hex(16)
        common = f"x-sessioncookie:{cookie}\r\nConnection: Keep-Alive\r\nCache-Control: no-cache\r\n"
        host = f"Host: 127.0.0.1:{self._port}\r\n"
        self._replies, self._get = await asyncio.open_connection("127.0.0.1", self._port)
        self._get.write(f"GET {self._path} HTTP/1.1\r\n{common}{host}\r\n".encode())
        header = await asyncio.wait_for(self._replies.readuntil(b"\r\n\r\n"), ANSWER_LIMIT_SECONDS)
        if header.split(b" ")[1] != b"200":
            raise RuntimeError(f"the tunnel was refused: {header!r}")
        _, self._post = await asyncio.open_connection("127.0.0.1", self._port)
        content = "Content-Type: application/x-rtsp-tunnelled\r\nContent-Length: 32767\r\n"
        self._post.write(f"POST {self._path} HTTP/1.1\r\n{common}{content}{host}\r\n".encode())

    async def ask(self, method: str, url: str = "", **headers: str) -> Reply:
        self._cseq += 1
        lines = [f"{method} {url or 'rtsp://127.0.0.1' + self._path} RTSP/1.0", f"CSeq: {self._cseq}"]
        if self.session:
            lines.append(f"Session: {self.session}")
        lines += [f"{name}: {value}" for name, value in headers.items()]
        self._post.write(base64.b64encode("".join(line + "\r\n" for line in [*lines, ""]).encode()))
        reply = await asyncio.wait_for(self._read_reply(), ANSWER_LIMIT_SECONDS)
        if "session" in reply.headers:
            self.session = reply.headers["session"].partition(";")[0]
        return reply

    async def describe(self) -> Reply:
        return await self.ask("DESCRIBE", Accept="application/sdp")

    async def play(self, *client_ports: int) -> Reply:
        """DESCRIBE, one SETUP for each port (the streams in their order) and PLAY; gives the last reply."""
        described = await self.describe()
        controls = [line[10:] for line in described.body.splitlines() if line.startswith("a=control:")]
        base = described.headers.get("content-base", "")
        urls = [control if "://" in control else base + control for control in controls]
        for url, port in zip(urls[1:], client_ports):
            await self.ask("SETUP", url, Transport=f"RTP/AVP;unicast;client_port={port}-{port + 1}")
        return await self.ask("PLAY", urls[0], Range="npt=0.000-")

    async def close(self) -> None:
        for writer in (self._post, self._get):
            writer.close()

    async def _read_reply(self) -> Reply:
        head = (await self._replies.readuntil(b"\r\n\r\n")).decode("latin-1").split("\r\n")
        pairs = (line.partition(":") for line in head[1:] if line)
        headers = {name.strip().lower(): value.strip() for name, _, value in pairs}
        body = await self._replies.readexactly(int(headers.get("content-length", "0")))
        return Reply(int(head[0].split(" ")[1]), headers, body.decode("latin-1"))
