// SPDX-License-Identifier: MIT
// What is compared: protocols that take up a session, carry requests and replies, and end the session,
// between this process and a server process of its own, over the loopback interface.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace bench {

inline constexpr size_t request_bytes = 64;  // of the content of each request, and of its reply

// Microseconds until the answer has arrived; 0 for a step that the protocol does not have.
struct opening {
  double key_exchange = 0;  // WAKE to WRSP, or the whole handshake
  double login = 0;         // LGIN to ACK1
};

class exchange {
 public:
  explicit exchange(std::string name) : name_(std::move(name)) {}
  virtual ~exchange() = default;
  exchange(const exchange &) = delete;
  exchange &operator=(const exchange &) = delete;
  const std::string &name() const { return name_; }

  virtual std::optional<opening> open() = 0;
  virtual bool round_trip() = 0;  // one request and its reply, which is checked
  virtual bool close() = 0;
  virtual pid_t server() const = 0;

 private:
  std::string name_;
};

using exchanges = std::vector<std::unique_ptr<exchange>>;

// Each starts its server and adds what it can; failures are said and leave the rest.
void add_libsec(exchanges &all, const std::string &host, const std::string &library);
void add_plain_sockets(exchanges &all);
void add_dtls(exchanges &all);
void add_snmp(exchanges &all, const std::string &snmpd, const std::string &scratch);

class stopwatch {
 public:
  double microseconds() const {
    return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start_).count();
  }

 private:
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

}  // namespace bench
