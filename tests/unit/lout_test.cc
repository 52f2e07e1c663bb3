// SPDX-License-Identifier: MIT
// LOUT and its ACK2.
#include <cerrno>

#include "support/protocol_test.h"

namespace libsec::test {
namespace {

constexpr char resetting[] = "Something was wrong with the LOUT packet. Resetting...\n";

class Lout : public ProtocolTest {
 protected:
  Lout() { start_session(SESSION_LOGGED_IN); }

  static void expect_ack2(const bytes &ack2) {
    ASSERT_EQ(ack2.size(), 40u);
    EXPECT_EQ(header_of(ack2), header("ACK2", 40, live_id));
    const opened_block block = opened(payload_of(ack2), test_key());
    EXPECT_TRUE(block.crc_good);
    EXPECT_EQ(block.claimed, 13u);
    EXPECT_EQ(block.content_and_padding, joined({text("LOGGEDOUT"), be32(live_id), bytes(7)}));
  }
};

TEST_F(Lout, IsAnsweredWithAck2AndEndsTheSession) {
  expect_consumed(lout(live_id, test_key()), "");
  EXPECT_EQ(security_sessions.state, SESSION_DORMANT);
  EXPECT_EQ(context->packet_failed, 0u);
  expect_ack2(peer.receive());
  EXPECT_FALSE(peer.has_received());
}

TEST_F(Lout, OverTcpClosesTheConnectionAndTheNextPassAcceptsAnother) {
  tcp_peer tcp(context);
  tcp.send(lout(live_id, test_key()));
  expect_served(receive(), "TCP connection accepted\nAll data received\nreceived 32\nSent 40\n");
  expect_ack2(tcp.receive(40));
  EXPECT_TRUE(tcp.is_closed());
  EXPECT_EQ(context->tcp_client_socket, -1);
  EXPECT_EQ(context->tcp_session_active, 0);

  full_encryption = 0;
  tcp_peer next(context);
  next.send(plain_packet(30));
  EXPECT_EQ(receive().delivered(), plain_packet(30));
}

TEST_F(Lout, OverUdpClosesNothingAndGivesTheConnectionUp) {
  full_encryption = 0;
  tcp_peer tcp(context);
  tcp.send(plain_packet(30));
  ASSERT_EQ(receive().result, 0);
  const int connection = context->tcp_client_socket;
  context->tcp_session_active = 0;  // as a refused packet leaves it
  full_encryption = 1;

  int closed = 0;
  calls->close = [&](int descriptor) {
    ++closed;
    return real_close(descriptor);
  };
  peer.send(lout(live_id, test_key()));
  libsec::test::receive(context.get(), lout(live_id, test_key()));
  context->transport_is_tcp = 0;
  context->tcp_session_active = 1;
  context->peer_address.family = AF_INET;
  context->peer_address.port = htons(peer.port());
  context->peer_address.address = htonl(INADDR_LOOPBACK);
  EXPECT_EQ(packet_process(context.get()), -1);
  calls->close = nullptr;
  EXPECT_EQ(closed, 0);
  EXPECT_EQ(context->tcp_session_active, 0);
  expect_ack2(peer.receive());
  EXPECT_EQ(context->tcp_client_socket, connection);
  EXPECT_TRUE(is_open(connection));
  EXPECT_FALSE(tcp.has_received());
}

TEST_F(Lout, AnAck2ThatCannotBeSentStillEndsTheSessionAndKeepsTheConnection) {
  tcp_peer tcp(context);
  tcp.send(lout(live_id, test_key()));
  calls->send = [](int, const void *, size_t, int) { return ssize_t{fail(ENOBUFS)}; };
  const reception r = receive();
  EXPECT_EQ(r.output,
            "TCP connection accepted\nAll data received\nreceived 32\n"
            "Sent -1\nThe tcp_send function failed\nQuitting after ACK2\n"
            "There is already an active TCP session\nNo more data was in the buffer\nreceived 0\nno data\n");
  EXPECT_EQ(security_sessions.state, SESSION_DORMANT);
  EXPECT_EQ(context->packet_failed, 1u);
  EXPECT_TRUE(is_open(context->tcp_client_socket));
}

TEST_F(Lout, TheSessionIsDormantBeforeAck2IsSent) {
  uint32_t state = 99;
  calls->sendto = [&](int, const void *, size_t length, int, const sockaddr *, socklen_t) {
    state = security_sessions.state;
    return static_cast<ssize_t>(length);
  };
  expect_consumed(lout(live_id, test_key()), "");
  EXPECT_EQ(state, SESSION_DORMANT);
}

TEST_F(Lout, IsAcceptedInEveryLiveState) {
  for (uint32_t state = SESSION_WAKE_ADMITTED; state <= SESSION_LOUT_ACCEPTED; ++state) {
    start_session(state);
    expect_consumed(lout(live_id, test_key()), "");
    EXPECT_EQ(security_sessions.state, SESSION_DORMANT);
    expect_ack2(peer.receive());
  }
}

TEST_F(Lout, AMalformedOneIsRefusedAndLeavesTheSession) {
  struct {
    bytes packet;
    std::string output;
  } const cases[] = {
      {joined({lout(live_id, test_key()), {0}}), "packet length error\nreported length = 32, actual length = 33"},
      {with_bad_crc(lout(live_id, test_key()), test_key()), "CRC error with data\n10\n"},
      {enciphered("LOUT", live_id, joined({text("LOGOUR"), be32(live_id)}), test_key()), ""},
      {enciphered("LOUT", live_id, joined({text("LOGOUT"), be32(live_id ^ 1)}), test_key()), ""},
      {lout(live_id ^ 1, test_key()), "failed to swap to the correct session\n"},
  };
  for (const auto &c : cases) {
    expect_consumed(c.packet, c.output + resetting);
    EXPECT_EQ(security_sessions.state, SESSION_LOGGED_IN);
    EXPECT_EQ(context->packet_failed, 1u);
    EXPECT_FALSE(peer.has_received());
  }
}

TEST_F(Lout, ADormantSessionHasNothingToEnd) {
  start_session(SESSION_DORMANT);
  expect_consumed(lout(live_id, test_key()),
                  std::string("Session state is dormant\nfailed to swap to the correct session\n") + resetting);
}

}  // namespace
}  // namespace libsec::test
