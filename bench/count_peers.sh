#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# bench/count_peers.sh mips|aarch64: counts the executed instructions of libsec and of independent libraries,
# operation by operation, and puts them into bench/peers/mips.txt or aarch64.txt. Where the libraries come from:
# bench/mips_peers.sh, bench/aarch64_peers.sh.
set -euo pipefail
exec </dev/null
here=$(dirname "$(readlink -f "$0")")
# shellcheck source=script/setup.sh
. "$here/../script/setup.sh"
# shellcheck source=script/private_apt.sh
. "$here/../script/private_apt.sh"
cd "$SOURCE"

machine=${1-}
[ -n "$machine" ] && [ -r "bench/${machine}_peers.sh" ] || die "usage: bench/count_peers.sh mips|aarch64"
top=$SOURCE/build/bench/$machine-peers result=bench/peers/$machine.txt
mkdir -p "$top/versions"
preset='' emulator='' gcc='' purposes=() peers=() includes=() folders=() libraries=()
# shellcheck source=bench/mips_peers.sh
. "bench/${machine}_peers.sh"
need build "${purposes[@]}"
get_peers

say "building libsec (preset $preset) and what counts"
sources=("${peers[@]/#/bench/peers/}")
{
  cmake --preset "$preset"
  cmake --build --preset "$preset" --target sec
  cc -O2 -shared -fPIC -o "$top/insn_count.so" bench/insn_count.c
  "$gcc-g++" -std=c++20 -O2 -Wall -Wextra -Werror -Iinclude -Isrc -Itests "${includes[@]/#/-isystem}" \
    -DLIBSEC_PEERS="$(printf 'ADD(%s) ' "${peers[@]}")" -o "$top/count_peers" \
    bench/peers/count.cc bench/peers/rows.cc bench/peers/libsec.cc "${sources[@]/%/.cc}" \
    "${folders[@]/#/-L}" "${libraries[@]}"
} >"$top/log" 2>&1 || {
  tail -n 40 "$top/log"
  die "the build has failed"
}

say "counting, twice"
bench/same_counts.sh bench/count_instructions.sh "$emulator" "$top/insn_count.so" "$top/count_peers" \
  "build/$preset/libsec.so" >"$top/counts"
{
  echo "# Executed instructions, in how many units (bytes, blocks), row and contender: counted under ${emulator% -L*}"
  echo "# by bench/count_peers.sh $machine on $(date -u +%F), with $("$gcc-gcc" --version | sed -n 1p)."
  sed "$(cd "$top/versions" && for name in *; do printf 's/\\t%s$/& %s/;' "$name" "$(cat "$name")"; done)" "$top/counts"
} >"$result"
cat "$result"
if grep '^# WRONG' "$result"; then exit 1; fi
