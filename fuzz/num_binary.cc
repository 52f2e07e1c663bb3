// SPDX-License-Identifier: MIT
// Numbers from bytes and back, against GMP.
#include "fuzz/numbers.h"

using test::gmp;
using test::number;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  fuzz::input in(data, size);
  const size_t room = in.u16() % 700;
  number X = fuzz::any_number(in, 8);  // what the record held before
  const fuzz::bytes from = in.rest();
  gmp wanted;
  mpz_import(wanted.z, from.size(), 1, 1, 1, 0, from.data());
  fuzz::require(num_read_binary(&X, from.data(), static_cast<int32_t>(from.size())) == 0 && wanted == X,
                "bytes are read");
  fuzz::require(X.limb_count > 0, "there is a limb at least");

  fuzz::bytes to(room, 0xEE);
  const int32_t result = num_write_binary(&X, to.data(), static_cast<int32_t>(room));
  const size_t needed = mpz_sgn(wanted.z) == 0 ? 0 : (mpz_sizeinbase(wanted.z, 2) + 7) / 8;
  if (needed > room) {
    fuzz::require(result == NUM_ERR_BUFFER_TOO_SMALL && to == fuzz::bytes(room, 0xEE),
                  "what does not fit is not written");
    return 0;
  }
  gmp again;
  mpz_import(again.z, room, 1, 1, 1, 0, to.data());
  fuzz::require(result == 0 && mpz_cmp(again.z, wanted.z) == 0, "what was written is what was read");
  return 0;
}
