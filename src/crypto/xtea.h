// SPDX-License-Identifier: MIT
#pragma once

#include <libsec/crypto.h>

#include <cstdint>

#include "base/bytes.h"

namespace libsec {

inline constexpr uint32_t xtea_delta = 0x9E3779B9;

// No more cycles than the tables hold.
constexpr uint32_t xtea_bounded(uint32_t rounds) {
  constexpr uint32_t most = XTEA_MAX_ROUNDS;
  return rounds < most ? rounds : most;
}

// The cycles that a caller's `rounds` stands for: its low byte, bounded by the tables.
constexpr uint32_t xtea_cycles(uint32_t rounds) {
  return xtea_bounded(rounds & 0xFF);
}

template <typename word>
[[gnu::always_inline]] constexpr word xtea_mix(word half) {
  return (half << 4 ^ half >> 5) + half;
}

inline constexpr uint32_t slice_words = 4;

// The four key words of one block.
using slice = uint32_t[slice_words];

// Word by word, so that the compiler sees four words and not an array, and keeps them in registers.
[[gnu::always_inline]] inline void load_slice(slice &words, const uint8_t *bytes) {
  words[0] = load_be32(bytes);
  words[1] = load_be32(bytes + 4);
  words[2] = load_be32(bytes + 8);
  words[3] = load_be32(bytes + 12);
}

// Leaves the schedule of a slice, given word by word, for 32 cycles in the exported tables.
void leave_full_tables(uint32_t key_0, uint32_t key_1, uint32_t key_2, uint32_t key_3);

// Keeps a running sum in a register. Without it the compiler makes each of the 32 sums anew, two or three
// instructions instead of one where immediate operands are short.
[[gnu::always_inline]] inline void keep_in_register(uint32_t &value) {
  asm volatile("" : "+r"(value));
}

// Whether the tables were last written for 32 cycles.
extern bool full_tables;

// The key words that the halves of cycle i add, for sum = i * delta.
constexpr size_t xtea_first_index(uint32_t i) {
  return i * xtea_delta & 3;
}
constexpr size_t xtea_second_index(uint32_t i) {
  return (i + 1) * xtea_delta >> 11 & 3;
}

// Whether the tables hold the schedule of `key` for 32 cycles, as far as one word of each table tells. Those
// four words depend on the four words of the key, so the answer is wrong only if the host wrote into the
// tables and spared them. They were chosen among those with the smallest sums.
inline bool tables_hold(const slice &key) {
  static_assert(xtea_first_index(0) == 0 && xtea_second_index(1) == 2);
  static_assert(xtea_second_index(0) == 3 && xtea_first_index(1) == 1);
  return full_tables && key_encode_phase1[0] == key[0] && key_encode_phase2[1] == 2 * xtea_delta + key[2] &&
         key_decode_phase1[31] == xtea_delta + key[3] && key_decode_phase2[30] == xtea_delta + key[1];
}

}  // namespace libsec
