// SPDX-License-Identifier: MIT
// Division with remainder.
#include <libsec/num.h>

#include <bit>

#include "bignum/limbs.h"
#include "bignum/long_division.h"
#include "bignum/scoped_num.h"
#include "bignum/words.h"

using namespace libsec;

namespace {

using word = native_word;

// words = the magnitude of `count` limbs * 2^shift, in `length` words; shift is below a word's bits.
void load_shifted(word *words, int32_t length, const num_limb *limbs, int32_t count, int32_t shift) {
  word below = 0;
  const auto put = [&](int32_t i, word value) {
    words[i] = value << shift | below;
    below = value >> 1 >> (bits_of<word> - 1 - shift);  // in two steps: shift may be 0
  };
  const int32_t whole = count / limbs_per_word<word>;
  for (int32_t i = 0; i < whole; ++i) put(i, load_word<word>(limbs + i * limbs_per_word<word>));
  for (int32_t i = whole; i < length; ++i) put(i, word_at<word>(limbs, count, i));
}

void shift_right(word *words, int32_t length, int32_t shift) {
  if (shift == 0) return;
  for (int32_t i = 0; i + 1 < length; ++i) words[i] = words[i] >> shift | words[i + 1] << (bits_of<word> - shift);
  words[length - 1] >>= shift;
}

// Stores a result as num_copy() would.
// Deliberate: a failed growth is not reported, the record keeps what it had. That is the interface.
void store(num *X, int32_t sign, const word *words, int32_t length) {
  int32_t count = length * limbs_per_word<word>;
  while (count > 1 && limb_at(words, count - 1) == 0) --count;
  X->sign = sign;
  if (num_grow(X, count) != 0) return;
  const int32_t whole = count / limbs_per_word<word>;
  for (int32_t i = 0; i < whole; ++i) store_word(X->limbs + i * limbs_per_word<word>, words[i]);
  for (int32_t i = whole * limbs_per_word<word>; i < count; ++i) X->limbs[i] = limb_at(words, i);
  for (int32_t i = count; i < X->limb_count; ++i) X->limbs[i] = 0;
}

// For |A| >= |B| > 0.
int32_t divide(num *Q, num *R, const num *A, const num *B) {
  const int32_t a_limbs = top_limb(A) + 1;
  const int32_t b_limbs = top_limb(B) + 1;
  const int32_t n = words_for<word>(a_limbs);
  const int32_t m = words_for<word>(b_limbs);
  const wiped_block<word> block(2 * static_cast<size_t>(n) + 2);
  if (block.get() == nullptr) return NUM_ERR_ALLOC_FAILED;
  word *x = block.get();   // n + 1 words: A, then the remainder
  word *y = x + n + 1;     // m words: B
  word *quotient = y + m;  // n - m + 1 words

  // The estimate of a digit is right only with the divisor's top bit set.
  const int32_t shift = std::countl_zero(word_at<word>(B->limbs, b_limbs, m - 1));
  load_shifted(x, n + 1, A->limbs, a_limbs, shift);
  load_shifted(y, m, B->limbs, b_limbs, shift);
  divide_words(quotient, x, n, y, m);
  shift_right(x, m, shift);

  // Both signs are taken before a record is written that may be A or B.
  const int32_t quotient_sign = A->sign * B->sign;
  const int32_t remainder_sign = A->sign;
  if (Q != nullptr) store(Q, quotient_sign, quotient, n - m + 1);
  if (R != nullptr) {
    store(R, remainder_sign, x, m);
    if (top_limb(R) < 0) R->sign = 1;
  }
  return 0;
}

}  // namespace

int32_t num_div_num(num *Q, num *R, const num *A, const num *B) {
  if (top_limb(B) < 0) return NUM_ERR_DIVISION_BY_ZERO;
  if (num_cmp_abs(A, B) >= 0) return divide(Q, R, A, B);
  // R first: Q may be A.
  if (R != nullptr) NUM_TRY(num_copy(R, A));
  if (Q != nullptr) NUM_TRY(num_lset(Q, 0));
  return 0;
}

int32_t num_mod_num(num *R, const num *A, const num *B) {
  scoped_num kept;
  if (R == B) {
    NUM_TRY(num_copy(&kept, B));
    B = &kept;
  }
  NUM_TRY(num_div_num(nullptr, R, A, B));
  // A negative zero would compare above every modulus.
  if (top_limb(R) < 0) R->sign = 1;
  // |R| < |B|: a negative residue needs a positive modulus once, and a negative modulus never.
  if (num_cmp_int(R, 0) < 0) {
    if (B->sign < 0) return NUM_ERR_BAD_INPUT;
    NUM_TRY(num_add_num(R, R, B));
  }
  // What does not compare below B now has a negative B, and subtracting that would never end.
  return num_cmp_num(R, B) < 0 ? 0 : NUM_ERR_BAD_INPUT;
}
