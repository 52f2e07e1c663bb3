// SPDX-License-Identifier: MIT
// Any key file, which the program's fopen() makes of the input.
#include <string>

#include "fuzz/device.h"

namespace {

fuzz::bytes content;

uint8_t digit(uint8_t c) {
  if (c >= '0' && c <= '9') return static_cast<uint8_t>(c - '0');
  if (c >= 'a' && c <= 'f') return static_cast<uint8_t>(c - 'a' + 10);
  if (c >= 'A' && c <= 'F') return static_cast<uint8_t>(c - 'A' + 10);
  return 0;
}

// The reader once more, on strings.
struct model {
  fuzz::bytes modulus = fuzz::bytes(128, 0), exponent = fuzz::bytes(3, 0);
  bool too_long = false;

  void line(const std::string &whole) {
    // Digits start behind the eleventh character, whatever stands in front, and end at a zero byte.
    const std::string behind = whole.size() > 11 ? whole.substr(11) : "";
    const std::string digits = behind.substr(0, behind.find('\0'));
    if (digits.size() / 2 > 128) {
      too_long = true;
      return;
    }
    fuzz::bytes *to = whole.starts_with("PublicKeyN=")   ? &modulus
                      : whole.starts_with("PublicKeyE=") ? &exponent
                                                         : nullptr;
    if (to == nullptr || digits.size() / 2 > to->size()) return;
    for (size_t i = 0; i + 1 < digits.size(); i += 2) {
      (*to)[i / 2] = static_cast<uint8_t>(digit(static_cast<uint8_t>(digits[i])) << 4 |
                                          digit(static_cast<uint8_t>(digits[i + 1])));
    }
  }

  // Lines end behind their '\n' or after 1023 characters.
  void read() {
    std::string current;
    for (const uint8_t c : content) {
      current += static_cast<char>(c);
      if (c != '\n' && current.size() < 1023) continue;
      line(current);
      if (too_long) return;
      current.clear();
    }
    if (!current.empty()) line(current);
  }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  using namespace libsec::test;
  if (size == 0) return 0;
  content.assign(data, data + size);
  fuzz::silence();
  reset_sessions();
  model expected;
  expected.read();
  FILE *opened_file = nullptr;
  hooked_calls calls;
  calls->fopen = [&](const char *, const char *) {
    return opened_file = content.empty() ? tmpfile() : fmemopen(content.data(), content.size(), "rb");
  };
  const int32_t result = session_init(0);
  fuzz::require(result == 0, "a file that can be opened is read");
  fuzz::require(full_encryption == (expected.too_long ? 0u : 1u),
                "a file with a line that is too long changes nothing");
  if (expected.too_long) {
    fuzz::require(security_sessions.rsa_n.limb_count == 0, "nothing is loaded then");
    std::fclose(opened_file);  // the library leaves it open then
  } else {
    fuzz::require(value_of(security_sessions.rsa_n) == expected.modulus, "the modulus is right");
    fuzz::require(value_of(security_sessions.rsa_e, 3) == expected.exponent, "the exponent is right");
  }
  reset_sessions();
  return 0;
}
