// SPDX-License-Identifier: MIT
// Good packets made wrong in one place, in every way that the matrices play.
#pragma once

#include <functional>
#include <set>

#include "support/packets.h"

namespace libsec::test {

// The values that a byte is replaced by; its own is left out.
inline std::set<uint8_t> wrong_values(uint8_t right) {
  std::set<uint8_t> values{0x00, 0x01, 0x7f, 0x80, 0xff, static_cast<uint8_t>(right ^ 1)};
  values.erase(right);
  return values;
}

// The packet cut or extended with zeros, its own length field kept or told the truth.
inline bytes of_length(bytes packet, size_t length, bool told) {
  packet.resize(length);
  if (told) {
    packet[4] = static_cast<uint8_t>(length >> 8);
    packet[5] = static_cast<uint8_t>(length);
  }
  return packet;
}

using packet_visitor = std::function<void(const bytes &packet, const std::string &what)>;

// Each of the first bytes with each of its wrong values.
inline void each_wrong_byte(const bytes &good, size_t count, const packet_visitor &visit) {
  for (size_t at = 0; at < count; ++at) {
    for (const uint8_t value : wrong_values(good[at])) {
      bytes packet = good;
      packet[at] = value;
      visit(packet, "byte " + std::to_string(at) + " is " + std::to_string(value));
    }
  }
}

// Each length from 0 to 420 but its own.
inline void each_wrong_length(const bytes &good, const packet_visitor &visit) {
  for (size_t length = 0; length <= 420; ++length) {
    for (const bool told : {false, true}) {
      if (length == good.size() || (told && length < 6)) continue;
      visit(of_length(good, length, told), std::to_string(length) + (told ? " bytes, told" : " bytes"));
    }
  }
}

}  // namespace libsec::test
