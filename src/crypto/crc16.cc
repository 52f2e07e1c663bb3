// SPDX-License-Identifier: MIT
// CRC-16/XMODEM, a byte at a time.
#include <libsec/crypto.h>

#include "crypto/crc16_table.h"

uint32_t crc16_ccitt(const uint8_t *data, int32_t length) {
  uint32_t remainder = 0;
  for (int32_t i = 0; i < length; ++i) remainder = libsec::crc16_step(remainder, data[i]);
  return remainder;
}
