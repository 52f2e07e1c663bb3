// SPDX-License-Identifier: MIT
// A row of a division by 1024 bits, by instructions that some x86-64 processors have (BMI2, ADX): a
// multiplication that leaves the carry alone, and additions that have a carry each.
#pragma once

#if defined(__x86_64__)
#define LIBSEC_ADX 1

#include <cstdint>

namespace libsec {

// Whether this processor has the instructions.
bool adx_works();

inline constexpr int32_t adx_row_words = 16;

// rest[0..15] -= divisor[0..15] * digit. Returns what is left to subtract from rest[16], as subtract_product() of
// long_division.h has it at its end.
//
// r - p is the complement of p added to the complement of r, so the row is a sum: complements, low halves of the
// products, and high halves of those before. One chain of carries runs through the additions of complements,
// one through those of high halves.
//
// Bound: (2^1024 - 1) * (2^64 - 1) + 2^1024 - 1 = (2^1024 - 1) * 2^64 has 17 words, so the last high half takes the
// last carries of both chains.
uint64_t subtract_product_adx(uint64_t *rest, const uint64_t *divisor, uint64_t digit);

}  // namespace libsec

#else
#define LIBSEC_ADX 0
#endif
