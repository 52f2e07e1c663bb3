// SPDX-License-Identifier: MIT
// Montgomery products as reduced_radix.h has them, by the vector instructions that multiply 52-bit digits
// and add the low or the high half of each product (AVX-512 IFMA, on some x86-64 processors).
//
// 20 digits make 1040 bits, and R = 2^1040 > 4N again leaves no comparison and no subtraction in a product.
// Three vectors of eight hold 24 digits; those beyond the 20 stay zero.
#pragma once

#if defined(__x86_64__)
#define LIBSEC_IFMA 1

#include <cstdint>

namespace libsec {

// Whether this processor has the instructions, and the system keeps their registers.
bool ifma_works();

struct ifma_radix {
  using digit = uint64_t;
  static constexpr int bits = 52, digits = 24, used_digits = 20, radix_bits = bits * used_digits;
  static constexpr digit mask = (digit{1} << bits) - 1;

  struct scratch {};

  // result = a * b / R mod n, below 2n, for a, b below 2n. `constant` is -1 / n modulo 2^bits.
  static void multiply(digit *result, const digit *a, const digit *b, const digit *n, digit constant, scratch &s);

  // result = a * a / R mod n.
  static void square(digit *result, const digit *a, const digit *n, digit constant, scratch &s) {
    multiply(result, a, a, n, constant, s);
  }

  // result = a / R mod n, not above n, for a below 2n.
  static void reduce_one(digit *result, const digit *a, const digit *n, digit constant, scratch &s) {
    const digit one[digits] = {1};
    multiply(result, one, a, n, constant, s);
  }
};

}  // namespace libsec

#else
#define LIBSEC_IFMA 0
#endif
