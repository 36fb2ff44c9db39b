"""Receives RTP as a capture application does, and puts the media together again (RFC 3550, RFC 6184, RFC 3551)."""

import asyncio
import socket
import time
from dataclasses import dataclass

START_CODE = b"\0\0\0\1"
STAP_A = 24
FU_A = 28
IDR_SLICE = 5
PARAMETER_SETS = (7, 8)


@dataclass
class Packet:
    arrival: float
    marker: bool
    payload_type: int
    sequence: int
    payload: bytes


def parse(data: bytes, arrival: float) -> Packet | None:
    if len(data) < 12 or data[0] >> 6 != 2:
        return None
    start = 12 + 4 * (data[0] & 15)
    if data[0] & 0x10:
        start += 4 + 4 * int.from_bytes(data[start + 2 : start + 4], "big")
    end = len(data) - (data[-1] if data[0] & 0x20 else 0)
    return Packet(arrival, bool(data[1] & 0x80), data[1] & 0x7F, int.from_bytes(data[2:4], "big"), data[start:end])


class Receiver(asyncio.DatagramProtocol):
    """A pair of UDP ports chosen by the system, an even one for RTP and the next for RTCP. Owns both until close()."""

    def __init__(self) -> None:
        self.packets: list[Packet] = []
        self.reports = 0

    async def open(self) -> "Receiver":
        rtp, rtcp = bind_pair()
        self.port = rtp.getsockname()[1]
        loop = asyncio.get_running_loop()
        self._transports = [
            (await loop.create_datagram_endpoint(lambda: self, sock=rtp))[0],
            (await loop.create_datagram_endpoint(lambda: ReportCounter(self), sock=rtcp))[0],
        ]
        return self

    def datagram_received(self, data: bytes, _address: tuple) -> None:
        packet = parse(data, time.monotonic())
        if packet:
            self.packets.append(packet)

    def close(self) -> None:
        for transport in self._transports:
            transport.close()

    def since(self, moment: float) -> int:
        return sum(packet.arrival >= moment for packet in self.packets)

    def lost(self) -> int:
        """Sequence numbers that are missing between the first and the last packet."""
        steps = ((b.sequence - a.sequence) & 0xFFFF for a, b in zip(self.packets, self.packets[1:]))
        return sum(step - 1 for step in steps if step)


class ReportCounter(asyncio.DatagramProtocol):
    def __init__(self, owner: Receiver) -> None:
        self._owner = owner

    def datagram_received(self, _data: bytes, _address: tuple) -> None:
        self._owner.reports += 1


def bind_pair() -> tuple[socket.socket, socket.socket]:
    for _ in range(50):
        rtp = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        rtcp = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        rtp.bind(("127.0.0.1", 0))
        port = rtp.getsockname()[1]
        try:
            if port % 2 == 0:
                rtcp.bind(("127.0.0.1", port + 1))
                return rtp, rtcp
        except OSError:
            pass
        rtp.close()
        rtcp.close()
    raise RuntimeError("no free pair of UDP ports")


def nal_units(packets: list[Packet]) -> list[bytes]:
    """The NAL units of a stream without gaps; those that a cut at either end left incomplete are dropped."""
    units: list[bytes] = []
    fragment = bytearray()
    for packet in packets:
        payload = packet.payload
        kind = payload[0] & 31
        if kind == STAP_A:
            position = 1
            while position + 2 <= len(payload):
                size = int.from_bytes(payload[position : position + 2], "big")
                units.append(payload[position + 2 : position + 2 + size])
                position += 2 + size
        elif kind == FU_A:
            if payload[1] & 0x80:
                fragment = bytearray([payload[0] & 0xE0 | payload[1] & 31])
            if fragment:
                fragment += payload[2:]
            if payload[1] & 0x40 and fragment:
                units.append(bytes(fragment))
                fragment = bytearray()
        else:
            units.append(payload)
    return units


def whole_frames(packets: list[Packet]) -> list[Packet]:
    """Up to the last packet that ends a frame."""
    ends = [index for index, packet in enumerate(packets) if packet.marker]
    return packets[: ends[-1] + 1] if ends else []


def elementary_stream(packets: list[Packet], parameter_sets: list[bytes]) -> bytes:
    """A stream for a decoder that begins with the given parameter sets, then the first IDR picture; those in the
    stream itself are left out, so it decodes only when the given ones fit."""
    units = nal_units(whole_frames(packets))
    kinds = [unit[0] & 31 for unit in units]
    begin = kinds.index(IDR_SLICE) if IDR_SLICE in kinds else len(units)
    body = [unit for unit in units[begin:] if unit[0] & 31 not in PARAMETER_SETS]
    return b"".join(START_CODE + unit for unit in [*parameter_sets, *body])
