// SPDX-License-Identifier: MIT
// The heap under control: failing allocations, and a look at every block that is freed.
// Programs that use it are linked with --wrap=malloc,--wrap=free.
#pragma once

#include <climits>

namespace test {

// Watches the heap while it lives; one at a time.
class heap_watch {
 public:
  // Allocations from number `first_failure` on fail (0 is the first), as many as `failures` says;
  // negative: none does.
  explicit heap_watch(int first_failure = -1, int failures = INT_MAX);
  heap_watch(const heap_watch &) = delete;
  heap_watch &operator=(const heap_watch &) = delete;
  ~heap_watch();

  int allocations() const;    // asked for, failed ones included
  int still_held() const;     // allocated since and not freed
  int freed_unwiped() const;  // freed with a byte that is not zero
};

}  // namespace test
