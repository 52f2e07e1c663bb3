// SPDX-License-Identifier: MIT
// Sums, products and quotients beside GMP's: up to 130 limbs, under every aliasing.
#include <gmp.h>
#include <gtest/gtest.h>
#include <libsec/num.h>

#include "support/gmp_num.h"
#include "support/num_operands.h"

namespace {

using test::for_operand_sets;
using test::gmp;
using test::num_random;
using test::number;
using test::operands;

constexpr int longest = 130;

// |x| + |b| by GMP, corrected for the carry that is added to one limb twice: when it leaves b's
// limbs and meets an all-ones limb below x's top one, it counts for that limb and not for the next.
void add_magnitudes(gmp &sum, const num &x, const num &b) {
  const auto n = test::significant(b).size();
  gmp magnitude_x(x), low;
  gmp magnitude_b(b);
  mpz_abs(magnitude_x.z, magnitude_x.z);
  mpz_abs(magnitude_b.z, magnitude_b.z);
  mpz_add(sum.z, magnitude_x.z, magnitude_b.z);
  mpz_fdiv_r_2exp(low.z, magnitude_x.z, 32 * n);
  mpz_add(low.z, low.z, magnitude_b.z);
  const bool carry = n > 0 && mpz_sizeinbase(low.z, 2) > 32 * n;
  if (!carry || n + 1 >= static_cast<size_t>(x.limb_count) || x.limbs[n] != 0xffffffff) return;
  gmp unit;
  mpz_setbit(unit.z, 32 * n);
  mpz_add(sum.z, sum.z, unit.z);
  mpz_mul_2exp(unit.z, unit.z, 32);
  mpz_sub(sum.z, sum.z, unit.z);
}

// The number to which the other one is added: it lies in the destination already or is copied there.
number first_addend(const operands &o, const num *&other) {
  other = o.to == o.second ? o.first : o.second;
  if (o.to != &o.x) return number(*o.to);
  number x(o.x);
  num_copy(&x, o.first);
  return x;
}

TEST(NumGmp, SumsOfMagnitudes) {
  gmp expected, result;
  for_operand_sets(101, [&](num_random &random) {
    operands o(random, longest);
    const num *other = nullptr;
    const number first = first_addend(o, other);
    add_magnitudes(expected, first, *other);
    ASSERT_EQ(num_add_abs(o.to, o.first, o.second), 0);
    mpz_abs(result.z, gmp(*o.to).z);
    ASSERT_TRUE(result == expected);
  });
}

TEST(NumGmp, DifferencesOfMagnitudes) {
  gmp expected, result;
  for_operand_sets(102, [&](num_random &random) {
    operands o(random, longest);
    gmp a(*o.first), b(*o.second);
    mpz_abs(a.z, a.z);
    mpz_abs(b.z, b.z);
    if (mpz_cmp(a.z, b.z) < 0) {
      const number before(*o.to);
      ASSERT_EQ(num_sub_abs(o.to, o.first, o.second), NUM_ERR_NEGATIVE_VALUE);
      ASSERT_EQ(test::limbs_of(*o.to), test::limbs_of(before));
      ASSERT_EQ(o.to->sign, before.sign);
      return;
    }
    mpz_sub(expected.z, a.z, b.z);
    ASSERT_EQ(num_sub_abs(o.to, o.first, o.second), 0);
    mpz_abs(result.z, gmp(*o.to).z);
    ASSERT_TRUE(result == expected);
  });
}

// a + direction * b. A sum of magnitudes has the carry of above.
void signed_sum(gmp &expected, const operands &o, int direction) {
  if (o.first->sign * o.second->sign * direction < 0) {
    (direction > 0 ? mpz_add : mpz_sub)(expected.z, gmp(*o.first).z, gmp(*o.second).z);
    return;
  }
  const num *other = nullptr;
  const number first = first_addend(o, other);
  add_magnitudes(expected, first, *other);
  if (o.first->sign < 0) mpz_neg(expected.z, expected.z);
}

TEST(NumGmp, SignedSums) {
  gmp expected;
  for_operand_sets(103, [&](num_random &random) {
    operands o(random, longest);
    signed_sum(expected, o, 1);
    ASSERT_EQ(num_add_num(o.to, o.first, o.second), 0);
    ASSERT_TRUE(expected == *o.to);
  });
}

TEST(NumGmp, SignedDifferences) {
  gmp expected;
  for_operand_sets(104, [&](num_random &random) {
    operands o(random, longest);
    signed_sum(expected, o, -1);
    ASSERT_EQ(num_sub_num(o.to, o.first, o.second), 0);
    ASSERT_TRUE(expected == *o.to);
  });
}

TEST(NumGmp, Products) {
  gmp expected;
  for_operand_sets(105, [&](num_random &random) {
    operands o(random, longest);
    mpz_mul(expected.z, gmp(*o.first).z, gmp(*o.second).z);
    ASSERT_EQ(num_mul_num(o.to, o.first, o.second), 0);
    ASSERT_TRUE(expected == *o.to);
  });
}

TEST(NumGmp, ProductsWithIntegers) {
  gmp expected;
  for_operand_sets(106, [&](num_random &random) {
    operands o(random, longest);
    const num_limb factor = random.limb();
    mpz_mul_ui(expected.z, gmp(*o.first).z, factor);
    ASSERT_EQ(num_mul_int(o.to, o.first, factor), 0);
    ASSERT_TRUE(expected == *o.to);
  });
}

TEST(NumGmp, QuotientsAndRemainders) {
  gmp quotient, remainder;
  for_operand_sets(107, [&](num_random &random) {
    operands o(random, longest);
    // Short divisors are what a digit's estimate can get wrong.
    if (o.second == &o.b && random.below(3) == 0) o.b = random.any(3);
    number y = random.any(longest);
    num *const places[] = {&o.x, &o.a, &o.b, &y, nullptr};
    num *const q = places[random.below(5)];
    num *r = places[random.below(5)];
    if (q == r) r = q == nullptr ? &o.x : nullptr;
    const gmp a(*o.first), b(*o.second);
    if (mpz_sgn(b.z) == 0) {
      ASSERT_EQ(num_div_num(q, r, o.first, o.second), NUM_ERR_DIVISION_BY_ZERO);
      return;
    }
    mpz_tdiv_qr(quotient.z, remainder.z, a.z, b.z);
    ASSERT_EQ(num_div_num(q, r, o.first, o.second), 0);
    ASSERT_TRUE(q == nullptr || quotient == *q);
    ASSERT_TRUE(r == nullptr || remainder == *r);
  });
}

TEST(NumGmp, Residues) {
  gmp expected;
  for_operand_sets(108, [&](num_random &random) {
    operands o(random, longest);
    if (o.second == &o.b && random.below(3) == 0) o.b = random.any(3);
    (o.second == &o.b ? o.b : o.a).sign = 1;  // a modulus is positive
    const gmp a(*o.first), b(*o.second);
    if (mpz_sgn(b.z) == 0) {
      ASSERT_EQ(num_mod_num(o.to, o.first, o.second), NUM_ERR_DIVISION_BY_ZERO);
      return;
    }
    mpz_fdiv_r(expected.z, a.z, b.z);
    ASSERT_EQ(num_mod_num(o.to, o.first, o.second), 0);
    ASSERT_TRUE(expected == *o.to);
    ASSERT_EQ(o.to->sign, 1);
  });
}

}  // namespace
