# SPDX-License-Identifier: MIT
# zolt tunnel towards its clients and whoever runs it: nothing here depends on the device's processor.
# shellcheck shell=bash
. "${BASH_SOURCE[0]%/*}/tunnel_lib.sh"

test_a_retry_joins_its_request() {
  # shellcheck disable=SC2016 # the device's shell counts
  start_device --exec "echo x >>$scratch/count; sleep 1.5; cat" --timeout 6000
  start_tunnel --timeout 6
  exec 3<>/dev/udp/127.0.0.1/10161
  local _
  for _ in 1 2 3; do
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

test_a_device_that_is_not_there_is_given_up_at_the_start() {
  make_keys "$keys"
  run_program tunnel "$NATIVE/zolt" tunnel 127.0.0.1 --key "$keys/private.pem" --listen 127.0.0.1:10161 --wait 1 \
    --timeout 0.5
  expect_status 5
  expect "no agent listens on that port" tunnel.err
}

test_a_request_that_nobody_has_repeated_for_ten_seconds_is_dropped() {
  start_device --exec "tee -a $scratch/asked"
  start_tunnel --timeout 1
  # shellcheck disable=SC2119
  expect_clean_end
  exec 4<>/dev/udp/127.0.0.1/10161
  printf 'in flight\n' >&4
  sleep 0.3
  printf 'given up\n' >&4
  exec 5<>/dev/udp/127.0.0.1/10161
  local _
  for _ in 1 2 3 4 5 6; do
    printf 'insisted on\n' >&5
    sleep 2.6
  done
  start_device --exec "tee -a $scratch/asked"
  printf 'insisted on\n' >&5
  expect_equal "$(timeout 8 head -n 1 <&5)" "insisted on" reply
  stop_tunnel TERM 0
  expect_equal "$(sort -u "$scratch/asked")" "insisted on" "what the agent was asked"
}

test_an_address_that_others_reach_is_warned_of() {
  start_device --echo
  local address
  for address in 0.0.0.0:0 127.0.0.1:0 "[::1]:0"; do
    [ "$address" != "[::1]:0" ] || grep -q '^0*1 ' /proc/net/if_inet6 2>/dev/null || continue
    # shellcheck disable=SC2016 # the command's shell expands it
    run_program "$address" "$NATIVE/zolt" tunnel 127.0.0.1 --key "$keys/private.pem" --listen "$address" \
      --exec 'echo "at $ZOLT_TUNNEL"'
    expect_status 0
    expect "at ${address%0}" "$address.out"
  done
  expect "speaks to the device, in plain text" 0.0.0.0:0.err
  expect_not "in plain text" 127.0.0.1:0.err
}

test_a_second_signal_ends_the_tunnel_at_once() {
  start_device --exec 'sleep 5; cat' --timeout 8000
  start_tunnel --timeout 10
  exec 3<>/dev/udp/127.0.0.1/10161
  printf slow >&3
  sleep 0.5
  kill -TERM "$tunnel"
  sleep 0.5
  kill -0 "$tunnel" || fail "the tunnel does not wait for its logout"
  kill -TERM "$tunnel"
  wait_end "$tunnel" 1
  expect_status 143
}

test_a_command_that_a_signal_ends_gives_its_number() {
  start_device --echo
  run_program exec "$NATIVE/zolt" tunnel 127.0.0.1 --key "$keys/private.pem" --listen 127.0.0.1:0 --exec 'kill -KILL $$'
  expect_status 137
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
