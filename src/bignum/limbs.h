// SPDX-License-Identifier: MIT
// Arrays of limbs, least significant limb first: what the records are made of.
#pragma once

#include <libsec/num.h>

namespace libsec {

constexpr int32_t limb_bits = 32;

// The index of X's highest non-zero limb; -1 when X is zero or has no limbs.
inline int32_t top_limb(const num *X) {
  int32_t i = X->limb_count - 1;
  while (i >= 0 && X->limbs[i] == 0) --i;
  return i;
}

// The number of significant bits. Wider than num_msb()'s result, so that it cannot overflow.
int64_t bit_length(const num *X);

// Adds s[0..n-1] * b to d[0..n-1] and carries on into d[n], d[n + 1], ... until no carry is left.
// d[n] is always read and written, so d has room for n + 1 limbs at least.
void num_limbs_mul_add(int32_t n, const num_limb *s, num_limb *d, num_limb b);

// Subtracts s[0..n-1] from d[0..n-1] and borrows from d[n], d[n + 1], ... until no borrow is left.
// The caller knows that the result is not negative. s may be d.
void num_limbs_sub(int32_t n, const num_limb *s, num_limb *d);

}  // namespace libsec
