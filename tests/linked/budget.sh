#!/bin/sh
# SPDX-License-Identifier: MIT
# Prints what the stripped library costs a device, and compares it with the budgets: the size of the
# file, and the memory that it writes to (.data and .bss, with the small-data and table sections that
# stand beside them).
#
#     budget.sh STRIP READELF LIBRARY WORK-FOLDER
set -eu
strip=$1 readelf=$2 library=$3 work=$4
budget_file=98304
budget_data=16384
mkdir -p "$work"
"$strip" -o "$work/libsec.so" "$library"

file=$(wc -c <"$work/libsec.so")
echo "file, stripped: $file of $budget_file bytes"
# Section sizes stand in hexadecimal after name, type, address and offset.
data=$("$readelf" -SW "$work/libsec.so" | sed 's/^ *\[ *[0-9]*\] *//' | awk '
  function number(hex,   i, value) {
    for (i = 1; i <= length(hex); i++) value = value * 16 + index("0123456789abcdef", substr(hex, i, 1)) - 1
    return value
  }
  $1 ~ /^\.(data|sdata|bss|sbss|got|data\.rel\.ro|init_array|fini_array)$/ {
    printf "  %-14s %6d bytes\n", $1, number($5) > "/dev/stderr"
    total += number($5)
  }
  END { print total }')
echo "memory written to, tables included: $data of $budget_data bytes"
[ "$file" -le $budget_file ] && [ "$data" -le $budget_data ]
