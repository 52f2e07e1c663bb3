// SPDX-License-Identifier: MIT
// The test peer itself, against published values and OpenSSL's packets: what the other tests lean on.
#include <gtest/gtest.h>

#include "support/packets.h"

namespace {

using namespace libsec::test;

bytes counted(size_t length) {
  bytes out;
  for (size_t i = 0; i < length; ++i) out.push_back(static_cast<uint8_t>(i));
  return out;
}

TEST(PeerPackets, TheCipherGivesThePublishedVector) {
  EXPECT_EQ(to_hex(plain_encrypt(text("ABCDEFGH"), counted(128))), "497df3d072612cb5");
}

TEST(PeerPackets, EveryEighthBlockIsUnderTheSameSlice) {
  EXPECT_EQ(to_hex(plain_encrypt(bytes(72), counted(128))),
            "e4cf21f8aae13f6470596bafee2574835554963a10591f894674fc0a648ab7b1"
            "8a025de8f9379303f75545afb4fb9ed844d1ad20edb7c47c2432e667a1caecf3e4cf21f8aae13f64");
  EXPECT_EQ(plain_decrypt(plain_encrypt(counted(96), test_key()), test_key()), counted(96));
}

TEST(PeerPackets, TheCheckValueIsThatOfTheCatalogue) {
  EXPECT_EQ(plain_crc16(text("123456789")), 0x31C3u);
}

TEST(PeerPackets, TheBuiltWakeIsTheSignedOne) {
  const auto tail = [](const bytes &packet, size_t from, size_t length) {
    return bytes(packet.begin() + static_cast<long>(from), packet.begin() + static_cast<long>(from + length));
  };
  const bytes wake = from_hex(vectors::wake);
  wake_fields fields;
  fields.signature = tail(wake, 284, 128);
  EXPECT_EQ(to_hex(fields.packet()), to_hex(wake));
  EXPECT_EQ(fields.signed_part(), tail(wake, 0, 282));

  const bytes trailing = from_hex(vectors::wake_trailing);
  fields.signature = tail(trailing, 284, 128);
  fields.trailing = tail(trailing, 412, 8);
  EXPECT_EQ(to_hex(fields.packet()), to_hex(trailing));
}

TEST(PeerPackets, ASealedBlockOpensToItsContent) {
  for (size_t length = 0; length < 40; ++length) {
    const bytes block = sealed(counted(length), test_key());
    EXPECT_EQ(block.size(), ((length + 4) / 8 + 1) * 8);
    const opened_block open = opened(block, test_key());
    EXPECT_TRUE(open.whole && open.crc_good);
    EXPECT_EQ(open.content(), counted(length));
  }
}

}  // namespace
