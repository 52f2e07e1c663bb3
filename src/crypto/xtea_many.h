// SPDX-License-Identifier: MIT
// Many blocks under a key of 32 words, whose eight slices take turns: blocks 0 to 7 are under eight different
// ones, and block i + 8 is under the same as block i. Machines with vector registers take sixteen blocks side
// by side, others two that are eight apart.
#pragma once

#include <cstdint>

#include "base/bytes.h"
#include "crypto/xtea_cycles.h"
#include "crypto/xtea_lanes.h"

namespace libsec {

inline constexpr uint32_t xtea_slices = XTEA_MAX_KEY_WORDS / slice_words;
inline constexpr size_t xtea_block_bytes = XTEA_BLOCK_BYTES;
inline constexpr size_t xtea_apart = xtea_slices * xtea_block_bytes;

#if LIBSEC_VECTOR_REGISTERS

inline constexpr uint32_t xtea_many = xtea_slices;  // with fewer blocks there is nothing to gain
using two_octets = word_pair<word_octet>;

// Eight big-endian words, each `step` bytes behind the one before.
inline word_octet gather(const uint8_t *bytes, size_t step) {
  word_octet words;
  for (size_t i = 0; i < 4; ++i) {
    words.first[i] = load_be32(bytes + step * i);
    words.second[i] = load_be32(bytes + step * (i + 4));
  }
  return words;
}

inline void scatter(uint8_t *bytes, size_t step, word_octet words) {
  for (size_t i = 0; i < 4; ++i) {
    store_be32(bytes + step * i, words.first[i]);
    store_be32(bytes + step * (i + 4), words.second[i]);
  }
}

// Runs blocks while there are eight, each under its slice, and sixteen at a time while there are: one octet
// alone would wait for itself in every step. Returns how many it ran.
template <bool enciphering>
[[gnu::noinline]] uint32_t xtea_run_many(const uint8_t *input, uint8_t *output, uint32_t blocks, const uint8_t *key) {
  wiped<word_octet[4]> words;
  for (size_t i = 0; i < 4; ++i) words.value[i] = gather(key + 4 * i, sizeof(slice));
  uint32_t done = 0;
  for (; blocks - done >= 2 * xtea_slices; done += 2 * xtea_slices) {
    const uint8_t *from = input + xtea_block_bytes * done;
    uint8_t *to = output + xtea_block_bytes * done;
    two_octets left{gather(from, xtea_block_bytes), gather(from + xtea_apart, xtea_block_bytes)};
    two_octets right{gather(from + 4, xtea_block_bytes), gather(from + xtea_apart + 4, xtea_block_bytes)};
    xtea_run<enciphering>(left, right, words.value);
    scatter(to, xtea_block_bytes, left.first);
    scatter(to + 4, xtea_block_bytes, right.first);
    scatter(to + xtea_apart, xtea_block_bytes, left.second);
    scatter(to + xtea_apart + 4, xtea_block_bytes, right.second);
  }
  if (blocks - done >= xtea_slices) {
    const size_t position = xtea_block_bytes * done;
    word_octet left = gather(input + position, xtea_block_bytes);
    word_octet right = gather(input + position + 4, xtea_block_bytes);
    xtea_run<enciphering>(left, right, words.value);
    scatter(output + position, xtea_block_bytes, left);
    scatter(output + position + 4, xtea_block_bytes, right);
    done += xtea_slices;
  }
  return done;
}

#else

inline constexpr uint32_t xtea_many = 2 * xtea_slices;

// Runs blocks while there are sixteen, two at a time under one slice. Returns how many it ran.
template <bool enciphering>
[[gnu::noinline]] uint32_t xtea_run_many(const uint8_t *input, uint8_t *output, uint32_t blocks, const uint8_t *key) {
  const uint32_t groups = blocks / (2 * xtea_slices);
  for (uint32_t i = 0; i < xtea_slices; ++i) {
    wiped<slice> words;
    load_slice(words.value, key + sizeof(slice) * i);
    const uint8_t *from = input + xtea_block_bytes * i;
    uint8_t *to = output + xtea_block_bytes * i;
    for (uint32_t n = 0; n < groups; ++n, from += 2 * xtea_apart, to += 2 * xtea_apart) {
      word_pair<uint32_t> left{load_be32(from), load_be32(from + xtea_apart)};
      word_pair<uint32_t> right{load_be32(from + 4), load_be32(from + xtea_apart + 4)};
      xtea_run<enciphering>(left, right, words.value);
      store_be32(to, left.first);
      store_be32(to + 4, right.first);
      store_be32(to + xtea_apart, left.second);
      store_be32(to + xtea_apart + 4, right.second);
    }
  }
  return 2 * xtea_slices * groups;
}

#endif

}  // namespace libsec
