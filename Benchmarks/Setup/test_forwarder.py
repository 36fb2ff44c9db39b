"""The recording that the setup benchmark counts its round trips from."""

import asyncio
import base64
import time
import unittest

from forwarder import Connection, Forwarder, requests, steps_to_play

DELAY_SECONDS = 0.03


def post_of(*pieces: bytes) -> Connection:
    head = b"POST /m HTTP/1.1\r\nx-sessioncookie: a\r\n\r\n"
    return Connection(0.0, [(float(index), piece) for index, piece in enumerate((head, *pieces))])


class Requests(unittest.TestCase):
    first = b"DESCRIBE u RTSP/1.0\r\nCSeq: 1\r\n\r\n"
    second = b"PLAY u RTSP/1.0\r\nCSeq: 2\r\n\r\n"

    def test_reads_base64_however_it_is_cut_and_padded(self) -> None:
        each = base64.b64encode(self.first) + base64.b64encode(self.second)
        both = base64.b64encode(self.first + self.second)
        for reason, pieces in (
            ("each for itself", [each]),
            ("in one piece", [both]),
            ("byte by byte", [each[at : at + 1] for at in range(len(each))]),
        ):
            with self.subTest(reason):
                found = [(method, sequence) for _, method, sequence in requests(post_of(*pieces))]
                self.assertEqual(found, [("DESCRIBE", 1), ("PLAY", 2)])


class StepsToPlay(unittest.TestCase):
    def tunnel(self, *replies: bytes) -> list[Connection]:
        get = Connection(0.0, [(0.1, b"GET /m HTTP/1.1\r\nx-sessioncookie: a\r\n\r\n")])
        get.received.append((0.2, b"HTTP/1.0 200 OK\r\n\r\n"))
        get.received += [(1.0 + index, reply) for index, reply in enumerate(replies)]
        return [get, post_of(base64.b64encode(Requests.first), base64.b64encode(Requests.second))]

    def test_ends_with_the_reply_to_play(self) -> None:
        steps = steps_to_play(self.tunnel(b"RTSP/1.0 200 OK\r\nCSeq: 1\r\n\r\n", b"RTSP/1.0 200 OK\r\nCSeq: 2\r\n\r\n"))
        self.assertEqual([step.name for step in steps], ["connect", "GET", "connect", "DESCRIBE", "PLAY"])
        self.assertEqual(steps[-1].end, 2.0)

    def test_is_empty_before(self) -> None:
        self.assertEqual(steps_to_play(self.tunnel(b"RTSP/1.0 200 OK\r\nCSeq: 1\r\n\r\n")), [])


class Delay(unittest.IsolatedAsyncioTestCase):
    async def test_first_exchange_takes_two_round_trips_and_the_next_one_one(self) -> None:
        async def echo(reader: asyncio.StreamReader, writer: asyncio.StreamWriter) -> None:
            while data := await reader.read(100):
                writer.write(data)
            writer.close()

        server = await asyncio.start_server(echo, "127.0.0.1", 0)
        forwarder = await Forwarder(server.sockets[0].getsockname()[1], DELAY_SECONDS).open()
        reader, writer = await asyncio.open_connection("127.0.0.1", forwarder.port)
        try:
            # An upper limit would depend on how busy the machine is.
            for text, least in ((b"first", 4 * DELAY_SECONDS), (b"second", 2 * DELAY_SECONDS)):
                start = time.monotonic()
                writer.write(text)
                async with asyncio.timeout(5):
                    self.assertEqual(await reader.readexactly(len(text)), text)
                self.assertGreaterEqual(time.monotonic() - start, least - 0.002)
            self.assertEqual([data for _, data in forwarder.connections[0].received], [b"first", b"second"])
        finally:
            writer.close()
            await forwarder.close()
            server.close()


if __name__ == "__main__":
    unittest.main()
