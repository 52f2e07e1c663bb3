// SPDX-License-Identifier: MIT
// Limbs, allocations and signs of every operation beside a plain model, under every aliasing.
#include "support/num_model.h"

#include <gtest/gtest.h>
#include <libsec/num.h>

#include "support/num_random.h"
#include "support/num_values.h"

namespace {

using test::model;
using test::num_random;
using test::number;
using test::same;

constexpr int sets = 4000;  // small enough for an emulator
constexpr int longest = 12;

using operation = int32_t (*)(num *, const num *, const num *);

// One set of operands under one aliasing: what the destination held, what it is compared with.
struct operands {
  number x, a, b;
  num *to = nullptr;
  const num *first = nullptr, *second = nullptr;
  model old, ma, mb;
  same alias = same::none;

  explicit operands(num_random &random) : x(random.any(longest)), a(random.any(longest)), b(random.near(a, longest)) {
    first = &a;
    second = random.below(5) == 0 ? &a : &b;
    switch (random.below(4)) {
      case 0:
        to = &a;
        break;
      case 1:
        to = &b;
        break;
      default:
        to = &x;
        break;
    }
    if (random.below(4) == 0) {
      first = &b;  // so that the destination is the second operand, too
      second = random.below(5) == 0 ? &b : &a;
    }
    alias = to == first ? (to == second ? same::both : same::first) : to == second ? same::second : same::none;
    old = model(*to);
    ma = model(*first);
    mb = model(*second);
  }
};

TEST(NumModel, CopiesAndComparisons) {
  num_random random(1);
  for (int set = 0; set < test::operand_sets(sets); ++set) {
    const number a = random.any(longest), b = random.near(a, longest);
    number x = random.any(longest);
    const model ma(a), mb(b);
    model mx(x);
    ASSERT_EQ(num_cmp_abs(&a, &b), compare_magnitudes(ma, mb));
    ASSERT_EQ(num_cmp_num(&a, &b), compare(ma, mb));
    ASSERT_EQ(num_msb(&a), static_cast<int32_t>(ma.bits()));
    ASSERT_EQ(num_copy(&x, &a), 0);
    mx.assign(a.sign, ma);
    ASSERT_TRUE(mx == x);
  }
}

TEST(NumModel, Shifts) {
  num_random random(2);
  for (int set = 0; set < test::operand_sets(sets); ++set) {
    number left = random.any(longest), right(left);
    const model before(left);
    const int count = random.below(4) == 0 ? 32 * random.below(5) : random.below(200);
    ASSERT_EQ(num_shift_l(&left, count), 0);
    ASSERT_EQ(num_shift_r(&right, count), 0);
    ASSERT_TRUE(shifted_left(before, static_cast<size_t>(count)) == left) << count;
    ASSERT_TRUE(shifted_right(before, static_cast<size_t>(count)) == right) << count;
  }
}

TEST(NumModel, SumsAndDifferencesOfMagnitudes) {
  num_random random(3);
  for (int set = 0; set < test::operand_sets(sets); ++set) {
    operands add(random), subtract(random);
    ASSERT_EQ(num_add_abs(add.to, add.first, add.second), 0);
    ASSERT_TRUE(sum_of_magnitudes(add.old, add.ma, add.mb, add.alias) == *add.to);
    const int32_t code = num_sub_abs(subtract.to, subtract.first, subtract.second);
    if (compare_magnitudes(subtract.ma, subtract.mb) < 0) {
      ASSERT_EQ(code, NUM_ERR_NEGATIVE_VALUE);
      ASSERT_TRUE(subtract.old == *subtract.to);
    } else {
      ASSERT_EQ(code, 0);
      ASSERT_TRUE(difference_of_magnitudes(subtract.old, subtract.ma, subtract.mb, subtract.alias) == *subtract.to);
    }
  }
}

TEST(NumModel, SignedSumsAndDifferences) {
  num_random random(4);
  for (int set = 0; set < test::operand_sets(sets); ++set) {
    operands add(random), subtract(random);
    ASSERT_EQ(num_add_num(add.to, add.first, add.second), 0);
    ASSERT_TRUE(signed_sum(add.old, add.ma, add.mb, 1, add.alias) == *add.to);
    ASSERT_EQ(num_sub_num(subtract.to, subtract.first, subtract.second), 0);
    ASSERT_TRUE(signed_sum(subtract.old, subtract.ma, subtract.mb, -1, subtract.alias) == *subtract.to);
  }
}

TEST(NumModel, Products) {
  num_random random(5);
  for (int set = 0; set < test::operand_sets(sets); ++set) {
    operands by_num(random), by_int(random);
    ASSERT_EQ(num_mul_num(by_num.to, by_num.first, by_num.second), 0);
    ASSERT_TRUE(product(by_num.old, by_num.ma, by_num.mb) == *by_num.to);
    const num_limb factor = random.limb();
    ASSERT_EQ(num_mul_int(by_int.to, by_int.first, factor), 0);
    ASSERT_TRUE(product(by_int.old, by_int.ma, model(1, {factor})) == *by_int.to);
  }
}

TEST(NumModel, QuotientsAndRemainders) {
  num_random random(6);
  for (int set = 0; set < test::operand_sets(sets) / 2; ++set) {
    number a = random.any(longest), b = random.near(a, longest), x = random.any(longest), y = random.any(longest);
    num *const places[] = {&x, &y, &a, &b, nullptr};
    num *const q = places[random.below(5)];
    num *r = places[random.below(5)];
    if (q == r) r = q == nullptr ? &x : nullptr;
    const num *const divisor = random.below(8) == 0 ? &a : &b;
    const model ma(a), mb(*divisor);
    model mq, mr;
    if (q != nullptr) mq = model(*q);
    if (r != nullptr) mr = model(*r);
    const int32_t code = num_div_num(q, r, &a, divisor);
    if (mb.zero()) {
      ASSERT_EQ(code, NUM_ERR_DIVISION_BY_ZERO);
    } else {
      ASSERT_EQ(code, 0);
      divide(mq, mr, ma, mb);
    }
    ASSERT_TRUE(q == nullptr || mq == *q);
    ASSERT_TRUE(r == nullptr || mr == *r);
  }
}

TEST(NumModel, Residues) {
  num_random random(7);
  for (int set = 0; set < test::operand_sets(sets) / 2; ++set) {
    operands o(random);
    if (o.mb.zero() || o.mb.sign < 0) continue;
    model r = o.old;
    modulo(r, o.ma, o.mb);
    ASSERT_EQ(num_mod_num(o.to, o.first, o.second), 0);
    ASSERT_TRUE(r == *o.to);
  }
}

}  // namespace
