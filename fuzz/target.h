// SPDX-License-Identifier: MIT
// What every fuzz target starts from: the input cut into values, and an end that no one overlooks.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace fuzz {

using bytes = std::vector<uint8_t>;

// Reads values from the front; an input that is used up gives zeros and nothing.
class input {
 public:
  input(const uint8_t *data, size_t size) : at_(data), left_(size) {}

  bool empty() const { return left_ == 0; }
  size_t left() const { return left_; }
  uint8_t byte() {
    if (left_ == 0) return 0;
    --left_;
    return *at_++;
  }
  uint32_t u16() {
    const uint32_t high = byte();
    return high << 8 | byte();
  }
  uint32_t u32() {
    const uint32_t high = u16();
    return high << 16 | u16();
  }
  bytes take(size_t count) {
    count = std::min(count, left_);
    bytes taken(at_, at_ + count);
    at_ += count;
    left_ -= count;
    return taken;
  }
  bytes rest() { return take(left_); }

 private:
  const uint8_t *at_;
  size_t left_;
};

// Ends the program where the library broke a promise.
inline void require(bool kept, const char *promise) {
  if (kept) return;
  std::fprintf(stderr, "broken: %s\n", promise);
  std::abort();
}

// The library's lines go nowhere.
inline void silence() {
  static const bool done = std::freopen("/dev/null", "w", stdout) != nullptr;
  require(done, "standard output can be silenced");
}

}  // namespace fuzz
