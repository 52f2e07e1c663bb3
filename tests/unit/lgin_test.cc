// SPDX-License-Identifier: MIT
// LGIN and its ACK1.
#include <cerrno>

#include "support/protocol_test.h"

namespace libsec::test {
namespace {

constexpr char resetting[] = "Something was wrong with the LGIN packet. Resetting...\n";
constexpr char not_swapped[] = "failed to swap to the correct session\n";

class Lgin : public ProtocolTest {
 protected:
  Lgin() { start_session(SESSION_WRSP_SENT); }

  // A refused LGIN: what is printed before the last line; no answer, and the session stays as it was.
  void expect_refused(const bytes &packet, const std::string &output) {
    const uint32_t state = security_sessions.state;
    expect_consumed(packet, output + resetting);
    EXPECT_EQ(security_sessions.state, state);
    EXPECT_EQ(context->packet_failed, 1u);
    EXPECT_FALSE(peer.has_received());
  }
};

TEST_F(Lgin, IsAnsweredWithAck1AndLogsTheSessionIn) {
  expect_consumed(lgin(live_id, test_key()), "");
  EXPECT_EQ(security_sessions.state, SESSION_LOGGED_IN);
  EXPECT_EQ(context->packet_failed, 0u);

  const bytes ack1 = peer.receive();
  ASSERT_EQ(ack1.size(), 40u);
  EXPECT_EQ(header_of(ack1), header("ACK1", 40, live_id));
  const opened_block block = opened(payload_of(ack1), test_key());
  EXPECT_TRUE(block.crc_good);
  EXPECT_EQ(block.claimed, 14u);
  EXPECT_EQ(block.content(), joined({text("LOGGEDIN"), be32(live_id), {0x00, 0xB4}}));
  EXPECT_EQ(block.content_and_padding, joined({block.content(), bytes(6)}));
  EXPECT_FALSE(peer.has_received());
}

TEST_F(Lgin, AClientThatIsAnsweredOverTcpStaysConnected) {
  tcp_peer tcp(context);
  tcp.send(lgin(live_id, test_key()));
  expect_no_data(receive(),
                 "TCP connection accepted\nAll data received\nreceived 32\nSent 40\n"
                 "There is already an active TCP session\nNo more data was in the buffer\nreceived 0\nno data\n");
  EXPECT_EQ(header_of(tcp.receive(40)), header("ACK1", 40, live_id));
  EXPECT_FALSE(tcp.has_received());
}

TEST_F(Lgin, AnAck1ThatCannotBeSentLeavesTheLoginAccepted) {
  calls->sendto = [](int, const void *, size_t, int, const sockaddr *, socklen_t) { return ssize_t{fail(EPERM)}; };
  expect_consumed(lgin(live_id, test_key()), "UDP send failed\nThere was a problem with the ack1 process\n");
  EXPECT_EQ(security_sessions.state, SESSION_LGIN_ACCEPTED);
  EXPECT_EQ(context->packet_failed, 1u);
}

TEST_F(Lgin, AMalformedOneIsRefused) {
  bytes short_length = lgin(live_id, test_key());
  short_length[5] = 31;
  expect_refused(short_length, "packet length error\nreported length = 31, actual length = 32");
}

TEST_F(Lgin, AWrongVersionOrBlockSizeIsRefused) {
  const bytes payload = payload_of(lgin(live_id, test_key()));
  expect_refused(joined({header("LGIN", 32, live_id, 64, 257), payload}), "");
  expect_refused(joined({header("LGIN", 32, live_id, 128), payload}), "");
}

TEST_F(Lgin, ABadChecksumIsRefused) {
  expect_refused(with_bad_crc(lgin(live_id, test_key()), test_key()), "CRC error with data\n9\n");
}

TEST_F(Lgin, AWrongTextIsRefused) {
  expect_refused(enciphered("LGIN", live_id, joined({text("LOGUN"), be32(live_id)}), test_key()), "");
}

TEST_F(Lgin, AnotherSessionsIdentifierInTheContentIsRefused) {
  expect_refused(enciphered("LGIN", live_id, joined({text("LOGIN"), be32(live_id + 1)}), test_key()), "");
}

TEST_F(Lgin, AnotherSessionsIdentifierInTheHeaderIsRefused) {
  expect_refused(lgin(live_id + 1, test_key()), not_swapped);
}

TEST_F(Lgin, ADormantSessionIsNotLoggedIn) {
  start_session(SESSION_DORMANT);
  expect_refused(lgin(live_id, test_key()), std::string("Session state is dormant\n") + not_swapped);
}

TEST_F(Lgin, ASessionThatIsLoggedInIsNotLoggedInAgain) {
  start_session(SESSION_LOGGED_IN);
  expect_refused(lgin(live_id, test_key()), std::string("Session is not allowed in this state\n") + not_swapped);
}

TEST_F(Lgin, ComesWithinTenSecondsOfTheWakesAnswer) {
  clock.advance_ms(10001);
  expect_refused(lgin(live_id, test_key()), std::string("Session has elapsed\n") + not_swapped);
  clock.advance_ms(-1);
  expect_consumed(lgin(live_id, test_key()), "");
  EXPECT_EQ(security_sessions.state, SESSION_LOGGED_IN);
}

TEST_F(Lgin, ARefusedOneGivesTheConnectionUpAndLeavesItOpen) {
  tcp_peer tcp(context);
  tcp.send(lgin(live_id + 1, test_key()));
  expect_served(receive(),
                std::string("TCP connection accepted\nAll data received\nreceived 32\n") + not_swapped + resetting);
  EXPECT_EQ(context->tcp_session_active, 0);
  EXPECT_TRUE(is_open(context->tcp_client_socket));
  EXPECT_FALSE(tcp.has_received());
}

}  // namespace
}  // namespace libsec::test
