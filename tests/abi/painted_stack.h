/* SPDX-License-Identifier: MIT
 *
 * Runs a function on a stack of its own that was painted before, to see how deep it went.
 */
#ifndef LIBSEC_TESTS_ABI_PAINTED_STACK_H
#define LIBSEC_TESTS_ABI_PAINTED_STACK_H

#include <pthread.h>
#include <stddef.h>

struct painted_stack {
  unsigned char *memory;
  pthread_t thread;
};

/* Starts body(argument) on a fresh painted stack. */
void painted_start(struct painted_stack *stack, void *(*body)(void *), void *argument);

/* Waits for its end and returns how many bytes it used, the thread's own share taken off. */
size_t painted_end(struct painted_stack *stack);

#endif
