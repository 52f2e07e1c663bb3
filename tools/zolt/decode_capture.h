// SPDX-License-Identifier: MIT
#pragma once

#include <cstdio>
#include <functional>
#include <string>

#include "peer/bytes.h"
#include "peer/result.h"

namespace zolt {

// True for the first four bytes of a pcap or pcapng file.
bool begins_a_capture(peer::byte_view first);

// Takes an IPv4 packet of the capture: the frame's number from 1, its time in seconds since 1970, and what
// was captured of the packet, perhaps with something behind it.
using ip_taker = std::function<void(size_t frame, double seconds, peer::byte_view ip)>;

// Reads a capture to its end, and closes the file. A failure in the middle comes after the frames before it.
peer::status read_capture(std::FILE *file, const std::string &name, const ip_taker &take);

}  // namespace zolt
