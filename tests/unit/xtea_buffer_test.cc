// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <libsec/crypto.h>

#include <algorithm>
#include <numeric>
#include <random>
#include <string>

#include "support/plain_xtea.h"

namespace {

using namespace libsec::test;
using bytes = std::vector<uint8_t>;

bytes counting(size_t length) {
  bytes all(length);
  std::iota(all.begin(), all.end(), uint8_t{0});
  return all;
}

bytes random_bytes(std::mt19937 &random, size_t length) {
  bytes all(length);
  for (uint8_t &byte : all) byte = static_cast<uint8_t>(random());
  return all;
}

std::string hex(const uint8_t *data, size_t length) {
  std::string text;
  for (size_t i = 0; i < length; ++i) {
    text += "0123456789abcdef"[data[i] >> 4];
    text += "0123456789abcdef"[data[i] & 15];
  }
  return text;
}

TEST(XteaBuffer, TheFirstBlockIsThePublishedVectorWhateverKeyFollows) {
  bytes key = counting(16);
  key.resize(128, 0xEE);
  const bytes input = {0x41, 0x42, 0x43, 0x44, 0x45, 0x46, 0x47, 0x48};
  bytes output(8);
  encrypt(input.data(), output.data(), 8, key.data(), 128, 32);
  EXPECT_EQ(hex(output.data(), 8), "497df3d072612cb5");
}

TEST(XteaBuffer, NineZeroBlocksUnderTheCountingKeyTheNinthLikeTheFirst) {
  const bytes key = counting(128), input(72);
  bytes output(72);
  encrypt(input.data(), output.data(), 72, key.data(), 128, 32);
  const char *expected[] = {"e4cf21f8aae13f64", "70596bafee257483", "5554963a10591f89",
                            "4674fc0a648ab7b1", "8a025de8f9379303", "f75545afb4fb9ed8",
                            "44d1ad20edb7c47c", "2432e667a1caecf3", "e4cf21f8aae13f64"};
  for (size_t i = 0; i < 9; ++i) EXPECT_EQ(hex(&output[8 * i], 8), expected[i]) << "block " << i;
}

TEST(XteaBuffer, DecryptGivesTheInputBackAlsoInPlace) {
  std::mt19937 random(1);
  const bytes key = random_bytes(random, 128);
  for (const uint32_t length : {8u, 56u, 64u, 72u, 136u, 1024u, 40000u}) {
    const bytes input = random_bytes(random, length);
    bytes output(length), back(length), in_place = input;
    encrypt(input.data(), output.data(), length, key.data(), 128, 32);
    EXPECT_NE(output, input);
    decrypt(output.data(), back.data(), length, key.data(), 128, 32);
    EXPECT_EQ(back, input) << length;
    encrypt(in_place.data(), in_place.data(), length, key.data(), 128, 32);
    EXPECT_EQ(in_place, output) << length;
    decrypt(in_place.data(), in_place.data(), length, key.data(), 128, 32);
    EXPECT_EQ(in_place, input) << length;
  }
}

TEST(XteaBuffer, LengthZeroTouchesNothing) {
  const bytes key = counting(128);
  key_encode_phase1[0] = key_decode_phase2[31] = 0xC0FFEE;
  encrypt(nullptr, nullptr, 0, key.data(), 128, 32);
  decrypt(nullptr, nullptr, 0, key.data(), 128, 32);
  EXPECT_EQ(key_encode_phase1[0], 0xC0FFEEu);
  EXPECT_EQ(key_decode_phase2[31], 0xC0FFEEu);
}

TEST(XteaBuffer, ALengthIsRoundedUpToWholeBlocksAndNoByteMore) {
  const bytes key = counting(128), input = counting(32);
  for (uint32_t length = 1; length <= 24; ++length) {
    const size_t rounded = (length + 7) / 8 * 8;
    bytes expected(input.begin(), input.begin() + static_cast<std::ptrdiff_t>(rounded));
    plain_buffer(expected, key, 32, 32, plain_encipher);
    bytes output(40, 0xA5);
    encrypt(input.data(), output.data(), length, key.data(), 128, 32);
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), output.begin())) << length;
    EXPECT_TRUE(std::all_of(output.begin() + static_cast<std::ptrdiff_t>(rounded), output.end(), [](uint8_t byte) {
      return byte == 0xA5;
    })) << length;
  }
}

