# SPDX-License-Identifier: MIT
# What the management station sees of an agent that fails behind the real library.
# shellcheck shell=bash
. "${BASH_SOURCE[0]%/*}/device_lib.sh"

test_an_agent_without_a_reply_is_blamed_where_nothing_can_be_lost() {
  start_device --exec 'exit 1'
  request --tcp --timeout 1 "anyone"
  expect_status 7
  expect "ENCR: no ENCR from 127.0.0.1:161 over TCP within 1 s, though the device confirmed the end of the session" request.err
  expect "the command ended with status 1" device.err
  request --udp --timeout 1 "anyone"
  expect_status 4
}

# request_and_kill ARGUMENT...: the device's process ends while its agent works on a request.
request_and_kill() {
  start_device --exec 'sleep 5'
  start_program request "$NATIVE/zolt" request 127.0.0.1 --key "$keys/private.pem" -v --timeout 4 "$@" "anyone"
  local manager=$pid
  wait_for "LGIN " request.err
  sleep 0.5 # the request is on its way
  kill -KILL "$device"
  wait_end "$manager" 10
}

test_an_agent_that_ends_under_a_request_is_blamed() {
  request_and_kill --tcp
  expect_status 7
  expect "the device's agent ended or was restarted while it held the request" request.err
}

# The request has been received already, so nothing refuses it; the port is gone when the logout comes.
test_an_agent_that_ends_under_a_datagram_is_silence() {
  request_and_kill --udp
  expect_status 4
}
