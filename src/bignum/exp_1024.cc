// SPDX-License-Identifier: MIT
// Exponentiation for moduli of 32 limbs, on the digits of reduced_radix.h.
//
// Three radices meet: the caller's R = 2^1024, by which RR = R^2 mod N is defined; R' = 2^1044 of the
// digits' products; and limbs of 32 bits. RR * 2^40 = R'^2 mod N joins the first two. Everything
// after that is the general form's sequence of products, so even a cache that is not R^2 mod N
// (but some R^2 * c) gives what the general form makes of it: every factor c comes in alike.
#include "bignum/exp_1024.h"

#include "bignum/exp_general.h"
#include "bignum/limbs.h"
#include "bignum/montgomery.h"
#include "bignum/reduced_radix.h"
#include "bignum/scoped_num.h"
#include "bignum/sliding_window.h"

namespace libsec {
namespace {

constexpr int32_t modulus_limbs = 32;

using word = native_word;
using arithmetic = reduced_radix<word>;
constexpr int digits = arithmetic::digits;
static_assert(arithmetic::bits * digits == 1044);

struct digit_number {
  word d[digits];
};

void to_digits(digit_number *to, const num *from) {
  arithmetic::wide gathered = 0;
  int have = 0, k = 0;
  const int32_t count = from->limb_count < modulus_limbs ? from->limb_count : modulus_limbs;
  for (int32_t i = 0; i < count; ++i) {
    gathered |= arithmetic::wide{from->limbs[i]} << have;
    for (have += limb_bits; have >= arithmetic::bits; have -= arithmetic::bits) {
      to->d[k++] = static_cast<word>(gathered) & arithmetic::mask;
      gathered >>= arithmetic::bits;
    }
  }
  for (; k < digits; ++k) {
    to->d[k] = static_cast<word>(gathered);
    gathered = 0;
  }
}

// `to` has one limb more than the modulus at least.
void from_digits(num *to, const digit_number *from) {
  arithmetic::wide gathered = 0;
  int have = 0, k = 0;
  for (int32_t i = 0; i < to->limb_count; ++i) {
    for (; have < limb_bits && k < digits; have += arithmetic::bits) {
      gathered |= arithmetic::wide{from->d[k++]} << have;
    }
    to->limbs[i] = static_cast<num_limb>(gathered);
    gathered >>= limb_bits;
    if (i <= modulus_limbs) have -= limb_bits;  // above there are zeros only
  }
}

// All that one call works in: on the heap, because it is large, and wiped with its block.
struct working_set {
  digit_number modulus, result, difference;
  digit_number slots[1 << widest_window];
  arithmetic::scratch scratch;
};

// The result and the slots of the window in digits; slot i holds base^i * R' mod N, below 2N.
struct digit_powers {
  working_set *set;
  word constant;
  bool result_is_one;  // known to be: nothing need be squared, nor multiplied by it

