// SPDX-License-Identifier: MIT
// The one-shot forms of SHA-256: a run of whole blocks, then the padded tail.
#include <libsec/crypto.h>

#include <cstring>

#include "base/bytes.h"
#include "crypto/sha256_block.h"

namespace {

constexpr uint32_t block_bytes = SHA256_BLOCK_BYTES;
constexpr uint32_t length_offset = block_bytes - 8;  // the message's bit length ends the last block

// The end of every message: one bit, then zeros.
constexpr uint8_t padding[block_bytes] = {0x80};

// Pads the tail that stands in the buffer, behind `block_count` compressed blocks, compresses it and
// writes the digest.
void finish(sha256_context *context, uint8_t *digest) {
  context->bit_count_low = (context->block_count * block_bytes + context->tail_length) * 8;
  const uint32_t tail = context->tail_length;
  if (tail < length_offset) {
    std::memcpy(context->buffer + tail, padding, length_offset - tail);
  } else {
    std::memcpy(context->buffer + tail, padding, block_bytes - tail);
    sha256_process(context, context->buffer);
    std::memset(context->buffer, 0, block_bytes);
  }
  libsec::store_be32(context->buffer + length_offset, context->bit_count_high);
  libsec::store_be32(context->buffer + length_offset + 4, context->bit_count_low);
  sha256_process(context, context->buffer);
  for (size_t i = 0; i < 8; ++i) libsec::store_be32(digest + 4 * i, context->state[i]);
}

}  // namespace

void sha256_init(sha256_context *context) {
  // The first 32 bits of the fractional parts of the square roots of the first eight primes.
  constexpr uint32_t initial[8] = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                                   0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};
  std::memcpy(context->state, initial, sizeof initial);
  context->bit_count_low = 0;
  context->bit_count_high = 0;
  context->block_count = 0;
  context->tail_length = 0;
}

void sha256(const uint8_t *data, uint32_t length, uint8_t *digest) {
  sha256_context context;
  sha256_init(&context);
  context.block_count = length / block_bytes;
  context.tail_length = length % block_bytes;
  libsec::sha256_blocks(context.state, data, context.block_count);
  if (context.tail_length != 0) std::memcpy(context.buffer, data + (length - context.tail_length), context.tail_length);
  finish(&context, digest);
}

void sha256_file(FILE *stream, uint8_t *digest) {
  sha256_context context;
  sha256_init(&context);
  while ((context.tail_length = static_cast<uint32_t>(fread(context.buffer, 1, block_bytes, stream))) == block_bytes) {
    sha256_process(&context, context.buffer);
    ++context.block_count;
  }
  finish(&context, digest);
}
