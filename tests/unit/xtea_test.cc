// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <libsec/crypto.h>

#include <algorithm>
#include <array>
#include <random>

#include "support/plain_xtea.h"

namespace {

using namespace libsec::test;
using tables = std::array<std::array<uint32_t, 32>, 4>;

tables read_tables() {
  tables all;
  std::copy_n(key_encode_phase1, 32, all[0].begin());
  std::copy_n(key_encode_phase2, 32, all[1].begin());
  std::copy_n(key_decode_phase1, 32, all[2].begin());
  std::copy_n(key_decode_phase2, 32, all[3].begin());
  return all;
}

void fill_tables(uint32_t value) {
  for (uint32_t *table : {key_encode_phase1, key_encode_phase2, key_decode_phase1, key_decode_phase2}) {
    std::fill_n(table, 32, value);
  }
}

const tables at_load = read_tables();  // before main(), and so before any call

TEST(XteaTables, AreZeroAtLoad) {
  EXPECT_EQ(at_load, tables{});
}

TEST(XteaTables, HoldTheSumsAndKeyWordsOfTheirDefinition) {
  std::mt19937 random(1);
  uint32_t key[11];
  for (uint32_t &word : key) word = static_cast<uint32_t>(random());
  for (uint32_t rounds = 0; rounds <= 32; ++rounds) {
    for (uint32_t offset = 0; offset < 8; ++offset) {
      tables expected;
      for (auto &table : expected) table.fill(0xC0FFEE);
      for (uint32_t i = 0; i < rounds; ++i) {
        const uint32_t delta = 0x9E3779B9, sum = i * delta, next = (i + 1) * delta;
        const uint32_t s = (rounds - i) * delta, s_next = s + 0x61C88647;
        expected[0][i] = sum + key[offset + (sum & 3)];
        expected[1][i] = next + key[offset + ((next >> 11) & 3)];
        expected[2][i] = s + key[offset + ((s >> 11) & 3)];
        expected[3][i] = s_next + key[offset + (s_next & 3)];
      }
      fill_tables(0xC0FFEE);
      init_encode_decode(offset, rounds, key);
      ASSERT_EQ(read_tables(), expected) << "rounds " << rounds << ", offset " << offset;
    }
  }
}

TEST(XteaTables, NoRoundsWriteNothing) {
  fill_tables(7);
  init_encode_decode(0, 0, nullptr);
  tables sevens;
  for (auto &table : sevens) table.fill(7);
  EXPECT_EQ(read_tables(), sevens);
}

TEST(XteaTables, MoreRoundsThanTheyHoldAreTreatedAsThirtyTwo) {
  const uint32_t key[4] = {1, 2, 3, 4};
  init_encode_decode(0, 32, key);
  const tables full = read_tables();
  for (const uint32_t rounds : {33u, 255u, 256u, 0xFFFFFFFFu}) {
    fill_tables(0);
    init_encode_decode(0, rounds, key);
    EXPECT_EQ(read_tables(), full) << rounds;
  }
}

TEST(XteaTables, OnlyTheLowByteOfTheOffsetCounts) {
  std::array<uint32_t, 259> key;
  for (uint32_t i = 0; i < key.size(); ++i) key[i] = i * 0x01234567;
  init_encode_decode(255, 32, key.data());
  const tables expected = read_tables();
  fill_tables(0);
  init_encode_decode(0xABCDEFFF, 32, key.data());
  EXPECT_EQ(read_tables(), expected);
}

TEST(XteaKey, WordsAreReadBigEndianAtAnyAlignment) {
  const uint8_t bytes[] = {0xFF, 0x01, 0x02, 0x03, 0x04, 0x85, 0x86, 0x87, 0x88};
  uint32_t words[3] = {0, 0, 9};
  init_key(bytes + 1, 8, words);
  EXPECT_EQ(words[0], 0x01020304u);
  EXPECT_EQ(words[1], 0x85868788u);
  EXPECT_EQ(words[2], 9u);
}

TEST(XteaKey, ARemainderOfTheLengthIsIgnored) {
  const uint8_t bytes[] = {1, 2, 3, 4, 5, 6, 7};
  uint32_t words[2] = {0, 9};
  init_key(bytes, 3, words);
  EXPECT_EQ(words[0], 0u);
  init_key(bytes, 7, words);
  EXPECT_EQ(words[0], 0x01020304u);
  EXPECT_EQ(words[1], 9u);
}

TEST(XteaBlock, ThePublishedVector) {
  const uint32_t key[4] = {0x00010203, 0x04050607, 0x08090A0B, 0x0C0D0E0F};
  uint32_t block[2] = {0x41424344, 0x45464748};
  init_encode_decode(0, 32, key);
  encipher(32, block);
  EXPECT_EQ(block[0], 0x497DF3D0u);
  EXPECT_EQ(block[1], 0x72612CB5u);
  decipher(32, block);
  EXPECT_EQ(block[0], 0x41424344u);
  EXPECT_EQ(block[1], 0x45464748u);
}

TEST(XteaBlock, EveryNumberOfRoundsAgreesWithThePublishedForm) {
  std::mt19937 random(2);
  for (uint32_t rounds = 0; rounds <= 32; ++rounds) {
    uint32_t key[4], block[2];
    for (uint32_t &word : key) word = static_cast<uint32_t>(random());
    for (uint32_t &word : block) word = static_cast<uint32_t>(random());
    uint32_t expected[2] = {block[0], block[1]}, start[2] = {block[0], block[1]};
    plain_encipher(expected, key, rounds);
    init_encode_decode(0, rounds, key);
    encipher(rounds, block);
    EXPECT_TRUE(std::equal(block, block + 2, expected)) << rounds;
    decipher(rounds, block);
    EXPECT_TRUE(std::equal(block, block + 2, start)) << rounds;
    plain_decipher(start, key, rounds);
    decipher(rounds, block);
    EXPECT_TRUE(std::equal(block, block + 2, start)) << rounds;
  }
}

TEST(XteaBlock, OnlyTheLowByteOfTheRoundsCountsAndIsBounded) {
  const uint32_t key[4] = {1, 2, 3, 4};
  init_encode_decode(0, 32, key);
  uint32_t full[2] = {5, 6};
  encipher(32, full);
  for (const uint32_t rounds : {33u, 255u, 0x120u, 0xFFFFFFFFu}) {
    uint32_t block[2] = {5, 6};
    encipher(rounds, block);
    EXPECT_TRUE(std::equal(block, block + 2, full)) << rounds;
    decipher(rounds, block);
    EXPECT_EQ(block[0], 5u);
    EXPECT_EQ(block[1], 6u);
  }
  uint32_t block[2] = {5, 6};
  encipher(256, block);
  decipher(256, block);
  EXPECT_EQ(block[0], 5u);
  EXPECT_EQ(block[1], 6u);
}

}  // namespace
