#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Compares what tshark shows of the captured sessions with the committed JSON.

golden_test.py           compares, with and without the key log, and with the key log named by ZOLT_KEYLOG
golden_test.py --write   writes the JSON anew; read the difference before you commit it

The JSON holds all that the dissector shows, and of what it hands to SNMP the fields that no version changes.
"""
import difflib
import json
import sys

from tshark import CAPTURES, KEYLOG, need_tshark, tshark

SESSIONS = ("udp", "tcp", "segments")
OF_SNMP = ("snmp.version", "snmp.community", "snmp.request_id", "snmp.name", "snmp.value.octets")
OF_EXPERT = ("_ws.expert.severity", "_ws.expert.group")  # numbers inside tshark


def as_list(value):
    return value if isinstance(value, list) else [value]


def without_numbers(value):
    if isinstance(value, list):
        return [without_numbers(item) for item in value]
    if isinstance(value, dict):
        return {key: without_numbers(item) for key, item in value.items() if key not in OF_EXPERT}
    return value


def leaves(value):
    """(key, text) of all that is in OF_SNMP, in order."""
    if isinstance(value, dict):
        for key, item in value.items():
            yield from [(key, item)] if key in OF_SNMP else leaves(item)


def dissected(capture, **more):
    packets = json.loads(tshark(capture, "-2", "-T", "json", "--no-duplicate-keys", "-J", "frame zolt snmp", **more))
    shown = []
    for packet in packets:
        layers = packet["_source"]["layers"]
        if "zolt" in layers:
            entry = {"frame": layers["frame"]["frame.number"], "zolt": without_numbers(as_list(layers["zolt"]))}
            if "snmp" in layers:
                entry["snmp"] = [dict(leaves(message)) for message in as_list(layers["snmp"])]
            shown.append(entry)
    return json.dumps(shown, indent=1) + "\n"


def differences(expected, found, name):
    return list(difflib.unified_diff(expected.splitlines(), found.splitlines(), f"{name}, committed", "now", lineterm=""))


def main():
    need_tshark()
    lines = []
    for session in SESSIONS:
        capture = CAPTURES / f"{session}.pcap"
        opened, closed = CAPTURES / f"{session}.keys.json", CAPTURES / f"{session}.json"
        found = {opened: dissected(capture, keylog=KEYLOG), closed: dissected(capture)}
        if sys.argv[1:] == ["--write"]:
            for path, text in found.items():
                path.write_text(text, encoding="utf-8")
        for path, text in found.items():
            lines += differences(path.read_text(encoding="utf-8"), text, path.name)
        by_environment = dissected(capture, environment={"ZOLT_KEYLOG": str(KEYLOG)})
        lines += differences(found[opened], by_environment, "the key log in ZOLT_KEYLOG")
    print("\n".join(lines) or f"{len(SESSIONS)} captures are shown as before")
    return 1 if lines else 0


if __name__ == "__main__":
    sys.exit(main())
