// SPDX-License-Identifier: MIT
#include "crypto/kernel_random.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/random.h>
#include <unistd.h>

namespace libsec {
namespace {

// Repeats `get(bytes, length)`, which works like read(), until it gave everything or failed.
template <typename Get>
size_t get_all(uint8_t *bytes, size_t length, Get get) {
  size_t filled = 0;
  while (filled < length) {
    const ssize_t got = get(bytes + filled, length - filled);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    filled += static_cast<size_t>(got);
  }
  return filled;
}

size_t from_device(uint8_t *bytes, size_t length) {
  const int device = open("/dev/urandom", O_RDONLY | O_CLOEXEC);
  if (device < 0) return 0;
  const size_t filled = get_all(bytes, length, [device](void *to, size_t count) { return read(device, to, count); });
  (void)close(device);  // Nothing was written through it.
  return filled;
}

}  // namespace

size_t kernel_random(uint8_t *bytes, size_t length) {
  const size_t filled =
      get_all(bytes, length, [](void *to, size_t count) { return getrandom(to, count, GRND_NONBLOCK); });
  if (filled == length) return length;
  return filled + from_device(bytes + filled, length - filled);
}

}  // namespace libsec
