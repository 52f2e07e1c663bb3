// SPDX-License-Identifier: MIT
// The temporaries of the arithmetic, as they are before anything is assigned to them.
#include "bignum/scoped_num.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

TEST(ScopedNum, ATemporaryStartsAsAnEmptyPositiveRecord) {
  const libsec::scoped_num X;
  EXPECT_EQ(X.sign, 1);
  EXPECT_EQ(X.limb_count, 0);
  EXPECT_EQ(X.limbs, nullptr);
}

TEST(ScopedNum, AReleasedRecordIsEmptyAndPositive) {
  num X;
  num_init(&X, static_cast<num *>(nullptr));
  ASSERT_EQ(num_lset(&X, -7), 0);
  libsec::release(&X);
  EXPECT_EQ(X.sign, 1);
  EXPECT_EQ(X.limb_count, 0);
  EXPECT_EQ(X.limbs, nullptr);
}

TEST(ScopedNum, AConstantOfOneLimbShowsItsSignAndMagnitude) {
  const libsec::one_limb constant(-1, 0xFEDCBA98);
  EXPECT_EQ(constant.get()->sign, -1);
  ASSERT_EQ(constant.get()->limb_count, 1);
  EXPECT_EQ(constant.get()->limbs[0], 0xFEDCBA98u);
}

TEST(ScopedNum, SignsAndMagnitudesOfIntegersReachTheSmallest) {
  constexpr int32_t smallest = std::numeric_limits<int32_t>::min();
  EXPECT_EQ(libsec::magnitude_of(smallest), 0x80000000u);
  EXPECT_EQ(libsec::magnitude_of(-1), 1u);
  EXPECT_EQ(libsec::magnitude_of(0), 0u);
  EXPECT_EQ(libsec::magnitude_of(1), 1u);
  EXPECT_EQ(libsec::sign_of(smallest), -1);
  EXPECT_EQ(libsec::sign_of(0), 1);
  EXPECT_EQ(libsec::sign_of(1), 1);
}

}  // namespace
