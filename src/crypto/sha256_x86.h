// SPDX-License-Identifier: MIT
// The compression function of SHA-256 by the instructions that many x86-64 processors have for it.
#pragma once

#if defined(__x86_64__)
#define LIBSEC_SHA256_X86 1

#include <cstddef>
#include <cstdint>

namespace libsec {

// Whether this processor has them.
bool sha256_x86_works();

// Compresses `count` blocks of 64 bytes into the state.
void sha256_x86_blocks(uint32_t *state, const uint8_t *blocks, size_t count);

}  // namespace libsec

#else
#define LIBSEC_SHA256_X86 0
#endif
