// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

#include "peer/bytes.h"
#include "peer/result.h"

namespace peer {

// The packets in a text of hexadecimal digits, as people copy them from elsewhere: plain, with blanks, colons
// or commas between the bytes, with 0x or \x before each, or as the dumps of xxd, hexdump -C, od -A x -t x1,
// Wireshark and zolt -vv, with offsets in front and letters behind. Without offsets the text is one packet;
// with them, each offset 0 begins another one. A failure has the code `usage`.
result<std::vector<bytes>> read_hex_dump(std::string_view text);

}  // namespace peer
