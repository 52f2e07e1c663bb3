/* SPDX-License-Identifier: MIT
 *
 * What the program has allocated and not freed, in bytes asked for: now, and at most so far.
 */
#ifndef LIBSEC_TESTS_ABI_HEAP_H
#define LIBSEC_TESTS_ABI_HEAP_H

#include <stddef.h>
#include <stdlib.h>

size_t heap_live(void);
size_t heap_peak(void);

#endif
