// SPDX-License-Identifier: MIT
#include "support/fake_clock.h"

#include <sys/time.h>
#include <time.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <mutex>

#ifndef __THROW  // The GNU C library declares gettimeofday() with it, others without.
#define __THROW
#endif

namespace libsec::test {
namespace {

struct clock_state {
  bool fake = false;
  bool broken = false;
  int64_t now_us = 0;
  int64_t tick_us = 0;
  uint64_t readings = 0;
};

// Both are initialised at compile time: constructors and sanitizers may read the clock before any
// constructor of this program has run.
constinit std::mutex guard;
constinit clock_state state;

constexpr int64_t us_per_second = 1'000'000;

int64_t read_real_us() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return now.tv_sec * us_per_second + now.tv_nsec / 1000;
}

bool read_us(int64_t *now) {
  const std::lock_guard lock(guard);
  if (!state.fake) {
    *now = read_real_us();
    return true;
  }
  ++state.readings;
  if (state.broken) return false;
  *now = state.now_us;
  state.now_us += state.tick_us;
  return true;
}

}  // namespace

fake_clock::fake_clock(int64_t seconds, int64_t microseconds) {
  const std::lock_guard lock(guard);
  if (state.fake) {
    std::fputs("fake_clock: there is one already\n", stderr);
    std::abort();
  }
  state = {.fake = true, .now_us = seconds * us_per_second + microseconds};
}

fake_clock::~fake_clock() {
  const std::lock_guard lock(guard);
  state = {};
}

void fake_clock::set(int64_t seconds, int64_t microseconds) {
  const std::lock_guard lock(guard);
  state.now_us = seconds * us_per_second + microseconds;
}

void fake_clock::advance_us(int64_t microseconds) {
  const std::lock_guard lock(guard);
  state.now_us += microseconds;
}

void fake_clock::tick_us(int64_t microseconds) {
  const std::lock_guard lock(guard);
  state.tick_us = microseconds;
}

void fake_clock::break_down() {
  const std::lock_guard lock(guard);
  state.broken = true;
}

uint64_t fake_clock::readings() const {
  const std::lock_guard lock(guard);
  return state.readings;
}

}  // namespace libsec::test

extern "C" int gettimeofday(timeval *__restrict now, void *__restrict) __THROW {
  using namespace libsec::test;
  int64_t us = 0;
  if (!read_us(&us)) {
    errno = ENOSYS;
    return -1;
  }
  now->tv_sec = static_cast<decltype(now->tv_sec)>(us / us_per_second);
  now->tv_usec = static_cast<decltype(now->tv_usec)>(us % us_per_second);
  return 0;
}
