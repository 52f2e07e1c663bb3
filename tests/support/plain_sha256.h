// SPDX-License-Identifier: MIT
// The compression function of SHA-256 as FIPS 180-2 words it (6.2.2): the oracle for every faster form.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

namespace libsec::test {

inline void plain_sha256_block(uint32_t state[8], const uint8_t *block, const uint32_t constants[64]) {
  uint32_t w[64];
  for (size_t t = 0; t < 16; ++t) {
    w[t] = uint32_t{block[4 * t]} << 24 | uint32_t{block[4 * t + 1]} << 16 | uint32_t{block[4 * t + 2]} << 8 |
           block[4 * t + 3];
  }
  for (size_t t = 16; t < 64; ++t) {
    const uint32_t sigma_1 = std::rotr(w[t - 2], 17) ^ std::rotr(w[t - 2], 19) ^ w[t - 2] >> 10;
    const uint32_t sigma_0 = std::rotr(w[t - 15], 7) ^ std::rotr(w[t - 15], 18) ^ w[t - 15] >> 3;
    w[t] = sigma_1 + w[t - 7] + sigma_0 + w[t - 16];
  }
  uint32_t a = state[0], b = state[1], c = state[2], d = state[3];
  uint32_t e = state[4], f = state[5], g = state[6], h = state[7];
  for (size_t t = 0; t < 64; ++t) {
    const uint32_t choose = (e & f) ^ (~e & g), majority = (a & b) ^ (a & c) ^ (b & c);
    const uint32_t t1 = h + (std::rotr(e, 6) ^ std::rotr(e, 11) ^ std::rotr(e, 25)) + choose + constants[t] + w[t];
    const uint32_t t2 = (std::rotr(a, 2) ^ std::rotr(a, 13) ^ std::rotr(a, 22)) + majority;
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

}  // namespace libsec::test
