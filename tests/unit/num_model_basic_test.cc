// SPDX-License-Identifier: MIT
// Limbs, allocations and signs of copies, shifts, comparisons and conversions beside a plain model.
#include <gtest/gtest.h>
#include <libsec/num.h>

#include <cstdint>
#include <vector>

#include "support/num_model.h"
#include "support/num_operands.h"

namespace {

using test::for_operand_sets;
using test::limb_list;
using test::model;
using test::num_random;
using test::number;

// Long numbers are rare: some of the model goes bit by bit.
int longest(num_random &random) {
  return random.below(64) == 0 ? 130 : 12;
}

TEST(NumModelBasic, GrowingAddsZeroLimbsAndNeverShrinks) {
  for_operand_sets(21, [](num_random &random) {
    number x = random.any(longest(random));
    model mx(x);
    const num_limb *const held = x.limbs;
    const int32_t wanted = random.below(20) - 2, had = x.limb_count;
    if (wanted > 0) mx.grow(static_cast<size_t>(wanted));
    ASSERT_EQ(num_grow(&x, wanted), 0);
    ASSERT_TRUE(mx == x);
    ASSERT_TRUE(wanted > had || x.limbs == held);
  });
}

TEST(NumModelBasic, CopiesTakeSignificantLimbsAndKeepRoom) {
  for_operand_sets(22, [](num_random &random) {
    const number a = random.any(longest(random));
    number x = random.any(longest(random)), same(a);
    const model ma(a);
    model mx(x);
    mx.assign(a.sign, ma);
    ASSERT_EQ(num_copy(&x, &a), 0);
    ASSERT_TRUE(mx == x);
    ASSERT_EQ(num_copy(&same, &same), 0);
    ASSERT_TRUE(ma == same);
  });
}

TEST(NumModelBasic, SwappedRecordsKeepTheirArraysAndFreedOnesHaveNone) {
  for_operand_sets(23, [](num_random &random) {
    number a = random.any(12), b = random.any(12);
    const model ma(a), mb(b);
    const num_limb *const held_a = a.limbs, *const held_b = b.limbs;
    if (random.below(8) == 0) {
      ASSERT_EQ(num_swap(&a, &a), 0);
      ASSERT_TRUE(ma == a && a.limbs == held_a);
    } else {
      ASSERT_EQ(num_swap(&a, &b), 0);
      ASSERT_TRUE(ma == b && mb == a && a.limbs == held_b && b.limbs == held_a);
    }
    num_free(&a, &b, &a, static_cast<num *>(nullptr));
    ASSERT_TRUE(a.sign == 1 && a.limb_count == 0 && a.limbs == nullptr);
    ASSERT_TRUE(b.sign == 1 && b.limb_count == 0 && b.limbs == nullptr);
    num c{-1, 7, nullptr}, d{-1, 7, nullptr};
    num_init(&c, &d, static_cast<num *>(nullptr));
    ASSERT_TRUE(c.sign == 1 && c.limb_count == 0 && d.sign == 1 && d.limb_count == 0);
  });
}

TEST(NumModelBasic, IntegersFillOneLimbAndClearTheOthers) {
  for_operand_sets(24, [](num_random &random) {
    number x = random.any(12);
    const auto z = static_cast<int32_t>(random.limb());
    model mx(x);
    const auto magnitude = static_cast<num_limb>(z < 0 ? -int64_t{z} : int64_t{z});
    mx.grow(1);
    mx.assign(z < 0 ? -1 : 1, model(1, {magnitude}));
    ASSERT_EQ(num_lset(&x, z), 0);
    ASSERT_TRUE(mx == x);
  });
}

TEST(NumModelBasic, BitsAndBytesAreCounted) {
  for_operand_sets(25, [](num_random &random) {
    const number x = random.any(longest(random));
    const model mx(x);
    size_t lowest = 0;
    while (lowest < mx.bits() && !mx.bit(lowest)) ++lowest;
    ASSERT_EQ(num_lsb(&x), static_cast<int32_t>(lowest));
    ASSERT_EQ(num_msb(&x), static_cast<int32_t>(mx.bits()));
    ASSERT_EQ(num_size(&x), static_cast<int32_t>((mx.bits() + 7) / 8));
  });
}

TEST(NumModelBasic, Comparisons) {
  for_operand_sets(26, [](num_random &random) {
    const number a = random.any(longest(random)), b = random.near(a, longest(random));
    const model ma(a), mb(b);
    ASSERT_EQ(num_cmp_abs(&a, &b), compare_magnitudes(ma, mb));
    ASSERT_EQ(num_cmp_num(&a, &b), compare(ma, mb));
    const auto z = static_cast<int32_t>(a.limb_count > 0 && random.below(2) == 0 ? a.limbs[0] : random.limb());
    const auto magnitude = static_cast<num_limb>(z < 0 ? -int64_t{z} : int64_t{z});
    ASSERT_EQ(num_cmp_int(&a, z), compare(ma, model(z < 0 ? -1 : 1, {magnitude})));
    ASSERT_TRUE(ma == a && mb == b);
  });
}

TEST(NumModelBasic, Shifts) {
  for_operand_sets(27, [](num_random &random) {
    number left = random.any(longest(random)), right(left);
    const model before(left);
    const int count = random.below(4) == 0 ? 32 * random.below(5) : random.below(200);
    ASSERT_EQ(num_shift_l(&left, count), 0);
    ASSERT_EQ(num_shift_r(&right, count), 0);
    ASSERT_TRUE(shifted_left(before, static_cast<size_t>(count)) == left) << count;
    ASSERT_TRUE(shifted_right(before, static_cast<size_t>(count)) == right) << count;
  });
}

TEST(NumModelBasic, BytesTakeTheLimbsTheyNeedAndComeBack) {
  for_operand_sets(28, [](num_random &random) {
    const number source = random.any(longest(random));
    const model value(source);
    const size_t size = (value.bits() + 7) / 8, leading = static_cast<size_t>(random.below(6));
    std::vector<uint8_t> bytes(leading + size, 0), back(leading + size, 0xaa);
    for (size_t j = 0; j < size; ++j) {
      bytes[bytes.size() - 1 - j] = static_cast<uint8_t>(value.at(j / 4) >> (8 * (j % 4)));
    }
    number x = random.any(longest(random));
    model mx(x);
    mx.grow(std::max((size + 3) / 4, size_t{1}));
    mx.assign(1, value);
    ASSERT_EQ(num_read_binary(&x, bytes.data(), static_cast<int32_t>(bytes.size())), 0);
    ASSERT_TRUE(mx == x);
    ASSERT_EQ(num_write_binary(&source, back.data(), static_cast<int32_t>(back.size())), 0);
    ASSERT_EQ(back, bytes);
  });
}

}  // namespace
