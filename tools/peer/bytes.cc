// SPDX-License-Identifier: MIT
#include "peer/bytes.h"

namespace peer {
namespace {

int digit_value(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
  return -1;
}

}  // namespace

std::string to_hex(byte_view from) {
  static constexpr char digits[] = "0123456789abcdef";
  std::string text;
  text.reserve(from.size() * 2);
  for (uint8_t byte : from) {
    text += digits[byte >> 4];
    text += digits[byte & 15];
  }
  return text;
}

std::optional<bytes> from_hex(std::string_view text) {
  if (text.starts_with("0x") || text.starts_with("0X")) text.remove_prefix(2);
  bytes decoded;
  int high = -1;
  for (char character : text) {
    // Separators stand between bytes, never inside one.
    if (high < 0 && std::string_view(" \t\r\n:").find(character) != std::string_view::npos) continue;
    int value = digit_value(character);
    if (value < 0) return std::nullopt;
    if (high < 0) {
      high = value;
    } else {
      decoded.push_back(static_cast<uint8_t>(high * 16 + value));
      high = -1;
    }
  }
  if (high >= 0) return std::nullopt;
  return decoded;
}

}  // namespace peer
