// SPDX-License-Identifier: MIT
#include "secrets/subtraction.h"

#include <cstdlib>
#include <cstring>

#include "bignum/montgomery.h"

namespace libsec::test {
namespace {

constexpr num_limb top_bit = 0x80000000;

void demand(bool good) {
  if (!good) std::abort();
}

}  // namespace

uint32_t quick_random::word() {
  state_ ^= state_ >> 12;
  state_ ^= state_ << 25;
  state_ ^= state_ >> 27;
  return static_cast<uint32_t>(state_ * 0x2545F4914F6CDD1D >> 32);
}

mont_subtraction::mont_subtraction(uint64_t seed) : random_(seed) {
  for (num_limb &limb : N_) limb = random_.word();
  N_[0] |= 1;
  N_[limbs - 1] |= top_bit;
}

// Both kinds of t are made in the same way, so that only the subtraction can tell them apart.
void mont_subtraction::prepare(bool needed) {
  const num_limb mask = num_limb{0} - static_cast<num_limb>(needed);
  uint64_t carry = 0;
  for (int32_t i = 0; i < limbs; ++i) {
    const num_limb below = i == limbs - 1 ? random_.word() % N_[i] : random_.word();
    carry += uint64_t{below} + (N_[i] & mask);
    t_[i] = static_cast<num_limb>(carry);
    carry >>= 32;
  }
  t_[limbs] = static_cast<num_limb>(carry);
}

void mont_subtraction::run() {
  num_mont_subtract(result_, t_, N_, limbs, difference_);
}

bool mont_subtraction::subtracted() const {
  return std::memcmp(result_, t_, sizeof t_) != 0;
}

exp_subtraction::exp_subtraction(uint64_t seed) : random_(seed) {
  num two{1, 0, nullptr};
  demand(num_lset(&two, 2) == 0 && num_lset(&E_, 2) == 0);
  fill(&p_, half);
  p_.limbs[0] |= 1;
  p_.limbs[half - 1] |= 3 * (top_bit >> 1);
  demand(num_mul_num(&N_, &p_, &p_) == 0 && N_.limb_count == limbs);
  for (num &base : bases_[0]) {
    base = {1, 0, nullptr};
    fill(&base, limbs);
    base.limbs[limbs - 1] %= N_.limbs[limbs - 1];
  }
  for (num &base : bases_[1]) {
    num k{1, 0, nullptr};
    base = {1, 0, nullptr};
    fill(&k, half);
    k.limbs[half - 1] %= p_.limbs[half - 1];
    demand(num_mul_num(&base, &p_, &k) == 0);
    num_free(&k, static_cast<num *>(nullptr));
  }
  demand(num_grow(&A_, limbs) == 0);
  num_free(&two, static_cast<num *>(nullptr));
}

exp_subtraction::~exp_subtraction() {
  for (auto &kind : bases_) {
    for (num &base : kind) num_free(&base, static_cast<num *>(nullptr));
  }
  num_free(&p_, &N_, &E_, &RR_, &A_, &X_, static_cast<num *>(nullptr));
}

void exp_subtraction::fill(num *X, int32_t count) {
  demand(num_grow(X, count) == 0);
  for (int32_t i = 0; i < count; ++i) X->limbs[i] = random_.word();
}

void exp_subtraction::prepare(bool needed) {
  const num &base = bases_[needed ? 1 : 0][random_.word() % kept];
  std::memcpy(A_.limbs, base.limbs, limbs * sizeof(num_limb));
}

void exp_subtraction::run() {
  demand(num_exp_mod(&X_, &A_, &E_, &N_, &RR_) == 0);
}

bool exp_subtraction::subtracted() const {
  return num_msb(&X_) == 0;
}

// They differ in the lowest limb, which is compared last, or in the highest one.
void careless_comparison::prepare(bool needed) {
  for (num_limb &limb : a_) limb = 5;
  std::memcpy(b_, a_, sizeof b_);
  b_[needed ? 0 : limbs - 1] = 4;
}

void careless_comparison::run() {
  const num A{1, limbs, a_}, B{1, limbs, b_};
  result_ = num_cmp_abs(&A, &B);
}

}  // namespace libsec::test
