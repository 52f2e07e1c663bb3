// SPDX-License-Identifier: MIT
#pragma once

#include "peer/gathering.h"
#include "peer/reading.h"

namespace zolt {

// Shows a packet as --json, --quiet and --verbose have it: fields with their offsets, and what is wrong. One
// of a capture comes with its sighting, is known by one line, and shows its fields when told to be verbose.
// `since` is the time that is counted from.
void show_packet(const peer::reading &packet, const peer::sighting *seen, uint16_t port, double since);

}  // namespace zolt
