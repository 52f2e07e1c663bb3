// SPDX-License-Identifier: MIT
// Big-endian loads and stores of unaligned bytes, and the wiping of secrets: what every subsystem
// shares, and nothing else.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace libsec {

constexpr uint32_t load_be16(const uint8_t *bytes) {
  return uint32_t{bytes[0]} << 8 | bytes[1];
}

// A word at any address. Compilers then use what the machine has for unaligned words (lwl and lwr on
// MIPS) instead of four loads, three shifts and three ors; a memcpy() leaves a detour over the stack.
struct [[gnu::packed, gnu::may_alias]] unaligned_word {
  uint32_t value;
};

constexpr uint32_t swap_if_little(uint32_t word) {
  return std::endian::native == std::endian::big ? word : __builtin_bswap32(word);
}

constexpr uint32_t load_be32(const uint8_t *bytes) {
  if (std::is_constant_evaluated()) return load_be16(bytes) << 16 | load_be16(bytes + 2);
  return swap_if_little(reinterpret_cast<const unaligned_word *>(bytes)->value);
}

constexpr void store_be16(uint8_t *bytes, uint32_t value) {
  bytes[0] = static_cast<uint8_t>(value >> 8);
  bytes[1] = static_cast<uint8_t>(value);
}

constexpr void store_be32(uint8_t *bytes, uint32_t value) {
  if (std::is_constant_evaluated()) {
    store_be16(bytes, value >> 16);
    store_be16(bytes + 2, value);
    return;
  }
  reinterpret_cast<unaligned_word *>(bytes)->value = swap_if_little(value);
}

// Zeros memory that held a secret. The barrier makes the compiler believe that the zeros are read:
// a bare memset before free() is removed by the optimiser.
inline void secure_zero(void *memory, size_t length) {
  if (length == 0) return;
  std::memset(memory, 0, length);
  asm volatile("" : : "r"(memory) : "memory");
}

// Zeros what functions that have returned left on the stack below the caller: compilers keep key words and
// digits there that find no register, where no destructor reaches them. Nothing but the generator, which is
// wiped whole, goes deeper on the way of a packet.
[[gnu::noinline]] inline void wipe_stack_below() {
  uint8_t room[6144];
  secure_zero(room, sizeof room);
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
