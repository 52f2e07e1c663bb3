#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""zolt decode reads captures as tshark does with the dissector: decode_tshark.py ZOLT SOURCE.

The two share no code. Compared are the fields of every packet, what is deciphered, and the names of the faults, but
for those that take a session's course to see, which zolt does not follow.
"""
import json
import pathlib
import random
import subprocess
import sys
import tempfile

ZOLT, SOURCE = sys.argv[1], pathlib.Path(sys.argv[2])
sys.path.insert(0, str(SOURCE / "wireshark" / "test"))
import mutation_test  # noqa: E402
from pcap import Capture  # noqa: E402
from tshark import CAPTURES, KEYLOG, fields, need_tshark  # noqa: E402
from wire import Session  # noqa: E402

NUMBERS = ("packet_length", "protocol_version", "block_size", "signing_key_id", "reserved", "session_id",
           "ip_address_length", "key_p_length", "key_yb_length", "rsa_length", "crc", "content_length")
STRINGS = ("key_p", "key_yb", "rsa", "dh_gx", "payload", "padding")
HEX = ("signing_key_id", "session_id", "crc")
NAMES = ("cut", "short", "signature", "version", "block_size", "length", "too_long", "field_length", "prime", "degenerate",
         "trailer", "payload_length", "crc", "content_length", "content", "no_key")
COLUMNS = ["frame.number", *(f"zolt.{name}" for name in NUMBERS + STRINGS), "zolt.signature_id", "snmp.request_id",
           *(f"zolt.expert.{name}" for name in NAMES)]


def by_tshark(capture, keylog):
    """{frame: {column: [value]}} of the frames that hold packets of the protocol."""
    frames = {}
    for row in fields(capture, COLUMNS, "-2", keylog=keylog):
        values = {name: text.split(",") if text else [] for name, text in zip(COLUMNS, row)}
        if values["zolt.signature_id"]:
            frames[int(values["frame.number"][0])] = values
    return frames


def by_zolt(capture, keylog):
    command = [ZOLT, "decode", "--json", str(capture)] + (["--keylog", str(keylog)] if keylog else [])
    done = subprocess.run(command, capture_output=True, text=True, check=False, env={})
    assert done.returncode in (0, 6) and not done.stderr, done
    frames = {}
    for line in done.stdout.splitlines():
        packet = json.loads(line)
        frames.setdefault(packet["frame"], []).append(packet)
    return frames


def in_common(packets, theirs):
    """(what zolt says, what tshark says) of the packets of one frame, as two comparable dictionaries."""
    ours, other = {}, {}
    damaged = any(problem["name"] == "crc" for packet in packets for problem in packet["problems"])
    for name in NUMBERS + STRINGS:
        if name in ("crc", "content_length", "padding") and damaged:
            continue  # with several keys, it is a matter of taste under which one nothing is right
        found = [field["value"] for packet in packets for field in packet["fields"] + packet["block"] if field["name"] == name]
        if name in NUMBERS:
            ours[name] = [int(value, 16 if name in HEX else 10) for value in found]
            other[name] = [int(value, 0) for value in theirs[f"zolt.{name}"]]
        else:
            ours[name], other[name] = found, theirs[f"zolt.{name}"]
    ours["snmp"] = [packet["snmp"]["request_id"] for packet in packets if packet.get("snmp") and not damaged]
    other["snmp"] = [int(value) for value in theirs["snmp.request_id"]]
    ours["problems"] = sorted(problem["name"] for packet in packets for problem in packet["problems"] if problem["name"] in NAMES)
    other["problems"] = sorted(name for name in NAMES for _ in theirs[f"zolt.expert.{name}"])
    return ours, other


def may_be_snmp(packets):
    """Unknown letters that are also the beginning of SNMP: with a conversation of SNMP going on, tshark says so."""
    return all(not packet["kind"] and packet["fields"][0]["value"].startswith("0") for packet in packets)


def compare(capture, keylog, ignored=()):
    ours, theirs = by_zolt(capture, keylog), by_tshark(capture, keylog)
    failures, compared = [], 0
    for frame in sorted(set(ours) | set(theirs)):
        packets = ours.get(frame, [])
        if frame not in theirs and may_be_snmp(packets):
            continue
        if not packets or frame not in theirs:
            failures.append(f"{capture.name}: frame {frame} is seen by {'zolt' if packets else 'tshark'} only")
            continue
        mine, other = in_common(packets, theirs[frame])
        compared += len(packets)
        for name in mine:
            left, right = mine[name], other[name]
            if name == "problems":
                left, right = [n for n in left if n not in ignored], [n for n in right if n not in ignored]
            if name not in ignored and left != right:
                failures.append(f"{capture.name}: frame {frame}: {name}: zolt {left}, tshark {right}")
    return failures, compared


def mutated(folder):
    """Mutated datagrams; what a damaged WAKE says of the prime counts for other packets than tshark thinks."""
    chance, capture = random.Random(2), Capture()
    sessions = [Session(0x5E551001), Session(0x5E551002), Session(0x5E55FFFF)]
    packets = [list(mutation_test.session_packets(session)) for session in sessions]
    made, port = 0, 42000
    while made < 3000:
        index = chance.randrange(len(sessions))
        made += mutation_test.over_udp(chance, capture, packets[index], sessions[index], port)
        port += 1
    path = folder / "mutated.pcap"
    capture.write(path)
    return path


def main():
    need_tshark()
    failures, packets = [], 0
    for name in ("udp", "tcp", "segments", "faults"):
        for keylog in (KEYLOG, None):
            found, count = compare(CAPTURES / f"{name}.pcap", keylog)
            failures += found
            packets += count
    with tempfile.TemporaryDirectory() as folder:
        # Damaged SNMP is Wireshark's own affair.
        found, count = compare(mutated(pathlib.Path(folder)), KEYLOG, ignored=("degenerate", "snmp"))
    failures += found
    packets += count
    if packets < 3000:
        failures.append(f"only {packets} packets were compared")
    print("\n".join(failures[:20]) or f"{packets} packets are read alike")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
