# SPDX-License-Identifier: MIT
# Runs zolt-host with the real libsec.so, and sessions against it. The host may be a foreign binary
# (BUILD, EMULATOR); the manager's tools are this machine's (NATIVE).
# shellcheck shell=bash disable=SC2086 # the emulator may have arguments

keys=$scratch/keys

# make_keys FOLDER
make_keys() {
  run_program keys "$NATIVE/zolt" key generate "$1"
  expect_status 0
}

# start_device ARGUMENT...: starts the host on port 161 of this namespace; its number is in $device.
start_device() {
  [ -d "$keys" ] || make_keys "$keys"
  start_program device $EMULATOR "$BUILD/zolt-host" --lib "$BUILD/libsec.so" --dir "$keys" "$@"
  device=$pid
  wait_for "serving port 161" device.err
}

# request ARGUMENT...: one session; the reply is in request.out, the narration in request.err.
request() {
  run_program request "$NATIVE/zolt" request 127.0.0.1 --key "$keys/private.pem" -v "$@"
}

# expect_alive: the host is still there and a session goes through.
expect_alive() {
  kill -0 "$device" 2>/dev/null || fail "the host has ended"
  request "$@" "still there"
  expect_status 0
  expect "still there" request.out
}

# expect_clean_end: SIGTERM ends the host with status 0.
expect_clean_end() {
  kill -TERM "$device"
  wait_end "$device" "${1:-5}"
  expect_status 0
}

# descriptors PID: how many it has open.
descriptors() { find "/proc/$1/fd" -mindepth 1 | wc -l; }
