// SPDX-License-Identifier: MIT
#include "peer/transport.h"

#include <fmt/format.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "peer/resolve.h"

namespace peer {
namespace {

// The pending error of a socket, or that of the connect() that has just failed.
int finish_connect(int socket, clock::time_point deadline, int stop) {
  if (errno != EINPROGRESS && errno != EINTR) return errno;
  if (!wait_for(socket, POLLOUT, deadline, stop)) return ETIMEDOUT;
  int error = 0;
  socklen_t length = sizeof error;
  return ::getsockopt(socket, SOL_SOCKET, SO_ERROR, &error, &length) != 0 ? errno : error;
}

}  // namespace

std::string describe(const endpoint &where) {
  return fmt::format("{}:{} over {}", where.host, where.port, where.over == protocol::tcp ? "TCP" : "UDP");
}

bool wait_for(int socket, short events, clock::time_point deadline, int stop) {
  for (;;) {
    auto left = std::chrono::ceil<milliseconds>(deadline - clock::now()).count();
    pollfd waiting[2] = {{socket, events, 0}, {stop, POLLIN, 0}};  // poll() skips what is negative
    int ready = ::poll(waiting, 2, static_cast<int>(std::clamp<int64_t>(left, 0, 3600'000)));
    if (ready > 0) return waiting[0].revents != 0;
    if (ready < 0 && errno != EINTR) return true;  // the next operation on the socket tells the error
    if (clock::now() >= deadline) return false;
  }
}

failure socket_failure(std::string_view doing, int error) {
  exit_code code = exit_code::other;
  switch (error) {
    case ETIMEDOUT:
    case EHOSTUNREACH:
    case ENETUNREACH:
    case EHOSTDOWN:
      code = exit_code::no_answer;
      break;
    case ECONNREFUSED:
    case ECONNRESET:
    case EPIPE:
      code = exit_code::refused;
      break;
    default:
      break;
  }
  std::string_view reason = error == ETIMEDOUT ? "nothing happened in time" : std::strerror(error);
  return {code, {}, fmt::format("{} failed: {}", doing, reason), {}, {}, {}};
}

result<std::unique_ptr<transport>> transport::connect(const endpoint &where, clock::time_point deadline, int stop) {
  result<sockaddr_in> address = resolve(where, deadline, stop);
  if (!address) return address.error();
  bool tcp = where.over == protocol::tcp;
  descriptor socket(::socket(AF_INET, (tcp ? SOCK_STREAM : SOCK_DGRAM) | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!socket) return socket_failure("making a socket", errno);
  int error = 0;
  if (::connect(socket.get(), reinterpret_cast<const sockaddr *>(&*address), sizeof *address) != 0)
    error = finish_connect(socket.get(), deadline, stop);
  if (error != 0) return socket_failure(fmt::format("connecting to {}", describe(where)), error);
  if (!tcp) return make_udp_transport(std::move(socket), stop);
  // Every packet is one exchange; waiting for more to send would only delay it.
  int on = 1;
  ::setsockopt(socket.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  return make_tcp_transport(std::move(socket), stop);
}

bool transport::wait(short events, clock::time_point deadline) const {
  return wait_for(socket(), events, deadline, stop_);
}

std::array<uint8_t, 4> transport::local_address() const {
  sockaddr_in local{};
  socklen_t length = sizeof local;
  std::array<uint8_t, 4> address{};
  if (::getsockname(socket(), reinterpret_cast<sockaddr *>(&local), &length) == 0)
    std::memcpy(address.data(), &local.sin_addr, address.size());
  return address;
}

}  // namespace peer
