// SPDX-License-Identifier: MIT
#include "wait.h"

#include <cerrno>
#include <ctime>

#include "stop.h"

namespace host {

int64_t now_ms() {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

void pause_ms(int32_t milliseconds) {
  const timespec span = {milliseconds / 1000, (milliseconds % 1000) * 1000000};
  nanosleep(&span, nullptr);
}

bool wait_until(int64_t deadline_ms, pollfd *descriptors, nfds_t count) {
  for (;;) {
    const int64_t left = deadline_ms - now_ms();
    if (left <= 0 || stop_requested()) return false;
    const int ready = poll(descriptors, count, static_cast<int>(left));
    if (ready > 0) return true;
    if (ready < 0 && errno != EINTR) return false;
  }
}

}  // namespace host
