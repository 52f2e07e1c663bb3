// SPDX-License-Identifier: MIT
// Division of arrays of words: Knuth, The Art of Computer Programming 2, 4.3.1, Algorithm D.
#pragma once

#include "bignum/words.h"

namespace libsec {

// The quotient digit's first estimate: the two leading words of the rest by the leading word of the
// divisor, lowered until it also fits the second word of each. Knuth's theorem B: with the
// divisor's top bit set it is then right or one too large.
template <typename word>
word estimate_digit(const word *rest_top, const word *divisor_top, bool has_second) {
  using wide = wide_t<word>;
  const word leading = divisor_top[0];
  const wide two = wide{rest_top[0]} << bits_of<word> | rest_top[-1];
  // The rest is below divisor * 2^bits, so the true digit fits a word even where the estimate would not.
  wide digit = rest_top[0] >= leading ? static_cast<word>(-1) : two / leading;
  if (!has_second) return static_cast<word>(digit);
  wide over = two - digit * leading;
  while (over >> bits_of<word> == 0 && digit * divisor_top[-1] > (over << bits_of<word> | rest_top[-2])) {
    --digit;
    over += leading;
  }
  return static_cast<word>(digit);
}

// rest[0..m] -= divisor[0..m-1] * digit, in one pass. Returns the borrow out of rest[m].
template <typename word>
word subtract_product(word *rest, const word *divisor, int32_t m, word digit) {
  word carry = 0;
  for (int32_t i = 0; i < m; ++i) {
    const wide_t<word> product = wide_t<word>{divisor[i]} * digit + carry;
    const word low = static_cast<word>(product);
    carry = static_cast<word>(product >> bits_of<word>) + (rest[i] < low ? 1 : 0);
    rest[i] -= low;
  }
  const word borrow = rest[m] < carry ? 1 : 0;
  rest[m] -= carry;
  return borrow;
}

// rest[0..m] += divisor[0..m-1], the carry out of rest[m] dropped: it meets the borrow.
template <typename word>
void add_back(word *rest, const word *divisor, int32_t m) {
  word carry = 0;
  for (int32_t i = 0; i < m; ++i) {
    const wide_t<word> sum = wide_t<word>{rest[i]} + divisor[i] + carry;
    rest[i] = static_cast<word>(sum);
    carry = static_cast<word>(sum >> bits_of<word>);
  }
  rest[m] += carry;
}

// Divides x[0..n-1] by y[0..m-1], n >= m >= 1. y's top bit is set; x has n + 1 words, the top one
// below y's top word. q receives n - m + 1 words, x[0..m-1] the remainder.
template <typename word>
void divide_words(word *q, word *x, int32_t n, const word *y, int32_t m) {
  for (int32_t j = n - m; j >= 0; --j) {
    word digit = estimate_digit(x + j + m, y + m - 1, m > 1);
    if (subtract_product(x + j, y, m, digit) != 0) {
      add_back(x + j, y, m);
      --digit;
    }
    q[j] = digit;
  }
}

}  // namespace libsec
