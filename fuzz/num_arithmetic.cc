// SPDX-License-Identifier: MIT
// Products, and sums and differences by way of them, against GMP.
#include "fuzz/numbers.h"

using test::gmp;
using test::number;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  fuzz::input in(data, size);
  const uint8_t aliasing = in.byte() % 4;
  const uint32_t small = in.u32();
  number A = fuzz::any_number(in, 70), B = fuzz::any_number(in, 70);
  const gmp a(A), b(B);
  gmp wanted;
  number X;
  mpz_mul_ui(wanted.z, a.z, small);
  fuzz::require(num_mul_int(&X, &A, small) == 0 && wanted == X, "a product with a limb is right");
  mpz_sub(wanted.z, a.z, b.z);
  number difference;
  if (mpz_cmpabs(a.z, b.z) >= 0 && mpz_sgn(a.z) * mpz_sgn(b.z) > 0) {  // magnitudes only: no carry is involved
    fuzz::require(num_sub_num(&difference, &A, &B) == 0 && wanted == difference, "a difference is right");
  }
  num *const to = aliasing == 1 ? &A : aliasing == 2 ? &B : &X;
  mpz_mul(wanted.z, a.z, aliasing == 3 ? a.z : b.z);
  fuzz::require(num_mul_num(to, &A, aliasing == 3 ? &A : &B) == 0 && wanted == *to, "a product is right");
  return 0;
}
