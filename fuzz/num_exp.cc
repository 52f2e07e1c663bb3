// SPDX-License-Identifier: MIT
// Modular exponentiation against GMP, for both forms of it, with and without a cache.
#include "fuzz/numbers.h"

using test::gmp;
using test::number;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  fuzz::input in(data, size);
  const uint8_t mode = in.byte();
  number N = fuzz::any_number(in, 34), A = fuzz::any_number(in, 36), E = fuzz::any_number(in, 4);
  if ((mode & 1) != 0) {  // the size with a form of its own
    fuzz::require(num_grow(&N, 32) == 0, "there is memory");
    N.limbs[31] |= (mode & 2) != 0 ? 0x80000000 : 1;
  }
  E.sign = A.sign = 1;
  number X, cache;
  const int32_t result = num_exp_mod(&X, &A, &E, &N, (mode & 4) != 0 ? &cache : nullptr);
  const gmp a(A), e(E), n(N);
  if (mpz_sgn(n.z) <= 0 || mpz_even_p(n.z)) {
    fuzz::require(result == NUM_ERR_BAD_INPUT, "an even or negative modulus is refused");
    return 0;
  }
  gmp wanted;
  mpz_powm(wanted.z, a.z, e.z, n.z);
  fuzz::require(result == 0 && wanted == X, "the power is right");
  if ((mode & 4) == 0) return 0;
  fuzz::require(num_exp_mod(&A, &A, &E, &N, &cache) == 0 && wanted == A, "it is right again with the cache");
  return 0;
}
