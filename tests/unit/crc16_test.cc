// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <libsec/crypto.h>

#include <cstring>
#include <random>
#include <vector>

#include "support/plain_crc16.h"

namespace {

// The definition, bit by bit: the remainder of the message times x^16 divided by the polynomial.
uint32_t bitwise_crc(const uint8_t *data, size_t length) {
  uint32_t remainder = 0;
  for (size_t bit = 0; bit < 8 * length; ++bit) {
    const uint32_t message_bit = data[bit / 8] >> (7 - bit % 8) & 1u;
    const uint32_t top = remainder >> 15;
    remainder = (remainder << 1 & 0xFFFF) ^ ((top ^ message_bit) != 0 ? 0x1021 : 0);
  }
  return remainder;
}

uint32_t crc_of(const char *text) {
  return crc16_ccitt(reinterpret_cast<const uint8_t *>(text), static_cast<int32_t>(std::strlen(text)));
}

std::vector<uint8_t> random_bytes(std::mt19937 &random, size_t length) {
  std::vector<uint8_t> bytes(length);
  for (uint8_t &byte : bytes) byte = static_cast<uint8_t>(random());
  return bytes;
}

TEST(Crc16, ALengthOfZeroGivesZeroAndReadsNothing) {
  EXPECT_EQ(crc16_ccitt(nullptr, 0), 0u);
}

TEST(Crc16, ANegativeLengthGivesZeroAndReadsNothing) {
  for (const int32_t length : {-1, -2, -64, -1000, INT32_MIN + 1, INT32_MIN}) {
    EXPECT_EQ(crc16_ccitt(nullptr, length), 0u) << length;
  }
}

TEST(Crc16, TheNineDigitsGiveTheCheckValue) {
  EXPECT_EQ(crc_of("123456789"), 0x31C3u);
}

TEST(Crc16, TheLetterAGives58E5) {
  EXPECT_EQ(crc_of("A"), 0x58E5u);
}

TEST(Crc16, NoBitAboveTheSixteenthIsEverSet) {
  std::mt19937 random(1);
  for (int i = 0; i < 2000; ++i) {
    const auto bytes = random_bytes(random, random() % 80);
    EXPECT_EQ(crc16_ccitt(bytes.data(), static_cast<int32_t>(bytes.size())) >> 16, 0u);
  }
}

TEST(Crc16, EveryByteOnItsOwnIsItsTableEntry) {
  for (unsigned byte = 0; byte < 256; ++byte) {
    const auto data = static_cast<uint8_t>(byte);
    EXPECT_EQ(crc16_ccitt(&data, 1), bitwise_crc(&data, 1)) << byte;
  }
}

TEST(Crc16, EveryLengthAtEveryAlignmentAgreesWithTheDefinition) {
  std::mt19937 random(2);
  for (size_t length = 0; length <= 300; ++length) {
    for (size_t offset = 0; offset < 8; ++offset) {
      const auto bytes = random_bytes(random, offset + length);
      const uint8_t *data = bytes.data() + offset;
      ASSERT_EQ(crc16_ccitt(data, static_cast<int32_t>(length)), bitwise_crc(data, length))
          << "length " << length << ", offset " << offset;
    }
  }
}

TEST(Crc16, EverySingleBitOfALongMessageCounts) {
  // The remainder is linear, so one-bit messages show every position's share on its own.
  std::vector<uint8_t> bytes(272);
  for (size_t bit = 0; bit < 8 * bytes.size(); ++bit) {
    bytes[bit / 8] = static_cast<uint8_t>(0x80 >> bit % 8);
    ASSERT_EQ(crc16_ccitt(bytes.data(), static_cast<int32_t>(bytes.size())), bitwise_crc(bytes.data(), bytes.size()))
        << "bit " << bit;
    bytes[bit / 8] = 0;
  }
}

TEST(Crc16, LongMessagesAgreeWithTheDefinition) {
  std::mt19937 random(3);
  for (const size_t length : {1000u, 1024u, 4095u, 32767u, 40000u}) {
    const auto bytes = random_bytes(random, length);
    EXPECT_EQ(crc16_ccitt(bytes.data(), static_cast<int32_t>(length)), bitwise_crc(bytes.data(), length)) << length;
  }
}

TEST(Crc16, RandomMessagesAgreeWithTheTable) {
  std::mt19937 random(4);
  for (int i = 0; i < 2000; ++i) {
    const auto bytes = random_bytes(random, random() % 1500);
    ASSERT_EQ(crc16_ccitt(bytes.data(), static_cast<int32_t>(bytes.size())),
              libsec::test::plain_crc16(bytes.data(), bytes.size()))
        << bytes.size() << " bytes";
  }
}

}  // namespace
