// SPDX-License-Identifier: MIT
// Values beside GMP's: random operands that prefer the edges, up to 130 limbs. LIBSEC_SETS sets the
// number of operand sets of each test.
#include <gmp.h>
#include <gtest/gtest.h>
#include <libsec/num.h>

#include "support/gmp_num.h"
#include "support/num_random.h"
#include "support/num_values.h"

namespace {

using test::gmp;
using test::num_random;
using test::number;

constexpr int sets = 20000;
constexpr int longest = 130;

// Two operands and one of the places where the result can go.
struct operands {
  number x, a, b;
  num *to;
  explicit operands(num_random &random) : x(random.any(longest)), a(random.any(longest)), b(random.near(a, longest)) {
    num *const places[] = {&x, &a, &b};
    to = places[random.below(3)];
  }
};

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
  const bool onto_b = o.to == &o.b;
  other = onto_b ? &o.a : &o.b;
  if (onto_b) return o.b;
  if (o.to == &o.a) return o.a;
  number x(o.x);
  num_copy(&x, &o.a);
  return x;
}

TEST(NumGmp, SumsOfMagnitudes) {
  num_random random(101);
  gmp expected, result;
  for (int set = 0; set < test::operand_sets(sets); ++set) {
    operands o(random);
    const num *other = nullptr;
    const number first = first_addend(o, other);
    add_magnitudes(expected, first, *other);
    ASSERT_EQ(num_add_abs(o.to, &o.a, &o.b), 0);
    mpz_abs(result.z, gmp(*o.to).z);
    ASSERT_TRUE(result == expected);
  }
}

TEST(NumGmp, SignedDifferences) {
  num_random random(102);
  gmp expected;
  for (int set = 0; set < test::operand_sets(sets); ++set) {
    operands o(random);
    if (o.a.sign == o.b.sign) {  // a difference of magnitudes; sums are above
      mpz_sub(expected.z, gmp(o.a).z, gmp(o.b).z);
      ASSERT_EQ(num_sub_num(o.to, &o.a, &o.b), 0);
    } else {
      mpz_add(expected.z, gmp(o.a).z, gmp(o.b).z);
      ASSERT_EQ(num_add_num(o.to, &o.a, &o.b), 0);
    }
    ASSERT_TRUE(expected == *o.to);
  }
}

TEST(NumGmp, Products) {
  num_random random(103);
  gmp expected;
  for (int set = 0; set < test::operand_sets(sets); ++set) {
    operands o(random);
    const num *const second = random.below(5) == 0 ? &o.a : &o.b;
    mpz_mul(expected.z, gmp(o.a).z, gmp(*second).z);
    ASSERT_EQ(num_mul_num(o.to, &o.a, second), 0);
    ASSERT_TRUE(expected == *o.to);
  }
}

TEST(NumGmp, ProductsWithIntegers) {
  num_random random(104);
  gmp expected;
  for (int set = 0; set < test::operand_sets(sets); ++set) {
    operands o(random);
    const num_limb factor = random.limb();
    mpz_mul_ui(expected.z, gmp(o.a).z, factor);
    ASSERT_EQ(num_mul_int(o.to, &o.a, factor), 0);
    ASSERT_TRUE(expected == *o.to);
  }
}

TEST(NumGmp, QuotientsAndRemainders) {
  num_random random(105);
  gmp quotient, remainder;
  for (int set = 0; set < test::operand_sets(sets); ++set) {
    operands o(random);
    // Short divisors and near ones are what a digit's estimate can get wrong.
    if (random.below(3) == 0) o.b = random.any(3);
    num *const places[] = {&o.x, &o.a, &o.b, nullptr};
    number y;
    num *const q = places[random.below(4)], *r = places[random.below(4)];
    if (q == r) r = &y;
    const gmp a(o.a), b(o.b);
    if (mpz_sgn(b.z) == 0) {
      ASSERT_EQ(num_div_num(q, r, &o.a, &o.b), NUM_ERR_DIVISION_BY_ZERO);
      continue;
    }
    mpz_tdiv_qr(quotient.z, remainder.z, a.z, b.z);
    ASSERT_EQ(num_div_num(q, r, &o.a, &o.b), 0);
    ASSERT_TRUE(q == nullptr || quotient == *q);
    ASSERT_TRUE(r == nullptr || remainder == *r);
  }
}

TEST(NumGmp, Residues) {
  num_random random(106);
  gmp expected;
  for (int set = 0; set < test::operand_sets(sets); ++set) {
    operands o(random);
    o.b.sign = 1;
    const gmp a(o.a), b(o.b);
    if (mpz_sgn(b.z) == 0) continue;
    mpz_fdiv_r(expected.z, a.z, b.z);
    ASSERT_EQ(num_mod_num(o.to, &o.a, &o.b), 0);
    ASSERT_TRUE(expected == *o.to);
    ASSERT_EQ(o.to->sign, 1);
  }
}

TEST(NumGmp, Shifts) {
  num_random random(107);
  gmp left, right;
  for (int set = 0; set < test::operand_sets(sets); ++set) {
    number a = random.any(longest), b(a);
    const int count = random.below(3000);
    mpz_mul_2exp(left.z, gmp(a).z, static_cast<mp_bitcnt_t>(count));
    mpz_tdiv_q_2exp(right.z, gmp(a).z, static_cast<mp_bitcnt_t>(count));
    ASSERT_EQ(num_shift_l(&a, count), 0);
    ASSERT_EQ(num_shift_r(&b, count), 0);
    ASSERT_TRUE(left == a);
    ASSERT_TRUE(right == b);
  }
}

// Long numbers cost milliseconds each: most sets are short, one in a hundred is of full size.
TEST(NumGmp, ModularPowers) {
  num_random random(108);
  gmp expected;
  for (int set = 0; set < test::operand_sets(sets); ++set) {
    const bool full = random.below(100) == 0;
    const int n_limbs = full ? 30 + random.below(5) : 1 + random.below(6);
    number n(1, random.limbs(n_limbs)), x = random.any(40), rr;
    n.limbs[0] |= 1;
    ASSERT_EQ(num_grow(&n, n_limbs + (random.below(4) == 0 ? random.below(3) : 0)), 0);
    const number e(1, random.limbs(full ? random.below(34) : random.below(4)));
    number a = random.below(2) == 0 ? random.near(n, 40) : random.any(40);
    a.sign = 1;
    num *const to = random.below(3) == 0 ? &a : &x;
    mpz_powm(expected.z, gmp(a).z, gmp(e).z, gmp(n).z);
    const int32_t room = std::max(to->limb_count, n.limb_count + 1);
    const number again(a);
    ASSERT_EQ(num_exp_mod(to, &a, &e, &n, random.below(2) == 0 ? nullptr : &rr), 0);
    ASSERT_TRUE(expected == *to);
    ASSERT_EQ(to->limb_count, room);
    ASSERT_EQ(to->sign, 1);
    if (rr.limbs == nullptr) continue;
    ASSERT_EQ(rr.limb_count, 2 * n.limb_count + 1);
    ASSERT_EQ(num_exp_mod(&x, &again, &e, &n, &rr), 0);
    ASSERT_TRUE(expected == x);
    mpz_set_ui(expected.z, 1);
    mpz_mul_2exp(expected.z, expected.z, static_cast<mp_bitcnt_t>(64 * n.limb_count));
    mpz_mod(expected.z, expected.z, gmp(n).z);
    ASSERT_TRUE(expected == rr);
  }
}

}  // namespace
