// SPDX-License-Identifier: MIT
// Operands for the final subtraction of a modular exponentiation, half of which need it. Whether it is
// needed depends on secrets, so nothing that can be watched may depend on it.
#pragma once

#include <libsec/num.h>

#include <cstdint>

namespace libsec::test {

// xorshift64*: small, quick and the same everywhere.
class quick_random {
 public:
  explicit quick_random(uint64_t seed) : state_(seed) {}
  uint32_t word();

 private:
  uint64_t state_;
};

// The subtraction itself: t below N, or t - N below N.
class mont_subtraction {
 public:
  static constexpr const char *name = "num_mont_subtract, 32 limbs";

  explicit mont_subtraction(uint64_t seed);
  void prepare(bool needed);
  void run();               // changes neither t nor N
  bool subtracted() const;  // by the last run()

 private:
  static constexpr int32_t limbs = 32;

  quick_random random_;
  num_limb N_[limbs], t_[limbs + 1], result_[limbs + 1], difference_[limbs];
};

// A whole num_exp_mod() modulo 1024 bits, which subtracts at its end only: A^2 modulo p^2, where A is a
// multiple of p. The products then leave p^2 itself, which has to become zero.
class exp_subtraction {
 public:
  static constexpr const char *name = "num_exp_mod, 32 limbs";

  explicit exp_subtraction(uint64_t seed);
  ~exp_subtraction();
  exp_subtraction(const exp_subtraction &) = delete;
  exp_subtraction &operator=(const exp_subtraction &) = delete;
  void prepare(bool needed);
  void run();
  bool subtracted() const;

 private:
  static constexpr int32_t limbs = 32, half = limbs / 2, kept = 64;

  void fill(num *X, int32_t count);

  quick_random random_;
  num p_{1, 0, nullptr}, N_{1, 0, nullptr}, E_{1, 0, nullptr}, RR_{1, 0, nullptr}, A_{1, 0, nullptr}, X_{1, 0, nullptr};
  num bases_[2][kept];
};

// What must not be, to see that it is found: a comparison that stops at the first difference.
class careless_comparison {
 public:
  static constexpr const char *name = "num_cmp_abs, which is known to depend on its operands";

  explicit careless_comparison(uint64_t) {}
  void prepare(bool needed);
  void run();

 private:
  static constexpr int32_t limbs = 32;
  num_limb a_[limbs] = {1}, b_[limbs] = {1};
  volatile int32_t result_ = 0;
};

}  // namespace libsec::test
