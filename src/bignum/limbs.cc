// SPDX-License-Identifier: MIT
// The inner loops of multiplication and of Montgomery's reduction.
#include "bignum/limbs.h"

namespace libsec {
namespace {

// One block of the product: an own function for each length, so that the loop is unrolled.
template <int length>
inline num_limb mul_add_block(const num_limb *s, num_limb *d, num_limb b, num_limb carry) {
#pragma GCC unroll 16
  for (int i = 0; i < length; ++i) {
    // (2^32 - 1)^2 + 2 * (2^32 - 1) = 2^64 - 1: the sum fits.
    const uint64_t sum = uint64_t{s[i]} * b + d[i] + carry;
    d[i] = static_cast<num_limb>(sum);
    carry = static_cast<num_limb>(sum >> limb_bits);
  }
  return carry;
}

}  // namespace

void num_limbs_mul_add(int32_t n, const num_limb *s, num_limb *d, num_limb b) {
  num_limb carry = 0;
  for (; n >= 16; n -= 16, s += 16, d += 16) carry = mul_add_block<16>(s, d, b, carry);
  for (; n >= 8; n -= 8, s += 8, d += 8) carry = mul_add_block<8>(s, d, b, carry);
  for (; n > 0; --n, ++s, ++d) carry = mul_add_block<1>(s, d, b, carry);
  do {
    *d += carry;
    carry = *d < carry ? 1 : 0;
    ++d;
  } while (carry != 0);
}

void num_limbs_sub(int32_t n, const num_limb *s, num_limb *d) {
  num_limb borrow = 0;
  int32_t i = 0;
  for (; i < n; ++i) {
    const num_limb subtrahend = s[i];
    const num_limb wrapped = d[i] < borrow ? 1 : 0;
    d[i] -= borrow;
    borrow = (d[i] < subtrahend ? 1 : 0) + wrapped;
    d[i] -= subtrahend;
  }
  for (; borrow != 0; ++i) {
    const num_limb wrapped = d[i] < borrow ? 1 : 0;
    d[i] -= borrow;
    borrow = wrapped;
  }
}

}  // namespace libsec
