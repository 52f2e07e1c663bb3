// SPDX-License-Identifier: MIT
// The enciphered block behind the header of every packet but WAKE and WRSP: a CRC-16 over what follows
// the length, the content's length, the content, and at least one byte of padding.
#pragma once

#include "peer/bytes.h"
#include "peer/result.h"

namespace peer {

// The most content that fits a packet of the device's 40000-byte buffer.
inline constexpr size_t max_content_bytes = 39979;

// Bytes of the block for a content of `length`: a multiple of 8, never without padding.
constexpr size_t block_bytes(size_t length) {
  return ((length + 4) / 8 + 1) * 8;
}

// The enciphered block of a content of at most max_content_bytes.
bytes seal(byte_view key, byte_view content);

// The content of an enciphered block, or a verification failure without a step.
result<bytes> unseal(byte_view key, byte_view block);

}  // namespace peer
