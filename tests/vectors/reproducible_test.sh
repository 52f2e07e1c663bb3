#!/bin/sh
# SPDX-License-Identifier: MIT
# reproducible_test.sh PYTHON: make_wake_vectors.py writes wake.json as it is here, byte for byte.
set -eu
here=$(dirname "$(readlink -f "$0")")
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
"$1" -B "$here/make_wake_vectors.py" "$folder"
cmp "$folder/wake.json" "$here/wake.json"
