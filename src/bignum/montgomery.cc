// SPDX-License-Identifier: MIT
#include "bignum/montgomery.h"

#include <cstring>

#include "bignum/limbs.h"
#include "bignum/scoped_num.h"

namespace libsec {

num_limb num_mont_constant(num_limb lowest) {
  num_limb inverse = lowest + 2 * ((lowest + 2) & 4);  // right modulo 2^4
  // Newton: each step doubles the bits that are right, 8, 16 and 32.
  for (int step = 0; step < 3; ++step) inverse *= 2 - lowest * inverse;
  return num_limb{0} - inverse;
}

void num_mont_mul(num *A, const num *B, const num *N, num_limb constant, num *T) {
  const int32_t n = N->limb_count;
  const int32_t m = B->limb_count < n ? B->limb_count : n;
  const auto t_bytes = static_cast<size_t>(T->limb_count) * sizeof(num_limb);
  std::memset(T->limbs, 0, t_bytes);
  num_limb *d = T->limbs;
  for (int32_t i = 0; i < n; ++i) {
    // T = (T + u0 * B + u1 * N) / 2^32
    const num_limb u0 = A->limbs[i];
    const num_limb u1 = (d[0] + u0 * B->limbs[0]) * constant;
    num_limbs_mul_add(m, B->limbs, d, u0);
    num_limbs_mul_add(n, N->limbs, d, u1);
    *d++ = u0;  // the limb is zero now and never read again
  }
  num_mont_subtract(A->limbs, d, N->limbs, n, T->limbs);
}

// Deliberate: the difference is always made, and a mask chooses. A branch that does a second, useless
// subtraction in its other arm would take as long only where a comparison stops as early as another.
void num_mont_subtract(num_limb *result, const num_limb *t, const num_limb *N, int32_t n, num_limb *difference) {
  num_limb borrow = 0;
  for (int32_t i = 0; i < n; ++i) {
    const uint64_t wrapped = uint64_t{t[i]} - N[i] - borrow;
    difference[i] = static_cast<num_limb>(wrapped);
    borrow = static_cast<num_limb>(wrapped >> 63);
  }
  const uint64_t top = uint64_t{t[n]} - borrow;
  const num_limb keep = num_limb{0} - static_cast<num_limb>(top >> 63);
  for (int32_t i = 0; i < n; ++i) result[i] = (t[i] & keep) | (difference[i] & ~keep);
  result[n] = (t[n] & keep) | (static_cast<num_limb>(top) & ~keep);
}

void num_mont_reduce(num *A, const num *N, num_limb constant, num *T) {
  const one_limb one(1, 1);
  num_mont_mul(A, one.get(), N, constant, T);
}

}  // namespace libsec
