// SPDX-License-Identifier: MIT
#pragma once

#include "peer/bytes.h"

namespace peer {

// CRC-16 with the polynomial 0x1021, the initial value 0 and nothing reflected (CRC-16/XMODEM).
// Written for this side alone, bit by bit: an error shared with the device's table would go unseen.
uint16_t crc16(byte_view from);

}  // namespace peer
