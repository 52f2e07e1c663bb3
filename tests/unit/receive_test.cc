// SPDX-License-Identifier: MIT
// The receive loop: which transport a pass serves, what it hands to the host, and the throttle.
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "support/transport_test.h"

namespace libsec::test {
namespace {

class Receive : public TransportTest {
 protected:
  // The clock moves on by delays_ms[n] before the n-th datagram is read: a pass that took that long.
  void delay_datagrams(std::vector<int64_t> delays_ms) {
    calls->recvfrom = [this, delays_ms, n = size_t{0}](int d, void *to, size_t length, int flags, sockaddr *from,
                                                       socklen_t *from_length) mutable {
      if (n < delays_ms.size()) clock.advance_ms(delays_ms[n++]);
      return real_recvfrom(d, to, length, flags, from, from_length);
    };
  }

  // What the loop prints when each of the datagrams is dispatched and refused, or dropped unseen.
  static std::string refused(int length) { return dropped(length) + "Error getting session\n"; }
  static std::string dropped(int length) { return "received " + std::to_string(length) + "\n"; }
};

TEST_F(Receive, ADatagramAndAConnectionTogetherAreServedDatagramFirst) {
  tcp_peer tcp(context);
  tcp.send(plain_packet(30, 't'));
  udp_peer udp(context);
  udp.send(plain_packet(20, 'u'));

  const reception first = receive();
  EXPECT_EQ(first.delivered(), plain_packet(20, 'u'));
  EXPECT_EQ(first.output, "received 20\nThe packet wasn't recognised\n");
  EXPECT_EQ(context->transport_is_tcp, 0);
  EXPECT_EQ(context->tcp_session_active, 0);

  const reception second = receive();
  EXPECT_EQ(second.delivered(), plain_packet(30, 't'));
  EXPECT_EQ(second.output, "TCP connection accepted\nAll data received\nreceived 30\nThe packet wasn't recognised\n");
  EXPECT_EQ(context->transport_is_tcp, 1);
  EXPECT_EQ(context->tcp_session_active, 1);
}

TEST_F(Receive, AConnectionThatIsServedIsReadAgainAndDatagramsWait) {
  tcp_peer tcp(context);
  tcp.send(plain_packet(30));
  ASSERT_EQ(receive().result, 0);
  udp_peer udp(context);
  udp.send(plain_packet(20));
  tcp.send(plain_packet(31, 'y'));

  const reception r = receive();
  EXPECT_EQ(r.delivered(), plain_packet(31, 'y'));
  EXPECT_EQ(r.output,
            "There is already an active TCP session\nAll data received\nreceived 31\nThe packet wasn't recognised\n");
}

TEST_F(Receive, APassedThroughPacketIsDeliveredOutOfTheContextsOwnBuffer) {
  udp_peer udp(context);
  udp.send(plain_packet(20));
  const reception r = receive();
  EXPECT_EQ(r.result, 0);
  EXPECT_EQ(r.data, context->packet);
  EXPECT_EQ(r.length, 20);
}

TEST_F(Receive, RepliesGoToTheSenderOfTheLastDatagram) {
  udp_peer first(context);
  udp_peer second(context);
  first.send(plain_packet(20));
  ASSERT_EQ(receive().result, 0);
  EXPECT_EQ(ntohs(context->peer_address.port), first.port());
  second.send(plain_packet(20));
  ASSERT_EQ(receive().result, 0);
  EXPECT_EQ(context->peer_address.family, AF_INET);
  EXPECT_EQ(ntohs(context->peer_address.port), second.port());
  EXPECT_EQ(ntohl(context->peer_address.address), INADDR_LOOPBACK);
}

TEST_F(Receive, EveryIdlePassListensAndWaitsOnBothSocketsForEver) {
  int listens = 0;
  calls->listen = [&](int descriptor, int backlog) {
    ++listens;
    EXPECT_EQ(descriptor, context->tcp_listen_socket);
    EXPECT_EQ(backlog, 128);
    return fail(EADDRINUSE);  // not looked at
  };
  full_encryption = 1;
  udp_peer udp(context);
  udp.send({1, 2, 3});
  expect_served(receive(), refused(3));

  EXPECT_EQ(listens, 2);
  ASSERT_EQ(waits.size(), 2u);
  for (const asked_wait &wait : waits) {
    std::vector<int> both = {context->tcp_listen_socket, context->udp_socket};
    EXPECT_EQ(wait.read, both);
    EXPECT_TRUE(wait.write.empty());
    EXPECT_EQ(wait.count, context->udp_socket + 1);
    EXPECT_FALSE(wait.has_timeout);
  }
}

TEST_F(Receive, ASelectThatFailsEndsTheCallAndLeavesTheOutArgumentsAlone) {
  calls->select = [](int, fd_set *, fd_set *, fd_set *, timeval *) { return fail(ENOMEM); };
  const reception r = receive();
  EXPECT_EQ(r.result, -1);
  EXPECT_EQ(r.data, untouched_data());
  EXPECT_EQ(r.length, reception::untouched_length);
  EXPECT_EQ(r.output, "Error connecting 12 - Cannot allocate memory\n");
}

TEST_F(Receive, ASelectThatFindsNothingEndsTheCallAndLeavesTheOutArgumentsAlone) {
  calls->select = [](int, fd_set *read, fd_set *, fd_set *, timeval *) {
    FD_ZERO(read);
    return 0;
  };
  const reception r = receive();
  EXPECT_EQ(r.result, -1);
  EXPECT_EQ(r.data, untouched_data());
  EXPECT_EQ(r.length, reception::untouched_length);
  EXPECT_EQ(r.output, "Error - No sockets were ready but 'select' completed anyway\n");
}

TEST_F(Receive, AListeningDescriptorThatNoSetHoldsFailsLikeSelect) {
  for (int32_t zolt_context::*const descriptor : {&zolt_context::tcp_listen_socket, &zolt_context::udp_socket}) {
    const int32_t real = context.get()->*descriptor;
    for (const int32_t bad : {-1, int32_t{FD_SETSIZE}}) {
      context.get()->*descriptor = bad;
      const reception r = receive();
      EXPECT_EQ(r.result, -1);
      EXPECT_EQ(r.length, reception::untouched_length);
      EXPECT_EQ(r.output, "Error connecting 9 - Bad file descriptor\n");
    }
    context.get()->*descriptor = real;
  }
  EXPECT_TRUE(waits.empty());
}

TEST_F(Receive, TheHigherOfTheDescriptorsMayBeEither) {
  const int low = context->tcp_listen_socket, high = dup(low);
  ASSERT_GT(high, context->udp_socket);
  context->tcp_listen_socket = high;
  tcp_peer tcp(context);
  tcp.send(plain_packet(30));
  EXPECT_EQ(receive().delivered(), plain_packet(30));
  EXPECT_EQ(waits.front().count, high + 1);
  context->tcp_listen_socket = low;
  close(high);
}

TEST_F(Receive, AnAcceptThatFailsIsReportedAsAcceptedAndEndsAsNoData) {
  tcp_peer tcp(context);
  calls->accept = [](int, sockaddr *, socklen_t *) { return fail(EPERM); };
  expect_no_data(receive(),
                 "Error accepting connection: 1 - Operation not permitted\n"
                 "TCP connection accepted\n"
                 "Error fcntl(..., F_GETFL) (Bad file descriptor)\n"
                 "received -1\n"
                 "no data\n");
  EXPECT_EQ(context->tcp_client_socket, -1);
}

TEST_F(Receive, AnEmptyDatagramIsNoData) {
  udp_peer udp(context);
  udp.send({});
  expect_no_data(receive(), "received 0\nno data\n");
  EXPECT_EQ(ntohs(context->peer_address.port), udp.port());  // its sender counts all the same
}

TEST_F(Receive, AReadThatFailsIsNoData) {
  udp_peer udp(context);
  udp.send(plain_packet(20));
  calls->recvfrom = [](int, void *, size_t, int, sockaddr *, socklen_t *) { return ssize_t{fail(EIO)}; };
  expect_no_data(receive(), "received -1\nno data\n");
}

TEST_F(Receive, ADatagramIsReadIntoAWholePacketBufferAndItsSendersAddress) {
  size_t asked = 0;
  calls->recvfrom = [&](int d, void *to, size_t length, int flags, sockaddr *from, socklen_t *from_length) {
    asked = length;
    EXPECT_EQ(to, context->packet);
    EXPECT_EQ(flags, 0);
    EXPECT_EQ(*from_length, 16u);
    return real_recvfrom(d, to, length, flags, from, from_length);
  };
  udp_peer udp(context);
  udp.send(plain_packet(50000));
  const reception r = receive();
  EXPECT_EQ(asked, 40000u);
  EXPECT_EQ(r.length, 40000);
  EXPECT_EQ(context->receive_chunk[0], 0xA5);
}

TEST_F(Receive, RefusedPacketsAreServedInsideTheCall) {
  full_encryption = 1;
  udp_peer udp(context);
  udp.send({1, 2, 3});
  expect_served(receive(), refused(3));
  EXPECT_EQ(context->packet_failed, 1u);
}

// ---- time ----

TEST_F(Receive, PassesThatBroughtDataAddToTheTotalTime) {
  delay_datagrams({30, 12});
  full_encryption = 1;
  udp_peer udp(context);
  udp.send({1, 2, 3});
  udp.send({1, 2, 3});
  expect_served(receive(), refused(3) + dropped(3));
  EXPECT_EQ(context->total_receive_time_ms, 42u);
}

TEST_F(Receive, APassWithoutDataAddsNothingToTheTotalTime) {
  context->total_receive_time_ms = 7;
  delay_datagrams({30});
  udp_peer udp(context);
  udp.send({});
  expect_no_data(receive(), "received 0\nno data\n");
  EXPECT_EQ(context->total_receive_time_ms, 7u);
}

class Throttle : public Receive {
 protected:
  Throttle() { full_encryption = 1; }

