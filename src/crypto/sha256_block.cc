// SPDX-License-Identifier: MIT
// The compression function of SHA-256 (FIPS 180-2, 6.2.2).
#include <libsec/crypto.h>

#include <bit>

#include "base/bytes.h"
#include "crypto/sha256_constants.h"

namespace {

uint32_t choose(uint32_t x, uint32_t y, uint32_t z) {
  return (x & y) ^ (~x & z);
}

uint32_t majority(uint32_t x, uint32_t y, uint32_t z) {
  return (x & y) ^ (x & z) ^ (y & z);
}

uint32_t big_sigma_0(uint32_t x) {
  return std::rotr(x, 2) ^ std::rotr(x, 13) ^ std::rotr(x, 22);
}

uint32_t big_sigma_1(uint32_t x) {
  return std::rotr(x, 6) ^ std::rotr(x, 11) ^ std::rotr(x, 25);
}

uint32_t small_sigma_0(uint32_t x) {
  return std::rotr(x, 7) ^ std::rotr(x, 18) ^ x >> 3;
}

uint32_t small_sigma_1(uint32_t x) {
  return std::rotr(x, 17) ^ std::rotr(x, 19) ^ x >> 10;
}

}  // namespace

void sha256_process(sha256_context *context, const uint8_t *block) {
  uint32_t w[64];
  for (size_t t = 0; t < 16; ++t) w[t] = libsec::load_be32(block + 4 * t);
  for (size_t t = 16; t < 64; ++t) w[t] = small_sigma_1(w[t - 2]) + w[t - 7] + small_sigma_0(w[t - 15]) + w[t - 16];

  uint32_t *const state = context->state;
  uint32_t a = state[0], b = state[1], c = state[2], d = state[3];
  uint32_t e = state[4], f = state[5], g = state[6], h = state[7];
  for (size_t t = 0; t < 64; ++t) {
    const uint32_t t1 = h + big_sigma_1(e) + choose(e, f, g) + libsec::sha256_constants[t] + w[t];
    const uint32_t t2 = big_sigma_0(a) + majority(a, b, c);
    h = g;
    g = f;
    f = e;
    e = d + t1;
    d = c;
    c = b;
    b = a;
    a = t1 + t2;
  }
  const uint32_t worked[8] = {a, b, c, d, e, f, g, h};
  for (size_t i = 0; i < 8; ++i) state[i] += worked[i];
}
