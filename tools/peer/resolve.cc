// SPDX-License-Identifier: MIT
#include "peer/resolve.h"

#include <arpa/inet.h>
#include <fmt/format.h>
#include <netdb.h>
#include <poll.h>
#include <sys/eventfd.h>

#include <cerrno>
#include <cstring>
#include <thread>

namespace peer {
namespace {

// A question to the system's resolver, which cannot be told when to give up. Who asks and who answers share
// it, so that an answer that nobody waits for any more still finds its place.
struct question {
  std::string host;
  descriptor answered{::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)};
  int error = 0;
  in_addr found{};

  void ask() {
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_DGRAM;
    addrinfo *all = nullptr;
    error = ::getaddrinfo(host.c_str(), nullptr, &hints, &all);
    if (error == 0) {
      sockaddr_in first{};
      std::memcpy(&first, all->ai_addr, sizeof first);
      found = first.sin_addr;
      ::freeaddrinfo(all);
    }
    uint64_t one = 1;
    if (::write(answered.get(), &one, sizeof one) < 0) {
      // Then the deadline ends the waiting.
    }
  }
};

failure no_address(const endpoint &where, std::string_view why) {
  return {exit_code::other,
          "connect",
          fmt::format("the host \"{}\" has no IPv4 address: {}", where.host, why),
          "an IPv4 address, or a name that has one",
          {},
          {}};
}

}  // namespace

result<sockaddr_in> resolve(const endpoint &where, clock::time_point deadline, int stop) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(where.port);
  if (::inet_pton(AF_INET, where.host.c_str(), &address.sin_addr) == 1) return address;
  auto asked = std::make_shared<question>();
  asked->host = where.host;
  if (!asked->answered) return socket_failure("looking up the host", errno);
  std::thread([asked] { asked->ask(); }).detach();
  if (!wait_for(asked->answered.get(), POLLIN, deadline, stop))
    return no_address(where, "no name server answered in time");
  if (asked->error != 0) return no_address(where, ::gai_strerror(asked->error));
  address.sin_addr = asked->found;
  return address;
}

}  // namespace peer
