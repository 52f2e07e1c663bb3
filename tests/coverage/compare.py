#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Compares what ran of the library with the list of what cannot.

    compare.py LIST FOLDER [--without FILE]...

FOLDER holds, for each program, NAME.json and NAME.lcov as llvm-cov exports them. A line or branch that no
program took and that LIST lacks is a failure, and so is an entry of LIST that ran. Entries name the code
and not its line number, so that they outlive changes elsewhere in the file:

    file | line, true or false | the line, or the condition that never had this value | why
"""
import argparse
import collections
import glob
import json
import os
import re
import sys

LEAST_BRANCHES = 95.0


class Sources:
    def __init__(self):
        self.files = {}

    def line(self, name, number):
        if name not in self.files:
            with open(name, encoding="utf-8") as file:
                self.files[name] = file.read().split("\n")
        return self.files[name][number - 1]

    def between(self, name, row, column, end_row, end_column):
        text = self.line(name, row)
        return (text[column - 1:end_column - 1] if row == end_row else text[column - 1:]).strip()


def library_file(name):
    name = os.path.normpath(name)
    return name if name.startswith("src/") else None


def read_lines(path, lines):
    """Adds up how often each line of the library ran, over all programs."""
    name = None
    with open(path, encoding="utf-8") as file:
        for entry in file:
            if entry.startswith("SF:"):
                name = library_file(entry[3:].strip())
            elif entry.startswith("DA:") and name:
                number, count = entry[3:].split(",")[:2]
                lines[name, int(number)] += int(count)


def read_branches(path, branches):
    """The same for both outcomes of each condition. One in a macro counts for each place that uses it."""
    with open(path, encoding="utf-8") as file:
        functions = json.load(file)["data"][0]["functions"]
    for function in functions:
        used_at = {region[6]: (region[5], *region[0:4]) for region in function["regions"] if region[7] == 1}
        for row, column, end_row, end_column, taken, not_taken, index, *_ in function["branches"]:
            place, within = (index, row, column, end_row, end_column), None
            while place[0] in used_at:
                within = within or (row, column)
                place = used_at[place[0]]
            name = library_file(function["filenames"][place[0]])
            if name:
                counts = branches[(name, *place[1:], within)]
                counts[0] += taken
                counts[1] += not_taken


def uncovered_entries(lines, branches, sources):
    """Entries as in the list, with the line where each stands now."""
    found = collections.defaultdict(list)
    for (name, number), count in lines.items():
        text = sources.line(name, number).strip()
        if count == 0 and re.search(r"\w", text) and not text.startswith("#"):
            found[name, "line", text].append(number)
    for (name, row, column, end_row, end_column, within), counts in branches.items():
        text = sources.between(name, row, column, end_row, end_column)
        if within:
            text = sources.line(name, row)[column - 1:].strip()
        for outcome, count in zip(("true", "false"), counts):
            if count == 0:
                found[name, outcome, text].append(row)
    return found


def read_list(path):
    listed = collections.Counter()
    with open(path, encoding="utf-8") as file:
        for number, entry in enumerate(file, 1):
            if not entry.strip() or entry.startswith("#"):
                continue
            parts = entry.strip().split(" | ", 2)
            rest = parts[-1].rsplit(" | ", 1)
            if len(parts) != 3 or len(rest) != 2 or parts[1] not in ("line", "true", "false"):
                sys.exit(f"{path}:{number}: not of the form: file | line, true or false | code | why")
            listed[parts[0], parts[1], rest[0]] += 1
    return listed


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("list")
    parser.add_argument("folder")
    parser.add_argument("--without", action="append", default=[])
    options = parser.parse_args()

    lines, branches = collections.Counter(), collections.defaultdict(lambda: [0, 0])
    for path in glob.glob(options.folder + "/*.lcov"):
        read_lines(path, lines)
    for path in glob.glob(options.folder + "/*.json"):
        read_branches(path, branches)
    lines = {key: count for key, count in lines.items() if key[0] not in options.without}
    branches = {key: counts for key, counts in branches.items() if key[0] not in options.without}
    if not lines or not branches:
        sys.exit("nothing was counted")

    found = uncovered_entries(lines, branches, Sources())
    listed = read_list(options.list)
    bad = 0
    for key, numbers in sorted(found.items()):
        for number in numbers[listed[key]:] if len(numbers) > listed[key] else []:
            print(f"{key[0]}:{number}: never {'runs' if key[1] == 'line' else key[1]}: {key[2]}")
            bad += 1
    for key, count in sorted(listed.items()):
        if key[0] not in options.without and count > len(found.get(key, [])):
            print(f"{options.list}: runs now, or is gone: {' | '.join(key)}")
            bad += 1

    listed_lines = sum(len(numbers) for key, numbers in found.items() if key[1] == "line")
    outcomes = 2 * len(branches)
    taken = sum((counts[0] > 0) + (counts[1] > 0) for counts in branches.values())
    share = 100.0 * taken / outcomes
    print(f"{len(lines)} lines, {listed_lines} of them not for this machine or for the compiler alone; "
          f"{taken} of {outcomes} branches: {share:.1f} %")
    if share < LEAST_BRANCHES:
        print(f"fewer than {LEAST_BRANCHES} % of the branches")
        bad += 1
    return 1 if bad else 0


if __name__ == "__main__":
    sys.exit(main())
