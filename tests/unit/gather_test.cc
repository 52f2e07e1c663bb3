// SPDX-License-Identifier: MIT
// One packet out of a TCP stream.
#include <fcntl.h>
#include <poll.h>

#include <cerrno>
#include <cstring>

#include "support/transport_test.h"

namespace libsec::test {
namespace {

constexpr char accepted[] = "TCP connection accepted\n";
constexpr char active[] = "There is already an active TCP session\n";
constexpr char whole[] = "All data received\n";
constexpr char unrecognised[] = "The packet wasn't recognised\n";
constexpr char late[] = "timed out waiting for the whole packet";
constexpr char refused[] = "Error getting session\n";

class Gather : public TransportTest {
 protected:
  Gather() { memset(context->packet, 0, sizeof context->packet); }

  // Before the n-th recv(), the peer sends the n-th piece.
  void send_in_pieces(const tcp_peer &peer, std::vector<bytes> pieces) {
    calls->recv = [this, &peer, pieces, n = size_t{0}](int d, void *to, size_t length, int flags) mutable {
      if (n < pieces.size()) {
        if (!pieces[n].empty()) peer.send(pieces[n]);
        ++n;
      }
      ++reads;
      return real_recv(d, to, length, flags);
    };
  }

  // recv() gives at most the n-th of these lengths at its n-th call.
  void read_at_most(std::vector<size_t> lengths) {
    calls->recv = [this, lengths, n = size_t{0}](int d, void *to, size_t length, int flags) mutable {
      if (n < lengths.size()) length = std::min(length, lengths[n++]);
      ++reads;
      return real_recv(d, to, length, flags);
    };
  }

  // The n-th fcntl() fails, counted from 0.
  void fail_fcntl(int nth) {
    calls->fcntl = [nth, n = 0](int descriptor, int command, long argument) mutable {
      const bool ours = command == F_GETFL || command == F_SETFL;
      if (ours && n++ == nth) return fail(EBADF);
      return real_fcntl(descriptor, command, argument);
    };
  }

