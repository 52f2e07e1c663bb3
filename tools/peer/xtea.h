// SPDX-License-Identifier: MIT
#pragma once

#include "peer/bytes.h"

namespace peer {

inline constexpr size_t xtea_block_bytes = 8;
inline constexpr size_t session_key_bytes = 128;

// Enciphers or deciphers whole 8-byte blocks in place with XTEA, 32 cycles. The key is one of
// session_key_bytes: its eight groups of four words serve the blocks in turn. There is no chaining.
// A key or buffer of another size is a mistake of the caller, and nothing is changed.
void xtea_encipher(byte_view key, std::span<uint8_t> blocks);
void xtea_decipher(byte_view key, std::span<uint8_t> blocks);

}  // namespace peer
