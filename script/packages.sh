# SPDX-License-Identifier: MIT
# The Debian packages that each purpose needs: the one place where they are listed.
# shellcheck shell=bash

# packages_for PURPOSE...: prints the packages, one a line, each once.
packages_for() {
  local purpose
  for purpose in "$@"; do
    case $purpose in
      build) echo g++ cmake make ;;                              # the library and zolt-host
      tools) echo libssl-dev libcli11-dev libfmt-dev libpcap-dev nlohmann-json3-dev openssl ;; # the management station's tools
      netns) echo iproute2 ;;                                    # private network namespaces
      snmp) echo snmp ;;                                         # for snmpd itself see need_snmpd
      test) echo googletest libgmp-dev libssl-dev libtomcrypt-dev nlohmann-json3-dev pkgconf python3 ;; # unit tests and their oracles
      shells) echo bash zsh fish ;;                               # the tests of the completions
      clients) echo python3-pysnmp4 ;;                            # a further client of the tunnel's tests
      wireshark) echo tshark python3 ;;                           # the dissector's tests
      root) echo debootstrap systemd-container ;;                 # script/debian-root
      machine) echo qemu-system-x86 ;;                            # script/debian-kernel
      package) echo debhelper dpkg-dev build-essential libpcap-dev ;;          # script/package
      examples) echo jq xxd ;;                                   # what examples of the manual pages pipe into
      service) echo systemd ;;                                   # systemd-analyze; nothing is started
      asan) echo clang-14 libclang-rt-14-dev llvm-14 ;;          # sanitizers, with readable reports
      mips) echo g++-mips-linux-gnu qemu-user make ca-certificates ;; # big-endian MIPS builds, and their runs
      check) # script/check
        echo clang-14 clang-format-14 clang-tidy-14 shellcheck abigail-tools git python3 cppcheck valgrind libc6-dbg lintian
        ;;
      # what the library is measured beside
      bench)
        echo libgmp-dev libssl-dev libbotan-2-dev libtomcrypt-dev libtommath-dev libcrypto++-dev libwolfssl-dev
        echo libboost-dev libsnmp-dev python3
        ;;
      mips-peers) echo libboost-dev m4 make perl python3 ;;      # what those for MIPS are built with
      aarch64-peers) echo libboost-dev ;;
      native-musl) echo musl-tools ;;
      aarch64) echo g++-aarch64-linux-gnu qemu-user ;;
      i386) echo g++-i686-linux-gnu qemu-user ;;
      *) echo "packages_for: no purpose '$purpose'" >&2; return 1 ;;
    esac
  done | tr ' ' '\n' | sort -u
}
