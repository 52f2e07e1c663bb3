# SPDX-License-Identifier: MIT
# Tunnels to the device, and an SNMP agent behind it.
# shellcheck shell=bash
. "${BASH_SOURCE[0]%/*}/device_lib.sh"

# start_tunnel ARGUMENT...: on port 10161; its number is in $tunnel.
start_tunnel() {
  start_program tunnel "$NATIVE/zolt" tunnel 127.0.0.1 --key "$keys/private.pem" --listen 127.0.0.1:10161 "$@"
  tunnel=$pid
  wait_for "127.0.0.1:10161 leads to" tunnel.err
}

# stop_tunnel SIGNAL STATUS
stop_tunnel() {
  kill "-$1" "$tunnel"
  wait_end "$tunnel" 5
  expect_status "$2"
}

# exchange TEXT: one datagram through the tunnel and its reply, in $reply.
# shellcheck disable=SC2034 # read by the tests
exchange() {
  exec 3<>/dev/udp/127.0.0.1/10161
  printf '%s' "$1" >&3
  reply=$(timeout 8 dd bs=65536 count=1 <&3 2>/dev/null) || true
  exec 3>&-
}

# start_agent WORD...: snmpd on port 1161, with a table of 1,200 rows and an object that may be set. The words
# stand before its command.
start_agent() {
  local snmpd=
  for snmpd in "$(command -v snmpd)" "$SOURCE/build/packages/snmpd/usr/sbin/snmpd" ""; do
    [ ! -x "$snmpd" ] || break
  done
  [ -n "$snmpd" ] || skip "there is no snmpd (Debian package snmpd, or script/test once as root)"
  command -v snmpwalk >/dev/null || skip "there is no snmpwalk (Debian package snmp)"
  cat >"$scratch/snmpd.conf" <<CONF
agentAddress udp:127.0.0.1:1161
rwcommunity public 127.0.0.1
createUser manager SHA "a pass phrase" AES "another phrase"
rwuser manager priv
sysDescr behind libsec
pass_persist .1.3.6.1.4.1.8072.9999.1 $SOURCE/tests/system/table_agent.sh
CONF
  export SNMP_PERSISTENT_DIR=$scratch/snmp MIBS=
  start_program snmpd "$@" "$snmpd" -f -C -c "$scratch/snmpd.conf" -Lo
  wait_for "NET-SNMP version" snmpd.out
}

# shellcheck disable=SC2034 # read by the tests
table=.1.3.6.1.4.1.8072.9999.1

# snmp NAME TOOL ADDRESS ARGUMENT...: an SNMP tool with the usual options; the output goes to NAME.out.
snmp() {
  local name=$1 tool=$2 address=$3
  shift 3
  run_program "$name" "$tool" -v2c -c public -On -t 2 -r 2 "$address" "$@"
}
