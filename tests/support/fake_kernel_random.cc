// SPDX-License-Identifier: MIT
#include "support/fake_kernel_random.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/random.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdlib>
#include <cstring>

namespace libsec::test {
namespace {

bool active = false;
bool getrandom_works = true;
bool device_works = true;
bool signals_come = false;
bool interrupted_last = false;
size_t bytes_asked = 0;

ssize_t give(uint8_t *bytes, size_t length, unsigned flags) {
  if (!active) return syscall(SYS_getrandom, bytes, length, flags);
  if (signals_come) {
    interrupted_last = !interrupted_last;
    if (interrupted_last) {
      errno = EINTR;
      return -1;
    }
  }
  const size_t start = bytes_asked;
  bytes_asked += length;
  if (!getrandom_works) {
    errno = ENOSYS;
    return -1;
  }
  for (size_t i = 0; i < length; ++i) bytes[i] = fake_kernel_random::byte_at(start + i);
  return static_cast<ssize_t>(length);
}

}  // namespace

fake_kernel_random::fake_kernel_random(mode how) {
  if (active) std::abort();
  active = true;
  getrandom_works = how == mode::counted_bytes || how == mode::interrupted;
  signals_come = how == mode::interrupted;
  interrupted_last = false;
  device_works = how != mode::nothing_works;
  bytes_asked = 0;
}

fake_kernel_random::~fake_kernel_random() {
  active = false;
}

size_t fake_kernel_random::asked() const {
  return bytes_asked;
}

}  // namespace libsec::test

extern "C" ssize_t getrandom(void *bytes, size_t length, unsigned flags) {
  if (libsec::test::getrandom_hook != nullptr)
    return libsec::test::getrandom_hook(static_cast<uint8_t *>(bytes), length);
  return libsec::test::give(static_cast<uint8_t *>(bytes), length, flags);
}

extern "C" int open(const char *path, int flags, ...) {
  using namespace libsec::test;
  if (active && !device_works && std::strcmp(path, "/dev/urandom") == 0) {
    errno = ENOENT;
    return -1;
  }
  if (std::strcmp(path, "/dev/urandom") == 0) {
    random_device_flags = flags;
    if (random_device != nullptr) path = random_device;
  }
  unsigned permissions = 0;
  if ((flags & O_CREAT) != 0) {
    va_list arguments;
    va_start(arguments, flags);
    permissions = va_arg(arguments, unsigned);
    va_end(arguments);
  }
  return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, permissions));
}
