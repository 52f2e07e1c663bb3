/* SPDX-License-Identifier: MIT
 *
 * Known answers are written as lower-case hex digits.
 */
#ifndef LIBSEC_TESTS_ABI_HEX_H
#define LIBSEC_TESTS_ABI_HEX_H

#include <stdint.h>
#include <stdio.h>
#include <string.h>

static inline void bytes_of_hex(const char *hex, uint8_t *bytes) {
  unsigned byte;
  for (; sscanf(hex, "%2x", &byte) == 1; hex += 2) *bytes++ = (uint8_t)byte;
}

static inline int equals_hex(const uint8_t *bytes, size_t length, const char *hex) {
  char digits[3];
  size_t i;
  if (strlen(hex) != 2 * length) return 0;
  for (i = 0; i < length; i++) {
    snprintf(digits, sizeof digits, "%02x", bytes[i]);
    if (memcmp(digits, hex + 2 * i, 2) != 0) return 0;
  }
  return 1;
}

#endif
