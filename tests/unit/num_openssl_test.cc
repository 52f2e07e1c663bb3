// SPDX-License-Identifier: MIT
// Numbers beside OpenSSL's, which was written by others than GMP. Addition of magnitudes is left to
// GMP and the model: its carry has a rule of its own.
#include <gtest/gtest.h>
#include <libsec/num.h>
#include <openssl/bn.h>

#include <cstdint>
#include <vector>

#include "support/num_operands.h"

namespace {

using test::for_operand_sets;
using test::limb_list;
using test::num_random;
using test::number;

constexpr int longest = 130;

// OpenSSL's numbers are handed over as bytes, most significant first.
struct big {
  BIGNUM *n = BN_new();

  big() = default;
  explicit big(const num &X) {
    std::vector<uint8_t> bytes;
    for (const num_limb limb : test::limbs_of(X)) {
      for (int i = 0; i < 4; ++i) bytes.insert(bytes.end(), static_cast<uint8_t>(limb >> (8 * i)));
    }
    BN_lebin2bn(bytes.data(), static_cast<int>(bytes.size()), n);
    BN_set_negative(n, X.sign < 0 ? 1 : 0);
  }
  big(const big &) = delete;
  big &operator=(const big &) = delete;
  ~big() { BN_free(n); }

  bool operator==(const num &X) const { return BN_cmp(n, big(X).n) == 0; }
};

struct scratch {
  BN_CTX *context = BN_CTX_new();
  scratch() = default;
  scratch(const scratch &) = delete;
  scratch &operator=(const scratch &) = delete;
  ~scratch() { BN_CTX_free(context); }
};

TEST(NumOpenssl, SignedDifferences) {
  big expected;
  for_operand_sets(161, [&](num_random &random) {
    const number a = random.any(longest), b = random.near(a, longest);
    number x = random.any(longest);
    if (a.sign == b.sign) {
      BN_sub(expected.n, big(a).n, big(b).n);
      ASSERT_EQ(num_sub_num(&x, &a, &b), 0);
    } else {
      BN_add(expected.n, big(a).n, big(b).n);
      ASSERT_EQ(num_add_num(&x, &a, &b), 0);
    }
    ASSERT_TRUE(expected == x);
  });
}

TEST(NumOpenssl, Products) {
  const scratch space;
  big expected;
  for_operand_sets(162, [&](num_random &random) {
    const number a = random.any(longest), b = random.near(a, longest);
    number x = random.any(longest);
    BN_mul(expected.n, big(a).n, big(b).n, space.context);
    ASSERT_EQ(num_mul_num(&x, &a, &b), 0);
    ASSERT_TRUE(expected == x);
  });
}

TEST(NumOpenssl, QuotientsRemaindersAndResidues) {
  const scratch space;
  big quotient, rest, residue;
  for_operand_sets(163, [&](num_random &random) {
    const number a = random.any(longest);
    number b = random.near(a, random.below(3) == 0 ? 3 : longest), q = random.any(5), r = random.any(5);
    if (test::significant(b).empty()) return;
    BN_div(quotient.n, rest.n, big(a).n, big(b).n, space.context);
    ASSERT_EQ(num_div_num(&q, &r, &a, &b), 0);
    ASSERT_TRUE(quotient == q);
    ASSERT_TRUE(rest == r);
    b.sign = 1;
    BN_nnmod(residue.n, big(a).n, big(b).n, space.context);
    ASSERT_EQ(num_mod_num(&r, &a, &b), 0);
    ASSERT_TRUE(residue == r);
  });
}

TEST(NumOpenssl, Shifts) {
  big left, right;
  for_operand_sets(164, [&](num_random &random) {
    number a = random.any(longest), b(a);
    const int count = random.below(4500);
    BN_lshift(left.n, big(a).n, count);
    BN_rshift(right.n, big(a).n, count);
    ASSERT_EQ(num_shift_l(&a, count), 0);
    ASSERT_EQ(num_shift_r(&b, count), 0);
    ASSERT_TRUE(left == a);
    ASSERT_TRUE(right == b);
  });
}

// Most sets are short, one in a hundred is about the size of a key.
TEST(NumOpenssl, ModularPowers) {
  const scratch space;
  big expected;
  for_operand_sets(165, [&](num_random &random) {
    const bool full = random.below(100) == 0;
    number n(1, random.limbs(full ? 30 + random.below(5) : 1 + random.below(6))), x;
    n.limbs[0] |= 1;
    const number e(1, random.limbs(full ? random.below(34) : random.below(4)));
    number a = random.near(n, 40);
    a.sign = 1;
    BN_mod_exp(expected.n, big(a).n, big(e).n, big(n).n, space.context);
    ASSERT_EQ(num_exp_mod(&x, &a, &e, &n, nullptr), 0);
    ASSERT_TRUE(expected == x);
  });
}

}  // namespace
