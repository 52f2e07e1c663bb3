// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

#include <string>

#include "peer/result.h"

namespace zolt {

// A shell command that runs beside this program.
class child {
 public:
  // Starts it with one more variable in its environment. Its end makes the descriptor of catch_signals()
  // readable.
  static peer::result<child> start(const std::string &command, const std::string &variable, const std::string &value);

  // True once it has ended.
  bool ended();

  // Tells it to end and waits until it has.
  void stop();

  // As a shell counts: 128 and the signal's number when a signal ended it.
  int exit_status() const;

 private:
  explicit child(pid_t number) : number_(number) {}
  pid_t number_;
  bool ended_ = false;
  int status_ = 0;
};

}  // namespace zolt
