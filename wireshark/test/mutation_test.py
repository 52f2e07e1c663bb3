#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""10,000 mutated packets cause no Lua error, and tshark survives them.

mutation_test.py [SEED]
"""
import os
import pathlib
import random
import sys
import tempfile

import snmp
from make_captures import exchanges
from pcap import Capture
from tshark import KEYLOG, fields, need_tshark, tshark
from wire import Session

MUTATED = 10_000
OVER_TCP = 3_000
CUT_SNMP = 400  # packets that SNMP does not get whole; each once cost Lua a part of its stack
KINDS = (b"WAKE", b"WRSP", b"LGIN", b"ACK1", b"ENCR", b"LOUT", b"ACK2", b"WAKF", b"\x30\x29\2\1")
HEADER = {4: 2, 6: 2, 8: 4, 12: 4}  # offset and length of the header's numbers
EDGES = (0, 1, 15, 16, 17, 64, 256, 0x7FFF, 0x8000, 0xFFFF, 0x7FFFFFFF, 0xFFFFFFFF)


def bytes_from(chance, length):
    return bytes(chance.randrange(256) for _ in range(length))


def change_bits(chance, packet, _):
    out = bytearray(packet)
    for _ in range(chance.randrange(1, 9)):
        out[chance.randrange(len(out))] ^= 1 << chance.randrange(8)
    return bytes(out)


def set_number(chance, packet, _):
    at, size = chance.choice(list(HEADER.items()))
    return packet[:at] + (chance.choice(EDGES) % 256 ** size).to_bytes(size, "big") + packet[at + size:]


def cut(chance, packet, _):
    return packet[:chance.randrange(len(packet))]


def cut_with_length(chance, packet, _):
    out = packet[:chance.randrange(6, len(packet))]
    return out[:4] + len(out).to_bytes(2, "big") + out[6:]


def lengthen(chance, packet, _):
    out = packet + bytes_from(chance, chance.randrange(1, 100))
    return out[:4] + len(out).to_bytes(2, "big") + out[6:]


def rename(chance, packet, _):
    return chance.choice(KINDS) + packet[4:]


def insert(chance, packet, _):
    at = chance.randrange(len(packet))
    return packet[:at] + bytes_from(chance, chance.randrange(1, 20)) + packet[at:]


def noise(chance, packet, _):
    return packet[:chance.choice((0, 2, 4, 8, 16))] + bytes_from(chance, chance.randrange(80))


def extreme_value(chance, packet, _):
    """A number of the key exchange becomes zeros or ones."""
    at = chance.choice((16, 24, 154, 284))
    return packet[:at] + bytes([chance.choice((0, 255))]) * 127 + packet[at + 127:]


def reseal(chance, _, session):
    """The CRC is right and what it covers is not."""
    content = snmp.message(chance.choice((snmp.GET, snmp.RESPONSE)), chance.randrange(1 << 31), snmp.SYS_NAME, b"x")
    content = change_bits(chance, content, None)[chance.choice((0, 0, 1, 30)):]
    block = chance.choice(({}, {"claimed": chance.choice(EDGES) % 65536}))
    return session.sealed(chance.choice(("ENCR", "ENCR", "LGIN", "ACK1", "LOUT", "ACK2")), content, block)


MUTATIONS = (change_bits, set_number, cut, cut_with_length, lengthen, rename, insert, noise, extreme_value, reseal)


def session_packets(session):
    yield from ((True, session.wake()), (False, session.wrsp()), (True, session.lgin()), (False, session.ack1()))
    for request, reply in exchanges():
        yield from ((True, session.encr(request)), (False, session.encr(reply)))
    yield from ((True, session.lout()), (False, session.ack2()))


def over_udp(chance, capture, packets, session, port):
    """Each packet as it is, left out or put off, and mutations of it."""
    made = 0
    for to_device, packet in packets:
        if chance.random() < 0.7:
            capture.udp(to_device, packet, station_port=port)
        if chance.random() < 0.05:
            capture.wait(chance.choice((1, 9, 11, 181)))
        for _ in range(8):
            mutated = chance.choice(MUTATIONS)(chance, packet, session)
            kept = chance.randrange(len(mutated) + 1) if chance.random() < 0.1 else None
            capture.udp(to_device if chance.random() < 0.9 else not to_device, mutated, station_port=port, kept=kept)
            made += 1
    return made


def over_tcp(chance, capture, packets, session, port):
    connection, made = capture.connect(port), 0
    for to_device, packet in packets:
        good = packet if chance.random() < 0.7 else b""
        mutated = chance.choice(MUTATIONS)(chance, packet, session)
        stream = good + mutated + (good if chance.random() < 0.2 else b"")
        cuts, left = [], len(stream) - 1
        while left > 0 and chance.random() < 0.4:
            cuts.append(chance.randrange(1, left + 1))
            left -= cuts[-1]
        kept = chance.randrange(8) if chance.random() < 0.05 else None
        connection.send(to_device, stream, cuts, kept)
        made += 1
    return made


def make_capture(seed, path):
    chance, capture = random.Random(seed), Capture()
    sessions = [Session(0x5E551001), Session(0x5E551002), Session(0x5E55FFFF)]  # there is no key of the last one
    packets = [list(session_packets(session)) for session in sessions]
    for kept in range(CUT_SNMP):
        capture.udp(True, snmp.message(snmp.GET, kept, snmp.SYS_NAME), kept=kept % 40)
    made, port = 0, 42000
    while made < MUTATED:
        play = over_tcp if made < OVER_TCP else over_udp
        index = chance.randrange(len(sessions))
        made += play(chance, capture, packets[index], sessions[index], port)
        port += 1
    capture.write(path)
    return made, capture.frames


def main():
    need_tshark()
    seed = int(sys.argv[1]) if len(sys.argv) > 1 else 161
    failures = []
    with tempfile.TemporaryDirectory() as folder:
        path = pathlib.Path(folder) / "mutated.pcap"
        made, frames = make_capture(seed, path)
        rows = fields(path, ("frame.number", "zolt.packet_length", "zolt.crc", "_ws.lua.error"), "-2", keylog=KEYLOG)
        ours, deciphered = (sum(1 for row in rows if row[column]) for column in (1, 2))
        failures += [f"frame {row[0]}: {row[3]}" for row in rows if row[3]]
        if len(rows) != frames or ours < MUTATED // 2 or deciphered < MUTATED // 10:
            failures.append(f"of {frames} frames {len(rows)} came back, {ours} ours, {deciphered} deciphered")
        whole = tshark(path, "-V", "-o", "tcp.desegment_tcp_streams:FALSE", environment={"ZOLT_KEYLOG": os.devnull})
        failures += [line for line in whole.splitlines() if "Lua Error" in line]
    print("\n".join(failures[:20]) or f"{made} mutated packets, {ours} frames dissected, {deciphered} deciphered, no Lua error")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
