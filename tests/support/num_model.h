// SPDX-License-Identifier: MIT
// A model of the number family that fixes, beside the values, which limbs are allocated and which
// sign a zero carries. It is slow and plain on purpose: vectors, one bit or half a limb at a time,
// no code shared with the library.
#pragma once

#include <algorithm>
#include <cstdint>

#include "support/num_operands.h"
#include "support/num_values.h"

namespace test {

struct model {
  int32_t sign = 1;
  limb_list limbs;

  model() = default;
  model(int32_t of_sign, limb_list of_limbs) : sign(of_sign), limbs(std::move(of_limbs)) {}
  explicit model(const num &X) : sign(X.sign), limbs(limbs_of(X)) {}

  bool operator==(const num &X) const { return sign == X.sign && limbs == limbs_of(X); }

  // Significant limbs.
  size_t length() const {
    size_t n = limbs.size();
    while (n > 0 && limbs[n - 1] == 0) --n;
    return n;
  }
  bool zero() const { return length() == 0; }
  num_limb at(size_t i) const { return i < limbs.size() ? limbs[i] : 0; }
  bool bit(size_t i) const { return (at(i / 32) >> (i % 32) & 1) != 0; }
  size_t bits() const {
    size_t n = 32 * length();
    while (n > 0 && !bit(n - 1)) --n;
    return n;
  }

