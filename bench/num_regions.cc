// SPDX-License-Identifier: MIT
// The costly number operations, each between the marks that insn_count.c counts by, in this order:
//   1  num_exp_mod, 1024-bit modulus and exponent, R^2 given
//   2  num_exp_mod, exponent 65537, R^2 included
//   3  num_exp_mod, exponent 65537, R^2 given
//   4  num_mul_num, 1024 by 1024 bits
//   5  num_div_num, 2048 by 1024 bits
#include <libsec/num.h>

#include <cstdio>

#include "vectors/exp_mod_vectors.h"

#if defined(__mips__)
#define REGION_STARTS asm volatile(".word 0x3c00c0de" ::: "memory")
#define REGION_ENDS asm volatile(".word 0x3c00c0df" ::: "memory")
#else
#error "the marks are MIPS instructions"
#endif

namespace {

void read_hex(num *X, const char *digits) {
  (void)num_lset(X, 0);
  for (; *digits != 0; ++digits) {
    (void)num_shift_l(X, 4);
    X->limbs[0] |= static_cast<num_limb>(*digits <= '9' ? *digits - '0' : *digits - 'a' + 10);
  }
}

}  // namespace

int main() {
  const auto &v = vectors::exp_mod_vectors[0];
  num n{1, 0, nullptr}, a{1, 0, nullptr}, e{1, 0, nullptr}, f4{1, 0, nullptr}, rr{1, 0, nullptr}, x{1, 0, nullptr},
      y{1, 0, nullptr}, z{1, 0, nullptr}, expected{1, 0, nullptr};
  read_hex(&n, v.modulus);
  read_hex(&a, v.base);
  read_hex(&e, v.exponent);
  read_hex(&expected, v.result);
  bool ok = num_lset(&f4, 65537) == 0 && num_exp_mod(&x, &a, &f4, &n, &rr) == 0;
  // The loader binds each function at its first call: all were called once before they are counted.
  ok = num_mul_num(&y, &a, &n) == 0 && num_div_num(&x, &z, &y, &n) == 0 && num_cmp_num(&x, &a) == 0 && ok;
  num_free(&x, &z, static_cast<num *>(nullptr));

  REGION_STARTS;
  ok = num_exp_mod(&x, &a, &e, &n, &rr) == 0 && ok;
  REGION_ENDS;
  ok = num_cmp_num(&x, &expected) == 0 && ok;
  REGION_STARTS;
  ok = num_exp_mod(&x, &a, &f4, &n, nullptr) == 0 && ok;
  REGION_ENDS;
  REGION_STARTS;
  ok = num_exp_mod(&x, &a, &f4, &n, &rr) == 0 && ok;
  REGION_ENDS;
  REGION_STARTS;
  ok = num_mul_num(&y, &a, &n) == 0 && ok;
  REGION_ENDS;
  REGION_STARTS;
  ok = num_div_num(&x, &z, &y, &n) == 0 && ok;
  REGION_ENDS;
  num_free(&n, &a, &e, &f4, &rr, &x, &y, &z, &expected, static_cast<num *>(nullptr));
  std::puts(ok ? "results right" : "results wrong");
  return ok ? 0 : 1;
}
