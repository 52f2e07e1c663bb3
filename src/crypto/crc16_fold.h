// SPDX-License-Identifier: MIT
// Division by the CRC's polynomial P = x^16 + x^12 + x^5 + 1 in whole words, without a table.
//
// Over GF(2) squaring doubles every exponent, so for k = 1, 2, 4, ... P^k = x^16k + x^12k + x^5k + 1.
// P divides P^k, hence modulo P
//
//     x^16k = x^12k + x^5k + 1                                                                  (1)
//
// and all that stands 16k bits higher can be folded down by three additions, that is, exclusive ors.
#pragma once

#include <cstdint>
#include <limits>

namespace libsec {

// The remainder of high * x^w + low in w bits, w = 16k being the width of the word.
//
// With u = w / 16, (1) moves `high` down by 4u bits, by 11u bits and by all 16u. The first two leave a
// rest in the high word, which moves in turn: what moves in all is v = high + v >> 4u + v >> 11u. The
// inverse of 1 + s^4 + s^11 modulo s^16 is 1 + s^4 + s^8 + s^11 + s^12, and there it is.
template <typename word>
constexpr word crc16_fold(word high, word low) {
  constexpr int u = std::numeric_limits<word>::digits / 16;
  const auto v = static_cast<word>(high ^ high >> 4 * u ^ high >> 8 * u ^ high >> 11 * u ^ high >> 12 * u);
  return static_cast<word>(low ^ v ^ v << 12 * u ^ v << 5 * u);
}

static_assert(crc16_fold<uint16_t>(1, 0) == 0x1021);  // x^16 = x^12 + x^5 + 1

// The last four words of a message that is taken in word by word, with all the words before them folded
// in: (1) for 16k = 4w moves a word down by w, by 11w / 4 and by 4w bits. Nothing waits for more than one
// exclusive or, so this keeps a processor busier than crc16_fold() does.
template <typename word>
struct crc16_window {
  word words[4] = {};

  constexpr void take(word next) {
    constexpr int w = std::numeric_limits<word>::digits;
    const word v = words[0];
    words[0] = words[1] ^ v;
    words[1] = words[2] ^ v >> 3 * w / 4;
    words[2] = words[3] ^ v << w / 4;
    words[3] = next ^ v;
  }

  constexpr word folded() const { return crc16_fold(crc16_fold(crc16_fold(words[0], words[1]), words[2]), words[3]); }
};

}  // namespace libsec
