# SPDX-License-Identifier: MIT
# The programs of docs/examples, with a real device.
# shellcheck shell=bash
. "${BASH_SOURCE[0]%/*}/device_lib.sh"

command -v python3 >/dev/null || skip "there is no python3"

# poll ARGUMENT...
poll() {
  run_program poll python3 "$SOURCE/docs/examples/poll_devices.py" --zolt "$NATIVE/zolt" --key "$keys/private.pem" "$@"
}

test_devices_are_polled_and_shown_in_a_table() {
  start_device --echo
  echo "127.0.0.1" >"$scratch/targets"
  poll --rounds 3 --every 0.1 -- "$scratch/targets" "hello" "--there"
  expect_status 0
  expect_equal "$(grep -cE '^127\.0\.0\.1:161 +ok +[0-9.]+ ms  hello --there$' "$scratch/poll.out")" 3 "count of good rows"
  expect_equal "$(grep -cE '^round [123], ..:..:..$' "$scratch/poll.out")" 3 "count of rounds"
  expect_equal "$(wc -c <"$scratch/poll.err")" 0 "size of what went wrong"
  printf '127.0.0.1\n127.0.0.2:99\nno.such.host.invalid\n' >"$scratch/targets"
  poll "$scratch/targets" "hello"
  expect_status 1
  expect "127.0.0.1:161            ok " poll.out
  expect "127.0.0.2:99             busy or refused " poll.out
  expect "no.such.host.invalid:161 failed here " poll.out
}

test_what_keeps_everybody_from_being_asked_is_told() {
  make_keys "$keys"
  echo "bad:port" >"$scratch/targets"
  poll --rounds 5 "$scratch/targets" "hello"
  expect_status 2
  expect "line 1: the port in" poll.err
  echo "127.0.0.1" >"$scratch/targets"
  chmod 644 "$keys/private.pem"
  poll "$scratch/targets" "hello"
  expect_status 3
  expect "zolt: key: " poll.err
  run_program poll python3 "$SOURCE/docs/examples/poll_devices.py" --zolt "$scratch/none" --key x "$scratch/targets" "hello"
  expect_status 1
  expect "there is no program" poll.err
}

test_an_interruption_leaves_no_session_behind() {
  start_device --exec 'sleep 1; cat' --timeout 10000
  echo "127.0.0.1" >"$scratch/targets"
  # As from a terminal: the interruption reaches the script and zolt, its child.
  ZOLT_KEYLOG=$scratch/keys.log start_program poll setsid env --default-signal=INT python3 \
    "$SOURCE/docs/examples/poll_devices.py" --zolt "$NATIVE/zolt" --key "$keys/private.pem" --rounds 0 "$scratch/targets" "a" "b"
  local polling=$pid i
  for ((i = 0; i < 400; i++)); do
    [ ! -s "$scratch/keys.log" ] || break
    sleep 0.02
  done
  sleep 0.3
  kill -INT -- -"$polling"
  wait_end "$polling" 10
  expect_status 130
  expect "interrupted" poll.out
  expect_alive --udp --timeout 5
}
