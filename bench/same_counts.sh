#!/bin/sh
# SPDX-License-Identifier: MIT
# same_counts.sh COMMAND...: two runs of the command print the same, and something.
set -eu
first=$("$@")
second=$(IRRELEVANT="only here to move the stack of whoever looks at it" "$@")
printf '%s\n' "$first"
if [ -z "$first" ] || [ "$first" != "$second" ]; then
  printf 'DIFFERENT:\n%s\n' "$second"
  exit 1
fi
