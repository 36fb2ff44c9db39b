#!/usr/bin/python3
"""Runs the built component against servers that are not ours; `./dev interop` builds it and calls this."""

import argparse
import asyncio
import shutil
import sys
import tempfile
from pathlib import Path

import console
import scenarios
import simulator
from checks import Checks
from processes import ROOT, Component
from stage import Stage, component_environment

TOTAL_LIMIT_SECONDS = 400.0

SCENARIOS = {
    "open": lambda stage: scenarios.stream_everything(stage, "none", "main", 480, 270),
    "digest": lambda stage: scenarios.stream_everything(stage, "digest", "constrained-baseline", 800, 450),
    "basic": lambda stage: scenarios.stream_everything(stage, "basic", "high", 1280, 720),
    "keep-alive": scenarios.keep_alive,
    "two-objects": scenarios.two_objects,
    "defaults": scenarios.server_defaults,
    "avcommand": console.stream,
    "simulator": simulator.players,
    "simulator-password": simulator.password,
}


async def run(names: list[str], checks: Checks, work: Path) -> None:
    log = work / "component.log"
    component = await Component(work / "wine.log", component_environment(log)).start()
    stage = Stage(checks, component, work, log)
    try:
        async with asyncio.timeout(TOTAL_LIMIT_SECONDS):
            for name in names:
                await stage.play(SCENARIOS[name](stage))
    finally:
        await component.stop()


def main() -> int:
    parser = argparse.ArgumentParser(prog="./dev interop")
    parser.add_argument("scenario", nargs="*", metavar="SCENARIO", help=f"of {', '.join(SCENARIOS)}; all of them")
    names = parser.parse_args().scenario or list(SCENARIOS)
    if unknown := [name for name in names if name not in SCENARIOS]:
        parser.error(f"there is no scenario {', '.join(unknown)}")

    checks = Checks()
    work = Path(tempfile.mkdtemp(prefix="interop.", dir=ROOT / "build"))
    try:
        asyncio.run(run(names, checks, work))
    except (RuntimeError, OSError, TimeoutError) as failure:
        checks.that(False, f"the run came to its end ({type(failure).__name__}: {failure})")
    code = checks.verdict()
    if code == 0:
        shutil.rmtree(work)
    else:
        print(f"interop: logs and received media are in {work}")
    return code


if __name__ == "__main__":
    sys.exit(main())
