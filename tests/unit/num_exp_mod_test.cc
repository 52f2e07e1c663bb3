// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <libsec/num.h>

#include "bignum/exp_general.h"
#include "bignum/sliding_window.h"
#include "support/heap.h"
#include "support/num_model.h"
#include "support/num_random.h"
#include "support/num_values.h"
#include "vectors/exp_mod_vectors.h"

namespace {

using test::from_hex;
using test::heap_watch;
using test::limb_list;
using test::limbs_of;
using test::model;
using test::number;
using test::significant;

// 2^64 - 59, a prime of two limbs
const limb_list prime{0xffffffc5, 0xffffffff};

number power_of_two(int32_t exponent) {
  number x(1);
  (void)num_shift_l(&x, exponent);
  return x;
}

number r_squared(const num &N) {
  const number r2 = power_of_two(64 * N.limb_count);
  model rest, quotient;
  divide_magnitudes(model(r2), model(N), quotient, rest);
  return number(1, rest.limbs);
}

TEST(NumExpMod, GivesTheKnownResults) {
  for (const auto &v : vectors::exp_mod_vectors) {
    const number a = from_hex(v.base), e = from_hex(v.exponent), n = from_hex(v.modulus);
    const limb_list expected = significant(from_hex(v.result));
    number x, rr, y, general;
    EXPECT_EQ(num_exp_mod(&x, &a, &e, &n, nullptr), 0);
    EXPECT_EQ(significant(x), expected) << v.name;
    EXPECT_EQ(num_exp_mod(&y, &a, &e, &n, &rr), 0);
    EXPECT_EQ(significant(y), expected) << v.name;
    EXPECT_EQ(libsec::exp_mod_general(&general, &a, &e, &n, nullptr), 0);
    EXPECT_EQ(limbs_of(general), limbs_of(x)) << v.name;
    EXPECT_EQ(x.limb_count, n.limb_count + 1);
    EXPECT_EQ(x.sign, 1);
  }
}

TEST(NumExpMod, AModulusOf1024BitsAndExponent65537NeedNoTable) {
  const auto &v = vectors::exp_mod_vectors[1];
  const number a = from_hex(v.base), e = from_hex(v.exponent), n = from_hex(v.modulus), rr = r_squared(n);
  number x, cache(rr);
  const heap_watch heap;
  EXPECT_EQ(libsec::exp_mod_general(&x, &a, &e, &n, &cache), 0);
  EXPECT_EQ(heap.allocations(), 3);  // X, one slot, the scratch number
  EXPECT_EQ(significant(x), significant(from_hex(v.result)));
}

TEST(NumExpMod, TheWindowGrowsWithTheExponent) {
  const struct {
    int32_t bits, window;
  } steps[] = {{0, 1}, {23, 1}, {24, 3}, {79, 3}, {80, 4}, {239, 4}, {240, 5}, {671, 5}, {672, 6}, {4000, 6}};
  const number n(1, prime), a(3), rr = r_squared(n);
  for (const auto &step : steps) {
    EXPECT_EQ(libsec::window_width(step.bits), step.window);
    const number e = step.bits == 0 ? number(0) : power_of_two(step.bits - 1);
    number x, cache(rr);
    const heap_watch heap;
    ASSERT_EQ(num_exp_mod(&x, &a, &e, &n, &cache), 0);
    // X, slot 1 and the scratch number, and 2^(w-1) slots from a window of 3 on
    EXPECT_EQ(heap.allocations(), step.window == 1 ? 3 : 3 + (1 << (step.window - 1))) << step.bits;
    EXPECT_EQ(heap.freed_unwiped(), 0);
  }
}

// The power by squarings and products of the model, bit by bit from the top.
limb_list model_power(const num &A, const num &E, const num &N) {
  const model n(N), e(E);
  model result, base, value(1, {1});
  modulo(base, model(A), n);
  modulo(result, value, n);
  for (size_t i = e.bits(); i-- > 0;) {
    value = product(model(), result, result);
    if (e.bit(i)) {
      modulo(result, value, n);
      value = product(model(), result, base);
    }
    modulo(result, value, n);
  }
  return result.limbs;
}

TEST(NumExpMod, EveryWindowWidthAndItsNeighboursGiveTheRightPower) {
  test::num_random random(21);
  const number n(1, prime);
  for (const int bits : {1, 2, 22, 23, 24, 25, 79, 80, 81, 239, 240, 241, 671, 672, 673}) {
    for (int set = 0; set < 4; ++set) {
      const number a = number(1, random.limbs(2));
      limb_list exponent = random.limbs((bits + 31) / 32);
      exponent.back() &= 0xffffffff >> (31 - (bits - 1) % 32);
      exponent.back() |= num_limb{1} << ((bits - 1) % 32);
      const number e(1, exponent);
      number x, expected(1, model_power(a, e, n));
      ASSERT_EQ(num_msb(&e), bits);
      ASSERT_EQ(num_exp_mod(&x, &a, &e, &n, nullptr), 0);
      ASSERT_EQ(num_cmp_num(&x, &expected), 0) << bits;
    }
  }
}

TEST(NumExpMod, AnEvenNegativeOrEmptyModulusIsRefusedAndNothingIsTouched) {
  const number a(3), e(5), even(10), minus(-7), zero(0), nothing;
  number x(-1, {9}), rr;
  const heap_watch heap;
  for (const number *n : {&even, &minus, &zero, &nothing}) {
    EXPECT_EQ(num_exp_mod(&x, &a, &e, n, &rr), NUM_ERR_BAD_INPUT);
  }
  EXPECT_EQ(limbs_of(x), (limb_list{9}));
  EXPECT_EQ(x.sign, -1);
  EXPECT_EQ(rr.limbs, nullptr);
  EXPECT_EQ(heap.allocations(), 0);
}

TEST(NumExpMod, AModulusWithHighZeroLimbsWorksAndSetsTheRoomOfTheResults) {
  const number n(1, {prime[0], prime[1], 0, 0}), a(5), e(1, {0x12345678, 0x9}), tight(1, prime);
  number x, y, rr;
  EXPECT_EQ(num_exp_mod(&x, &a, &e, &n, &rr), 0);
  EXPECT_EQ(num_exp_mod(&y, &a, &e, &tight, nullptr), 0);
  EXPECT_EQ(significant(x), significant(y));
  EXPECT_EQ(x.limb_count, 5);
  EXPECT_EQ(y.limb_count, 3);
  EXPECT_EQ(significant(rr), significant(r_squared(n)));
  EXPECT_EQ(rr.limb_count, 9);
}

TEST(NumExpMod, ABaseNotSmallerThanTheModulusIsReducedFirst) {
  const number n(1, prime), e(3), same(1, prime), larger(1, {prime[0] + 5, prime[1]}), longer(1, {1, 2, 3, 4});
  number x, y(1, model_power(longer, e, n)), z;
  EXPECT_EQ(num_exp_mod(&x, &same, &e, &n, nullptr), 0);
  EXPECT_EQ(num_cmp_int(&x, 0), 0);
  EXPECT_EQ(num_exp_mod(&x, &larger, &e, &n, nullptr), 0);
  EXPECT_EQ(num_cmp_int(&x, 125), 0);
  EXPECT_EQ(num_exp_mod(&z, &longer, &e, &n, nullptr), 0);
  EXPECT_EQ(num_cmp_num(&z, &y), 0);
}

TEST(NumExpMod, ASecondCallUsesTheCacheOfTheFirst) {
  const number n(1, {0xffffffff, 0x7fffffff, 3}), a(1, {7, 8, 2}), e(65537);
  number x, y, rr;
  EXPECT_EQ(num_exp_mod(&x, &a, &e, &n, &rr), 0);
  EXPECT_EQ(rr.sign, 1);
  EXPECT_EQ(rr.limb_count, 2 * 3 + 1);
  EXPECT_EQ(significant(rr), significant(r_squared(n)));
  const num before = rr;
  const limb_list kept = limbs_of(rr);
  const heap_watch heap;
  EXPECT_EQ(num_exp_mod(&y, &a, &e, &n, &rr), 0);
  EXPECT_EQ(heap.allocations(), 3);  // nothing for a division
  EXPECT_EQ(limbs_of(y), limbs_of(x));
  EXPECT_EQ(rr.limbs, before.limbs);
  EXPECT_EQ(limbs_of(rr), kept);
}

TEST(NumExpMod, AGivenCacheIsUsedWithoutACheck) {
  const number n(1, prime), a(5), one(1);
  // With 1 in the place of R^2 every product misses a factor R^2: 5 * 1 / R, times 1 / R, reduced.
  number x, rr(-1, {1}), wrong, right;
  EXPECT_EQ(num_exp_mod(&wrong, &a, &one, &n, &rr), 0);
  EXPECT_EQ(wrong.sign, -1);  // X starts as a copy of the cache
  EXPECT_EQ(num_exp_mod(&right, &a, &one, &n, nullptr), 0);
  EXPECT_NE(limbs_of(wrong), limbs_of(right));
  // X = rr/R; squared: rr^2/R^3; times 5 rr/R: 5 rr^3/R^5; reduced: 5 rr^3/R^6. So X * R^6 = 5.
  ASSERT_EQ(num_shift_l(&wrong, 6 * 64), 0);
  wrong.sign = 1;
  ASSERT_EQ(num_mod_num(&x, &wrong, &n), 0);
  EXPECT_EQ(num_cmp_int(&x, 5), 0);
}

TEST(NumExpMod, AnExponentOfZeroGivesOne) {
  const number n(1, prime), a(7), zero(1, {0, 0}), nothing, one(1);
  number x, y, z;
  EXPECT_EQ(num_exp_mod(&x, &a, &zero, &n, nullptr), 0);
  EXPECT_EQ(limbs_of(x), (limb_list{1, 0, 0}));
  EXPECT_EQ(num_exp_mod(&y, &a, &nothing, &n, nullptr), 0);
  EXPECT_EQ(limbs_of(y), (limb_list{1, 0, 0}));
  EXPECT_EQ(num_exp_mod(&z, &a, &zero, &one, nullptr), 0);
  EXPECT_EQ(limbs_of(z), (limb_list{0, 0}));
}

TEST(NumExpMod, ABaseWithoutLimbsOrZeroOfEitherSignGivesZero) {
  const number n(1, prime), nothing, minus_zero(-1, {0, 0}), e(30);
  number x, y;
  EXPECT_EQ(num_exp_mod(&x, &nothing, &e, &n, nullptr), 0);
  EXPECT_EQ(limbs_of(x), (limb_list{0, 0, 0}));
  EXPECT_EQ(num_exp_mod(&y, &minus_zero, &e, &n, nullptr), 0);
  EXPECT_EQ(limbs_of(y), (limb_list{0, 0, 0}));
}

TEST(NumExpMod, ANegativeBaseCountsByItsMagnitudeWhenItComparesBelowTheModulus) {
  const number n(1, prime), e(1), same_length(-1, {1, 0x80000000}), shorter(-5);
  number x, y, residue;
  EXPECT_EQ(num_exp_mod(&x, &same_length, &e, &n, nullptr), 0);
  EXPECT_EQ(limbs_of(x), (limb_list{1, 0x80000000, 0}));
  EXPECT_EQ(x.sign, 1);
  // A shorter negative number compares above and is therefore reduced.
  EXPECT_EQ(num_exp_mod(&y, &shorter, &e, &n, nullptr), 0);
  EXPECT_EQ(num_mod_num(&residue, &shorter, &n), 0);
  EXPECT_EQ(num_cmp_num(&y, &residue), 0);
}

TEST(NumExpMod, TheResultMayReplaceTheBaseAndKeepsALargerRoom) {
  const number n(1, prime), e(1, {77, 5}), a(1, {3, 4});
  number expected, in_place(a), roomy(-1, limb_list(9, 0xffffffff));
  ASSERT_EQ(num_exp_mod(&expected, &a, &e, &n, nullptr), 0);
  EXPECT_EQ(num_exp_mod(&in_place, &in_place, &e, &n, nullptr), 0);
  EXPECT_EQ(limbs_of(in_place), limbs_of(expected));
  EXPECT_EQ(num_exp_mod(&roomy, &a, &e, &n, nullptr), 0);
  EXPECT_EQ(roomy.limb_count, 9);
  EXPECT_EQ(significant(roomy), significant(expected));
  EXPECT_EQ(roomy.sign, 1);
}

// Lets the first, the second, ... allocation fail, and all after it, until none is left.
void fail_each_allocation(const number &a, const number &e, const number &n) {
  number expected;
  ASSERT_EQ(num_exp_mod(&expected, &a, &e, &n, nullptr), 0);
  const limb_list cache = significant(r_squared(n));
  int32_t code = NUM_ERR_ALLOC_FAILED;
  int failing = 0;
  for (; code != 0; ++failing) {
    number x, rr;
    {
      const heap_watch heap(failing);
      code = num_exp_mod(&x, &a, &e, &n, &rr);
      const int own = (x.limbs != nullptr ? 1 : 0) + (rr.limbs != nullptr ? 1 : 0);
      EXPECT_EQ(heap.still_held(), own) << failing;
      EXPECT_EQ(heap.freed_unwiped(), 0) << failing;
    }
    ASSERT_TRUE(code == NUM_ERR_ALLOC_FAILED || code == 0) << failing;
    // A cache that was handed over is right, even where the call failed afterwards.
    EXPECT_TRUE(rr.limbs == nullptr || significant(rr) == cache);
    EXPECT_TRUE(code != 0 || limbs_of(x) == limbs_of(expected));
  }
  EXPECT_GT(failing, 3);
}

// For a small modulus and for one of 1024 bits, which takes another road. The short exponent needs no
// table, the short base no reduction: the last allocation is another one each time.
TEST(NumExpMod, EveryAllocationThatFailsIsReportedAndNothingLeaks) {
  const auto &v = vectors::exp_mod_vectors[0];
  const number moduli[] = {number(1, prime), from_hex(v.modulus)};
  const number exponents[] = {from_hex(v.exponent), number(65537)};
  const number bases[] = {number(1, limb_list(40, 0xffffffff)), number(3), number(-3)};
  for (const number &n : moduli) {
    for (const number &e : exponents) {
      for (const number &a : bases) fail_each_allocation(a, e, n);
    }
  }
}

// A cache is not checked: it may be longer than all that is calculated with, and the start is a copy of it.
TEST(NumExpMod, ACacheLongerThanTheModulusNeedsRoomInTheResult) {
  const number n(1, prime), a(3), e(5);
  number rr(1, limb_list(9, 1)), x, y;
  int32_t code = NUM_ERR_ALLOC_FAILED;
  int failing = 0;
  for (; code != 0; ++failing) {
    number fresh;
    const heap_watch heap(failing);
    code = num_exp_mod(&fresh, &a, &e, &n, &rr);
    EXPECT_TRUE(code == 0 || code == NUM_ERR_ALLOC_FAILED);
    EXPECT_EQ(heap.still_held(), fresh.limbs != nullptr ? 1 : 0) << failing;
    EXPECT_EQ(heap.freed_unwiped(), 0) << failing;
  }
  EXPECT_EQ(failing, 5);  // X, one slot, the scratch number, X for the copy, and one without a failure
  ASSERT_EQ(num_exp_mod(&x, &a, &e, &n, &rr), 0);
  EXPECT_EQ(x.limb_count, 9);
}

TEST(NumExpMod, FailsWithoutMemoryEvenWhenTheDestinationHasRoom) {
  const auto &v = vectors::exp_mod_vectors[1];
  const number a = from_hex(v.base), e = from_hex(v.exponent), n = from_hex(v.modulus);
  number x(1, limb_list(40, 0)), rr = r_squared(n);
  const heap_watch heap(0);
  EXPECT_EQ(num_exp_mod(&x, &a, &e, &n, &rr), NUM_ERR_ALLOC_FAILED);
}

}  // namespace
