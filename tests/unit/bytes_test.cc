// SPDX-License-Identifier: MIT
#include "base/bytes.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>

namespace {

TEST(Bytes, WordsAreReadAndWrittenBigEndianAtAnyAddress) {
  for (size_t offset = 0; offset < 4; ++offset) {
    std::array<uint8_t, 9> bytes{};
    libsec::store_be32(&bytes[offset], 0x01020304);
    const std::array<uint8_t, 4> expected{1, 2, 3, 4};
    EXPECT_EQ(std::memcmp(&bytes[offset], expected.data(), 4), 0);
    EXPECT_EQ(bytes[offset + 4], 0);
    EXPECT_EQ(libsec::load_be32(&bytes[offset]), 0x01020304U);
    EXPECT_EQ(libsec::load_be16(&bytes[offset]), 0x0102U);
    libsec::store_be16(&bytes[offset], 0xfffea1b2);  // the low half counts
    EXPECT_EQ(libsec::load_be32(&bytes[offset]), 0xa1b20304U);
  }
}

constexpr std::array<uint8_t, 4> stored_by_the_compiler() {
  std::array<uint8_t, 4> bytes{};
  libsec::store_be32(bytes.data(), 0x89abcdef);
  return bytes;
}

TEST(Bytes, TheCompilerStoresTheSameWords) {
  constexpr std::array<uint8_t, 4> bytes = stored_by_the_compiler();
  static_assert(libsec::load_be32(bytes.data()) == 0x89abcdef);
  EXPECT_EQ(libsec::load_be32(bytes.data()), 0x89abcdefU);
}

TEST(Bytes, WipingTakesExactlyTheBytesGiven) {
  std::array<uint8_t, 5> bytes{1, 2, 3, 4, 5};
  libsec::secure_zero(&bytes[1], 3);
  EXPECT_EQ(bytes, (std::array<uint8_t, 5>{1, 0, 0, 0, 5}));
  libsec::secure_zero(nullptr, 0);  // nothing there, and nothing to wipe
}

}  // namespace
