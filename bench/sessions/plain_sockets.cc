// SPDX-License-Identifier: MIT
// The same packets without their meaning: a server answers 412 bytes with 144 and everything else with
// as many bytes as a session's answer has. What is left is what the network and the processes cost.
#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>

#include "exchange.h"
#include "process.h"

namespace bench {
namespace {

constexpr size_t wake = 412, wrsp = 144, lgin = 32, ack1 = 40, lout = 31, ack2 = 40, encr = 88;

size_t answer_to(ssize_t length) {
  if (length == static_cast<ssize_t>(wake)) return wrsp;
  if (length == static_cast<ssize_t>(lgin)) return ack1;
  return length == static_cast<ssize_t>(lout) ? ack2 : encr;
}

int loopback_socket(int type, sockaddr_in *address) {
  socklen_t length = sizeof *address;
  *address = {};
  address->sin_family = AF_INET;
  address->sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  const int made = socket(AF_INET, type | SOCK_CLOEXEC, 0);
  if (bind(made, reinterpret_cast<sockaddr *>(address), length) != 0 ||
      getsockname(made, reinterpret_cast<sockaddr *>(address), &length) != 0) {
    std::perror("plain sockets");
  }
  return made;
}

void serve_udp(int on) {
  char packet[2048];
  for (;;) {
    sockaddr_in from{};
    socklen_t length = sizeof from;
    const ssize_t got = recvfrom(on, packet, sizeof packet, 0, reinterpret_cast<sockaddr *>(&from), &length);
    sendto(on, packet, answer_to(got), 0, reinterpret_cast<sockaddr *>(&from), length);
  }
}

void serve_tcp(int on) {
  char packet[2048];
  for (;;) {
    const int connection = accept(on, nullptr, nullptr);
    for (ssize_t got; (got = recv(connection, packet, sizeof packet, 0)) > 0;) {
      if (send(connection, packet, answer_to(got), MSG_NOSIGNAL) < 0) break;
    }
    ::close(connection);
  }
}

class plain_exchange : public exchange {
 public:
  plain_exchange(std::string name, int type) : exchange(std::move(name)), type_(type) {
    const int listening = loopback_socket(type, &address_);
    if (type == SOCK_STREAM) listen(listening, 8);
    server_ = std::make_unique<process>([&] { type == SOCK_STREAM ? serve_tcp(listening) : serve_udp(listening); });
    ::close(listening);
  }
  std::optional<opening> open() override {
    socket_ = socket(AF_INET, type_, 0);
    if (connect(socket_, reinterpret_cast<const sockaddr *>(&address_), sizeof address_) != 0) return std::nullopt;
    opening took;
    const stopwatch first;
    if (!ask(wake, wrsp)) return std::nullopt;
    took.key_exchange = first.microseconds();
    const stopwatch second;
    if (!ask(lgin, ack1)) return std::nullopt;
    took.login = second.microseconds();
    return took;
  }
  bool round_trip() override { return ask(encr, encr); }
  bool close() override {
    const bool answered = ask(lout, ack2);
    ::close(socket_);
    return answered;
  }
  pid_t server() const override { return server_->id(); }

 private:
  bool ask(size_t length, size_t expected) const {
    char packet[2048] = {};
    return send(socket_, packet, length, 0) == static_cast<ssize_t>(length) &&
           recv(socket_, packet, sizeof packet, 0) == static_cast<ssize_t>(expected);
  }
  int type_;
  int socket_ = -1;
  sockaddr_in address_{};
  std::unique_ptr<process> server_;
};

}  // namespace

void add_plain_sockets(exchanges &all) {
  all.push_back(std::make_unique<plain_exchange>("plain UDP", SOCK_DGRAM));
  all.push_back(std::make_unique<plain_exchange>("plain TCP", SOCK_STREAM));
}

}  // namespace bench
