# SPDX-License-Identifier: MIT
"""Capture files of two hosts that talk over UDP and TCP. The clock moves 1 ms a frame."""
import struct

STATION, DEVICE = bytes([192, 0, 2, 1]), bytes([192, 0, 2, 7])
PORT = 161
FIN, SYN, PSH, ACK = 1, 2, 8, 16
UDP, TCP = 17, 6
EPOCH = 1_700_000_000


def checksum(data):
    data += b"\0" * (len(data) % 2)
    total = sum(struct.unpack(f">{len(data) // 2}H", data))
    while total >> 16:
        total = (total & 0xFFFF) + (total >> 16)
    return ~total & 0xFFFF


class Capture:
    def __init__(self):
        self.frames = 0
        self.microseconds = 0
        self.out = [struct.pack("<IHHiIII", 0xA1B2C3D4, 2, 4, 0, 0, 262144, 1)]

    def _frame(self, to_device, protocol, segment, kept):
        source, target = (STATION, DEVICE) if to_device else (DEVICE, STATION)
        at = 16 if protocol == TCP else 6
        pseudo = source + target + struct.pack(">2H", protocol, len(segment))
        segment = segment[:at] + struct.pack(">H", checksum(pseudo + segment)) + segment[at + 2:]
        ip = struct.pack(">BBHHHBBH", 0x45, 0, 20 + len(segment), self.frames, 0, 64, protocol, 0) + source + target
        ip = ip[:10] + struct.pack(">H", checksum(ip)) + ip[12:]
        station, device = b"\2\0\0\0\0\1", b"\2\0\0\0\0\7"
        frame = (device + station if to_device else station + device) + b"\x08\0" + ip + segment
        self.frames += 1
        self.microseconds += 1000
        seconds, rest = divmod(self.microseconds, 1_000_000)
        stored = frame if kept is None else frame[:len(frame) - len(segment) + kept]
        self.out.append(struct.pack("<4I", EPOCH + seconds, rest, len(stored), len(frame)) + stored)

    def wait(self, seconds):
        self.microseconds += int(seconds * 1_000_000)

    def udp(self, to_device, payload, station_port=40001, kept=None):
        """One datagram; `kept` bytes of its payload are stored."""
        ports = (station_port, PORT) if to_device else (PORT, station_port)
        segment = struct.pack(">4H", *ports, 8 + len(payload), 0) + payload
        self._frame(to_device, UDP, segment, None if kept is None else 8 + kept)

    def connect(self, station_port=40002):
        return Connection(self, station_port)

    def write(self, path):
        with open(path, "wb") as file:
            file.write(b"".join(self.out))


class Connection:
    """One TCP connection; every segment but the last is acknowledged by the other side's data alone."""

    def __init__(self, capture, station_port):
        self.capture, self.port = capture, station_port
        self.next = {True: 1000, False: 5000}
        self._segment(True, SYN)
        self._segment(False, SYN | ACK)
        self._segment(True, ACK)

    def _segment(self, to_device, flags, payload=b"", kept=None):
        ports = (self.port, PORT) if to_device else (PORT, self.port)
        acknowledged = self.next[not to_device] if flags & ACK else 0
        head = struct.pack(">HHIIBBHHH", *ports, self.next[to_device], acknowledged, 0x50, flags, 65535, 0, 0)
        self.capture._frame(to_device, TCP, head + payload, None if kept is None else len(head) + kept)
        self.next[to_device] += len(payload) + (1 if flags & (SYN | FIN) else 0)

    def send(self, to_device, payload, cuts=(), kept=None):
        """The payload in as many segments as `cuts` says: the lengths of all but the last."""
        for cut in cuts:
            self._segment(to_device, PSH | ACK, payload[:cut])
            payload = payload[cut:]
        self._segment(to_device, PSH | ACK, payload, kept)

    def close(self):
        self._segment(False, FIN | ACK)
        self._segment(True, FIN | ACK)
        self._segment(False, ACK)
