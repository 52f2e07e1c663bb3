// SPDX-License-Identifier: MIT
// The compression function of SHA-256 by the instructions that many 64-bit Arm processors have for it.
#pragma once

// clang declares them only where all is compiled for such a processor.
#if defined(__aarch64__) && defined(__AARCH64EL__) && (!defined(__clang__) || defined(__ARM_FEATURE_SHA2))
#define LIBSEC_SHA256_ARM 1

#include <cstddef>
#include <cstdint>

namespace libsec {

// Whether this processor has them.
bool sha256_arm_works();

// Compresses `count` blocks of 64 bytes into the state.
void sha256_arm_blocks(uint32_t *state, const uint8_t *blocks, size_t count);

}  // namespace libsec

#else
#define LIBSEC_SHA256_ARM 0
#endif
