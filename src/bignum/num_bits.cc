// SPDX-License-Identifier: MIT
// Bit positions and shifts.
#include <libsec/num.h>

#include <bit>
#include <limits>

#include "bignum/limbs.h"
#include "bignum/scoped_num.h"

namespace libsec {

int64_t bit_length(const num *X) {
  const int32_t top = top_limb(X);
  if (top < 0) return 0;
  return int64_t{top} * limb_bits + std::bit_width(X->limbs[top]);
}

namespace {

constexpr int32_t saturated(int64_t value) {
  constexpr int64_t most = std::numeric_limits<int32_t>::max();
  return static_cast<int32_t>(value < most ? value : most);
}

}  // namespace
}  // namespace libsec

using namespace libsec;

int32_t num_lsb(const num *X) {
  for (int32_t i = 0; i < X->limb_count; ++i) {
    if (X->limbs[i] != 0) return saturated(int64_t{i} * limb_bits + std::countr_zero(X->limbs[i]));
  }
  return 0;
}

int32_t num_msb(const num *X) {
  return saturated(bit_length(X));
}

int32_t num_size(const num *X) {
  return saturated((bit_length(X) + 7) / 8);
}

int32_t num_shift_l(num *X, int32_t count) {
  if (count <= 0) return 0;
  const int64_t bits = bit_length(X) + count;
  if (bits > std::numeric_limits<int32_t>::max()) return NUM_ERR_ALLOC_FAILED;
  if (int64_t{limb_bits} * X->limb_count < bits) {
    NUM_TRY(num_grow(X, static_cast<int32_t>((bits + limb_bits - 1) / limb_bits)));
  }
  const int32_t whole = count / limb_bits;
  const int32_t part = count % limb_bits;
  if (whole > 0) {
    for (int32_t i = X->limb_count - 1; i >= whole; --i) X->limbs[i] = X->limbs[i - whole];
    for (int32_t i = whole - 1; i >= 0; --i) X->limbs[i] = 0;
  }
  if (part > 0) {
    num_limb below = 0;
    for (int32_t i = whole; i < X->limb_count; ++i) {
      const num_limb limb = X->limbs[i];
      X->limbs[i] = limb << part | below;
      below = limb >> (limb_bits - part);
    }
  }
  return 0;
}

int32_t num_shift_r(num *X, int32_t count) {
  if (count <= 0) return 0;
  const int32_t whole = count / limb_bits;
  const int32_t part = count % limb_bits;
  if (whole > 0) {
    const int32_t kept = X->limb_count > whole ? X->limb_count - whole : 0;
    for (int32_t i = 0; i < kept; ++i) X->limbs[i] = X->limbs[i + whole];
    for (int32_t i = kept; i < X->limb_count; ++i) X->limbs[i] = 0;
  }
  if (part > 0) {
    num_limb above = 0;
    for (int32_t i = X->limb_count - 1; i >= 0; --i) {
      const num_limb limb = X->limbs[i];
      X->limbs[i] = limb >> part | above;
      above = limb << (limb_bits - part);
    }
  }
  return 0;
}
