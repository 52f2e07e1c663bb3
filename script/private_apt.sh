# SPDX-License-Identifier: MIT
# Sourced where packages are fetched but not installed. The machine's apt configuration is only read, and
# root is not needed.
# shellcheck shell=bash

# private_apt TYPE [OPTION...]: fetches the lists of TYPE, deb or deb-src, into the current folder, from
# the machine's own sources; apt_options is then what an apt-get needs that uses them.
private_apt() {
  local type=$1 list
  shift
  mkdir -p sources state/lists/partial cache/archives/partial
  for list in /etc/apt/sources.list /etc/apt/sources.list.d/*.list /etc/apt/sources.list.d/*.sources; do
    [ -e "$list" ] || continue
    case $list in
    *.sources) sed "s/^Types:.*/Types: $type/" "$list" >"sources/$(basename "$list")" ;;
    *) sed -n "s/^ *deb /$type /p" "$list" >"sources/$(basename "$list").list" ;;
    esac
  done
  apt_options=(-o Dir::Etc::sourcelist=/dev/null -o "Dir::Etc::sourceparts=$PWD/sources"
    -o "Dir::State=$PWD/state" -o "Dir::Cache=$PWD/cache" -o APT::Sandbox::User= "$@" -qq)
  # A source that cannot be reached does not matter as long as the package is found in another.
  apt-get "${apt_options[@]}" update || true
}
