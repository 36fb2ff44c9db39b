"""The web server of an Axis camera, as far as the component asks for it, in front of an RTSP server.

One loopback port, as on a camera: CGI requests are answered here, and a connection whose request carries
x-sessioncookie is an end of an RTSP tunnel and passed through byte for byte from there on.
"""

import asyncio
import contextlib
from collections.abc import Callable
from urllib.parse import parse_qsl, urlsplit

from http_auth import Gate

HEADER_LIMIT_BYTES = 16 * 1024
IDLE_LIMIT_SECONDS = 120.0

# Two settings are not what the component needs, so that its updates have something to change.
PARAMETERS = {
    "Brand.Brand": "AXIS",
    "Brand.ProdFullName": "AXIS M5525-E PTZ Dome Network Camera",
    "Brand.ProdNbr": "M5525-E",
    "Properties.API.HTTP.Version": "3",
    "Properties.API.RTSP.RTSPAuth": "yes",
    "Properties.API.RTSP.Version": "2.01",
    "Properties.Firmware.Version": "9.80.1",
    "ImageSource.I0.Sensor.CaptureFrequency": "60",
    "ImageSource.I0.Sensor.LowLatencyMode": "off",
    "Network.RTSP.AuthenticateRTSPOverHTTP": "yes",
    "Network.RTSP.Enabled": "yes",
    "AudioSource.A0.AudioEncoding": "aac",
    "AudioSource.A0.InputGain": "0",
    "AudioSource.A0.InputType": "mic",
    "AudioSource.A0.SampleRate": "16000",
    "Image.I0.MPEG.H264.Profile": "main",
    "Image.I0.MPEG.PCount": "30",
    "Image.I0.MPEG.ZFpsMode": "dynamic",
    "Image.I0.MPEG.ZGopMode": "fixed",
    "Image.I0.Stream.FPS": "30",
    "Image.I0.Appearance.Resolution": "640x360",
    "Image.I0.RateControl.Mode": "vbr",
    "Image.I0.RateControl.TargetBitrate": "0",
}


class AxisFront:
    """Owns its listening socket and its connections until close(). `requests` holds the CGI requests in their order."""

    def __init__(self, rtsp_port: int, gate: Gate, on_size: Callable[[int, int, int], None]) -> None:
        self.requests: list[str] = []
        self.parameters = dict(PARAMETERS)
        self.port = 0
        # A connection that stays open may be taken for the next tunnel, which then needs no connection of its own.
        self.keeps_connections = True
        self._rtsp_port = rtsp_port
        self._gate = gate
        self._on_size = on_size
        self._connections: set[asyncio.Task] = set()

    async def open(self) -> "AxisFront":
        self._server = await asyncio.start_server(self._serve, "127.0.0.1", 0, limit=HEADER_LIMIT_BYTES)
        self.port = self._server.sockets[0].getsockname()[1]
        return self

    async def close(self) -> None:
        self._server.close()
        for connection in self._connections:
            connection.cancel()
        await asyncio.gather(*self._connections, return_exceptions=True)

    async def _serve(self, reader: asyncio.StreamReader, writer: asyncio.StreamWriter) -> None:
        task = asyncio.current_task()
        self._connections.add(task)
        try:
            await self._answer_requests(reader, writer)
        except (ConnectionError, asyncio.IncompleteReadError, asyncio.LimitOverrunError, TimeoutError):
            pass  # the peer has gone, or sends no HTTP
        finally:
            writer.close()
            self._connections.discard(task)

    async def _answer_requests(self, reader: asyncio.StreamReader, writer: asyncio.StreamWriter) -> None:
        while True:
            head = await asyncio.wait_for(reader.readuntil(b"\r\n\r\n"), IDLE_LIMIT_SECONDS)
            lines = head.decode("latin-1").split("\r\n")
            method, target, _ = lines[0].split(" ", 2)
            pairs = (line.partition(":") for line in lines[1:])
            headers = {name.strip().lower(): value.strip() for name, _, value in pairs}
            if "x-sessioncookie" in headers:
                await pass_through(head, reader, writer, self._rtsp_port)
                return
            self.requests.append(target)
            status, body, extra = self._answer(method, target, headers.get("authorization", ""))
            connection = "keep-alive" if self.keeps_connections else "close"
            writer.write(
                f"HTTP/1.1 {status}\r\nContent-Type: text/plain\r\nContent-Length: {len(body)}\r\n"
                f"Connection: {connection}\r\n{extra}\r\n{body}".encode("latin-1")
            )
            await writer.drain()
            if not self.keeps_connections:
                return

    def _answer(self, method: str, target: str, authorization: str) -> tuple[str, str, str]:
        """Status, body and extra header lines."""
        parts = urlsplit(target)
        if not parts.path.startswith("/axis-cgi/"):
            return "404 Not Found", "", ""
        if not self._gate.admits(method, target, authorization):
            return "401 Unauthorized", "", f"WWW-Authenticate: {self._gate.challenge()}\r\n"
        query = dict(parse_qsl(parts.query, keep_blank_values=True))
        match parts.path.removeprefix("/axis-cgi/"):
            case "com/ptz.cgi" if query.get("whoami"):
                return "200 OK", "2:ptz\r\n", ""
            case "imagesize.cgi":
                width, height = self.parameters["Image.I0.Appearance.Resolution"].split("x")
                return "200 OK", f"image width = {width}\r\nimage height = {height}\r\n", ""
            case "param.cgi" if query.get("action") == "list":
                return "200 OK", self._list(query.get("group", "")), ""
            case "param.cgi" if query.get("action") == "update":
                return "200 OK", self._update(query), ""
        return "404 Not Found", "", ""

    def _list(self, group: str) -> str:
        names = [name for name in self.parameters if name == group or name.startswith(group + ".")]
        if not names:
            return f"# Error: Error -1 getting param in group '{group}'\r\n"
        return "".join(f"root.{name}={self.parameters[name]}\r\n" for name in names)

    def _update(self, query: dict[str, str]) -> str:
        changes = {name.removeprefix("root."): value for name, value in query.items() if name != "action"}
        for name, value in changes.items():
            if name not in self.parameters:
                return f"# Error: Error setting 'root.{name}' to '{value}'!\r\n"
        self.parameters.update(changes)
        if {"Image.I0.Appearance.Resolution", "Image.I0.Stream.FPS"} & changes.keys():
            width, height = self.parameters["Image.I0.Appearance.Resolution"].split("x")
            self._on_size(int(width), int(height), int(self.parameters["Image.I0.Stream.FPS"]))
        return "OK\r\n"


async def pass_through(head: bytes, reader: asyncio.StreamReader, writer: asyncio.StreamWriter, port: int) -> None:
    """Joins a connection to the server of that port, beginning with what was already read, until either side ends."""
    server_reader, server_writer = await asyncio.open_connection("127.0.0.1", port)
    try:
        server_writer.write(head)
        await first_to_end(copy(reader, server_writer), copy(server_reader, writer))
    finally:
        server_writer.close()


async def copy(reader: asyncio.StreamReader, writer: asyncio.StreamWriter) -> None:
    with contextlib.suppress(ConnectionError):
        while chunk := await reader.read(64 * 1024):
            writer.write(chunk)
            await writer.drain()


async def first_to_end(*directions) -> None:
    tasks = [asyncio.ensure_future(direction) for direction in directions]
    try:
        await asyncio.wait(tasks, return_when=asyncio.FIRST_COMPLETED)
    finally:
        for task in tasks:
            task.cancel()
        await asyncio.gather(*tasks, return_exceptions=True)
