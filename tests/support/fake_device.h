// SPDX-License-Identifier: MIT
// A device for the tests of the tools: the device's half of the protocol on loopback, in a thread of the
// test, able to misbehave. Its cipher, CRC, arithmetic and states share nothing with the code under test.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "support/fake_cipher.h"

namespace fake {

enum class answer { wrsp, ack1, reply, ack2 };

// How an answer is sent.
struct delivery {
  int times = 1;                       // 0: not at all
  std::chrono::milliseconds flood{0};  // over UDP, again and again for this long
  std::chrono::milliseconds delay{0};
  size_t piece = 0;           // over TCP, in pieces of this size with pauses between them
  std::optional<size_t> cut;  // only so many bytes
  bool then_close = false;    // over TCP, the connection
  bool then_reset = false;    // over TCP, with RST
};

// Where a device may depart from good behaviour. What is not set is good.
struct behaviour {
  std::function<void(bytes &public_value, const bytes &prime)> public_value;
  std::function<void(answer, bytes &content)> content;  // of the payload; length and CRC will fit it
  std::function<void(answer, bytes &block)> block;      // the payload, plain
  std::function<void(answer, bytes &packet)> packet;    // as it goes out
  // `nth` counts the answers of a kind, from 1.
  std::function<void(answer, int nth, delivery &)> deliver;
  // True when the device never sees the packet.
  std::function<bool(const std::string &signature, int nth)> lose;
  std::function<bytes(const bytes &request)> agent = [](const bytes &request) { return request; };
  std::chrono::milliseconds login_limit{10000};
  // How long a connection is waited on in silence, and then left open, and how long its end is looked at
  // before anything else is. 0: for ever, and not at all.
  std::chrono::milliseconds patience{0};
};

class device {
 public:
  // `publickeys` is the text of the device's key file.
  device(const std::string &publickeys, behaviour how);
  ~device();
  device(const device &) = delete;
  device &operator=(const device &) = delete;

  // The same for UDP and TCP, on 127.0.0.1.
  uint16_t port() const { return port_; }

  // What happened so far, for example "WAKE LGIN ENCR LOUT"; refused packets in parentheses, and "accept"
  // for each connection.
  std::string log() const;
  bool idle() const { return state_ == 0; }
  bytes last_request() const;

 private:
  struct outgoing {
    answer kind;
    bytes packet;
  };

  void open_sockets();
  void run();
  void serve_datagram();
  void serve_connection();
  void leave_connection();
  void drop_connection(bool reset);
  std::optional<outgoing> handle(const bytes &packet);
  std::optional<outgoing> handle_wake(const bytes &packet);
  std::optional<bytes> open_payload(const bytes &packet, const std::string &text) const;
  outgoing finish(answer kind, const std::string &signature, bytes tail);
  outgoing sealed(answer kind, const std::string &signature, bytes content);
  delivery plan(answer kind);
  bool verify(const bytes &packet) const;
  void note(const std::string &event);

  behaviour how_;
  bytes modulus_, exponent_;
  int udp_ = -1, listener_ = -1, connection_ = -1, left_behind_ = -1, stop_[2] = {-1, -1};
  uint16_t port_ = 0;
  bytes gathered_;
  std::atomic<int> state_{0};
  std::chrono::steady_clock::time_point keyed_at_{};
  bytes id_, key_;
  int counts_[4] = {};
  std::vector<std::pair<std::string, int>> seen_;
  mutable std::mutex mutex_;
  std::string log_;
  bytes last_request_;
  std::thread thread_;
};

}  // namespace fake
