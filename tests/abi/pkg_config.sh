#!/bin/sh
# SPDX-License-Identifier: MIT
# Builds a C99 program with nothing but what pkg-config says about the installed library, from a copy
# of the installed tree at another place, and runs it.
#
#     pkg_config.sh PKG-CONFIG LIBDIR SOURCE OUTPUT      (environment: CC, CFLAGS, EMULATOR)
set -eu
pkg_config=$1 libdir=$2 source=$3 output=$4

prefix=$libdir
while [ ! -d "$prefix/include/libsec" ]; do
  prefix=$(dirname "$prefix")
  [ "$prefix" != / ] || { echo "no include/libsec above $libdir"; exit 1; }
done
moved=$output.moved
rm -rf "$moved"
cp -r "$prefix" "$moved"
moved_libdir=$moved${libdir#"$prefix"}

PKG_CONFIG_LIBDIR=$moved_libdir/pkgconfig
export PKG_CONFIG_LIBDIR
flags=$("$pkg_config" --cflags --libs libsec)
echo "pkg-config says: $flags"
# shellcheck disable=SC2086 # lists of options
$CC -std=c99 -Wall -Wextra -Wpedantic -Werror ${CFLAGS:-} "$source" -o "$output" $flags -Wl,-rpath,"$moved_libdir"
# shellcheck disable=SC2086
${EMULATOR:-} "$output"
