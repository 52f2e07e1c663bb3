// SPDX-License-Identifier: MIT
#include "support/fake_cipher.h"

#include <array>

namespace fake {
namespace {

constexpr std::array<uint16_t, 256> crc_table = [] {
  std::array<uint16_t, 256> table{};
  for (unsigned index = 0; index < 256; index++) {
    unsigned value = index << 8;
    for (int step = 0; step < 8; step++) value = (value & 0x8000) != 0 ? value << 1 ^ 0x1021 : value << 1;
    table[index] = static_cast<uint16_t>(value);
  }
  return table;
}();

// What is added in the two halves of each cycle.
struct schedule {
  std::array<uint32_t, 32> first;
  std::array<uint32_t, 32> second;
};

schedule tabulate(const std::array<uint32_t, 4> &words) {
  schedule made{};
  for (uint32_t cycle = 0; cycle < 32; cycle++) {
    uint32_t before = cycle * 0x9e3779b9U;
    uint32_t after = before + 0x9e3779b9U;
    made.first[cycle] = before + words[before & 3];
    made.second[cycle] = after + words[after >> 11 & 3];
  }
  return made;
}

uint32_t load(const uint8_t *from) {
  return uint32_t{from[0]} << 24 | uint32_t{from[1]} << 16 | uint32_t{from[2]} << 8 | from[3];
}

void store(uint8_t *to, uint32_t value) {
  to[0] = static_cast<uint8_t>(value >> 24);
  to[1] = static_cast<uint8_t>(value >> 16);
  to[2] = static_cast<uint8_t>(value >> 8);
  to[3] = static_cast<uint8_t>(value);
}

}  // namespace

uint16_t table_crc(const uint8_t *from, size_t length) {
  unsigned value = 0;
  for (size_t at = 0; at < length; at++) value = (value << 8 & 0xffff) ^ crc_table[value >> 8 ^ from[at]];
  return static_cast<uint16_t>(value);
}

void xtea(const bytes &key, uint8_t *blocks, size_t length, bool decipher) {
  for (size_t at = 0; at + 8 <= length; at += 8) {
    const uint8_t *slice = key.data() + at / 8 % 8 * 16;
    schedule rows = tabulate({load(slice), load(slice + 4), load(slice + 8), load(slice + 12)});
    uint32_t left = load(blocks + at);
    uint32_t right = load(blocks + at + 4);
    for (size_t cycle = 0; cycle < 32; cycle++) {
      if (decipher) {
        right -= ((left << 4 ^ left >> 5) + left) ^ rows.second[31 - cycle];
        left -= ((right << 4 ^ right >> 5) + right) ^ rows.first[31 - cycle];
      } else {
        left += ((right << 4 ^ right >> 5) + right) ^ rows.first[cycle];
        right += ((left << 4 ^ left >> 5) + left) ^ rows.second[cycle];
      }
    }
    store(blocks + at, left);
    store(blocks + at + 4, right);
  }
}

}  // namespace fake
