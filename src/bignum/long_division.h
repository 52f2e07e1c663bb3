// SPDX-License-Identifier: MIT
// Division of arrays of words: Knuth, The Art of Computer Programming 2, 4.3.1, Algorithm D.
#pragma once

#include "bignum/adx_row.h"
#include "bignum/words.h"

namespace libsec {

// floor((2^(2 * bits) - 1) / leading) - 2^bits for a word whose top bit is set. With it, division of two
// words by `leading` takes two multiplications, where machines divide slowly or not at all:
// N. Moeller, T. Granlund, Improved division by invariant integers, IEEE Trans. Comp. 60 (2011).
template <typename word>
word reciprocal_of(word leading) {
  const wide_t<word> all_ones = ~wide_t<word>{0};
  return static_cast<word>((all_ones - (wide_t<word>{leading} << bits_of<word>)) / leading);
}

// The quotient of high * 2^bits + low by `leading`, for high < leading; `rest` receives the remainder.
template <typename word>
word divide_two_words(word high, word low, word leading, word reciprocal, word &rest) {
  const wide_t<word> two = wide_t<word>{high} << bits_of<word> | low;
  const wide_t<word> estimate = wide_t<word>{high} * reciprocal + two;
  word digit = static_cast<word>(estimate >> bits_of<word>) + 1;
  rest = low - digit * leading;
  if (rest > static_cast<word>(estimate)) {
    --digit;
    rest += leading;
  }
  if (rest >= leading) {
    ++digit;
    rest -= leading;
  }
  return digit;
}

// The quotient digit's first estimate: the two leading words of the rest by the leading word of the
// divisor, lowered until it also fits the second word of each. Knuth's theorem B: with the
// divisor's top bit set it is then right or one too large.
template <typename word>
word estimate_digit(const word *rest_top, const word *divisor_top, bool has_second, word reciprocal) {
  using wide = wide_t<word>;
  const word leading = divisor_top[0];
  word digit, over;
  if (rest_top[0] < leading) {
    digit = divide_two_words(rest_top[0], rest_top[-1], leading, reciprocal, over);
  } else {
    // The rest is below divisor * 2^bits: its top word is `leading`, and the digit is cut to a word.
    digit = static_cast<word>(-1);
    over = rest_top[-1] + leading;
    if (over < leading) return digit;
  }
  if (!has_second) return digit;
  while (wide{digit} * divisor_top[-1] > (wide{over} << bits_of<word> | rest_top[-2])) {
    --digit;
    over += leading;
    if (over < leading) break;
  }
  return digit;
}

// rest[0..m-1] -= divisor[0..m-1] * digit, in one pass. Returns whether rest[0..m] was less than the
// product; rest[m] itself is not written, as nothing reads it again.
template <typename word>
bool subtract_product(word *rest, const word *divisor, int32_t m, word digit) {
  word carry = 0;
#pragma GCC unroll 2
  for (int32_t i = 0; i < m; ++i) {
    const wide_t<word> product = wide_t<word>{divisor[i]} * digit + carry;
    const word low = static_cast<word>(product);
    carry = static_cast<word>(product >> bits_of<word>) + (rest[i] < low ? 1 : 0);
    rest[i] -= low;
  }
  return rest[m] < carry;
}

// The same, for the usual length by the instructions that not every processor has.
template <typename word>
bool subtract_row(word *rest, const word *divisor, int32_t m, word digit) {
#if LIBSEC_ADX
  if constexpr (bits_of<word> == 64) {
    if (m == adx_row_words && adx_works()) return rest[m] < subtract_product_adx(rest, divisor, digit);
  }
#endif
  return subtract_product(rest, divisor, m, digit);
}

// rest[0..m-1] += divisor[0..m-1]; the carry out of it would meet the borrow.
template <typename word>
void add_back(word *rest, const word *divisor, int32_t m) {
  word carry = 0;
  for (int32_t i = 0; i < m; ++i) {
    const wide_t<word> sum = wide_t<word>{rest[i]} + divisor[i] + carry;
    rest[i] = static_cast<word>(sum);
    carry = static_cast<word>(sum >> bits_of<word>);
  }
}

// Divides x[0..n-1] by y[0..m-1], n >= m >= 1. y's top bit is set; x has n + 1 words, the top one
// below y's top word. q receives n - m + 1 words, x[0..m-1] the remainder.
template <typename word>
void divide_words(word *q, word *x, int32_t n, const word *y, int32_t m) {
  const word reciprocal = reciprocal_of(y[m - 1]);
  for (int32_t j = n - m; j >= 0; --j) {
    word digit = estimate_digit(x + j + m, y + m - 1, m > 1, reciprocal);
    if (subtract_row(x + j, y, m, digit)) {
      add_back(x + j, y, m);
      --digit;
    }
    q[j] = digit;
  }
}

}  // namespace libsec
