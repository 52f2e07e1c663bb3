# SPDX-License-Identifier: MIT
# The front doors: script/demo shows whole sessions.
# shellcheck shell=bash

# demo ARGUMENT...
demo() {
  run_program demo "$SOURCE/script/demo" "$@"
  expect_status 0
  expect "reply:   Hello over UDP" demo.out
  expect "reply:   Hello over TCP" demo.out
  expect "zolt-host has ended cleanly" demo.out
  expect "the sessions went through" demo.out
}

test_the_demo_shows_a_session_over_each_transport() { demo; }

test_the_demo_shows_snmpd_behind_the_host() {
  command -v snmpget >/dev/null || skip "there is no snmpget (Debian package snmp)"
  demo --snmp
  expect "A device that is managed through libsec" demo.out
}

test_the_demo_says_what_it_does_and_refuses_what_it_does_not_know() {
  run_program demo "$SOURCE/script/demo" --help
  expect_status 0
  expect "script/demo [--snmp]" demo.out
  run_program demo "$SOURCE/script/demo" --bogus
  expect_status 2
  expect "unknown argument '--bogus'" demo.err
}
