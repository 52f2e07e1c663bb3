// SPDX-License-Identifier: MIT
// Exponentiation for moduli of 32 limbs, on the digits of reduced_radix.h, or of ifma_radix.h where the
// processor has what that takes.
//
// Three radices meet: the caller's R = 2^1024, by which RR = R^2 mod N is defined; R' of the digits'
// products, a higher power of two; and limbs of 32 bits. RR * (R' / R)^2 = R'^2 mod N joins the first
// two. Everything after that is the general form's sequence of products, so even a cache that is not
// R^2 mod N (but some R^2 * c) gives what the general form makes of it: every factor c comes in alike.
#include "bignum/exp_1024.h"

#include "bignum/exp_general.h"
#include "bignum/ifma_radix.h"
#include "bignum/limbs.h"
#include "bignum/montgomery.h"
#include "bignum/reduced_radix.h"
#include "bignum/scoped_num.h"
#include "bignum/sliding_window.h"

namespace libsec {
namespace {

constexpr int32_t modulus_limbs = 32;

template <typename arithmetic>
struct digit_number {
  typename arithmetic::digit d[arithmetic::digits];
};

template <typename arithmetic>
void to_digits(digit_number<arithmetic> *to, const num *from) {
  using digit = typename arithmetic::digit;
  using wide = wide_t<digit>;
  wide gathered = 0;
  int have = 0, k = 0;
  const int32_t count = from->limb_count < modulus_limbs ? from->limb_count : modulus_limbs;
  for (int32_t i = 0; i < count; ++i) {
    gathered |= wide{from->limbs[i]} << have;
    for (have += limb_bits; have >= arithmetic::bits; have -= arithmetic::bits) {
      to->d[k++] = static_cast<digit>(gathered) & arithmetic::mask;
      gathered >>= arithmetic::bits;
    }
  }
  for (; k < arithmetic::digits; ++k) {
    to->d[k] = static_cast<digit>(gathered);
    gathered = 0;
  }
}

// `to` has one limb more than the modulus at least.
template <typename arithmetic>
void from_digits(num *to, const digit_number<arithmetic> *from) {
  using wide = wide_t<typename arithmetic::digit>;
  wide gathered = 0;
  int have = 0, k = 0;
  for (int32_t i = 0; i < to->limb_count; ++i) {
    for (; have < limb_bits && k < arithmetic::digits; have += arithmetic::bits) {
      gathered |= wide{from->d[k++]} << have;
    }
    to->limbs[i] = static_cast<num_limb>(gathered);
    gathered >>= limb_bits;
    if (i <= modulus_limbs) have -= limb_bits;  // above there are zeros only
  }
}

// All that one call works in: on the heap, because it is large, and wiped with its block.
template <typename arithmetic>
struct working_set {
  digit_number<arithmetic> modulus, result, difference;
  digit_number<arithmetic> slots[1 << widest_window];
  typename arithmetic::scratch scratch;
};

// The result and the slots of the window in digits; slot i holds base^i * R' mod N, below 2N.
template <typename arithmetic>
struct digit_powers {
  using number = digit_number<arithmetic>;

  working_set<arithmetic> *set;
  typename arithmetic::digit constant;
  bool result_is_one;  // known to be: nothing need be squared, nor multiplied by it

  void product(number *to, const number *a, const number *b) {
    arithmetic::multiply(to->d, a->d, b->d, set->modulus.d, constant, set->scratch);
  }
  void self_product(number *a) { arithmetic::square(a->d, a->d, set->modulus.d, constant, set->scratch); }
  void reduce_one(number *to, const number *a) {
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
template <typename arithmetic>
typename arithmetic::digit constant_of(typename arithmetic::digit lowest) {
  using digit = typename arithmetic::digit;
  digit inverse = num_limb{0} - num_mont_constant(static_cast<num_limb>(lowest));  // right modulo 2^29
  if constexpr (arithmetic::bits > limb_bits) inverse *= 2 - lowest * inverse;
  return (digit{0} - inverse) & arithmetic::mask;
}

// The result is N at most. Whether it is N depends on secrets: the difference is always made, and
// chosen by a mask.
template <typename arithmetic>
void subtract_modulus_once(working_set<arithmetic> *set) {
  using digit = typename arithmetic::digit;
  digit borrow = 0;
  for (int i = 0; i < arithmetic::digits; ++i) {
    const digit difference = set->result.d[i] - set->modulus.d[i] - borrow;
    // cppcheck-suppress compareBoolExpressionWithInt ; a variable template is taken for a comparison
    borrow = difference >> (bits_of<digit> - 1);
    set->difference.d[i] = difference & arithmetic::mask;
  }
  const digit keep = digit{0} - borrow;
  for (int i = 0; i < arithmetic::digits; ++i) {
    set->result.d[i] = (set->result.d[i] & keep) | (set->difference.d[i] & ~keep);
  }
}

// to = RR * (R' / R)^2 mod N = R'^2 mod N. RR and N are public: a plain division.
template <typename arithmetic>
int32_t convert_square_of_radix(digit_number<arithmetic> *to, const num *rr, const num *N) {
  scoped_num converted;
  NUM_TRY(num_copy(&converted, rr));
  converted.sign = 1;  // products look at magnitudes only
  NUM_TRY(num_shift_l(&converted, 2 * (arithmetic::radix_bits - limb_bits * modulus_limbs)));
  NUM_TRY(num_mod_num(&converted, &converted, N));
  to_digits(to, &converted);
  return 0;
}

// The base below N; a negative one that compares below N counts by its magnitude.
template <typename arithmetic>
int32_t load_base(digit_number<arithmetic> *to, const num *A, const num *N) {
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

template <typename arithmetic>
int32_t exp_mod(num *X, const num *A, const num *E, const num *N, num *RR) {
  const int32_t w = window_width(num_msb(E));
  NUM_TRY(num_grow(X, modulus_limbs + 1));
  const wiped_block<working_set<arithmetic>> memory(1);
  working_set<arithmetic> *const set = memory.get();
  if (set == nullptr) return NUM_ERR_ALLOC_FAILED;

  const bool cache_given = RR != nullptr && RR->limbs != nullptr;
  scoped_num own;
  const num *rr = nullptr;
  NUM_TRY(provide_square_of_radix(RR, &own, N, &rr));

  to_digits(&set->modulus, N);
  // A cache that was given may be anything; ours makes the start a one.
  digit_powers<arithmetic> powers{set, constant_of<arithmetic>(set->modulus.d[0]), !cache_given};
  auto *const base = &set->slots[1];
  auto *const square_of_r = &set->slots[0];  // a slot that no window needs
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

}  // namespace

bool serves_exp_mod_1024(const num *A, const num *N, const num *RR) {
  if (N->limb_count != modulus_limbs) return false;
  if (RR != nullptr && RR->limbs != nullptr && num_cmp_abs(RR, N) >= 0) return false;
  return top_limb(A) < modulus_limbs || num_cmp_num(A, N) >= 0;
}

int32_t exp_mod_1024_anywhere(num *X, const num *A, const num *E, const num *N, num *RR) {
  return exp_mod<reduced_radix<native_word>>(X, A, E, N, RR);
}

int32_t exp_mod_1024(num *X, const num *A, const num *E, const num *N, num *RR) {
#if LIBSEC_IFMA
  if (ifma_works()) return exp_mod<ifma_radix>(X, A, E, N, RR);
#endif
  return exp_mod_1024_anywhere(X, A, E, N, RR);
}

}  // namespace libsec
