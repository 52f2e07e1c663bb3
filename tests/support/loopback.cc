// SPDX-License-Identifier: MIT
#include "support/loopback.h"

#include <arpa/inet.h>
#include <dirent.h>
#include <fcntl.h>
#include <linux/sockios.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>

#include "support/calls.h"
#include "support/sessions.h"

namespace libsec::test {
namespace {

constexpr int patience_ms = 1000;

void demand(bool good, const char *what) {
  if (!good) throw std::runtime_error(what);
}

sockaddr_in any_loopback_port() {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

int open_socket(int type) {
  const int descriptor = real_socket(AF_INET, type, 0);
  demand(descriptor >= 0, "socket");
  const sockaddr_in address = any_loopback_port();
  demand(real_bind(descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0, "bind");
  return descriptor;
}

sockaddr_in address_of(int descriptor) {
  sockaddr_in address{};
  socklen_t length = sizeof address;
  demand(getsockname(descriptor, reinterpret_cast<sockaddr *>(&address), &length) == 0, "getsockname");
  return address;
}

// All that was written has been acknowledged, so it lies in the receiver's buffer.
void wait_until_delivered(int descriptor) {
  for (int waited_us = 0; waited_us < patience_ms * 1000; waited_us += 100) {
    int outstanding = 1;
    demand(ioctl(descriptor, SIOCOUTQ, &outstanding) == 0, "SIOCOUTQ");
    if (outstanding == 0) return;
    usleep(100);
  }
  throw std::runtime_error("not delivered");
}

}  // namespace

loopback::loopback() : context_(make_context()) {
  context_->tcp_listen_socket = open_socket(SOCK_STREAM);
  context_->udp_socket = open_socket(SOCK_DGRAM);
  demand(real_listen(context_->tcp_listen_socket, 128) == 0, "listen");
}

loopback::~loopback() {
  real_close(context_->tcp_listen_socket);
  real_close(context_->udp_socket);
  if (context_->tcp_client_socket != -1) real_close(context_->tcp_client_socket);
}

sockaddr_in loopback::udp_address() const {
  return address_of(context_->udp_socket);
}

sockaddr_in loopback::tcp_address() const {
  return address_of(context_->tcp_listen_socket);
}

udp_peer::udp_peer(const loopback &context) : context_(context), socket_(open_socket(SOCK_DGRAM)) {}

udp_peer::~udp_peer() {
  real_close(socket_);
}

void udp_peer::send(const bytes &packet) const {
  const sockaddr_in to = context_.udp_address();
  demand(real_sendto(socket_, packet.data(), packet.size(), 0, reinterpret_cast<const sockaddr *>(&to), sizeof to) ==
             static_cast<ssize_t>(packet.size()),
         "sendto");
  demand(becomes(context_->udp_socket, POLLIN), "the datagram did not arrive");
}

bytes udp_peer::receive() const {
  bytes packet(65536);
  if (!becomes(socket_, POLLIN)) return {};
  const ssize_t length = real_recv(socket_, packet.data(), packet.size(), MSG_DONTWAIT);
  packet.resize(length > 0 ? static_cast<size_t>(length) : 0);
  return packet;
}

bool udp_peer::has_received() const {
  pollfd poller{socket_, POLLIN, 0};
  return poll(&poller, 1, 0) == 1;
}

uint16_t udp_peer::port() const {
  return ntohs(address_of(socket_).sin_port);
}

tcp_peer::tcp_peer(const loopback &context) : socket_(open_socket(SOCK_STREAM)) {
  const sockaddr_in to = context.tcp_address();
  demand(connect(socket_, reinterpret_cast<const sockaddr *>(&to), sizeof to) == 0, "connect");
  demand(becomes(context->tcp_listen_socket, POLLIN), "the connection did not arrive");
}

tcp_peer::~tcp_peer() {
  close();
}

void tcp_peer::send(const bytes &packet) const {
  demand(real_send(socket_, packet.data(), packet.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(packet.size()), "send");
  wait_until_delivered(socket_);
}

bytes tcp_peer::receive(size_t length) const {
  bytes data(length);
  size_t gathered = 0;
  while (gathered < length && becomes(socket_, POLLIN)) {
    const ssize_t got = real_recv(socket_, data.data() + gathered, length - gathered, MSG_DONTWAIT);
    if (got <= 0) break;
    gathered += static_cast<size_t>(got);
  }
  data.resize(gathered);
  return data;
}

bool tcp_peer::has_received() const {
  pollfd poller{socket_, POLLIN, 0};
  return poll(&poller, 1, 0) == 1;
}

bool tcp_peer::is_closed() const {
  uint8_t byte;
  return becomes(socket_, POLLIN) && real_recv(socket_, &byte, 1, MSG_DONTWAIT | MSG_PEEK) <= 0;
}

void tcp_peer::close() {
  if (socket_ != -1) real_close(socket_);
  socket_ = -1;
}

void tcp_peer::reset() {
  const linger at_once{1, 0};
  demand(real_setsockopt(socket_, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once) == 0, "SO_LINGER");
  close();
}

bool becomes(int descriptor, short events) {
  pollfd poller{descriptor, events, 0};
  return poll(&poller, 1, patience_ms) == 1 && (poller.revents & events) != 0;
}

size_t open_descriptors() {
  DIR *const entries = opendir("/proc/self/fd");
  demand(entries != nullptr, "/proc/self/fd");
  size_t count = 0;
  while (readdir(entries) != nullptr) ++count;
  closedir(entries);
  return count - 3;  // this directory, its parent, and the descriptor that read them
}

bool is_open(int descriptor) {
  return fcntl(descriptor, F_GETFD) != -1;
}

}  // namespace libsec::test
