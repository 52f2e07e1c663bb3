// SPDX-License-Identifier: MIT
// A host with the library on the real port 161, and strangers that send to it over real sockets, all in one
// thread: a packet lies in the kernel before the library is called. Only waiting is cut short.
#pragma once

#include <libsec/zolt.h>

#include "model/script.h"
#include "support/calls.h"
#include "support/caught_output.h"
#include "support/fake_clock.h"
#include "support/sessions.h"
#include "support/working_directory.h"

namespace libsec::test {

class agent {
 public:
  // In a private network only. With or without a key file to read.
  explicit agent(bool key_file);
  ~agent();
  agent(const agent &) = delete;
  agent &operator=(const agent &) = delete;

  zolt_context *operator->() const { return context_; }
  int64_t now_us() const { return now_us_; }

  // One packet, and one call of ZOLT_receive(), which serves it. What came back is among the deeds.
  outcome meet_over_udp(const bytes &packet);
  outcome meet_over_tcp(const bytes &packet);

  // How far each read of a connection that brings nothing moves the clock on.
  static constexpr int64_t pause_us = 1'250'000;

 private:
  outcome receive();
  void advance(int64_t microseconds);

  working_directory directory_;
  fake_clock clock_{1'000'000};
  hooked_calls calls_;
  caught_output output_;
  int64_t now_us_ = 1'000'000'000'000;
  zolt_context *context_ = nullptr;
  int udp_peer_ = -1;
};

}  // namespace libsec::test
