// SPDX-License-Identifier: MIT
#pragma once

#include <libsec/num.h>

namespace libsec {

// Whether exp_mod_1024() may stand in for exp_mod_general(): N has 32 limbs, and base and cache are such
// that every product's factors stay below 2N. What else is given goes the general way.
bool serves_exp_mod_1024(const num *A, const num *N, const num *RR);

// X = A^E mod N as by exp_mod_general(), with the same results, limbs allocated in X and RR, and
// errors, for operands that serves_exp_mod_1024() accepts.
int32_t exp_mod_1024(num *X, const num *A, const num *E, const num *N, num *RR);

// The same without any instruction that a processor may lack.
int32_t exp_mod_1024_anywhere(num *X, const num *A, const num *E, const num *N, num *RR);

}  // namespace libsec
