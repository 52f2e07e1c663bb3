// SPDX-License-Identifier: MIT
// The kernel's randomness, under a test's control. The test program defines getrandom() and open()
// itself; while no fake_kernel_random lives, both pass through. At most one lives at a time.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>

namespace libsec::test {

class fake_kernel_random {
 public:
  enum class mode {
    getrandom_fails,  // as an old kernel's does; /dev/urandom still works
    nothing_works,    // in addition, /dev/urandom cannot be opened
    counted_bytes,    // getrandom() gives byte_at(0), byte_at(1), ...
    interrupted       // the same, but a signal ends every other call before it gives anything
  };
  explicit fake_kernel_random(mode how);
  ~fake_kernel_random();
  fake_kernel_random(const fake_kernel_random &) = delete;
  fake_kernel_random &operator=(const fake_kernel_random &) = delete;

  static uint8_t byte_at(size_t position) { return static_cast<uint8_t>(position * 167 + (position >> 8) * 29 + 1); }
  // How many bytes were asked of getrandom() since this object was made.
  size_t asked() const;
};

// For what no mode gives: a function in the place of getrandom(), and a file in the place of /dev/urandom.
inline ssize_t (*getrandom_hook)(uint8_t *bytes, size_t length) = nullptr;
inline const char *random_device = nullptr;
inline int random_device_flags = 0;  // what /dev/urandom was opened with last

}  // namespace libsec::test
