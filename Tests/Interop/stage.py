"""One camera for one scenario: GStreamer's server with the Axis front before it."""

import contextlib
import itertools
import os
import time
from collections.abc import Awaitable
from contextlib import asynccontextmanager
from dataclasses import dataclass, field
from pathlib import Path

from axis_front import AxisFront
from checks import Checks
from http_auth import Gate
from processes import Component, GstServer
from rtp import Receiver

MEDIA_PATH = "/axis-media/media.amp?videocodec=h264&audio=1"
USER, PASSWORD = "viewer", "pa:ss w\u00f6rd"


class Abandoned(Exception):
    """What a scenario builds on has failed, and is counted already."""


@dataclass
class Camera:
    server: GstServer
    front: AxisFront
    user: str
    password: str

    @property
    def port(self) -> int:
        return self.front.port


@dataclass
class Stage:
    """What the scenarios share: the checks, the component's process, a folder for files."""

    checks: Checks
    component: Component
    work: Path
    component_log: Path
    numbers: itertools.count = field(default_factory=itertools.count)

    def file(self, suffix: str) -> Path:
        return self.work / f"{next(self.numbers):03}{suffix}"

    def logged(self, text: str) -> bool:
        """Whether the component's log holds that text."""
        return text in self.component_log.read_text("utf-8", "replace") if self.component_log.exists() else False

    @asynccontextmanager
    async def camera(self, auth: str = "none", **options: object):
        user, password = (USER, PASSWORD) if auth != "none" else ("", "")
        log = self.work / "gstreamer.log"
        server = await GstServer(log, auth=auth, user=user, password=password, **options).start()
        front = await AxisFront(server.port, Gate(auth, user, password), server.set_size).open()
        try:
            yield Camera(server, front, user, password)
        finally:
            await front.close()
            await server.stop()

    @asynccontextmanager
    async def receivers(self):
        """UDP ports for video and audio."""
        video, audio = await Receiver().open(), await Receiver().open()
        try:
            yield video, audio
        finally:
            video.close()
            audio.close()

    async def succeeds(self, name: str, camera: str, call: str, *arguments: object) -> dict:
        """Makes a call of the component and checks that it returns S_OK; if not, the scenario is over."""
        answer = await self.component.call(camera, call, *arguments)
        if not self.checks.equal(answer["hresult"], "0x00000000", name):
            raise Abandoned
        return answer

    async def play(self, scenario: Awaitable[None]) -> None:
        """One scenario; a failure that makes the rest of it pointless ends it, and only it."""
        with contextlib.suppress(Abandoned):
            await scenario
        # The process shares one session per server name, and all these servers are 127.0.0.1.
        await self.component.release_all()


def component_environment(log: Path) -> dict[str, str]:
    return {**os.environ, "ORBELL_LOG_FILE": "Z:" + str(log).replace("/", "\\")}


def now() -> float:
    return time.monotonic()
