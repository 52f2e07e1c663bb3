// SPDX-License-Identifier: MIT
#pragma once

#include <libsec/crypto.h>

#include <cstdint>

namespace libsec {

inline constexpr uint32_t xtea_delta = 0x9E3779B9;

// No more cycles than the tables hold.
constexpr uint32_t xtea_bounded(uint32_t rounds) {
  constexpr uint32_t most = XTEA_MAX_ROUNDS;
  return rounds < most ? rounds : most;
}

// The cycles that a caller's `rounds` stands for: its low byte, bounded by the tables.
constexpr uint32_t xtea_cycles(uint32_t rounds) {
  return xtea_bounded(rounds & 0xFF);
}

constexpr uint32_t xtea_mix(uint32_t half) {
  return (half << 4 ^ half >> 5) + half;
}

}  // namespace libsec
