// SPDX-License-Identifier: MIT
// What the differential tests of numbers run over.
#pragma once

#include <gtest/gtest.h>

#include "support/num_random.h"
#include "support/num_values.h"

namespace test {

// Of either spread; fewer where a sanitizer or an emulator makes each of them slow.
#ifdef LIBSEC_USUAL_SETS
constexpr int usual_sets = LIBSEC_USUAL_SETS;
#else
constexpr int usual_sets = 20000;
#endif

// Calls body(random) for each set of operands: first evenly spread ones, then ones that prefer the edges.
template <typename test_body>
void for_operand_sets(uint32_t seed, test_body body) {
  for (const spread of : {spread::even, spread::edges}) {
    num_random random(seed, of);
    const int sets = operand_sets(usual_sets);
    for (int set = 0; set < sets; ++set) {
      body(random);
      if (!testing::Test::HasFatalFailure()) continue;
      ADD_FAILURE() << (of == spread::even ? "evenly spread" : "edge") << " operands, set " << set;
      return;
    }
  }
}

// Where a destination stands among the sources.
enum class same { none, first, second, both };

// A destination and two sources: three records, or fewer.
struct operands {
  number x, a, b;
  num *to = &x;
  const num *first = &a, *second = &b;

  operands(num_random &random, int longest)
      : x(random.any(longest)), a(random.any(longest)), b(random.near(a, longest)) {
    switch (random.below(6)) {
      case 0:
        to = &a;
        break;
      case 1:
        to = &b;
        break;
      case 2:
        second = &a;
        break;
      case 3:
        to = &a;
        second = &a;
        break;
      default:
        break;
    }
  }
  operands(const operands &) = delete;
  operands &operator=(const operands &) = delete;

  same alias() const {
    if (to == first) return to == second ? same::both : same::first;
    return to == second ? same::second : same::none;
  }
};

}  // namespace test
