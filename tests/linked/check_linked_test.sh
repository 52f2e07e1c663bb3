#!/bin/sh
# SPDX-License-Identifier: MIT
# Plants one fault after the other into a small library and expects check_linked.sh to name it.
#
#     check_linked_test.sh CHECK-LINKED READELF CC WORK-FOLDER
set -eu
check_linked=$1 readelf=$2 cc=$3 work=$4
rm -rf "$work"
mkdir -p "$work"
cd "$work"
failures=0
# Linked with the linker's own script here, which on MIPS leaves the offset table writable.
WRITABLE_GOT=1
export WRITABLE_GOT

cat >good.c <<'C'
#include <stdio.h>
#include <string.h>
int answer(char *text);
static int hidden(const char *text) { return puts(text); }
/* A table that the loader has to fill in, and nobody writes to. */
static int (*const handlers[])(const char *) = {hidden, puts};
int answer(char *text) {
  char copy[64];
  strcpy(copy, text);
  return handlers[copy[0] & 1](copy);
}
C
sed 's/\*const handlers/*volatile handlers/' good.c >writable_table.c
{ cat good.c; echo 'int second(void); int second(void) { return 2; }'; } >extra_export.c
{ cat good.c; echo 'int rand(void); int (*const random_word)(void) __attribute__((visibility("hidden"))) = rand;
    __attribute__((constructor)) static void draw(void) { random_word(); }'; } >foreign_symbol.c
{ cat good.c; echo 'double cos(double); __attribute__((constructor)) static void draw(void) {
    volatile double x = 1; x = cos(x); }'; } >second_library.c
{ cat good.c; echo '__asm__(".pushsection .rodata; .balign 8; .dc.a answer; .popsection");'; } >text_relocation.c

echo 'function answer' >exports.txt
printf '%s\n' puts strcpy __strcpy_chk __stack_chk_fail __stack_chk_guard __cxa_finalize __gmon_start__ cos \
  _ITM_deregisterTMCloneTable _ITM_registerTMCloneTable '# a comment' >undefined.txt
hardened='-Wl,-z,relro,-z,now,-z,noexecstack,--build-id=none'

# case_of NAME EXPECTED-WORDS SOURCE FLAGS...
case_of() {
  name=$1 expected=$2 source=$3
  shift 3
  # shellcheck disable=SC2086 # a list of flags
  $cc -O1 -shared -fPIC $hardened "$source" "$@" -o "$name.so"
  if sh "$check_linked" "$readelf" "$name.so" undefined.txt exports.txt >"$name.out" 2>&1; then
    result=accepted
  else
    result=$(cat "$name.out")
  fi
  case $result in
  *"$expected"*) echo "ok: $name: $expected" ;;
  *)
    echo "FAILED: $name: expected '$expected', got '$result'"
    failures=$((failures + 1))
    ;;
  esac
}

case_of good accepted good.c
case_of executable_stack 'stack that is not executable' good.c -Wl,-z,execstack
case_of writable_code 'writable and executable' good.c -Wl,-N -nostdlib
case_of text_relocation 'text relocations' text_relocation.c -Wl,-z,notext
case_of no_relro 'RELRO' good.c -Wl,-z,norelro
case_of lazy 'bind all symbols' good.c -Wl,-z,lazy
case_of search_path 'search path' good.c -Wl,-rpath,/somewhere
case_of extra_export 'too much' extra_export.c
case_of missing_export '< function answer' good.c -fvisibility=hidden
case_of foreign_symbol 'undefined symbols that undefined.txt does not allow: rand' foreign_symbol.c
case_of second_library 'not the C library alone' second_library.c -lm
case_of writable_table 'stays writable' writable_table.c
case $("$cc" -dumpmachine) in
mips*)
  WRITABLE_GOT=0
  case_of writable_offset_table 'stays writable: .got' good.c
  ;;
esac

exit $((failures != 0))
