#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# The far side of snmpd's pass_persist: 1,200 integers below the object that snmpd.conf names.
base=.1.3.6.1.4.1.8072.9999.1
rows=1200

answer() { # ROW
  if [[ $1 =~ ^[0-9]+$ ]] && [ "$1" -ge 1 ] && [ "$1" -le $rows ]; then
    printf '%s.%d\ninteger\n%d\n' "$base" "$1" $(($1 * 7))
  else
    echo NONE
  fi
}

while read -r command; do
  case $command in
    PING) echo PONG ;;
    get)
      read -r object
      answer "${object#"$base".}"
      ;;
    getnext)
      read -r object
      row=${object#"$base"}
      row=${row#.}
      answer $((${row%%.*} + 1))
      ;;
    set)
      read -r _ && read -r _
      echo not-writable
      ;;
    *) exit 0 ;;
  esac
done
