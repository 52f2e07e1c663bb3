// SPDX-License-Identifier: MIT
// ENCR: requests in, replies out.
#include <cerrno>

#include "support/protocol_test.h"

namespace libsec::test {
namespace {

constexpr char resetting[] = "Something was wrong with the ENCR packet. Resetting...\n";
constexpr char not_swapped[] = "failed to swap to the correct session\n";
constexpr char not_sent[] = "There was a problem sending the ENCR packet\n";

class Encr : public ProtocolTest {
 protected:
  Encr() { start_session(SESSION_LOGGED_IN); }

  void expect_refused(const bytes &packet, const std::string &output) {
    const uint32_t state = security_sessions.state;
    expect_consumed(packet, output + resetting);
    EXPECT_EQ(security_sessions.state, state);
    EXPECT_EQ(context->packet_failed, 1u);
    EXPECT_EQ(context->encrypt_replies, 0u);
  }

  // ZOLT_send of these bytes, and what it printed.
  std::string reply(uint8_t *data, int32_t length, int32_t expected) {
    return captured([&] { EXPECT_EQ(ZOLT_send(context.get(), data, length), expected); });
  }
  std::string reply(bytes data, int32_t expected) {
    return reply(data.data(), static_cast<int32_t>(data.size()), expected);
  }

