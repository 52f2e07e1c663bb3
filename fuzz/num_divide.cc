// SPDX-License-Identifier: MIT
// Division and residues, in every aliasing, against GMP.
#include "fuzz/numbers.h"

using test::gmp;
using test::number;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  fuzz::input in(data, size);
  const uint8_t aliasing = in.byte() % 5;
  number A = fuzz::any_number(in, 40), B = fuzz::any_number(in, 40);
  number Q, R;
  const gmp a(A), b(B);
  num *const q = aliasing == 1 ? &A : aliasing == 2 ? &B : &Q;
  num *const r = aliasing == 2 || aliasing == 3 ? &A : aliasing == 1 || aliasing == 4 ? &B : &R;
  const int32_t result = num_div_num(q, r, &A, &B);
  if (mpz_sgn(b.z) == 0) {
    fuzz::require(result == NUM_ERR_DIVISION_BY_ZERO, "division by zero is told");
    return 0;
  }
  gmp wanted_q, wanted_r;
  mpz_tdiv_qr(wanted_q.z, wanted_r.z, a.z, b.z);
  fuzz::require(result == 0 && wanted_q == *q && wanted_r == *r, "A = Q * B + R");
  if (mpz_sgn(b.z) < 0 || aliasing != 0) return 0;
  mpz_fdiv_r(wanted_r.z, a.z, b.z);
  fuzz::require(num_mod_num(&R, &A, &B) == 0 && wanted_r == R, "the residue is right");
  return 0;
}
