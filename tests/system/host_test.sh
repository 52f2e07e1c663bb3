# SPDX-License-Identifier: MIT
# zolt-host: command line, loading, and the loop with the echo.
# shellcheck shell=bash
. "${BASH_SOURCE[0]%/*}/host_lib.sh"

test_echo_sends_every_request_back() {
  script "request first" "request second one" "end"
  serve --echo
  expect_status 0
  expect "sent 5: first" host.out
  expect "sent 10: second one" host.out
  expect "destroyed" host.out
}

test_a_request_of_no_bytes_is_answered_with_none() {
  script "bytes 0" "end"
  serve --echo
  expect "sent 0: " host.out
}

test_the_key_file_is_read_from_the_key_folder() {
  script "end"
  serve --echo
  expect "created with the key file" host.out
}

test_relative_names_mean_the_folder_of_the_caller() {
  script "request x" "end"
  cp "$plugin" "$scratch/copy.so"
  cd "$scratch" || fail "no scratch folder"
  host --lib copy.so --dir keys --exec 'cat >/dev/null; basename "$(pwd)"'
  expect_status 0
  expect "created with the key file" host.out
  expect "$(basename "$scratch")" host.out
  expect_not "keys" host.out
}

# spans: the milliseconds between the calls of ZOLT_receive.
spans() { sed -n 's/^receive at \([0-9]*\) ms$/\1/p' "$scratch/host.out" | awk 'NR > 1 { print $1 - last } { last = $1 }'; }

test_nothing_received_is_followed_by_a_pause() {
  script "nothing" "nothing" "nothing" "end"
  serve --echo
  expect_equal "$(spans | awk '$1 >= 49' | wc -l)" 3 "count of pauses of 50 ms"
}

test_a_request_is_followed_by_no_pause() {
  script "request 1" "request 2" "request 3" "request 4" "request 5" "end"
  serve --echo
  # A machine that is busy may interrupt one or the other.
  [ "$(spans | awk '$1 < 45' | wc -l)" -ge 3 ] || fail "pauses: $(spans)"
}

test_a_reply_that_cannot_be_sent_is_named_and_the_loop_goes_on() {
  script "request one" "request two" "end"
  FAKE_SEND=fail serve --echo
  expect_status 0
  expect "a reply of 3 bytes could not be sent" host.err
  expect "sent 3: two" host.out
}

test_standard_output_is_line_buffered() {
  script "request early"
  start_serving --echo
  wait_for "sent 5: early" host.out
}

test_it_starts_without_standard_streams() {
  script "request x" "end"
  # shellcheck disable=SC2086
  timeout -s KILL 30 $EMULATOR "$BUILD/zolt-host" --lib "$plugin" --dir "$keys" \
    --exec "cat >$scratch/seen.out" <&- >&- 2>"$scratch/host.err" || fail "status $?"
  expect "x" seen.out
}

test_without_a_key_it_refuses_to_serve() {
  script "request x" "end"
  FAKE_ENCRYPTION=0 serve --echo
  expect_status 5
  expect "accepted no key from $keys/publickeys.dat" host.err
  expect "zolt key generate" host.err
  expect_not "receive at" host.out
  expect "destroyed" host.out
}

test_insecure_serves_without_a_key_and_warns() {
  script "request x" "end"
  FAKE_ENCRYPTION=0 serve --echo --insecure
  expect_status 0
  expect "WARNING: no key was accepted" host.err
  expect "sent 1: x" host.out
}

test_with_a_key_insecure_does_not_warn() {
  script "end"
  serve --echo --insecure
  expect_not "WARNING" host.err
}

test_a_plugin_without_the_flag_counts_as_unprotected() {
  script "end"
  host --lib "$BUILD/tests/fake_plugin_no_flag.so" --dir "$keys" --echo
  expect_status 5
}

test_a_missing_plugin_is_named() {
  host --lib "$scratch/none.so" --dir "$keys" --echo
  expect_status 3
  expect "cannot load $scratch/none.so: No such file" host.err
}

test_a_file_that_is_no_library_is_refused() {
  echo "text" >"$scratch/text.so"
  host --lib "$scratch/text.so" --dir "$keys" --echo
  expect_status 3
  expect "cannot load $scratch/text.so" host.err
}

test_a_plugin_that_lacks_a_name_is_refused() {
  host --lib "$BUILD/tests/fake_plugin_no_send.so" --dir "$keys" --echo
  expect_status 3
  expect "exports no 'ZOLT_send'" host.err
}

test_sockets_that_cannot_be_had_end_it_with_advice() {
  FAKE_CREATE=fail serve --echo
  expect_status 4
  expect "could not open port 161" host.err
  expect "CAP_NET_BIND_SERVICE" host.err
  expect_not "destroy" host.out
}

test_a_missing_key_folder_is_named() {
  host --lib "$plugin" --dir "$scratch/nowhere" --echo
  expect_status 5
  expect "cannot enter the key folder $scratch/nowhere" host.err
  expect_not "created" host.out
}

test_help_goes_to_standard_output() {
  host --help
  expect_status 0
  expect "usage: zolt-host --lib PATH" host.out
  expect "Exit codes:" host.out
}

# refused MESSAGE ARGUMENT...: a command line that is refused with status 2 before anything is loaded.
refused() {
  local message=$1
  shift
  host "$@"
  expect_status 2
  expect "$message" host.err
  expect "zolt-host --help" host.err
  expect_not "created" host.out
}

test_wrong_command_lines_are_refused() {
  refused "--lib PATH is missing" --dir "$keys" --echo
  refused "--dir KEYDIR is missing" --lib "$plugin" --echo
  refused "exactly one of --echo, --forward and --exec" --lib "$plugin" --dir "$keys"
  refused "exactly one of --echo, --forward and --exec" --lib "$plugin" --dir "$keys" --echo --exec true
  refused "--timeout takes" --lib "$plugin" --dir "$keys" --echo --timeout 0
  refused "--timeout takes" --lib "$plugin" --dir "$keys" --echo --timeout 60001
  refused "--timeout takes" --lib "$plugin" --dir "$keys" --echo --timeout 2s
  refused "quote a command that has blanks" --lib "$plugin" --dir "$keys" --exec tr a b
  refused "bogus" --lib "$plugin" --dir "$keys" --echo --bogus
}