  void grow(size_t n) {
    if (limbs.size() < n) limbs.resize(n, 0);
  }
  // Takes over a value and a sign as an assignment does: only significant limbs need room.
  void assign(int32_t of_sign, const model &value) {
    const limb_list significant(value.limbs.begin(), value.limbs.begin() + static_cast<long>(value.length()));
    grow(std::max(significant.size(), std::min(value.limbs.size(), size_t{1})));
    std::fill(limbs.begin(), limbs.end(), 0);
    std::copy(significant.begin(), significant.end(), limbs.begin());
    sign = of_sign;
  }
};

inline int compare_magnitudes(const model &a, const model &b) {
  for (size_t i = 32 * std::max(a.length(), b.length()); i-- > 0;) {
    if (a.bit(i) != b.bit(i)) return a.bit(i) ? 1 : -1;
  }
  return 0;
}

// Y's sign counts only when both have the same number of significant limbs.
inline int compare(const model &x, const model &y) {
  if (x.zero() && y.zero()) return 0;
  if (x.length() > y.length()) return x.sign;
  if (x.length() < y.length()) return -x.sign;
  if (x.sign != y.sign) return x.sign;
  return x.sign * compare_magnitudes(x, y);
}

inline model shifted_left(model x, size_t count) {
  const model old = x;
  x.grow((old.bits() + count + 31) / 32);
  for (size_t i = 0; i < x.limbs.size(); ++i) {
    num_limb value = 0;
    for (size_t b = 0; b < 32; ++b) {
      const size_t to = 32 * i + b;
      if (to >= count && old.bit(to - count)) value |= num_limb{1} << b;
    }
    x.limbs[i] = value;
  }
  return x;
}

inline model shifted_right(model x, size_t count) {
  const model old = x;
  for (size_t i = 0; i < x.limbs.size(); ++i) {
    num_limb value = 0;
    for (size_t b = 0; b < 32; ++b) value |= num_limb{old.bit(32 * i + b + count)} << b;
    x.limbs[i] = value;
  }
  return x;
}

// x += |b|. The carry that leaves b's length is added to one position until x has to grow there.
inline void add_magnitude(model &x, const model &b) {
  const size_t n = b.length();
  x.grow(n);
  uint64_t carry = 0;
  for (size_t i = 0; i < n; ++i) {
    carry += uint64_t{x.limbs[i]} + b.limbs[i];
    x.limbs[i] = static_cast<num_limb>(carry);
    carry >>= 32;
  }
  size_t position = n;
  for (size_t i = n; carry != 0; ++i) {
    if (i >= x.limbs.size()) {
      x.grow(i + 1);
      position = i;
    }
    carry = ++x.limbs[position] == 0 ? 1 : 0;
  }
}

// x -= |b|, for |x| >= |b|
inline void subtract_magnitude(model &x, const model &b) {
  int64_t borrow = 0;
  for (size_t i = 0; i < x.limbs.size(); ++i) {
    const int64_t difference = int64_t{x.limbs[i]} - b.at(i) - borrow;
    x.limbs[i] = static_cast<num_limb>(difference);
    borrow = difference < 0 ? 1 : 0;
  }
}

// x = |a| + |b|; `old` is what x held.
inline model sum_of_magnitudes(const model &old, const model &a, const model &b, same alias) {
  model x = old;
  if (alias == same::none) x.assign(a.sign, a);
  add_magnitude(x, alias == same::second ? a : b);
  return x;
}

inline model difference_of_magnitudes(const model &old, const model &a, const model &b, same alias) {
  model x = old;
  if (alias == same::none || alias == same::second) x.assign(a.sign, a);
  subtract_magnitude(x, b);
  return x;
}

// x = a + b for direction 1, a - b for direction -1
inline model signed_sum(const model &old, const model &a, const model &b, int direction, same alias) {
  model x;
  if (a.sign * b.sign * direction > 0) {
    x = sum_of_magnitudes(old, a, b, alias);
    x.sign = a.sign;
  } else if (compare_magnitudes(a, b) >= 0) {
    x = difference_of_magnitudes(old, a, b, alias);
    x.sign = a.sign;
  } else {
    const same turned = alias == same::first ? same::second : alias == same::second ? same::first : alias;
    x = difference_of_magnitudes(old, b, a, turned);
    x.sign = -a.sign;
  }
  return x;
}

inline model product(const model &old, const model &a, const model &b) {
  model x(a.sign * b.sign, limb_list(std::max({old.limbs.size(), a.length() + b.length(), size_t{1}}), 0));
  for (size_t i = 0; i < a.length(); ++i) {
    uint64_t carry = 0;
    for (size_t j = 0; j < b.length(); ++j) {
      carry += uint64_t{a.limbs[i]} * b.limbs[j] + x.limbs[i + j];
      x.limbs[i + j] = static_cast<num_limb>(carry);
      carry >>= 32;
    }
    if (carry != 0) x.limbs[i + b.length()] = static_cast<num_limb>(carry);
  }
  return x;
}

// Bit by bit: quotient and remainder of magnitudes, both positive.
inline void divide_magnitudes(const model &a, const model &b, model &quotient, model &rest) {
  quotient = model(1, limb_list(std::max(a.limbs.size(), size_t{1}), 0));
  rest = model(1, limb_list(b.length() + 1, 0));
  for (size_t i = a.bits(); i-- > 0;) {
    for (size_t k = rest.limbs.size(); k-- > 0;)
      rest.limbs[k] = rest.limbs[k] << 1 | (k > 0 ? rest.limbs[k - 1] >> 31 : 0);
    rest.limbs[0] |= a.bit(i) ? 1 : 0;
    if (compare_magnitudes(rest, b) >= 0) {
      subtract_magnitude(rest, b);
      quotient.limbs[i / 32] |= num_limb{1} << (i % 32);
    }
  }
}

// For b not zero; q and r are what the records held before.
inline void divide(model &q, model &r, const model &a, const model &b) {
  if (compare_magnitudes(a, b) < 0) {
    r.assign(a.sign, a);
    q.assign(1, model(1, {0}));
    return;
  }
  model quotient, rest;
  divide_magnitudes(a, b, quotient, rest);
  const int32_t quotient_sign = a.sign * b.sign;
  const int32_t rest_sign = rest.zero() ? 1 : a.sign;
  q.assign(quotient_sign, quotient);
  r.assign(rest_sign, rest);
}

// For b positive; r is what the record held before.
inline void modulo(model &r, const model &a, const model &b) {
  model unused;
  divide(unused, r, a, b);
  if (r.zero()) r.sign = 1;
  if (r.sign < 0) {
    r.assign(1, difference_of_magnitudes(model(), b, r, same::none));
    r.grow(b.length());
  }
}

}  // namespace test