  // Sends one datagram of three bytes per delay; what comes of them.
  reception send_after(const std::vector<int64_t> &delays_ms) {
    delay_datagrams(delays_ms);
    for (size_t i = 0; i < delays_ms.size(); ++i) peer.send({1, 2, 3});
    return receive();
  }

  udp_peer peer{context};
};

TEST_F(Throttle, WithThreeRejectionsAPacketAt998MillisecondsIsDroppedUnseen) {
  expect_served(send_after({0, 333, 333, 332}), refused(3) + refused(3) + refused(3) + dropped(3));
}

TEST_F(Throttle, WithThreeRejectionsAPacketAt999MillisecondsIsDispatched) {
  expect_served(send_after({0, 333, 333, 333}), refused(3) + refused(3) + refused(3) + refused(3));
}

TEST_F(Throttle, ADroppedPacketIsNotCounted) {
  expect_served(send_after({0, 1, 1, 331}), refused(3) + dropped(3) + dropped(3) + refused(3));
}

TEST_F(Throttle, EveryCallStartsWithAClearPeriod) {
  expect_served(send_after({0, 0}), refused(3) + dropped(3));
  expect_served(send_after({0, 0}), refused(3) + dropped(3));
}

TEST_F(Throttle, APassOfTenSecondsStartsANewPeriod) {
  // Without it, the last packet would be one of three rejections in 10332 ms, and dispatched.
  expect_served(send_after({0, 10000, 332}), refused(3) + refused(3) + dropped(3));
}

TEST_F(Throttle, APassOfLittleUnderTenSecondsDoesNot) {
  expect_served(send_after({0, 9999, 332}), refused(3) + refused(3) + refused(3));
}

TEST_F(Throttle, AClockThatWasSetBackDoesNotStartANewPeriod) {
  // The period then seems to have lasted for weeks: nothing is dropped.
  expect_served(send_after({0, -20000, 0}), refused(3) + refused(3) + refused(3));
}

TEST_F(Throttle, PacketsForTheHostAreDroppedTooWhileItLasts) {
  peer.send({1, 2, 3});
  full_encryption = 0;
  peer.send(plain_packet(20));
  expect_served(receive(), refused(3) + dropped(20));
}

TEST_F(Throttle, IsOneForAllContextsAndPeers) {
  udp_peer other(context);
  peer.send({1, 2, 3});
  other.send({1, 2, 3});
  expect_served(receive(), refused(3) + dropped(3));
}

}  // namespace
}  // namespace libsec::test
