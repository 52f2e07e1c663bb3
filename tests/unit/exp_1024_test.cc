// SPDX-License-Identifier: MIT
// The exponentiation made for 1024 bits beside the general one, which is its oracle: as this processor does
// it best, and as any does it.
#include "bignum/exp_1024.h"

#include <gtest/gtest.h>
#include <libsec/num.h>

#include "bignum/exp_general.h"
#include "support/num_model.h"
#include "support/num_random.h"
#include "support/num_values.h"

namespace {

using test::limb_list;
using test::limbs_of;
using test::num_random;
using test::number;

// An odd modulus in 32 limbs: full, all ones, just above 2^1023, short, or 1.
number modulus(num_random &random) {
  limb_list n = random.limbs(32);
  switch (random.below(6)) {
    case 0:
      n.back() |= 0x80000000;
      break;
    case 1:
      n.assign(32, 0xffffffff);
      break;
    case 2:
      n.assign(32, 0);
      n.back() = 0x80000000;
      break;
    case 3:
      std::fill(n.begin() + 1 + random.below(31), n.end(), 0);
      break;
    case 4:
      n.assign(32, 0);
      n[0] = 1;
      break;
    default:
      break;
  }
  n[0] |= 1;
  if (random.below(3) == 0) n[0] ^= random.limb() & ~num_limb{1};
  return number(1, n);
}

// Below, near and above the modulus; of either sign.
number base(num_random &random, const number &n) {
  number a = random.below(2) == 0 ? random.near(n, 40) : random.any(40);
  if (random.below(8) == 0) {
    a = number(n);
    (void)num_sub_num(&a, &n, &a);  // 0
    (void)num_read_binary(&a, nullptr, 0);
    (void)num_add_num(&a, &a, &n);
    const number one(1);
    if (random.below(2) == 0) (void)num_sub_num(&a, &a, &one);  // n - 1, else n
  }
  if (random.below(3) != 0) a.sign = 1;
  return a;
}

void expect_same(const num &a, const num &b) {
  ASSERT_EQ(limbs_of(a), limbs_of(b));
  ASSERT_EQ(a.sign, b.sign);
}

using exp_mod = int32_t (*)(num *, const num *, const num *, const num *, num *);

class Exp1024 : public testing::TestWithParam<exp_mod> {};

INSTANTIATE_TEST_SUITE_P(Best, Exp1024, testing::Values(libsec::exp_mod_1024));
INSTANTIATE_TEST_SUITE_P(Anywhere, Exp1024, testing::Values(libsec::exp_mod_1024_anywhere));

TEST_P(Exp1024, GivesTheSameAsTheGeneralForm) {
  num_random random(31);
  int served = 0;
  for (int set = 0; set < test::operand_sets(150); ++set) {
    const number n = modulus(random), e = number(1, random.limbs(random.below(4)));
    const number a = base(random, n);
    if (!libsec::serves_exp_mod_1024(&a, &n, nullptr)) continue;
    ++served;
    number x = random.any(40), y(x), rr, general_rr;
    ASSERT_EQ(GetParam()(&x, &a, &e, &n, &rr), 0);
    ASSERT_EQ(libsec::exp_mod_general(&y, &a, &e, &n, &general_rr), 0);
    expect_same(x, y);
    expect_same(rr, general_rr);
    number in_place(a);
    ASSERT_EQ(GetParam()(&in_place, &in_place, &e, &n, random.below(2) == 0 ? nullptr : &rr), 0);
    ASSERT_EQ(test::significant(in_place), test::significant(x));
  }
  EXPECT_GT(served, test::operand_sets(150) / 2);
}

TEST_P(Exp1024, MakesTheSameOfACacheThatBelongsToNoModulus) {
  num_random random(32);
  int served = 0;
  for (int set = 0; set < test::operand_sets(60); ++set) {
    const number n = modulus(random), a = base(random, n), e = number(1, random.limbs(random.below(3)));
    number rr = random.any(32), x, y;
    if (rr.limb_count == 0 || !libsec::serves_exp_mod_1024(&a, &n, &rr)) continue;
    ++served;
    number general_rr(rr);
    ASSERT_EQ(GetParam()(&x, &a, &e, &n, &rr), 0);
    ASSERT_EQ(libsec::exp_mod_general(&y, &a, &e, &n, &general_rr), 0);
    expect_same(x, y);
    expect_same(rr, general_rr);
  }
  EXPECT_GT(served, test::operand_sets(60) / 4);
}

TEST_P(Exp1024, GivesTheSameForEveryWindowWidth) {
  num_random random(33);
  for (const int limbs : {0, 1, 2, 4, 9, 21, 32, 33}) {
    const number n = modulus(random), a = base(random, n), e = number(1, random.limbs(limbs));
    if (!libsec::serves_exp_mod_1024(&a, &n, nullptr)) continue;
    number x, y;
    ASSERT_EQ(GetParam()(&x, &a, &e, &n, nullptr), 0);
    ASSERT_EQ(libsec::exp_mod_general(&y, &a, &e, &n, nullptr), 0);
    expect_same(x, y);
  }
}

// Inside, a residue of zero can stand as the modulus itself.
TEST_P(Exp1024, APowerThatIsAMultipleOfTheModulusIsZero) {
  num_random random(34);
  for (int set = 0; set < 20; ++set) {
    limb_list half = random.limbs(16);
    half[0] |= 1;
    half.back() |= 0x80000000;
    const number a(1, half), two(2);
    number n, x;
    ASSERT_EQ(num_mul_num(&n, &a, &a), 0);
    ASSERT_EQ(n.limb_count, 32);
    ASSERT_EQ(GetParam()(&x, &a, &two, &n, nullptr), 0);
    ASSERT_EQ(num_cmp_int(&x, 0), 0);
  }
}

TEST(Exp1024Bounds, ServesNothingThatBreaksItsBounds) {
  const number n(1, limb_list(32, 0xffffffff)), small(7), long_negative(-1, limb_list(33, 1)),
      long_positive(1, limb_list(33, 1));
  const number shorter(1, limb_list(31, 0xffffffff)), longer(1, limb_list(33, 0xffffffff));
  const number same(1, limb_list(32, 0xffffffff)), below(1, {1}), empty;
  EXPECT_TRUE(libsec::serves_exp_mod_1024(&small, &n, nullptr));
  EXPECT_TRUE(libsec::serves_exp_mod_1024(&small, &n, &empty));
  EXPECT_TRUE(libsec::serves_exp_mod_1024(&small, &n, &below));
  EXPECT_TRUE(libsec::serves_exp_mod_1024(&long_positive, &n, nullptr));
  EXPECT_FALSE(libsec::serves_exp_mod_1024(&small, &n, &same));
  EXPECT_FALSE(libsec::serves_exp_mod_1024(&small, &shorter, nullptr));
  EXPECT_FALSE(libsec::serves_exp_mod_1024(&small, &longer, nullptr));
  EXPECT_FALSE(libsec::serves_exp_mod_1024(&long_negative, &n, nullptr));
}

}  // namespace
