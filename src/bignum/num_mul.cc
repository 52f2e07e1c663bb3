// SPDX-License-Identifier: MIT
// Schoolbook multiplication.
#include <libsec/num.h>

#include <limits>

#include "bignum/column_product.h"
#include "bignum/limbs.h"
#include "bignum/scoped_num.h"

using namespace libsec;

namespace {

// x += a * b, limb by limb of b; x is zero, has a_count + b_count limbs and is neither of them.
void multiply_limbs(num_limb *x, const num_limb *a, int32_t a_count, const num_limb *b, int32_t b_count) {
#ifdef __SIZEOF_INT128__
  // Whole words first, then the odd limb of each.
  const int32_t p = a_count / 2, q = b_count / 2;
  constexpr int32_t usual = 16;  // 1024 bits
  if (p == usual && q == usual) {
    multiply_columns_unrolled<usual>(x, a, b);
  } else if (p > 0 && q > 0) {
    multiply_columns(x, a, p, b, q);
  }
  if (a_count % 2 != 0) num_limbs_mul_add(2 * q, b, x + 2 * p, a[2 * p]);
  if (b_count % 2 != 0) num_limbs_mul_add(a_count, a, x + 2 * q, b[2 * q]);
#else
  for (int32_t k = b_count - 1; k >= 0; --k) num_limbs_mul_add(a_count, a, x + k, b[k]);
#endif
}

}  // namespace

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
  if (i >= 0 && j >= 0) multiply_limbs(X->limbs, A->limbs, i + 1, B->limbs, j + 1);
  X->sign = sign;
  return 0;
}

int32_t num_mul_int(num *X, const num *A, uint32_t b) {
  const one_limb multiplier(1, b);
  return num_mul_num(X, A, multiplier.get());
}
