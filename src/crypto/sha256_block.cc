// SPDX-License-Identifier: MIT
// The compression function of SHA-256 (FIPS 180-2, 6.2.2), arranged for few instructions:
//  - Sixteen rounds stand in a row, so that the eight working variables change their roles by name
//    instead of being moved, and the schedule is kept in sixteen words.
//  - The sums of three rotations are nested, two of them at a time.
//  - majority(a, b, c) = b ^ ((a ^ b) & (b ^ c)), and b ^ c was a ^ b one round before.
#include "crypto/sha256_block.h"

#include <libsec/crypto.h>

#include <bit>
#include <utility>

#include "base/bytes.h"
#include "crypto/sha256_arm.h"
#include "crypto/sha256_constants.h"
#include "crypto/sha256_x86.h"

namespace {

// The exclusive or of x rotated right by `first`, `second` and `third` bits, in ascending order.
template <int first, int second, int third>
[[gnu::always_inline]] inline uint32_t rotations(uint32_t x) {
  return std::rotr(std::rotr(std::rotr(x, third - second) ^ x, second - first) ^ x, first);
}

[[gnu::always_inline]] inline uint32_t small_sigma_0(uint32_t x) {
  return std::rotr(std::rotr(x, 11) ^ x, 7) ^ x >> 3;
}

[[gnu::always_inline]] inline uint32_t small_sigma_1(uint32_t x) {
  return std::rotr(std::rotr(x, 2) ^ x, 17) ^ x >> 10;
}

struct work {
  uint32_t variables[8];  // a to h, a round t standing at (8 - t) mod 8
  uint32_t b_xor_c;
  uint32_t schedule[16];
};

template <size_t t, bool first_sixteen>
[[gnu::always_inline]] inline void round(work &w, const uint8_t *block, const uint32_t *constants) {
  uint32_t &word = w.schedule[t];
  if constexpr (first_sixteen) {
    word = libsec::load_be32(block + 4 * t);
  } else {
    word +=
        small_sigma_0(w.schedule[(t + 1) % 16]) + w.schedule[(t + 9) % 16] + small_sigma_1(w.schedule[(t + 14) % 16]);
  }
  uint32_t *const v = w.variables;
  constexpr size_t a = (16 - t) % 8;
  constexpr size_t b = (a + 1) % 8, d = (a + 3) % 8, e = (a + 4) % 8, f = (a + 5) % 8, g = (a + 6) % 8, h = (a + 7) % 8;
  const uint32_t t1 = v[h] + word + constants[t] + rotations<6, 11, 25>(v[e]) + (v[g] ^ (v[e] & (v[f] ^ v[g])));
  const uint32_t a_xor_b = v[a] ^ v[b];
  v[d] += t1;
  v[h] = t1 + rotations<2, 13, 22>(v[a]) + (v[b] ^ (a_xor_b & w.b_xor_c));
  w.b_xor_c = a_xor_b;
}

template <bool first_sixteen, size_t... t>
[[gnu::always_inline]] inline void sixteen_rounds(work &w, const uint8_t *block, const uint32_t *constants,
                                                  std::index_sequence<t...>) {
  (round<t, first_sixteen>(w, block, constants), ...);
}

void compress(uint32_t *state, const uint8_t *block) {
  using in_order = std::make_index_sequence<16>;
  work w;
#pragma GCC unroll 8  // or the variables would go to memory, to be addressed by a counter
  for (size_t i = 0; i < 8; ++i) w.variables[i] = state[i];
  w.b_xor_c = state[1] ^ state[2];
  const uint32_t *constants = libsec::sha256_constants;
  // Hides where it points: on MIPS a constant is one instruction to load, but two to build.
  asm("" : "+r"(constants));
  sixteen_rounds<true>(w, block, constants, in_order{});
  for (int i = 0; i < 3; ++i) {
    constants += 16;
    sixteen_rounds<false>(w, block, constants, in_order{});
  }
#pragma GCC unroll 8
  for (size_t i = 0; i < 8; ++i) state[i] += w.variables[i];
}

}  // namespace

void libsec::sha256_plain_blocks(uint32_t *state, const uint8_t *blocks, size_t count) {
  for (; count != 0; --count, blocks += SHA256_BLOCK_BYTES) compress(state, blocks);
}

void libsec::sha256_blocks(uint32_t *state, const uint8_t *blocks, size_t count) {
#if LIBSEC_SHA256_X86
  if (sha256_x86_works()) return sha256_x86_blocks(state, blocks, count);
#elif LIBSEC_SHA256_ARM
  if (sha256_arm_works()) return sha256_arm_blocks(state, blocks, count);
#endif
  sha256_plain_blocks(state, blocks, count);
}

void sha256_process(sha256_context *context, const uint8_t *block) {
  libsec::sha256_blocks(context->state, block, 1);
}
