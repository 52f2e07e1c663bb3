// SPDX-License-Identifier: MIT
// Buffers beside libtomcrypt's XTEA, block by block.
#include <gtest/gtest.h>
#include <tomcrypt.h>

#include <cstdint>
#include <random>
#include <vector>

#include "support/msan/memory.h"

// Both libraries have a sha256_init(), so their headers cannot stand together.
extern "C" void encrypt(const uint8_t *input, uint8_t *output, uint32_t length, const uint8_t *key, uint32_t key_length,
                        uint32_t rounds);
extern "C" void decrypt(const uint8_t *input, uint8_t *output, uint32_t length, const uint8_t *key, uint32_t key_length,
                        uint32_t rounds);

namespace {

using bytes = std::vector<uint8_t>;

bytes random_bytes(std::mt19937 &random, size_t length) {
  bytes value(length);
  for (uint8_t &byte : value) byte = static_cast<uint8_t>(random());
  return value;
}

// Block k under the four key words from 4k on, as often as they go round.
bytes enciphered_by_others(const bytes &plain, const bytes &key) {
  const libsec::test::other_library tomcrypt;
  bytes result(plain.size());
  for (size_t block = 0; block < plain.size() / 8; ++block) {
    symmetric_key schedule;
    const uint8_t *const slice = key.data() + 16 * block % key.size();
    EXPECT_EQ(xtea_setup(slice, 16, 32, &schedule), CRYPT_OK);
    EXPECT_EQ(xtea_ecb_encrypt(plain.data() + 8 * block, result.data() + 8 * block, &schedule), CRYPT_OK);
    xtea_done(&schedule);
  }
  libsec::test::other_library::wrote(result.data(), result.size());
  return result;
}

TEST(XteaOracle, RandomBuffersUnderKeysOfEverySizeAgreeWithLibtomcrypt) {
  std::mt19937 random(1);
  for (int i = 0; i < 4000; ++i) {
    const bytes key = random_bytes(random, 16 * (1 + random() % 8));
    const bytes plain = random_bytes(random, 8 * (random() % (i % 20 == 0 ? 300 : 40)));
    const auto length = static_cast<uint32_t>(plain.size()), key_length = static_cast<uint32_t>(key.size());
    bytes ours(plain.size()), back(plain.size());
    encrypt(plain.data(), ours.data(), length, key.data(), key_length, 32);
    ASSERT_EQ(ours, enciphered_by_others(plain, key)) << plain.size() << " bytes, key of " << key.size();
    decrypt(ours.data(), back.data(), length, key.data(), key_length, 32);
    ASSERT_EQ(back, plain);
  }
}

}  // namespace
