// SPDX-License-Identifier: MIT
// GMP's numbers beside ours.
#pragma once

#include <gmp.h>

#include "support/num_values.h"

namespace test {

struct gmp {
  mpz_t z;

  gmp() { mpz_init(z); }
  explicit gmp(const num &X) : gmp() {
    if (X.limb_count > 0) mpz_import(z, static_cast<size_t>(X.limb_count), -1, sizeof(num_limb), 0, 0, X.limbs);
    if (X.sign < 0) mpz_neg(z, z);
  }
  gmp(const gmp &) = delete;
  gmp &operator=(const gmp &) = delete;
  ~gmp() { mpz_clear(z); }

  bool operator==(const gmp &other) const { return mpz_cmp(z, other.z) == 0; }
  bool operator==(const num &X) const { return *this == gmp(X); }
};

}  // namespace test
