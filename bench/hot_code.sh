#!/bin/sh
# SPDX-License-Identifier: MIT
# hot_code.sh NM LIMIT OBJECT...: the functions of the objects, by their symbols, have at most LIMIT bytes.
set -eu
nm=$1 limit=$2
shift 2
"$nm" -S -C -t d --defined-only "$@" | awk -v limit="$limit" '
  $3 ~ /^[tTwW]$/ { sum += $2; printf "%6d  %s\n", $2, substr($0, index($0, $4)) }
  END { printf "%6d bytes, at most %d\n", sum, limit; exit !(sum > 0 && sum <= limit) }'
