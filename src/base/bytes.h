// SPDX-License-Identifier: MIT
// Big-endian loads and stores of unaligned bytes, and the wiping of secrets: what every subsystem
// shares, and nothing else.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace libsec {

constexpr uint32_t load_be16(const uint8_t *bytes) {
  return uint32_t{bytes[0]} << 8 | bytes[1];
}

constexpr uint32_t load_be32(const uint8_t *bytes) {
  return load_be16(bytes) << 16 | load_be16(bytes + 2);
}

constexpr void store_be16(uint8_t *bytes, uint32_t value) {
  bytes[0] = static_cast<uint8_t>(value >> 8);
  bytes[1] = static_cast<uint8_t>(value);
}

constexpr void store_be32(uint8_t *bytes, uint32_t value) {
  store_be16(bytes, value >> 16);
  store_be16(bytes + 2, value);
}

// Zeros memory that held a secret. The barrier makes the compiler believe that the zeros are read:
// a bare memset before free() is removed by the optimiser.
inline void secure_zero(void *memory, size_t length) {
  if (length == 0) return;
  std::memset(memory, 0, length);
  asm volatile("" : : "r"(memory) : "memory");
}

// A stack object that holds a secret: wiped when it leaves scope, on every path.
template <typename T>
struct wiped {
  T value{};
  wiped() = default;
  wiped(const wiped &) = delete;
  wiped &operator=(const wiped &) = delete;
  ~wiped() { secure_zero(&value, sizeof value); }
};

}  // namespace libsec
