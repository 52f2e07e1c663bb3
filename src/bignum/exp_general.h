// SPDX-License-Identifier: MIT
#pragma once

#include <libsec/num.h>

namespace libsec {

// X = A^E mod N for every odd positive N, by Montgomery products on 32-bit limbs under a
// left-to-right sliding window: num_exp_mod() without its check of N. The form that serves all
// sizes, and the oracle for the one made for speed.
int32_t exp_mod_general(num *X, const num *A, const num *E, const num *N, num *RR);

// Sets *rr to the record with R^2 mod N for R = 2^(32 * N->limb_count): the caller's RR when it holds
// limbs; else the value is computed, into RR when there is one and into `own` (empty) when not.
int32_t provide_square_of_radix(num *RR, num *own, const num *N, const num **rr);

}  // namespace libsec
