// SPDX-License-Identifier: MIT
// What encrypt() and decrypt() leave in the exported tables.
#include <gtest/gtest.h>
#include <libsec/crypto.h>

#include <algorithm>
#include <array>
#include <random>

#include "support/plain_xtea.h"

namespace {

using namespace libsec::test;
using bytes = std::vector<uint8_t>;
using tables = std::array<std::array<uint32_t, 32>, 4>;

uint32_t *const exported[4] = {key_encode_phase1, key_encode_phase2, key_decode_phase1, key_decode_phase2};

tables read_tables() {
  tables all;
  for (size_t t = 0; t < 4; ++t) std::copy_n(exported[t], 32, all[t].begin());
  return all;
}

void write_tables(const tables &all) {
  for (size_t t = 0; t < 4; ++t) std::copy(all[t].begin(), all[t].end(), exported[t]);
}

// Writes the schedule of `key` as it is defined, and nothing behind it.
void schedule(tables &all, const std::vector<uint32_t> &key, uint32_t cycles) {
  constexpr uint32_t delta = 0x9E3779B9;
  for (uint32_t i = 0; i < cycles; ++i) {
    const uint32_t sum = i * delta, next = sum + delta, s = (cycles - i) * delta, s_next = s - delta;
    all[0][i] = sum + key[sum & 3];
    all[1][i] = next + key[(next >> 11) & 3];
    all[2][i] = s + key[(s >> 11) & 3];
    all[3][i] = s_next + key[s_next & 3];
  }
}

// The results of the same calls as well: with or without the tables to be written, the halves run in different code.
TEST(XteaBufferTables, FollowEveryCallOfARandomSequence) {
  std::mt19937 random(1);
  tables expected = read_tables();
  const uint32_t rounds_of[] = {32, 32, 32, 32, 33, 31, 4, 3, 1, 0};
  const uint32_t key_length_of[] = {128, 128, 128, 64, 16, 20, 4};
  for (int step = 0; step < 20000; ++step) {
    // Few different bytes, so that different slices have words in common, and the same ones come back.
    bytes key(128);
    for (size_t word = 0; word < 32; ++word) key[4 * word + 3] = static_cast<uint8_t>(random() % 2);
    const uint32_t rounds = rounds_of[random() % 10], cycles = std::min(rounds, 32u);
    if (random() % 4 == 0) {
      const auto slice = plain_slice(key, 32, 0);
      init_encode_decode(0, rounds, slice.data());
      schedule(expected, slice, cycles);
    } else {
      const uint32_t key_length = key_length_of[random() % 7],
                     length = random() % 3 == 0 ? static_cast<uint32_t>(random() % 300) : 8;
      bytes buffer((length + 7) / 8 * 8);
      for (uint8_t &byte : buffer) byte = static_cast<uint8_t>(random());
      bytes result = buffer;
      const bool enciphering = random() % 2 == 0;
      plain_buffer(result, key, key_length / 4, cycles, enciphering ? plain_encipher : plain_decipher);
      (enciphering ? encrypt : decrypt)(buffer.data(), buffer.data(), length, key.data(), key_length, rounds);
      ASSERT_EQ(buffer, result) << "step " << step;
      if (length != 0) schedule(expected, plain_slice(key, key_length / 4, (length + 7) / 8 - 1), cycles);
    }
    ASSERT_EQ(read_tables(), expected) << "step " << step;
  }
}

TEST(XteaBufferTables, AreWrittenAnewWhenTheHostOverwroteAnyOfThem) {
  const bytes key(128, 0x5A);
  for (const uint32_t length : {8u, 64u, 72u, 128u, 1024u}) {
    bytes buffer(length);
    encrypt(buffer.data(), buffer.data(), length, key.data(), 128, 32);
    const tables expected = read_tables();
    for (size_t overwritten = 0; overwritten < 4; ++overwritten) {
      tables all = expected;
      all[overwritten].fill(0xC0FFEE);
      write_tables(all);
      encrypt(buffer.data(), buffer.data(), length, key.data(), 128, 32);
      EXPECT_EQ(read_tables(), expected) << "length " << length << ", table " << overwritten;
    }
  }
}

TEST(XteaBufferTables, AreWrittenAnewAfterASingleCycleThatSparedMostOfThem) {
  const bytes key = {0, 0, 0, 5, 0, 0, 0, 6, 0, 0, 0, 7, 0, 0, 0, 8};
  const uint32_t other[] = {5, 66, 77, 88};  // the first word, and so a first entry, is the same
  bytes block(8);
  encrypt(block.data(), block.data(), 8, key.data(), 16, 32);
  const tables expected = read_tables();
  init_encode_decode(0, 1, other);
  EXPECT_NE(read_tables(), expected);
  encrypt(block.data(), block.data(), 8, key.data(), 16, 32);
  EXPECT_EQ(read_tables(), expected);
}

TEST(XteaBufferTables, DoNotMatterToWhatIsEnciphered) {
  const bytes key(128, 0x5A);
  bytes buffer(72), expected(72);
  encrypt(expected.data(), expected.data(), 72, key.data(), 128, 32);
  for (size_t table = 0; table < 4; ++table) {
    for (size_t entry = 0; entry < 32; ++entry) {
      exported[table][entry] ^= 1;
      buffer.assign(72, 0);
      encrypt(buffer.data(), buffer.data(), 72, key.data(), 128, 32);
      ASSERT_EQ(buffer, expected) << "table " << table << ", entry " << entry;
    }
  }
}

}  // namespace
