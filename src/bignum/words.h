// SPDX-License-Identifier: MIT
// The machine's own word for long calculations: limbs are 32 bits wide everywhere, but a 64-bit
// machine multiplies and divides twice that at once.
#pragma once

#include <libsec/num.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "base/bytes.h"
#include "bignum/limbs.h"

namespace libsec {

template <typename word>
struct wide;

template <>
struct wide<uint32_t> {
  using type = uint64_t;
};

#ifdef __SIZEOF_INT128__
__extension__ typedef unsigned __int128 uint128;

template <>
struct wide<uint64_t> {
  using type = uint128;
};

using native_word = uint64_t;
#else
using native_word = uint32_t;
#endif

// The type that holds the product of two words.
template <typename word>
using wide_t = typename wide<word>::type;

template <typename word>
constexpr int32_t bits_of = static_cast<int32_t>(8 * sizeof(word));

template <typename word>
constexpr int32_t limbs_per_word = bits_of<word> / limb_bits;

template <typename word>
constexpr int32_t words_for(int32_t limb_count) {
  return limb_count / limbs_per_word<word> + (limb_count % limbs_per_word<word> != 0 ? 1 : 0);
}

// `count` objects on the heap, wiped and freed when the block leaves scope. They start with
// indeterminate values; get() is null when there is no memory.
template <typename T>
class wiped_block {
 public:
  explicit wiped_block(size_t count)
      : size_{count * sizeof(T)},
        objects_{count > PTRDIFF_MAX / sizeof(T) ? nullptr : static_cast<T *>(std::malloc(size_))} {}
  wiped_block(const wiped_block &) = delete;
  wiped_block &operator=(const wiped_block &) = delete;
  ~wiped_block() {
    if (objects_ == nullptr) return;
    secure_zero(objects_, size_);
    std::free(objects_);
  }

  T *get() const { return objects_; }

 private:
  size_t size_;
  T *objects_;
};

// A word in limbs, put together by value: the result depends neither on the byte order nor on the array's
// alignment. Where the byte order allows, the compiler makes one load or store of it. (Shifts by half a word are
// defined for words of one limb too, where analyzers look at them.)
template <typename word>
constexpr word load_word(const num_limb *limbs) {
  if constexpr (limbs_per_word<word> == 1) {
    return limbs[0];
  } else {
    return limbs[0] | word{limbs[1]} << bits_of<word> / 2;
  }
}

template <typename word>
constexpr void store_word(num_limb *limbs, word value) {
  limbs[0] = static_cast<num_limb>(value);
  if constexpr (limbs_per_word<word> == 2) limbs[1] = static_cast<num_limb>(value >> bits_of<word> / 2);
}

// Word `index` of the number in `count` limbs; limbs beyond the last one read as zero.
template <typename word>
constexpr word word_at(const num_limb *limbs, int32_t count, int32_t index) {
  num_limb parts[limbs_per_word<word>] = {};
  for (int32_t part = 0; part < limbs_per_word<word>; ++part) {
    const int32_t i = index * limbs_per_word<word> + part;
    if (i < count) parts[part] = limbs[i];
  }
  return load_word<word>(parts);
}

// Limb `index` of the number in an array of words.
template <typename word>
constexpr num_limb limb_at(const word *words, int32_t index) {
  return static_cast<num_limb>(words[index / limbs_per_word<word>] >> (limb_bits * (index % limbs_per_word<word>)));
}

}  // namespace libsec
