# SPDX-License-Identifier: MIT
# What the README shows works as it stands there.
# shellcheck shell=bash
. "${BASH_SOURCE[0]%/*}/device_lib.sh"

# code_block LANGUAGE: the README's first block of that language.
code_block() { sed -n "/^\`\`\`$1\$/,/^\`\`\`\$/p" "$SOURCE/README.md" | sed '1d;/^```$/,$d'; }

test_the_host_in_twenty_lines_serves_a_session() {
  make_keys "$keys"
  code_block c >"$scratch/host.c"
  run_program compile gcc -std=gnu99 -Wall -Wextra -Werror -I "$SOURCE/include" "$scratch/host.c" -o "$scratch/host" -ldl
  expect_status 0
  cp "$BUILD/libsec.so" "$keys"
  (cd "$keys" && exec "$scratch/host" >"$scratch/device.out" 2>&1) &
  device=$!
  started+=("$device")
  local second
  for second in 1 2 3 4 5; do
    ! grep -q ' 00000000:00A1 ' /proc/net/udp || break
    sleep "0.$second"
  done
  request "hello from the README"
  expect_status 0
  expect "hello from the README" request.out
  kill "$device"
}

# Without the first command: the programs are those of the build.
test_the_five_minutes_reach_an_emulated_device() {
  command -v snmpget >/dev/null || skip "there is no snmpget (Debian package snmp)"
  [ -x "$SOURCE/build/packages/snmpd/usr/sbin/snmpd" ] || command -v snmpd >/dev/null || skip "there is no snmpd (Debian package snmpd)"
  sed -n '/^## Five minutes/,/^```$/p' "$SOURCE/README.md" | sed '1,/^```sh$/d; /^```$/d' >"$scratch/steps"
  expect_equal "$(head -n 1 "$scratch/steps" | cut -d' ' -f1-2)" "script/package --install" "first command"
  { echo 'set -e' && sed 1d "$scratch/steps" && echo 'kill %1; wait %1'; } >"$scratch/further"
  ln -s "$SOURCE/script" "$scratch/script"
  cd "$scratch" || fail "no scratch folder"
  PATH=$BUILD:$PATH run_program steps bash further
  expect_status 0
  expect 'STRING: "An emulated device behind libsec"' steps.out
  expect "127.0.0.1:1161 leads to" steps.err
}
