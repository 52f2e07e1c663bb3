# SPDX-License-Identifier: MIT
# Whole sessions: the manager's zolt, zolt-host and libsec.so, real bytes on port 161.
# shellcheck shell=bash disable=SC2086 # the emulator may have arguments
. "${BASH_SOURCE[0]%/*}/device_lib.sh"

# listens_on PROTOCOL: port 161 (hexadecimal 00A1) of all addresses is bound in this namespace.
listens_on() { grep -q ' 00000000:00A1 ' "/proc/net/$1" || fail "nothing is bound to port 161 of $1"; }

# one_session TRANSPORT TEXT
one_session() {
  request "--$1" "$2"
  expect_status 0
  expect "$2" request.out
}

test_a_session_over_udp() {
  start_device --echo
  listens_on udp
  one_session udp "hello over udp"
  expect_clean_end
}

test_a_session_over_tcp() {
  start_device --echo
  listens_on tcp
  one_session tcp "hello over tcp"
  expect "TCP connection accepted" device.out
  expect_clean_end
}

test_sessions_follow_each_other_on_changing_transports() {
  start_device --echo
  local transport
  for transport in udp tcp tcp udp tcp udp udp; do one_session "$transport" "now $transport"; done
  expect_clean_end
}

test_every_byte_value_and_every_padding_passes() {
  start_device --echo
  local hex length transport
  hex=$(for ((length = 0; length < 256; length++)); do printf %02x "$length"; done)
  for transport in udp tcp; do
    for length in 1 2 5 6 7 8 9 255 256; do
      request "--$transport" --hex "${hex:0:$((2 * length))}"
      expect_status 0
      expect_equal "$(tr -d ' \n' <"$scratch/request.out")" "${hex:0:$((2 * length))}" "reply of $length bytes"
    done
  done
}

test_a_large_request_and_its_reply_pass() {
  start_device --echo
  local transport
  head -c 30000 /dev/urandom | od -An -v -tx1 | tr -d ' \n' >"$scratch/large"
  for transport in udp tcp; do
    # One argument of a command line may hold 128 KiB.
    request "--$transport" --hex "$(cat "$scratch/large")"
    expect_status 0
    expect_equal "$(tr -d ' \n' <"$scratch/request.out" | sha256sum)" "$(sha256sum <"$scratch/large")" "reply"
  done
}

test_a_command_answers() {
  start_device --exec 'tr a-z A-Z'
  request --udp "louder"
  expect_status 0
  expect "LOUDER" request.out
  request --tcp "and louder"
  expect "AND LOUDER" request.out
}

test_snmpd_answers_behind_the_host() {
  local snmpd=
  for snmpd in "$(command -v snmpd)" "$SOURCE/build/packages/snmpd/usr/sbin/snmpd" ""; do
    [ ! -x "$snmpd" ] || break
  done
  [ -n "$snmpd" ] || skip "there is no snmpd (Debian package snmpd, or script/test once as root)"
  cat >"$scratch/snmpd.conf" <<'CONF'
agentAddress udp:127.0.0.1:1161
rocommunity public 127.0.0.1
sysDescr behind libsec
CONF
  export SNMP_PERSISTENT_DIR=$scratch/snmp
  start_program snmpd "$snmpd" -f -C -c "$scratch/snmpd.conf" -Lo
  wait_for "NET-SNMP version" snmpd.out
  start_device --forward 127.0.0.1:1161
  # GET sysDescr.0, SNMPv2c, community "public"; the reply is the same with the value in it.
  local get=302602010104067075626c6963a019020101020100020100300e300c06082b060102010101000500
  local value transport
  value=$(printf 'behind libsec' | od -An -tx1 | tr -d ' \n')
  for transport in udp tcp; do
    request "--$transport" --hex "$get"
    expect_status 0
    expect "06082b06010201010100040d$value" request.out
  done
}

test_a_session_with_a_key_that_the_device_does_not_know_is_refused() {
  start_device --echo
  make_keys "$scratch/other"
  run_program request "$NATIVE/zolt" request 127.0.0.1 --key "$scratch/other/private.pem" --udp --timeout 1 "let me in"
  [ "$status" -ne 0 ] || fail "a stranger was let in"
  expect_not "let me in" request.out
  expect_alive --udp
}

test_without_a_key_file_the_host_refuses_to_serve() {
  mkdir "$keys"
  run_program device $EMULATOR "$BUILD/zolt-host" --lib "$BUILD/libsec.so" --dir "$keys" --echo
  expect_status 5
  expect "accepted no key" device.err
}

test_insecure_without_a_key_file_answers_plain_datagrams() {
  mkdir "$keys"
  start_device --echo --insecure
  expect "WARNING" device.err
  exec 3<>/dev/udp/127.0.0.1/161
  printf 'plain text' >&3
  expect_equal "$(timeout 5 head -c 10 <&3)" "plain text" "reply"
  exec 3>&-
}

test_a_port_that_is_taken_is_named() {
  start_device --echo
  run_program second $EMULATOR "$BUILD/zolt-host" --lib "$BUILD/libsec.so" --dir "$keys" --echo
  expect_status 4
  expect "could not open port 161" second.err
}

test_sigterm_ends_the_host_while_a_connection_is_open() {
  start_device --echo
  exec 3<>/dev/tcp/127.0.0.1/161
  wait_for "TCP connection accepted" device.out
  expect_clean_end 8
}

test_a_silent_agent_leaves_the_manager_without_an_answer_and_the_host_alive() {
  start_device --exec 'exit 1'
  request --udp --timeout 1 "anyone"
  expect_status 4
  expect "the command ended with status 1" device.err
  kill -0 "$device" || fail "the host has ended"
}
