#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Every fault is named, and nothing else is."""
import re
import sys

import faults
from tshark import CAPTURES, KEYLOG, PLUGIN, fields, need_tshark


def main():
    need_tshark()
    known = re.findall(r'named\("(\w+)"', PLUGIN.read_text())
    columns = ["frame.number"] + [f"zolt.expert.{name}" for name in known]
    rows = {int(row[0]): row[1:] for row in fields(CAPTURES / "faults.pcap", columns, keylog=KEYLOG)}
    failures, seen = [], set()
    for frame, case, expected in faults.capture()[1]:
        found = sorted(name for name, text in zip(known, rows[frame]) for _ in filter(None, text.split(",")))
        seen.update(found)
        if found != expected:
            failures.append(f"frame {frame}: {case}: expected {expected}, found {found}")
    unseen = set(known) - seen - {"pipelined"}  # a matter of streams; golden_test.py has it
    if unseen:
        failures.append(f"no case is blamed for {sorted(unseen)}")
    print("\n".join(failures) or f"{len(faults.CASES)} cases are named right")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
