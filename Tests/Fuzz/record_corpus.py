#!/usr/bin/python3
"""Records what real servers answer into the fuzz corpora: GStreamer's RTSP server, as `./dev interop` runs it, and the
camera simulator (`./dev build` makes it). Usage: /usr/bin/python3 -B Tests/Fuzz/record_corpus.py
"""

import asyncio
import base64
import json
import re
import subprocess
import sys
import tempfile
import urllib.error
import urllib.request
from contextlib import asynccontextmanager
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
sys.path.append(str(ROOT / "Tests/Interop"))
from processes import GstServer  # noqa: E402
from rtp import Receiver  # noqa: E402
from stage import MEDIA_PATH  # noqa: E402
from tunnel_client import TunnelClient  # noqa: E402

CAMERASIM = ROOT / "build/native/bin/camerasim"
LIMIT_SECONDS = 60
# Pieces of 1, 8, 30 and 64 bytes, in turn.
CUTS = b" '=_\n"


def keep(target: str, name: str, content: bytes) -> None:
    folder = ROOT / "Tests/Corpus" / target
    folder.mkdir(parents=True, exist_ok=True)
    (folder / name).write_bytes(content)


class RecordingClient(TunnelClient):
    def __init__(self, port: int, name: str) -> None:
        super().__init__(port, MEDIA_PATH)
        self._name = name
        self._replies_so_far = b""

    async def ask(self, method: str, url: str = "", **headers: str):
        reply = await super().ask(method, url, **headers)
        label = f"{self._name}-{method.lower()}"
        keep("RtspResponse", label, self._last)
        keep("RtspReplyReader", self._name, CUTS + self._replies_so_far)
        for header, target in {
            "www-authenticate": "AuthenticateResponse",
            "session": "SessionHeader",
            "transport": "TransportHeader",
            "rtp-info": "RtpInfoHeader",
        }.items():
            if header in reply.headers:
                keep(target, self._name, reply.headers[header].encode("latin-1"))
        return reply

    async def describe(self):
        reply = await super().describe()
        if reply.body:
            keep("SessionDescription", self._name, reply.body.encode("latin-1"))
        for parameters in re.findall(r"a=fmtp:\d+ (.*)", reply.body):
            keep("H264FormatParameters", self._name, parameters.strip().encode("latin-1"))
        for text in re.findall(r"sprop-parameter-sets=([\w+/=]+)", reply.body):
            keep("Base64", self._name, text.encode("latin-1"))
            for target in ("SpsInfo", "H264PictureSize"):
                keep(target, self._name, base64.b64decode(text))
        return reply

    async def _read_reply(self):
        head = await self._replies.readuntil(b"\r\n\r\n")
        length = re.search(rb"(?i)\r\nContent-Length: *(\d+)", head)
        self._last = head + await self._replies.readexactly(int(length[1]) if length else 0)
        self._replies_so_far += self._last
        whole, self._replies = self._replies, asyncio.StreamReader()
        self._replies.feed_data(self._last)
        try:
            return await super()._read_reply()
        finally:
            self._replies = whole


async def record_rtsp(port: int, name: str) -> None:
    video, audio = await Receiver().open(), await Receiver().open()
    client = RecordingClient(port, name)
    await client.open()
    await client.ask("OPTIONS")
    if (await client.describe()).status == 200:
        await client.play(video.port, audio.port)
        await client.ask("GET_PARAMETER")
        await client.ask("TEARDOWN", "rtsp://127.0.0.1/axis-media/media.amp")
    await client.close()
    video.close()
    audio.close()


async def record_gstreamer(log: Path) -> None:
    for name, options in {
        "main": {"profile": "main", "width": 480, "height": 270},
        "high": {"profile": "high", "width": 1280, "height": 720, "control": "relative", "timeout": 3},
        "baseline": {"profile": "constrained-baseline", "width": 800, "height": 450},
        "basic": {"auth": "basic", "user": "viewer", "password": "secret"},
        "digest": {"auth": "digest", "user": "viewer", "password": "secret"},
    }.items():
        server = await GstServer(log, **options).start()
        try:
            await record_rtsp(server.port, f"gstreamer-{name}")
        finally:
            await server.stop()


@asynccontextmanager
async def camerasim(folder: Path, *options: str):
    ports = folder / "ports.json"
    ports.unlink(missing_ok=True)
    words = [str(CAMERASIM), "--port-file", str(ports), "--seconds", str(LIMIT_SECONDS), *options]
    with subprocess.Popen(words, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL) as process:
        try:
            async with asyncio.timeout(LIMIT_SECONDS):
                while not ports.exists():
                    if process.poll() is not None:
                        raise RuntimeError(f"camerasim ended with {process.returncode}")
                    await asyncio.sleep(0.05)
            yield json.loads(ports.read_text())["port"]
        finally:
            process.terminate()


def fetch(port: int, path: str) -> tuple[bytes, str]:
    try:
        with urllib.request.urlopen(f"http://127.0.0.1:{port}/{path}", timeout=10) as reply:
            return reply.read(), ""
    except urllib.error.HTTPError as error:
        return error.read(), error.headers.get("WWW-Authenticate", "")


async def record_simulator(folder: Path) -> None:
    for model in ("SNC-RZ25", "SNC-RX550", "SNC-ER580", "SNC-EP580"):
        standard = "pal" if model.startswith("SNC-R") else "ntsc"
        async with camerasim(folder, "--model", model, "--standard", standard) as port:
            for inquiry in ("system", "camera"):
                body, _ = await asyncio.to_thread(fetch, port, f"command/inquiry.cgi?inq={inquiry}")
                keep("IpelaReply", f"camerasim-{model}-{inquiry}", body)
                keep("IpelaSettings", f"camerasim-{model}-{inquiry}", body)
    async with camerasim(folder, "--model", "AXIS P5635-E") as port:
        groups = ("Brand", "Properties.API", "Properties.Firmware", "Properties.Image.Resolution", "ImageSource.I0",
                  "Network.RTSP", "AudioSource.A0", "Image.I0.MPEG")  # fmt: skip
        requests = {group: f"param.cgi?action=list&group={group}" for group in groups}
        requests |= {"imagesize": "imagesize.cgi?camera=1", "whoami": "com/ptz.cgi?whoami=yes"}
        for name, request in requests.items():
            body, _ = await asyncio.to_thread(fetch, port, f"axis-cgi/{request}")
            keep("AxisReply", f"camerasim-{name}", body)
        await record_rtsp(port, "camerasim")
    for scheme in ("basic", "digest", "digest-sess"):
        async with camerasim(folder, "--auth", scheme) as port:
            _, challenge = await asyncio.to_thread(fetch, port, "command/inquiry.cgi?inq=system")
            keep("AuthenticateResponse", f"camerasim-{scheme}", challenge.encode("latin-1"))


async def main() -> None:
    with tempfile.TemporaryDirectory() as folder:
        await record_gstreamer(Path(folder) / "gstreamer.log")
        await record_simulator(Path(folder))


if __name__ == "__main__":
    asyncio.run(main())
