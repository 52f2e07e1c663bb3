// SPDX-License-Identifier: MIT
// Products of 64-bit words by columns, for machines that multiply them at once.
//
// Column k is the sum of all a[i] * b[j] with i + j = k and of what the column before it did not keep. There is
// no carry to hand from one product to the next, and every word of the result is written once.
#pragma once

#include "bignum/words.h"

namespace libsec {

#ifdef __SIZEOF_INT128__

// A column's sum in three words, which 2^64 products do not fill. A product costs the multiplication, an
// addition and two additions with carry.
class column_sum {
 public:
  [[gnu::always_inline]] void add_product(uint64_t a, uint64_t b) {
    top_ += __builtin_add_overflow(low_, uint128{a} * b, &low_) ? 1 : 0;
  }

  // The column's word; the rest belongs to the next column.
  [[gnu::always_inline]] uint64_t next_word() {
    const auto word = static_cast<uint64_t>(low_);
    low_ = low_ >> 64 | uint128{top_} << 64;
    top_ = 0;
    return word;
  }

 private:
  uint128 low_ = 0;
  uint64_t top_ = 0;
};

// x[0 .. 2 * (p + q) - 1] = a[0 .. 2 * p - 1] * b[0 .. 2 * q - 1], lengths in limbs; p, q >= 1. x is
// neither a nor b.
inline void multiply_columns(num_limb *x, const num_limb *a, int32_t p, const num_limb *b, int32_t q) {
  column_sum sum;
  for (int32_t k = 0; k < p + q - 1; ++k) {
    const int32_t first = k < q ? 0 : k - q + 1;
    const int32_t last = k < p ? k : p - 1;
    const num_limb *y = b + 2 * (k - first);
#pragma GCC unroll 4
    for (int32_t i = first; i <= last; ++i, y -= 2)
      sum.add_product(load_word<uint64_t>(a + 2 * i), load_word<uint64_t>(y));
    store_word(x + 2 * k, sum.next_word());
  }
  store_word(x + 2 * (p + q - 1), sum.next_word());
}

// The same for p = q = `words`, unrolled whole: nothing is counted, and no end of a column is mispredicted.
template <int32_t words>
[[gnu::noinline]] void multiply_columns_unrolled(num_limb *x, const num_limb *a, const num_limb *b) {
  column_sum sum;
#pragma GCC unroll 64
  for (int32_t k = 0; k < 2 * words - 1; ++k) {
#pragma GCC unroll 64
    for (int32_t i = k < words ? 0 : k - words + 1; i <= k && i < words; ++i)
      sum.add_product(load_word<uint64_t>(a + 2 * i), load_word<uint64_t>(b + 2 * (k - i)));
    store_word(x + 2 * k, sum.next_word());
  }
  store_word(x + 2 * (2 * words - 1), sum.next_word());
}

#endif

}  // namespace libsec
