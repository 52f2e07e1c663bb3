# SPDX-License-Identifier: MIT
"""Runs tshark with the dissector, away from the user's own configuration."""
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
CAPTURES = HERE.parent / "captures"
PLUGIN = HERE.parent / "zolt.lua"
KEYLOG = CAPTURES / "keys.log"
SKIPPED = 77  # CTest's number


def need_tshark():
    if shutil.which("tshark") is None:
        print("skipped: tshark is not installed (Debian package tshark)")
        sys.exit(SKIPPED)


def tshark(capture, *options, keylog=None, plugin=True, environment=None):
    """Standard output of tshark. Whatever Lua complains about ends the test."""
    command = ["tshark", "-n", "-r", str(capture), *options]
    if plugin:
        command += ["-X", f"lua_script:{PLUGIN}"]
    if keylog:
        command += ["-o", f"zolt.keylog_file:{keylog}"]
    with tempfile.TemporaryDirectory() as home:
        variables = {k: v for k, v in os.environ.items() if k != "ZOLT_KEYLOG"}
        variables.update(HOME=home, XDG_CONFIG_HOME=home, WIRESHARK_CONFIG_DIR=home, SMIPATH=home, LC_ALL="C.UTF-8", TZ="UTC")
        variables.update(environment or {})
        done = subprocess.run(command, env=variables, capture_output=True, text=True, errors="replace", check=False)
    if done.returncode != 0 or "lua" in done.stderr.lower():
        sys.exit(f"{' '.join(command)}\nended with {done.returncode}:\n{done.stderr}")
    return done.stdout


def fields(capture, names, *options, **more):
    """Rows of fields; a field that occurs several times in a frame is joined by commas."""
    columns = [option for name in names for option in ("-e", name)]
    text = tshark(capture, "-T", "fields", *columns, *options, **more)
    return [line.split("\t") for line in text.splitlines()]
