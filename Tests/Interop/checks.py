"""Named checks, one line each, and their count at the end."""

import time


class Checks:
    def __init__(self) -> None:
        self._start = time.monotonic()
        self.passed = 0
        self.failed: list[str] = []

    def that(self, condition: object, name: str, seen: object = "") -> bool:
        """Counts and prints one check. `seen` is what was found, printed when the check fails."""
        if condition:
            self.passed += 1
            print(f"  ok    {name}", flush=True)
        else:
            self.failed.append(name)
            print(f"  FAIL  {name}" + (f"\n        seen: {seen}" if seen != "" else ""), flush=True)
        return bool(condition)

    def equal(self, seen: object, expected: object, name: str) -> bool:
        return self.that(seen == expected, name, f"{seen!r}, expected {expected!r}")

    def verdict(self) -> int:
        """Prints the count; the exit code."""
        seconds = time.monotonic() - self._start
        for name in self.failed:
            print(f"failed: {name}")
        print(f"interop: {self.passed} passed, {len(self.failed)} failed, in {seconds:.0f} s")
        return 0 if self.passed and not self.failed else 1
