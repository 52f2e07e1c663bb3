// SPDX-License-Identifier: MIT
// Preloaded into a host, it makes time pass faster there: HASTE=1000 makes five seconds of waiting five
// milliseconds. SIGUSR1 brings the usual pace back.
#include <dlfcn.h>
#include <sys/select.h>
#include <sys/time.h>
#include <time.h>

#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

constexpr int64_t second_us = 1'000'000;

int64_t haste = 1;
int64_t real_start;  // when the pace was set, and what the host's clock showed then
int64_t shown_start;

int64_t real_us() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return now.tv_sec * second_us + now.tv_nsec / 1000;
}

int64_t shown_us() {
  return shown_start + (real_us() - real_start) * haste;
}

void slow_down(int) {
  shown_start = shown_us();
  real_start = real_us();
  haste = 1;
}

[[gnu::constructor]] void begin() {
  const char *wanted = std::getenv("HASTE");
  if (wanted != nullptr && std::atoll(wanted) > 0) haste = std::atoll(wanted);
  real_start = shown_start = real_us();
  std::signal(SIGUSR1, slow_down);
}

template <typename Function>
Function next(const char *name) {
  void *const found = dlsym(RTLD_NEXT, name);
  Function result;
  std::memcpy(&result, &found, sizeof result);
  return result;
}

}  // namespace

extern "C" int gettimeofday(timeval *shown, void *) noexcept {
  const int64_t now = shown_us();
  shown->tv_sec = now / second_us;
  shown->tv_usec = now % second_us;
  return 0;
}

extern "C" int select(int count, fd_set *readable, fd_set *writable, fd_set *failed, timeval *timeout) {
  static const auto real = next<decltype(&select)>("select");
  if (timeout == nullptr) return real(count, readable, writable, failed, nullptr);
  const int64_t left = (timeout->tv_sec * second_us + timeout->tv_usec) / haste;
  timeval shorter{left / second_us, left % second_us};
  return real(count, readable, writable, failed, &shorter);
}
