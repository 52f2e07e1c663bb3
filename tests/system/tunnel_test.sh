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

test_a_retry_joins_its_request() {
  # shellcheck disable=SC2016 # the device's shell counts
  start_device --exec "echo x >>$scratch/count; sleep 1.5; cat" --timeout 6000
  start_tunnel --timeout 6
  exec 3<>/dev/udp/127.0.0.1/10161
  local i
  for i in 1 2 3; do
    printf 'once please' >&3
    sleep 0.3
  done
  expect_equal "$(timeout 5 head -c 11 <&3)" "once please" reply
  # The same from another client is another request.
  exchange 'once please'
  expect_equal "$reply" "once please" "reply to the other client"
  exec 3>&-
  stop_tunnel TERM 0
  expect_equal "$(wc -l <"$scratch/count")" 2 "count of requests at the agent"
  expect "2 retries of clients joined" tunnel.err
}

test_requests_of_several_clients_are_served_one_after_the_other() {
  start_device --echo
  start_tunnel
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
}

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

test_a_device_that_is_not_there_is_given_up_at_the_start() {
  make_keys "$keys"
  run_program tunnel "$NATIVE/zolt" tunnel 127.0.0.1 --key "$keys/private.pem" --listen 127.0.0.1:10161 --wait 1 \
    --timeout 0.5
  expect_status 5
  expect "no agent listens on that port" tunnel.err
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

test_exec_gets_the_address_and_gives_its_status() {
  start_device --echo
  # shellcheck disable=SC2016 # the command's shell expands it
  run_program exec "$NATIVE/zolt" tunnel 127.0.0.1 --key "$keys/private.pem" --listen 127.0.0.1:0 -v \
    --exec 'echo "at $ZOLT_TUNNEL"; exit 42'
  expect_status 42
  expect "at 127.0.0.1:" exec.out
  expect "LOUT" exec.err
}

test_a_signal_ends_the_command_too() {
  start_device --echo
  start_tunnel --exec 'echo "$$" >'"$scratch/number"'; exec sleep 60'
  wait_for "" number
  local number
  number=$(cat "$scratch/number")
  stop_tunnel TERM 143
  ! kill -0 "$number" 2>/dev/null || fail "the command goes on"
}

test_a_port_that_is_taken_is_named() {
  start_device --echo
  start_tunnel
  run_program second "$NATIVE/zolt" tunnel 127.0.0.1 --key "$keys/private.pem" --listen 127.0.0.1:10161
  expect_status 1
  expect "Address already in use" second.err
  stop_tunnel TERM 0
}
