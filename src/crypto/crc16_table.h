// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace libsec {

// The remainder of every byte, placed in the upper half of the register, after eight steps of the
// polynomial x^16 + x^12 + x^5 + 1.
struct crc16_table {
  uint16_t of[256];

  constexpr crc16_table() : of() {
    for (uint32_t byte = 0; byte < 256; ++byte) {
      uint32_t remainder = byte << 8;
      for (int bit = 0; bit < 8; ++bit) {
        remainder = remainder << 1 ^ ((remainder & 0x8000) != 0 ? 0x1021 : 0);
      }
      of[byte] = static_cast<uint16_t>(remainder);
    }
  }
};

inline constexpr crc16_table crc16_remainders;
static_assert(crc16_remainders.of[0] == 0x0000 && crc16_remainders.of[1] == 0x1021);
static_assert(crc16_remainders.of[7] == 0x70E7);

constexpr uint32_t crc16_step(uint32_t remainder, uint8_t byte) {
  return (remainder << 8 & 0xFFFF) ^ crc16_remainders.of[remainder >> 8 ^ byte];
}

}  // namespace libsec
