#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Plain SNMP and strangers' bytes on port 161 look as they do without the dissector."""
import difflib
import sys

from tshark import CAPTURES, need_tshark, tshark


def shown(plugin):
    text = tshark(CAPTURES / "plain.pcap", "-V", plugin=plugin)
    return [line.replace(":zolt", "") for line in text.splitlines()]  # in the frame's list of protocols


def main():
    need_tshark()
    without = shown(plugin=False)
    if sum("Simple Network Management Protocol" in line for line in without) < 8:
        print("the capture holds no SNMP")
        return 1
    lines = list(difflib.unified_diff(without, shown(plugin=True), "without the dissector", "with it", lineterm=""))
    print("\n".join(lines) or f"{len(without)} lines are the same")
    return 1 if lines else 0


if __name__ == "__main__":
    sys.exit(main())
