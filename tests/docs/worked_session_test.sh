#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# The worked session of docs/protocol.md is the recorded one, which the protocol's unit tests reproduce.
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/../.."

# One line of hex for every block.
documented() { awk '/^```hex$/ { inside = 1; line = ""; next } /^```$/ && inside { print line; inside = 0 } inside { gsub(/ /, ""); line = line $0 }' docs/protocol.md; }
recorded() { sed '/^#/d; s/^[^:]*: //' tests/vectors/session.txt; }

[ "$(recorded | wc -l)" -eq 9 ] || { echo "tests/vectors/session.txt does not hold nine lines" >&2; exit 1; }
diff <(documented) <(recorded)
