#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# manual_test.sh ZOLT ZOLT-HOST: the manual pages are without faults, and name every option that the programs
# name, and every example of a page is accepted as a command line.
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/../../docs/man"
zolt=$1 host=$2
bad=0

complain() {
  echo "$*" >&2
  bad=1
}

# options COMMAND...: the long options in a help text.
options() { "$@" --help | sed '/^Examples:/,$d' | grep -oE -- '--[a-z][a-z-]+' | sort -u; }

# documents PAGE... -- COMMAND...
documents() {
  local pages=() option text
  while [ "$1" != -- ]; do pages+=("$1") && shift; done
  shift
  text=$(sed 's/\\-/-/g' "${pages[@]}")
  [ -n "$(options "$@")" ] || complain "'$*' shows no options"
  for option in $(options "$@"); do
    [[ $option == --help || $option == --version ]] || grep -qwF -- "$option" <<<"$text" ||
      complain "${pages[0]} lacks the option $option of '${*##*/}'"
  done
}

for command in ping request decode completion "key generate" "key show" "key check" ""; do
  # shellcheck disable=SC2086 # two words
  documents zolt.1 -- "$zolt" $command
done
documents zolt.1 -- "$zolt" fleet
documents zolt.1 -- "$zolt" bench
documents zolt-tunnel.1 zolt.1 -- "$zolt" tunnel
documents zolt-host.8 -- "$host"

# Where there is no key, a good command line ends with another status than that of a wrong one.
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
examples() { sed -n '/^\.SH EXAMPLES/,/^\.SH SEE/{s/\\-/-/g;/^zolt /p}' "$@"; }
[ "$(examples zolt.1 zolt-tunnel.1 | wc -l)" -ge 6 ] || complain "the examples are not found"
while read -r line; do
  eval "set -- $line"
  shift
  result=0
  (cd "$scratch" && rm -rf keys && "$zolt" "$@" >/dev/null 2>&1 </dev/null) || result=$?
  [[ $result =~ ^[0134]$ ]] || complain "an example ends with status $result: $line"
done < <(examples zolt.1 zolt-tunnel.1)

for page in *.[0-9]; do
  command -v groff >/dev/null || break
  faults=$(groff -t -man -ww -Tascii "$page" 2>&1 >/dev/null)
  [ -z "$faults" ] || complain "$page: $faults"
done
exit $bad
