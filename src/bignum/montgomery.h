// SPDX-License-Identifier: MIT
// Montgomery's product on records: P. L. Montgomery, Modular multiplication without trial division,
// Mathematics of Computation 44 (1985). R is 2^(32 * N->limb_count) throughout.
#pragma once

#include <libsec/num.h>

namespace libsec {

// -N^-1 mod 2^32 from N's lowest limb, which is odd.
num_limb num_mont_constant(num_limb lowest);

// A = A * B / R mod N, in place; B may be A. Signs are not looked at.
// A has N's limb_count + 1 limbs or more, T twice as many. `constant` is num_mont_constant() of N.
void num_mont_mul(num *A, const num *B, const num *N, num_limb constant, num *T);

// The end of a product: result = t - N if t is not below N, else t, with the same instructions either way.
// t and result have n + 1 limbs, N has n, and so has `difference`, which is written to; none is another.
void num_mont_subtract(num_limb *result, const num_limb *t, const num_limb *N, int32_t n, num_limb *difference);

// A = A / R mod N.
void num_mont_reduce(num *A, const num *N, num_limb constant, num *T);

}  // namespace libsec
