// SPDX-License-Identifier: MIT
// Arithmetic that costs next to nothing, put by the linker in the place of the exponentiation and of the
// random exponents of the one program that links this: a^e mod n is a + e, if n is odd. So sessions can be
// opened by the hundred thousand, and WAKEs signed as quickly.
#pragma once

#include "support/packets.h"

namespace libsec::test {

// The n-th exponent that the library is given, from 1 on, and how many it has drawn.
bytes cheap_exponent(uint32_t n);
uint32_t cheap_exponents_drawn();

// a + e, 128 bytes.
bytes cheap_power(const bytes &a, const bytes &e);

// The block that decodes to 96 bytes of filling and the digest, under the exponent 65537.
bytes cheap_signature(const bytes &digest, uint8_t filling);

}  // namespace libsec::test
