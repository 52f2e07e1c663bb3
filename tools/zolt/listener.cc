// SPDX-License-Identifier: MIT
#include "zolt/listener.h"

#include <fmt/format.h>
#include <netdb.h>
#include <netinet/in.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "peer/payload.h"

namespace zolt {
namespace {

// Requests wait while the device is busy. Who has not repeated one for so long has given up; carrying it
// out then would surprise.
constexpr std::chrono::seconds patience{10};
constexpr size_t most_waiting = 1000;
constexpr int kernel_buffer_bytes = 1 << 20;

struct host_port {
  std::string host;
  std::string port;
};

// The two parts of ADDRESS:PORT; an IPv6 address stands in brackets.
std::optional<host_port> split(const std::string &where) {
  size_t colon = where.rfind(':');
  if (colon == std::string::npos || colon == 0 || colon + 1 == where.size()) return std::nullopt;
  std::string host = where.substr(0, colon);
  if (host.size() > 2 && host.front() == '[' && host.back() == ']') host = host.substr(1, host.size() - 2);
  return host_port{host, where.substr(colon + 1)};
}

peer::failure trouble(const std::string &where, std::string_view why, std::string advice) {
  return {peer::exit_code::other, "listen", fmt::format("{} cannot be listened on: {}", where, why), {}, {},
          std::move(advice)};
}

}  // namespace

bool client::operator==(const client &other) const {
  return length == other.length && std::memcmp(&address, &other.address, length) == 0;
}

peer::result<listener> listener::open(const std::string &where) {
  std::optional<host_port> parts = split(where);
  if (!parts)
    return peer::failure{peer::exit_code::usage, "listen", fmt::format("--listen \"{}\" is no address", where),
                         "ADDRESS:PORT",         {},       {}};
  addrinfo hints{};
  hints.ai_socktype = SOCK_DGRAM;
  hints.ai_flags = AI_NUMERICSERV;
  addrinfo *found = nullptr;
  if (int error = ::getaddrinfo(parts->host.c_str(), parts->port.c_str(), &hints, &found); error != 0)
    return trouble(where, ::gai_strerror(error), {});
  peer::descriptor socket(::socket(found->ai_family, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  bool bound = socket && ::bind(socket.get(), found->ai_addr, found->ai_addrlen) == 0;
  int error = errno;
  ::freeaddrinfo(found);
  if (!bound)
    return trouble(where, std::strerror(error), error == EADDRINUSE ? "another port: --listen 127.0.0.1:0" : "");
  ::setsockopt(socket.get(), SOL_SOCKET, SO_RCVBUF, &kernel_buffer_bytes, sizeof kernel_buffer_bytes);
  return listener(std::move(socket));
}

std::string listener::address() const {
  sockaddr_storage bound{};
  socklen_t length = sizeof bound;
  char host[NI_MAXHOST] = "";
  char port[NI_MAXSERV] = "";
  ::getsockname(socket(), reinterpret_cast<sockaddr *>(&bound), &length);
  ::getnameinfo(reinterpret_cast<sockaddr *>(&bound), length, host, sizeof host, port, sizeof port,
                NI_NUMERICHOST | NI_NUMERICSERV);
  if (bound.ss_family == AF_INET6) return fmt::format("[{}]:{}", host, port);
  return fmt::format("{}:{}", host, port);
}

bool listener::is_local() const {
  std::string text = address();
  return text.starts_with("127.") || text.starts_with("[::1]");
}

void listener::gather(const asked *pending) {
  peer::bytes datagram(65536);
  // A flood must not hold the tunnel for ever.
  for (size_t i = 0; i < most_waiting; i++) {
    asked arrived;
    arrived.from.length = sizeof arrived.from.address;
    ssize_t got = ::recvfrom(socket(), datagram.data(), datagram.size(), 0,
                             reinterpret_cast<sockaddr *>(&arrived.from.address), &arrived.from.length);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return;
    arrived.content.assign(datagram.begin(), datagram.begin() + got);
    arrived.last_heard = peer::clock::now();
    take(std::move(arrived), pending);
  }
}

void listener::take(asked arrived, const asked *pending) {
  auto is_copy = [&](const asked &other) { return other.from == arrived.from && other.content == arrived.content; };
  auto copied = std::find_if(waiting_.begin(), waiting_.end(), is_copy);
  if (copied != waiting_.end()) copied->last_heard = arrived.last_heard;
  if (copied != waiting_.end() || (pending != nullptr && is_copy(*pending))) {
    joined_++;
  } else if (waiting_.size() < most_waiting && arrived.content.size() <= peer::max_content_bytes) {
    waiting_.push_back(std::move(arrived));
  }
}

std::optional<asked> listener::next() {
  while (!waiting_.empty()) {
    asked first = std::move(waiting_.front());
    waiting_.pop_front();
    if (peer::clock::now() - first.last_heard <= patience) return first;
  }
  return std::nullopt;
}

void listener::answer(const asked &request, peer::byte_view reply) const {
  while (::sendto(socket(), reply.data(), reply.size(), MSG_NOSIGNAL,
                  reinterpret_cast<const sockaddr *>(&request.from.address), request.from.length) < 0 &&
         errno == EINTR) {
  }
}

}  // namespace zolt
