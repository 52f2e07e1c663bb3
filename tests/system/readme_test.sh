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
