// SPDX-License-Identifier: MIT
#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "support/fake_device.h"

namespace fake {
namespace {

void close_one(int &descriptor) {
  if (descriptor >= 0) ::close(descriptor);
  descriptor = -1;
}

bool bind_to(int socket, uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return ::bind(socket, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0;
}

}  // namespace

// The kernel chooses the TCP port; the UDP port of the same number may be taken, so there are several tries.
void device::open_sockets() {
  for (int attempt = 0; attempt < 50; attempt++) {
    listener_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    udp_ = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    socklen_t length = sizeof address;
    if (bind_to(listener_, 0) && ::listen(listener_, 16) == 0 &&
        ::getsockname(listener_, reinterpret_cast<sockaddr *>(&address), &length) == 0 &&
        bind_to(udp_, ntohs(address.sin_port)) && ::pipe(stop_) == 0) {
      port_ = ntohs(address.sin_port);
      return;
    }
    close_one(listener_);
    close_one(udp_);
  }
  throw std::runtime_error("no port is free on loopback");
}

device::~device() {
  close_one(stop_[1]);
  thread_.join();
  for (int *descriptor : {&stop_[0], &udp_, &listener_, &connection_, &left_behind_}) close_one(*descriptor);
}

// Like a device: while a connection is served, neither datagrams nor further connections are looked at.
void device::run() {
  for (;;) {
    bool serving = connection_ >= 0;
    pollfd waiting[] = {{stop_[0], POLLIN, 0}, {serving ? connection_ : udp_, POLLIN, 0}, {listener_, POLLIN, 0}};
    bool patient = !serving || how_.patience.count() == 0;
    int ready = ::poll(waiting, serving ? 2 : 3, patient ? -1 : static_cast<int>(how_.patience.count()));
    if (waiting[0].revents != 0) return;
    if (ready == 0) leave_connection();
    if (waiting[1].revents != 0) {
      serving ? serve_connection() : serve_datagram();
    } else if (!serving && waiting[2].revents != 0) {
      close_one(left_behind_);
      connection_ = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
      gathered_.clear();
      note("accept");
    }
  }
}

void device::serve_datagram() {
  bytes packet(65536);
  sockaddr_in from{};
  socklen_t length = sizeof from;
  ssize_t got = ::recvfrom(udp_, packet.data(), packet.size(), 0, reinterpret_cast<sockaddr *>(&from), &length);
  if (got < 0) return;
  packet.resize(static_cast<size_t>(got));
  std::optional<outgoing> made = handle(packet);
  if (!made) return;
  delivery how = plan(made->kind);
  std::this_thread::sleep_for(how.delay);
  size_t size = std::min(how.cut.value_or(made->packet.size()), made->packet.size());
  auto flood_ends = std::chrono::steady_clock::now() + how.flood;
  for (int time = 0; time < how.times || std::chrono::steady_clock::now() < flood_ends; time++)
    ::sendto(udp_, made->packet.data(), size, 0, reinterpret_cast<sockaddr *>(&from), length);
}

void device::drop_connection(bool reset) {
  linger abort{1, 0};
  if (reset) ::setsockopt(connection_, SOL_SOCKET, SO_LINGER, &abort, sizeof abort);
  close_one(connection_);
}

// The device turns away from the connection and leaves it open.
void device::leave_connection() {
  close_one(left_behind_);
  left_behind_ = std::exchange(connection_, -1);
}

void device::serve_connection() {
  uint8_t chunk[65536];
  ssize_t got = ::recv(connection_, chunk, sizeof chunk, 0);
  if (got <= 0) {
    std::this_thread::sleep_for(how_.patience);
    return drop_connection(false);
  }
  gathered_.insert(gathered_.end(), chunk, chunk + got);
  if (gathered_.size() < 6 || gathered_.size() < gathered_[4] * 256U + gathered_[5]) return;
  bytes packet;
  packet.swap(gathered_);
  std::optional<outgoing> made = handle(packet);
  if (!made) {
    leave_connection();  // of a refused packet
    return;
  }
  delivery how = plan(made->kind);
  std::this_thread::sleep_for(how.delay);
  size_t size = std::min(how.cut.value_or(made->packet.size()), made->packet.size());
  size_t piece = how.piece == 0 ? std::max<size_t>(size, 1) : how.piece;
  for (int time = 0; time < how.times; time++) {
    for (size_t at = 0; at < size; at += piece) {
      if (at != 0) std::this_thread::sleep_for(std::chrono::milliseconds(2));
      ::send(connection_, made->packet.data() + at, std::min(piece, size - at), MSG_NOSIGNAL);
    }
  }
  bool logged_out = made->kind == answer::ack2 && how.times > 0;
  if (how.then_close || how.then_reset || logged_out) drop_connection(how.then_reset);
}

}  // namespace fake
