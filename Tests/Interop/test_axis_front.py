"""The front of the interoperability checks: what it answers itself, what it passes through, whom it lets in."""

import asyncio
import unittest

from axis_front import AxisFront
from http_auth import REALM, Gate, md5

LIMIT_SECONDS = 5


class Front(unittest.IsolatedAsyncioTestCase):
    async def asyncSetUp(self) -> None:
        self.through = bytearray()
        self.sizes: list[tuple[int, int, int]] = []
        self.behind = await asyncio.start_server(self._echo, "127.0.0.1", 0)
        port = self.behind.sockets[0].getsockname()[1]
        self.gate = Gate()
        self.front = await AxisFront(port, self.gate, lambda *size: self.sizes.append(size)).open()

    async def asyncTearDown(self) -> None:
        await self.front.close()
        self.behind.close()

    async def _echo(self, reader: asyncio.StreamReader, writer: asyncio.StreamWriter) -> None:
        while data := await reader.read(1000):
            self.through += data
            writer.write(data)
        writer.close()

    async def ask(self, target: str, headers: str = "") -> tuple[int, str]:
        return (await self.ask_all((target, headers)))[0]

    async def ask_all(self, *requests: tuple[str, str]) -> list[tuple[int, str]]:
        """Requests on one connection."""
        reader, writer = await asyncio.open_connection("127.0.0.1", self.front.port)
        answers = []
        async with asyncio.timeout(LIMIT_SECONDS):
            for target, headers in requests:
                writer.write(f"GET {target} HTTP/1.1\r\nHost: x\r\n{headers}\r\n".encode())
                head = (await reader.readuntil(b"\r\n\r\n")).decode()
                length = int(head.lower().partition("content-length: ")[2].partition("\r\n")[0])
                answers.append((int(head.split(" ")[1]), (await reader.readexactly(length)).decode()))
        writer.close()
        return answers

    async def test_is_no_camera_of_another_maker(self) -> None:
        self.assertEqual(await self.ask("/command/inquiry.cgi?inq=system"), (404, ""))

    async def test_lists_one_group_only(self) -> None:
        _, body = await self.ask("/axis-cgi/param.cgi?action=list&group=Properties.API")
        self.assertEqual(
            body.splitlines(),
            [
                "root.Properties.API.HTTP.Version=3",
                "root.Properties.API.RTSP.RTSPAuth=yes",
                "root.Properties.API.RTSP.Version=2.01",
            ],
        )

    async def test_an_update_is_seen_by_the_next_list_and_moves_the_size(self) -> None:
        answers = await self.ask_all(
            ("/axis-cgi/param.cgi?action=update&Image.I0.Appearance.Resolution=800x450", ""),
            ("/axis-cgi/imagesize.cgi?camera=1", ""),
            ("/axis-cgi/param.cgi?action=update&root.Image.I0.Stream.FPS=25", ""),
            ("/axis-cgi/param.cgi?action=update&Not.There=1", ""),
        )
        self.assertEqual(answers[1], (200, "image width = 800\r\nimage height = 450\r\n"))
        self.assertEqual(self.sizes, [(800, 450, 30), (800, 450, 25)])
        self.assertIn("Error", answers[3][1])

    async def test_passes_a_tunnel_through_unchanged_also_behind_other_requests(self) -> None:
        reader, writer = await asyncio.open_connection("127.0.0.1", self.front.port)
        tunnel = b"GET /axis-media/media.amp?a=1 HTTP/1.1\r\nx-sessioncookie:abc\r\n\r\n\0\xff\r\nrest"
        async with asyncio.timeout(LIMIT_SECONDS):
            writer.write(b"GET /none HTTP/1.1\r\n\r\n" + tunnel[:40])
            await reader.readuntil(b"\r\n\r\n")
            writer.write(tunnel[40:])
            self.assertEqual(await reader.readexactly(len(tunnel)), tunnel)
        self.assertEqual(bytes(self.through), tunnel)
        writer.close()

    async def test_asks_for_the_password(self) -> None:
        self.gate.user, self.gate.password = "viewer", "secret"
        target = "/axis-cgi/com/ptz.cgi?whoami=yes"
        for scheme, right, wrong in (
            ("basic", "Basic dmlld2VyOnNlY3JldA==", "Basic dmlld2VyOndyb25n"),
            ("digest", self.digest(target, "secret"), self.digest(target, "wrong")),
        ):
            with self.subTest(scheme):
                self.gate.scheme = scheme
                for reason, header, status in (
                    ("nothing given", "", 401),
                    ("right", f"Authorization: {right}\r\n", 200),
                    ("wrong", f"Authorization: {wrong}\r\n", 401),
                ):
                    with self.subTest(reason):
                        self.assertEqual((await self.ask(target, header))[0], status)

    def digest(self, target: str, password: str) -> str:
        who, what = md5(f"viewer:{REALM}:{password}"), md5(f"GET:{target}")
        response = md5(f"{who}:{self.gate.nonce}:00000001:c:auth:{what}")
        return (
            f'Digest username="viewer", realm="{REALM}", nonce="{self.gate.nonce}", uri="{target}", qop=auth, '
            f'nc=00000001, cnonce="c", response="{response}"'
        )


if __name__ == "__main__":
    unittest.main()
