// SPDX-License-Identifier: MIT
#include <poll.h>
#include <sys/socket.h>

#include <cerrno>

#include "peer/transport.h"

namespace peer {
namespace {

constexpr size_t most_bytes = 65536;  // more than any datagram

class udp_transport final : public transport {
 public:
  using transport::transport;

  status send(byte_view packet, clock::time_point deadline) override {
    for (;;) {
      if (::send(socket(), packet.data(), packet.size(), MSG_NOSIGNAL) >= 0) return done;
      if (errno == EINTR) continue;
      if (errno != EAGAIN) return socket_failure("sending", errno);
      if (!wait(POLLOUT, deadline)) return socket_failure("sending", ETIMEDOUT);
    }
  }

  result<bytes> receive(clock::time_point deadline) override {
    for (;;) {
      if (!wait(POLLIN, deadline)) return failure{exit_code::no_answer, {}, {}, {}, {}, {}};
      bytes packet(most_bytes);
      ssize_t got = ::recv(socket(), packet.data(), packet.size(), 0);
      if (got >= 0) {
        packet.resize(static_cast<size_t>(got));
        return packet;
      }
      // A datagram with a wrong checksum wakes poll() and is dropped by the read.
      if (errno != EINTR && errno != EAGAIN) return socket_failure("waiting", errno);
    }
  }

  size_t drop_unasked() override {
    size_t thrown = 0;
    bytes packet(most_bytes);
    // An error that a former datagram caused (port unreachable) ends the loop too; if it lasts, the next
    // datagram causes it again.
    for (ssize_t got = 0; (got = ::recv(socket(), packet.data(), packet.size(), 0)) >= 0;) {
      thrown += static_cast<size_t>(got);
      if (thrown > max_thrown) break;
    }
    return thrown;
  }

  bool is_stream() const override { return false; }

 private:
  // A flood must not hold this side for ever.
  static constexpr size_t max_thrown = 4'000'000;
};

}  // namespace

std::unique_ptr<transport> make_udp_transport(descriptor socket, int stop) {
  return std::make_unique<udp_transport>(std::move(socket), stop);
}

}  // namespace peer
