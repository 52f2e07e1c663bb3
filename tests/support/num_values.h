// SPDX-License-Identifier: MIT
// Numbers for tests: a record that frees itself, made and read limb by limb.
#pragma once

#include <libsec/num.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <initializer_list>
#include <ostream>
#include <string>
#include <vector>

namespace test {

using limb_list = std::vector<num_limb>;

inline limb_list limbs_of(const num &X) {
  return X.limb_count == 0 ? limb_list() : limb_list(X.limbs, X.limbs + X.limb_count);
}

// A record with exactly the given limbs allocated, least significant first.
struct number : num {
  number() { num_init(this, static_cast<num *>(nullptr)); }
  number(int32_t of_sign, const limb_list &of_limbs) : number() {
    sign = of_sign;
    limb_count = static_cast<int32_t>(of_limbs.size());
    if (of_limbs.empty()) return;
    limbs = static_cast<num_limb *>(std::malloc(of_limbs.size() * sizeof(num_limb)));
    std::copy(of_limbs.begin(), of_limbs.end(), limbs);
  }
  explicit number(int32_t z) : number() { (void)num_lset(this, z); }
  explicit number(const num &other) : number(other.sign, limbs_of(other)) {}
  number(const number &other) : number(other.sign, limbs_of(other)) {}
  number(number &&other) noexcept : number() { num_swap(this, &other); }
  number &operator=(number other) {
    num_swap(this, &other);
    return *this;
  }
  ~number() { num_free(this, static_cast<num *>(nullptr)); }
};

// From hexadecimal digits, most significant first, with no more limbs than they need.
inline number from_hex(const std::string &digits) {
  limb_list value((digits.size() + 7) / 8, 0);
  for (size_t i = 0; i < digits.size(); ++i) {
    const auto digit = static_cast<num_limb>(std::stoul(digits.substr(digits.size() - 1 - i, 1), nullptr, 16));
    value[i / 8] |= digit << (4 * (i % 8));
  }
  return number(1, value);
}

// The magnitude without high zero limbs.
inline limb_list significant(const num &X) {
  limb_list value = limbs_of(X);
  while (!value.empty() && value.back() == 0) value.pop_back();
  return value;
}

}  // namespace test
