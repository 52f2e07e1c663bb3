/* SPDX-License-Identifier: MIT
 *
 * Clocks, on gettimeofday(). None of them reports an error.
 */
#ifndef LIBSEC_TIMER_H
#define LIBSEC_TIMER_H

#include "abi.h"

LIBSEC_BEGIN

typedef struct timer_state {
  int32_t seconds; /* of the last reset, modulo 2^32 */
  int32_t microseconds;
} timer_state;

/* hardclock returns the microseconds since its first call in the process, modulo 2^32; it takes a
 * clock that cannot be read for one that says 0. */
LIBSEC_FUNCTION uint32_t hardclock(void);

/* get_timer returns the milliseconds since the timer's last reset, modulo 2^32, the difference
 * of the microsecond parts truncated towards zero; with a non-zero `reset` it then restarts the
 * timer. The first read of a timer that was never reset is meaningless. When gettimeofday() fails
 * it returns UINT32_MAX, beyond every limit, and leaves the timer as it was. */
LIBSEC_FUNCTION uint32_t get_timer(timer_state *timer, int32_t reset);

LIBSEC_END

#endif
