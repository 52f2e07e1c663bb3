// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <libsec/num.h>

#include "bignum/limbs.h"
#include "support/heap.h"
#include "support/num_values.h"

namespace {

using test::limb_list;
using test::limbs_of;
using test::number;

TEST(NumAddAbs, ACarryThroughAnAllOnesLimbBelowTheTopIsAddedToThatLimbAgain) {
  number x(1, {1, 0xffffffff, 0});
  const number b(1, {0xffffffff});
  EXPECT_EQ(num_add_abs(&x, &x, &b), 0);
  EXPECT_EQ(limbs_of(x), (limb_list{0, 1, 0}));
}

TEST(NumAddAbs, ACarryThroughTheTopLimbGrowsTheNumber) {
  number x(1, {1, 0xffffffff}), y(1, {5, 0xffffffff, 0xffffffff});
  const number b(1, {0xffffffff});
  EXPECT_EQ(num_add_abs(&x, &x, &b), 0);
  EXPECT_EQ(limbs_of(x), (limb_list{0, 0, 1}));
  EXPECT_EQ(num_add_abs(&y, &y, &b), 0);
  EXPECT_EQ(limbs_of(y), (limb_list{4, 1, 0xffffffff}));
}

TEST(NumAddAbs, ANumberCanBeAddedToItself) {
  number x(-1, {0xffffffff, 0xffffffff, 0x80000000});
  EXPECT_EQ(num_add_abs(&x, &x, &x), 0);
  EXPECT_EQ(limbs_of(x), (limb_list{0xfffffffe, 0xffffffff, 1, 1}));
  EXPECT_EQ(x.sign, -1);
}

TEST(NumAddAbs, TheSignIsTheFirstOperandsOrTheDestinationsOwn) {
  const number a(-3), b(4);
  number x, y(5), z(-6);
  EXPECT_EQ(num_add_abs(&x, &a, &b), 0);
  EXPECT_EQ(x.sign, -1);
  EXPECT_EQ(num_add_abs(&y, &a, &y), 0);
  EXPECT_EQ(y.sign, 1);
  EXPECT_EQ(limbs_of(y), (limb_list{8}));
  EXPECT_EQ(num_add_abs(&z, &z, &b), 0);
  EXPECT_EQ(z.sign, -1);
}

TEST(NumAddAbs, RecordsWithoutLimbsAreZero) {
  const number nothing, seven(7);
  number x, y, z;
  EXPECT_EQ(num_add_abs(&x, &nothing, &nothing), 0);
  EXPECT_EQ(x.limb_count, 0);
  EXPECT_EQ(num_add_abs(&y, &nothing, &seven), 0);
  EXPECT_EQ(limbs_of(y), (limb_list{7}));
  EXPECT_EQ(num_sub_num(&z, &nothing, &seven), 0);
  EXPECT_EQ(limbs_of(z), (limb_list{7}));
  EXPECT_EQ(z.sign, -1);
}

TEST(NumSubAbs, ANegativeDifferenceIsRefusedAndNothingChanges) {
  const number a(3), b(4);
  number x(-1, {9, 9});
  test::heap_watch heap;
  EXPECT_EQ(num_sub_abs(&x, &a, &b), NUM_ERR_NEGATIVE_VALUE);
  EXPECT_EQ(limbs_of(x), (limb_list{9, 9}));
  EXPECT_EQ(x.sign, -1);
  EXPECT_EQ(heap.allocations(), 0);
}

TEST(NumSubAbs, BorrowsRunThroughZeroLimbs) {
  number x(1, {0, 0, 0, 1});
  const number b(1, {1});
  EXPECT_EQ(num_sub_abs(&x, &x, &b), 0);
  EXPECT_EQ(limbs_of(x), (limb_list{0xffffffff, 0xffffffff, 0xffffffff, 0}));
  const number c(1, {0xffffffff, 0xffffffff});
  number y(1, {0, 1, 1});
  EXPECT_EQ(num_sub_abs(&y, &y, &c), 0);
  EXPECT_EQ(limbs_of(y), (limb_list{1, 1, 0}));
}

TEST(NumSubAbs, TheDestinationCanBeTheSubtrahendOrBoth) {
  const number a(-1, {0, 1});
  number x(1, {1}), y(-1, {5, 6});
  EXPECT_EQ(num_sub_abs(&x, &a, &x), 0);
  EXPECT_EQ(limbs_of(x), (limb_list{0xffffffff, 0}));
  EXPECT_EQ(x.sign, -1);
  EXPECT_EQ(num_sub_abs(&y, &y, &y), 0);
  EXPECT_EQ(limbs_of(y), (limb_list{0, 0}));
}

TEST(NumSubNum, ANumberMinusItselfKeepsItsSignOnTheZero) {
  const number a(-5);
  number x;
  EXPECT_EQ(num_sub_num(&x, &a, &a), 0);
  EXPECT_EQ(limbs_of(x), (limb_list{0}));
  EXPECT_EQ(x.sign, -1);
  EXPECT_EQ(num_cmp_int(&x, 0), 0);
}

TEST(NumAddNum, FourSignsGiveTheSignedSum) {
  const int values[] = {5, -5, 9, -9};
  for (const int a : values) {
    for (const int b : values) {
      const number na(a), nb(b);
      number sum, difference;
      EXPECT_EQ(num_add_num(&sum, &na, &nb), 0);
      EXPECT_EQ(num_sub_num(&difference, &na, &nb), 0);
      EXPECT_EQ(static_cast<int>(sum.limbs[0]) * sum.sign, a + b);
      EXPECT_EQ(static_cast<int>(difference.limbs[0]) * difference.sign, a - b);
    }
  }
}

TEST(NumAddNum, TheSignIsWrittenOnSuccessOnly) {
  const number a(-1, {1, 1}), b(1, {2, 2});
  number x(1, {3});
  test::heap_watch heap(0);
  EXPECT_EQ(num_sub_num(&x, &b, &a), NUM_ERR_ALLOC_FAILED);
  EXPECT_EQ(num_add_num(&x, &a, &b), NUM_ERR_ALLOC_FAILED);
  EXPECT_EQ(x.limb_count, 1);
  EXPECT_EQ(x.sign, 1);  // copied from the larger operand before its limbs failed, and not written since
}

TEST(NumAddNum, AFailureLeavesTheSignOfADestinationThatIsTheSecondOperand) {
  const number a(1, {0xffffffff, 1});
  number b(-1, {0xffffffff}), d(-1, {5});
  const test::heap_watch heap(0);
  EXPECT_EQ(num_sub_num(&b, &a, &b), NUM_ERR_ALLOC_FAILED);  // |a| + |b| has to grow b
  EXPECT_EQ(b.sign, -1);
  EXPECT_EQ(num_add_num(&d, &a, &d), NUM_ERR_ALLOC_FAILED);  // |a| - |d| needs a copy of d
  EXPECT_EQ(d.sign, -1);
}

TEST(NumLimbs, ProductsCarryOnUntilNoCarryIsLeft) {
  // 7 limbs by singles, 8 and 16 by blocks, and all of them together.
  for (const int n : {0, 1, 7, 8, 15, 16, 17, 31, 33}) {
    const limb_list ones(static_cast<size_t>(n), 0xffffffff);
    limb_list sum(static_cast<size_t>(n) + 3, 0xffffffff);
    sum.back() = 4;
    libsec::num_limbs_mul_add(n, ones.data(), sum.data(), 1);
    limb_list expected(static_cast<size_t>(n) + 3, 0xffffffff);
    expected.back() = 4;
    if (n > 0) {
      // (2^k - 1) + (2^j - 1) with k < j: the lowest limb is all ones less one, the carry runs to the top
      expected[0] = 0xfffffffe;
      for (size_t i = static_cast<size_t>(n); i + 1 < expected.size(); ++i) expected[i] = 0;
      expected.back() = 5;
    }
    EXPECT_EQ(sum, expected) << n;
    libsec::num_limbs_sub(n, ones.data(), sum.data());
    limb_list before(static_cast<size_t>(n) + 3, 0xffffffff);
    before.back() = 4;
    EXPECT_EQ(sum, before) << n;
  }
}

}  // namespace
