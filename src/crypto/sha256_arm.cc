// SPDX-License-Identifier: MIT
#include "crypto/sha256_arm.h"

#if LIBSEC_SHA256_ARM

#include <arm_neon.h>
#include <sys/auxv.h>

#include "base/processor.h"
#include "crypto/sha256_constants.h"

namespace libsec {
namespace {

// What the kernel lets programs use.
bool ask_kernel() {
  return (getauxval(AT_HWCAP) & HWCAP_SHA2) != 0;
}

}  // namespace

bool sha256_arm_works() {
  static int answer = 0;
  return ask_once(&answer, ask_kernel);
}

// One instruction makes four rounds' (a, b, c, d), the other their (e, f, g, h).
#if !defined(__ARM_FEATURE_SHA2)
__attribute__((target("+crypto")))
#endif
void sha256_arm_blocks(uint32_t *state, const uint8_t *blocks, size_t count) {
  uint32x4_t abcd = vld1q_u32(state), efgh = vld1q_u32(state + 4);
  for (; count != 0; --count, blocks += 64) {
    const uint32x4_t abcd_before = abcd, efgh_before = efgh;
    uint32x4_t w[4];  // the last sixteen words of the schedule
#pragma GCC unroll 16
    for (size_t i = 0; i < 16; ++i) {
      uint32x4_t &words = w[i % 4];
      if (i < 4) {
        words = vreinterpretq_u32_u8(vrev32q_u8(vld1q_u8(blocks + 16 * i)));
      } else {
        words = vsha256su1q_u32(vsha256su0q_u32(words, w[(i + 1) % 4]), w[(i + 2) % 4], w[(i + 3) % 4]);
      }
      const uint32x4_t sum = vaddq_u32(words, vld1q_u32(sha256_constants + 4 * i));
      const uint32x4_t abcd_four_rounds_before = abcd;
      abcd = vsha256hq_u32(abcd, efgh, sum);
      efgh = vsha256h2q_u32(efgh, abcd_four_rounds_before, sum);
    }
    abcd = vaddq_u32(abcd, abcd_before);
    efgh = vaddq_u32(efgh, efgh_before);
  }
  vst1q_u32(state, abcd);
  vst1q_u32(state + 4, efgh);
}

}  // namespace libsec

#endif
