// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "peer/transport.h"

namespace zolt {

// A bar on the last line of the terminal, with a text behind it. Where standard error is no terminal, or is
// to be quiet or used for the narration, there is none. Not for use by several threads at once.
class progress {
 public:
  progress();
  ~progress() { clear(); }
  progress(const progress &) = delete;
  progress &operator=(const progress &) = delete;

  // `part` is 0 to 1. Drawn at most ten times a second.
  void show(double part, const std::string &text);

  // Takes the bar away, so that something else can be written.
  void clear();

 private:
  bool wanted_;
  bool drawn_ = false;
  peer::clock::time_point next_{};
};

// The bar alone: [#####.....], with `width` characters between the brackets.
std::string bar(double part, size_t width);

}  // namespace zolt
