// SPDX-License-Identifier: MIT
#include "crypto/sha256_x86.h"

#if LIBSEC_SHA256_X86

#include <cpuid.h>
#include <immintrin.h>

#include "base/processor.h"
#include "crypto/sha256_constants.h"

namespace libsec {
namespace {

bool ask_processor() {
  unsigned eax = 0, ebx = 0, ecx = 0, edx = 0;
  if (__get_cpuid(1, &eax, &ebx, &ecx, &edx) == 0) return false;
  const bool shuffles = (ecx & bit_SSSE3) != 0 && (ecx & bit_SSE4_1) != 0;
  if (__get_cpuid_count(7, 0, &eax, &ebx, &ecx, &edx) == 0) return false;
  return shuffles && (ebx & bit_SHA) != 0;
}

}  // namespace

bool sha256_x86_works() {
  static int answer = 0;
  return ask_once(&answer, ask_processor);
}

// The instruction for two rounds wants the variables as (a, b, e, f) and (c, d, g, h), the first named in
// the highest word.
__attribute__((target("sha,sse4.1"))) void sha256_x86_blocks(uint32_t *state, const uint8_t *blocks, size_t count) {
  const __m128i big_endian = _mm_set_epi64x(0x0c0d0e0f08090a0b, 0x0405060700010203);
  auto *const low = reinterpret_cast<__m128i *>(state), *const high = reinterpret_cast<__m128i *>(state + 4);
  const __m128i badc = _mm_shuffle_epi32(_mm_loadu_si128(low), 0xB1);
  const __m128i efgh = _mm_shuffle_epi32(_mm_loadu_si128(high), 0x1B);
  __m128i abef = _mm_alignr_epi8(badc, efgh, 8);
  __m128i cdgh = _mm_blend_epi16(efgh, badc, 0xF0);

  for (; count != 0; --count, blocks += 64) {
    const __m128i abef_before = abef, cdgh_before = cdgh;
    __m128i w[4];  // the last sixteen words of the schedule
#pragma GCC unroll 16
    for (size_t i = 0; i < 16; ++i) {
      __m128i &words = w[i % 4];
      if (i < 4) {
        words = _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i *>(blocks) + i), big_endian);
      } else {
        const __m128i seven_back = _mm_alignr_epi8(w[(i + 3) % 4], w[(i + 2) % 4], 4);
        words = _mm_sha256msg2_epu32(_mm_add_epi32(_mm_sha256msg1_epu32(words, w[(i + 1) % 4]), seven_back),
                                     w[(i + 3) % 4]);
      }
      const __m128i constants = _mm_loadu_si128(reinterpret_cast<const __m128i *>(sha256_constants) + i);
      const __m128i sum = _mm_add_epi32(words, constants);
      cdgh = _mm_sha256rnds2_epu32(cdgh, abef, sum);
      abef = _mm_sha256rnds2_epu32(abef, cdgh, _mm_shuffle_epi32(sum, 0x0E));
    }
    abef = _mm_add_epi32(abef, abef_before);
    cdgh = _mm_add_epi32(cdgh, cdgh_before);
  }
  const __m128i feba = _mm_shuffle_epi32(abef, 0x1B);
  const __m128i dchg = _mm_shuffle_epi32(cdgh, 0xB1);
  _mm_storeu_si128(low, _mm_blend_epi16(feba, dchg, 0xF0));
  _mm_storeu_si128(high, _mm_alignr_epi8(dchg, feba, 8));
}

}  // namespace libsec

#endif
