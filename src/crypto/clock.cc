// SPDX-License-Identifier: MIT
// hardclock and get_timer: two readings of the wall clock. All arithmetic is done in unsigned
// 32-bit words, so that it wraps instead of overflowing, whatever the clock or a stale record says.
#include <libsec/crypto.h>
#include <sys/time.h>

namespace {

struct reading {
  uint32_t seconds;
  uint32_t microseconds;
};

// The system's own timeval is read here and nowhere else: it is larger than timer_state on many
// systems, so the record itself is never handed to the system.
// False when there is no clock, which a system with a filter on its calls may do to a process.
bool read_clock(reading *now) {
  timeval system{};
  const bool good = gettimeofday(&system, nullptr) == 0;
  *now = {static_cast<uint32_t>(system.tv_sec), static_cast<uint32_t>(system.tv_usec)};
  return good;
}

bool started = false;
reading start;

}  // namespace

uint32_t hardclock() {
  reading now;
  (void)read_clock(&now);  // without a clock it stands still
  if (!started) {
    started = true;
    start = now;
  }
  return (now.seconds - start.seconds) * 1'000'000u + (now.microseconds - start.microseconds);
}

uint32_t get_timer(timer_state *timer, int32_t reset) {
  reading now;
  if (!read_clock(&now)) return UINT32_MAX;  // What cannot be timed is late: nothing is waited for without end.
  const uint32_t seconds = now.seconds - static_cast<uint32_t>(timer->seconds);
  // Deliberate: the difference of the microsecond parts is truncated towards zero on its own.
  const int32_t microseconds = static_cast<int32_t>(now.microseconds - static_cast<uint32_t>(timer->microseconds));
  if (reset != 0) {
    timer->seconds = static_cast<int32_t>(now.seconds);
    timer->microseconds = static_cast<int32_t>(now.microseconds);
  }
  return seconds * 1000u + static_cast<uint32_t>(microseconds / 1000);
}
