// SPDX-License-Identifier: MIT
#include "peer/crc16.h"

namespace peer {

uint16_t crc16(byte_view from) {
  uint32_t remainder = 0;
  for (uint8_t byte : from) {
    for (int bit = 7; bit >= 0; bit--) {
      uint32_t out = (remainder >> 15 ^ uint32_t{byte} >> bit) & 1;
      remainder = (remainder << 1 & 0xffff) ^ (out != 0 ? 0x1021 : 0);
    }
  }
  return static_cast<uint16_t>(remainder);
}

}  // namespace peer
