// SPDX-License-Identifier: MIT
// The Diffie-Hellman private exponent.
#include <libsec/crypto.h>
#include <libsec/session.h>

#include "base/bytes.h"

int32_t session_generate_random(security_session *session, uint32_t length) {
  libsec::wiped<uint8_t[255]> bytes;
  const uint32_t count = length & 0xFFFF;
  if (count > sizeof bytes.value) return -1;
  {
    // A fresh generator for every exponent, and 37 KB of stack only for as long as it is needed.
    libsec::wiped<havege_context> generator;
    havege_init(&generator.value);
    for (uint32_t i = 0; i < count; ++i) bytes.value[i] = static_cast<uint8_t>(havege_rand(&generator.value));
  }
  num *x = &session->x;
  const int32_t result = num_read_binary(x, bytes.value, static_cast<int32_t>(count));
  if (result != 0) return result;
  // A prime of zero would never be undercut: nothing is smaller than zero.
  while (num_cmp_num(x, &session->p) >= 0 && num_msb(x) != 0) num_shift_r(x, 1);
  // Deliberate: the exponent is all of the random bytes, whether or not they exceed the prime.
  return num_read_binary(x, bytes.value, static_cast<int32_t>(count));
}
