// SPDX-License-Identifier: MIT
// Powers beside GMP's. A long number costs milliseconds, so most sets are short, one in a hundred is
// about the size of a key, and one in two thousand has up to 130 limbs.
#include <gmp.h>
#include <gtest/gtest.h>
#include <libsec/num.h>

#include <algorithm>

#include "support/gmp_num.h"
#include "support/num_operands.h"

namespace {

using test::for_operand_sets;
using test::gmp;
using test::limb_list;
using test::num_random;
using test::number;

// An exponent of exactly `bits` bits, with up to two zero limbs above.
number exponent_of(num_random &random, int bits) {
  limb_list limbs = random.limbs((bits + 31) / 32);
  if (bits > 0) {
    limbs.back() &= 0xffffffff >> (31 - (bits - 1) % 32);
    limbs.back() |= num_limb{1} << ((bits - 1) % 32);
  }
  limbs.resize(limbs.size() + static_cast<size_t>(random.below(3)), 0);
  return number(1, limbs);
}

struct power {
  number n, e, a, x;

  explicit power(num_random &random) {
    const int size = random.below(2000);
    const int n_limbs = size == 0 ? 1 + random.below(130) : size <= 20 ? 30 + random.below(5) : 1 + random.below(6);
    // Both sides of every boundary of the window's width, as long as that is cheap.
    static constexpr int boundaries[] = {24, 80, 240, 672};
    const int near = boundaries[random.below(n_limbs > 6 ? 2 : size % 16 == 0 ? 4 : 2)] - 2 + random.below(4);
    const int any = random.below(size <= 20 && size > 0 ? 1060 : 128);
    n = number(1, random.limbs(n_limbs));
    n.limbs[0] |= 1;
    (void)num_grow(&n, n_limbs + (random.below(4) == 0 ? random.below(3) : 0));
    e = exponent_of(random, random.below(3) == 0 ? near : any);
    if (random.below(8) == 0) e.sign = -1;  // an exponent's sign does not count
    const int longest = std::max(40, n_limbs + 2);
    x = random.any(longest);
    a = random.below(2) == 0 ? random.near(n, longest) : random.any(longest);
    // A negative base counts by its magnitude where it compares below the modulus; a longer one, which
    // no caller has, is not defined.
    if (test::significant(a).size() > test::significant(n).size()) a.sign = 1;
  }

  // The base as GMP has to see it.
  void base(gmp &to) const {
    mpz_set(to.z, gmp(a).z);
    if (a.sign < 0 && test::significant(a).size() == test::significant(n).size()) mpz_abs(to.z, to.z);
  }
};

TEST(NumGmpExp, ModularPowers) {
  gmp expected, base;
  for_operand_sets(141, [&](num_random &random) {
    power p(random);
    num *const to = random.below(3) == 0 ? &p.a : &p.x;
    number rr;
    p.base(base);
    gmp exponent(p.e);
    mpz_abs(exponent.z, exponent.z);
    mpz_powm(expected.z, base.z, exponent.z, gmp(p.n).z);
    const int32_t room = std::max(to->limb_count, p.n.limb_count + 1);
    const number again(p.a);
    ASSERT_EQ(num_exp_mod(to, &p.a, &p.e, &p.n, random.below(2) == 0 ? nullptr : &rr), 0);
    ASSERT_TRUE(expected == *to);
    ASSERT_EQ(to->limb_count, room);
    ASSERT_EQ(to->sign, 1);
    if (rr.limbs == nullptr) return;
    ASSERT_EQ(rr.limb_count, 2 * p.n.limb_count + 1);
    ASSERT_EQ(num_exp_mod(&p.x, &again, &p.e, &p.n, &rr), 0);
    ASSERT_TRUE(expected == p.x);
    mpz_set_ui(expected.z, 1);
    mpz_mul_2exp(expected.z, expected.z, static_cast<mp_bitcnt_t>(64 * p.n.limb_count));
    mpz_mod(expected.z, expected.z, gmp(p.n).z);
    ASSERT_TRUE(expected == rr);
  });
}

TEST(NumGmpExp, AModulusThatIsEvenOrNegativeIsRefused) {
  for_operand_sets(142, [](num_random &random) {
    number n = random.any(130), a = random.any(40), e = random.any(40), x = random.any(40), rr;
    const number before(x);
    if (n.limb_count > 0 && random.below(2) == 0) n.limbs[0] &= ~num_limb{1};
    const gmp modulus(n);
    if (mpz_sgn(modulus.z) > 0 && mpz_odd_p(modulus.z)) return;
    ASSERT_EQ(num_exp_mod(&x, &a, &e, &n, &rr), NUM_ERR_BAD_INPUT);
    ASSERT_EQ(test::limbs_of(x), test::limbs_of(before));
    ASSERT_TRUE(rr.limbs == nullptr);
  });
}

}  // namespace
