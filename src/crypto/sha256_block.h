// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>

namespace libsec {

// Compresses `count` blocks of 64 bytes into the state, by the fastest means that the processor has.
void sha256_blocks(uint32_t *state, const uint8_t *blocks, size_t count);

// The same by plain instructions, which every processor has.
void sha256_plain_blocks(uint32_t *state, const uint8_t *blocks, size_t count);

}  // namespace libsec
