// SPDX-License-Identifier: MIT
// A context on sockets of 127.0.0.1, as ZOLT_create() makes one on port 161, and the peers that talk to
// it. Everything runs in one thread: what a peer sends lies in the kernel, and is seen by a poll(), before
// its function returns, so a test lets the peer speak first and calls the library then. No hook of calls.h
// sees what the peers do.
#pragma once

#include <libsec/zolt.h>
#include <netinet/in.h>

#include <memory>

#include "support/packets.h"

namespace libsec::test {

class loopback {
 public:
  loopback();
  ~loopback();
  loopback(const loopback &) = delete;
  loopback &operator=(const loopback &) = delete;

  zolt_context *get() const { return context_.get(); }
  zolt_context *operator->() const { return context_.get(); }
  sockaddr_in udp_address() const;
  sockaddr_in tcp_address() const;

 private:
  std::unique_ptr<zolt_context> context_;
};

class udp_peer {
 public:
  explicit udp_peer(const loopback &context);
  ~udp_peer();
  udp_peer(const udp_peer &) = delete;
  udp_peer &operator=(const udp_peer &) = delete;

  void send(const bytes &packet) const;
  bytes receive() const;  // the next datagram; empty when there is none
  bool has_received() const;
  uint16_t port() const;  // in host order

 private:
  const loopback &context_;
  int socket_;
};

class tcp_peer {
 public:
  explicit tcp_peer(const loopback &context);
  ~tcp_peer();
  tcp_peer(const tcp_peer &) = delete;
  tcp_peer &operator=(const tcp_peer &) = delete;

  void send(const bytes &packet) const;
  bytes receive(size_t length) const;  // fewer when the stream ends or nothing more is there
  bool has_received() const;           // bytes, or the end of the stream
  bool is_closed() const;              // the other side has ended the stream
  void close();
  void reset();  // ends the connection abruptly, without a goodbye
  int descriptor() const { return socket_; }

 private:
  int socket_;
};

// Whether poll() sees `events` on the descriptor within a second.
bool becomes(int descriptor, short events);

// How many descriptors the process has open.
size_t open_descriptors();

bool is_open(int descriptor);

}  // namespace libsec::test
