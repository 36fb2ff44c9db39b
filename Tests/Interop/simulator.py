"""The camera simulator as a process under Wine, and players that are not ours in front of it."""

import asyncio
import json
import tempfile
import urllib.request
from contextlib import asynccontextmanager
from dataclasses import dataclass
from pathlib import Path

from media_tools import probe_stream, run, tone_of
from processes import ROOT, START_LIMIT_SECONDS, STOP_LIMIT_SECONDS
from stage import MEDIA_PATH, Stage

MODEL = "M5525-E"
LIFE_SECONDS = 300
PLAY_SECONDS = 3
USER, PASSWORD = "viewer", "s3cret"
TONE_HZ = 1000


@dataclass
class Simulator:
    port: int
    control_port: int

    async def update(self, **parameters: str) -> None:
        """What param.cgi is told; only without authentication."""
        query = "&".join(f"{name.replace('_', '.')}={value}" for name, value in parameters.items())
        await self._fetch(self.port, f"/axis-cgi/param.cgi?action=update&{query}")

    async def stop(self) -> None:
        await self._fetch(self.control_port, "/stop", method="POST", data=b"")

    @staticmethod
    async def _fetch(port: int, path: str, **options: object) -> bytes:
        request = urllib.request.Request(f"http://127.0.0.1:{port}{path}", **options)
        return await asyncio.to_thread(lambda: urllib.request.urlopen(request, timeout=STOP_LIMIT_SECONDS).read())


@asynccontextmanager
async def simulator(stage: Stage, *options: str):
    with tempfile.TemporaryDirectory(dir=stage.work) as folder:
        ports_file = Path(folder) / "ports.json"
        command = (str(ROOT / "Tools/Dev/run-wine"), str(ROOT / "build/win32/bin/camerasim.exe"), "--model", MODEL)
        with (stage.work / "camerasim.log").open("ab") as log:
            process = await asyncio.create_subprocess_exec(
                *command, "--port-file", "ports.json", "--seconds", str(LIFE_SECONDS), *options,
                cwd=folder, stdin=asyncio.subprocess.DEVNULL, stdout=log, stderr=log,
            )  # fmt: skip
        camera = None
        try:
            async with asyncio.timeout(START_LIMIT_SECONDS):
                while not ports_file.exists():
                    if process.returncode is not None:
                        raise RuntimeError(f"camerasim ended with {process.returncode}")
                    await asyncio.sleep(0.05)
            ports = json.loads(ports_file.read_text())
            camera = Simulator(ports["port"], ports["controlPort"])
            yield camera
        finally:
            try:
                async with asyncio.timeout(STOP_LIMIT_SECONDS):
                    if camera:
                        await camera.stop()
                    await process.wait()
            except (OSError, TimeoutError):
                if process.returncode is None:
                    process.kill()
                    await process.wait()


async def players(stage: Stage) -> None:
    """ffmpeg and GStreamer play the simulated Axis camera through the tunnel."""
    label = "simulator"
    print(f"{label}:")
    async with simulator(stage) as camera:
        for size in ("800x450", "480x270"):
            await camera.update(Image_I0_Appearance_Resolution=size)
            facts, codecs, messages = await probe_stream(camera.port, MEDIA_PATH)
            if stage.checks.that(facts, f"{label}: ffprobe reads the stream through the tunnel, {size}", messages):
                stage.checks.equal(f"{facts.width}x{facts.height}", size, f"{label}: it sees the size that was set")
                stage.checks.equal(codecs, ["h264", "pcm_mulaw"], f"{label}: it sees H.264 and mu-law, {size}")
        await check_ffmpeg(stage, camera, label)
        await check_gstreamer(stage, camera, label)


async def check_ffmpeg(stage: Stage, camera: Simulator, label: str) -> None:
    strict = ("-v", "error", "-xerror", "-err_detect", "explode+crccheck+bitstream+buffer")
    source = ("-rtsp_transport", "http", "-i", f"rtsp://127.0.0.1:{camera.port}{MEDIA_PATH}", "-t", str(PLAY_SECONDS))
    code, output, messages = await run("ffmpeg", *strict, *source, "-map", "0:v", "-f", "framemd5", "-")
    stage.checks.equal((code, messages), (0, ""), f"{label}: ffmpeg decodes the video without an error")
    hashes = [line.split(",")[-1].strip() for line in output.decode().splitlines() if line.startswith("0,")]
    least = PLAY_SECONDS * 20
    stage.checks.that(len(hashes) >= least, f"{label}: {least} pictures in {PLAY_SECONDS} s", len(hashes))
    stage.checks.that(len(set(hashes)) > len(hashes) / 2, f"{label}: and the pictures change", len(set(hashes)))
    code, output, messages = await run("ffmpeg", *strict, *source, "-map", "0:a", "-f", "mulaw", "-")
    tone, more = await tone_of(output, stage.file(".ul"))
    stage.checks.that(abs(tone - TONE_HZ) < 10, f"{label}: ffmpeg hears {TONE_HZ} Hz", (tone, messages, more))


async def check_gstreamer(stage: Stage, camera: Simulator, label: str) -> None:
    """The pipeline ends by itself after so many pictures and sound packets; an error gives another code."""
    source = f"rtspsrc name=s protocols=tcp location=rtsph://127.0.0.1:{camera.port}{MEDIA_PATH}"
    video = "s. ! rtph264depay ! h264parse ! openh264dec ! identity eos-after=60 ! fakesink"
    audio = "s. ! rtppcmudepay ! mulawdec ! identity eos-after=100 ! fakesink"
    code, _, messages = await run("gst-launch-1.0", "-q", *f"{source} {video} {audio}".split())
    stage.checks.that(code == 0 and "ERROR" not in messages, f"{label}: GStreamer plays both streams", messages)


async def password(stage: Stage) -> None:
    """The same behind a password, which the simulator wants for RTSP as for HTTP."""
    for scheme in ("basic", "digest"):
        label = f"simulator, {scheme} authentication"
        print(f"{label}:")
        async with simulator(stage, "--auth", scheme, "--user", USER, "--password", PASSWORD) as camera:
            facts, _, messages = await probe_stream(camera.port, MEDIA_PATH)
            stage.checks.that(facts is None and "401" in messages, f"{label}: ffprobe is refused without", messages)
            facts, _, messages = await probe_stream(camera.port, MEDIA_PATH, f"{USER}:{PASSWORD}")
            stage.checks.that(facts, f"{label}: and gets the stream with it", messages)
