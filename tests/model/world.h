// SPDX-License-Identifier: MIT
// What surrounds the library while a script is played to it: the clock and every system call, without
// sockets and without waiting.
#pragma once

#include <libsec/zolt.h>

#include <memory>

#include "model/script.h"
#include "support/calls.h"
#include "support/caught_output.h"
#include "support/fake_clock.h"
#include "support/sessions.h"

namespace libsec::test {

class world {
 public:
  world();
  ~world() { reset_sessions(); }
  world(const world &) = delete;
  world &operator=(const world &) = delete;

  // As after the start of a process, with or without a key file.
  void restart(bool key_file);

  void set_clock(int64_t microseconds);
  int64_t now_us() const { return now_us_; }

  // One call of ZOLT_receive(); what is left of the script has not been looked at.
  outcome receive(arrivals &coming);
  outcome send(bytes reply, arrival::trouble trouble);

  std::unique_ptr<zolt_context> context;

 private:
  int wait(int count, fd_set *read, fd_set *write, const timeval *timeout);
  int wait_for_any(fd_set *read);
  int wait_for_connection(fd_set *read);
  ssize_t read(int descriptor, void *to, size_t room);
  ssize_t keep(deed::kind what, int descriptor, const void *from, size_t length);
  outcome finish(outcome done);

  fake_clock clock_{0};
  hooked_calls calls_;
  caught_output output_;
  int64_t now_us_ = 0;
  arrivals *coming_ = nullptr;
  arrival current_;  // the one that is being read
  size_t next_read_ = 0;
  uint32_t accepted_ = 0;
  std::vector<deed> deeds_;
};

}  // namespace libsec::test
