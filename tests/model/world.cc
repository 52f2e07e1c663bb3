// SPDX-License-Identifier: MIT
#include "model/world.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace libsec::test {
namespace {

void demand(bool good, const char *what) {
  if (good) return;
  std::fprintf(stderr, "world: %s\n", what);
  std::abort();
}

}  // namespace

// ---- System calls ----

world::world() {
  calls_->select = [this](int count, fd_set *read, fd_set *write, fd_set *, timeval *timeout) {
    return wait(count, read, write, timeout);
  };
  calls_->listen = [](int, int) { return 0; };
  calls_->accept = [this](int, sockaddr *, socklen_t *) { return accepted_descriptor(accepted_++); };
  calls_->setsockopt = [](int, int, int, const void *, socklen_t) { return 0; };
  calls_->fcntl = [](int, int, long) { return 0; };
  calls_->recv = [this](int descriptor, void *to, size_t room, int) { return read(descriptor, to, room); };
  calls_->recvfrom = [this](int, void *to, size_t room, int, sockaddr *, socklen_t *) {
    const bytes &packet = current_.pieces[0];
    demand(packet.size() <= room, "a packet that does not fit");
    std::copy(packet.begin(), packet.end(), static_cast<uint8_t *>(to));
    return static_cast<ssize_t>(packet.size());
  };
  calls_->send = [this](int descriptor, const void *from, size_t n, int) {
    return keep(deed::kind::tcp, descriptor, from, n);
  };
  calls_->sendto = [this](int descriptor, const void *from, size_t n, int, const sockaddr *, socklen_t) {
    return keep(deed::kind::udp, descriptor, from, n);
  };
  calls_->shutdown = [this](int descriptor, int) {
    deeds_.push_back({deed::kind::shut_down, descriptor, {}});
    return 0;
  };
  calls_->close = [this](int descriptor) {
    deeds_.push_back({deed::kind::closed, descriptor, {}});
    return 0;
  };
}

void world::restart(bool key_file) {
  reset_sessions();
  if (key_file) {
    load_test_key(&security_sessions);
    full_encryption = 1;
  }
  if (context != nullptr && context->tcp_client_socket != -1) socket_tcp_destroy(context.get());
  context = make_context();
  context->tcp_listen_socket = listening_descriptor;
  context->udp_socket = udp_descriptor;
  accepted_ = 0;
  deeds_.clear();
}

void world::set_clock(int64_t microseconds) {
  now_us_ = microseconds;
  clock_.set(now_us_ / 1'000'000, now_us_ % 1'000'000);
}

int world::wait(int, fd_set *read, fd_set *write, const timeval *timeout) {
  if (write != nullptr) {  // the set already says "writable"
    if (current_.answer != arrival::trouble::not_writable) return 1;
    FD_ZERO(write);
    return 0;
  }
  return timeout == nullptr ? wait_for_any(read) : wait_for_connection(read);
}

int world::wait_for_any(fd_set *read) {
  if (coming_->empty()) return fail(EINTR);
  arrival &next = coming_->front();
  set_clock(now_us_ + next.wait_us);
  FD_ZERO(read);
  FD_SET(next.tcp ? listening_descriptor : udp_descriptor, read);
  next.wait_us = 0;
  if (!next.tcp) {
    current_ = next;
    coming_->pop_front();
  }
  return 1;
}

int world::wait_for_connection(fd_set *read) {
  const bool comes = !coming_->empty() && coming_->front().tcp;
  if (comes) {
    current_ = coming_->front();
    coming_->pop_front();
    next_read_ = 0;
  }
  if (!comes || (current_.pieces.empty() && !current_.ends)) {
    set_clock(now_us_ + silence_us);
    FD_ZERO(read);
    return 0;
  }
  set_clock(now_us_ + current_.wait_us);
  return 1;
}

ssize_t world::read(int, void *to, size_t room) {
  if (next_read_ > 0) set_clock(now_us_ + current_.pause_us);
  const size_t at = next_read_++;
  if (at >= current_.pieces.size()) return current_.ends ? 0 : fail(EAGAIN);
  const bytes &piece = current_.pieces[at];
  demand(piece.size() <= room, "a piece that does not fit");
  std::copy(piece.begin(), piece.end(), static_cast<uint8_t *>(to));
  return static_cast<ssize_t>(piece.size());
}

ssize_t world::keep(deed::kind what, int descriptor, const void *from, size_t length) {
  if (current_.answer == arrival::trouble::send_fails) return fail(EPIPE);
  const auto *first = static_cast<const uint8_t *>(from);
  deeds_.push_back({what, descriptor, bytes(first, first + length)});
  return static_cast<ssize_t>(length);
}

// ---- The two calls of a host ----

outcome world::finish(outcome done) {
  done.deeds.swap(deeds_);
  deeds_.clear();
  return done;
}

outcome world::receive(arrivals &coming) {
  static uint8_t elsewhere;
  coming_ = &coming;
  uint8_t *data = &elsewhere;
  int32_t length = -77;
  outcome done;
  done.output = output_.run([&] { done.result = ZOLT_receive(context.get(), &data, &length); });
  done.stores = data != &elsewhere && length != -77;
  done.delivers = data != &elsewhere && data != nullptr;
  if (done.delivers) done.delivered = bytes(data, data + length);
  return finish(done);
}

outcome world::send(bytes reply, arrival::trouble trouble) {
  current_ = {};
  current_.answer = trouble;
  reply.reserve(1);  // an empty reply has an address too
  outcome done;
  done.output =
      output_.run([&] { done.result = ZOLT_send(context.get(), reply.data(), static_cast<int32_t>(reply.size())); });
  return finish(done);
}

}  // namespace libsec::test
