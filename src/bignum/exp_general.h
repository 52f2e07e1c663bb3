// SPDX-License-Identifier: MIT
#pragma once

#include <libsec/num.h>

namespace libsec {

// X = A^E mod N for every odd positive N, by Montgomery products on 32-bit limbs under a
// left-to-right sliding window: num_exp_mod() without its check of N. The form that serves all
// sizes, and the oracle for the ones made for speed.
int32_t exp_mod_general(num *X, const num *A, const num *E, const num *N, num *RR);

// rr = R^2 mod N for R = 2^(32 * N->limb_count), with the 2 * limb_count + 1 limbs that R^2 takes.
int32_t square_of_radix(num *rr, const num *N);

}  // namespace libsec
