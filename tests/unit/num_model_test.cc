// SPDX-License-Identifier: MIT
// Limbs, allocations and signs of sums, products and quotients beside a plain model, under every aliasing.
#include "support/num_model.h"

#include <gtest/gtest.h>
#include <libsec/num.h>

#include "support/num_operands.h"

namespace {

using test::for_operand_sets;
using test::model;
using test::num_random;
using test::number;
using test::operands;

int longest(num_random &random) {
  return random.below(64) == 0 ? 130 : 12;
}

// The model divides bit by bit: long numbers are rarer.
int longest_divided(num_random &random) {
  return random.below(1000) == 0 ? 130 : 10;
}

// What the records hold before the operation.
struct before {
  model x, a, b;
  explicit before(const operands &o) : x(*o.to), a(*o.first), b(*o.second) {}
};

TEST(NumModel, SumsOfMagnitudes) {
  for_operand_sets(1, [](num_random &random) {
    operands o(random, longest(random));
    const before was(o);
    ASSERT_EQ(num_add_abs(o.to, o.first, o.second), 0);
    ASSERT_TRUE(sum_of_magnitudes(was.x, was.a, was.b, o.alias()) == *o.to);
  });
}

TEST(NumModel, DifferencesOfMagnitudes) {
  for_operand_sets(2, [](num_random &random) {
    operands o(random, longest(random));
    const before was(o);
    const int32_t code = num_sub_abs(o.to, o.first, o.second);
    if (compare_magnitudes(was.a, was.b) < 0) {
      ASSERT_EQ(code, NUM_ERR_NEGATIVE_VALUE);
      ASSERT_TRUE(was.x == *o.to);
    } else {
      ASSERT_EQ(code, 0);
      ASSERT_TRUE(difference_of_magnitudes(was.x, was.a, was.b, o.alias()) == *o.to);
    }
  });
}

TEST(NumModel, SignedSums) {
  for_operand_sets(3, [](num_random &random) {
    operands o(random, longest(random));
    const before was(o);
    ASSERT_EQ(num_add_num(o.to, o.first, o.second), 0);
    ASSERT_TRUE(signed_sum(was.x, was.a, was.b, 1, o.alias()) == *o.to);
  });
}

TEST(NumModel, SignedDifferences) {
  for_operand_sets(4, [](num_random &random) {
    operands o(random, longest(random));
    const before was(o);
    ASSERT_EQ(num_sub_num(o.to, o.first, o.second), 0);
    ASSERT_TRUE(signed_sum(was.x, was.a, was.b, -1, o.alias()) == *o.to);
  });
}

TEST(NumModel, Products) {
  for_operand_sets(5, [](num_random &random) {
    operands o(random, longest(random));
    const before was(o);
    ASSERT_EQ(num_mul_num(o.to, o.first, o.second), 0);
    ASSERT_TRUE(product(was.x, was.a, was.b) == *o.to);
  });
}

TEST(NumModel, ProductsWithIntegers) {
  for_operand_sets(6, [](num_random &random) {
    operands o(random, longest(random));
    const before was(o);
    const num_limb factor = random.limb();
    ASSERT_EQ(num_mul_int(o.to, o.first, factor), 0);
    ASSERT_TRUE(product(was.x, was.a, model(1, {factor})) == *o.to);
  });
}

TEST(NumModel, QuotientsAndRemainders) {
  for_operand_sets(7, [](num_random &random) {
    operands o(random, longest_divided(random));
    number y = random.any(12);
    num *const places[] = {&o.x, &y, &o.a, &o.b, nullptr};
    num *const q = places[random.below(5)];
    num *r = places[random.below(5)];
    if (q == r) r = q == nullptr ? &o.x : nullptr;
    const before was(o);
    model mq, mr;
    if (q != nullptr) mq = model(*q);
    if (r != nullptr) mr = model(*r);
    const int32_t code = num_div_num(q, r, o.first, o.second);
    if (was.b.zero()) {
      ASSERT_EQ(code, NUM_ERR_DIVISION_BY_ZERO);
    } else {
      ASSERT_EQ(code, 0);
      divide(mq, mr, was.a, was.b);
    }
    ASSERT_TRUE(q == nullptr || mq == *q);
    ASSERT_TRUE(r == nullptr || mr == *r);
  });
}

TEST(NumModel, Residues) {
  for_operand_sets(8, [](num_random &random) {
    operands o(random, longest_divided(random));
    (o.second == &o.b ? o.b : o.a).sign = 1;  // a modulus is positive
    const before was(o);
    const int32_t code = num_mod_num(o.to, o.first, o.second);
    if (was.b.zero()) {
      ASSERT_EQ(code, NUM_ERR_DIVISION_BY_ZERO);
      ASSERT_TRUE(was.x == *o.to);
      return;
    }
    model r = was.x;
    modulo(r, was.a, was.b);
    ASSERT_EQ(code, 0);
    ASSERT_TRUE(r == *o.to);
  });
}

}  // namespace
