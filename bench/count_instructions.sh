#!/bin/sh
# SPDX-License-Identifier: MIT
# count_instructions.sh EMULATOR PLUG-IN PROGRAM LIBSEC.SO: runs every region of mips_regions or count_peers
# and prints its count, its units and its name, a line each. EMULATOR may be followed by its options.
set -eu
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
# Without an environment, which lies on the stack and would move it.
# shellcheck disable=SC2086
env -i PATH="$PATH" $1 -plugin "$2" "$3" "$4" >"$scratch/names" 2>"$scratch/said" || {
  cat "$scratch/said" >&2
  exit 1
}
grep -v '^region ' "$scratch/said" | sed 's/^/# /'
sed -n 's/^region [0-9]*: \([0-9]*\) instructions$/\1/p' "$scratch/said" >"$scratch/counts"
[ "$(wc -l <"$scratch/counts")" -eq "$(wc -l <"$scratch/names")" ] || {
  echo "not every region was counted" >&2
  exit 1
}
paste -d ' ' "$scratch/counts" "$scratch/names"
