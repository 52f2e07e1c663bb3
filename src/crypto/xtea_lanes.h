// SPDX-License-Identifier: MIT
// Words that go through XTEA side by side.
#pragma once

#include <cstdint>

namespace libsec {

// Two words, each of which may itself stand for several.
template <typename half>
struct word_pair {
  half first, second;

  friend constexpr word_pair operator<<(word_pair x, int bits) { return {x.first << bits, x.second << bits}; }
  friend constexpr word_pair operator>>(word_pair x, int bits) { return {x.first >> bits, x.second >> bits}; }
  friend constexpr word_pair operator^(word_pair x, word_pair y) { return {x.first ^ y.first, x.second ^ y.second}; }
  friend constexpr word_pair operator^(word_pair x, half y) { return {x.first ^ y, x.second ^ y}; }
  friend constexpr word_pair operator+(word_pair x, word_pair y) { return {x.first + y.first, x.second + y.second}; }
  friend constexpr word_pair operator+(word_pair x, uint32_t y) { return {x.first + y, x.second + y}; }
  friend constexpr word_pair operator-(word_pair x, word_pair y) { return {x.first - y.first, x.second - y.second}; }
  constexpr void operator+=(word_pair y) { *this = *this + y; }
  constexpr void operator-=(word_pair y) { *this = *this - y; }
};

#if defined(__SSE2__) || defined(__ARM_NEON)
#define LIBSEC_VECTOR_REGISTERS 1
typedef uint32_t word_quad __attribute__((vector_size(16)));
// Eight words in two vector registers. A vector of eight would be the same to the machine, but passing it
// to a function would depend on extensions that were not asked for.
using word_octet = word_pair<word_quad>;
#else
#define LIBSEC_VECTOR_REGISTERS 0
#endif

}  // namespace libsec
