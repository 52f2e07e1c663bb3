// SPDX-License-Identifier: MIT
// XTEA as its authors published it, and the buffer encryption as it is documented, block by block:
// the oracle for every faster form.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace libsec::test {

inline void plain_encipher(uint32_t v[2], const uint32_t k[4], unsigned cycles) {
  uint32_t sum = 0;
  for (unsigned i = 0; i < cycles; ++i) {
    v[0] += (((v[1] << 4) ^ (v[1] >> 5)) + v[1]) ^ (sum + k[sum & 3]);
    sum += 0x9E3779B9;
    v[1] += (((v[0] << 4) ^ (v[0] >> 5)) + v[0]) ^ (sum + k[(sum >> 11) & 3]);
  }
}

inline void plain_decipher(uint32_t v[2], const uint32_t k[4], unsigned cycles) {
  uint32_t sum = 0x9E3779B9 * cycles;
  for (unsigned i = 0; i < cycles; ++i) {
    v[1] -= (((v[0] << 4) ^ (v[0] >> 5)) + v[0]) ^ (sum + k[(sum >> 11) & 3]);
    sum -= 0x9E3779B9;
    v[0] -= (((v[1] << 4) ^ (v[1] >> 5)) + v[1]) ^ (sum + k[sum & 3]);
  }
}

inline uint32_t plain_word(const uint8_t *bytes) {
  uint32_t word = 0;
  for (int i = 0; i < 4; ++i) word = word << 8 | bytes[i];
  return word;
}

// The four words of block `index` under a key of `count` words; words past the key are zero.
inline std::vector<uint32_t> plain_slice(const std::vector<uint8_t> &key, uint32_t count, uint32_t index) {
  std::vector<uint32_t> slice(4);
  for (uint32_t i = 0; i < 4; ++i) {
    const uint32_t word = 4 * index % count + i;
    if (word < count) slice[i] = plain_word(&key[size_t{4} * word]);
  }
  return slice;
}

// `buffer` holds whole blocks and is transformed in place under the first `count` words of the key.
inline void plain_buffer(std::vector<uint8_t> &buffer, const std::vector<uint8_t> &key, uint32_t count, unsigned cycles,
                         void (*transform)(uint32_t[2], const uint32_t[4], unsigned)) {
  for (uint32_t index = 0; 8 * index < buffer.size(); ++index) {
    uint8_t *bytes = &buffer[size_t{8} * index];
    uint32_t block[2] = {plain_word(bytes), plain_word(bytes + 4)};
    transform(block, plain_slice(key, count, index).data(), cycles);
    for (int i = 0; i < 8; ++i) bytes[i] = static_cast<uint8_t>(block[i / 4] >> (24 - 8 * (i % 4)));
  }
}

}  // namespace libsec::test
