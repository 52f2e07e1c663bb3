// SPDX-License-Identifier: MIT
// What a piece of code writes to standard output, at the price of a few system calls: for tests that ask
// a hundred thousand times.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

namespace libsec::test {

class caught_output {
 public:
  caught_output();
  ~caught_output();
  caught_output(const caught_output &) = delete;
  caught_output &operator=(const caught_output &) = delete;

  // Runs the code; what it printed. Nothing is caught between two runs.
  template <typename F>
  std::string run(F code) {
    divert();
    code();
    return restore();
  }

 private:
  void divert();
  std::string restore();

  int file_;
  int before_;
  int64_t taken_ = 0;
};

}  // namespace libsec::test
