// SPDX-License-Identifier: MIT
// A clock that tests move by hand. The test program defines gettimeofday() itself, and so takes the
// C library's place for the code under test, also for a libsec.so that it loads with dlopen().
//
//   fake_clock clock(1000);      // it is 1000 s after the epoch, and stays so
//   clock.advance_ms(10001);
//
// While no fake_clock lives, real time passes through. At most one lives at a time. Only
// gettimeofday() is moved: select(), sleep() and the standard clocks keep real time.
#pragma once

#include <cstdint>

namespace libsec::test {

class fake_clock {
 public:
  explicit fake_clock(int64_t seconds, int64_t microseconds = 0);
  ~fake_clock();
  fake_clock(const fake_clock &) = delete;
  fake_clock &operator=(const fake_clock &) = delete;

  void set(int64_t seconds, int64_t microseconds = 0);
  void advance_us(int64_t microseconds);
  void advance_ms(int64_t milliseconds) { advance_us(milliseconds * 1000); }

  // Lets every later reading move the clock on by `microseconds` after it was taken, for code that
  // polls until a time has passed. 0 freezes the clock again.
  void tick_us(int64_t microseconds);

  // From here on gettimeofday() fails with ENOSYS and stores nothing.
  void break_down();

  // How often the clock was read since this object was made.
  uint64_t readings() const;
};

}  // namespace libsec::test
