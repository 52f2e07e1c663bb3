// SPDX-License-Identifier: MIT
// The products on short digits, for every kind of digit on the machine that runs the test, beside the model.
#include "bignum/reduced_radix.h"

#include <gtest/gtest.h>

#include "bignum/ifma_radix.h"
#include "support/num_model.h"
#include "support/num_random.h"
#include "support/num_values.h"

namespace {

using test::limb_list;
using test::model;

template <typename arithmetic>
class ReducedRadix : public testing::Test {
 public:
  using word = typename arithmetic::digit;
  using number = std::vector<word>;
  static constexpr size_t radix_bits = arithmetic::radix_bits;

  void SetUp() override {
#if LIBSEC_IFMA
    if (std::is_same_v<arithmetic, libsec::ifma_radix> && !libsec::ifma_works())
      GTEST_SKIP() << "this processor lacks AVX-512 IFMA";
#endif
  }

  static number digits_of(const model &value) {
    number d(arithmetic::digits, 0);
    for (size_t i = 0; i < radix_bits; ++i) d[i / arithmetic::bits] |= word{value.bit(i)} << (i % arithmetic::bits);
    return d;
  }
  static model value_of(const number &d) {
    model value(1, limb_list(34, 0));
    for (size_t i = 0; i < radix_bits; ++i) {
      value.limbs[i / 32] |= static_cast<num_limb>(d[i / arithmetic::bits] >> (i % arithmetic::bits) & 1) << (i % 32);
    }
    return value;
  }
  static word constant(const number &n) {
    word inverse = 1;
    for (int step = 0; step < 6; ++step) inverse *= 2 - n[0] * inverse;
    return (word{0} - inverse) & arithmetic::mask;
  }

  // result * R = expected, modulo n, and result is below twice n.
  static void expect_quotient(const number &result, const model &expected, const model &n) {
    model quotient, left, right;
    const model value = value_of(result);
    for (const word digit : result) ASSERT_LE(digit, arithmetic::mask);
    ASSERT_LT(compare_magnitudes(value, shifted_left(n, 1)), 0);
    divide_magnitudes(shifted_left(value, radix_bits), n, quotient, left);
    divide_magnitudes(expected, n, quotient, right);
    ASSERT_EQ(compare_magnitudes(left, right), 0);
  }

  static void check(const model &a, const model &b, const model &n) {
    const number da = digits_of(a), db = digits_of(b), dn = digits_of(n);
    number result(arithmetic::digits);
    typename arithmetic::scratch scratch;
    arithmetic::multiply(result.data(), da.data(), db.data(), dn.data(), constant(dn), scratch);
    expect_quotient(result, product(model(), a, b), n);
    arithmetic::square(result.data(), da.data(), dn.data(), constant(dn), scratch);
    expect_quotient(result, product(model(), a, a), n);
    arithmetic::reduce_one(result.data(), da.data(), dn.data(), constant(dn), scratch);
    expect_quotient(result, a, n);
    ASSERT_LE(compare_magnitudes(value_of(result), n), 0);
  }
};

#if LIBSEC_IFMA
using digits = testing::Types<libsec::reduced_radix<uint32_t>, libsec::reduced_radix<uint64_t>, libsec::ifma_radix>;
#elif defined(__SIZEOF_INT128__)
using digits = testing::Types<libsec::reduced_radix<uint32_t>, libsec::reduced_radix<uint64_t> >;
#else
using digits = testing::Types<libsec::reduced_radix<uint32_t> >;
#endif
TYPED_TEST_SUITE(ReducedRadix, digits);

// n = 2^1024 - (2^29 - 1), factors of 2n - 1: with digits of 29 bits nearly every digit of the factors,
// of n and of the reduction's quotient is all ones, and the columns in the middle would not fit a
// double word together.
TYPED_TEST(ReducedRadix, TheFullestColumnsDoNotOverflow) {
  model n(1, limb_list(32, 0xffffffff));
  n.limbs[0] = 0xe0000001;
  model largest = shifted_left(n, 1);
  subtract_magnitude(largest, model(1, {1}));
  TestFixture::check(largest, largest, n);
}

TYPED_TEST(ReducedRadix, ProductsSquaresAndReductionsAreRight) {
  test::num_random random(41);
  for (int set = 0; set < test::operand_sets(150); ++set) {
    limb_list n = random.limbs(32);
    n[0] |= 1;
    n.back() |= random.below(2) == 0 ? 0x80000000 : 1;
    model a(1, random.limbs(33)), b(1, random.limbs(33)), quotient, rest_a, rest_b;
    divide_magnitudes(a, shifted_left(model(1, n), 1), quotient, rest_a);
    divide_magnitudes(b, shifted_left(model(1, n), 1), quotient, rest_b);
    TestFixture::check(rest_a, rest_b, model(1, n));
  }
}

// R mod n as a factor leaves the other one as it is: here mostly 0, 1, 2 and all ones, in digits of 52 bits,
// which come of sums whose carries run through one digit after the other.
TYPED_TEST(ReducedRadix, CarriesRunThroughFullDigits) {
  test::num_random random(42);
  for (int set = 0; set < test::operand_sets(40); ++set) {
    limb_list n = random.limbs(32);
    n[0] |= 1;
    n.back() |= 0x80000000;
    model radix = shifted_left(model(1, {1}), TestFixture::radix_bits), a(1, limb_list(32, 0)), quotient, one;
    divide_magnitudes(radix, model(1, n), quotient, one);
    for (size_t digit = 0; digit < 19; ++digit) {
      const int kind = random.below(6);
      for (size_t bit = 0; bit < 52; ++bit) {
        const size_t at = 52 * digit + bit;
        const bool set_bit = kind == 5 || (bit < 2 && kind >> bit & 1);
        a.limbs[at / 32] |= num_limb{set_bit} << at % 32;
      }
    }
    TestFixture::check(a, one, model(1, n));
  }
}

}  // namespace
