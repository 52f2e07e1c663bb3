// SPDX-License-Identifier: MIT
#include "support/heap.h"

#include <cstddef>

#include "support/msan/memory.h"

extern "C" {
void *__real_malloc(size_t size);
void __real_free(void *block);
void *__wrap_malloc(size_t size);
void __wrap_free(void *block);
}

namespace {

struct block {
  unsigned char *start;
  size_t size;
};

bool watching = false;
int first_failing = -1;
int failing = 0;
int asked = 0;
int unwiped = 0;
int held_count = 0;
block held[4096];  // a plain array: nothing here may allocate

// Never zero by luck: what must be cleared is found dirty.
unsigned char *dirty(void *memory, size_t size) {
  auto *const start = static_cast<unsigned char *>(memory);
  if (start == nullptr) return nullptr;
  for (size_t i = 0; i < size; ++i) start[i] = 0xa5;
  libsec::test::count_as_unwritten(start, size);
  return start;
}

}  // namespace

void *__wrap_malloc(size_t size) {
  if (!watching) return dirty(__real_malloc(size), size);
  const int index = asked++;
  if (first_failing >= 0 && index >= first_failing && index - first_failing < failing) return nullptr;
  auto *const start = dirty(__real_malloc(size), size);
  if (start != nullptr && held_count < 4096) held[held_count++] = {start, size};
  return start;
}

void __wrap_free(void *memory) {
  if (watching) {
    for (int i = 0; i < held_count; ++i) {
      if (held[i].start != memory) continue;
      bool clean = true;
      for (size_t byte = 0; byte < held[i].size; ++byte) clean = clean && held[i].start[byte] == 0;
      if (!clean) ++unwiped;
      held[i] = held[--held_count];
      break;
    }
  }
  __real_free(memory);
}

namespace test {

heap_watch::heap_watch(int first_failure, int failures) {
  first_failing = first_failure;
  failing = failures;
  asked = unwiped = held_count = 0;
  watching = true;
}

heap_watch::~heap_watch() {
  watching = false;
}

int heap_watch::allocations() const {
  return asked;
}

int heap_watch::still_held() const {
  return held_count;
}

int heap_watch::freed_unwiped() const {
  return unwiped;
}

}  // namespace test
