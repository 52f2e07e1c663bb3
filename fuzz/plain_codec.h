// SPDX-License-Identifier: MIT
// The cipher of buffers and the enciphered block once more, without an allocation: what the targets compare with that
// are to run a hundred million times.
#pragma once

#include <cstring>

#include "fuzz/target.h"
#include "support/plain_crc16.h"
#include "support/plain_xtea.h"

namespace fuzz {

using transform = void (*)(uint32_t[2], const uint32_t[4], unsigned);

inline void put_word(uint8_t *to, uint32_t word) {
  for (int i = 0; i < 4; ++i) to[i] = static_cast<uint8_t>(word >> (24 - 8 * i));
}

// Transforms whole blocks in place: block i is under the four words from word 4 i mod `words` of the key on;
// words behind the key are zero.
inline void plain_blocks(uint8_t *at, size_t blocks, const uint8_t *key, uint32_t words, unsigned cycles,
                         transform apply) {
  for (size_t i = 0; i < blocks; ++i, at += 8) {
    uint32_t slice[4];
    for (uint32_t k = 0; k < 4; ++k) {
      const uint32_t word = static_cast<uint32_t>(4 * i) % words + k;
      slice[k] = word < words ? libsec::test::plain_word(key + size_t{4} * word) : 0;
    }
    uint32_t block[2] = {libsec::test::plain_word(at), libsec::test::plain_word(at + 4)};
    apply(block, slice, cycles);
    put_word(at, block[0]);
    put_word(at + 4, block[1]);
  }
}

// The bytes that a block with so much content takes: four in front, and one to eight zeros behind.
constexpr size_t block_bytes(size_t content) {
  return (content + 4) / 8 * 8 + 8;
}

// Writes the enciphered block that carries the content; `claimed` is what its length field says, `flaw` is added to
// its check value.
inline void plain_seal(uint8_t *block, const uint8_t *content, size_t length, uint32_t claimed, uint32_t flaw,
                       const uint8_t *key) {
  const size_t total = block_bytes(length);
  std::memset(block, 0, total);
  std::memcpy(block + 4, content, length);
  const uint32_t check = libsec::test::plain_crc16(block + 4, total - 4) ^ flaw;
  put_word(block, check << 16 | claimed);
  plain_blocks(block, total / 8, key, 32, 32, libsec::test::plain_encipher);
}

}  // namespace fuzz
