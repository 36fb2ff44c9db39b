"""The receiving side of the checks: it must notice what is missing, and add nothing."""

import unittest

from rtp import START_CODE, Packet, Receiver, elementary_stream, nal_units, parse, whole_frames


def packet(sequence: int, payload: bytes, marker: bool = False) -> Packet:
    return Packet(0.0, marker, 96, sequence, payload)


class Parse(unittest.TestCase):
    def test_reads_the_fixed_header(self) -> None:
        data = bytes([0x80, 0xE0, 0x12, 0x34]) + bytes(8) + b"payload"
        self.assertEqual(parse(data, 1.5), Packet(1.5, True, 96, 0x1234, b"payload"))

    def test_leaves_out_sources_extension_and_padding(self) -> None:
        extension = b"\xbe\xde\0\1" + b"abcd"
        data = bytes([0x80 | 0x20 | 0x10 | 1, 96, 0, 7]) + bytes(8) + bytes(4) + extension + b"payload\0\0\3"
        self.assertEqual(parse(data, 0).payload, b"payload")

    def test_refuses_what_is_no_rtp(self) -> None:
        for reason, data in (("too short", bytes(11)), ("version 1", bytes([0x40]) + bytes(20))):
            with self.subTest(reason):
                self.assertIsNone(parse(data, 0))


class Lost(unittest.TestCase):
    def test_counts_gaps(self) -> None:
        for reason, sequences, lost in (
            ("none", [1, 2, 3], 0),
            ("two in the middle", [1, 4], 2),
            ("over the turn", [65534, 65535, 0, 2], 1),
            ("nothing came", [], 0),
        ):
            with self.subTest(reason):
                receiver = Receiver()
                receiver.packets = [packet(sequence, b"") for sequence in sequences]
                self.assertEqual(receiver.lost(), lost)


class NalUnits(unittest.TestCase):
    def test_takes_apart_and_puts_together(self) -> None:
        for reason, payloads, units in (
            ("a single one", [b"\x67abc"], [b"\x67abc"]),
            ("two in one packet", [b"\x78\0\2\x67a\0\3\x68bc"], [b"\x67a", b"\x68bc"]),
            ("one in three packets", [b"\x7c\x85ab", b"\x7c\x05cd", b"\x7c\x45ef"], [b"\x65abcdef"]),
            ("the first part is missing", [b"\x7c\x05cd", b"\x7c\x45ef", b"\x41x"], [b"\x41x"]),
            ("the last part is missing", [b"\x41x", b"\x7c\x85ab"], [b"\x41x"]),
        ):
            with self.subTest(reason):
                packets = [packet(index, payload) for index, payload in enumerate(payloads)]
                self.assertEqual(nal_units(packets), units)


class ElementaryStream(unittest.TestCase):
    def test_begins_with_the_given_sets_and_the_first_idr_picture(self) -> None:
        packets = [
            packet(0, b"\x41early", marker=True),
            packet(1, b"\x67own"),
            packet(2, b"\x68own"),
            packet(3, b"\x65key", marker=True),
            packet(4, b"\x41next", marker=True),
            packet(5, b"\x41cut"),
        ]
        self.assertEqual([p.sequence for p in whole_frames(packets)], [0, 1, 2, 3, 4])
        expected = b"".join(START_CODE + unit for unit in (b"\x67given", b"\x68given", b"\x65key", b"\x41next"))
        self.assertEqual(elementary_stream(packets, [b"\x67given", b"\x68given"]), expected)


if __name__ == "__main__":
    unittest.main()
