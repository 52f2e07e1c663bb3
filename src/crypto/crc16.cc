// SPDX-License-Identifier: MIT
// CRC-16/XMODEM: the remainder of the message times x^16.
#include <libsec/crypto.h>

#include <type_traits>

#include "base/bytes.h"
#include "crypto/crc16_fold.h"

namespace {

using word = std::conditional_t<sizeof(void *) == 8, uint64_t, uint32_t>;

word load_word(const uint8_t *bytes) {
  if constexpr (sizeof(word) == 8) {
    return word{libsec::load_be32(bytes)} << 32 | libsec::load_be32(bytes + 4);
  } else {
    return libsec::load_be32(bytes);
  }
}

// Halves a word until 16 bits are left, then multiplies by x^16.
uint32_t finish(word folded) {
  if constexpr (sizeof(word) == 8) {
    folded = libsec::crc16_fold(static_cast<uint32_t>(folded >> 32), static_cast<uint32_t>(folded));
  }
  const uint16_t remainder = libsec::crc16_fold(static_cast<uint16_t>(folded >> 16), static_cast<uint16_t>(folded));
  return libsec::crc16_fold(remainder, uint16_t{0});
}

}  // namespace

uint32_t crc16_ccitt(const uint8_t *data, int32_t length) {
  if (length <= 0) return 0;
  const uint8_t *const end = data + length;
  // Leading zeros do not change a remainder, so the odd bytes go first, as if zeros stood before them.
  word first = 0;
  for (auto odd = static_cast<size_t>(length) % sizeof(word); odd != 0; --odd) first = first << 8 | *data++;
  libsec::crc16_window<word> window;
  window.take(first);
  for (; data != end; data += sizeof(word)) window.take(load_word(data));
  return finish(window.folded());
}
