# SPDX-License-Identifier: MIT
# zolt bench with a real device.
# shellcheck shell=bash
. "${BASH_SOURCE[0]%/*}/device_lib.sh"

command -v python3 >/dev/null || skip "there is no python3"

# bench ARGUMENT...
bench() { run_program bench "$NATIVE/zolt" bench 127.0.0.1 --key "$keys/private.pem" "$@"; }

# object EXPRESSION: of the JSON object of the last run.
object() { python3 -c 'import json, sys; it = json.load(open(sys.argv[1])); print(eval(sys.argv[2]))' "$scratch/bench.out" "$1"; }

test_sessions_and_requests_are_measured_over_both_transports() {
  start_device --echo
  local transport
  for transport in udp tcp; do
    bench --$transport --count 20 --json
    expect_status 0
    expect_equal "$(object 'it["transport"]')" $transport transport
    expect_equal "$(object 'it["sessions"]["count"], it["requests"]["count"], it["sessions"]["failed"]')" "(20, 20, 0)" counts
    expect_equal "$(object 'all(0 < it[w]["ms"]["least"] <= it[w]["ms"]["median"] <= it[w]["ms"]["greatest"] for w in ("sessions", "requests"))')" \
      True "order of the times"
  done
  expect_alive --udp # so the last session was logged out of
  expect_clean_end
}

test_the_picture_is_well_formed() {
  start_device --echo
  bench --count 30 --svg "$scratch/a&b.svg" "hello"
  expect_status 0
  expect "|#" bench.out
  python3 - "$scratch/a&b.svg" <<'PYTHON'
import sys, xml.etree.ElementTree as tree
svg = "{http://www.w3.org/2000/svg}"
root = tree.parse(sys.argv[1]).getroot()
assert root.tag == svg + "svg", root.tag
texts = [each.text for each in root.iter(svg + "text")]
assert texts[0] == "zolt bench 127.0.0.1:161 over UDP", texts
assert any(each.startswith("sessions: 30 in ") for each in texts), texts
assert any(each.startswith("requests: 30 in ") for each in texts), texts
counts = [int(each.find(svg + "title").text.split(": ")[1]) for each in root.iter(svg + "rect") if len(each)]
assert sum(counts) == 60, counts
PYTHON
}

test_an_interruption_logs_out_and_shows_what_there_is() {
  start_device --echo
  start_program bench "$NATIVE/zolt" bench 127.0.0.1 --key "$keys/private.pem" --only requests --seconds 60 --json -v
  local measuring=$pid
  wait_for "ENCR     " bench.err
  kill -INT "$measuring"
  wait_end "$measuring" 5
  expect_status 130
  expect_equal "$(object 'it["exit"], it["failure"]["happened"], it["requests"]["count"] > 0')" \
    "(130, 'interrupted', True)" "what the object tells"
  expect "LOUT     " bench.err
  expect_alive --udp
}

test_a_device_that_goes_away_ends_the_measurement() {
  start_device --echo
  start_program bench "$NATIVE/zolt" bench 127.0.0.1 --key "$keys/private.pem" --tcp --seconds 60 --timeout 0.5 --json -v
  local measuring=$pid
  wait_for "LOUT     " bench.err
  kill -KILL "$device"
  wait_end "$measuring" 20
  expect_status 5
  expect_equal "$(object 'it["sessions"]["count"] > 0, it["sessions"]["failed"]')" "(True, 3)" "what the object tells"
}

test_the_progress_and_the_colours_are_for_terminals() {
  start_device --echo
  local command="'$NATIVE/zolt' bench 127.0.0.1 --key '$keys/private.pem' --count 5"
  run_program terminal script -qec "$command" /dev/null
  expect_status 0
  expect "[..............................] 0 sessions" terminal.out
  expect $'\x1b[36m#' terminal.out
  run_program terminal script -qec "NO_COLOR=1 $command" /dev/null
  expect_not $'\x1b[36m' terminal.out
  bench --count 5
  ! grep -q $'\x1b' "$scratch/bench.out" "$scratch/bench.err" || fail "there are control sequences"
}
