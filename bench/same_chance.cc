// SPDX-License-Identifier: MIT
// Chance, the same in every run, so that a private exponent is too, and with it every count: the clock
// and the kernel's random bytes are asked for as ever, and then overwritten. The library finds these in
// place of the C library's because the program exports them.
#include "same_chance.h"

#include <dlfcn.h>
#include <sys/random.h>
#include <sys/time.h>

#include <cstring>

namespace bench {
uint32_t clock_readings;
uint32_t kernel_random_calls;

namespace {
template <typename F>
F *next(F *, const char *name) {
  return reinterpret_cast<F *>(dlsym(RTLD_NEXT, name));
}
auto *const real_gettimeofday = next(&gettimeofday, "gettimeofday");
auto *const real_getrandom = next(&getrandom, "getrandom");
}  // namespace
}  // namespace bench

extern "C" int gettimeofday(timeval *__restrict now, void *__restrict zone) noexcept {
  const int result = bench::real_gettimeofday(now, zone);
  now->tv_sec = 1'000'000'000;
  now->tv_usec = static_cast<suseconds_t>(++bench::clock_readings % 1000);
  return result;
}

extern "C" ssize_t getrandom(void *to, size_t length, unsigned int flags) {
  ++bench::kernel_random_calls;
  const ssize_t result = bench::real_getrandom(to, length, flags);
  std::memset(to, 0x5A, length);
  return result;
}
