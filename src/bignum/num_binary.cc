// SPDX-License-Identifier: MIT
// Numbers as big-endian bytes.
#include <libsec/num.h>

#include <cstring>

#include "bignum/limbs.h"
#include "bignum/scoped_num.h"

using namespace libsec;

int32_t num_read_binary(num *X, const uint8_t *bytes, int32_t length) {
  if (length < 0) return NUM_ERR_ALLOC_FAILED;
  int32_t skipped = 0;
  while (skipped < length && bytes[skipped] == 0) ++skipped;
  const int32_t count = length - skipped;
  NUM_TRY(num_grow(X, count / 4 + (count % 4 != 0 ? 1 : 0)));
  NUM_TRY(num_lset(X, 0));
  for (int32_t j = 0; j < count; ++j) {
    X->limbs[j / 4] |= static_cast<num_limb>(bytes[length - 1 - j]) << (8 * (j % 4));
  }
  return 0;
}

int32_t num_write_binary(const num *X, uint8_t *bytes, int32_t length) {
  const int32_t count = num_size(X);
  if (length < count) return NUM_ERR_BUFFER_TOO_SMALL;
  if (length > 0) std::memset(bytes, 0, static_cast<size_t>(length));
  for (int32_t j = 0; j < count; ++j) {
    bytes[length - 1 - j] = static_cast<uint8_t>(X->limbs[j / 4] >> (8 * (j % 4)));
  }
  return 0;
}
