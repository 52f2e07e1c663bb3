// SPDX-License-Identifier: MIT
// Byte strings of the peer: plain ones, and secret ones that are wiped when they are released.
#pragma once

#include <openssl/crypto.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace peer {

using bytes = std::vector<uint8_t>;
using byte_view = std::span<const uint8_t>;

// Wipes memory before it goes back to the heap: also what a growing vector leaves behind.
template <typename T>
struct wiping_allocator {
  using value_type = T;
  wiping_allocator() = default;
  template <typename U>
  wiping_allocator(const wiping_allocator<U> &) {}
  T *allocate(size_t count) { return std::allocator<T>().allocate(count); }
  void deallocate(T *memory, size_t count) {
    OPENSSL_cleanse(memory, count * sizeof(T));
    std::allocator<T>().deallocate(memory, count);
  }
  bool operator==(const wiping_allocator &) const { return true; }
};

using secret_bytes = std::vector<uint8_t, wiping_allocator<uint8_t>>;

// Numbers on the wire are big-endian.
inline uint16_t read16(byte_view from, size_t offset) {
  return static_cast<uint16_t>(from[offset] * 256U + from[offset + 1]);
}

inline uint32_t read32(byte_view from, size_t offset) {
  return read16(from, offset) * 65536U + read16(from, offset + 2);
}

template <typename Vector>
void append16(Vector &to, size_t value) {
  to.push_back(static_cast<uint8_t>(value >> 8 & 0xff));
  to.push_back(static_cast<uint8_t>(value & 0xff));
}

template <typename Vector>
void append32(Vector &to, uint32_t value) {
  append16(to, value >> 16);
  append16(to, value & 0xffff);
}

inline void append(bytes &to, byte_view more) {
  to.insert(to.end(), more.begin(), more.end());
}

inline bytes bytes_of(std::string_view text) {
  return {text.begin(), text.end()};
}

inline std::string text_of(byte_view from) {
  return {from.begin(), from.end()};
}

// Lower-case hexadecimal digits, two for each byte.
std::string to_hex(byte_view from);

// The bytes of an even number of hexadecimal digits; blanks, line ends, colons between bytes and a
// leading "0x" are skipped. None when anything else is in the text.
std::optional<bytes> from_hex(std::string_view text);

}  // namespace peer
