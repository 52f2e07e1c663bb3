# SPDX-License-Identifier: MIT
# What the long runs in network namespaces share: sizes, and looks at a host from outside.
# tests/system/run runs their functions, in $SOAK_FORM "long" or "short".
# shellcheck shell=bash
. "$SOURCE/tests/system/tunnel_lib.sh"

# long_or LONG SHORT: the one that the form asks for.
long_or() { if [ "$SOAK_FORM" = short ]; then echo "$2"; else echo "$1"; fi; }

# heap PID: kilobytes of memory that it has reserved for itself, and that it uses of no file.
heap() { awk '/^VmData/ { data = $2 } END { printf "%d", data }' "/proc/$1/status"; }
used() { awk '/^Anonymous/ { print $2 }' "/proc/$1/smaps_rollup"; }

# remember PID: what it holds now, in $descriptors_before, $heap_before and $used_before.
remember() {
  descriptors_before=$(descriptors "$1") heap_before=$(heap "$1") used_before=$(used "$1")
}

# Pages that a process touches for the first time are no leak, while one of the smallest blocks that the
# heap has, lost in each of 20,000 sessions, makes ten times as much.
spare_kb=64

# expect_no_growth PID SPARE_DESCRIPTORS
expect_no_growth() {
  local files reserved held
  files=$(descriptors "$1") reserved=$(heap "$1") held=$(used "$1")
  echo "descriptors $descriptors_before -> $files, reserved $heap_before -> $reserved kB, used $used_before -> $held kB"
  [ "$files" -le $((descriptors_before + $2)) ] || fail "$descriptors_before descriptors have become $files"
  [ "$reserved" -le $((heap_before + spare_kb)) ] || fail "the reserved memory has grown"
  [ "$held" -le $((used_before + spare_kb)) ] || fail "the used memory has grown"
}

# run_long NAME COMMAND...: as run_program, but for as long as an hour; it has to succeed.
run_long() {
  local name=$1
  shift
  status=0
  timeout -s KILL 3600 "$@" >"$scratch/$name.out" 2>"$scratch/$name.err" </dev/null || status=$?
  [ "$status" -eq 0 ] || fail "$name has ended with status $status"
}

# start_quick_host: a host without pauses, which echoes.
start_quick_host() {
  make_keys "$keys"
  cd "$keys" || fail "no key folder"
  start_program device "$@" "$BUILD/tests/plain_host" "$BUILD/libsec.so"
  # shellcheck disable=SC2034 # read by the runs
  device=$pid
  wait_for "ready" device.err
}
