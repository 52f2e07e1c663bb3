// SPDX-License-Identifier: MIT
#include "bignum/exp_general.h"

#include "bignum/limbs.h"
#include "bignum/montgomery.h"
#include "bignum/scoped_num.h"

namespace libsec {
namespace {

// One modulus with the scratch number that all its products share.
struct montgomery {
  const num *N;
  num_limb constant;
  scoped_num T;

  explicit montgomery(const num *modulus) : N(modulus), constant(num_mont_constant(modulus->limbs[0])) {}

  // A number that products are made in has room for one limb more than N.
  int32_t room() const { return N->limb_count + 1; }
  int32_t prepare() { return num_grow(&T, 2 * room()); }
  void multiply(num *A, const num *B) { num_mont_mul(A, B, N, constant, &T); }
  void square(num *A) { multiply(A, A); }
  void reduce(num *A) { num_mont_reduce(A, N, constant, &T); }
};

// The odd-started powers of the base that a window can end in: slots 1 and 2^(w-1) to 2^w - 1, slot i
// holding base^i * R mod N.
using window_table = scoped_num[1 << widest_window];

int32_t fill_table(window_table &slots, int32_t w, montgomery &mod) {
  if (w == 1) return 0;
  const int32_t first = 1 << (w - 1);
  NUM_TRY(num_grow(&slots[first], mod.room()));
  NUM_TRY(num_copy(&slots[first], &slots[1]));
  for (int32_t i = 1; i < w; ++i) mod.square(&slots[first]);
  for (int32_t i = first + 1; i < 2 * first; ++i) {
    NUM_TRY(num_grow(&slots[i], mod.room()));
    NUM_TRY(num_copy(&slots[i], &slots[i - 1]));
    mod.multiply(&slots[i], &slots[1]);
  }
  return 0;
}

// X becomes base^E (times R): the bits of E from the top. A window opens at a one bit and takes w bits, so
// that its value is always one of the slots; bits that no longer fill a window are taken singly.
void scan_exponent(num *X, const num *E, int32_t w, const window_table &slots, montgomery &mod) {
  bool started = false;
  int32_t collected = 0;
  int32_t window = 0;
  for (int64_t bit = int64_t{E->limb_count} * limb_bits - 1; bit >= 0; --bit) {
    const auto one = static_cast<int32_t>(E->limbs[bit / limb_bits] >> (bit % limb_bits) & 1);
    if (collected == 0 && one == 0) {
      if (started) mod.square(X);
      continue;
    }
    started = true;
    ++collected;
    window |= one << (w - collected);
    if (collected < w) continue;
    for (int32_t i = 0; i < w; ++i) mod.square(X);
    mod.multiply(X, &slots[window]);
    collected = window = 0;
  }
  for (int32_t i = 0; i < collected; ++i) {
    mod.square(X);
    window <<= 1;
    if ((window >> w & 1) != 0) mod.multiply(X, &slots[1]);
  }
}

}  // namespace

int32_t square_of_radix(num *rr, const num *N) {
  NUM_TRY(num_lset(rr, 1));
  NUM_TRY(num_shift_l(rr, N->limb_count * 2 * limb_bits));
  return num_mod_num(rr, rr, N);
}

int32_t exp_mod_general(num *X, const num *A, const num *E, const num *N, num *RR) {
  const int32_t w = window_size(num_msb(E));
  montgomery mod(N);
  window_table slots;
  NUM_TRY(num_grow(X, mod.room()));
  NUM_TRY(num_grow(&slots[1], mod.room()));
  NUM_TRY(mod.prepare());

  scoped_num own;
  const num *rr = RR;
  if (RR == nullptr || RR->limbs == nullptr) {
    NUM_TRY(square_of_radix(&own, N));
    if (RR == nullptr) {
      rr = &own;
    } else {
      num_swap(RR, &own);  // the caller's from here on, whatever follows
    }
  }

  if (num_cmp_num(A, N) < 0) {
    NUM_TRY(num_copy(&slots[1], A));
  } else {
    NUM_TRY(num_mod_num(&slots[1], A, N));
  }
  mod.multiply(&slots[1], rr);  // the base times R
  NUM_TRY(num_copy(X, rr));
  mod.reduce(X);  // 1 times R
  NUM_TRY(fill_table(slots, w, mod));
  scan_exponent(X, E, w, slots, mod);
  mod.reduce(X);
  return 0;
}

}  // namespace libsec
