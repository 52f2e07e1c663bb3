// SPDX-License-Identifier: MIT
// Modular exponentiation: the check of the modulus, and the choice between the two forms.
#include <libsec/num.h>

#include <limits>

#include "bignum/exp_1024.h"
#include "bignum/exp_general.h"
#include "bignum/limbs.h"

using namespace libsec;

int32_t num_exp_mod(num *X, const num *A, const num *E, const num *N, num *RR) {
  const bool odd = N->limb_count > 0 && (N->limbs[0] & 1) != 0;
  if (!odd || num_cmp_int(N, 0) < 0) return NUM_ERR_BAD_INPUT;
  // R^2 has to have a bit count.
  if (N->limb_count > std::numeric_limits<int32_t>::max() / (2 * limb_bits)) return NUM_ERR_ALLOC_FAILED;
  if (serves_exp_mod_1024(A, N, RR)) return exp_mod_1024(X, A, E, N, RR);
  return exp_mod_general(X, A, E, N, RR);
}
