#!/bin/sh
# SPDX-License-Identifier: MIT
# Checks a linked library or program: what it needs, what it leaves undefined, what it exports, and
# that its memory is locked down. Runs after every link; needs readelf and awk, nothing else.
#
#     check_linked.sh READELF FILE UNDEFINED-LIST [EXPORTED-LIST]
set -eu
LC_ALL=C
export LC_ALL
readelf=$1 file=$2 undefined_list=$3 exported_list=${4:-}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0

fail() {
  echo "$file: error: it $1" >&2
  failed=1
}

# The one needed library is the C library: libc.so.6 of glibc, libc.so of musl.
"$readelf" -dW "$file" >"$work/dynamic"
needed=$(sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' "$work/dynamic" | tr '\n' ' ')
case $needed in
'libc.so.6 ' | 'libc.so ') ;;
*) fail "needs '$needed', not the C library alone" ;;
esac

"$readelf" -lW "$file" | awk 'NF >= 6 && $1 ~ /^(LOAD|GNU_STACK|GNU_RELRO|INTERP)$/' >"$work/segments"
# The flags stand between the sizes and the alignment: "R E", "RW ", "RWE".
flags() { awk -v type="$1" '$1 == type { f = ""; for (i = 7; i < NF; i++) f = f $i; print f }' "$work/segments"; }
flags LOAD | grep -q 'W.*E' && fail 'has a segment that is writable and executable'
[ "$(flags GNU_STACK)" = RW ] || fail 'does not ask for a stack that is not executable'
[ -n "$(flags GNU_RELRO)" ] || fail 'has no memory that is made read-only after relocation (RELRO)'
grep -Eq 'BIND_NOW|FLAGS_1.*NOW' "$work/dynamic" || fail 'does not bind all symbols at load time'
grep -Eq '\(TEXTREL\)|FLAGS\).*TEXTREL' "$work/dynamic" && fail 'has text relocations'
grep -Eq '\((RPATH|RUNPATH)\)' "$work/dynamic" && fail 'has a search path built in'

"$readelf" --dyn-syms -W "$file" | awk '$1 ~ /^[0-9]+:$/ { sub(/@.*/, "", $8); print $7, $4, $5, $8 }' >"$work/symbols"
awk '$1 == "UND" && $4 != "" { print $4 }' "$work/symbols" | sort -u >"$work/undefined"
sed 's/#.*//; s/[[:space:]]*$//; /^$/d' "$undefined_list" | sort -u >"$work/allowed"
comm -23 "$work/undefined" "$work/allowed" >"$work/foreign"
[ -s "$work/foreign" ] && fail "has undefined symbols that $undefined_list does not allow: $(tr '\n' ' ' <"$work/foreign")"

if [ -n "$exported_list" ]; then
  awk '$1 != "UND" && $3 != "LOCAL" { print ($2 == "OBJECT" ? "data    " : $2 == "FUNC" ? "function" : $2), $4 }' \
    "$work/symbols" | sort >"$work/exported"
  grep -v '^#' "$exported_list" | sort >"$work/listed"
  diff "$work/listed" "$work/exported" >"$work/difference" ||
    fail "does not export what $exported_list says (<: missing, >: too much):
$(grep '^[<>]' "$work/difference")"
fi

# Every pointer that the loader fills in ends in memory that is read-only afterwards, tables of
# handlers and the global offset table above all. Exempt is what nobody could lock: __dso_handle, a
# pointer of the compiler's start-up code that is read once, the words of the loader's interface to
# debuggers, and with WRITABLE_GOT=1 the offset table of a linker that keeps it outside.
"$readelf" -SW "$file" | sed 's/^ *\[ *\([0-9]*\)\]/\1/' >"$work/sections"
"$readelf" -rW "$file" | awk '$3 ~ /^R_/ && $3 !~ /_NONE$/ { print $1 }' | sort -u >"$work/relocated"
awk -v writable_got="${WRITABLE_GOT:-0}" '
  function number(hex,   i, value) {
    sub(/^0x/, "", hex)
    for (i = 1; i <= length(hex); i++) value = value * 16 + index("0123456789abcdef", substr(hex, i, 1)) - 1
    return value
  }
  FILENAME ~ /segments$/ && $1 == "GNU_RELRO" { relro = number($3); relro_end = relro + number($6) }
  FILENAME ~ /sections$/ && $2 ~ /^\.(got|rld_map|data|sdata)$/ { start[$2] = number($4); size[$2] = number($6) }
  FILENAME ~ /relocated$/ {
    at = number($1)
    if (at >= relro && at < relro_end) { locked++; next }
    for (section in start) if (at >= start[section] && at < start[section] + size[section]) where[section] = where[section] " " $1
  }
  END {
    if (".got" in start && !writable_got && (start[".got"] < relro || start[".got"] + size[".got"] > relro_end))
      print ".got"
    for (section in where) {
      count = split(where[section], list, " ")
      if (section == ".got" || section == ".rld_map") continue
      if (count == 1 && number(list[1]) == start[section]) continue
      print section ":" where[section]
    }
  }' "$work/segments" "$work/sections" "$work/relocated" >"$work/writable"
[ -s "$work/writable" ] && fail "keeps pointers in memory that stays writable: $(tr '\n' ' ' <"$work/writable")"

exit $failed
