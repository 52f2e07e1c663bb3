// SPDX-License-Identifier: MIT
// The end of Montgomery's product.
#include "bignum/montgomery.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace {

using limbs = std::vector<num_limb>;

// a + b, and a carry for the limb behind.
limbs sum_of(const limbs &a, const limbs &b) {
  limbs sum;
  uint64_t carry = 0;
  for (size_t i = 0; i < a.size(); ++i) {
    carry += uint64_t{a[i]} + b[i];
    sum.push_back(static_cast<num_limb>(carry));
    carry >>= 32;
  }
  sum.push_back(static_cast<num_limb>(carry));
  return sum;
}

TEST(MontgomerySubtract, TakesTheModulusAwayOnceAndWritesEveryLimb) {
  std::mt19937 random(1);
  for (size_t n = 1; n <= 40; ++n) {
    limbs modulus(n), below(n);
    for (size_t i = 0; i < n; ++i) {
      modulus[i] = static_cast<num_limb>(random());
      below[i] = static_cast<num_limb>(random()) & (i + 1 < n ? 0xFFFFFFFFU : modulus[i] >> 1);
    }
    modulus[n - 1] |= 0x80000000;
    const auto result_of = [&](const limbs &t) {
      limbs result(n + 1, 0xA5A5A5A5), difference(n, 0x5A5A5A5A);
      libsec::num_mont_subtract(result.data(), t.data(), modulus.data(), static_cast<int32_t>(n), difference.data());
      return result;
    };
    const limbs zero(n, 0), expected = sum_of(below, zero);
    ASSERT_EQ(result_of(expected), expected) << n;
    ASSERT_EQ(result_of(sum_of(below, modulus)), expected) << n;
    ASSERT_EQ(result_of(sum_of(zero, modulus)), limbs(n + 1, 0)) << n;
  }
}

}  // namespace
