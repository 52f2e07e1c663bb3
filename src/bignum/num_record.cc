// SPDX-License-Identifier: MIT
// The number record: its life, its room and its plain assignments.
#include <libsec/num.h>

#include <cstdarg>
#include <cstdlib>
#include <cstring>

#include "base/bytes.h"
#include "bignum/limbs.h"
#include "bignum/scoped_num.h"

namespace libsec {
namespace {

size_t byte_size(int32_t limb_count) {
  return static_cast<size_t>(limb_count) * sizeof(num_limb);
}

void clear_limbs(num *X) {
  if (X->limb_count > 0) std::memset(X->limbs, 0, byte_size(X->limb_count));
}

// Limbs hold key material: no array goes back to the heap with its contents.
void wipe_and_free_limbs(num *X) {
  if (X->limbs == nullptr) return;
  secure_zero(X->limbs, byte_size(X->limb_count));
  std::free(X->limbs);
}

}  // namespace

void release(num *X) {
  wipe_and_free_limbs(X);
  *X = {1, 0, nullptr};
}

}  // namespace libsec

using namespace libsec;

int32_t num_init(num *first, ...) {
  va_list rest;
  va_start(rest, first);
  for (num *X = first; X != nullptr; X = va_arg(rest, num *)) *X = {1, 0, nullptr};
  va_end(rest);
  return 0;
}

int32_t num_free(num *first, ...) {
  va_list rest;
  va_start(rest, first);
  for (num *X = first; X != nullptr; X = va_arg(rest, num *)) release(X);
  va_end(rest);
  return 0;
}

int32_t num_grow(num *X, int32_t limb_count) {
  if (X->limb_count >= limb_count) return 0;
  // No object is larger than PTRDIFF_MAX bytes; on 32-bit machines the byte size itself could wrap.
  if (static_cast<size_t>(limb_count) > PTRDIFF_MAX / sizeof(num_limb)) return NUM_ERR_ALLOC_FAILED;
  auto *limbs = static_cast<num_limb *>(std::malloc(byte_size(limb_count)));
  if (limbs == nullptr) return NUM_ERR_ALLOC_FAILED;
  if (X->limb_count > 0) std::memcpy(limbs, X->limbs, byte_size(X->limb_count));
  std::memset(limbs + X->limb_count, 0, byte_size(limb_count - X->limb_count));
  wipe_and_free_limbs(X);
  X->limbs = limbs;
  X->limb_count = limb_count;
  return 0;
}

int32_t num_copy(num *X, const num *Y) {
  if (X == Y) return 0;
  // A zero that has limbs still counts as one limb, so that its copy has one to read.
  int32_t count = top_limb(Y) + 1;
  if (count == 0 && Y->limb_count > 0) count = 1;
  X->sign = Y->sign;
  NUM_TRY(num_grow(X, count));
  clear_limbs(X);
  if (count > 0) std::memcpy(X->limbs, Y->limbs, byte_size(count));
  return 0;
}

int32_t num_swap(num *X, num *Y) {
  const num kept = *X;
  *X = *Y;
  *Y = kept;
  return 0;
}

int32_t num_lset(num *X, int32_t z) {
  NUM_TRY(num_grow(X, 1));
  clear_limbs(X);
  X->limbs[0] = magnitude_of(z);
  X->sign = sign_of(z);
  return 0;
}
