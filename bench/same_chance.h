// SPDX-License-Identifier: MIT
// A clock and kernel randomness that are the same in every run. See same_chance.cc.
#pragma once

#include <cstdint>

namespace bench {

// How often each was asked so far.
extern uint32_t clock_readings;
extern uint32_t kernel_random_calls;

}  // namespace bench
