/* SPDX-License-Identifier: MIT
 *
 * The program's heap, in place of the C library's, so that what a library holds can be counted. Blocks
 * come from one arena and go back to a list of their size class; nothing is ever merged.
 */
#include "heap.h"

#include <pthread.h>
#include <string.h>

enum { classes = 24, arena_bytes = 8 << 20 };

/* In front of every block; as large as the strictest alignment. */
union header {
  struct {
    size_t asked;
    unsigned class_of;
    union header *next;
  } is;
  long double alignment[2];
};

static union header arena[arena_bytes / sizeof(union header)];
static size_t used;
static union header *freed[classes];
static size_t live, peak;
static pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;

void *malloc(size_t size) {
  union header *block = NULL;
  unsigned class_of = 0;
  size_t units;
  while (class_of < classes && ((size_t)16 << class_of) < size) class_of++;
  if (class_of == classes) return NULL;
  units = 1 + (((size_t)16 << class_of) + sizeof *block - 1) / sizeof *block;

  pthread_mutex_lock(&lock);
  if (freed[class_of]) {
    block = freed[class_of];
    freed[class_of] = block->is.next;
  } else if (units <= sizeof arena / sizeof *arena - used) {
    block = arena + used;
    used += units;
  }
  if (block) {
    block->is.asked = size;
    block->is.class_of = class_of;
    live += size;
    if (live > peak) peak = live;
  }
  pthread_mutex_unlock(&lock);
  return block ? block + 1 : NULL;
}

void free(void *memory) {
  union header *block = memory;
  if (!memory) return;
  block--;
  pthread_mutex_lock(&lock);
  live -= block->is.asked;
  block->is.next = freed[block->is.class_of];
  freed[block->is.class_of] = block;
  pthread_mutex_unlock(&lock);
}

void *calloc(size_t count, size_t size) {
  void *memory;
  if (size && count > (size_t)-1 / size) return NULL;
  memory = malloc(count * size);
  return memory ? memset(memory, 0, count * size) : NULL;
}

void *realloc(void *memory, size_t size) {
  void *moved = malloc(size);
  if (moved && memory) {
    const size_t before = ((union header *)memory - 1)->is.asked;
    memcpy(moved, memory, before < size ? before : size);
    free(memory);
  }
  return moved;
}

size_t heap_live(void) {
  return live;
}
size_t heap_peak(void) {
  return peak;
}
