// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <libsec/num.h>

#include "bignum/limbs.h"
#include "support/heap.h"
#include "support/num_random.h"
#include "support/num_values.h"

namespace {

using test::limb_list;
using test::limbs_of;
using test::number;

TEST(NumMul, ANumberIsSquaredInPlace) {
  number x(-1, {0xffffffff, 0xffffffff});
  test::heap_watch heap;
  EXPECT_EQ(num_mul_num(&x, &x, &x), 0);
  EXPECT_EQ(limbs_of(x), (limb_list{1, 0, 0xfffffffe, 0xffffffff}));
  EXPECT_EQ(x.sign, 1);
  EXPECT_EQ(heap.still_held(), 1);
  EXPECT_EQ(heap.freed_unwiped(), 0);
}

TEST(NumMul, TheProductHasTheLimbsOfBothFactorsAllocated) {
  const number a(1, {2, 3, 0, 0}), b(-1, {4, 0});
  number x;
  EXPECT_EQ(num_mul_num(&x, &a, &b), 0);
  EXPECT_EQ(limbs_of(x), (limb_list{8, 12, 0}));
  EXPECT_EQ(x.sign, -1);
}

TEST(NumMul, AZeroProductCarriesTheProductOfTheSigns) {
  const number zero(1, {0, 0}), minus(-1, {1, 2, 3}), nothing;
  number x, y, z;
  EXPECT_EQ(num_mul_num(&x, &zero, &minus), 0);
  EXPECT_EQ(limbs_of(x), (limb_list{0, 0, 0}));
  EXPECT_EQ(x.sign, -1);
  EXPECT_EQ(num_mul_num(&y, &minus, &nothing), 0);
  EXPECT_EQ(limbs_of(y), (limb_list{0, 0, 0}));
  EXPECT_EQ(num_mul_num(&z, &nothing, &nothing), 0);
  EXPECT_EQ(limbs_of(z), (limb_list{0}));
}

TEST(NumMul, AZeroThatFindsNoMemoryForItsLimbFails) {
  const number nothing;
  number x;
  const test::heap_watch heap(0);
  EXPECT_EQ(num_mul_num(&x, &nothing, &nothing), NUM_ERR_ALLOC_FAILED);
}

TEST(NumMul, ALargerDestinationKeepsItsRoomAndIsCleared) {
  const number a(3), b(5);
  number x(-1, {9, 9, 9, 9});
  EXPECT_EQ(num_mul_num(&x, &a, &b), 0);
  EXPECT_EQ(limbs_of(x), (limb_list{15, 0, 0, 0}));
}

// By rows, one limb of b after the other, as every length is multiplied where words have 32 bits.
limb_list product_by_rows(const limb_list &a, const limb_list &b) {
  limb_list x(a.size() + b.size(), 0);
  for (size_t k = 0; k < b.size(); ++k) {
    libsec::num_limbs_mul_add(static_cast<int32_t>(a.size()), a.data(), x.data() + k, b[k]);
  }
  return x;
}

// Lengths from one limb to beyond 1024 bits, which 32 limbs are; half of the products have those.
TEST(NumMul, ColumnsOfEveryLengthGiveWhatRowsGive) {
  test::num_random random(13);
  for (int set = 0; set < test::operand_sets(5000); ++set) {
    const bool usual = random.below(2) == 0;
    limb_list a = random.limbs(usual ? 32 : 1 + random.below(35)), b = random.limbs(usual ? 32 : 1 + random.below(35));
    // The fullest columns: all ones, or nearly.
    if (random.below(8) == 0) std::fill(a.begin(), a.end(), 0xffffffff);
    if (random.below(8) == 0) std::fill(b.begin(), b.end(), 0xffffffff);
    a.back() |= 1;
    b.back() |= 1;
    const number first(1, a), second(1, b);
    number x;
    ASSERT_EQ(num_mul_num(&x, &first, &second), 0);
    ASSERT_EQ(limbs_of(x), product_by_rows(a, b));
  }
}

TEST(NumMulInt, ByZeroGivesZeroWithTheSignOfTheNumber) {
  const number minus(-7);
  number x;
  EXPECT_EQ(num_mul_int(&x, &minus, 0), 0);
  EXPECT_EQ(limbs_of(x), (limb_list{0}));
  EXPECT_EQ(x.sign, -1);
}

TEST(NumMulInt, TheMultiplierIsUnsigned) {
  const number minus(-1, {0xffffffff});
  number x;
  EXPECT_EQ(num_mul_int(&x, &minus, 0xffffffff), 0);
  EXPECT_EQ(limbs_of(x), (limb_list{1, 0xfffffffe}));
  EXPECT_EQ(x.sign, -1);
}

TEST(NumMul, EveryAllocationThatFailsIsReportedAndNothingLeaks) {
  for (int failing = 0; failing < 3; ++failing) {
    number x(1, {2, 3});
    {
      const test::heap_watch heap(failing);
      EXPECT_EQ(num_mul_num(&x, &x, &x), NUM_ERR_ALLOC_FAILED);
      EXPECT_EQ(heap.still_held(), 0);
      EXPECT_EQ(heap.freed_unwiped(), 0);
    }
    EXPECT_EQ(num_lset(&x, 1), 0);
  }
}

}  // namespace
