// SPDX-License-Identifier: MIT
#include "bignum/ifma_radix.h"

#if LIBSEC_IFMA

#include <cpuid.h>
#include <immintrin.h>

#include "base/processor.h"

#define LIBSEC_WITH_IFMA __attribute__((target("avx512f,avx512ifma")))

namespace libsec {
namespace {

using digit = ifma_radix::digit;
constexpr int vectors = 3;

__attribute__((target("xsave"))) bool system_keeps_vectors() {
  constexpr uint64_t needed = 0xE6;  // SSE, AVX, and the three parts of AVX-512
  return (_xgetbv(0) & needed) == needed;
}

bool ask_processor() {
  unsigned eax = 0, ebx = 0, ecx = 0, edx = 0;
  if (__get_cpuid(1, &eax, &ebx, &ecx, &edx) == 0 || (ecx & bit_OSXSAVE) == 0 || !system_keeps_vectors()) return false;
  if (__get_cpuid_count(7, 0, &eax, &ebx, &ecx, &edx) == 0) return false;
  return (ebx & bit_AVX512F) != 0 && (ebx & bit_AVX512IFMA) != 0;
}

LIBSEC_WITH_IFMA inline __m512i eight_times(digit value) {
  return _mm512_set1_epi64(static_cast<long long>(value));
}

// The digits with every carry in its place. A digit that overflows hands on at most one by now, and does so
// through a row of full digits: as bits of a number, `over` and `full` add up to just that.
LIBSEC_WITH_IFMA inline void store_carried(digit *to, const __m512i (&sums)[vectors]) {
  const __m512i zero = _mm512_setzero_si512(), mask = eight_times(ifma_radix::mask);
  __m512i digits[vectors], below = zero;
  unsigned over = 0, full = 0;
  for (int i = 0; i < vectors; ++i) {
    const __m512i carries = _mm512_srli_epi64(sums[i], ifma_radix::bits);
    digits[i] = _mm512_add_epi64(_mm512_and_si512(sums[i], mask), _mm512_alignr_epi64(carries, below, 7));
    below = carries;
    over |= unsigned{_mm512_cmpgt_epu64_mask(digits[i], mask)} << (8 * i);
    full |= unsigned{_mm512_cmpeq_epu64_mask(digits[i], mask)} << (8 * i);
  }
  const unsigned carried_into = (2 * over + full) ^ full;
  for (int i = 0; i < vectors; ++i) {
    const auto ones = static_cast<__mmask8>(carried_into >> (8 * i));
    const __m512i sum = _mm512_mask_add_epi64(digits[i], ones, digits[i], eight_times(1));
    _mm512_storeu_si512(to + 8 * i, _mm512_and_si512(sum, mask));
  }
}

}  // namespace

bool ifma_works() {
  static int answer = 0;
  return ask_once(&answer, ask_processor);
}

// Digit by digit of a: sums += a[i] * b + q * n with the q that makes the lowest digit zero, and one digit down.
// The low half of each product belongs to its own place and the high half one up, which behind the step
// down is the place again: so the low halves of the digit that comes are added together with the high halves
// of the one that goes, and the low halves of q * n come from n moved down. What q adds to the lowest digit is
// what that digit lacks to a multiple of 2^52, so its carry is known without.
//
// A sum takes four numbers below 2^52 in each of 20 rounds: it never overflows.
LIBSEC_WITH_IFMA void ifma_radix::multiply(digit *result, const digit *a, const digit *b, const digit *n,
                                           digit constant, scratch &) {
  const __m512i zero = _mm512_setzero_si512(), lacking = eight_times(mask), inverse = eight_times(constant);
  __m512i factor[vectors], modulus[vectors], modulus_down[vectors], sums[vectors];
  __m512i digit_now = eight_times(a[0]);
  for (int i = 0; i < vectors; ++i) {
    factor[i] = _mm512_loadu_si512(b + 8 * i);
    modulus[i] = _mm512_loadu_si512(n + 8 * i);
    sums[i] = _mm512_madd52lo_epu64(zero, digit_now, factor[i]);
  }
  for (int i = 0; i < vectors; ++i)
    modulus_down[i] = _mm512_alignr_epi64(i + 1 < vectors ? modulus[i + 1] : zero, modulus[i], 1);

  for (int row = 0; row < used_digits; ++row) {
    const __m512i q = _mm512_broadcastq_epi64(_mm512_castsi512_si128(_mm512_madd52lo_epu64(zero, sums[0], inverse)));
    const __m512i digit_next = eight_times(a[row + 1]);  // behind the last one there is a zero
    __m512i carry = _mm512_maskz_srli_epi64(1, _mm512_add_epi64(sums[0], lacking), bits);
#pragma GCC unroll 3
    for (int i = 0; i < vectors; ++i) {
      const __m512i down = _mm512_alignr_epi64(i + 1 < vectors ? sums[i + 1] : zero, sums[i], 1);
      const __m512i product =
          _mm512_madd52hi_epu64(_mm512_madd52lo_epu64(carry, digit_next, factor[i]), digit_now, factor[i]);
      sums[i] = _mm512_madd52lo_epu64(_mm512_add_epi64(down, product), q, modulus_down[i]);
      sums[i] = _mm512_madd52hi_epu64(sums[i], q, modulus[i]);
      carry = zero;
    }
    digit_now = digit_next;
  }
  store_carried(result, sums);
}

}  // namespace libsec

#endif
