// SPDX-License-Identifier: MIT
// Every received packet goes to the handler of its kind.
#include "support/protocol_test.h"

namespace libsec::test {
namespace {

class Dispatch : public ProtocolTest {};

TEST_F(Dispatch, APacketOfThreeBytesIsRefused) {
  for (const uint32_t protection : {0u, 1u}) {
    full_encryption = protection;
    EXPECT_EQ(process(text("WAK"), -1), "Error getting session\n");
    EXPECT_EQ(context->packet_failed, 1u);
  }
}

TEST_F(Dispatch, AnUnknownSignatureIsPassedThroughUnchangedWithoutProtection) {
  full_encryption = 0;
  context->encrypt_replies = 1;
  const bytes packet = text("ABCDefghijk");
  EXPECT_EQ(process(packet, 0), "The packet wasn't recognised\n");
  EXPECT_EQ(context->packet_failed, 0u);
  EXPECT_EQ(context->data, context->packet);
  EXPECT_EQ(context->data_length, 11);
  EXPECT_EQ(bytes(context->data, context->data + 11), packet);
  EXPECT_EQ(context->encrypt_replies, 0u);
}

TEST_F(Dispatch, AnUnknownSignatureIsRefusedUnderProtection) {
  EXPECT_EQ(process(text("ABCD"), -1), "The packet wasn't recognised\nError getting session\n");
  EXPECT_EQ(context->packet_failed, 1u);
}

TEST_F(Dispatch, AReplyToAPassedThroughPacketGoesOutPlain) {
  full_encryption = 0;
  context->encrypt_replies = 1;
  ASSERT_EQ(exchange(text("ABCDefghijk")).result, 0);
  bytes reply = text("as it is");
  EXPECT_EQ(ZOLT_send(context.get(), reply.data(), 8), 0);
  EXPECT_EQ(peer.receive(), reply);
}

TEST_F(Dispatch, ARefusedPacketClearsTheConnectionsFlagAndLeavesTheConnection) {
  context->tcp_session_active = 1;
  context->tcp_client_socket = context->udp_socket;
  process(text("ABCD"), -1);
  EXPECT_EQ(context->tcp_session_active, 0);
  EXPECT_EQ(context->tcp_client_socket, context->udp_socket);
  EXPECT_TRUE(is_open(context->udp_socket));
  context->tcp_client_socket = -1;
}

TEST_F(Dispatch, EverySignatureHasItsHandler) {
  struct {
    const char *signature;
    const char *output;
  } const cases[] = {
      {"LGIN", "Something was wrong with the LGIN packet. Resetting...\n"},
      {"ENCR", "Something was wrong with the ENCR packet. Resetting...\n"},
      {"LOUT", "Something was wrong with the LOUT packet. Resetting...\n"},
      {"WAKE", "Something was wrong with the WAKE packet. Resetting...\n"},
  };
  for (const auto &c : cases) {
    context->tcp_session_active = 1;
    bytes packet = joined({text(c.signature), bytes(412 - 4)});
    packet[4] = 412 >> 8;
    packet[5] = 412 & 0xFF;
    EXPECT_EQ(process(packet, -1), c.output);
    EXPECT_EQ(context->packet_failed, 1u);
    EXPECT_EQ(context->tcp_session_active, 0);
  }
}

TEST_F(Dispatch, APacketThatIsConsumedIsNoRejection) {
  start_session(SESSION_WRSP_SENT);
  peer.send({1, 2, 3});  // so that there is someone to answer
  receive();
  EXPECT_EQ(process(lgin(live_id, test_key()), -1), "");
  EXPECT_EQ(context->packet_failed, 0u);
}

TEST_F(Dispatch, OnlyTheDataKindsReachTheHost) {
  start_session(SESSION_LOGGED_IN);
  EXPECT_EQ(process(encr(live_id, text("request"), test_key()), 0), "");
  EXPECT_EQ(context->session, &security_sessions);
  EXPECT_EQ(context->packet_failed, 0u);
  EXPECT_EQ(context->data_length, 7);
}

TEST_F(Dispatch, RefusalsCountForTheThrottleAndConsumedPacketsDoNot) {
  start_session(SESSION_WRSP_SENT);
  peer.send(lgin(live_id, test_key()));
  peer.send(with_bad_crc(encr(live_id, text("x"), test_key()), test_key()));
  peer.send(encr(live_id, text("dropped unseen"), test_key()));
  const reception r = receive();
  EXPECT_EQ(r.result, -1);
  EXPECT_EQ(r.output, std::string("received 32\nreceived 24\nCRC error with data\n1\n"
                                  "Something was wrong with the ENCR packet. Resetting...\nreceived 40\n") +
                          interrupted);
}

}  // namespace
}  // namespace libsec::test
