// SPDX-License-Identifier: MIT
// tests/vectors/session.txt: one whole session, a line for each packet and one for the key.
#pragma once

#include <fstream>
#include <map>
#include <string>

#include "support/packets.h"

namespace libsec::test {

// Lines of "name: digits"; those that start with '#' are comments.
inline std::map<std::string, bytes> recorded_session() {
  std::map<std::string, bytes> lines;
  std::ifstream file(LIBSEC_VECTORS "/session.txt");
  for (std::string line; std::getline(file, line);) {
    const size_t colon = line.find(": ");
    if (line[0] != '#' && colon != std::string::npos) lines[line.substr(0, colon)] = from_hex(line.substr(colon + 2));
  }
  return lines;
}

}  // namespace libsec::test
