// SPDX-License-Identifier: MIT
// Products of 64-bit words by columns, for machines that multiply them at once.
//
// Column k is the sum of all a[i] * b[j] with i + j = k. Its products' low and high words are added up
// apart, each sum in a double word: neither overflows below 2^64 products, there is no carry to
// hand from one product to the next, and every word of the result is written once.
#pragma once

#include "bignum/words.h"

namespace libsec {

#ifdef __SIZEOF_INT128__

// Two limbs as a word. The compiler makes one load of it where the byte order allows.
inline uint64_t load_word(const num_limb *limbs) {
  return limbs[0] | uint64_t{limbs[1]} << limb_bits;
}

inline void store_word(num_limb *limbs, uint64_t value) {
  limbs[0] = static_cast<num_limb>(value);
  limbs[1] = static_cast<num_limb>(value >> limb_bits);
}

// x[0 .. 2 * (p + q) - 1] = a[0 .. 2 * p - 1] * b[0 .. 2 * q - 1], lengths in limbs; p, q >= 1. x is
// neither a nor b.
inline void multiply_columns(num_limb *x, const num_limb *a, int32_t p, const num_limb *b, int32_t q) {
  uint128 carry = 0;
  for (int32_t k = 0; k < p + q - 1; ++k) {
    const int32_t first = k < q ? 0 : k - q + 1;
    const int32_t last = k < p ? k : p - 1;
    uint128 low = static_cast<uint64_t>(carry), high = carry >> 64;
    const num_limb *y = b + 2 * (k - first);
#pragma GCC unroll 4
    for (int32_t i = first; i <= last; ++i, y -= 2) {
      const uint128 product = uint128{load_word(a + 2 * i)} * load_word(y);
      low += static_cast<uint64_t>(product);
      high += static_cast<uint64_t>(product >> 64);
    }
    store_word(x + 2 * k, static_cast<uint64_t>(low));
    carry = high + (low >> 64);
  }
  store_word(x + 2 * (p + q - 1), static_cast<uint64_t>(carry));
}

#endif

}  // namespace libsec
