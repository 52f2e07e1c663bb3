// SPDX-License-Identifier: MIT
// All 32 cycles of XTEA in a row, with the key schedule made on the way: which word of the key a half
// of a cycle adds is known when this is compiled, so the schedule costs an addition, and no table.
//
// The words may be single ones, or several that go through the same steps side by side (xtea_lanes.h).
#pragma once

#include <cstdint>
#include <type_traits>
#include <utility>

#include "crypto/xtea.h"

namespace libsec {

inline constexpr uint32_t xtea_full_cycles = 32;

template <typename word, typename key_word, uint32_t... i>
[[gnu::always_inline]] inline void xtea_encipher(word &left, word &right, const key_word (&key)[4],
                                                 std::integer_sequence<uint32_t, i...>) {
  constexpr bool scalar = std::is_same_v<key_word, uint32_t>;  // vectors take the sums as constants
  uint32_t sum = 0, delta = xtea_delta;
  if constexpr (scalar) keep_in_register(delta);
  const auto cycle = [&](size_t first, size_t second) __attribute__((always_inline)) {
    left += xtea_mix(right) ^ (key[first] + sum);
    sum += delta;
    if constexpr (scalar) keep_in_register(sum);
    right += xtea_mix(left) ^ (key[second] + sum);
  };
  (cycle(xtea_first_index(i), xtea_second_index(i)), ...);
}

template <typename word, typename key_word, uint32_t... i>
[[gnu::always_inline]] inline void xtea_decipher(word &left, word &right, const key_word (&key)[4],
                                                 std::integer_sequence<uint32_t, i...>) {
  constexpr bool scalar = std::is_same_v<key_word, uint32_t>;
  uint32_t sum = xtea_delta * xtea_full_cycles, delta = xtea_delta;
  if constexpr (scalar) keep_in_register(delta);
  const auto cycle = [&](size_t first, size_t second) __attribute__((always_inline)) {
    right -= xtea_mix(left) ^ (key[second] + sum);
    sum -= delta;
    if constexpr (scalar) keep_in_register(sum);
    left -= xtea_mix(right) ^ (key[first] + sum);
  };
  (cycle(xtea_first_index(xtea_full_cycles - 1 - i), xtea_second_index(xtea_full_cycles - 1 - i)), ...);
}

// Enciphers or deciphers left and right in place.
template <bool enciphering, typename word, typename key_word>
[[gnu::always_inline]] inline void xtea_run(word &left, word &right, const key_word (&key)[4]) {
  constexpr std::make_integer_sequence<uint32_t, xtea_full_cycles> all;
  if constexpr (enciphering) {
    xtea_encipher(left, right, key, all);
  } else {
    xtea_decipher(left, right, key, all);
  }
}

}  // namespace libsec
