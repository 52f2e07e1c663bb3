# SPDX-License-Identifier: MIT
# Runs zolt-host with the scripted plug-in.
# shellcheck shell=bash

plugin=$BUILD/tests/fake_plugin.so
keys=$scratch/keys
mkdir "$keys"
echo "the key file" >"$keys/publickeys.dat"
export FAKE_SCRIPT=$scratch/script

# script LINE...: what the plug-in will do.
script() { printf '%s\n' "$@" >"$FAKE_SCRIPT"; }

# host ARGUMENT...: runs zolt-host to its end with any arguments.
# shellcheck disable=SC2086 # the emulator is a command with arguments
host() { run_program host $EMULATOR "$BUILD/zolt-host" "$@"; }

# serve ARGUMENT...: runs it with the scripted plug-in and its key folder, to its end.
serve() { host --lib "$plugin" --dir "$keys" "$@"; }

# start_serving ARGUMENT...: the same in the background.
# shellcheck disable=SC2086
start_serving() { start_program host $EMULATOR "$BUILD/zolt-host" --lib "$plugin" --dir "$keys" "$@"; }
