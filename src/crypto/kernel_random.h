// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>

namespace libsec {

// Fills `bytes` with the kernel's randomness and returns how many of `length` bytes it got: fewer,
// down to none, where the kernel has neither getrandom() nor a readable /dev/urandom to give. Never
// blocks: a device that starts must come up even before its kernel has gathered enough.
size_t kernel_random(uint8_t *bytes, size_t length);

}  // namespace libsec
