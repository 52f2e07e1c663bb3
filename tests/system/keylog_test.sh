# SPDX-License-Identifier: MIT
# The key log of a real session opens its capture.
# shellcheck shell=bash
. "${BASH_SOURCE[0]%/*}/device_lib.sh"

# dissect ARGUMENT...: tshark on the capture, away from the user's own configuration.
dissect() {
  HOME=$scratch WIRESHARK_CONFIG_DIR=$scratch run_program tshark tshark -n -r "$scratch/session.pcap" \
    -X "lua_script:$SOURCE/wireshark/zolt.lua" -Y "frame contains \"ENCR\"" -T fields -e zolt.content -e zolt.crc.status "$@"
  expect_status 0
}

test_a_captured_session_is_opened_by_its_key() {
  command -v tshark >/dev/null || skip "there is no tshark (Debian package tshark)"
  start_device --echo
  start_program capture tshark -q -i lo -w "$scratch/session.pcap" -f "udp port 161"
  local capture=$pid i
  wait_for "Capturing on" capture.err
  local hex
  hex=$(printf 'nobody else reads this' | od -An -tx1 | tr -d ' \n')
  # The capture begins a little after its message: the packet of before is asked for until it is seen.
  for ((i = 0; i < 20; i++)); do
    run_program request "$NATIVE/zolt" --keylog "$scratch/keys.log" request 127.0.0.1 --key "$keys/private.pem" \
      --hex "$hex"
    expect_status 0
    sleep 0.3
    grep -qa ENCR "$scratch/session.pcap" && break
  done
  expect "WARNING: the keys of all sessions are written to" request.err
  kill -INT "$capture"
  wait_end "$capture" 10
  expect_equal "$(stat -c %a "$scratch/keys.log")" 600 "mode of the key log"
  dissect -o "zolt.keylog_file:$scratch/keys.log"
  expect_equal "$(sort -u "$scratch/tshark.out")" "$hex	1" "content and CRC of all ENCR packets"
  [ "$(wc -l <"$scratch/tshark.out")" -ge 2 ] || fail "request and reply were not both captured"
  dissect
  expect_not "$hex" tshark.out
}

test_the_environment_names_a_key_log_too() {
  start_device --echo
  export ZOLT_KEYLOG=$scratch/keys.log
  request --tcp "one"
  request --udp "two"
  expect_status 0
  expect_equal "$(grep -cE '^ZOLT [0-9a-f]{8} [0-9a-f]{256}$' "$scratch/keys.log")" 2 "count of lines"
  expect_equal "$(wc -l <"$scratch/keys.log")" 2 "count of all lines"
}

test_a_key_log_that_others_may_read_is_refused() {
  start_device --echo
  : >"$scratch/keys.log"
  chmod 644 "$scratch/keys.log"
  ZOLT_KEYLOG=$scratch/keys.log request --udp "one"
  expect_status 1
  expect "has mode 0644" request.err
  expect_equal "$(wc -c <"$scratch/keys.log")" 0 "size of the key log"
}
