#!/bin/sh
# SPDX-License-Identifier: MIT
# same_work.sh ROOT PLUGIN PROGRAM: runs same_work in qemu-mips, which counts the instructions of each watched
# run. All runs of a kind must have taken equally many, and those of the last kind, which is known to
# depend on its operands, must not.
set -eu
kinds=$(mktemp) counts=$(mktemp)
trap 'rm -f "$kinds" "$counts"' EXIT
qemu-mips -L "$1" -plugin "$2" "$3" >"$kinds" 2>"$counts" || { cat "$kinds" "$counts"; exit 1; }
awk '
  FNR == NR { name[++kinds] = $0; runs[kinds] = $(NF - 1); next }
  $1 == "region" { count[++regions] = $3; next }
  { print; bad = 1 }
  END {
    for (k = 1; k <= kinds; ++k) {
      different = 0
      for (i = 1; i <= runs[k]; ++i) different += count[at + i] != count[at + 1]
      print name[k] ", " count[at + 1] " instructions in the first, not as many in " different
      at += runs[k]
      if ((different > 0) != (k == kinds)) bad = 1
    }
    exit bad || kinds != 3 || at != regions
  }' "$kinds" "$counts"
