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
  std::memcpy(A->limbs, d, (static_cast<size_t>(n) + 1) * sizeof(num_limb));
  // Deliberate: the subtraction whose result is thrown away makes both ways take the same time.
  if (num_cmp_abs(A, N) >= 0) {
    num_limbs_sub(n, N->limbs, A->limbs);
  } else {
    num_limbs_sub(n, A->limbs, T->limbs);
  }
}

void num_mont_reduce(num *A, const num *N, num_limb constant, num *T) {
  const one_limb one(1, 1);
  num_mont_mul(A, one.get(), N, constant, T);
}

}  // namespace libsec
