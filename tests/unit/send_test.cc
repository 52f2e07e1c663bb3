// SPDX-License-Identifier: MIT
// The two ways out. What an enciphered reply looks like is tested beside the protocol.
#include <poll.h>
#include <sys/socket.h>

#include <cerrno>
#include <climits>

#include "support/transport_test.h"

namespace libsec::test {
namespace {

class Send : public TransportTest {
 protected:
  // A packet as packet_generate() leaves it.
  void generated_packet(size_t length) {
    for (size_t i = 0; i < length; ++i) context->packet[i] = static_cast<uint8_t>(i * 7);
    context->data = context->packet;
    context->data_length = static_cast<int32_t>(length);
  }

  // The context's TCP connection, served.
  void serve(tcp_peer &peer) {
    peer.send(plain_packet(16));
    ASSERT_EQ(receive().result, 0);
    waits.clear();
  }

  // The sender of the last datagram.
  void hear(udp_peer &peer) {
    peer.send(plain_packet(16));
    ASSERT_EQ(receive().result, 0);
    waits.clear();
  }

  std::string send_packet(int32_t expected) {
    return captured([&] { EXPECT_EQ(socket_send(context.get()), expected); });
  }

  int32_t reply(const bytes &data, int32_t length) {
    int32_t result = 0;
    bytes writable = data;
    EXPECT_EQ(captured([&] { result = ZOLT_send(context.get(), writable.data(), length); }), "");
    return result;
  }
};

// ---- socket_send ----

TEST_F(Send, APacketGoesToTheLastSenderOverUdpWithoutAMessage) {
  udp_peer peer(context);
  hear(peer);
  generated_packet(40);
  EXPECT_EQ(send_packet(0), "");
  EXPECT_EQ(peer.receive(), generated(context.get()));
}

TEST_F(Send, UdpWaitsFiftySecondsForTheSocketAlone) {
  udp_peer peer(context);
  hear(peer);
  generated_packet(40);
  calls->select = [this](int count, fd_set *read, fd_set *write, fd_set *except, timeval *timeout) {
    hurried_select(count, read, write, except, timeout);
    FD_ZERO(write);
    return 0;
  };
  EXPECT_EQ(send_packet(-1), "UDP send failed\n");
  ASSERT_EQ(waits.size(), 1u);
  EXPECT_EQ(waits[0].count, context->udp_socket + 1);
  EXPECT_TRUE(waits[0].read.empty());
  EXPECT_EQ(waits[0].write, std::vector<int>{context->udp_socket});
  EXPECT_TRUE(waits[0].has_timeout);
  EXPECT_EQ(waits[0].seconds, 50);
  EXPECT_EQ(waits[0].microseconds, 0);
  EXPECT_FALSE(peer.has_received());
}

TEST_F(Send, AFailingSendtoIsReported) {
  udp_peer peer(context);
  hear(peer);
  generated_packet(40);
  calls->sendto = [](int, const void *, size_t, int, const sockaddr *, socklen_t) { return ssize_t{fail(EPERM)}; };
  EXPECT_EQ(send_packet(-1), "UDP send failed\n");
}

TEST_F(Send, SocketUdpSendWaitsAsToldAndReturnsTheBytesSent) {
  udp_peer peer(context);
  hear(peer);
  bytes data(33, 'd');
  context->data = data.data();
  context->data_length = 33;
  EXPECT_EQ(socket_udp_send(context.get(), 7), 33);
  EXPECT_EQ(waits.at(0).seconds, 7);
  EXPECT_EQ(peer.receive(), data);
}

TEST_F(Send, AnUdpSocketThatNoSetHoldsFailsInsteadOfWritingBehindTheSet) {
  const int32_t real = context->udp_socket;
  generated_packet(40);
  for (const int32_t bad : {-1, int32_t{FD_SETSIZE}, INT32_MAX}) {
    context->udp_socket = bad;
    EXPECT_EQ(socket_udp_send(context.get(), 50), -1);
  }
  context->udp_socket = real;
  EXPECT_TRUE(waits.empty());
}

TEST_F(Send, APacketGoesOverTheAcceptedConnectionFromTheStartOfThePacketBuffer) {
  tcp_peer peer(context);
  serve(peer);
  generated_packet(40);
  const bytes packet = generated(context.get());
  uint8_t elsewhere[40] = {};
  context->data = elsewhere;  // only UDP looks there
  EXPECT_EQ(send_packet(0), "Sent 40\n");
  EXPECT_EQ(peer.receive(40), packet);
  EXPECT_FALSE(peer.has_received());
  ASSERT_EQ(waits.size(), 1u);
  EXPECT_EQ(waits[0].count, context->tcp_client_socket + 1);
  EXPECT_TRUE(waits[0].read.empty());
  EXPECT_EQ(waits[0].write, std::vector<int>{context->tcp_client_socket});
  EXPECT_EQ(waits[0].seconds, 1);
  EXPECT_EQ(waits[0].microseconds, 0);
}

TEST_F(Send, AConnectionThatIsNotWritableWithinASecondFails) {
  tcp_peer peer(context);
  serve(peer);
  generated_packet(40);
  calls->select = [](int, fd_set *, fd_set *write, fd_set *, timeval *) {
    FD_ZERO(write);
    return 0;
  };
  EXPECT_EQ(send_packet(-1), "The tcp_send function failed\n");
  calls->select = [](int, fd_set *, fd_set *write, fd_set *, timeval *) {
    FD_ZERO(write);
    return 1;
  };
  EXPECT_EQ(send_packet(-1), "The tcp_send function failed\n");
  EXPECT_FALSE(peer.has_received());
}

TEST_F(Send, AFailingSendIsReportedAfterItsResult) {
  tcp_peer peer(context);
  serve(peer);
  generated_packet(40);
  calls->send = [](int, const void *, size_t, int) { return ssize_t{fail(ENOBUFS)}; };
  EXPECT_EQ(send_packet(-1), "Sent -1\nThe tcp_send function failed\n");
}

TEST_F(Send, ASendThatWritesFewerBytesIsASuccessAndIsNotRepeated) {
  tcp_peer peer(context);
  serve(peer);
  generated_packet(40);
  calls->send = [](int descriptor, const void *from, size_t length, int flags) {
    return real_send(descriptor, from, length / 2, flags);
  };
  EXPECT_EQ(send_packet(0), "Sent 20\n");
  EXPECT_EQ(peer.receive(20).size(), 20u);
  EXPECT_FALSE(peer.has_received());
}

TEST_F(Send, WithoutAConnectionTcpFails) {
  context->transport_is_tcp = 1;
  generated_packet(40);
  EXPECT_EQ(send_packet(-1), "The tcp_send function failed\n");
}

TEST_F(Send, APeerThatIsGoneIsAFailureAndNoSignal) {
  // Not ignored in this program: SIGPIPE would end it.
  tcp_peer peer(context);
  serve(peer);
  peer.reset();
  ASSERT_TRUE(becomes(context->tcp_client_socket, POLLERR));
  generated_packet(40);
  EXPECT_EQ(send_packet(-1), "Sent -1\nThe tcp_send function failed\n");  // connection reset by peer
  EXPECT_EQ(send_packet(-1), "Sent -1\nThe tcp_send function failed\n");  // broken pipe
}

TEST_F(Send, APeerThatStopsReadingHoldsASendOnlyForTheConnectionsBound) {
  tcp_peer peer(context);
  serve(peer);
  const int small = 4096;
  const timeval bound{0, 50'000};  // instead of 5 s
  setsockopt(context->tcp_client_socket, SOL_SOCKET, SO_SNDBUF, &small, sizeof small);
  ASSERT_EQ(setsockopt(context->tcp_client_socket, SOL_SOCKET, SO_SNDTIMEO, &bound, sizeof bound), 0);
  generated_packet(40000);
  std::string output;
  for (int i = 0; i < 100 && output.find("failed") == std::string::npos; ++i) {
    output = captured([&] { (void)socket_send(context.get()); });
  }
  EXPECT_NE(output.find("The tcp_send function failed\n"), std::string::npos);
}

// ---- ZOLT_send without protection ----

TEST_F(Send, APlainReplyGoesToTheLastDatagramsSenderEvenWhileAConnectionIsServed) {
  udp_peer udp(context);
  hear(udp);
  tcp_peer tcp(context);
  serve(tcp);
  ASSERT_EQ(context->tcp_session_active, 1);
  EXPECT_EQ(reply(text("plain reply"), 11), 0);
  EXPECT_EQ(udp.receive(), text("plain reply"));
  EXPECT_FALSE(tcp.has_received());
  EXPECT_EQ(waits.at(0).seconds, 50);
}

TEST_F(Send, OnlyOneTurnsTheProtectionOn) {
  udp_peer udp(context);
  hear(udp);
  for (const uint32_t off : {2u, 0x100u, UINT32_MAX}) {
    full_encryption = context->encrypt_replies = off;
    EXPECT_EQ(reply(text("plain reply"), 11), 0);
    EXPECT_EQ(udp.receive(), text("plain reply"));
  }
}

TEST_F(Send, APlainReplyOfNoBytesIsAnEmptyDatagram) {
  udp_peer udp(context);
  hear(udp);
  EXPECT_EQ(reply({0}, 0), 0);
  EXPECT_TRUE(becomes(context->udp_socket, POLLOUT));
  EXPECT_TRUE(udp.has_received());
  EXPECT_EQ(udp.receive(), bytes{});
}

TEST_F(Send, APlainReplyThatCannotBeSentFailsWithoutAMessage) {
  udp_peer udp(context);
  hear(udp);
  calls->sendto = [](int, const void *, size_t, int, const sockaddr *, socklen_t) { return ssize_t{fail(EPERM)}; };
  EXPECT_EQ(reply(text("x"), 1), -1);
}

TEST_F(Send, APlainReplyBeforeAnyDatagramFails) {
  EXPECT_EQ(reply(text("x"), 1), -1);
}

TEST_F(Send, APlainReplyThatNoDatagramHoldsFails) {
  udp_peer udp(context);
  hear(udp);
  EXPECT_EQ(reply(bytes(70000), 70000), -1);
  EXPECT_EQ(reply({0}, INT32_MAX), -1);
  EXPECT_FALSE(udp.has_received());
}

TEST_F(Send, NullAndNegativeRepliesAreRefusedWhateverTheProtection) {
  udp_peer udp(context);
  hear(udp);
  context->data = context->packet;
  context->data_length = 5;
  for (const uint32_t protection : {0u, 1u}) {
    full_encryption = protection;
    EXPECT_EQ(ZOLT_send(context.get(), nullptr, 5), -1);
    EXPECT_EQ(ZOLT_send(context.get(), nullptr, 0), -1);
    EXPECT_EQ(reply({0}, -1), -1);
    EXPECT_EQ(reply({0}, INT32_MIN), -1);
  }
  EXPECT_EQ(context->data, context->packet);
  EXPECT_EQ(context->data_length, 5);
  EXPECT_FALSE(udp.has_received());
  EXPECT_TRUE(waits.empty());
}

TEST_F(Send, ARefusedReplyLeavesFlagsAndConnectionAlone) {
  tcp_peer peer(context);
  serve(peer);
  generated_packet(40);
  calls->send = [](int, const void *, size_t, int) { return ssize_t{fail(ENOBUFS)}; };
  send_packet(-1);
  EXPECT_EQ(context->tcp_session_active, 1);
  EXPECT_EQ(context->transport_is_tcp, 1);
  EXPECT_TRUE(is_open(context->tcp_client_socket));
  EXPECT_FALSE(peer.has_received());
}

}  // namespace
}  // namespace libsec::test
