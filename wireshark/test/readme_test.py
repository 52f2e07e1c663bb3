#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""What the README beside the dissector and the project's own show is what their commands print:
readme_test.py [--write]."""
import re
import shlex
import sys

from tshark import CAPTURES, PLUGIN, need_tshark, tshark

READMES = [PLUGIN.parent / "README.md", PLUGIN.parent.parent / "README.md"]
SHOWN = re.compile(r"(```console\n\$ (tshark [^\n]*)\n)(.*?)(```\n)", re.S)


def output(command):
    """The command as README has it, run where the reader runs it: at the project's top."""
    top = CAPTURES.parent.parent
    options = [str(top / word) if word.startswith("wireshark/") else word for word in shlex.split(command)[1:]]
    options = [word.replace(":wireshark/", f":{top}/wireshark/") for word in options]
    at = options.index("-r")
    text = tshark(options[at + 1], *options[:at], *options[at + 2:], plugin=False)
    return "".join(line.rstrip() + "\n" for line in text.strip("\n").split("\n"))


def main():
    need_tshark()
    status = 0
    for readme in READMES:
        text = readme.read_text(encoding="utf-8")
        commands = [match[1] for match in SHOWN.findall(text)]
        fresh = SHOWN.sub(lambda match: match[1] + output(match[2]) + match[4], text)
        if sys.argv[1:] == ["--write"]:
            readme.write_text(fresh, encoding="utf-8")
        elif fresh != text or not commands:
            print(f"{readme} is not what its {len(commands)} commands print; see readme_test.py --write")
            status = 1
        print(f"{len(commands)} commands of {readme.parent.name}/{readme.name}")
    return status


if __name__ == "__main__":
    sys.exit(main())
