# SPDX-License-Identifier: MIT
# zolt-host: signals.
# shellcheck shell=bash
. "${BASH_SOURCE[0]%/*}/host_lib.sh"

# ends_on SIGNAL: it ends cleanly although the plug-in blocks.
ends_on() {
  script "request x"
  start_serving --echo
  wait_for "waiting" host.out
  kill "-$1" "$pid"
  wait_end "$pid" 5
  expect_status 0
  expect "destroyed" host.out
  expect "ended by a signal" host.err
}

# A shell starts background programs with SIGINT ignored; the handler is installed all the same.
test_sigint_ends_it_while_the_plugin_blocks() { ends_on INT; }
test_sigterm_ends_it_while_the_plugin_blocks() { ends_on TERM; }

test_a_signal_just_before_the_plugin_blocks_is_not_lost() {
  script "term-and-wait"
  start_serving --echo
  wait_end "$pid" 5
  expect_status 0
  expect "destroyed" host.out
}

test_a_plugin_that_never_comes_back_is_left_after_ten_seconds() {
  script "hang"
  start_serving --echo
  wait_for "hanging" host.out
  kill -TERM "$pid"
  wait_end "$pid" 15
  expect_status 0
  expect "does not come back" host.err
}

test_impatient_signals_do_not_shorten_the_clean_end() {
  script "hang"
  start_serving --echo
  wait_for "hanging" host.out
  local i
  for ((i = 0; i < 20; i++)); do
    kill -TERM "$pid"
    sleep 0.02 # signals that arrive at once are one
  done
  sleep 2
  kill -0 "$pid" || fail "it has ended at once"
}

test_a_broken_pipe_does_not_end_it() {
  script "pipe" "request still here" "end"
  serve --echo
  expect_status 0
  expect "sent 10: still here" host.out
}
