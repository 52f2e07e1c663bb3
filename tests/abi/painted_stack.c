/* SPDX-License-Identifier: MIT */
#include "painted_stack.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>

enum { stack_bytes = 512 * 1024, paint = 0xc3 };

static void must(int ok, const char *what) {
  if (ok) return;
  printf("FAILED: %s\n", what);
  exit(1);
}

void painted_start(struct painted_stack *stack, void *(*body)(void *), void *argument) {
  pthread_attr_t attributes;
  stack->memory = mmap(NULL, stack_bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  must(stack->memory != MAP_FAILED, "memory for a stack");
  memset(stack->memory, paint, stack_bytes);
  pthread_attr_init(&attributes);
  must(pthread_attr_setstack(&attributes, stack->memory, stack_bytes) == 0, "a stack of our own");
  must(pthread_create(&stack->thread, &attributes, body, argument) == 0, "a thread");
  pthread_attr_destroy(&attributes);
}

static size_t joined(struct painted_stack *stack) {
  size_t untouched = 0;
  pthread_join(stack->thread, NULL);
  while (untouched < stack_bytes && stack->memory[untouched] == paint) untouched++;
  munmap(stack->memory, stack_bytes);
  return stack_bytes - untouched;
}

static void *nothing(void *argument) {
  return argument;
}

size_t painted_end(struct painted_stack *stack) {
  /* The C library keeps the thread's control block on the same memory. */
  static size_t own_share;
  if (own_share == 0) {
    struct painted_stack empty;
    painted_start(&empty, nothing, NULL);
    own_share = joined(&empty);
  }
  return joined(stack) - own_share;
}
