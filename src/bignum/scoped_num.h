// SPDX-License-Identifier: MIT
// How the family holds its temporaries and passes errors on.
#pragma once

#include <libsec/num.h>

namespace libsec {

// Ends the calling function with the first error code that it meets. An early return is always
// safe, because every temporary is a scoped_num.
#define NUM_TRY(call)                                                                \
  do {                                                                               \
    if (const int32_t num_try_code = (call); num_try_code != 0) return num_try_code; \
  } while (false)

// Wipes and frees X's limbs and leaves the empty record.
void release(num *X);

// A temporary: empty when declared, wiped and freed when it leaves scope.
struct scoped_num : num {
  // cppcheck-suppress uninitDerivedMemberVar ; the base is initialised as a whole
  scoped_num() : num{1, 0, nullptr} {}
  scoped_num(const scoped_num &) = delete;
  scoped_num &operator=(const scoped_num &) = delete;
  ~scoped_num() { release(this); }
};

// A constant of one limb as a source operand. The limb lies inside the object, so nothing is
// allocated and nothing may free it: a type of its own, not a scoped_num.
class one_limb {
 public:
  one_limb(int32_t sign, num_limb magnitude) : limb_{magnitude}, view_{sign, 1, &limb_} {}
  one_limb(const one_limb &) = delete;
  one_limb &operator=(const one_limb &) = delete;

  const num *get() const { return &view_; }

 private:
  num_limb limb_;
  num view_;
};

// |z| without overflow for -2^31, which has no positive counterpart.
constexpr num_limb magnitude_of(int32_t z) {
  return z < 0 ? num_limb{0} - static_cast<num_limb>(z) : static_cast<num_limb>(z);
}

constexpr int32_t sign_of(int32_t z) {
  return z < 0 ? -1 : 1;
}

}  // namespace libsec
