/* SPDX-License-Identifier: MIT
 *
 * The program's heap, in place of the C library's. It looks at each block that is freed, and can fail.
 */
#ifndef LIBSEC_TESTS_SECRETS_WATCHED_HEAP_H
#define LIBSEC_TESTS_SECRETS_WATCHED_HEAP_H

/* From now on every freed block is looked at, and allocation number `failing` fails (0 is the first, -1
 * none). */
void watch_heap(int failing);
void stop_watching(void);

/* What was seen since watch_heap(). */
extern int blocks_asked; /* failed ones included */
extern int blocks_freed;
extern int blocks_dirty; /* freed with a byte that was not zero */

#endif
