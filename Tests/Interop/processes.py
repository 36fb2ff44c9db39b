"""Child processes that speak in lines: the GStreamer server and the component under Wine."""

import asyncio
import contextlib
import json
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
HERE = Path(__file__).resolve().parent
START_LIMIT_SECONDS = 90.0
CALL_LIMIT_SECONDS = 60.0
STOP_LIMIT_SECONDS = 10.0

# The bindings belong to the system's interpreter; another one may come first in the path.
SYSTEM_PYTHON = "/usr/bin/python3"


class LineProcess:
    """A program that is asked by lines on its standard input and tells JSON objects on its standard output. Ends with
    its input; stop() waits for that and kills it when it does not."""

    def __init__(self, *command: str, log: Path, environment: dict[str, str] | None = None) -> None:
        self._command = command
        self._log = log
        self._environment = environment

    async def start(self) -> None:
        with self._log.open("ab") as log:
            self._process = await asyncio.create_subprocess_exec(
                *self._command,
                stdin=asyncio.subprocess.PIPE,
                stdout=asyncio.subprocess.PIPE,
                stderr=log,
                env=self._environment,
            )

    def send(self, *words: object, separator: str = " ") -> None:
        self._process.stdin.write((separator.join(str(word) for word in words) + "\n").encode("utf-8"))

    async def receive(self) -> dict | None:
        """The next object; None at the end."""
        line = await self._process.stdout.readline()
        return json.loads(line) if line else None

    async def stop(self) -> None:
        self._process.stdin.close()
        try:
            await asyncio.wait_for(self._process.wait(), STOP_LIMIT_SECONDS)
        except TimeoutError:
            self._process.kill()
            await self._process.wait()


class GstServer:
    """GStreamer's RTSP server (gst_server.py) and what it told."""

    def __init__(self, log: Path, **options: object) -> None:
        words = [f"--{name}" if value is True else f"--{name}={value}" for name, value in options.items() if value]
        self._process = LineProcess(SYSTEM_PYTHON, "-B", str(HERE / "gst_server.py"), *words, log=log)
        self._news = asyncio.Condition()
        self.events: list[dict] = []
        self.port = 0

    async def start(self) -> "GstServer":
        await self._process.start()
        first = await asyncio.wait_for(self._process.receive(), START_LIMIT_SECONDS)
        if first is None:
            raise RuntimeError("GStreamer's RTSP server did not start")
        self.port = first["port"]
        self._listener = asyncio.create_task(self._listen())
        return self

    async def stop(self) -> None:
        await self._process.stop()
        await self._listener

    def set_size(self, width: int, height: int, rate: int) -> None:
        self._process.send("size", width, height, rate)

    def mark(self) -> int:
        """A point in time; the functions below look at what was told after it."""
        return len(self.events)

    def methods(self, mark: int = 0) -> list[str]:
        """The requests that succeeded."""
        return [event["method"] for event in self.events[mark:] if event["event"] == "request"]

    def count(self, event: str, mark: int = 0) -> int:
        return sum(told["event"] == event for told in self.events[mark:])

    async def wait_for(self, event: str, mark: int, seconds: float, count: int = 1) -> bool:
        """Whether that was told so often since the mark, waiting for it if need be."""
        with contextlib.suppress(TimeoutError):
            async with asyncio.timeout(seconds), self._news:
                await self._news.wait_for(lambda: self.count(event, mark) >= count)
        return self.count(event, mark) >= count

    async def _listen(self) -> None:
        while event := await self._process.receive():
            async with self._news:
                self.events.append(event)
                self._news.notify_all()


class Component:
    """The DLL in a process of its own under Wine, driven through COM by InteropClient.exe."""

    def __init__(self, log: Path, environment: dict[str, str]) -> None:
        client = ROOT / "build/win32/bin/InteropClient.exe"
        self._process = LineProcess(str(ROOT / "Tools/Dev/run-wine"), str(client), log=log, environment=environment)
        self._cameras: set[str] = set()

    async def start(self) -> "Component":
        await self._process.start()
        return self

    async def call(self, camera: str, call: str, *arguments: object) -> dict:
        """One call of one object; objects are made when they are first named."""
        self._cameras.add(camera)
        self._process.send(camera, call, *arguments, separator="\t")
        answer = await asyncio.wait_for(self._process.receive(), CALL_LIMIT_SECONDS)
        if answer is None:
            raise RuntimeError(f"the component's process ended in the call '{call}'")
        return answer

    async def release_all(self) -> None:
        for camera in tuple(self._cameras):
            await self.call(camera, "release")
        self._cameras.clear()

    async def stop(self) -> None:
        await self._process.stop()
