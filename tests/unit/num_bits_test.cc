// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <libsec/num.h>

#include <cstdint>
#include <limits>

#include "support/heap.h"
#include "support/num_values.h"

namespace {

using test::limb_list;
using test::limbs_of;
using test::number;

constexpr int32_t most = std::numeric_limits<int32_t>::max();

TEST(NumLsb, ZeroAndOneBothGiveZero) {
  const number zero(1, {0, 0}), one(1), nothing;
  EXPECT_EQ(num_lsb(&zero), 0);
  EXPECT_EQ(num_lsb(&one), 0);
  EXPECT_EQ(num_lsb(&nothing), 0);
}

TEST(NumLsb, CountsThroughZeroLimbs) {
  const number a(-1, {0, 0, 0x50}), b(1, {0x80000000, 1});
  EXPECT_EQ(num_lsb(&a), 68);
  EXPECT_EQ(num_lsb(&b), 31);
}

TEST(NumMsb, CountsSignificantBits) {
  const number one(1), two_to_32(1, {0, 1, 0}), zero(1, {0, 0}), nothing;
  EXPECT_EQ(num_msb(&one), 1);
  EXPECT_EQ(num_msb(&two_to_32), 33);
  EXPECT_EQ(num_msb(&zero), 0);
  EXPECT_EQ(num_msb(&nothing), 0);
  const number all(-1, {0xffffffff});
  EXPECT_EQ(num_msb(&all), 32);
}

TEST(NumSize, CountsSignificantBytes) {
  const number a(255), b(256), zero(0), nothing, wide(1, {0, 0, 1});
  EXPECT_EQ(num_size(&a), 1);
  EXPECT_EQ(num_size(&b), 2);
  EXPECT_EQ(num_size(&zero), 0);
  EXPECT_EQ(num_size(&nothing), 0);
  EXPECT_EQ(num_size(&wide), 9);
}

TEST(NumShiftLeft, ByZeroBitsChangesNothing) {
  number x(-1, {1, 2, 0}), nothing;
  const num before = x;
  EXPECT_EQ(num_shift_l(&x, 0), 0);
  EXPECT_EQ(x.limbs, before.limbs);
  EXPECT_EQ(limbs_of(x), (limb_list{1, 2, 0}));
  EXPECT_EQ(num_shift_l(&nothing, 0), 0);
  EXPECT_EQ(nothing.limb_count, 0);
}

TEST(NumShiftLeft, GrowsToTheBitsNeededAndNoFurther) {
  number x(-1, {0x80000001});
  EXPECT_EQ(num_shift_l(&x, 33), 0);
  EXPECT_EQ(limbs_of(x), (limb_list{0, 2, 1}));
  EXPECT_EQ(x.sign, -1);
  number fits(1, {1, 0});
  EXPECT_EQ(num_shift_l(&fits, 63), 0);
  EXPECT_EQ(limbs_of(fits), (limb_list{0, 0x80000000}));
}

TEST(NumShiftLeft, UsesRoomThatIsThere) {
  number x(1, {0xffffffff, 0, 0, 0});
  const num before = x;
  EXPECT_EQ(num_shift_l(&x, 68), 0);
  EXPECT_EQ(x.limbs, before.limbs);
  EXPECT_EQ(limbs_of(x), (limb_list{0, 0, 0xfffffff0, 0xf}));
}

TEST(NumShiftLeft, AZeroGrowsByTheCountAlone) {
  number x(1, {0}), nothing;
  EXPECT_EQ(num_shift_l(&x, 64), 0);
  EXPECT_EQ(limbs_of(x), (limb_list{0, 0}));
  EXPECT_EQ(num_shift_l(&nothing, 33), 0);
  EXPECT_EQ(limbs_of(nothing), (limb_list{0, 0}));
}

TEST(NumShiftLeft, AResultThatCannotBeCountedFails) {
  number x(1, {1});
  EXPECT_EQ(num_shift_l(&x, most), NUM_ERR_ALLOC_FAILED);
  EXPECT_EQ(limbs_of(x), (limb_list{1}));
}

TEST(NumShiftLeft, FailureIsPassedOn) {
  number x(1, {1});
  test::heap_watch heap(0);
  EXPECT_EQ(num_shift_l(&x, 32), NUM_ERR_ALLOC_FAILED);
}

TEST(NumShiftRight, MoreBitsThanTheNumberHoldsGivesZero) {
  for (const int32_t count : {64, 65, 96, 1000, most}) {
    number x(-1, {0xffffffff, 0xffffffff});
    EXPECT_EQ(num_shift_r(&x, count), 0);
    EXPECT_EQ(limbs_of(x), (limb_list{0, 0})) << count;
    EXPECT_EQ(x.sign, -1);
  }
  number nothing;
  EXPECT_EQ(num_shift_r(&nothing, 40), 0);
  EXPECT_EQ(nothing.limb_count, 0);
}

TEST(NumShiftRight, MovesWholeLimbsAndBitsAndKeepsSignAndRoom) {
  number x(-1, {1, 0x80000003, 0xf0000005});
  EXPECT_EQ(num_shift_r(&x, 33), 0);
  EXPECT_EQ(limbs_of(x), (limb_list{0xc0000001, 0x78000002, 0}));
  EXPECT_EQ(x.sign, -1);
  EXPECT_EQ(num_shift_r(&x, 32), 0);
  EXPECT_EQ(limbs_of(x), (limb_list{0x78000002, 0, 0}));
  EXPECT_EQ(num_shift_r(&x, 1), 0);
  EXPECT_EQ(limbs_of(x), (limb_list{0x3c000001, 0, 0}));
}

}  // namespace
