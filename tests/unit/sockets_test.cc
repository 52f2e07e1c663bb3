// SPDX-License-Identifier: MIT
// Descriptors: which ones are kept, which are closed, and by whom.
#include "transport/sockets.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>

#include "support/transport_test.h"

namespace libsec::test {
namespace {

class Sockets : public TransportTest {
 protected:
  void accept_one(const bytes &packet) {
    tcp_peer peer(context);
    peer.send(packet);
    receive();
    peer.reset();
  }
};

TEST_F(Sockets, TwoThousandPeersThatSendGarbageCostOneDescriptor) {
  full_encryption = 1;
  accept_one(plain_packet(16));
  const size_t before = open_descriptors();
  for (int i = 0; i < 2000; ++i) accept_one(plain_packet(16));
  EXPECT_EQ(open_descriptors(), before);
}

TEST_F(Sockets, PeersThatConnectAndGoAwayCostOneDescriptor) {
  accept_one({});
  const size_t before = open_descriptors();
  for (int i = 0; i < 50; ++i) accept_one({});
  EXPECT_EQ(open_descriptors(), before);
}

TEST_F(Sockets, AConnectionThatWasGivenUpStaysOpenUntilTheNextIsAccepted) {
  full_encryption = 1;
  tcp_peer first(context);
  first.send(plain_packet(16));
  receive();
  EXPECT_EQ(context->tcp_session_active, 0);
  EXPECT_TRUE(is_open(context->tcp_client_socket));
  EXPECT_FALSE(first.has_received());

  tcp_peer second(context);
  second.send(plain_packet(16));
  receive();
  EXPECT_TRUE(first.is_closed());
  EXPECT_FALSE(second.has_received());
}

TEST_F(Sockets, ADescriptorThatTheLibraryDidNotAcceptIsNotClosedByAnAccept) {
  const int foreign = dup(context->udp_socket);
  context->tcp_client_socket = foreign;
  accept_one(plain_packet(16));
  EXPECT_NE(context->tcp_client_socket, foreign);
  EXPECT_TRUE(is_open(foreign));
  close(foreign);
}

TEST_F(Sockets, AnAcceptedConnectionThatTheHostReplacedInTheRecordIsNotClosed) {
  accept_one(plain_packet(16));
  const int accepted = context->tcp_client_socket;
  context->tcp_session_active = 0;
  context->tcp_client_socket = -1;
  accept_one(plain_packet(16));
  EXPECT_TRUE(is_open(accepted));
  close(accepted);
}

TEST_F(Sockets, AnotherContextsAcceptLeavesAServedConnectionOpen) {
  tcp_peer served(context);
  served.send(plain_packet(16));
  ASSERT_EQ(receive().result, 0);

  loopback other;
  tcp_peer peer(other);
  peer.send(plain_packet(16));
  uint8_t *data;
  int32_t length;
  captured([&] { EXPECT_EQ(ZOLT_receive(other.get(), &data, &length), 0); });
  EXPECT_NE(other->tcp_client_socket, context->tcp_client_socket);
  EXPECT_FALSE(served.has_received());

  served.send(plain_packet(20));
  EXPECT_EQ(receive().delivered(), plain_packet(20));
}

TEST_F(Sockets, AFailedAcceptClosesTheConnectionThatItsDescriptorFieldLoses) {
  full_encryption = 1;
  tcp_peer first(context);
  first.send(plain_packet(16));
  receive();
  const int accepted = context->tcp_client_socket;
  tcp_peer second(context);
  calls->accept = [](int, sockaddr *, socklen_t *) { return fail(EMFILE); };
  receive();
  EXPECT_EQ(context->tcp_client_socket, -1);
  EXPECT_FALSE(is_open(accepted));
}

TEST_F(Sockets, AnAcceptedConnectionIsClosedOnExecAndBlocksSendersForFiveSecondsAtMost) {
  accept_one(plain_packet(16));
  EXPECT_EQ(fcntl(context->tcp_client_socket, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
  timeval bound{};
  socklen_t length = sizeof bound;
  ASSERT_EQ(getsockopt(context->tcp_client_socket, SOL_SOCKET, SO_SNDTIMEO, &bound, &length), 0);
  EXPECT_EQ(bound.tv_sec, 5);
  EXPECT_EQ(bound.tv_usec, 0);
}

TEST_F(Sockets, AnAcceptedConnectionIsMovedAboveTheStandardStreams) {
  const int saved = fcntl(STDIN_FILENO, F_DUPFD, 10);
  bool was_lowest = false;
  calls->accept = [&](int descriptor, sockaddr *address, socklen_t *length) {
    real_close(STDIN_FILENO);
    const int accepted = real_accept(descriptor, address, length);
    was_lowest = accepted == STDIN_FILENO;
    return accepted;
  };
  accept_one(plain_packet(16));
  EXPECT_TRUE(was_lowest);
  EXPECT_GT(context->tcp_client_socket, STDERR_FILENO);
  EXPECT_TRUE(is_open(context->tcp_client_socket));
  EXPECT_FALSE(is_open(STDIN_FILENO));
  if (saved != -1) {
    dup2(saved, STDIN_FILENO);
    close(saved);
  }
}

TEST_F(Sockets, AConnectionThatCannotBeMovedIsClosedAndCountsAsFailed) {
  const size_t before = open_descriptors();
  tcp_peer peer(context);
  const int saved = fcntl(STDIN_FILENO, F_DUPFD, 10);
  calls->accept = [](int descriptor, sockaddr *address, socklen_t *length) {
    real_close(STDIN_FILENO);
    return real_accept(descriptor, address, length);
  };
  calls->fcntl = [](int descriptor, int command, long argument) {
    return command == F_DUPFD ? fail(EMFILE) : real_fcntl(descriptor, command, argument);
  };
  expect_no_data(receive(),
                 "Error accepting connection: 24 - Too many open files\n"
                 "TCP connection accepted\n"
                 "Error fcntl(..., F_GETFL) (Bad file descriptor)\n"
                 "received -1\nno data\n");
  EXPECT_FALSE(is_open(STDIN_FILENO));
  if (saved != -1) {
    dup2(saved, STDIN_FILENO);
    close(saved);
  }
  EXPECT_EQ(open_descriptors(), before + 1);  // the peer's
}

TEST_F(Sockets, AConnectionWhoseDescriptorNoSetHoldsIsClosedAndCountsAsFailed) {
  rlimit limit{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
  const rlimit before = limit;
  limit.rlim_cur = FD_SETSIZE + 10;
  if (limit.rlim_max < limit.rlim_cur || setrlimit(RLIMIT_NOFILE, &limit) != 0) {
    GTEST_SKIP() << "SKIPPED: this process may not open " << FD_SETSIZE << " descriptors";
  }
  tcp_peer peer(context);
  int high = -1;
  calls->accept = [&](int descriptor, sockaddr *address, socklen_t *length) {
    const int low = real_accept(descriptor, address, length);
    high = real_fcntl(low, F_DUPFD, FD_SETSIZE);
    real_close(low);
    return high;
  };
  expect_no_data(receive(),
                 "Error accepting connection: 24 - Too many open files\n"
                 "TCP connection accepted\n"
                 "Error fcntl(..., F_GETFL) (Bad file descriptor)\n"
                 "received -1\nno data\n");
  EXPECT_GE(high, FD_SETSIZE);
  EXPECT_FALSE(is_open(high));
  EXPECT_TRUE(peer.is_closed());
  setrlimit(RLIMIT_NOFILE, &before);
}

TEST_F(Sockets, ASetHasRoomForDescriptorsBelowItsSize) {
  EXPECT_TRUE(selectable(0) && selectable(FD_SETSIZE - 1));
  EXPECT_FALSE(selectable(-1) || selectable(FD_SETSIZE));
}

TEST_F(Sockets, DestroyWithANullContextReturnsAtOnce) {
  socket_tcp_destroy(nullptr);
}

TEST_F(Sockets, DestroyShutsTheConnectionDownInBothDirectionsAndClosesIt) {
  tcp_peer peer(context);
  peer.send(plain_packet(16));
  ASSERT_EQ(receive().result, 0);
  const int accepted = context->tcp_client_socket;
  std::vector<std::string> done;
  calls->shutdown = [&](int descriptor, int how) {
    EXPECT_EQ(descriptor, accepted);
    EXPECT_EQ(how, SHUT_RDWR);
    done.push_back("shutdown");
    return real_shutdown(descriptor, how);
  };
  calls->close = [&](int descriptor) {
    EXPECT_EQ(descriptor, accepted);
    done.push_back("close");
    return real_close(descriptor);
  };
  socket_tcp_destroy(context.get());
  calls->close = nullptr;
  EXPECT_EQ(done, (std::vector<std::string>{"shutdown", "close"}));
  EXPECT_EQ(context->tcp_client_socket, -1);
  EXPECT_EQ(context->tcp_session_active, 1);  // the caller's to clear
  EXPECT_TRUE(peer.is_closed());
  EXPECT_TRUE(is_open(context->tcp_listen_socket));
  EXPECT_TRUE(is_open(context->udp_socket));
}

TEST_F(Sockets, ADestroyedConnectionsDescriptorIsNotClosedAgainByTheNextAccept) {
  accept_one(plain_packet(16));
  const int accepted = context->tcp_client_socket;
  socket_tcp_destroy(context.get());
  ASSERT_EQ(dup2(context->udp_socket, accepted), accepted);  // the host opens something there
  context->tcp_client_socket = accepted;
  context->tcp_session_active = 0;
  accept_one(plain_packet(16));
  EXPECT_NE(context->tcp_client_socket, accepted);
  EXPECT_TRUE(is_open(accepted));
  close(accepted);
}

TEST_F(Sockets, DestroyingAnotherDescriptorLeavesTheAcceptedConnectionToTheNextAccept) {
  tcp_peer peer(context);
  peer.send(plain_packet(16));
  ASSERT_EQ(receive().result, 0);
  const int accepted = context->tcp_client_socket;
  context->tcp_client_socket = open("/dev/null", O_RDONLY);  // the host's own
  socket_tcp_destroy(context.get());
  EXPECT_TRUE(is_open(accepted));
  context->tcp_client_socket = accepted;
  context->tcp_session_active = 0;
  accept_one(plain_packet(16));
  EXPECT_TRUE(peer.is_closed());
}

TEST_F(Sockets, AConnectionThatAFailedAcceptClosedIsNotClosedAgainByTheNext) {
  accept_one(plain_packet(16));
  const int accepted = context->tcp_client_socket;
  context->tcp_session_active = 0;
  {
    tcp_peer peer(context);
    calls->accept = [](int descriptor, sockaddr *address, socklen_t *length) {
      real_close(real_accept(descriptor, address, length));
      return fail(EMFILE);
    };
    receive();
    calls->accept = nullptr;
  }
  ASSERT_EQ(dup2(context->udp_socket, accepted), accepted);  // the host opens something there
  context->tcp_client_socket = accepted;
  accept_one(plain_packet(16));
  EXPECT_NE(context->tcp_client_socket, accepted);
  EXPECT_TRUE(is_open(accepted));
  close(accepted);
}

}  // namespace
}  // namespace libsec::test
