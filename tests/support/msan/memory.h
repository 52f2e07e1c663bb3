// SPDX-License-Identifier: MIT
// What MemorySanitizer is told about memory, so that a test's part in it makes the sanitizer neither blind nor
// wrong. Nothing in other builds. Not for what the library has written: there is nothing to tell about that.
#pragma once

#include <cstddef>

#if defined(__has_feature)
#if __has_feature(memory_sanitizer)
#define LIBSEC_TEST_MSAN 1
#include <sanitizer/msan_interface.h>
#endif
#endif

namespace libsec::test {

#ifdef LIBSEC_TEST_MSAN

// A test has filled the memory that it hands out; for the code under test nothing is written there.
inline void count_as_unwritten(const void *start, size_t length) {
  __msan_allocated_memory(start, length);
}

// The code under test passes this on. Reported here, since the system does not look, nor may a hook in its place.
inline void must_be_written(const void *start, size_t length) {
  if (start != nullptr) __msan_check_mem_is_initialized(start, length);
}

// While it lives, another library, which the sanitizer has not compiled, may pass what it wrote itself to the C
// library.
class other_library {
 public:
  other_library() { __msan_scoped_disable_interceptor_checks(); }
  ~other_library() { __msan_scoped_enable_interceptor_checks(); }
  other_library(const other_library &) = delete;
  other_library &operator=(const other_library &) = delete;

  // What it has written for the test.
  static void wrote(const void *start, size_t length) { __msan_unpoison(start, length); }
};

#else

inline void count_as_unwritten(const void * /*start*/, size_t /*length*/) {}
inline void must_be_written(const void * /*start*/, size_t /*length*/) {}

struct other_library {
  other_library() {}  // so that an object counts as used
  static void wrote(const void * /*start*/, size_t /*length*/) {}
};

#endif

}  // namespace libsec::test
