// SPDX-License-Identifier: MIT
// A heap that fails at a chosen allocation, once or from then on, and that knows what it has given out.
#pragma once

#include <algorithm>
#include <cstring>
#include <iterator>

#include "support/calls.h"
#include "support/msan/memory.h"

namespace libsec::test {

enum class how_long { once, from_then_on };
constexpr how_long both_lengths[] = {how_long::once, how_long::from_then_on};

// Hooks malloc(), calloc() and free() while it lives. Only the library's own blocks count: those that are
// asked for while `on` is true.
class failing_heap {
 public:
  static constexpr int never = -1;

  explicit failing_heap(hooked_calls &calls) : calls_(calls) {
    calls_->malloc = [this](size_t length) {
      void *const memory = give(length, 0xA5);
      if (memory != nullptr) count_as_unwritten(memory, length);
      return memory;
    };
    calls_->calloc = [this](size_t count, size_t length) { return give(count * length, 0); };
    calls_->free = [this](void *memory) {
      void **const end = held_ + held_count_;
      void **const found = std::find(held_, end, memory);
      if (memory != nullptr && found != end) *found = held_[--held_count_];
      real_free(memory);
    };
  }
  ~failing_heap() {
    calls_->malloc = nullptr;
    calls_->calloc = nullptr;
    calls_->free = nullptr;
  }
  failing_heap(const failing_heap &) = delete;
  failing_heap &operator=(const failing_heap &) = delete;

  // Lets allocation number `index` of the code fail (0 is the first), then runs the code.
  template <typename F>
  auto run(int index, how_long length, F code) {
    failing_ = index;
    length_ = length;
    asked_ = failed_ = 0;
    struct switch_off {
      bool &on;
      ~switch_off() { on = false; }
    } const at_the_end{on_};
    on_ = true;
    return code();
  }

  bool failed() const { return failed_ != 0; }  // the last run met its failure
  int asked() const { return asked_; }          // allocations of the last run
  int held() const { return held_count_; }      // blocks that were given and not freed

 private:
  void *give(size_t length, int fill) {
    if (!on_) return real_malloc_filled(length, fill);
    const int index = asked_++;
    if (failing_ != never && (index == failing_ || (index > failing_ && length_ == how_long::from_then_on))) {
      ++failed_;
      return nullptr;
    }
    void *memory = real_malloc_filled(length, fill);
    if (memory != nullptr && held_count_ < static_cast<int>(std::size(held_))) held_[held_count_++] = memory;
    return memory;
  }

  // Never zero by luck: what must be cleared is found dirty.
  static void *real_malloc_filled(size_t length, int fill) {
    void *memory = real_malloc(length);
    if (memory != nullptr) std::memset(memory, fill, length);
    return memory;
  }

  hooked_calls &calls_;
  bool on_ = false;
  int failing_ = never;
  how_long length_ = how_long::once;
  int asked_ = 0;
  int failed_ = 0;
  int held_count_ = 0;
  void *held_[4096] = {};  // a plain array: nothing here may allocate
};

}  // namespace libsec::test
