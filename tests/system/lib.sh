# SPDX-License-Identifier: MIT
# What the system tests share: a scratch folder, processes that end with the test, expectations.
# shellcheck shell=bash

scratch=$(mktemp -d)
started=()
status=

finish() {
  local code=$? pid
  for pid in "${started[@]}"; do
    kill -KILL "$pid" 2>/dev/null || true
    wait "$pid" 2>/dev/null || true
  done
  if [ "$code" -ne 0 ] && [ "$code" -ne 77 ]; then
    for log in "$scratch"/*.out "$scratch"/*.err; do
      [ -s "$log" ] && printf -- '--- %s\n' "${log##*/}" && tail -n 40 "$log"
    done
  fi
  rm -rf "$scratch"
  exit "$code"
}
trap finish EXIT

fail() {
  echo "FAILED: $*"
  exit 1
}

skip() {
  echo "SKIPPED: $*"
  exit 77
}

# run_program NAME COMMAND...: runs to the end within 30 s; its output goes to NAME.out and NAME.err
# in the scratch folder, its exit status to $status (137 when it did not end).
run_program() {
  local name=$1
  shift
  status=0
  timeout -s KILL 30 "$@" >"$scratch/$name.out" 2>"$scratch/$name.err" </dev/null || status=$?
}

# start_program NAME COMMAND...: runs in the background, with its process number in $pid.
start_program() {
  local name=$1
  shift
  # What an earlier program of the name has said must not be taken for this one's.
  rm -f "$scratch/$name.out" "$scratch/$name.err"
  "$@" >"$scratch/$name.out" 2>"$scratch/$name.err" </dev/null &
  pid=$!
  started+=("$pid")
}

# wait_for TEXT FILE: until the file in the scratch folder has the text, 20 s at most.
wait_for() {
  local i
  for ((i = 0; i < 400; i++)); do
    grep -qF -- "$1" "$scratch/$2" 2>/dev/null && return
    sleep 0.05
  done
  fail "'$1' has not appeared in $2"
}

# wait_end PID SECONDS: until a started program has ended; its exit status goes to $status.
wait_end() {
  local i
  for ((i = 0; i < $2 * 20; i++)); do
    if ! kill -0 "$1" 2>/dev/null; then
      status=0
      wait "$1" || status=$?
      return
    fi
    sleep 0.05
  done
  fail "process $1 has not ended within $2 s"
}

expect_status() {
  [ "$status" -eq "$1" ] || fail "exit status is $status, not $1"
}

# expect TEXT FILE and expect_not TEXT FILE look for a fixed text in a file of the scratch folder.
expect() {
  grep -qF -- "$1" "$scratch/$2" || fail "$2 lacks '$1'"
}

expect_not() {
  ! grep -qF -- "$1" "$scratch/$2" || fail "$2 has '$1'"
}

expect_equal() {
  [ "$1" = "$2" ] || fail "${3:-value} is '$1', not '$2'"
}
