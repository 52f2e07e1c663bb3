// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <libsec/num.h>

#include <cstdint>
#include <limits>
#include <vector>

#include "support/heap.h"
#include "support/num_values.h"

namespace {

using bytes = std::vector<uint8_t>;
using test::limb_list;
using test::limbs_of;
using test::number;

TEST(NumReadBinary, AFullBlockOf128BytesGives32Limbs) {
  bytes block(128, 0x11);
  block[127] = 0x22;
  number x;
  EXPECT_EQ(num_read_binary(&x, block.data(), 128), 0);
  EXPECT_EQ(x.limb_count, 32);
  EXPECT_EQ(x.limbs[0], 0x11111122U);
  EXPECT_EQ(x.limbs[31], 0x11111111U);
}

TEST(NumReadBinary, ALeadingZeroByteTakesNoLimb) {
  bytes block(129, 0xff);
  block[0] = 0;
  number x;
  EXPECT_EQ(num_read_binary(&x, block.data(), 129), 0);
  EXPECT_EQ(limbs_of(x), limb_list(32, 0xffffffff));
}

TEST(NumReadBinary, NoBytesOrOnlyZerosGiveZeroWithOneLimb) {
  const bytes zeros(9, 0);
  number x, y;
  x.sign = -1;
  EXPECT_EQ(num_read_binary(&x, nullptr, 0), 0);
  EXPECT_EQ(limbs_of(x), (limb_list{0}));
  EXPECT_EQ(x.sign, 1);
  EXPECT_EQ(num_read_binary(&y, zeros.data(), 9), 0);
  EXPECT_EQ(limbs_of(y), (limb_list{0}));
}

TEST(NumReadBinary, BytesAreBigEndianAndTheOldValueGoes) {
  const bytes five{0x01, 0x02, 0x03, 0x04, 0x05};
  number x(-1, {9, 9, 9});
  EXPECT_EQ(num_read_binary(&x, five.data(), 5), 0);
  EXPECT_EQ(limbs_of(x), (limb_list{0x02030405, 0x01, 0}));
  EXPECT_EQ(x.sign, 1);
}

TEST(NumReadBinary, ANegativeLengthFails) {
  number x(3);
  EXPECT_EQ(num_read_binary(&x, nullptr, -1), NUM_ERR_ALLOC_FAILED);
  EXPECT_EQ(num_read_binary(&x, nullptr, std::numeric_limits<int32_t>::min()), NUM_ERR_ALLOC_FAILED);
}

TEST(NumReadBinary, AllocationFailureIsPassedOn) {
  const bytes five{1, 2, 3, 4, 5};
  number x;
  test::heap_watch heap(0);
  EXPECT_EQ(num_read_binary(&x, five.data(), 5), NUM_ERR_ALLOC_FAILED);
  EXPECT_EQ(num_read_binary(&x, five.data(), 0), NUM_ERR_ALLOC_FAILED);
}

TEST(NumWriteBinary, TheExactSizeHasNoLeadingZero) {
  const number x(-1, {0x04050607, 0x010203, 0});
  bytes out(9, 0xaa);
  EXPECT_EQ(num_write_binary(&x, out.data() + 1, 7), 0);
  EXPECT_EQ(out, (bytes{0xaa, 1, 2, 3, 4, 5, 6, 7, 0xaa}));
}

TEST(NumWriteBinary, AShorterBufferIsRefusedAndUntouched) {
  const number x(1, {0x04050607, 0x010203}), zero(0);
  bytes out(7, 0xaa);
  EXPECT_EQ(num_write_binary(&x, out.data(), 6), NUM_ERR_BUFFER_TOO_SMALL);
  EXPECT_EQ(num_write_binary(&x, out.data(), -1), NUM_ERR_BUFFER_TOO_SMALL);
  EXPECT_EQ(num_write_binary(&zero, out.data(), -1), NUM_ERR_BUFFER_TOO_SMALL);
  EXPECT_EQ(out, bytes(7, 0xaa));
}

TEST(NumWriteBinary, AZeroFitsNoBytesAndFillsMoreWithZeros) {
  const number zero(-1, {0, 0}), nothing;
  EXPECT_EQ(num_write_binary(&zero, nullptr, 0), 0);
  EXPECT_EQ(num_write_binary(&nothing, nullptr, 0), 0);
  bytes out(3, 0xaa);
  EXPECT_EQ(num_write_binary(&nothing, out.data(), 3), 0);
  EXPECT_EQ(out, bytes(3, 0));
}

TEST(NumWriteBinary, ALongerBufferGetsZerosInFront) {
  const number x(0x0102);
  bytes out(4, 0xaa);
  EXPECT_EQ(num_write_binary(&x, out.data(), 4), 0);
  EXPECT_EQ(out, (bytes{0, 0, 1, 2}));
}

}  // namespace
