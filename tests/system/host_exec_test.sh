# SPDX-License-Identifier: MIT
# zolt-host --exec: a command answers.
# shellcheck shell=bash
. "${BASH_SOURCE[0]%/*}/host_lib.sh"

test_the_command_gets_the_request_and_its_output_is_the_reply() {
  script "request hello" "end"
  serve --exec 'tr a-z A-Z'
  expect_status 0
  expect "sent 5: HELLO" host.out
}

test_a_command_need_not_read_its_input() {
  script "bytes 39000" "request y" "end"
  serve --exec 'printf fixed'
  expect_equal "$(grep -c '^sent 5: fixed$' "$scratch/host.out")" 2 "count of replies"
}

test_no_output_is_a_reply_of_no_bytes() {
  script "request x" "end"
  serve --exec 'cat >/dev/null'
  expect "sent 0: " host.out
}

test_a_large_request_and_a_large_reply_pass_at_once() {
  script "bytes 39979" "end"
  serve --exec cat
  expect "sent 39979:" host.out
}

test_a_reply_that_is_too_long_is_dropped() {
  script "request x" "request y" "end"
  serve --exec 'read -r line; [ "$line" = y ] && printf ok || head -c 40001 /dev/zero'
  expect "longer than 40000 bytes" host.err
  expect "sent 2: ok" host.out
  expect_equal "$(grep -c '^sent' "$scratch/host.out")" 1 "count of replies"
}

test_a_command_that_fails_is_named_and_nothing_is_sent() {
  script "request x" "end"
  serve --exec 'echo partial; exit 3'
  expect "the command ended with status 3" host.err
  expect_not "sent" host.out
  serve --exec 'kill -SEGV $$'
  expect "the command ended with signal 11" host.err
  serve --exec 'no-such-command-here'
  expect "the command ended with status 127" host.err
}

test_a_command_that_takes_too_long_is_killed_with_its_children() {
  script "request x" "request y" "end"
  serve --timeout 1000 --exec "sleep 61 & echo \$! >>$scratch/pids; sleep 61"
  expect_status 0
  expect "took longer than 1000 ms and was killed" host.err
  expect_not "sent" host.out
  local sleeper
  while read -r sleeper; do
    ! kill -0 "$sleeper" 2>/dev/null || ends_soon "$sleeper"
  done <"$scratch/pids"
  expect_equal "$(wc -l <"$scratch/pids")" 2 "count of commands"
}

# A killed process that nobody waits for yet still answers kill -0.
ends_soon() {
  local i
  for ((i = 0; i < 40; i++)); do
    case $(sed -n 's/^State:\t\(.\).*/\1/p' "/proc/$1/status" 2>/dev/null) in '' | Z) return ;; esac
    sleep 0.05
  done
  fail "process $1 is still there"
}

test_a_command_that_closes_its_output_and_stays_is_killed() {
  script "request x" "end"
  serve --timeout 1000 --exec 'exec >&-; sleep 61'
  expect "was killed" host.err
  expect_not "sent" host.out
}

test_the_command_has_default_signals_and_no_foreign_descriptors() {
  local look='ls /proc/self/fd | tr "\n" " "; sed -n "s/^SigIgn:\t//p" /proc/self/status'
  script "request x" "end"
  serve --exec "$look"
  expect "sent $(($(sh -c "$look" </dev/null | wc -c))): $(sh -c "$look" </dev/null)" host.out
}

test_sigterm_ends_a_running_command() {
  script "request x"
  start_serving --timeout 60000 --exec "touch $scratch/runs; sleep 61"
  local i
  for ((i = 0; i < 100; i++)); do [ -e "$scratch/runs" ] && break; sleep 0.05; done
  kill -TERM "$pid"
  wait_end "$pid" 5
  expect_status 0
  expect_not "was killed" host.err
}

# descriptors_after COUNT: how many descriptors the host has open after so many requests.
descriptors_after() {
  local lines=() i
  for ((i = 0; i < $1; i++)); do lines+=("request $i"); done
  script "${lines[@]}"
  start_serving --exec cat
  wait_for "waiting" host.out
  expect_equal "$(grep -c '^sent' "$scratch/host.out")" "$1" "count of replies"
  expect_equal "$(cat "/proc/$pid/task/$pid/children")" "" "children"
  descriptors=$(find "/proc/$pid/fd" -mindepth 1 | wc -l)
  kill -KILL "$pid"
}

test_no_process_and_no_descriptor_is_left_behind() {
  descriptors_after 1
  local before=$descriptors
  descriptors_after 50
  expect_equal "$descriptors" "$before" "count of descriptors"
}
