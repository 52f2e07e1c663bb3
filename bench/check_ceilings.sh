#!/bin/sh
# SPDX-License-Identifier: MIT
# check_ceilings.sh CEILINGS COMMAND...: COMMAND prints counts as count_instructions.sh does. Fails when
# one is above its ceiling, or when a region or a ceiling has no counterpart.
set -eu
ceilings=$1
shift
counts=$(mktemp)
trap 'rm -f "$counts"' EXIT
"$@" >"$counts"
awk '
  /^ *#/ { next }
  FNR == NR { line = $0; for (i = 0; i < 3; ++i) sub(/^ *[^ ]+ +/, "", line); ceiling[line] = $1; next }
  { name = $0; sub(/^[0-9]+ [0-9]+ /, "", name); each = $1 / $2; seen[name] = 1
    if ($1 !~ /^[0-9]+$/ || $2 !~ /^[0-9]+$/) { print "not a count: " $0; bad = 1 }
    else if (!(name in ceiling)) { print "no ceiling: " name; bad = 1 }
    else if (each > ceiling[name]) { printf "TOO MANY: %s: %g, ceiling %g\n", name, each, ceiling[name]; bad = 1 }
    else printf "%12.8g of %12.8g  %s\n", each, ceiling[name], name }
  END { for (name in ceiling) if (!(name in seen)) { print "not counted: " name; bad = 1 }
        exit bad }' "$ceilings" "$counts"
