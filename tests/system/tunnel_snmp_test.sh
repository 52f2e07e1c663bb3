# SPDX-License-Identifier: MIT
# The SNMP tools of others through the tunnel: what they show is what they show without it.
# shellcheck shell=bash
. "${BASH_SOURCE[0]%/*}/tunnel_lib.sh"

direct=127.0.0.1:1161
tunnelled=127.0.0.1:10161

# The walk of the table, directly and through the tunnel.
compare_walks() {
  start_agent
  start_device --forward "$direct"
  snmp direct snmpbulkwalk "$direct" "$table"
  expect_status 0
  expect_equal "$(wc -l <"$scratch/direct.out")" 1200 "count of objects"
  start_tunnel "$@"
  snmp bulk snmpbulkwalk "$tunnelled" "$table"
  expect_status 0
  cmp "$scratch/direct.out" "$scratch/bulk.out" || fail "snmpbulkwalk differs"
  snmp walk snmpwalk "$tunnelled" "$table"
  expect_status 0
  cmp "$scratch/direct.out" "$scratch/walk.out" || fail "snmpwalk differs"
  stop_tunnel TERM 0
}

test_walks_of_a_thousand_objects_over_udp_equal_the_direct_one() { compare_walks --udp; }
test_walks_of_a_thousand_objects_over_tcp_equal_the_direct_one() { compare_walks --tcp; }

test_get_and_set_pass() {
  start_agent
  start_device --forward "$direct"
  local transport name=.1.3.6.1.2.1.1.4.0
  for transport in udp tcp; do
    start_tunnel "--$transport"
    snmp set snmpset "$tunnelled" "$name" s "somebody over $transport"
    expect_status 0
    snmp get snmpget "$tunnelled" "$name"
    expect "\"somebody over $transport\"" get.out
    snmp direct snmpget "$direct" "$name"
    cmp "$scratch/direct.out" "$scratch/get.out" || fail "snmpget differs"
    stop_tunnel TERM 0
  done
}

# A manager's own program, with a library of others.
test_a_python_client_sees_the_same() {
  local python transport
  for python in python3 /usr/bin/python3 ""; do
    [ -z "$python" ] || ! "$python" -c 'import pysnmp.hlapi' 2>/dev/null || break
  done
  [ -n "$python" ] || skip "there is no pysnmp (Debian package python3-pysnmp4)"
  local client=("$python" "$SOURCE/tests/system/snmp_client.py")
  local objects=("$table" .1.3.6.1.2.1.1.4.0 "set in Python")
  start_agent
  start_device --forward "$direct"
  run_program direct "${client[@]}" "$direct" "${objects[@]}"
  expect_status 0
  expect_equal "$(grep -c ^bulk "$scratch/direct.out")" 1200 "count of objects"
  expect "get ('1.3.6.1.2.1.1.4.0', 'set in Python')" direct.out
  for transport in udp tcp; do
    start_tunnel "--$transport"
    run_program "$transport" "${client[@]}" "$tunnelled" "${objects[@]}"
    expect_status 0
    cmp "$scratch/direct.out" "$scratch/$transport.out" || fail "what the program reads over $transport differs"
    stop_tunnel TERM 0
  done
}

# Of version 3 the tunnel sees a message number only: what else there is in a message is enciphered.
test_version_3_with_privacy_passes() {
  start_agent
  start_device --forward "$direct"
  start_tunnel
  local where
  for where in "$direct" "$tunnelled"; do
    run_program "v3-$where" snmpbulkwalk -v3 -l authPriv -u manager -a SHA -A "a pass phrase" -x AES \
      -X "another phrase" -On -t 2 -r 2 "$where" "$table"
    expect_status 0
  done
  expect_equal "$(wc -l <"$scratch/v3-$direct.out")" 1200 "count of objects"
  cmp "$scratch/v3-$direct.out" "$scratch/v3-$tunnelled.out" || fail "the walk differs"
  stop_tunnel TERM 0
}

# Ten sessions of half a second are what half an hour of 180 s is.
no_request_is_lost() {
  start_agent
  start_device --forward "$direct"
  start_tunnel "$@" -v --renew-after 0.3
  local i
  for ((i = 0; i < 600; i++)); do
    # Without retries a single loss is seen.
    snmpget -v2c -c public -On -Oqv -t 5 -r 0 "$tunnelled" .1.3.6.1.2.1.1.1.0 >>"$scratch/polled.out" 2>&1 ||
      fail "request $i is lost"
    [ "$(grep -c ^WAKE "$scratch/tunnel.err")" -le 12 ] || break
  done
  local sessions
  sessions=$(grep -c ^WAKE "$scratch/tunnel.err")
  [ "$sessions" -ge 11 ] || fail "only $sessions sessions"
  expect_equal "$(sort -u "$scratch/polled.out")" '"behind libsec"' "replies"
  stop_tunnel TERM 0
  expect_equal "$(grep -c ^LOUT "$scratch/tunnel.err")" "$(grep -c ^WAKE "$scratch/tunnel.err")" "count of logouts"
}

test_no_request_is_lost_in_ten_renewals_over_udp() { no_request_is_lost --udp; }
test_no_request_is_lost_in_ten_renewals_over_tcp() { no_request_is_lost --tcp; }
