// SPDX-License-Identifier: MIT
// Copies, shifts, comparisons and conversions beside GMP's: up to 130 limbs.
#include <gmp.h>
#include <gtest/gtest.h>
#include <libsec/num.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "support/gmp_num.h"
#include "support/num_operands.h"

namespace {

using test::for_operand_sets;
using test::gmp;
using test::num_random;
using test::number;

constexpr int longest = 130;

int sign_of(int comparison) {
  return comparison > 0 ? 1 : comparison < 0 ? -1 : 0;
}

// GMP's comparison, but for the rule for different lengths: then the first operand's sign alone counts.
int expected_comparison(const num &x, const num &y) {
  const gmp a(x), b(y);
  const size_t i = test::significant(x).size(), j = test::significant(y).size();
  if (i != j) return i > j ? x.sign : -x.sign;
  return sign_of(mpz_cmp(a.z, b.z));
}

// Any 32-bit integer; where the edges count also the least, the greatest and small ones.
int32_t integer(num_random &random) {
  const auto value = static_cast<int32_t>(random.limb());
  return random.below(4) == 0 ? value % 3 : value;
}

TEST(NumGmpBasic, GrowingAndCopyingAndSwappingKeepTheValue) {
  for_operand_sets(121, [](num_random &random) {
    number a = random.any(longest), x = random.any(longest);
    const gmp expected(a), other(x);
    ASSERT_EQ(num_grow(&a, random.below(longest + 4)), 0);
    ASSERT_TRUE(expected == a);
    ASSERT_EQ(num_swap(&x, &a), 0);
    ASSERT_TRUE(other == a && expected == x);
    ASSERT_EQ(num_copy(&a, random.below(8) == 0 ? &a : &x), 0);
    ASSERT_TRUE(expected == a || other == a);
    ASSERT_EQ(num_copy(&a, &x), 0);
    ASSERT_TRUE(expected == a && expected == x);
    num_free(&a, &x, static_cast<num *>(nullptr));
    ASSERT_TRUE(gmp() == a && gmp() == x);
  });
}

TEST(NumGmpBasic, Integers) {
  gmp expected;
  for_operand_sets(122, [&](num_random &random) {
    number x = random.any(longest);
    const int32_t z = integer(random);
    mpz_set_si(expected.z, z);
    ASSERT_EQ(num_lset(&x, z), 0);
    ASSERT_TRUE(expected == x);
  });
}

TEST(NumGmpBasic, LowestAndHighestBitsAndBytes) {
  for_operand_sets(123, [](num_random &random) {
    const number x = random.any(longest);
    const gmp a(x);
    const bool zero = mpz_sgn(a.z) == 0;
    ASSERT_EQ(num_lsb(&x), zero ? 0 : static_cast<int32_t>(mpz_scan1(a.z, 0)));
    ASSERT_EQ(num_msb(&x), zero ? 0 : static_cast<int32_t>(mpz_sizeinbase(a.z, 2)));
    ASSERT_EQ(num_size(&x), zero ? 0 : static_cast<int32_t>((mpz_sizeinbase(a.z, 2) + 7) / 8));
  });
}

TEST(NumGmpBasic, Shifts) {
  gmp left, right;
  for_operand_sets(124, [&](num_random &random) {
    number a = random.any(longest), b(a);
    // By whole limbs, by some bits, by more than there are.
    const int count = random.below(4) == 0   ? 32 * random.below(150)
                      : random.below(3) == 0 ? random.below(33)
                                             : random.below(4800);
    mpz_mul_2exp(left.z, gmp(a).z, static_cast<mp_bitcnt_t>(count));
    mpz_tdiv_q_2exp(right.z, gmp(a).z, static_cast<mp_bitcnt_t>(count));
    ASSERT_EQ(num_shift_l(&a, count), 0);
    ASSERT_EQ(num_shift_r(&b, count), 0);
    ASSERT_TRUE(left == a) << count;
    ASSERT_TRUE(right == b) << count;
  });
}

TEST(NumGmpBasic, Comparisons) {
  for_operand_sets(125, [](num_random &random) {
    const number x = random.any(longest), other = random.near(x, longest);
    const number &y = random.below(8) == 0 ? x : other;
    ASSERT_EQ(num_cmp_abs(&x, &y), sign_of(mpz_cmpabs(gmp(x).z, gmp(y).z)));
    ASSERT_EQ(num_cmp_num(&x, &y), expected_comparison(x, y));
  });
}

TEST(NumGmpBasic, ComparisonsWithIntegers) {
  for_operand_sets(126, [](num_random &random) {
    const number x = random.any(random.below(2) == 0 ? 2 : longest);
    // The number itself, its neighbours, and others.
    auto z = integer(random);
    if (x.limb_count > 0 && random.below(2) == 0) {
      z = static_cast<int32_t>(x.limbs[0] + static_cast<num_limb>(random.below(3)) - 1);
    }
    const number y(z);
    ASSERT_EQ(num_cmp_int(&x, z), expected_comparison(x, y)) << z;
  });
}

TEST(NumGmpBasic, BytesToNumbers) {
  gmp expected;
  for_operand_sets(127, [&](num_random &random) {
    const number source = random.any(longest);
    // Limbs seen as bytes, from any byte on: leading zeros and every length modulo four.
    const auto skipped = source.limb_count == 0 ? 0 : static_cast<size_t>(random.below(4));
    std::vector<uint8_t> bytes(4 * static_cast<size_t>(source.limb_count) + 1);
    if (source.limb_count > 0) std::memcpy(bytes.data(), source.limbs, bytes.size() - 1);
    const size_t length = bytes.size() - 1 - skipped;
    mpz_import(expected.z, length, 1, 1, 0, 0, bytes.data() + skipped);
    number x = random.any(longest);
    ASSERT_EQ(num_read_binary(&x, bytes.data() + skipped, static_cast<int32_t>(length)), 0);
    ASSERT_TRUE(expected == x);
    ASSERT_EQ(x.sign, 1);
  });
}

TEST(NumGmpBasic, NumbersToBytes) {
  for_operand_sets(128, [](num_random &random) {
    const number x = random.any(longest);
    const gmp a(x);
    const size_t size = mpz_sgn(a.z) == 0 ? 0 : (mpz_sizeinbase(a.z, 2) + 7) / 8;
    const size_t leading = static_cast<size_t>(random.below(9));
    std::vector<uint8_t> expected(leading + size + 1, 0), bytes(leading + size + 1, 0xaa);
    mpz_export(expected.data() + leading, nullptr, 1, 1, 0, 0, a.z);
    expected.back() = 0xaa;
    if (size > 0) {
      const std::vector<uint8_t> before(bytes);
      ASSERT_EQ(num_write_binary(&x, bytes.data(), static_cast<int32_t>(size) - 1), NUM_ERR_BUFFER_TOO_SMALL);
      ASSERT_EQ(bytes, before);
    }
    ASSERT_EQ(num_write_binary(&x, bytes.data(), static_cast<int32_t>(leading + size)), 0);
    ASSERT_EQ(bytes, expected);
  });
}

}  // namespace
