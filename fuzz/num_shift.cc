// SPDX-License-Identifier: MIT
// Shifts, sizes and comparisons against GMP.
#include "fuzz/numbers.h"

using test::gmp;
using test::number;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  fuzz::input in(data, size);
  const auto count = static_cast<int32_t>(in.u16() % 3000);
  number X = fuzz::any_number(in, 60);
  const number Y = fuzz::any_number(in, 60);
  gmp x(X);
  const gmp y(Y);
  const auto bits = mpz_sgn(x.z) == 0 ? 0 : static_cast<int32_t>(mpz_sizeinbase(x.z, 2));
  fuzz::require(num_msb(&X) == bits && num_size(&X) == (bits + 7) / 8, "sizes are right");
  fuzz::require(num_lsb(&X) == (bits == 0 ? 0 : static_cast<int32_t>(mpz_scan1(x.z, 0))), "the lowest bit is right");
  const int order = mpz_cmpabs(x.z, y.z);
  fuzz::require(num_cmp_abs(&X, &Y) == (order > 0) - (order < 0), "magnitudes compare");

  number left(X);
  gmp wanted;
  mpz_mul_2exp(wanted.z, x.z, static_cast<mp_bitcnt_t>(count));
  fuzz::require(num_shift_l(&left, count) == 0 && wanted == left, "a left shift multiplies");
  fuzz::require(num_shift_r(&left, count) == 0 && x == left, "a right shift undoes it");
  mpz_tdiv_q_2exp(wanted.z, x.z, static_cast<mp_bitcnt_t>(count));
  fuzz::require(num_shift_r(&X, count) == 0 && wanted == X, "a right shift divides");
  return 0;
}
