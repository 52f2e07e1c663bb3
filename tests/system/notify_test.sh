# SPDX-License-Identifier: MIT
# What a service manager is told: readiness when there is a service, and its end.
# shellcheck shell=bash
. "${BASH_SOURCE[0]%/*}/tunnel_lib.sh"

# start_manager NAME: plays the service manager; what it hears goes to manager.out.
start_manager() {
  command -v python3 >/dev/null || skip "there is no python3 (Debian package python3)"
  start_program manager python3 -B "$SOURCE/tests/system/notify_socket.py" "$1"
  wait_for "listening" manager.out
  export NOTIFY_SOCKET=$1
}

# expect_heard LINE...: exactly these, in this order.
expect_heard() {
  wait_for "${*: -1}" manager.out
  expect_equal "$(sed 1d "$scratch/manager.out")" "$(printf '%s\n' "$@")" "what the manager heard"
}

# Both kinds of names: a path, and the abstract one.
each_name() { printf '%s\n' "$scratch/notify" "@zolt-test-$$"; }

test_the_host_tells_when_it_serves_and_when_it_ends() {
  make_keys "$keys"
  local name
  for name in $(each_name); do
    start_manager "$name"
    start_device --echo
    expect_heard READY=1
    # shellcheck disable=SC2119 # the default is meant
    expect_clean_end
    expect_heard READY=1 STOPPING=1
  done
}

test_a_host_without_a_key_is_never_ready() {
  mkdir "$keys"
  start_manager "$scratch/notify"
  run_program device $EMULATOR "$BUILD/zolt-host" --lib "$BUILD/libsec.so" --dir "$keys" --echo
  expect_status 5
  expect_equal "$(sed 1d "$scratch/manager.out")" "" "what the manager heard"
}

test_the_tunnel_tells_when_a_session_is_there_and_when_it_ends() {
  start_device --echo
  local name
  for name in $(each_name); do
    start_manager "$name"
    start_tunnel
    expect_heard READY=1
    exchange "through"
    expect_equal "$reply" "through" reply
    stop_tunnel TERM 0
    expect_heard READY=1 STOPPING=1
  done
}

test_a_tunnel_without_a_device_is_never_ready() {
  make_keys "$keys"
  start_manager "$scratch/notify"
  run_program tunnel "$NATIVE/zolt" tunnel 127.0.0.1 --key "$keys/private.pem" --listen 127.0.0.1:10161 --wait 0 \
    --timeout 0.5
  expect_status 5
  expect_equal "$(sed 1d "$scratch/manager.out")" "" "what the manager heard"
}

test_a_manager_that_is_not_there_is_named_and_does_no_harm() {
  local name
  for name in /nowhere/notify relative "@$(printf 'x%.0s' {1..200})"; do
    export NOTIFY_SOCKET=$name
    start_device --echo
    wait_for "the service manager at NOTIFY_SOCKET=$name cannot be told READY=1" device.err
    expect_alive
    # shellcheck disable=SC2119
    expect_clean_end
  done
  unset NOTIFY_SOCKET
  start_device --echo
  expect_alive
  expect_not "service manager" device.err
}