TEST(XteaBuffer, NoRoundsCopyEveryBlockUnchanged) {
  const bytes key = counting(128), input = counting(100);
  for (const uint32_t rounds : {0u, 256u}) {
    bytes enciphered(112, 0xA5), deciphered(112, 0xA5);
    encrypt(input.data(), enciphered.data(), 96, key.data(), 128, rounds);
    decrypt(input.data(), deciphered.data(), 96, key.data(), 128, rounds);
    EXPECT_TRUE(std::equal(input.begin(), input.begin() + 96, enciphered.begin()));
    EXPECT_TRUE(std::equal(input.begin(), input.begin() + 96, deciphered.begin()));
    EXPECT_EQ(enciphered[96], 0xA5);
    EXPECT_EQ(deciphered[96], 0xA5);
  }
}

TEST(XteaBuffer, RoundsOverThirtyTwoRunThirtyTwo) {
  const bytes key = counting(128), input = counting(80);
  bytes expected(80), output(80);
  encrypt(input.data(), expected.data(), 80, key.data(), 128, 32);
  for (const uint32_t rounds : {33u, 64u, 255u, 0x120u, 0xFFFFFFFFu}) {
    encrypt(input.data(), output.data(), 80, key.data(), 128, rounds);
    EXPECT_EQ(output, expected) << rounds;
    decrypt(output.data(), output.data(), 80, key.data(), 128, rounds);
    EXPECT_EQ(output, input) << rounds;
  }
}

TEST(XteaBuffer, AKeyOverOneHundredTwentyEightBytesIsReadNoFurther) {
  const bytes key = counting(128), input = counting(320);  // the sanitizer sees a read past the key
  bytes expected(320), output(320);
  encrypt(input.data(), expected.data(), 320, key.data(), 128, 32);
  for (const uint32_t key_length : {129u, 132u, 256u, 1024u, 1028u, 0xFFFFFFFFu}) {
    encrypt(input.data(), output.data(), 320, key.data(), key_length, 32);
    EXPECT_EQ(output, expected) << key_length;
    decrypt(output.data(), output.data(), 320, key.data(), key_length, 32);
    EXPECT_EQ(output, input) << key_length;
  }
}

TEST(XteaBuffer, AKeyUnderFourBytesWritesNothing) {
  const bytes key = counting(3), input = counting(16);
  key_encode_phase1[0] = 0xC0FFEE;
  for (uint32_t key_length = 0; key_length < 4; ++key_length) {
    bytes output(16, 0xA5);
    encrypt(input.data(), output.data(), 16, key.data(), key_length, 32);
    decrypt(input.data(), output.data(), 16, key.data(), key_length, 32);
    EXPECT_EQ(output, bytes(16, 0xA5));
  }
  EXPECT_EQ(key_encode_phase1[0], 0xC0FFEEu);
}

TEST(XteaBuffer, WordsPastAShortKeyAreZero) {
  // Five words: the slices begin at words 0, 4, 3, 2, 1, and all but two reach past the key.
  const bytes key = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20};
  const uint32_t second[4] = {0x11121314, 0, 0, 0};
  uint32_t block[2] = {0, 0};
  plain_encipher(block, second, 32);
  const bytes input(16);
  bytes output(16);
  encrypt(input.data(), output.data(), 16, key.data(), 20, 32);
  EXPECT_EQ(plain_word(&output[8]), block[0]);
  EXPECT_EQ(plain_word(&output[12]), block[1]);
}

TEST(XteaBuffer, TheKeyMayLieInTheOutput) {
  // The key is taken as it was before the call, wherever in the output it stands.
  std::mt19937 random(5);
  for (const uint32_t length : {8u, 16u, 40u, 56u, 64u, 120u, 128u, 136u, 400u}) {
    for (int32_t distance = -136; distance <= 408; distance += 4) {
      bytes memory = random_bytes(random, 1024);
      const size_t at = 256, key_at = static_cast<size_t>(256 + distance);
      const bytes key(memory.begin() + 256 + distance, memory.begin() + 256 + distance + 128);
      bytes expected(memory.begin() + 256, memory.begin() + 256 + length), output(length);
      plain_buffer(expected, key, 32, 32, plain_encipher);
      encrypt(&memory[at], &memory[at], length, &memory[key_at], 128, 32);
      output.assign(memory.begin() + 256, memory.begin() + 256 + length);
      ASSERT_EQ(output, expected) << "length " << length << ", distance " << distance;
    }
  }
}

