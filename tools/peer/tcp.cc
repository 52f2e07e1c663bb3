// SPDX-License-Identifier: MIT
#include <fmt/format.h>
#include <poll.h>
#include <sys/socket.h>

#include <cerrno>

#include "peer/transport.h"
#include "peer/wire.h"

namespace peer {
namespace {

constexpr size_t read_bytes = 65536;

class tcp_transport final : public transport {
 public:
  using transport::transport;

  status send(byte_view packet, clock::time_point deadline) override {
    while (!packet.empty()) {
      ssize_t sent = ::send(socket(), packet.data(), packet.size(), MSG_NOSIGNAL);
      if (sent >= 0) {
        packet = packet.subspan(static_cast<size_t>(sent));
      } else if (errno == EAGAIN) {
        if (!wait(POLLOUT, deadline)) return socket_failure("sending", ETIMEDOUT);
      } else if (errno != EINTR) {
        return socket_failure("sending", errno);
      }
    }
    return done;
  }

  result<bytes> receive(clock::time_point deadline) override {
    for (;;) {
      // The length field stands at bytes 4 and 5; a whole header tells more when it is wrong.
      if (gathered_.size() >= header_bytes) {
        size_t length = read16(gathered_, 4);
        if (length < header_bytes || length > max_packet_bytes)
          return failure{exit_code::verification,
                         {},
                         fmt::format("the answer says that it has {} bytes", length),
                         fmt::format("{} to {} bytes", header_bytes, max_packet_bytes),
                         {},
                         {}};
        if (gathered_.size() >= length) return cut(length);
      }
      if (!wait(POLLIN, deadline)) return silence();
      size_t had = gathered_.size();
      gathered_.resize(had + read_bytes);
      ssize_t got = ::recv(socket(), gathered_.data() + had, read_bytes, 0);
      int error = errno;
      gathered_.resize(had + (got > 0 ? static_cast<size_t>(got) : 0));
      if (got == 0) return ended();
      if (got < 0 && error != EINTR && error != EAGAIN) return socket_failure("waiting", error);
    }
  }

  size_t drop_unasked() override {
    // What the kernel holds is looked at only: with unasked bytes in it, the stream is given up. Its end
    // is for the coming receive to meet.
    uint8_t unasked[4096];
    ssize_t waiting = ::recv(socket(), unasked, sizeof unasked, MSG_PEEK);
    size_t thrown = gathered_.size() + (waiting > 0 ? static_cast<size_t>(waiting) : 0);
    gathered_.clear();
    return thrown;
  }

  bool is_stream() const override { return true; }

 private:
  bytes cut(size_t length) {
    auto end = gathered_.begin() + static_cast<ptrdiff_t>(length);
    bytes packet(gathered_.begin(), end);
    gathered_.erase(gathered_.begin(), end);
    return packet;
  }

  // "10 of 144 bytes", or "10 bytes" when not even the header is there.
  std::string so_far() const {
    if (gathered_.size() < header_bytes) return fmt::format("{} bytes", gathered_.size());
    return fmt::format("{} of {} bytes", gathered_.size(), read16(gathered_, 4));
  }

  failure silence() const {
    std::string happened = gathered_.empty() ? "" : "the answer stopped after " + so_far();
    return {exit_code::no_answer, {}, happened, {}, {}, {}};
  }

  failure ended() const {
    if (gathered_.empty()) return {exit_code::refused, {}, "the device closed the connection", {}, {}, {}};
    return {exit_code::verification, {}, "the device closed the connection after " + so_far() + " of an answer",
            "a whole packet",        {}, {}};
  }

  bytes gathered_;
};

}  // namespace

std::unique_ptr<transport> make_tcp_transport(descriptor socket, int stop) {
  return std::make_unique<tcp_transport>(std::move(socket), stop);
}

}  // namespace peer
