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

}  // namespace libsec
