// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <numeric>

#include "peer/payload.h"
#include "peer/wire.h"

namespace {

constexpr uint32_t session_id = 0x1a2b3c4d;

peer::bytes key() {
  peer::bytes made(128);
  std::iota(made.begin(), made.end(), uint8_t{7});
  return made;
}

// An answer as a device makes it, from literal bytes.
peer::bytes answer(const char *signature, const peer::bytes &tail) {
  peer::bytes packet = peer::bytes_of(signature);
  peer::append16(packet, 16 + tail.size());
  peer::append(packet, *peer::from_hex("0100 00000040 1a2b3c4d"));
  peer::append(packet, tail);
  return packet;
}

peer::bytes ack1() {
  return answer("ACK1", peer::seal(key(), *peer::from_hex("4c4f47474544494e 1a2b3c4d 00b4")));  // LOGGEDIN
}

peer::bytes ack2() {
  return answer("ACK2", peer::seal(key(), *peer::from_hex("4c4f474745444f5554 1a2b3c4d")));  // LOGGEDOUT
}

TEST(PeerWire, WakeHasEveryFieldAtItsPlace) {
  peer::wake_fields fields{session_id, {192, 0, 2, 7}, peer::bytes(128, 0xaa), peer::bytes(128, 0xbb)};
  peer::bytes covered;
  peer::result<peer::bytes> wake = peer::build_wake(fields, [&](peer::byte_view message) -> peer::result<peer::bytes> {
    covered.assign(message.begin(), message.end());
    return peer::bytes(128, 0xcc);
  });
  ASSERT_TRUE(wake);
  EXPECT_EQ(peer::to_hex(*wake),
            "57414b45019c0100000000001a2b3c4d"  // WAKE, 412, version, key, session
            "0004c0000207"                      // address
            "0080" +
                peer::to_hex(peer::bytes(128, 0xaa)) + "0080" + peer::to_hex(peer::bytes(128, 0xbb)) + "0080" +
                peer::to_hex(peer::bytes(128, 0xcc)));
  EXPECT_EQ(covered, peer::bytes(wake->begin(), wake->begin() + 282));
}

TEST(PeerWire, WakeOfNumbersWithAnotherSizeIsNotMade) {
  peer::wake_fields fields{session_id, {}, peer::bytes(127), peer::bytes(128)};
  EXPECT_FALSE(peer::build_wake(fields, [](peer::byte_view) -> peer::result<peer::bytes> { return peer::bytes(128); }));
}

TEST(PeerWire, LoginAndLogoutNameTheSession) {
  peer::bytes login = peer::build_login(session_id, key());
  EXPECT_EQ(peer::to_hex(peer::byte_view(login).first(16)), "4c47494e00200100000000401a2b3c4d");
  EXPECT_EQ(peer::to_hex(*peer::unseal(key(), peer::byte_view(login).subspan(16))), "4c4f47494e1a2b3c4d");
  peer::bytes logout = peer::build_logout(session_id, key());
  EXPECT_EQ(peer::to_hex(peer::byte_view(logout).first(16)), "4c4f555400200100000000401a2b3c4d");
  EXPECT_EQ(peer::to_hex(*peer::unseal(key(), peer::byte_view(logout).subspan(16))), "4c4f474f55541a2b3c4d");
}

TEST(PeerWire, GoodAnswersAreAccepted) {
  EXPECT_EQ(*peer::parse_wrsp(answer("WRSP", peer::bytes(128, 0x42)), session_id), peer::bytes(128, 0x42));
  EXPECT_TRUE(peer::parse_ack1(ack1(), session_id, key()));
  EXPECT_TRUE(peer::parse_ack2(ack2(), session_id, key()));
  peer::bytes reply = answer("ENCR", peer::seal(key(), peer::bytes_of("hi")));
  EXPECT_EQ(peer::text_of(*peer::parse_reply(reply, session_id, key())), "hi");
  EXPECT_EQ(*peer::parse_reply(answer("ENCR", peer::seal(key(), {})), session_id, key()), peer::bytes{});
}

// Every bit of the header is fixed, and so is every bit behind it that is not a public value.
TEST(PeerWire, EveryFlippedBitOfAnAcknowledgementIsRefused) {
  for (size_t bit = 0; bit < 40 * 8; bit++) {
    peer::bytes first = ack1();
    peer::bytes second = ack2();
    first[bit / 8] ^= static_cast<uint8_t>(1 << bit % 8);
    second[bit / 8] ^= static_cast<uint8_t>(1 << bit % 8);
    EXPECT_FALSE(peer::parse_ack1(first, session_id, key())) << bit;
    EXPECT_FALSE(peer::parse_ack2(second, session_id, key())) << bit;
  }
}

TEST(PeerWire, EveryFlippedBitOfAHeaderIsRefused) {
  for (size_t bit = 0; bit < 16 * 8; bit++) {
    peer::bytes wrsp = answer("WRSP", peer::bytes(128, 0x42));
    peer::bytes reply = answer("ENCR", peer::seal(key(), peer::bytes_of("hi")));
    wrsp[bit / 8] ^= static_cast<uint8_t>(1 << bit % 8);
    reply[bit / 8] ^= static_cast<uint8_t>(1 << bit % 8);
    peer::result<peer::bytes> one = peer::parse_wrsp(wrsp, session_id);
    peer::result<peer::bytes> other = peer::parse_reply(reply, session_id, key());
    ASSERT_FALSE(one) << bit;
    ASSERT_FALSE(other) << bit;
    EXPECT_EQ(one.error().code, peer::exit_code::verification);
    EXPECT_EQ(one.error().step, "WAKE");
    EXPECT_EQ(other.error().step, "ENCR");
  }
}

TEST(PeerWire, AnswersOfEveryShorterOrLongerSizeAreRefused) {
  for (size_t size = 0; size < 150; size++) {
    peer::bytes wrsp = answer("WRSP", peer::bytes(size < 16 ? 0 : size - 16, 0x42));
    peer::bytes reply = answer("ENCR", peer::seal(key(), peer::bytes_of("hello")));
    wrsp.resize(size);
    reply.resize(size);
    EXPECT_EQ(static_cast<bool>(peer::parse_wrsp(wrsp, session_id)), size == 144) << size;
    EXPECT_EQ(static_cast<bool>(peer::parse_reply(reply, session_id, key())), size == 32) << size;
  }
}

TEST(PeerWire, APacketNameFromTheNetworkCannotCommandATerminal) {
  peer::bytes packet = answer("ACK1", peer::bytes(24));
  packet[0] = 0x1b;
  peer::result<peer::bytes> parsed = peer::parse_ack1(packet, session_id, key());
  ASSERT_FALSE(parsed);
  EXPECT_EQ(parsed.error().happened, "the answer is a packet \".CK1\"");
}

}  // namespace
