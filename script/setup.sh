# SPDX-License-Identifier: MIT
# Sourced by the front doors: installs what is missing, and nothing when nothing is.
# shellcheck shell=bash

SOURCE=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# shellcheck source=script/packages.sh
. "$SOURCE/script/packages.sh"
# An ordinary user's PATH may lack the folders of ip and snmpd.
PATH=$PATH:/usr/sbin:/sbin

say() { printf '[%s] %s\n' "$(date +%T)" "$*"; }

die() {
  printf '%s: %s\n' "${0##*/}" "$*" >&2
  exit 1
}

missing_packages() {
  local package
  for package in $(packages_for "$@"); do
    [ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null)" = installed ] || echo "$package"
  done
}

# Lists that were never fetched, or are older than the archive, make an installation fail.
apt_update() {
  say "apt-get update"
  apt-get update -qq </dev/null
}

# need PURPOSE...: makes sure that the purposes' packages are installed.
need() {
  local missing
  command -v dpkg-query >/dev/null || {
    say "this is no Debian system: make sure that you have the like of: $(packages_for "$@" | tr '\n' ' ')"
    return 0
  }
  mapfile -t missing < <(missing_packages "$@")
  [ ${#missing[@]} -gt 0 ] || return 0
  if [ "$(id -u)" -ne 0 ]; then
    die "packages are missing; as root, run:
  apt-get update && apt-get install -y --no-install-recommends ${missing[*]}"
  fi
  compgen -G '/var/lib/apt/lists/*_Packages*' >/dev/null || apt_update
  say "apt-get install ${missing[*]}"
  apt_install "${missing[@]}" || { apt_update && apt_install "${missing[@]}"; } || die "apt-get could not install: ${missing[*]}"
}

apt_install() {
  DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends -o Dpkg::Use-Pty=0 "$@" \
    </dev/null >/dev/null
}

# unpack FOLDER PACKAGE...: fetches packages into a folder of build/packages, without installing them.
unpack() {
  local folder=$SOURCE/build/packages/$1 package
  shift
  say "apt-get download $* (unpacked into build/packages; nothing is installed)"
  rm -rf "$folder"
  mkdir -p "$folder"
  (cd "$folder" && apt-get download -qq -o APT::Sandbox::User= "$@" </dev/null &&
    for package in *.deb; do dpkg-deb -x "$package" . && rm "$package" || exit 1; done)
}

# need_snmpd: sets $snmpd to an snmpd that can be run. Its package would start a service on port 161
# of the machine itself, now and after every start, so it is only unpacked.
need_snmpd() {
  need snmp
  snmpd=$(command -v snmpd || true)
  [ -z "$snmpd" ] || return 0
  snmpd=$SOURCE/build/packages/snmpd/usr/sbin/snmpd
  [ -x "$snmpd" ] || unpack snmpd snmpd || die "snmpd could not be downloaded; try: apt-get update"
}

# cores: how many jobs to run at once.
cores() { nproc 2>/dev/null || echo 1; }
