// SPDX-License-Identifier: MIT
// XTEA and CRC-16 of the fake device: tabulated as a device does it, and not the code under test.
#pragma once

#include <stddef.h>

#include <cstdint>
#include <vector>

namespace fake {

using bytes = std::vector<uint8_t>;

uint16_t table_crc(const uint8_t *from, size_t length);
void xtea(const bytes &key, uint8_t *blocks, size_t length, bool decipher);

}  // namespace fake
