// SPDX-License-Identifier: MIT
// Whole packets over UDP or TCP, with deadlines.
#pragma once

#include <array>
#include <chrono>
#include <memory>

#include "peer/bytes.h"
#include "peer/descriptor.h"
#include "peer/result.h"

namespace peer {

using clock = std::chrono::steady_clock;
using milliseconds = std::chrono::milliseconds;

enum class protocol { udp, tcp };

// Where the device is. The protocol carries IPv4 addresses only.
struct endpoint {
  std::string host;
  uint16_t port = 161;
  protocol over = protocol::udp;
};

// "127.0.0.1:161 over UDP"
std::string describe(const endpoint &where);

// A connected socket. Failures have the codes `no_answer` (the deadline passed), `refused` (the other
// side said no, or ended the connection), `verification` (the stream cannot be cut into packets) or
// `other` (this machine), say what happened, and leave the other texts to the caller, who knows the step.
class transport {
 public:
  // Resolves the host and connects. Over UDP that sends nothing.
  // Waiting, here and later, also ends when `stop` is readable; then it looks like a passed deadline.
  static result<std::unique_ptr<transport>> connect(const endpoint &where, clock::time_point deadline, int stop = -1);

  transport(descriptor socket, int stop) : socket_(std::move(socket)), stop_(stop) {}
  virtual ~transport() = default;
  transport(const transport &) = delete;
  transport &operator=(const transport &) = delete;

  // Sends one packet whole.
  virtual status send(byte_view packet, clock::time_point deadline) = 0;

  // The next whole packet. Part of a packet is kept for the next call. When nothing at all arrived, the
  // failure is `no_answer` without a text.
  virtual result<bytes> receive(clock::time_point deadline) = 0;

  // Throws away what arrived since the last answer, which nobody asked for, and tells how many bytes
  // that were. In a stream such bytes are a fault: the next answer cannot be told from them.
  virtual size_t drop_unasked() = 0;

  // True when what arrives can only come from the device's side of this very connection, in order, so
  // that a wrong answer will not be followed by the right one.
  virtual bool is_stream() const = 0;

  // This side's IPv4 address.
  std::array<uint8_t, 4> local_address() const;

  // For poll().
  int socket() const { return socket_.get(); }

  // From now on waiting ends at the deadline only.
  void ignore_stop() { stop_ = -1; }

 protected:
  bool wait(short events, clock::time_point deadline) const;

 private:
  descriptor socket_;
  int stop_;
};

// Waits until the socket is ready for `events` (poll's). False when the deadline passed, or `stop` became
// readable before the socket was ready.
bool wait_for(int socket, short events, clock::time_point deadline, int stop = -1);

// The failure that belongs to an errno value of a socket operation.
failure socket_failure(std::string_view doing, int error);

// A new, non-blocking socket's owner for each protocol.
std::unique_ptr<transport> make_udp_transport(descriptor socket, int stop);
std::unique_ptr<transport> make_tcp_transport(descriptor socket, int stop);

}  // namespace peer
