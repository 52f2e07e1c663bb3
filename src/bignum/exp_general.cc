// SPDX-License-Identifier: MIT
#include "bignum/exp_general.h"

#include "bignum/limbs.h"
#include "bignum/montgomery.h"
#include "bignum/scoped_num.h"
#include "bignum/sliding_window.h"

namespace libsec {
namespace {

// The result and the slots of the window as records; slot i holds base^i * R mod N.
struct record_powers {
  num *X;
  const num *N;
  num_limb constant;
  scoped_num T;
  scoped_num slots[1 << widest_window];

  record_powers(num *result, const num *modulus)
      : X(result), N(modulus), constant(num_mont_constant(modulus->limbs[0])) {}

  // A number that products are made in has room for one limb more than N.
  int32_t room() const { return N->limb_count + 1; }
  int32_t prepare() {
    NUM_TRY(num_grow(X, room()));
    NUM_TRY(num_grow(&slots[1], room()));
    return num_grow(&T, 2 * room());
  }
  int32_t copy(int32_t to, int32_t from) {
    NUM_TRY(num_grow(&slots[to], room()));
    return num_copy(&slots[to], &slots[from]);
  }
  void product(num *A, const num *B) { num_mont_mul(A, B, N, constant, &T); }
  void square_slot(int32_t i) { product(&slots[i], &slots[i]); }
  void multiply_slot(int32_t i) { product(&slots[i], &slots[1]); }
  void square() { product(X, X); }
  void multiply(int32_t slot) { product(X, &slots[slot]); }
  void reduce() { num_mont_reduce(X, N, constant, &T); }
};

// rr = R^2 mod N, with the 2 * limb_count + 1 limbs that R^2 takes.
int32_t square_of_radix(num *rr, const num *N) {
  NUM_TRY(num_lset(rr, 1));
  NUM_TRY(num_shift_l(rr, N->limb_count * 2 * limb_bits));
  return num_mod_num(rr, rr, N);
}

}  // namespace

int32_t provide_square_of_radix(num *RR, num *own, const num *N, const num **rr) {
  *rr = RR != nullptr ? RR : own;
  if (RR != nullptr && RR->limbs != nullptr) return 0;
  NUM_TRY(square_of_radix(own, N));
  if (RR != nullptr) num_swap(RR, own);  // the caller's from here on, whatever follows
  return 0;
}

int32_t exp_mod_general(num *X, const num *A, const num *E, const num *N, num *RR) {
  const int32_t w = window_width(num_msb(E));
  record_powers powers(X, N);
  NUM_TRY(powers.prepare());

  scoped_num own;
  const num *rr = nullptr;
  NUM_TRY(provide_square_of_radix(RR, &own, N, &rr));

  num *const base = &powers.slots[1];
  if (num_cmp_num(A, N) < 0) {
    NUM_TRY(num_copy(base, A));
  } else {
    NUM_TRY(num_mod_num(base, A, N));
  }
  powers.product(base, rr);  // the base times R
  NUM_TRY(num_copy(X, rr));
  powers.reduce();  // 1 times R
  NUM_TRY(fill_slots(w, powers));
  raise(E, w, powers);
  powers.reduce();
  return 0;
}

}  // namespace libsec
