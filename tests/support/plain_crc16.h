// SPDX-License-Identifier: MIT
// CRC-16/XMODEM a byte at a time through a table: the oracle for every faster form.
#pragma once

#include <cstddef>
#include <cstdint>

namespace libsec::test {

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

inline uint32_t plain_crc16(const uint8_t *data, size_t length) {
  uint32_t remainder = 0;
  for (size_t i = 0; i < length; ++i) {
    remainder = (remainder << 8 & 0xFFFF) ^ crc16_remainders.of[remainder >> 8 ^ data[i]];
  }
  return remainder;
}

}  // namespace libsec::test
