// SPDX-License-Identifier: MIT
// The exponent's side of an exponentiation: which squarings and products, in which order.
#pragma once

#include <libsec/num.h>

#include "bignum/limbs.h"
#include "bignum/scoped_num.h"

namespace libsec {

constexpr int32_t widest_window = 6;

// The width of the window for an exponent of so many bits. A width of 2 is never worth its table.
constexpr int32_t window_width(int32_t bits) {
  return bits >= 672 ? 6 : bits >= 240 ? 5 : bits >= 80 ? 4 : bits >= 24 ? 3 : 1;
}

// Fills the slots that a window of w bits can need, 2^(w-1) to 2^w - 1, from slot 1.
// powers.copy(to, from) may fail, powers.square_slot(i) and powers.multiply_slot(i) by slot 1 cannot.
template <typename powers_type>
int32_t fill_slots(int32_t w, powers_type &powers) {
  if (w == 1) return 0;
  const int32_t first = 1 << (w - 1);
  NUM_TRY(powers.copy(first, 1));
  for (int32_t i = 1; i < w; ++i) powers.square_slot(first);
  for (int32_t i = first + 1; i < 2 * first; ++i) {
    NUM_TRY(powers.copy(i, i - 1));
    powers.multiply_slot(i);
  }
  return 0;
}

// Raises slot 1 to E, from the exponent's top bit: powers.square() squares the result, and
// powers.multiply(i) multiplies it by slot i. A window opens at a one bit and takes w bits, so that
// its value is always a slot; bits that no longer fill a window are taken singly.
template <typename powers_type>
void raise(const num *E, int32_t w, powers_type &powers) {
  bool started = false;
  int32_t collected = 0;
  int32_t window = 0;
  // cppcheck-suppress constStatement ; a type before braces is not known to make a value
  for (int64_t bit = int64_t{E->limb_count} * limb_bits - 1; bit >= 0; --bit) {
    const auto one = static_cast<int32_t>(E->limbs[bit / limb_bits] >> (bit % limb_bits) & 1);
    if (collected == 0 && one == 0) {
      if (started) powers.square();
      continue;
    }
    started = true;
    ++collected;
    window |= one << (w - collected);
    if (collected < w) continue;
    for (int32_t i = 0; i < w; ++i) powers.square();
    powers.multiply(window);
    collected = window = 0;
  }
  for (int32_t i = 0; i < collected; ++i) {
    powers.square();
    window <<= 1;
    if ((window >> w & 1) != 0) powers.multiply(1);
  }
}

}  // namespace libsec
