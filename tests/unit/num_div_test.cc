// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <libsec/num.h>

#include "bignum/long_division.h"
#include "support/heap.h"
#include "support/num_random.h"
#include "support/num_values.h"

#if LIBSEC_ADX
#include <cpuid.h>
#endif

namespace {

using test::limb_list;
using test::limbs_of;
using test::number;

TEST(NumDiv, ByZeroIsRefusedWithNothingChanged) {
  const number a(7), zero(-1, {0, 0}), nothing;
  number q(-1, {5}), r(-1, {6});
  const test::heap_watch heap(0);
  EXPECT_EQ(num_div_num(&q, &r, &a, &zero), NUM_ERR_DIVISION_BY_ZERO);
  EXPECT_EQ(num_div_num(&q, &r, &a, &nothing), NUM_ERR_DIVISION_BY_ZERO);
  EXPECT_EQ(num_mod_num(&r, &a, &zero), NUM_ERR_DIVISION_BY_ZERO);
  EXPECT_EQ(limbs_of(q), (limb_list{5}));
  EXPECT_EQ(limbs_of(r), (limb_list{6}));
  EXPECT_TRUE(q.sign == -1 && r.sign == -1);
  EXPECT_EQ(heap.allocations(), 0);
}

TEST(NumDiv, ASmallerNumberIsItsOwnRemainder) {
  const number a(-1, {5, 6, 0}), b(1, {0, 0, 1});
  number q(-1, {9, 9}), r;
  EXPECT_EQ(num_div_num(&q, &r, &a, &b), 0);
  EXPECT_EQ(limbs_of(q), (limb_list{0, 0}));
  EXPECT_EQ(q.sign, 1);
  EXPECT_EQ(limbs_of(r), (limb_list{5, 6}));
  EXPECT_EQ(r.sign, -1);
}

TEST(NumDiv, TheQuotientIsTruncatedAndTheRemainderHasTheDividendsSign) {
  const number minus_seven(-7), two(2);
  number q, r;
  EXPECT_EQ(num_div_num(&q, &r, &minus_seven, &two), 0);
  EXPECT_EQ(limbs_of(q), (limb_list{3}));
  EXPECT_EQ(q.sign, -1);
  EXPECT_EQ(limbs_of(r), (limb_list{1}));
  EXPECT_EQ(r.sign, -1);
}

TEST(NumDiv, AZeroRemainderIsPositive) {
  const number a(-8), b(2);
  number q, r;
  EXPECT_EQ(num_div_num(&q, &r, &a, &b), 0);
  EXPECT_EQ(limbs_of(r), (limb_list{0}));
  EXPECT_EQ(r.sign, 1);
}

TEST(NumDiv, ADivisorWhoseTopBitHasToBeMovedUpDividesRight) {
  // 0xfffffffdc05701b1 / 0xffffffff
  const number a(1, {0xc05701b1, 0xfffffffd}), b(1, {0xffffffff});
  number q, r;
  EXPECT_EQ(num_div_num(&q, &r, &a, &b), 0);
  EXPECT_EQ(limbs_of(q), (limb_list{0xfffffffe}));
  EXPECT_EQ(limbs_of(r), (limb_list{0xc05701af}));
}

TEST(NumDiv, AQuotientDigitThatIsOneTooLargeIsPutBack) {
  // Each forces the addition back, for 32-bit and for 64-bit words.
  const number a32(1, {3, 0, 0x80000000}), b32(1, {1, 0, 0x20000000});
  number q, r;
  EXPECT_EQ(num_div_num(&q, &r, &a32, &b32), 0);
  EXPECT_EQ(limbs_of(q), (limb_list{3}));
  EXPECT_EQ(limbs_of(r), (limb_list{0, 0, 0x20000000}));
  const number a64(1, {3, 0, 0, 0, 0, 0x80000000}), b64(1, {1, 0, 0, 0, 0, 0x20000000});
  number q64, r64;
  EXPECT_EQ(num_div_num(&q64, &r64, &a64, &b64), 0);
  EXPECT_EQ(limbs_of(q64), (limb_list{3}));
  EXPECT_EQ(limbs_of(r64), (limb_list{0, 0, 0, 0, 0, 0x20000000}));
}

TEST(NumDiv, TheResultsMayReplaceTheOperandsEitherWayRound) {
  const number seven(-1, {7, 7, 7}), three(1, {3, 3});
  number q, r;
  ASSERT_EQ(num_div_num(&q, &r, &seven, &three), 0);
  number a(seven), b(three);
  EXPECT_EQ(num_div_num(&a, &b, &a, &b), 0);
  EXPECT_EQ(test::significant(a), test::significant(q));
  EXPECT_EQ(test::significant(b), test::significant(r));
  EXPECT_TRUE(a.sign == q.sign && b.sign == r.sign);
  number c(seven), d(three);
  EXPECT_EQ(num_div_num(&d, &c, &c, &d), 0);
  EXPECT_EQ(test::significant(d), test::significant(q));
  EXPECT_EQ(test::significant(c), test::significant(r));
  number small(-2), large(9);
  EXPECT_EQ(num_div_num(&small, &large, &small, &large), 0);
  EXPECT_EQ(limbs_of(small), (limb_list{0}));
  EXPECT_EQ(limbs_of(large), (limb_list{2}));
  EXPECT_TRUE(small.sign == 1 && large.sign == -1);
}

TEST(NumDiv, FailedGrowthOfTheResultsIsNotReported) {
  const number a(1, {1, 2, 3}), b(-1, {1, 2});
  number q, r;
  {
    const test::heap_watch heap(1);  // the working memory is there, the results are not
    EXPECT_EQ(num_div_num(&q, &r, &a, &b), 0);
    EXPECT_EQ(heap.still_held(), 0);
    EXPECT_EQ(heap.freed_unwiped(), 0);
  }
  EXPECT_EQ(q.limb_count, 0);
  EXPECT_EQ(r.limb_count, 0);
  EXPECT_TRUE(q.sign == -1 && r.sign == 1);
  const test::heap_watch heap(0);
  EXPECT_EQ(num_div_num(&q, &r, &a, &b), NUM_ERR_ALLOC_FAILED);
  EXPECT_EQ(num_mod_num(&r, &a, &a), NUM_ERR_ALLOC_FAILED);
}

TEST(NumMod, ANegativeNumberHasAPositiveResidue) {
  const number minus_seven(-7), two(2);
  number r;
  EXPECT_EQ(num_mod_num(&r, &minus_seven, &two), 0);
  EXPECT_EQ(limbs_of(r), (limb_list{1}));
  EXPECT_EQ(r.sign, 1);
}

TEST(NumMod, ANegativeZeroIsReducedToZero) {
  const number minus_zero(-1, {0, 0}), seven(7), minus_fourteen(-14);
  number r, s;
  EXPECT_EQ(num_mod_num(&r, &minus_zero, &seven), 0);
  EXPECT_EQ(limbs_of(r), (limb_list{0}));
  EXPECT_EQ(r.sign, 1);
  EXPECT_EQ(num_mod_num(&s, &minus_fourteen, &seven), 0);
  EXPECT_EQ(s.sign, 1);
  EXPECT_EQ(num_cmp_int(&s, 0), 0);
}

TEST(NumMod, TheResidueMayReplaceTheModulus) {
  const number a(-7);
  number b(5);
  EXPECT_EQ(num_mod_num(&b, &a, &b), 0);
  EXPECT_EQ(limbs_of(b), (limb_list{3}));
  number same(9);
  EXPECT_EQ(num_mod_num(&same, &same, &same), 0);
  EXPECT_EQ(limbs_of(same), (limb_list{0}));
}

TEST(NumMod, ANegativeModulusEndsWithAResidueOrAnError) {
  const number minus_five(-5), minus_seven(-7), seven(7), ten(-10), long_minus(-1, {0, 1});
  number r;
  EXPECT_EQ(num_mod_num(&r, &minus_seven, &minus_five), NUM_ERR_BAD_INPUT);
  EXPECT_EQ(num_mod_num(&r, &seven, &minus_five), NUM_ERR_BAD_INPUT);
  EXPECT_EQ(num_mod_num(&r, &ten, &minus_five), 0);
  EXPECT_EQ(limbs_of(r), (limb_list{0}));
  EXPECT_EQ(num_mod_num(&r, &seven, &long_minus), 0);
  EXPECT_EQ(r.limbs[0], 7U);
}

TEST(NumMod, AllocationFailureInTheCorrectionIsReported) {
  const number a(-1, {1, 1, 1}), b(1, {2, 2, 2});
  number r(1, {0, 0, 0});
  const test::heap_watch heap(0);
  EXPECT_EQ(num_mod_num(&r, &a, &b), NUM_ERR_ALLOC_FAILED);
}

TEST(LongDivision, TwoWordsAreDividedByTheReciprocalAsByTheMachine) {
  test::num_random random(12);
  for (int set = 0; set < test::operand_sets(20000); ++set) {
    const uint32_t leading = random.limb() | 0x80000000;
    // Anywhere, or at a multiple of the divisor and its neighbours.
    uint32_t high = random.limb() % leading, low = random.limb();
    if (random.below(2) == 0) {
      const uint64_t near = uint64_t{random.limb()} * leading + static_cast<uint64_t>(random.below(3)) - 1;
      high = static_cast<uint32_t>(near >> 32) % leading;
      low = static_cast<uint32_t>(near);
    }
    const uint64_t two = uint64_t{high} << 32 | low;
    uint32_t rest = 0;
    const uint32_t digit = libsec::divide_two_words(high, low, leading, libsec::reciprocal_of(leading), rest);
    ASSERT_EQ(digit, two / leading) << two << " / " << leading;
    ASSERT_EQ(rest, two % leading) << two << " / " << leading;
  }
}

#if LIBSEC_ADX
// The bits as the processors' makers document them. Without this the rows could fall out of use.
TEST(LongDivision, TheProcessorsInstructionsAreUsedWhereItHasThem) {
  unsigned eax = 0, ebx = 0, ecx = 0, edx = 0;
  const bool has = __get_cpuid_count(7, 0, &eax, &ebx, &ecx, &edx) != 0 && (ebx >> 8 & 1) != 0 && (ebx >> 19 & 1) != 0;
  EXPECT_EQ(libsec::adx_works(), has);
  EXPECT_EQ(libsec::adx_works(), has) << "the answer is kept";
}

TEST(LongDivision, RowsByTheProcessorsInstructionsAreTheCompiledOnes) {
  if (!libsec::adx_works()) GTEST_SKIP() << "this processor lacks BMI2 or ADX";
  constexpr int32_t m = libsec::adx_row_words;
  test::num_random random(14);
  const auto words = [&](size_t count) {
    std::vector<uint64_t> value;
    for (const num_limb limb : random.limbs(static_cast<int>(count))) {
      value.push_back(random.below(4) == 0 ? uint64_t{random.limb()} << 32 | random.limb() : uint64_t{0} - (limb & 1));
    }
    return value;
  };
  for (int set = 0; set < test::operand_sets(20000); ++set) {
    const std::vector<uint64_t> divisor = words(m), given = words(m + 1);
    const uint64_t digit = words(1)[0];
    std::vector<uint64_t> rest = given;
    const uint64_t carry = libsec::subtract_product_adx(rest.data(), divisor.data(), digit);
    ASSERT_EQ(rest[m], given[m]);
    // The compiled row only tells whether the top word is below the carry: the carry is not, one less is.
    std::vector<uint64_t> expected = given;
    expected[m] = rest[m] = carry;
    ASSERT_FALSE(libsec::subtract_product(expected.data(), divisor.data(), m, digit));
    ASSERT_EQ(rest, expected);
    if (carry == 0) continue;
    std::copy_n(given.begin(), m, expected.begin());
    expected[m] = carry - 1;
    ASSERT_TRUE(libsec::subtract_product(expected.data(), divisor.data(), m, digit));
  }
}
#endif

#ifdef __SIZEOF_INT128__
TEST(LongDivision, WordsOf32And64BitsGiveTheSameDigits) {
  test::num_random random(11);
  for (int set = 0; set < test::operand_sets(20000); ++set) {
    const int m = 1 + random.below(6), n = m + random.below(6);  // words of 64 bits
    limb_list y = random.limbs(2 * m), x = random.limbs(2 * n);
    y.back() |= 0x80000000;
    std::vector<uint32_t> x32(x), q32(static_cast<size_t>(2 * (n - m) + 1));
    x32.push_back(0);
    std::vector<uint64_t> x64, y64, q64(static_cast<size_t>(n - m + 1));
    for (size_t i = 0; i < x.size(); i += 2) x64.push_back(x[i] | uint64_t{x[i + 1]} << 32);
    for (size_t i = 0; i < y.size(); i += 2) y64.push_back(y[i] | uint64_t{y[i + 1]} << 32);
    x64.push_back(0);
    libsec::divide_words<uint32_t>(q32.data(), x32.data(), 2 * n, y.data(), 2 * m);
    libsec::divide_words<uint64_t>(q64.data(), x64.data(), n, y64.data(), m);
    q32.push_back(0);
    for (size_t i = 0; i < q64.size(); ++i) ASSERT_EQ(q64[i], q32[2 * i] | uint64_t{q32[2 * i + 1]} << 32);
    for (size_t i = 0; i < y64.size(); ++i) ASSERT_EQ(x64[i], x32[2 * i] | uint64_t{x32[2 * i + 1]} << 32);
  }
}
#endif

}  // namespace
