#!/bin/sh
# SPDX-License-Identifier: MIT
# count_instructions.sh SYSROOT PLUG-IN MIPS_REGIONS LIBSEC.SO: runs every region and prints its count,
# its units and its name, a line each.
set -eu
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
# Without an environment, which lies on the stack and would move it.
env -i PATH="$PATH" qemu-mips -plugin "$2" -L "$1" "$3" "$4" >"$scratch/names" 2>"$scratch/said" || {
  cat "$scratch/said" >&2
  exit 1
}
grep -v '^region ' "$scratch/said" | sed 's/^/# /'
sed -n 's/^region [0-9]*: \([0-9]*\) instructions$/\1/p' "$scratch/said" | paste -d ' ' - "$scratch/names"
