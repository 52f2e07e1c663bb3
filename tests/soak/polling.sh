# SPDX-License-Identifier: MIT
# Half an hour of an SNMP manager's polling through a tunnel that renews its sessions.
# shellcheck shell=bash
. "$SOURCE/tests/soak/soak_lib.sh"

# Without retries a single loss is seen. The short form renews every four seconds.
poll() {
  local seconds renewals row reply asked=0 slowest=0 before took sessions
  seconds=$(long_or 1800 45) renewals=10
  # shellcheck disable=SC2119 # no words before its command
  start_agent
  start_device --forward 127.0.0.1:1161
  # shellcheck disable=SC2046 # two words or none
  start_tunnel "$@" -v $(long_or "" "--renew-after 4")
  SECONDS=0
  while [ "$SECONDS" -lt "$seconds" ] || [ "$(grep -c ^WAKE "$scratch/tunnel.err")" -le "$renewals" ]; do
    [ "$SECONDS" -lt $((seconds * 2)) ] || fail "too few renewals in $SECONDS s"
    row=$((asked % 1200 + 1))
    before=${EPOCHREALTIME/./}
    reply=$(snmpget -v2c -c public -On -Oqv -t 10 -r 0 127.0.0.1:10161 "$table.$row" 2>&1) ||
      fail "request $asked is lost: $reply"
    took=$(((${EPOCHREALTIME/./} - before) / 1000))
    [ "$took" -le "$slowest" ] || slowest=$took
    expect_equal "$reply" "$((row * 7))" "reply to request $asked"
    asked=$((asked + 1))
    sleep 0.5
  done
  stop_tunnel TERM 0
  sessions=$(grep -c ^WAKE "$scratch/tunnel.err")
  expect_equal "$(grep -c ^LOUT "$scratch/tunnel.err")" "$sessions" "count of logouts"
  echo "$*: $asked requests in $SECONDS s, none lost, $((sessions - 1)) renewals;" \
    "the slowest took $slowest ms with its program"
}

polling_udp() { poll --udp; }
polling_tcp() { poll --tcp; }