// Runs one call at an odd address and compares output and tables with the oracle.
void compare_with_oracle(std::mt19937 &random, uint32_t length, uint32_t key_length, uint32_t rounds, bool in_place) {
  SCOPED_TRACE("length " + std::to_string(length) + ", key_length " + std::to_string(key_length) + ", rounds " +
               std::to_string(rounds) + (in_place ? ", in place" : ""));
  const bytes key = random_bytes(random, key_length);
  const uint32_t count = std::min(key_length / 4, 32u);
  const unsigned cycles = std::min(rounds & 0xFF, 32u);
  const uint32_t blocks = (length + 7) / 8;
  for (const bool enciphering : {true, false}) {
    bytes expected = random_bytes(random, size_t{8} * blocks);
    bytes input(expected.size() + 1);
    std::copy(expected.begin(), expected.end(), input.begin() + 1);
    bytes output(input.size() + 1, 0xA5);
    plain_buffer(expected, key, count, cycles, enciphering ? plain_encipher : plain_decipher);
    for (uint32_t *table : {key_encode_phase1, key_encode_phase2, key_decode_phase1, key_decode_phase2}) {
      std::fill_n(table, 32, 0xC0FFEE);
    }
    uint8_t *to = in_place ? &input[1] : &output[1];
    (enciphering ? encrypt : decrypt)(&input[1], to, length, key.data(), key_length, rounds);
    ASSERT_EQ(hex(to, expected.size()), hex(expected.data(), expected.size()));
    ASSERT_EQ(output.back(), 0xA5);

    uint32_t left[4][32];
    std::copy_n(key_encode_phase1, 32, left[0]);
    std::copy_n(key_encode_phase2, 32, left[1]);
    std::copy_n(key_decode_phase1, 32, left[2]);
    std::copy_n(key_decode_phase2, 32, left[3]);
    for (uint32_t *table : {key_encode_phase1, key_encode_phase2, key_decode_phase1, key_decode_phase2}) {
      std::fill_n(table, 32, 0xC0FFEE);
    }
    init_encode_decode(0, cycles, plain_slice(key, count, blocks - 1).data());
    ASSERT_TRUE(std::equal(key_encode_phase1, key_encode_phase1 + 32, left[0]));
    ASSERT_TRUE(std::equal(key_encode_phase2, key_encode_phase2 + 32, left[1]));
    ASSERT_TRUE(std::equal(key_decode_phase1, key_decode_phase1 + 32, left[2]));
    ASSERT_TRUE(std::equal(key_decode_phase2, key_decode_phase2 + 32, left[3]));
  }
}

TEST(XteaBuffer, EveryLengthAgreesWithTheOracleAndLeavesTheLastBlocksTables) {
  std::mt19937 random(2);
  for (uint32_t length = 1; length <= 400; ++length) compare_with_oracle(random, length, 128, 32, length % 2 != 0);
}

TEST(XteaBuffer, LongBuffersAgreeWithTheOracle) {
  std::mt19937 random(6);
  for (const uint32_t length : {32765u, 32769u, 39984u, 65529u, 65537u}) {
    compare_with_oracle(random, length, 128, 32, true);
  }
}

TEST(XteaBuffer, EveryKeyLengthAgreesWithTheOracle) {
  std::mt19937 random(3);
  for (uint32_t key_length = 4; key_length <= 140; ++key_length) {
    for (const uint32_t length : {8u, 40u, 71u, 304u}) compare_with_oracle(random, length, key_length, 32, false);
  }
}

TEST(XteaBuffer, EveryNumberOfRoundsAgreesWithTheOracle) {
  std::mt19937 random(4);
  for (uint32_t rounds = 0; rounds < 40; ++rounds) {
    for (const uint32_t length : {8u, 64u, 200u}) compare_with_oracle(random, length, 128, rounds, true);
  }
  for (const uint32_t rounds : {256u, 257u, 287u, 288u, 0xFFFFFF01u}) {  // their low byte counts
    for (const uint32_t length : {8u, 200u}) compare_with_oracle(random, length, 128, rounds, true);
  }
}

}  // namespace
