# SPDX-License-Identifier: MIT
# Sourced by bench/count_peers.sh: the libraries that libsec is counted beside on MIPS, built from Debian's
# source packages into $top. Half an hour on one processor; what is there already is not built again.
# shellcheck shell=bash disable=SC2154,SC2034
preset=mips-glibc emulator="qemu-mips -L /usr/mips-linux-gnu" gcc=mips-linux-gnu
purposes=(mips mips-peers)

# unpack PACKAGE: the makers' sources, without what Debian changes, into a folder of the package's name.
unpack() {
  rm -rf "${top:?}/$1"
  mkdir -p "$top/$1" "$top/apt"
  (
    cd "$top/apt"
    if ! compgen -G "$1_*.orig.tar.?z" >/dev/null; then
      private_apt deb-src
      apt-get "${apt_options[@]}" --download-only source "$1" || true # Debian's own part need not be there
    fi
    tar -C "$top/$1" --strip-components=1 -xf "$1"_*.orig.tar.?z
  )
  cd "$top/$1"
}

# keep PACKAGE NAME: notes the version of the package under the name that the rows use.
keep() {
  local version
  version=$(basename "$top/apt/$1"_*.orig.tar.?z)
  version=${version#*_}
  version=${version%.orig.*}
  echo "${version%%+*}" >"$top/versions/$2"
}

build_gmp() {
  unpack gmp
  mkdir doc && echo 'all:' >doc/Makefile.in # Debian leaves it out of the sources
  ./configure --host=mips-linux-gnu --disable-shared CC="$top/gcc"
  make
  cp gmp.h "$top/include/"
  cp .libs/libgmp.a "$top/lib/"
  keep gmp GMP
}

# Without what has no part in the rows: it would take four times as long.
build_openssl() {
  local without=(shared tests aria async bf blake2 camellia cast chacha cmac cmp cms ct des dgram dh dsa ec engine gost
    idea legacy md4 mdc2 ocb ocsp poly1305 psk rc2 rc4 rmd160 scrypt seed siphash siv sm2 sm3 sm4 sock srp srtp ts
    ui-console whirlpool)
  unpack openssl
  # Where no processor is named here, it names an older one to the compiler.
  ./Configure linux-mips32 "${without[@]/#/no-}" -march=mips32r2 CC="$top/gcc" AR="$gcc-ar" RANLIB="$gcc-ranlib"
  make build_generated
  make libcrypto.a
  cp -r include/openssl "$top/include/"
  cp libcrypto.a "$top/lib/"
  keep openssl OpenSSL
}

# Its numbers are libtommath's; of itself only what the rows use is built.
build_tomcrypt() {
  local objects=(src/hashes/sha2/sha256.o src/ciphers/xtea.o src/misc/burn_stack.o src/misc/zeromem.o
    src/misc/crypt/crypt_argchk.o src/misc/compare_testvector.o)
  unpack libtommath
  make CC="$top/gcc" AR="$gcc-ar" RANLIB="$gcc-ranlib" libtommath.a
  cp tommath.h "$top/include/"
  cp libtommath.a "$top/lib/"
  keep libtommath libtommath
  unpack libtomcrypt
  make CC="$top/gcc" "${objects[@]}"
  "$gcc-ar" rcs "$top/lib/libtomcrypt.a" "${objects[@]}"
  cp src/headers/tomcrypt*.h "$top/include/"
  keep libtomcrypt libtomcrypt
}

build_tomsfastmath() {
  unpack tomsfastmath
  CFLAGS=-DTFM_MIPS make CC="$top/gcc" AR="$gcc-ar" RANLIB="$gcc-ranlib" libtfm.a
  cp src/headers/tfm.h "$top/include/"
  cp libtfm.a "$top/lib/"
  keep tomsfastmath TomsFastMath
}

# By a header of settings rather than by its configuration script; its assembly for MIPS is on.
build_wolfssl() {
  unpack wolfssl
  printf '#define %s\n' BIG_ENDIAN_ORDER HAVE_ECC NO_DH NO_FILESYSTEM NO_MD5 NO_SHA SINGLE_THREADED 'SP_INT_BITS 4096' \
    WC_NO_HARDEN WC_NO_RNG WOLFCRYPT_ONLY WOLFSSL_KEY_GEN WOLFSSL_PUBLIC_MP WOLFSSL_SP_MATH_ALL WOLFSSL_SP_MIPS \
    >wolfssl/options.h
  (cd wolfcrypt/src && "$top/gcc" -O2 -fomit-frame-pointer -I../.. -include wolfssl/options.h -c \
    error.c hash.c memory.c sha256.c sp_int.c wolfmath.c)
  "$gcc-ar" rcs "$top/lib/libwolfssl.a" wolfcrypt/src/*.o
  cp -r wolfssl "$top/include/"
  keep wolfssl wolfSSL
}

# Its code for this processor is C++; only what the rows use is built.
build_botan() {
  unpack botan
  python3 configure.py --cpu=mips32 --os=linux --cc=gcc --cc-bin="$top/g++" --ar-command="$gcc-ar" --minimized-build \
    --enable-modules=bigint,numbertheory,sha2_32,xtea --build-targets=static --without-documentation
  make libbotan-2.a
  cp -rL build/include/botan "$top/include/" # links
  cp libbotan-2.a "$top/lib/"
  keep botan Botan
}

build_boost() {
  ln -sfn /usr/include/boost "$top/include/boost"
  dpkg-query -W -f '${Version}\n' libboost-dev >"$top/versions/Boost.CRC"
}

# peer NAME [LIBRARY...]: builds it, unless it is there; one that cannot be built is left out.
peer() {
  local name=$1
  shift
  if [ ! -e "$top/done/$name" ]; then
    say "building $name"
    set +e # in a condition, what follows a failure would be run
    (
      set -e
      "build_$name"
      touch "$top/done/$name"
    ) >"$top/$name.log" 2>&1
    set -e
  fi
  if [ ! -e "$top/done/$name" ]; then
    say "$name is left out: it could not be built, see $top/$name.log"
    return
  fi
  peers+=("$name")
  libraries+=("${@/#/-l}")
}

get_peers() {
  local tool
  mkdir -p "$top/include" "$top/lib" "$top/done"
  # For the library's processor, which is the compiler's default too, and with the compiler's cache, where there is one.
  for tool in gcc g++; do
    printf '#!/bin/sh\nexec %s %s-%s -march=mips32r2 "$@"\n' "$(command -v ccache || true)" "$gcc" "$tool" >"$top/$tool"
    chmod +x "$top/$tool"
  done
  peer gmp gmp
  peer openssl crypto atomic
  peer tomcrypt tomcrypt tommath
  peer tomsfastmath tfm
  peer wolfssl wolfssl
  peer botan botan-2
  peer boost
  includes=("$top/include") folders=("$top/lib")
}
