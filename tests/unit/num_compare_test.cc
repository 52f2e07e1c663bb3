// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <libsec/num.h>

#include <limits>

#include "support/num_values.h"

namespace {

using test::number;

TEST(NumCompare, MagnitudesIgnoreSignsAndHighZeroLimbs) {
  const number a(-1, {1, 2, 0, 0}), b(1, {1, 2}), c(1, {2, 1}), zero(-1, {0, 0}), nothing;
  EXPECT_EQ(num_cmp_abs(&a, &b), 0);
  EXPECT_EQ(num_cmp_abs(&a, &c), 1);
  EXPECT_EQ(num_cmp_abs(&c, &a), -1);
  EXPECT_EQ(num_cmp_abs(&a, &zero), 1);
  EXPECT_EQ(num_cmp_abs(&zero, &a), -1);
  EXPECT_EQ(num_cmp_abs(&zero, &nothing), 0);
}

TEST(NumCompare, TheLowestLimbDecidesWhenTheOthersAreEqual) {
  const number a(1, {1, 9, 9}), b(1, {2, 9, 9}), c(-1, {2, 9, 9}), d(-1, {1, 9, 9});
  EXPECT_EQ(num_cmp_abs(&a, &b), -1);
  EXPECT_EQ(num_cmp_num(&a, &b), -1);
  EXPECT_EQ(num_cmp_num(&b, &a), 1);
  EXPECT_EQ(num_cmp_num(&c, &d), -1);
  EXPECT_EQ(num_cmp_num(&d, &c), 1);
}

TEST(NumCompare, FiveIsBelowALongerNegativeNumber) {
  const number five(5), long_negative(-1, {0, 256});
  EXPECT_EQ(num_cmp_num(&five, &long_negative), -1);
  EXPECT_EQ(num_cmp_num(&long_negative, &five), -1);
  const number negative_five(-5), long_positive(1, {0, 256});
  EXPECT_EQ(num_cmp_num(&negative_five, &long_positive), 1);
  EXPECT_EQ(num_cmp_num(&long_positive, &negative_five), 1);
}

TEST(NumCompare, ZeroIsBelowMinusThree) {
  const number zero(0), minus_three(-3);
  EXPECT_EQ(num_cmp_num(&zero, &minus_three), -1);
  EXPECT_EQ(num_cmp_int(&zero, -3), -1);
}

TEST(NumCompare, ANegativeZeroIsAboveEveryOtherNumber) {
  const number minus_zero(-1, {0}), three(3);
  EXPECT_EQ(num_cmp_num(&minus_zero, &three), 1);
  EXPECT_EQ(num_cmp_int(&minus_zero, -3), 1);
}

TEST(NumCompare, ZerosOfEitherSignAreEqual) {
  const number plus(1, {0, 0}), minus(-1, {0}), nothing;
  EXPECT_EQ(num_cmp_num(&plus, &minus), 0);
  EXPECT_EQ(num_cmp_num(&minus, &plus), 0);
  EXPECT_EQ(num_cmp_num(&nothing, &minus), 0);
  EXPECT_EQ(num_cmp_int(&minus, 0), 0);
  EXPECT_EQ(num_cmp_int(&nothing, 0), 0);
}

TEST(NumCompare, SignsDecideBetweenEqualLengths) {
  const number a(5), b(-7);
  EXPECT_EQ(num_cmp_num(&a, &b), 1);
  EXPECT_EQ(num_cmp_num(&b, &a), -1);
}

TEST(NumCompare, EqualNumbersAreEqual) {
  const number a(-1, {5, 6, 0}), b(-1, {5, 6});
  EXPECT_EQ(num_cmp_num(&a, &b), 0);
  EXPECT_EQ(num_cmp_num(&a, &a), 0);
}

TEST(NumCompare, AgainstTheMostNegativeInteger) {
  constexpr int32_t least = std::numeric_limits<int32_t>::min();
  const number same(-1, {0x80000000}), above(-1, {0x7fffffff}), below(-1, {0x80000001});
  EXPECT_EQ(num_cmp_int(&same, least), 0);
  EXPECT_EQ(num_cmp_int(&above, least), 1);
  EXPECT_EQ(num_cmp_int(&below, least), -1);
}

}  // namespace