  int reads = 0;
};

std::string received(int length) {
  return "received " + std::to_string(length) + "\n";
}

TEST_F(Gather, APacketThatComesInPiecesIsPutTogether) {
  const bytes packet = plain_packet(100);
  tcp_peer peer(context);
  peer.send(bytes(packet.begin(), packet.begin() + 10));
  send_in_pieces(peer,
                 {{}, {}, bytes(packet.begin() + 10, packet.begin() + 60), bytes(packet.begin() + 60, packet.end())});
  const reception r = receive();
  EXPECT_EQ(r.delivered(), packet);
  EXPECT_EQ(r.output, std::string(accepted) + whole + received(100) + unrecognised);
  EXPECT_EQ(reads, 4);
}

TEST_F(Gather, ALengthOfZeroOrOneIsSatisfiedByTheFirstRead) {
  for (const uint8_t length : {uint8_t{0}, uint8_t{1}}) {
    bytes packet(50, 'x');
    packet[4] = 0;
    packet[5] = length;
    tcp_peer peer(context);
    peer.send(packet);
    read_at_most({7});
    reads = 0;
    const reception r = receive();
    EXPECT_EQ(r.delivered(), bytes(packet.begin(), packet.begin() + 7));
    EXPECT_EQ(r.output, std::string(accepted) + whole + received(7) + unrecognised);
    EXPECT_EQ(reads, 1);
    context->tcp_session_active = 0;
  }
}

TEST_F(Gather, HalfAPacketIsDispatchedAfterFiveSecondsAndRefused) {
  clock.tick_us(1'000'000);
  full_encryption = 1;
  tcp_peer peer(context);
  peer.send(joined({text("LGIN"), be16(40), be16(256), be32(64), be32(1), bytes(4)}));
  const reception r = receive();
  EXPECT_EQ(r.output, std::string(accepted) + late + received(20) +
                          "packet length error\nreported length = 40, actual length = 20"
                          "Something was wrong with the LGIN packet. Resetting...\n" +
                          interrupted);
  EXPECT_EQ(r.result, -1);
  EXPECT_EQ(context->packet_failed, 1u);
  EXPECT_EQ(context->tcp_session_active, 0);
}

TEST_F(Gather, WaitingForTheRestEndsAtFiveThousandMillisecondsAndNotBefore) {
  // The clock is read when the wait starts and once after every read.
  for (const int64_t tick_us : {2'499'500, 2'500'000}) {
    context->tcp_session_active = 0;
    reads = 0;
    tcp_peer peer(context);
    peer.send(plain_packet(40));
    clock.tick_us(tick_us);
    read_at_most({20, 0, 20});  // whole at the third read
    const reception r = receive();
    clock.tick_us(0);
    EXPECT_EQ(reads, tick_us == 2'499'500 ? 3 : 2);
    EXPECT_EQ(r.length, tick_us == 2'499'500 ? 40 : 20);
  }
}

TEST_F(Gather, WithoutAClockNoRestIsWaitedFor) {
  tcp_peer peer(context);
  const bytes packet = plain_packet(40);
  peer.send({packet.begin(), packet.begin() + 20});
  clock.break_down();
  const reception r = receive();
  EXPECT_EQ(r.output, std::string(accepted) + late + received(20) + unrecognised);
  EXPECT_EQ(r.length, 20);
}

TEST_F(Gather, APacketThatIsWholeAtTheLastMomentIsStillDelivered) {
  clock.tick_us(5'000'000);
  tcp_peer peer(context);
  peer.send(plain_packet(40));
  const reception r = receive();
  EXPECT_EQ(r.delivered(), plain_packet(40));
  EXPECT_EQ(r.output, std::string(accepted) + whole + late + received(40) + unrecognised);
}

TEST_F(Gather, AClockThatIsSetBackEndsTheWaiting) {
  tcp_peer peer(context);
  peer.send(plain_packet(40));
  calls->recv = [this](int d, void *to, size_t, int flags) {
    clock.advance_ms(-1);
    return real_recv(d, to, 20, flags);
  };
  const reception r = receive();
  EXPECT_EQ(r.delivered().size(), 20u);
  EXPECT_EQ(r.output, std::string(accepted) + late + received(20) + unrecognised);
}

TEST_F(Gather, APeerThatSendsNothingForFiveSecondsIsNoDataAndTheNextCallAcceptsAnother) {
  tcp_peer silent(context);
  expect_no_data(receive(), std::string(accepted) + "No more data was in the buffer\n" + received(0) + "no data\n");
  ASSERT_EQ(waits.size(), 2u);
  const asked_wait &wait = waits[1];
  EXPECT_EQ(wait.read, std::vector<int>{context->tcp_client_socket});
  EXPECT_TRUE(wait.write.empty());
  EXPECT_EQ(wait.count, context->tcp_client_socket + 1);
  EXPECT_TRUE(wait.has_timeout);
  EXPECT_EQ(wait.seconds, 5);
  EXPECT_EQ(wait.microseconds, 0);
  EXPECT_EQ(real_fcntl(context->tcp_client_socket, F_GETFL, 0) & O_NONBLOCK, 0);

  tcp_peer other(context);
  other.send(plain_packet(30));
  EXPECT_EQ(receive().delivered(), plain_packet(30));
}

TEST_F(Gather, APeerThatClosesIsNoData) {
  tcp_peer peer(context);
  peer.send(plain_packet(30));
  ASSERT_EQ(receive().result, 0);
  memset(context->packet, 0, sizeof context->packet);
  peer.close();
  ASSERT_TRUE(becomes(context->tcp_client_socket, POLLIN));
  expect_no_data(receive(), std::string(active) + whole + received(0) + "no data\n");
}

TEST_F(Gather, TheLengthOfAnEarlierPacketCountsUntilAnotherHasArrived) {
  // Deliberate: the connection's end is polled for as long as the packet that is still in the buffer says.
  tcp_peer peer(context);
  peer.send(plain_packet(30));
  ASSERT_EQ(receive().result, 0);
  peer.close();
  ASSERT_TRUE(becomes(context->tcp_client_socket, POLLIN));
  clock.tick_us(1'000'000);
  expect_no_data(receive(), std::string(active) + late + received(0) + "no data\n");
}

TEST_F(Gather, ASelectThatSucceedsWithoutTheConnectionIsNoDataWithoutAMessage) {
  tcp_peer peer(context);
  calls->select = [this](int count, fd_set *read, fd_set *write, fd_set *except, timeval *timeout) {
    if (timeout == nullptr) return hurried_select(count, read, write, except, timeout);
    FD_ZERO(read);
    return 1;
  };
  expect_no_data(receive(), std::string(accepted) + received(0) + "no data\n");
}

TEST_F(Gather, ASelectThatFailsOnTheConnectionIsNoData) {
  tcp_peer peer(context);
  calls->select = [this](int count, fd_set *read, fd_set *write, fd_set *except, timeval *timeout) {
    return timeout == nullptr ? hurried_select(count, read, write, except, timeout) : fail(EINTR);
  };
  expect_no_data(receive(), std::string(accepted) + "No more data was in the buffer\n" + received(0) + "no data\n");
}

TEST_F(Gather, FlagsThatCannotBeReadOrSetAreNoData) {
  const std::string get_failed = "Error fcntl(..., F_GETFL) (Bad file descriptor)\n";
  const std::string set_failed = "Error fcntl(..., F_SETFL) (Bad file descriptor)\n";
  const std::string nothing = received(-1) + "no data\n";
  const std::string expected[] = {get_failed + nothing, set_failed + nothing, whole + get_failed + nothing,
                                  whole + set_failed + nothing};
  for (int nth = 0; nth < 4; ++nth) {
    tcp_peer peer(context);
    peer.send(plain_packet(30));
    fail_fcntl(nth);
    expect_no_data(receive(), accepted + expected[nth]);
  }
}

TEST_F(Gather, FlagsThatAreAllOffAreNoFailure) {
  tcp_peer peer(context);
  peer.send(plain_packet(20));
  calls->fcntl = [](int descriptor, int command, long argument) {
    return command == F_GETFL ? 0 : real_fcntl(descriptor, command, argument);
  };
  EXPECT_EQ(receive().delivered(), plain_packet(20));
}

// The peer's connection itself is sound, so it was accepted: the failure is the read's.
TEST_F(Gather, WhenEveryFcntlFailsTheReadFailsAndNotTheAccept) {
  tcp_peer peer(context);
  peer.send(plain_packet(16));
  calls->fcntl = [](int, int, long) { return fail(EBADF); };
  expect_no_data(receive(),
                 "TCP connection accepted\n"
                 "Error fcntl(..., F_GETFL) (Bad file descriptor)\n"
                 "received -1\nno data\n");
}

TEST_F(Gather, TheConnectionIsNonBlockingWhileItIsReadAndBlockingAfterwards) {
  tcp_peer peer(context);
  peer.send(plain_packet(30));
  int while_read = 0;
  calls->recv = [&](int d, void *to, size_t length, int flags) {
    while_read = real_fcntl(d, F_GETFL, 0);
    EXPECT_EQ(to, context->receive_chunk);
    EXPECT_EQ(length, 40000u);
    EXPECT_EQ(flags, 0);
    return real_recv(d, to, length, flags);
  };
  ASSERT_EQ(receive().result, 0);
  EXPECT_NE(while_read & O_NONBLOCK, 0);
  EXPECT_EQ(real_fcntl(context->tcp_client_socket, F_GETFL, 0) & O_NONBLOCK, 0);
}

TEST_F(Gather, TheConnectionKeepsItsOtherFlags) {
  tcp_peer peer(context);
  peer.send(plain_packet(30));
  int while_read = 0;
  calls->recv = [&](int d, void *to, size_t length, int flags) {
    real_fcntl(d, F_SETFL, real_fcntl(d, F_GETFL, 0) | O_APPEND);
    while_read = real_fcntl(d, F_GETFL, 0);
    return real_recv(d, to, length, flags);
  };
  ASSERT_EQ(receive().result, 0);
  EXPECT_EQ(real_fcntl(context->tcp_client_socket, F_GETFL, 0), while_read & ~O_NONBLOCK);
  peer.send(plain_packet(30));
  ASSERT_EQ(receive().result, 0);
  EXPECT_NE(while_read & O_APPEND, 0);
}

// ---- the buffer's end ----

TEST_F(Gather, APacketThatFillsTheBufferExactlyIsTaken) {
  const bytes packet = plain_packet(40000);
  tcp_peer peer(context);
  peer.send(packet);
  read_at_most({39000, 1000});
  const reception r = receive();
  EXPECT_EQ(r.output, std::string(accepted) + whole + received(40000) + unrecognised);
  EXPECT_TRUE(r.delivered() == packet);
}

TEST_F(Gather, AStreamOfMoreThanTheBufferIsRefusedAndNothingIsWrittenBehindIt) {
  bytes stream = plain_packet(44000);
  stream[4] = stream[5] = 0xFF;
  for (size_t i = 6; i < stream.size(); ++i) stream[i] = static_cast<uint8_t>(i * 31 + (i >> 8));
  tcp_peer peer(context);
  peer.send(stream);
  read_at_most({39000, 5000});
  expect_served(receive(), std::string(accepted) + received(40000) + refused);
  EXPECT_EQ(context->data_length, 40000);
  EXPECT_EQ(context->packet_failed, 1u);
  EXPECT_EQ(context->tcp_session_active, 0);
  EXPECT_EQ(memcmp(context->packet, stream.data(), 40000), 0);
  EXPECT_EQ(memcmp(context->receive_chunk, stream.data() + 39000, 5000), 0);  // stands right behind `packet`
}

TEST_F(Gather, AStreamThatOverflowsIsRefusedEvenIfItsFirstPacketIsWhole) {
  bytes stream = plain_packet(45000);
  stream[4] = 39010 >> 8;
  stream[5] = 39010 & 0xFF;
  tcp_peer peer(context);
  peer.send(stream);
  read_at_most({39000, 6000});
  expect_served(receive(), std::string(accepted) + whole + received(40000) + refused);
}

TEST_F(Gather, AnOverflowCountsAsARejection) {
  tcp_peer peer(context);
  peer.send(bytes(45000, 0xFF));
  read_at_most({40000, 5000});
  udp_peer udp(context);
  bool sent = false;
  calls->listen = [&](int, int) {
    if (!sent && context->packet_failed == 1) udp.send(plain_packet(20));
    sent = sent || context->packet_failed == 1;
    return 0;
  };
  expect_served(receive(), std::string(accepted) + received(40000) + refused + received(20));
}

TEST_F(Gather, ALongPacketThatStopsAtTheBuffersEndWaitsForTheRestUntilItIsLate) {
  clock.tick_us(1'000'000);
  tcp_peer peer(context);
  bytes stream(40000, 'x');
  stream[4] = stream[5] = 0xFF;
  peer.send(stream);
  const reception r = receive();
  EXPECT_EQ(r.length, 40000);
  EXPECT_EQ(r.output, std::string(accepted) + late + received(40000) + unrecognised);
}

TEST_F(Gather, PacketsInARowThatOneReadBringsAreOnePacket) {
  tcp_peer peer(context);
  peer.send(joined({plain_packet(40, 'a'), plain_packet(50, 'b')}));
  const reception r = receive();
  EXPECT_EQ(r.delivered(), joined({plain_packet(40, 'a'), plain_packet(50, 'b')}));
  EXPECT_EQ(r.output, std::string(accepted) + whole + received(90) + unrecognised);
}

}  // namespace
}  // namespace libsec::test
