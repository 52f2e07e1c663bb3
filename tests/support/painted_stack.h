// SPDX-License-Identifier: MIT
// Runs code on a stack of its own, and shows what it left there.
#pragma once

#include <gtest/gtest.h>
#include <pthread.h>
#include <stdlib.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "support/msan/memory.h"

#if defined(__SANITIZE_ADDRESS__)
#define LIBSEC_TEST_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define LIBSEC_TEST_ASAN 1
#endif
#endif

namespace libsec::test {

class painted_stack {
 public:
  static constexpr uint8_t paint = 0xC3;
  static constexpr size_t size = 1 << 20;

  // Runs code() to its end.
  template <typename F>
  explicit painted_stack(F code) {
    void *memory = nullptr;
    EXPECT_EQ(posix_memalign(&memory, 4096, size), 0);
    std::memset(memory, paint, size);
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    EXPECT_EQ(pthread_attr_setstack(&attributes, memory, size), 0);
    pthread_t thread;
    const auto run = [](void *closure) -> void * {
      (*static_cast<F *>(closure))();
      return nullptr;
    };
    EXPECT_EQ(pthread_create(&thread, &attributes, run, &code), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
    copy_out(static_cast<const uint8_t *>(memory));
    free(memory);
  }

  // Bytes from the deepest one that was written up to the top, the thread's own data included.
  size_t used() const { return left_.size(); }

  // How many bytes were written and are not zero now.
  size_t not_zero() const {
    size_t count = 0;
    for (const uint8_t byte : left_) count += byte != paint && byte != 0;
    return count;
  }

  // Whether any `length` of the bytes in a row, forwards or backwards, are still there.
  bool holds_piece_of(const std::vector<uint8_t> &whole, size_t length) const {
    const std::vector<uint8_t> reversed(whole.rbegin(), whole.rend());
    for (size_t at = 0; at + length <= whole.size(); ++at) {
      if (contains(whole.data() + at, length) || contains(reversed.data() + at, length)) return true;
    }
    return false;
  }

  // How many of the `count` words that are not small are still there, each as the machine stores it.
  template <typename word>
  size_t words_held(const word *words, size_t count) const {
    size_t held = 0;
    for (size_t i = 0; i < count; ++i) {
      held += words[i] >> 16 != 0 && contains(reinterpret_cast<const uint8_t *>(words + i), sizeof(word));
    }
    return held;
  }

 private:
#if defined(LIBSEC_TEST_ASAN)
  // The sanitizer may still guard what was a frame.
  __attribute__((no_sanitize("address")))
#elif defined(LIBSEC_TEST_MSAN)
  // To look at what nobody wrote is the point.
  __attribute__((no_sanitize("memory")))
#endif
  void
  copy_out(const uint8_t *memory) {
    volatile const uint8_t *from = memory;
    size_t untouched = 0;
    while (untouched < size && from[untouched] == paint) ++untouched;
    left_.resize(size - untouched);
    for (size_t i = 0; i < left_.size(); ++i) left_.data()[i] = from[untouched + i];
  }

  bool contains(const uint8_t *piece, size_t length) const {
    return memmem(left_.data(), left_.size(), piece, length) != nullptr;
  }

  std::vector<uint8_t> left_;  // from the deepest byte that was written up to the top
};

}  // namespace libsec::test
