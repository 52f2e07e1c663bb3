# SPDX-License-Identifier: MIT
# Sourced by bench/count_peers.sh: the libraries that libsec is counted beside on aarch64, from Debian's packages
# for arm64, unpacked into $top and not installed.
# shellcheck shell=bash disable=SC2154,SC2034
preset=aarch64 emulator="qemu-aarch64 -cpu max -L /usr/aarch64-linux-gnu" gcc=aarch64-linux-gnu
purposes=(aarch64 aarch64-peers)

# Debian's package, the name that the rows use, and the library to link.
packages='libgmp-dev GMP gmp
libssl-dev OpenSSL crypto
libtomcrypt-dev libtomcrypt tomcrypt
libtommath-dev libtommath tommath
libbotan-2-dev Botan botan-2
libcrypto++-dev Crypto++ crypto++
libwolfssl-dev wolfSSL wolfssl'

get_peers() {
  local package name library version folder=$top/root/usr
  if [ ! -e "$top/fetched" ]; then
    say "fetching the packages"
    mkdir -p "$top/apt"
    (
      cd "$top/apt"
      private_apt deb -o APT::Architecture=arm64 -o APT::Architectures=arm64
      # shellcheck disable=SC2046
      apt-get "${apt_options[@]}" download $(cut -d ' ' -f 1 <<<"$packages")
      for package in *_arm64.deb; do dpkg-deb -x "$package" "$top/root"; done
    ) || die "the packages for arm64 could not be had"
    touch "$top/fetched"
  fi
  while read -r package name library; do
    version=$(basename "$top/apt/${package}"_*_arm64.deb _arm64.deb)
    version=${version#*_}
    version=${version#*%3a}
    echo "${version%%[-+]*}" >"$top/versions/$name"
    libraries+=("-l:lib$library.a")
  done <<<"$packages"
  ln -sfn /usr/include/boost "$top/boost"
  dpkg-query -W -f '${Version}\n' libboost-dev >"$top/versions/Boost.CRC"
  peers=(gmp openssl tomcrypt botan cryptopp wolfssl boost)
  includes=("$folder/include" "$folder/include/aarch64-linux-gnu" "$folder/include/botan-2" "$top")
  folders=("$folder/lib/aarch64-linux-gnu")
}
