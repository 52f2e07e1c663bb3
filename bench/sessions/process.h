// SPDX-License-Identifier: MIT
// Server processes, which end with their owner.
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

namespace bench {

class process {
 public:
  explicit process(const std::vector<std::string> &command);  // its output is thrown away
  explicit process(const std::function<void()> &body);        // in a child of this process
  ~process();
  process(const process &) = delete;
  process &operator=(const process &) = delete;
  pid_t id() const { return id_; }
  bool end();  // as SIGTERM does; true when it ended well

 private:
  pid_t id_;
};

// The processor time that the process has used so far, in microseconds, its kernel time included.
double processor_us(pid_t id);

// True once something is bound to the UDP port (of any address) in this network namespace, 10 s at most.
bool wait_for_udp_port(unsigned port);

}  // namespace bench
