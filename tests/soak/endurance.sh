# SPDX-License-Identifier: MIT
# Sessions, rude connections and a flood: the host holds as much afterwards as before.
# shellcheck shell=bash
. "$SOURCE/tests/soak/soak_lib.sh"

# The first sessions touch every buffer that there is; what grows after them grows with sessions.
endurance() {
  start_device --echo
  run_long warm_up "$BUILD/tests/soak_sessions" "$keys/private.pem" 500
  remember "$device"
  run_long sessions "$BUILD/tests/soak_sessions" "$keys/private.pem" "$(long_or 20000 1500)"
  cat "$scratch/sessions.out"
  expect_no_growth "$device" 0
  expect_alive
  expect_clean_end
}

# A connection that is silent or incomplete has five seconds to become a packet, and the device serves one
# after the other: for most of these connections that is waiting, which the host is made to do faster.
connects() {
  start_quick_host env HASTE=4000 "LD_PRELOAD=$BUILD/tests/soak_haste.so"
  local most=0 now count accepted fresh
  fresh=$(descriptors "$device")
  run_long first "$BUILD/tests/soak_connects" 200
  remember "$device"
  count=$(long_or 100000 4000)
  start_program connects timeout -s KILL 3600 "$BUILD/tests/soak_connects" "$count"
  while kill -0 "$pid" 2>/dev/null; do
    now=$(descriptors "$device")
    [ "$now" -le "$most" ] || most=$now
    sleep 0.2
  done
  wait_end "$pid" 1
  expect_status 0
  sleep 1
  cat "$scratch/connects.out"
  accepted=$(grep -c 'TCP connection accepted' "$scratch/device.out")
  echo "the device has accepted $accepted; $fresh descriptors before the first, at most $most at once"
  [ "$accepted" -ge "$count" ] || fail "the device has seen $accepted connections only"
  # While one is served, one is left behind; that one is closed when the next is accepted.
  [ "$most" -le $((fresh + 2)) ] || fail "$fresh descriptors were $most for a time"
  expect_no_growth "$device" $((fresh + 1 - descriptors_before))
  kill -USR1 "$device"
  sleep 1
  expect_alive --udp
  expect_alive --tcp
}

# Every packet that is looked at and refused leaves one of these lines.
refusals='Error getting session|Something was wrong with the'

flood() {
  local seconds sent served between looked_at bound
  seconds=$(long_or 60 10)
  make_keys "$keys"
  mkfifo "$scratch/lines"
  # Millions of lines: only how many there are of each is kept.
  # shellcheck disable=SC2016 # awk's
  start_program counted awk '{ gsub(/[0-9]+/, "N"); lines[$0]++ } END { for (each in lines) print lines[each], each }' \
    "$scratch/lines"
  local counter=$pid
  # shellcheck disable=SC2016 # the inner shell's
  start_program device sh -c 'exec "$@" >'"$scratch/lines" sh "$BUILD/zolt-host" --lib "$BUILD/libsec.so" \
    --dir "$keys" --echo
  device=$pid
  wait_for "serving port 161" device.err
  expect_alive
  remember "$device"
  run_long flood "$BUILD/tests/soak_flood" "$keys/private.pem" "$seconds"
  { read -r sent && read -r served && read -r between; } <"$scratch/flood.out"
  expect_no_growth "$device" 0
  expect_clean_end
  wait_end "$counter" 10
  looked_at=$(grep -E "$refusals" "$scratch/counted.out" | awk '{ sum += $1 } END { print sum + 0 }')
  bound=$((between / 333 + 1))
  echo "$sent datagrams in $seconds s, $(awk '/received N$/ { print $1 }' "$scratch/counted.out") received," \
    "$looked_at looked at ($bound allowed); a session's reply $served ms after the end"
  [ "$looked_at" -le "$bound" ] || fail "more packets were looked at than the throttle allows"
  [ "$looked_at" -ge $((bound / 2)) ] || fail "the flood has not met the throttle"
  [ "$served" -le 1000 ] || fail "the session after the flood has had to wait"
}
