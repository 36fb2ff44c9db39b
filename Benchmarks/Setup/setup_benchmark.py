#!/usr/bin/python3
"""How long it takes until a camera plays: from the opening of the tunnel to the reply to PLAY, 20 ms away each way.

The component, GStreamer and ffmpeg take turns at the same forwarder, front and GStreamer server. `./dev bench setup`
builds the component and calls this.
"""

import argparse
import asyncio
import os
import signal
import statistics
import sys
import tempfile
import time
from collections.abc import Awaitable, Callable
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "Tests" / "Interop"))

from axis_front import AxisFront  # noqa: E402  (the path first)
from forwarder import Forwarder, Step, steps_to_play  # noqa: E402
from http_auth import Gate  # noqa: E402
from processes import ROOT, Component, GstServer  # noqa: E402
from rtp import Receiver  # noqa: E402
from stage import MEDIA_PATH  # noqa: E402
from tunnel_client import TunnelClient  # noqa: E402

DELAY_SECONDS = 0.020
ROUND_LIMIT_SECONDS = 20.0
BAR = 0.92
OURS = "Quorvane"

Run = Callable[[int], Awaitable[None]]


class OurClient:
    """The DLL under Wine; receives on two UDP ports."""

    def __init__(self, component: Component, video: Receiver, audio: Receiver, forwarder: Forwarder) -> None:
        self._component = component
        self._ports = (video.port, audio.port)
        self._forwarder = forwarder

    async def run(self, port: int) -> None:
        await self._call("open", "127.0.0.1", port, "", "")
        await self._call("connect")
        # What a camera is asked before it streams has no counterpart at the others.
        self._forwarder.connections.clear()
        await self._call("rtsp", 1)
        for stream, client_port in enumerate(self._ports):
            await self._call("setup", stream, client_port)
        await self._call("play")

    async def stop(self) -> None:
        await self._call("stop")
        await self._call("close")

    async def _call(self, call: str, *arguments: object) -> None:
        answer = await self._component.call("b", call, *arguments)
        if answer["hresult"] != "0x00000000":
            raise RuntimeError(f"'{call}' of the component failed: {answer}")


class ToolClient:
    """A program that plays the stream until it is ended."""

    def __init__(self, *command: str) -> None:
        self._command = command

    async def run(self, port: int) -> None:
        words = [word.replace("@HOST@", f"127.0.0.1:{port}") for word in self._command]
        self._process = await asyncio.create_subprocess_exec(
            *words,
            stdin=asyncio.subprocess.DEVNULL,
            stdout=asyncio.subprocess.DEVNULL,
            stderr=asyncio.subprocess.DEVNULL,
        )

    async def stop(self) -> None:
        if self._process.returncode is None:
            self._process.send_signal(signal.SIGINT)
        try:
            await asyncio.wait_for(self._process.wait(), 5)
        except TimeoutError:
            self._process.kill()
            await self._process.wait()


def peers() -> dict[str, ToolClient]:
    source = ["rtspsrc", "name=s", "protocols=tcp", f"location=rtsph://@HOST@{MEDIA_PATH}"]
    sinks = " ".join(f"s. ! application/x-rtp,media={media} ! fakesink" for media in ("video", "audio"))
    return {
        "GStreamer": ToolClient("gst-launch-1.0", "-q", *source, *sinks.split()),
        "ffmpeg": ToolClient(
            "ffmpeg", "-rtsp_transport", "http", "-i", f"rtsp://@HOST@{MEDIA_PATH}", "-f", "null", "-"
        ),
    }


async def measure(client: OurClient | ToolClient, forwarder: Forwarder) -> list[Step]:
    """One start of a stream."""
    forwarder.connections.clear()
    try:
        async with asyncio.timeout(ROUND_LIMIT_SECONDS):
            await client.run(forwarder.port)
            while not (steps := steps_to_play(forwarder.connections)):
                await asyncio.sleep(0.02)
    finally:
        await client.stop()
    return steps


async def compare(rounds: int, work: Path) -> dict[str, list[list[Step]]]:
    server = await GstServer(work / "gstreamer.log", width=480, height=270, shared=True).start()
    front = await AxisFront(server.port, Gate(), lambda *_: None).open()
    # Each tunnel starts with a connection of its own, as those of the other clients do.
    front.keeps_connections = False
    forwarder = await Forwarder(front.port, DELAY_SECONDS).open()
    video, audio = await Receiver().open(), await Receiver().open()
    component = await Component(work / "wine.log", dict(os.environ)).start()
    # One stream runs all the time, so that nobody has to wait for the encoder to start.
    keeper = TunnelClient(server.port, MEDIA_PATH)
    await keeper.open()
    await keeper.play(*(receiver.port for receiver in (video, audio)))
    clients = {OURS: OurClient(component, video, audio, forwarder), **peers()}
    found: dict[str, list[list[Step]]] = {name: [] for name in clients}
    names = list(clients)
    try:
        for round in range(rounds + 1):
            await keeper.ask("OPTIONS")
            for name in names[round % len(names) :] + names[: round % len(names)]:
                steps = await measure(clients[name], forwarder)
                # The first round warms up.
                if round:
                    found[name].append(steps)
    finally:
        await component.stop()
        await keeper.close()
        await forwarder.close()
        await front.close()
        await server.stop()
        video.close()
        audio.close()
    return found


def duration(steps: list[Step]) -> float:
    return steps[-1].end - steps[0].begin


def report(found: dict[str, list[list[Step]]]) -> bool:
    """Prints what was found; whether the bars are met."""
    trips = {name: statistics.median_low([len(steps) for steps in runs]) for name, runs in found.items()}
    times = {name: [duration(steps) for steps in runs] for name, runs in found.items()}
    best = min((name for name in found if name != OURS), key=lambda name: statistics.median(times[name]))
    for name, runs in found.items():
        shown = next(steps for steps in runs if len(steps) == trips[name])
        print(f"{name}: {trips[name]} round trips: {', '.join(step.name for step in shown)}")
        print(f"    needs the time of {statistics.median(times[name]) / (2 * DELAY_SECONDS):.2f} round trips")
    for name in found:
        if name != OURS:
            ratios = [ours / theirs for ours, theirs in zip(times[OURS], times[name])]
            low, _, high = statistics.quantiles(ratios, n=4)
            print(f"{OURS} / {name}: {statistics.median(ratios):.3f} (quartiles {low:.3f} to {high:.3f})")
    ratio = statistics.median(ours / theirs for ours, theirs in zip(times[OURS], times[best]))
    is_met = ratio <= BAR and trips[OURS] <= 7
    print(f"against the best, {best}: {ratio:.3f}, at most {BAR}: {'met' if is_met else 'MISSED'}")
    return is_met


def main() -> int:
    parser = argparse.ArgumentParser(prog="./dev bench setup")
    parser.add_argument("rounds", nargs="?", type=int, default=15)
    rounds = parser.parse_args().rounds
    if not 2 <= rounds <= 200:
        parser.error("ROUNDS is 2 to 200")
    with tempfile.TemporaryDirectory(prefix="bench.", dir=ROOT / "build") as work:
        start = time.monotonic()
        try:
            found = asyncio.run(compare(rounds, Path(work)))
        except (RuntimeError, OSError, TimeoutError) as failure:
            print(f"bench setup: {type(failure).__name__}: {failure}", file=sys.stderr)
            return 1
        print(f"{rounds} rounds in {time.monotonic() - start:.0f} s, medians")
    return 0 if report(found) else 1


if __name__ == "__main__":
    sys.exit(main())
