#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Asks many devices the same thing, again and again, and prints a table of each round.

It needs Python 3.9 and the program zolt, and no package. zolt does the asking, with some devices at once, and
writes one JSON object a line for each device; this program reads the lines as they come.

  poll_devices.py --key keys/private.pem devices.txt "uptime"
  poll_devices.py --key keys/private.pem --every 60 --rounds 10 devices.txt "uptime"

It exits with 0 when every device answered in every round, with 1 when one did not, with zolt's own status when
zolt could not ask at all, and with 130 when it was interrupted.
"""
import argparse
import json
import subprocess
import sys
import time

# What the exit status of a session means: of one device in a fleet, or of "zolt request" and "zolt ping".
OK, OTHER, USAGE, KEY, INTERRUPTED = 0, 1, 2, 3, 130
MEANING = {
    OK: "ok",
    OTHER: "failed here",  # for example, a name without an address
    USAGE: "wrong request",
    KEY: "key trouble",
    4: "no answer",
    5: "busy or refused",
    6: "wrong answer",
    7: "agent failed",
    INTERRUPTED: "interrupted",
}


def row(answer):
    """One device as a line of the table: who, what became of it, how long it took, and the reply or the reason."""
    meaning = MEANING.get(answer["exit"], "status {}".format(answer["exit"]))
    if answer["ok"]:
        told = " ".join(reply["text"] for reply in answer["replies"])
    else:
        told = "{step}: {happened}".format(**answer["failure"])
    return "{:<24} {:<16} {:>9.1f} ms  {}".format(answer["target"], meaning, answer["total_ms"], told)


def ask(arguments):
    """One round. Prints a row for each device and returns zolt's exit status."""
    command = [arguments.zolt, "fleet", "--json", "--quiet", "--targets", arguments.targets,
               "--key", arguments.key, "--timeout", str(arguments.timeout), "--"] + arguments.request
    # What zolt says on standard error, such as a warning, passes through to ours.
    with subprocess.Popen(command, stdout=subprocess.PIPE, text=True) as zolt:
        try:
            for line in zolt.stdout:
                answer = json.loads(line)
                if "target" in answer:
                    print(row(answer), flush=True)
                else:  # nothing was sent: the list or the key is wrong
                    print("zolt: {step}: {happened}".format(**answer["failure"]), file=sys.stderr)
        except KeyboardInterrupt:
            # zolt was interrupted as well. It is given the time to log out: a device whose session is left
            # open serves nobody for up to three minutes.
            for line in zolt.stdout:
                print(row(json.loads(line)), flush=True)
            zolt.wait()
            return INTERRUPTED
    return zolt.returncode


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", 1)[0])
    parser.add_argument("targets", help="the list of devices: one HOST[:PORT] a line")
    parser.add_argument("request", nargs="+", help="what they are asked")
    parser.add_argument("--key", required=True, help="the manager's private key")
    parser.add_argument("--every", type=float, default=60, metavar="S", help="seconds from round to round (60)")
    parser.add_argument("--rounds", type=int, default=1, metavar="N", help="how many rounds; 0 is for ever (1)")
    parser.add_argument("--timeout", type=float, default=3, metavar="S", help="for each answer, in seconds (3)")
    parser.add_argument("--zolt", default="zolt", metavar="PROGRAM", help="where zolt is")
    arguments = parser.parse_args()

    worst = OK
    number = 0
    while True:
        number += 1
        started = time.monotonic()
        print("round {}, {}".format(number, time.strftime("%H:%M:%S")), flush=True)
        try:
            status = ask(arguments)
        except FileNotFoundError:
            print("there is no program {}; name it with --zolt".format(arguments.zolt), file=sys.stderr)
            return OTHER
        if status in (OK, OTHER):  # everybody answered, or not everybody
            worst = max(worst, status)
        else:  # nobody was asked, or it was interrupted: the next round would go the same way
            return status
        if number == arguments.rounds:
            return worst
        time.sleep(max(0.0, started + arguments.every - time.monotonic()))


if __name__ == "__main__":
    try:
        sys.exit(main())
    except KeyboardInterrupt:
        sys.exit(INTERRUPTED)
