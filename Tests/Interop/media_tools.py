"""What tools that are not ours say about a stream: ffprobe and ffmpeg."""

import asyncio
import json
import re
from dataclasses import dataclass
from pathlib import Path

TOOL_LIMIT_SECONDS = 30.0
SAMPLE_RATE = 8000


@dataclass
class VideoFacts:
    profile: str
    level: int
    width: int
    height: int
    parameter_sets: list[bytes]
    frames: int = 0


async def run(*command: str, text: str = "", folder: Path | None = None) -> tuple[int, bytes, str]:
    """Exit code, output and messages of a tool that gets the text on its standard input."""
    process = await asyncio.create_subprocess_exec(
        *command,
        stdin=asyncio.subprocess.PIPE,
        stdout=asyncio.subprocess.PIPE,
        stderr=asyncio.subprocess.PIPE,
        cwd=folder,
    )
    try:
        output, messages = await asyncio.wait_for(process.communicate(text.encode("utf-8")), TOOL_LIMIT_SECONDS)
    except TimeoutError:
        process.kill()
        await process.wait()
        return -1, b"", f"{command[0]} did not end within {TOOL_LIMIT_SECONDS:.0f} s"
    return process.returncode, output, messages.decode("utf-8", "replace").strip()


def parse_dump(dump: str) -> bytes:
    """The bytes of ffprobe's dump: an address, eight groups of hexadecimal digits, two blanks, the text."""
    rows = (line.partition(": ")[2].partition("  ")[0] for line in dump.splitlines())
    return bytes.fromhex("".join(rows).replace(" ", ""))


def video_facts(output: bytes) -> VideoFacts:
    stream = next(s for s in json.loads(output)["streams"] if s["codec_name"] == "h264")
    sets = [part for part in re.split(rb"\x00\x00\x00?\x01", parse_dump(stream.get("extradata", ""))) if part]
    frames = int(stream.get("nb_read_frames", "0"))
    return VideoFacts(stream["profile"], stream["level"], stream["width"], stream["height"], sets, frames)


async def probe_stream(port: int, path: str, credentials: str = "") -> tuple[VideoFacts | None, list[str], str]:
    """What ffprobe says about the camera's streams through the HTTP tunnel: video, names of all codecs, messages."""
    url = f"rtsp://{credentials}{'@' if credentials else ''}127.0.0.1:{port}{path}"
    command = ("ffprobe", "-v", "error", "-rtsp_transport", "http", "-show_streams", "-show_data", "-of", "json", url)
    code, output, messages = await run(*command)
    if code != 0:
        return None, [], messages
    return video_facts(output), [stream["codec_name"] for stream in json.loads(output)["streams"]], messages


async def decode_video(stream: bytes, file: Path) -> tuple[VideoFacts | None, str]:
    """Decodes an elementary stream, where the smallest error is one; the picture and the messages."""
    file.write_bytes(stream)
    strict = ("-v", "error", "-xerror", "-err_detect", "explode+crccheck+bitstream+buffer")
    code, _, messages = await run("ffmpeg", *strict, "-f", "h264", "-i", str(file), "-f", "null", "-")
    if code != 0 or messages:
        return None, messages or f"ffmpeg ended with {code}"
    code, output, messages = await run(
        "ffprobe", "-v", "error", "-f", "h264", "-count_frames", "-show_streams", "-show_data", "-of", "json", str(file)
    )
    return (video_facts(output), messages) if code == 0 else (None, messages)


async def tone_of(samples: bytes, file: Path) -> tuple[float, str]:
    """The pitch of mu-law audio in Hz, as ffmpeg decodes it, from its zero crossings; and ffmpeg's messages."""
    file.write_bytes(samples)
    mulaw = ("-f", "mulaw", "-ar", str(SAMPLE_RATE), "-ac", "1", "-i", str(file))
    code, output, messages = await run("ffmpeg", "-v", "error", "-xerror", *mulaw, "-f", "s16le", "-")
    if code != 0 or len(output) < SAMPLE_RATE:
        return 0.0, messages or f"{len(output) // 2} samples"
    values = memoryview(output).cast("h")
    crossings = sum(a < 0 <= b for a, b in zip(values, values[1:]))
    return crossings * SAMPLE_RATE / len(values), messages


def profile_of(level_id: str) -> tuple[str, int]:
    """ffprobe's name of the profile, and the level, that a profile-level-id stands for."""
    idc, flags, level = bytes.fromhex(level_id)
    names = {66: "Constrained Baseline" if flags & 0x40 else "Baseline", 77: "Main", 100: "High"}
    return names.get(idc, str(idc)), level
