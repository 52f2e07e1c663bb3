# SPDX-License-Identifier: MIT
# systemd's units, as they are installed.
# shellcheck shell=bash
. "${BASH_SOURCE[0]%/*}/device_lib.sh"

install_units() {
  command -v systemd-analyze >/dev/null || skip "there is no systemd-analyze (Debian package systemd)"
  run_program install cmake --install "$BUILD" --prefix "$scratch/usr"
  expect_status 0
  units=$scratch/usr/lib/systemd/system
}

test_systemd_finds_no_fault_in_the_units() {
  install_units
  local unit
  for unit in zolt-host.service zolt-tunnel@router.service; do
    run_program verify systemd-analyze verify --man=no --generators=no "$units/${unit/@router/@}"
    expect_status 0
    expect_equal "$(cat "$scratch/verify.out" "$scratch/verify.err")" "" "what systemd-analyze says of $unit"
  done
}

test_the_units_leave_little_to_an_intruder() {
  install_units
  local unit
  for unit in zolt-host.service zolt-tunnel@.service; do
    # In tenths of the scale from 0, none, to 10.
    run_program security systemd-analyze security --offline=true --threshold=20 "$units/$unit"
    expect_status 0
    expect "CapabilityBoundingSet=~CAP_SYS_ADMIN" security.out
    expect_equal "$(grep -E '^(Ambient|)Capabilit' "$units/$unit" | cut -d= -f2 | sort -u)" "CAP_NET_BIND_SERVICE" "capabilities"
  done
}

# The command line of a unit, with systemd's variables put in, as a shell would take it.
unit_command() { # UNIT
  sed -n 's/^ExecStart=//p' "$units/$1"
}

test_the_units_start_what_is_installed() {
  install_units
  make_keys "$keys"
  export CREDENTIALS_DIRECTORY=$keys NOTIFY_SOCKET='' DEVICE=127.0.0.1 LISTEN=127.0.0.1:10161
  export OPTIONS=--echo
  eval "start_program device $(unit_command zolt-host.service)"
  device=$pid
  wait_for "serving port 161" device.err
  OPTIONS="--tcp --timeout 2"
  eval "start_program tunnel $(unit_command zolt-tunnel@.service)"
  wait_for "127.0.0.1:10161 leads to" tunnel.err
  expect "over TCP" tunnel.err
  kill -TERM "$pid"
  wait_end "$pid" 5
  expect_status 0
  # shellcheck disable=SC2119
  expect_clean_end
}
