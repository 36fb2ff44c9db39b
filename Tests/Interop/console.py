"""The console client against GStreamer's RTSP server, as somebody at a prompt would use it."""

import json

from media_tools import decode_video, run
from processes import ROOT
from scenarios import HOST, look_from_outside
from stage import Abandoned, Camera, Stage

PLAY_SECONDS = 3
SIZE = (640, 360)


async def stream(stage: Stage) -> None:
    """`avcommand h264` and `avcommand stream`, which receives and writes the video itself."""
    label = "avcommand"
    print(f"{label}:")
    async with stage.camera(auth="digest", width=SIZE[0], height=SIZE[1]) as camera:
        seen = await look_from_outside(stage, camera, label)
        told = await ask(stage, camera, label, "h264")
        sets = [bytes.fromhex(entry["hex"]) for entry in told["parameterSets"]]
        stage.checks.equal(sets, seen.parameter_sets, f"{label} h264: the sets are those that ffprobe reports")

        mark = camera.server.mark()
        file = stage.file(".h264")
        told = await ask(stage, camera, label, "stream", "--seconds", str(PLAY_SECONDS), "--out", file.name)
        for kind in ("video", "audio"):
            figures = told[kind]
            is_whole = figures["packets"] > 0 and figures["lost"] == 0
            stage.checks.that(is_whole, f"{label} stream: {kind} packets come, none is lost", figures)
        decoded, messages = await decode_video(file.read_bytes(), stage.file(".h264"))
        if stage.checks.that(decoded, f"{label} stream: ffmpeg decodes the file without an error", messages):
            size = (decoded.width, decoded.height)
            stage.checks.equal(size, SIZE, f"{label} stream: the pictures have the size of the stream")
            least = (PLAY_SECONDS - 1) * 30 - 15
            stage.checks.that(decoded.frames >= least, f"{label} stream: at least {least} of them", decoded.frames)
        methods = [method for method in camera.server.methods(mark) if method not in ("DESCRIBE", "OPTIONS")]
        expected = ["SETUP", "SETUP", "PLAY", "TEARDOWN"]
        stage.checks.equal(methods, expected, f"{label} stream: the server saw one whole session")


async def ask(stage: Stage, camera: Camera, label: str, verb: str, *arguments: str) -> dict:
    """What avcommand answers; the scenario is over when it fails."""
    address = ("--host", HOST, "--port", str(camera.port), "--user", camera.user, "--password-stdin")
    program = (str(ROOT / "Tools/Dev/run-wine"), str(ROOT / "build/win32/bin/avcommand.exe"))
    code, output, messages = await run(
        *program, verb, *arguments, *address, "--unregistered", "--json", text=camera.password + "\n", folder=stage.work
    )
    if not stage.checks.equal((code, messages), (0, ""), f"{label} {verb}: ends well"):
        raise Abandoned
    return json.loads(output)
