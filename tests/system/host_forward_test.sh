# SPDX-License-Identifier: MIT
# zolt-host --forward: a UDP agent answers.
# shellcheck shell=bash
. "${BASH_SOURCE[0]%/*}/host_lib.sh"

# shellcheck disable=SC2086
start_agent() {
  start_program agent $EMULATOR "$BUILD/tests/fake_agent" "$1" 1161
  wait_for "ready" agent.out
}

test_the_reply_of_the_agent_is_sent() {
  start_agent 127.0.0.1
  script "request hello" "end"
  serve --forward 127.0.0.1:1161
  expect_status 0
  expect "sent 11: agent:hello" host.out
}

test_an_agent_may_answer_with_an_empty_datagram() {
  start_agent 127.0.0.1
  script "bytes 0" "end"
  serve --forward 127.0.0.1:1161
  expect "sent 0: " host.out
}

test_a_name_and_an_ipv6_address_are_understood() {
  start_agent ::1
  script "request six" "end"
  serve --forward '[::1]:1161'
  expect "sent 9: agent:six" host.out
}

test_a_silent_agent_costs_the_timeout_and_no_more() {
  start_agent 127.0.0.1
  script "request silent" "request next" "end"
  serve --forward 127.0.0.1:1161 --timeout 400
  expect_status 0
  expect "agent 127.0.0.1:1161: no reply within 400 ms" host.err
  expect "sent 10: agent:next" host.out
  expect_equal "$(grep -c '^sent' "$scratch/host.out")" 1 "count of replies"
}

test_a_late_reply_is_never_taken_for_the_next() {
  start_agent 127.0.0.1
  script "request late 300 STALE" "request late 400 fresh" "end"
  serve --forward 127.0.0.1:1161 --timeout 250
  expect_not "STALE" host.out
  serve --forward 127.0.0.1:1161 --timeout 1000
  expect "sent 5: STALE" host.out
  expect "sent 5: fresh" host.out
}

test_an_absent_agent_is_named() {
  script "request x" "end"
  serve --forward 127.0.0.1:1161 --timeout 5000
  expect_status 0
  expect "nothing listens there: is the agent running?" host.err
  expect_not "sent" host.out
}

test_a_reply_as_large_as_the_buffer_passes_and_a_larger_one_is_dropped() {
  start_agent 127.0.0.1
  script "request big 40000" "request big 40001" "end"
  serve --forward 127.0.0.1:1161
  expect "sent 40000:" host.out
  expect "its reply of 40001 bytes is too long" host.err
  expect_equal "$(grep -c '^sent' "$scratch/host.out")" 1 "count of replies"
}

# descriptors_after COUNT: how many descriptors the host has open after so many requests.
descriptors_after() {
  local lines=() i
  for ((i = 0; i < $1; i++)); do lines+=("request $i"); done
  script "${lines[@]}"
  start_serving --forward 127.0.0.1:1161
  wait_for "waiting" host.out
  expect_equal "$(grep -c '^sent' "$scratch/host.out")" "$1" "count of replies"
  descriptors=$(find "/proc/$pid/fd" -mindepth 1 | wc -l)
  kill -KILL "$pid"
}

test_no_descriptor_is_left_behind() {
  start_agent 127.0.0.1
  descriptors_after 1
  local before=$descriptors
  descriptors_after 50
  expect_equal "$descriptors" "$before" "count of descriptors"
}

test_sigterm_ends_the_wait_for_an_agent() {
  start_agent 127.0.0.1
  script "request silent"
  start_serving --forward 127.0.0.1:1161 --timeout 60000
  wait_for "receive at" host.out
  sleep 0.3
  kill -TERM "$pid"
  wait_end "$pid" 5
  expect_status 0
  expect_not "no reply within" host.err
}

test_an_address_that_is_none_is_refused() {
  local address
  for address in 127.0.0.1 :1161 127.0.0.1: ""; do
    serve --forward "$address"
    expect_status 2
    expect "--forward takes HOST:PORT" host.err
  done
}

test_an_agent_that_cannot_be_found_ends_it() {
  local address
  for address in no.such.host.invalid:1161 "$(printf 'x%.0s' {1..256}):1161" 127.0.0.1:noport; do
    serve --forward "$address"
    expect_status 1
    expect "cannot resolve the agent '$address'" host.err
    expect_not "created" host.out
  done
}
