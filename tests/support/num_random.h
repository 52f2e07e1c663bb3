// SPDX-License-Identifier: MIT
// Random operands, spread evenly over limbs and lengths, or preferring the edges: limbs 0, 1, 2^31,
// 2^32 - 1 and runs of them, short numbers, operands that are equal or nearly so. Either way with high zero
// limbs, both signs, zero with and without limbs.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <random>

#include "support/num_values.h"

namespace test {

// How many operand sets of either spread a differential test runs: `usual`, or what LIBSEC_SETS says.
inline int operand_sets(int usual) {
  const char *wanted = std::getenv("LIBSEC_SETS");
  return wanted == nullptr ? usual : std::atoi(wanted);
}

enum class spread { even, edges };

class num_random {
 public:
  explicit num_random(uint32_t seed, spread of = spread::edges) : generator_(seed), even_(of == spread::even) {}

  // 0 to count - 1
  int below(int count) { return static_cast<int>(generator_() % static_cast<uint32_t>(count)); }

  num_limb limb() {
    if (even_) return static_cast<num_limb>(generator_());
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

  // Up to `longest` limbs; where the edges count, mostly few of them.
  int length(int longest) {
    if (even_) return below(longest + 1);
    const int kind = below(10);
    const int limit = kind < 6 ? 6 : kind < 9 ? 40 : longest;
    return below((limit < longest ? limit : longest) + 1);
  }

  limb_list limbs(int count) {
    limb_list value(static_cast<size_t>(count));
    const bool runs = !even_ && below(4) == 0;
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

  // A second operand. Where the edges count, it is often equal to the first, near it, or of its length.
  number near(const num &other, int longest) {
    const int kind = even_ ? 3 : below(6);
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
  bool even_;
};

}  // namespace test