  void product(digit_number *to, const digit_number *a, const digit_number *b) {
    arithmetic::multiply(to->d, a->d, b->d, set->modulus.d, constant, set->scratch);
  }
  void self_product(digit_number *a) { arithmetic::square(a->d, a->d, set->modulus.d, constant, set->scratch); }
  void reduce_one(digit_number *to, const digit_number *a) {
    arithmetic::reduce_one(to->d, a->d, set->modulus.d, constant, set->scratch);
  }
  int32_t copy(int32_t to, int32_t from) {
    set->slots[to] = set->slots[from];
    return 0;
  }
  void square_slot(int32_t i) { self_product(&set->slots[i]); }
  void multiply_slot(int32_t i) { product(&set->slots[i], &set->slots[i], &set->slots[1]); }
  void square() {
    if (!result_is_one) self_product(&set->result);
  }
  void multiply(int32_t slot) {
    if (result_is_one) {
      set->result = set->slots[slot];
    } else {
      product(&set->result, &set->result, &set->slots[slot]);
    }
    result_is_one = false;
  }
};

// -1 / N modulo 2^bits.
word constant_of(word lowest) {
  word inverse = num_limb{0} - num_mont_constant(static_cast<num_limb>(lowest));  // right modulo 2^29
  if constexpr (arithmetic::bits > limb_bits) inverse *= 2 - lowest * inverse;
  return (word{0} - inverse) & arithmetic::mask;
}

// The result is N at most. Whether it is N depends on secrets: the difference is always made, and
// chosen by a mask.
void subtract_modulus_once(working_set *set) {
  word borrow = 0;
  for (int i = 0; i < digits; ++i) {
    const word difference = set->result.d[i] - set->modulus.d[i] - borrow;
    borrow = difference >> (bits_of<word> - 1);
    set->difference.d[i] = difference & arithmetic::mask;
  }
  const word keep = word{0} - borrow;
  for (int i = 0; i < digits; ++i) {
    set->result.d[i] = (set->result.d[i] & keep) | (set->difference.d[i] & ~keep);
  }
}

// to = RR * 2^40 mod N = R'^2 mod N. RR and N are public: a plain division.
int32_t convert_square_of_radix(digit_number *to, const num *rr, const num *N) {
  scoped_num converted;
  NUM_TRY(num_copy(&converted, rr));
  converted.sign = 1;  // products look at magnitudes only
  NUM_TRY(num_shift_l(&converted, 2 * (arithmetic::bits * digits - limb_bits * modulus_limbs)));
  NUM_TRY(num_mod_num(&converted, &converted, N));
  to_digits(to, &converted);
  return 0;
}

// The base below N; a negative one that compares below N counts by its magnitude.
int32_t load_base(digit_number *to, const num *A, const num *N) {
  if (num_cmp_num(A, N) < 0) {
    to_digits(to, A);
    return 0;
  }
  scoped_num reduced;
  NUM_TRY(num_grow(&reduced, modulus_limbs));  // division does not report a result that cannot grow
  NUM_TRY(num_mod_num(&reduced, A, N));
  to_digits(to, &reduced);
  return 0;
}

}  // namespace

bool serves_exp_mod_1024(const num *A, const num *N, const num *RR) {
  if (N->limb_count != modulus_limbs) return false;
  if (RR != nullptr && RR->limbs != nullptr && num_cmp_abs(RR, N) >= 0) return false;
  return top_limb(A) < modulus_limbs || num_cmp_num(A, N) >= 0;
}

int32_t exp_mod_1024(num *X, const num *A, const num *E, const num *N, num *RR) {
  const int32_t w = window_width(num_msb(E));
  NUM_TRY(num_grow(X, modulus_limbs + 1));
  const wiped_block<working_set> memory(1);
  working_set *const set = memory.get();
  if (set == nullptr) return NUM_ERR_ALLOC_FAILED;

  const bool cache_given = RR != nullptr && RR->limbs != nullptr;
  scoped_num own;
  const num *rr = nullptr;
  NUM_TRY(provide_square_of_radix(RR, &own, N, &rr));

  to_digits(&set->modulus, N);
  // A cache that was given may be anything; ours makes the start a one.
  digit_powers powers{set, constant_of(set->modulus.d[0]), !cache_given};
  digit_number *const base = &set->slots[1];
  digit_number *const square_of_r = &set->slots[0];  // a slot that no window needs
  NUM_TRY(convert_square_of_radix(square_of_r, rr, N));
  NUM_TRY(load_base(base, A, N));
  powers.product(base, base, square_of_r);       // the base times R'
  powers.reduce_one(&set->result, square_of_r);  // 1 times R'
  NUM_TRY(fill_slots(w, powers));
  raise(E, w, powers);
  powers.reduce_one(&set->result, &set->result);
  subtract_modulus_once(set);
  from_digits(X, &set->result);
  X->sign = rr->sign;  // as a copy of R^2 would have it
  return 0;
}

}  // namespace libsec
