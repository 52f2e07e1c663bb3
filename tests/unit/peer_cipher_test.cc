// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <openssl/rand.h>

#include <numeric>

#include "peer/crc16.h"
#include "peer/payload.h"
#include "peer/xtea.h"
#include "support/fake_cipher.h"

namespace {

peer::bytes counting_key() {
  peer::bytes key(128);
  std::iota(key.begin(), key.end(), uint8_t{0});
  return key;
}

peer::bytes random_bytes(size_t count) {
  peer::bytes drawn(count);
  RAND_bytes(drawn.data(), static_cast<int>(count));
  return drawn;
}

TEST(PeerXtea, PublishedVectorComesOut) {
  peer::bytes block = peer::bytes_of("ABCDEFGH");
  peer::xtea_encipher(counting_key(), block);
  EXPECT_EQ(peer::to_hex(block), "497df3d072612cb5");
}

TEST(PeerXtea, EightKeySlicesServeTheBlocksInTurn) {
  peer::bytes blocks(72);
  peer::xtea_encipher(counting_key(), blocks);
  EXPECT_EQ(peer::to_hex(blocks),
            "e4cf21f8aae13f6470596bafee2574835554963a10591f894674fc0a648ab7b18a025de8f9379303f75545afb4fb9ed8"
            "44d1ad20edb7c47c2432e667a1caecf3e4cf21f8aae13f64");
}

TEST(PeerXtea, DecipheringUndoesEnciphering) {
  peer::bytes key = random_bytes(128);
  peer::bytes plain = random_bytes(8 * 37);
  peer::bytes blocks = plain;
  peer::xtea_encipher(key, blocks);
  EXPECT_NE(blocks, plain);
  peer::xtea_decipher(key, blocks);
  EXPECT_EQ(blocks, plain);
}

TEST(PeerXtea, AgreesWithATabulatedSchedule) {
  for (int round = 0; round < 20; round++) {
    peer::bytes key = random_bytes(128);
    peer::bytes here = random_bytes(8 * 19);
    peer::bytes there = here;
    peer::xtea_encipher(key, here);
    fake::xtea(key, there.data(), there.size(), false);
    ASSERT_EQ(here, there);
  }
}

TEST(PeerXtea, PartOfABlockIsNotTouched) {
  peer::bytes part(12, 0x55);
  peer::xtea_encipher(counting_key(), part);
  EXPECT_EQ(part, peer::bytes(12, 0x55));
}

TEST(PeerCrc, CatalogueValuesComeOut) {
  EXPECT_EQ(peer::crc16(peer::bytes_of("123456789")), 0x31c3);
  EXPECT_EQ(peer::crc16(peer::bytes_of("A")), 0x58e5);
  EXPECT_EQ(peer::crc16({}), 0);
}

TEST(PeerCrc, AgreesWithATable) {
  for (size_t length : {1U, 2U, 7U, 100U, 4000U}) {
    peer::bytes data = random_bytes(length);
    EXPECT_EQ(peer::crc16(data), fake::table_crc(data.data(), data.size()));
  }
}

TEST(PeerPayload, ABlockAlwaysHasPadding) {
  EXPECT_EQ(peer::block_bytes(0), 8U);
  EXPECT_EQ(peer::block_bytes(3), 8U);
  EXPECT_EQ(peer::block_bytes(4), 16U);
  EXPECT_EQ(peer::block_bytes(12), 24U);
  EXPECT_EQ(peer::block_bytes(peer::max_content_bytes), 39984U);
  EXPECT_GT(16 + peer::block_bytes(peer::max_content_bytes + 1), 40000U);
}

TEST(PeerPayload, OpensWhatItSealedAtEveryLength) {
  peer::bytes key = random_bytes(128);
  for (size_t length = 0; length < 40; length++) {
    peer::bytes content = random_bytes(length);
    peer::bytes block = peer::seal(key, content);
    ASSERT_EQ(block.size(), peer::block_bytes(length));
    peer::result<peer::bytes> opened = peer::unseal(key, block);
    ASSERT_TRUE(opened) << peer::describe(opened.error());
    ASSERT_EQ(*opened, content);
  }
}

// The key is fixed: sixteen bits of CRC let one random damage in 65536 through.
TEST(PeerPayload, EveryFlippedBitIsNoticed) {
  peer::bytes block = peer::seal(counting_key(), peer::bytes_of("twenty bytes of text"));
  for (size_t bit = 0; bit < block.size() * 8; bit++) {
    peer::bytes damaged = block;
    damaged[bit / 8] ^= static_cast<uint8_t>(1 << bit % 8);
    peer::result<peer::bytes> opened = peer::unseal(counting_key(), damaged);
    ASSERT_FALSE(opened) << bit;
    EXPECT_EQ(opened.error().code, peer::exit_code::verification);
  }
}

TEST(PeerPayload, ALengthThatDoesNotFitTheBlockIsRefused) {
  peer::bytes key = random_bytes(128);
  for (unsigned length : {0U, 3U, 12U, 13U, 65535U}) {  // a block of 16 holds 4 to 11
    peer::bytes block = peer::seal(key, random_bytes(8));
    peer::xtea_decipher(key, block);
    block[2] = static_cast<uint8_t>(length >> 8);
    block[3] = static_cast<uint8_t>(length);
    peer::xtea_encipher(key, block);
    peer::result<peer::bytes> opened = peer::unseal(key, block);
    ASSERT_FALSE(opened) << length;
    EXPECT_NE(opened.error().happened.find("content"), std::string::npos);
  }
}

TEST(PeerHex, ReadsDigitsAndSeparatorsAndNothingElse) {
  EXPECT_EQ(peer::from_hex("0x30 26:0aFF\n"), (peer::bytes{0x30, 0x26, 0x0a, 0xff}));
  EXPECT_EQ(peer::from_hex(""), peer::bytes{});
  EXPECT_EQ(peer::from_hex("3"), std::nullopt);
  EXPECT_EQ(peer::from_hex("3 0"), std::nullopt);
  EXPECT_EQ(peer::from_hex("zz"), std::nullopt);
}

}  // namespace
