# SPDX-License-Identifier: MIT
# zolt fleet with real devices: many of them, some broken, and an interruption.
# shellcheck shell=bash
. "${BASH_SOURCE[0]%/*}/fleet_lib.sh"

command -v python3 >/dev/null || skip "there is no python3"

# 500 good devices. Beside them: one that has another manager's key, one that another manager holds, ones whose
# agent answers too late, and addresses and ports where nobody is.
test_many_devices_answer_whatever_the_broken_ones_do() {
  local good=${FLEET_SIZE:-500} number
  local other=$((good)) held=$((good + 1)) late=$((good + 2)) dead=$((good + 3))
  start_bridge
  make_keys "$keys"
  make_keys "$scratch/other"
  start_hosts 0 $((good - 1)) --echo
  start_host "$other" "$scratch/other" --echo
  start_host "$held" "$keys" --echo
  start_host "$late" "$keys" --exec 'sleep 3; cat' --timeout 10000
  wire "$other" "$late"
  start_program holder "$NATIVE/zolt" tunnel "$(address "$held")" --key "$keys/private.pem" --listen 127.0.0.1:0
  wait_for "leads to" holder.err
  {
    for ((number = 0; number < good; number++)); do
      printf '%s\n' "$(address $number)"
      # Spread over the list, so that each is asked beside good ones.
      case $number in
        1) printf '%s:162\n' "$(address 1)" ;;
        5) printf '%s:162 tcp\n' "$(address 5)" ;;
        9) printf '%s # is not there\n' "$(address $dead)" ;;
        12) printf '%s\n%s\n%s timeout=0.5\n' "$(address $other)" "$(address $held)" "$(address $late)" ;;
      esac
    done
  } >"$scratch/targets"
  {
    for ((number = 0; number < good; number++)); do printf '%s:161 0 hello\n' "$(address $number)"; done
    printf '%s:162 5\n%s:162 5\n' "$(address 1)" "$(address 5)"
    printf '%s:161 4\n' "$(address $dead)" "$(address $other)" "$(address $held)" "$(address $late)"
  } | sort >"$scratch/wanted"

  fleet udp --timeout 5 "hello"
  expect_status 1
  verdicts udp >"$scratch/got" || fail "a line is no object"
  diff "$scratch/wanted" "$scratch/got" || fail "verdicts differ"
  expect "fleet    $((good + 6)) devices: $good ok, 4 no answer, 2 busy or refused" udp.err

  # Every session was logged out of: else the next would be refused.
  for ((number = 0; number < good; number += 2)); do address $number && echo; done >"$scratch/targets"
  fleet tcp --tcp --timeout 5 --parallel 200 -q "hello"
  expect_status 0
  expect_equal "$(wc -c <"$scratch/tcp.err")" 0 "size of what a quiet fleet says"
  expect_equal "$(verdicts tcp | wc -l)" $((good / 2)) "count of devices over TCP"
}

# Two of six are being asked when the interruption comes: they are logged out of, four are never asked.
test_an_interruption_logs_out_and_names_the_rest() {
  local number
  start_bridge
  make_keys "$keys"
  start_hosts 0 5 --exec 'sleep 1; cat' --timeout 10000
  for number in 0 1 2 3 4 5; do address $number && echo; done >"$scratch/targets"
  start_program fleet "$NATIVE/zolt" fleet --targets "$scratch/targets" --key "$keys/private.pem" --parallel 2 \
    -v --timeout 5 "one" "two" "three"
  local asking=$pid
  for ((number = 0; number < 400; number++)); do
    # Both have answered once, and have two more requests to come, each of a second.
    [ "$(sed -n 's/  ENCR .*//p' "$scratch/fleet.err" 2>/dev/null | sort -u | wc -l)" -lt 2 ] || break
    sleep 0.05
  done
  kill -INT "$asking"
  wait_end "$asking" 10
  expect_status 130
  verdicts fleet >"$scratch/got" || fail "a line is no object"
  for number in 0 1 2 3 4 5; do
    expect "$(address $number):161 130" got
  done
  expect_equal "$(wc -l <"$scratch/got")" 6 "count of lines"
  expect_equal "$(grep -cE "130 one( two)?$" "$scratch/got")" 2 "count of devices whose first reply is kept"
  expect_equal "$(grep -c "interrupted before it was asked" "$scratch/fleet.out")" 4 "count of devices that were not asked"
  expect "fleet    6 devices: 6 interrupted" fleet.err
  # Whoever holds a session refuses the next one.
  fleet again --timeout 5
  expect_status 0
}

test_the_progress_is_for_terminals() {
  start_device --echo
  printf '127.0.0.1\n127.0.0.2:99\n' >"$scratch/targets"
  local command="'$NATIVE/zolt' fleet -T '$scratch/targets' --key '$keys/private.pem' hello >'$scratch/lines'"
  run_program terminal script -qec "$command" /dev/null
  expect_status 1
  expect "[..............................] 0 of 2 devices, 0 failed" terminal.out
  expect_equal "$(wc -l <"$scratch/lines")" 2 "count of lines"
  ! grep -q $'\x1b' "$scratch/lines" || fail "standard output has control sequences"
  run_program terminal script -qec "$command -q" /dev/null
  expect_not "devices" terminal.out
  fleet plain "hello"
  expect_not "0 of 2 devices" plain.err
}
