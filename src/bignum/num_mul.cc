// SPDX-License-Identifier: MIT
// Schoolbook multiplication.
#include <libsec/num.h>

#include <limits>

#include "bignum/limbs.h"
#include "bignum/scoped_num.h"

using namespace libsec;

int32_t num_mul_num(num *X, const num *A, const num *B) {
  const int32_t sign = A->sign * B->sign;
  scoped_num kept_a, kept_b;
  if (X == A) {
    NUM_TRY(num_copy(&kept_a, A));
    A = &kept_a;
  }
  if (X == B) {
    NUM_TRY(num_copy(&kept_b, B));
    B = &kept_b;
  }
  const int32_t i = top_limb(A);
  const int32_t j = top_limb(B);
  if (i > std::numeric_limits<int32_t>::max() - 2 - j) return NUM_ERR_ALLOC_FAILED;
  NUM_TRY(num_grow(X, i + j + 2));
  NUM_TRY(num_lset(X, 0));
  for (int32_t k = j; k >= 0; --k) num_limbs_mul_add(i + 1, A->limbs, X->limbs + k, B->limbs[k]);
  X->sign = sign;
  return 0;
}

int32_t num_mul_int(num *X, const num *A, uint32_t b) {
  const one_limb multiplier(1, b);
  return num_mul_num(X, A, multiplier.get());
}
