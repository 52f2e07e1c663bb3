// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>
#include <vector>

#include "peer/transport.h"

namespace zolt {

// A device of a fleet, and how it is spoken to.
struct target {
  peer::endpoint device;
  double timeout = 3;  // of each step, in seconds
  size_t line = 0;     // where its list names it

  // HOST:PORT
  std::string name() const;
};

// The most devices that a list may name, and the most bytes that it may have.
inline constexpr size_t most_targets = 65536;
inline constexpr size_t most_list_bytes = size_t{16} << 20;

// Reads a list of devices: one a line, HOST[:PORT] and, behind blanks, words that say how: tcp, udp,
// timeout=SECONDS. What starts with # is a comment. `otherwise` is what a line leaves open, and `source` is
// the list's name. A list with a fault is refused as a whole, and all its faults are told, so that nothing is
// sent to some devices only. A device that is named twice is such a fault: it would be asked twice.
peer::result<std::vector<target>> parse_targets(std::string_view text, const std::string &source,
                                                const target &otherwise);

// The same from a file, or from standard input when its name is "-".
peer::result<std::vector<target>> read_targets(const std::string &path, const target &otherwise);

}  // namespace zolt
