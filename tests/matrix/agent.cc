// SPDX-License-Identifier: MIT
#include "matrix/agent.h"

#include <arpa/inet.h>
#include <linux/sockios.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/ioctl.h>

#include <cerrno>
#include <cstdlib>
#include <stdexcept>

namespace libsec::test {
namespace {

void demand(bool good, const char *what) {
  if (!good) throw std::runtime_error(what);
}

// A socket whose other end is the agent.
int connected_socket(int type) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(ZOLT_PORT);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  const int descriptor = real_socket(AF_INET, type, 0);
  demand(descriptor >= 0 && connect(descriptor, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0,
         "no connection to the agent");
  return descriptor;
}

void wait_until(int descriptor, const char *what) {
  pollfd poller{descriptor, POLLIN, 0};
  demand(poll(&poller, 1, 1000) == 1, what);
}

// All that was written lies in the receiver's buffer.
void wait_until_delivered(int descriptor) {
  int outstanding = 1;
  for (int i = 0; i < 1'000'000 && outstanding != 0; ++i) {
    demand(ioctl(descriptor, SIOCOUTQ, &outstanding) == 0, "SIOCOUTQ");
  }
  demand(outstanding == 0, "not delivered");
}

bytes answer_on(int descriptor) {
  bytes packet(2000);
  const ssize_t length = real_recv(descriptor, packet.data(), packet.size(), MSG_DONTWAIT);
  packet.resize(length > 0 ? static_cast<size_t>(length) : 0);
  return packet;
}

}  // namespace

agent::agent(bool key_file) {
  reset_sessions();
  // What would be waited for does not come any more: for ever is the end of the call, and a time-out moves
  // the clock.
  calls_->select = [this](int count, fd_set *read, fd_set *write, fd_set *except, timeval *timeout) {
    timeval at_once{};
    const int result = real_select(count, read, write, except, &at_once);
    if (result != 0) return result;
    if (timeout == nullptr) return fail(EINTR);
    advance(int64_t{timeout->tv_sec} * 1'000'000 + timeout->tv_usec);
    return 0;
  };
  calls_->recv = [this](int descriptor, void *to, size_t room, int flags) {
    const ssize_t result = real_recv(descriptor, to, room, flags);
    const int error = errno;
    if (result < 0) advance(pause_us);
    errno = error;
    return result;
  };
  if (key_file) directory_.write("publickeys.dat", libsec::test::key_file());
  context_ = ZOLT_create();
  demand(context_ != nullptr, "ZOLT_create() failed");
  demand(full_encryption == (key_file ? 1u : 0u), "the key file was not read as it should");
  // As the first call of ZOLT_receive() would, so that strangers may come before it.
  demand(real_listen(context_->tcp_listen_socket, 128) == 0, "listen");
  udp_peer_ = connected_socket(SOCK_DGRAM);
}

agent::~agent() {
  real_close(udp_peer_);
  for (const int descriptor : {context_->tcp_listen_socket, context_->udp_socket}) real_close(descriptor);
  if (context_->tcp_client_socket != -1) socket_tcp_destroy(context_);
  ZOLT_destroy(context_);
  reset_sessions();
}

void agent::advance(int64_t microseconds) {
  now_us_ += microseconds;
  clock_.advance_us(microseconds);
}

outcome agent::receive() {
  static uint8_t elsewhere;
  uint8_t *data = &elsewhere;
  int32_t length = -77;
  outcome done;
  done.output = output_.run([&] { done.result = ZOLT_receive(context_, &data, &length); });
  done.stores = data != &elsewhere && length != -77;
  done.delivers = data != &elsewhere && data != nullptr;
  if (done.delivers) done.delivered = bytes(data, data + length);
  return done;
}

outcome agent::meet_over_udp(const bytes &packet) {
  demand(real_send(udp_peer_, packet.data(), packet.size(), 0) == static_cast<ssize_t>(packet.size()), "send");
  wait_until(context_->udp_socket, "the datagram did not arrive");
  outcome done = receive();
  if (bytes answer = answer_on(udp_peer_); !answer.empty()) {
    done.deeds.push_back({deed::kind::udp, udp_descriptor, answer});
  }
  return done;
}

// The connection ends abruptly, so that no port is kept waiting for stragglers.
outcome agent::meet_over_tcp(const bytes &packet) {
  const int peer = connected_socket(SOCK_STREAM);
  demand(real_send(peer, packet.data(), packet.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(packet.size()), "send");
  wait_until_delivered(peer);
  wait_until(context_->tcp_listen_socket, "the connection did not arrive");
  outcome done = receive();
  if (bytes answer = answer_on(peer); !answer.empty()) done.deeds.push_back({deed::kind::tcp, 0, answer});
  const linger at_once{1, 0};
  demand(real_setsockopt(peer, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once) == 0, "SO_LINGER");
  real_close(peer);
  return done;
}

}  // namespace libsec::test
