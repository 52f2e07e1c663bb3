# SPDX-License-Identifier: MIT
# Peers that misbehave: the host stays, and so does the number of its descriptors.
# shellcheck shell=bash disable=SC2086 # the emulator may have arguments
. "${BASH_SOURCE[0]%/*}/device_lib.sh"

# raw MODE COUNT: so many rude connections, all of which have to be had.
raw() {
  run_program raw timeout -s KILL 110 "$NATIVE/tests/raw_peer" "$1" "$2"
  expect_status 0
  expect "$2 connections" raw.out
}

# settled PID: waits until the process sleeps and no connection queues on port 161, for a while.
settled() {
  local quiet=0 i
  for ((i = 0; i < 400; i++)); do
    sleep 0.05
    if [ "$(sed -n 's/^State:\t\(.\).*/\1/p' "/proc/$1/status")" = S ] &&
      grep -q ' 00000000:00A1 00000000:0000 0A 00000000:00000000 ' /proc/net/tcp; then
      quiet=$((quiet + 1))
    else
      quiet=0
    fi
    [ "$quiet" -lt 6 ] || return 0
  done
  fail "the host does not come to rest"
}

# Two thousand connections to a host without pauses: the descriptors may grow by the one connection
# that was left behind, which the next accept closes.
descriptors_stay() {
  make_keys "$keys"
  cd "$keys" || fail "no key folder"
  start_program device $EMULATOR "$BUILD/tests/plain_host" "$BUILD/libsec.so"
  wait_for "ready" device.err
  local before after
  before=$(descriptors "$pid")
  raw "$1" 2000
  settled "$pid"
  after=$(descriptors "$pid")
  [ "$after" -le $((before + 1)) ] || fail "$before descriptors have become $after"
  kill -0 "$pid" || fail "the host has ended"
  [ "$(grep -c 'TCP connection accepted' "$scratch/device.out")" -gt 100 ] || fail "the host has seen no connections"
}

test_2000_connections_of_garbage_leave_the_descriptors() { descriptors_stay garbage; }
test_2000_reset_connections_leave_the_descriptors() { descriptors_stay reset; }

test_the_real_host_serves_after_garbage_and_resets() {
  start_device --echo
  expect_alive --tcp
  settled "$device" # it closes the connection after the manager has gone
  local before
  before=$(descriptors "$device")
  raw garbage 30
  raw reset 30
  settled "$device"
  sleep 1 # refused packets make the plug-in ignore what comes in the next third of a second
  expect_alive --tcp
  settled "$device"
  expect_equal "$(descriptors "$device")" "$before" "count of descriptors"
  expect_alive --udp
  expect_clean_end
}

# A flood of datagrams that are refused keeps the plug-in from coming back; SIGTERM still ends the host.
test_sigterm_ends_the_host_under_a_flood() {
  start_device --echo
  start_program flood bash -c 'exec 3<>/dev/udp/127.0.0.1/161; while :; do printf "no packet of any kind" >&3; done'
  sleep 1
  expect_clean_end 15
}

# reset_after_wake: stops the process for as long as the peer needs to send a WAKE and reset, so that its
# answer always meets a connection that is gone.
reset_after_wake() {
  kill -STOP "$device"
  run_program wake "$NATIVE/tests/wake_and_reset" "$keys/private.pem"
  expect_status 0
  kill -CONT "$device"
  wait_for "The tcp_send function failed" device.out
  kill -0 "$device" 2>/dev/null || fail "the host has ended"
}

test_a_reset_right_after_wake_does_not_kill_a_host_that_leaves_sigpipe_alone() {
  make_keys "$keys"
  cd "$keys" || fail "no key folder"
  start_program device $EMULATOR "$BUILD/tests/plain_host" "$BUILD/libsec.so"
  device=$pid
  wait_for "ready" device.err
  reset_after_wake
  sleep 0.2
  kill -0 "$device" 2>/dev/null || fail "the host has ended"
}

# The session that was begun lives for 10 s; a manager that keeps asking is served after that.
test_a_reset_right_after_wake_holds_the_next_manager_up_for_ten_seconds_at_most() {
  start_device --echo
  reset_after_wake
  expect_alive --udp --timeout 14
  expect_clean_end
}