  // The peer got this content as an ENCR of the live session.
  static void expect_encr(const bytes &packet, const bytes &content) {
    const size_t total = 16 + ((content.size() + 4) / 8 + 1) * 8;
    EXPECT_EQ(packet.size(), total);
    EXPECT_EQ(header_of(packet), header("ENCR", total, live_id));
    const opened_block block = opened(payload_of(packet), test_key());
    EXPECT_TRUE(block.crc_good);
    EXPECT_EQ(block.claimed, content.size());
    EXPECT_TRUE(block.content() == content);
  }
};

// ---- requests ----

TEST_F(Encr, ReachesTheHostDeciphered) {
  const reception r = exchange(encr(live_id, text("the request"), test_key()));
  EXPECT_EQ(r.result, 0);
  EXPECT_EQ(r.length, 11);
  EXPECT_EQ(r.delivered(), text("the request"));
  EXPECT_EQ(r.output, "received 32\n");
  EXPECT_EQ(security_sessions.state, SESSION_DATA_FLOWING);
  EXPECT_EQ(context->encrypt_replies, 1u);
  EXPECT_EQ(context->packet_failed, 0u);
}

TEST_F(Encr, ManyFollowOneAnother) {
  for (int i = 0; i < 5; ++i) EXPECT_EQ(exchange(encr(live_id, text("again"), test_key())).delivered(), text("again"));
}

TEST_F(Encr, BeforeTheLoginReachesNobody) {
  start_session(SESSION_WRSP_SENT);
  expect_refused(encr(live_id, text("x"), test_key()),
                 std::string("Session should not be ENCR at this point\n") + not_swapped);
}

TEST_F(Encr, OfADormantOrElapsedOrForeignSessionReachesNobody) {
  expect_refused(encr(live_id ^ 1, text("x"), test_key()), not_swapped);
  clock.advance_ms(180001);
  expect_refused(encr(live_id, text("x"), test_key()), std::string("Session has elapsed\n") + not_swapped);
  start_session(SESSION_DORMANT);
  expect_refused(encr(live_id, text("x"), test_key()), std::string("Session state is dormant\n") + not_swapped);
}

TEST_F(Encr, TrafficDoesNotExtendTheSession) {
  clock.advance_ms(180000);
  EXPECT_EQ(exchange(encr(live_id, text("last"), test_key())).result, 0);
  clock.advance_ms(1);
  EXPECT_EQ(exchange(encr(live_id, text("late"), test_key())).result, -1);
}

TEST_F(Encr, ABadChecksumIsRefusedWithTheLengthThatItCameWith) {
  expect_refused(with_bad_crc(encr(live_id, text("seven.."), test_key()), test_key()), "CRC error with data\n7\n");
}

TEST_F(Encr, AMalformedOneIsRefused) {
  bytes packet = encr(live_id, text("x"), test_key());
  packet[5] = 23;
  expect_refused(packet, "packet length error\nreported length = 23, actual length = 24");
  packet = encr(live_id, text("x"), test_key());
  packet[6] = 2;
  expect_refused(packet, "");
  packet = encr(live_id, text("x"), test_key());
  packet[11] = 65;
  expect_refused(packet, "");
}

TEST_F(Encr, ARefusedOneGivesTheConnectionUpAndLeavesItOpen) {
  tcp_peer tcp(context);
  tcp.send(encr(live_id ^ 1, text("x"), test_key()));
  expect_served(receive(),
                std::string("TCP connection accepted\nAll data received\nreceived 24\n") + not_swapped + resetting);
  EXPECT_EQ(context->tcp_session_active, 0);
  EXPECT_TRUE(is_open(context->tcp_client_socket));
  EXPECT_FALSE(tcp.has_received());
}

TEST_F(Encr, ALengthThatClaimsMoreThanTheBlockHoldsReadsAsZerosBehindIt) {
  exchange(encr(live_id, bytes(500, 's'), test_key()));  // leaves plain bytes behind
  const reception r = exchange(enciphered("ENCR", live_id, text("abc"), test_key(), 400));
  EXPECT_EQ(r.length, 400);
  EXPECT_EQ(r.delivered(), joined({text("abc"), bytes(397)}));
}

TEST_F(Encr, ThatFillsThePacketBufferReachesTheHost) {
  const bytes content(39979, 'f');
  tcp_peer tcp(context);
  tcp.send(encr(live_id, content, test_key()));
  const reception r = receive();
  EXPECT_EQ(r.output, "TCP connection accepted\nAll data received\nreceived 40000\n");
  EXPECT_TRUE(r.delivered() == content);
}

// ---- replies ----

TEST_F(Encr, ARepliesPacketGoesBackOverTheConnectionThatTheRequestCameOn) {
  tcp_peer tcp(context);
  tcp.send(encr(live_id, text("request"), test_key()));
  ASSERT_EQ(receive().delivered(), text("request"));
  EXPECT_EQ(reply(text("the reply"), 0), "Sent 32\n");
  expect_encr(tcp.receive(32), text("the reply"));
  EXPECT_FALSE(tcp.has_received());
  EXPECT_FALSE(peer.has_received());
}

TEST_F(Encr, ARepliesPacketGoesBackToTheRequestsSender) {
  exchange(encr(live_id, text("request"), test_key()));
  EXPECT_EQ(reply(text("the reply"), 0), "");
  expect_encr(peer.receive(), text("the reply"));
}

TEST_F(Encr, RepliesToItAreEncipheredEvenWithoutAKeyFile) {
  full_encryption = 0;
  exchange(encr(live_id, text("request"), test_key()));
  EXPECT_EQ(reply(text("the reply"), 0), "");
  expect_encr(peer.receive(), text("the reply"));
}

TEST_F(Encr, ARepliesLengthRunsFromNothingToAFullPacket) {
  tcp_peer tcp(context);
  tcp.send(encr(live_id, text("request"), test_key()));
  ASSERT_EQ(receive().result, 0);
  for (const size_t length : {0u, 1u, 3u, 4u, 11u, 12u, 13u, 4000u, 39978u, 39979u}) {
    bytes data(length + 1);
    for (size_t i = 0; i < length; ++i) data[i] = static_cast<uint8_t>(i * 13 + 1);
    const size_t total = 16 + ((length + 4) / 8 + 1) * 8;
    EXPECT_EQ(reply(data.data(), static_cast<int32_t>(length), 0), "Sent " + std::to_string(total) + "\n");
    data.resize(length);
    expect_encr(tcp.receive(total), data);
  }
  EXPECT_FALSE(tcp.has_received());
}

TEST_F(Encr, AReplyThatDoesNotFitAPacketIsRefused) {
  exchange(encr(live_id, text("request"), test_key()));
  bytes data(39981, 'r');
  for (const int32_t length : {39980, 39981, 40000, 65536, INT32_MAX}) {
    EXPECT_EQ(reply(data.data(), length, -1), not_sent);
  }
  EXPECT_EQ(context->receive_chunk[0], 0xA5);  // stands right behind `packet`
  EXPECT_FALSE(peer.has_received());
}

TEST_F(Encr, ANegativeReplyIsRefused) {
  exchange(encr(live_id, text("request"), test_key()));
  bytes data(8);
  for (const int32_t length : {-1, INT32_MIN}) EXPECT_EQ(reply(data.data(), length, -1), "");
  context->data = data.data();
  context->data_length = -1;
  EXPECT_EQ(captured([&] { EXPECT_EQ(packet_process_encr_send(context.get()), -1); }), not_sent);
  context->data = nullptr;
  context->data_length = 0;
  EXPECT_EQ(captured([&] { EXPECT_EQ(packet_process_encr_send(context.get()), -1); }), not_sent);
  EXPECT_FALSE(peer.has_received());
}

TEST_F(Encr, AReplyThatLiesInsideThePacketBufferIsSentAsItWas) {
  bytes content(600);
  for (size_t i = 0; i < content.size(); ++i) content[i] = static_cast<uint8_t>(i * 7 + (i >> 8));
  for (const ptrdiff_t at : {0, 1, 5, 15, 16, 19, 20, 21, 24, 300}) {
    const reception r = exchange(encr(live_id, content, test_key()));
    ASSERT_EQ(r.result, 0);
    uint8_t *inside = context->packet + at;
    const bytes data(inside, inside + 500);
    EXPECT_EQ(reply(inside, 500, 0), "");
    expect_encr(peer.receive(), data);
  }
}

TEST_F(Encr, AReplyThatLiesInTheStagingBufferIsSentAsItWas) {
  exchange(encr(live_id, text("request"), test_key()));
  memset(context->receive_chunk, 'c', 100);
  EXPECT_EQ(reply(context->receive_chunk, 100, 0), "");
  expect_encr(peer.receive(), bytes(100, 'c'));
}

TEST_F(Encr, AReplyThatCannotBeSentIsReported) {
  exchange(encr(live_id, text("request"), test_key()));
  calls->sendto = [](int, const void *, size_t, int, const sockaddr *, socklen_t) { return ssize_t{fail(EPERM)}; };
  EXPECT_EQ(reply(text("x"), -1), std::string("UDP send failed\n") + not_sent);
  EXPECT_EQ(security_sessions.state, SESSION_DATA_FLOWING);
}

TEST_F(Encr, AReplyAfterARefusedPacketGoesOutUnderTheLiveSessionsKey) {
  exchange(encr(live_id, text("request"), test_key()));
  expect_consumed(encr(live_id ^ 1, text("x"), test_key()), std::string(not_swapped) + resetting);
  ASSERT_EQ(context->session, &security_session_tmp);
  EXPECT_EQ(reply(text("the reply"), 0), "");
  expect_encr(peer.receive(), text("the reply"));
}

TEST_F(Encr, AReplyFromAContextThatHasSeenNoPacketGoesOutUnderTheLiveSessionsKey) {
  exchange(encr(live_id, text("request"), test_key()));
  context->session = nullptr;
  EXPECT_EQ(reply(text("the reply"), 0), "");
  expect_encr(peer.receive(), text("the reply"));
}

TEST_F(Encr, AReplyAfterTheLogoutStillGoesOutUnderTheLastKey) {
  exchange(encr(live_id, text("request"), test_key()));
  expect_consumed(lout(live_id, test_key()), "");
  ASSERT_EQ(peer.receive().size(), 40u);
  EXPECT_EQ(reply(text("the reply"), 0), "");
  expect_encr(peer.receive(), text("the reply"));
}

TEST_F(Encr, NoReplyGoesOutWhileNoSessionWasEverKeyed) {
  expect_consumed({1, 2, 3}, "Error getting session\n");  // so that there is someone to answer
  reset_sessions();
  full_encryption = 1;
  for (const uint32_t state : {SESSION_DORMANT, SESSION_WAKE_ADMITTED}) {
    security_sessions.state = state;
    for (security_session *session :
         {static_cast<security_session *>(nullptr), &security_session_tmp, &security_sessions}) {
      context->session = session;
      EXPECT_EQ(reply(text("secret"), -1), not_sent);
    }
  }
  EXPECT_FALSE(peer.has_received());
}

}  // namespace
}  // namespace libsec::test
