// SPDX-License-Identifier: MIT
// Random operands that prefer the edges: limbs 0, 1, 2^31, 2^32 - 1 and runs of them, high zero
// limbs, both signs, zero with and without limbs.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <random>

#include "support/num_values.h"

namespace test {

// How many operand sets a differential test runs: `usual`, or what LIBSEC_SETS says.
inline int operand_sets(int usual) {
  const char *wanted = std::getenv("LIBSEC_SETS");
  return wanted == nullptr ? usual : std::atoi(wanted);
}

class num_random {
 public:
  explicit num_random(uint32_t seed) : generator_(seed) {}

  // 0 to count - 1
  int below(int count) { return static_cast<int>(generator_() % static_cast<uint32_t>(count)); }

  num_limb limb() {
    switch (below(10)) {
      case 0:
        return 0;
      case 1:
        return 1;
      case 2:
        return 0x80000000;
      case 3:
        return 0xffffffff;
      case 4:
        return num_limb{1} << below(32);
      default:
        return static_cast<num_limb>(generator_());
    }
  }

  // Mostly short; up to `longest` limbs.
  int length(int longest) {
    const int kind = below(10);
    const int limit = kind < 6 ? 6 : kind < 9 ? 40 : longest;
    return below((limit < longest ? limit : longest) + 1);
  }

  limb_list limbs(int count) {
    limb_list value(static_cast<size_t>(count));
    const bool runs = below(4) == 0;
    num_limb same = limb();
    for (num_limb &one : value) {
      if (!runs || below(4) == 0) same = limb();
      one = same;
    }
    return value;
  }

  // Any number: `longest` limbs at most, and in a third of the cases one to three zero limbs more.
  number any(int longest) {
    limb_list value = limbs(length(longest));
    if (below(3) == 0) value.resize(value.size() + 1 + static_cast<size_t>(below(3)), 0);
    return number(below(2) == 0 ? 1 : -1, value);
  }

  // A second operand: often equal to the first, near it, or of the same length.
  number near(const num &other, int longest) {
    const int kind = below(6);
    if (kind > 2) return any(longest);
    number value(other);
    if (below(2) == 0) value.sign = -value.sign;
    if (kind == 1 && value.limb_count > 0) value.limbs[below(value.limb_count)] ^= num_limb{1} << below(32);
    if (kind == 2) {
      for (int i = 0; i < value.limb_count; ++i) value.limbs[i] = limb();
    }
    return value;
  }

 private:
  std::mt19937 generator_;
};

}  // namespace test
