# SPDX-License-Identifier: MIT
# zolt tunnel: plain datagrams in, sessions with the real library out.
# shellcheck shell=bash
. "${BASH_SOURCE[0]%/*}/tunnel_lib.sh"

test_a_datagram_goes_through_over_udp_and_over_tcp() {
  start_device --exec 'tr a-z A-Z'
  local transport
  for transport in udp tcp; do
    start_tunnel "--$transport"
    exchange "over $transport"
    expect_equal "$reply" "OVER ${transport^^}" reply
    exchange "and again"
    expect_equal "$reply" "AND AGAIN" "second reply"
    stop_tunnel TERM 0
  done
}

test_ctrl_c_logs_out_and_exits_with_130() {
  start_device --echo
  start_tunnel -v
  stop_tunnel INT 130
  expect "LOUT" tunnel.err
  request --udp --timeout 1 "the device is free"
  expect_status 0
}

test_a_signal_ends_the_wait_for_a_slow_agent() {
  start_device --exec 'sleep 4; cat' --timeout 6000
  start_tunnel --timeout 10
  exec 3<>/dev/udp/127.0.0.1/10161
  printf slow >&3
  sleep 0.5
  local before=$SECONDS
  kill -INT "$tunnel"
  wait_end "$tunnel" 16
  expect_status 130
  # The device hears the logout when its agent is done.
  [ $((SECONDS - before)) -le 8 ] || fail "it took $((SECONDS - before)) s"
}

test_an_idle_tcp_connection_that_the_device_left_is_replaced() {
  start_device --echo
  start_tunnel --tcp
  exchange "before"
  expect_equal "$reply" "before" reply
  # Now the device waits for the last part of its 5 s, and the tunnel does not rely on it any more.
  sleep 4.4
  exchange "after a short pause"
  expect_equal "$reply" "after a short pause" reply
  sleep 6
  wait_for "No more data was in the buffer" device.out
  exchange "after the pause"
  expect_equal "$reply" "after the pause" reply
  stop_tunnel TERM 0
}

# several_clients TRANSPORT: a packet leaves when the last one is answered, and not before.
several_clients() {
  start_device --echo
  start_tunnel "$@" -vv
  local i
  for i in 1 2 3 4 5 6 7 8; do
    (
      exchange "client $i"
      echo "$reply" >"$scratch/reply$i"
    ) &
    started+=("$!")
  done
  for i in 1 2 3 4 5 6 7 8; do
    wait "${started[-$i]}"
  done
  for i in 1 2 3 4 5 6 7 8; do expect_equal "$(cat "$scratch/reply$i")" "client $i" "reply $i"; done
  stop_tunnel TERM 0
  local packets
  packets=$(sed -nE 's/^(sent|got) +0000 .*/\1/p' "$scratch/tunnel.err" | paste -sd ' ')
  expect_equal "$packets" "$(printf 'sent got %.0s' {1..11} | sed 's/ $//')" "order of the packets"
}

test_requests_of_several_clients_are_served_one_after_the_other_over_udp() { several_clients --udp; }
test_requests_of_several_clients_are_served_one_after_the_other_over_tcp() { several_clients --tcp; }

test_a_busy_device_is_waited_for_with_a_message() {
  start_device --echo
  start_tunnel
  local other=$tunnel before=$SECONDS
  start_program waiting "$NATIVE/zolt" tunnel 127.0.0.1 --key "$keys/private.pem" --listen 127.0.0.1:10162 --timeout 2
  wait_for "waiting for the device. WAKE: no WRSP" waiting.err
  sleep 2
  tunnel=$other
  stop_tunnel TERM 0
  wait_for "the device answers, after" waiting.err
  # One packet a second at the most: what the device refused.
  local refused
  refused=$(grep -c "Error getting session" "$scratch/device.out")
  [ "$refused" -ge 2 ] || fail "the device was not asked again"
  [ "$refused" -le $((SECONDS - before + 1)) ] || fail "$refused packets in $((SECONDS - before)) s"
}

test_a_device_that_starts_again_is_found_again() {
  start_device --echo
  start_tunnel --timeout 1
  exchange "one"
  expect_equal "$reply" "one" reply
  # shellcheck disable=SC2119 # the default is meant
  expect_clean_end
  start_device --echo
  exchange "lost, because the new device does not know the session"
  exchange "two"
  expect_equal "$reply" "two" "reply of the device that started again"
  stop_tunnel TERM 0
}

test_an_unanswered_request_is_no_obstacle_for_the_next() {
  # shellcheck disable=SC2016
  start_device --exec 'read -r text; [ "$text" != silence ] || exit 1; echo "$text"'
  start_tunnel --timeout 1
  exec 4<>/dev/udp/127.0.0.1/10161
  printf 'silence\n' >&4
  exchange "and now"
  expect_equal "$reply" "and now" reply
  expect "ENCR: no ENCR" tunnel.err
  stop_tunnel TERM 0
}

test_a_retry_after_a_failure_is_sent_again() {
  # shellcheck disable=SC2016
  start_device --exec 'cat >>'"$scratch/asked"'; [ "$(wc -l <'"$scratch/asked"')" -gt 1 ] || exit 1; echo done'
  start_tunnel --timeout 1
  exec 4<>/dev/udp/127.0.0.1/10161
  printf 'again\n' >&4
  wait_for "ENCR: no ENCR" tunnel.err
  expect_equal "$(wc -l <"$scratch/asked")" 1 "requests before the retry"
  printf 'again\n' >&4
  expect_equal "$(timeout 8 head -n 1 <&4)" "done" reply
  stop_tunnel TERM 0
}

# get_request NUMBER: the bytes of an SNMP request with that number.
get_request() {
  printf '\x30\x23\x02\x01\x01\x04\x06public\xa0\x16\x02\x01\x0'"$1"'\x02\x01\x00\x02\x01\x00'
  printf '\x30\x0b\x30\x09\x06\x05\x2b\x06\x01\x02\x01\x05\x00'
}

# A datagram is one write: dd collects what comes through the pipe in pieces.
test_a_reply_to_another_request_is_not_handed_on() {
  get_request 1 >"$scratch/first"
  start_device --exec "cat >>$scratch/asked; cat $scratch/first"
  start_tunnel --timeout 3
  exec 4<>/dev/udp/127.0.0.1/10161
  get_request 2 | dd bs=100 iflag=fullblock 2>/dev/null >&4
  expect_equal "$(timeout 2 head -c 1 <&4 | wc -c)" 0 "bytes of a reply"
  wait_for "the reply answers another request" tunnel.err
  get_request 1 | dd bs=100 iflag=fullblock 2>/dev/null >&4
  timeout 15 dd bs=100 count=1 <&4 >"$scratch/reply" 2>/dev/null
  cmp "$scratch/first" "$scratch/reply" || fail "the right reply is not handed on"
  stop_tunnel TERM 0
}
