// SPDX-License-Identifier: MIT
// Waiting on descriptors up to a deadline on the monotonic clock.
#pragma once

#include <poll.h>

#include <cstdint>

namespace host {

// now_ms returns milliseconds of the monotonic clock.
int64_t now_ms();

// pause_ms sleeps; a signal ends it early.
void pause_ms(int32_t milliseconds);

// wait_until polls until one of the descriptors is ready. Result: true; false when the deadline
// has passed, the host is asked to end, or poll() failed.
bool wait_until(int64_t deadline_ms, pollfd *descriptors, nfds_t count);

}  // namespace host
