// SPDX-License-Identifier: MIT
#include "peer/key_check.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "peer/wire.h"

namespace peer {
namespace {

constexpr size_t line_buffer_bytes = 1024;  // of the device; its last byte stays zero
constexpr size_t prefix_characters = 11;
constexpr size_t exponent_bytes = 3;
constexpr std::string_view modulus_prefix = "PublicKeyN=";
constexpr std::string_view exponent_prefix = "PublicKeyE=";

// What the device's buffer holds of a line, and how many bytes of the file that took.
struct buffered {
  std::array<char, line_buffer_bytes> text{};
  size_t length = 0;
};

buffered take_line(byte_view from) {
  buffered line;
  size_t most = std::min(from.size(), line_buffer_bytes - 1);
  while (line.length < most) {
    char next = static_cast<char>(from[line.length]);
    line.text[line.length++] = next;
    if (next == '\n') break;
  }
  return line;
}

int digit(char character) {
  constexpr std::string_view digits = "0123456789abcdefABCDEF";
  size_t at = digits.find(character);
  if (at == std::string_view::npos) return -1;
  return static_cast<int>(at < 16 ? at : at - 6);
}

void decode(std::string_view text, size_t pairs, bytes &into) {
  for (size_t i = 0; i < pairs; i++)
    into[i] = static_cast<uint8_t>(std::max(digit(text[2 * i]), 0) << 4 | std::max(digit(text[2 * i + 1]), 0));
}

// What a person would not see in the file.
void remark_on_text(std::string_view text, size_t pairs, key_line &line) {
  std::string_view digits = text.substr(0, text.find_last_not_of("\r\n \t") + 1);
  std::string_view tail = text.substr(digits.size());
  if (tail.find('\r') != std::string_view::npos)
    line.remarks.emplace_back("a carriage return (CRLF line end) counts as a digit");
  if (tail.find_first_of(" \t") != std::string_view::npos)
    line.remarks.emplace_back("blanks at its end count as digits");
  auto odd = std::find_if(digits.begin(), digits.end(), [](char each) { return digit(each) < 0; });
  if (odd != digits.end() && line.is != key_line::kind::stops)
    line.remarks.emplace_back("characters that are no hex digits count as 0");
  if (digits.size() % 2 != 0 && (line.is == key_line::kind::modulus || line.is == key_line::kind::exponent))
    line.remarks.emplace_back(
        digits.size() / 2 < pairs
            ? "an odd count of digits: the last one is paired with the line's end, which counts as 0"
            : "an odd count of digits: the last one is not read");
}

// Why a line that looks like a key is none.
void remark_on_prefix(std::string_view whole, key_line &line) {
  if (whole.starts_with("\xef\xbb\xbf")) {
    line.remarks.emplace_back("it starts with a byte-order mark, so it is no key line");
    return;
  }
  std::string lower;
  for (char each : whole.substr(0, 40)) lower += static_cast<char>(each >= 'A' && each <= 'Z' ? each + 32 : each);
  if (lower.find("publickey") != std::string::npos && line.is == key_line::kind::ignored)
    line.remarks.emplace_back("it looks like a key line, but starts with neither PublicKeyN= nor PublicKeyE=");
}

// One line goes through the loader.
key_line load_line(const buffered &from, public_key &key) {
  key_line line;
  std::string_view whole(from.text.data(), from.length);
  std::string_view text(from.text.data() + prefix_characters);
  line.pairs = text.size() / 2;
  bool is_modulus = whole.starts_with(modulus_prefix);
  bool is_exponent = whole.starts_with(exponent_prefix);
  if (line.pairs > key_field_bytes) {
    line.is = key_line::kind::stops;
  } else if (is_modulus) {
    line.is = key_line::kind::modulus;
    decode(text, line.pairs, key.modulus);
  } else if (is_exponent && line.pairs > exponent_bytes) {
    line.is = key_line::kind::skipped;
  } else if (is_exponent) {
    line.is = key_line::kind::exponent;
    decode(text, line.pairs, key.exponent);
  }
  if (is_modulus || is_exponent) remark_on_text(text, line.pairs, line);
  remark_on_prefix(whole, line);
  if (is_modulus && line.pairs < key_field_bytes)
    line.remarks.emplace_back(fmt::format("only {} of 128 bytes, from the left", line.pairs));
  if (is_exponent && line.pairs < exponent_bytes)
    line.remarks.emplace_back(fmt::format("only {} of 3 bytes, from the left", line.pairs));
  return line;
}

uint32_t value_of(const bytes &exponent) {
  return static_cast<uint32_t>(exponent[0] << 16 | exponent[1] << 8 | exponent[2]);
}

void find(key_check &result, key_verdict verdict, std::string reason) {
  result.verdict = std::min(result.verdict, verdict);
  result.findings.push_back(std::move(reason));
}

size_t count(const key_check &result, key_line::kind kind) {
  return static_cast<size_t>(
      std::count_if(result.lines.begin(), result.lines.end(), [&](const key_line &each) { return each.is == kind; }));
}

void judge_modulus(key_check &result) {
  size_t lines = count(result, key_line::kind::modulus);
  if (lines > 1)
    find(result, key_verdict::questionable, "several lines give the modulus: later ones overwrite earlier ones");
  if (lines == 0) return find(result, key_verdict::locked, "no line gives the modulus, which is therefore 0");
  const bytes &modulus = result.key.modulus;
  bignum number(BN_bin2bn(modulus.data(), static_cast<int>(modulus.size()), nullptr));
  if (BN_is_zero(number.get())) return find(result, key_verdict::locked, "the modulus is 0");
  if (modulus.back() % 2 == 0)
    return find(result, key_verdict::locked, "the modulus is even, and no signature can be calculated with it");
  if (int bits = BN_num_bits(number.get()); bits < rsa_bits)
    find(result, bits < 1000 ? key_verdict::forgeable : key_verdict::questionable,
         fmt::format("the modulus has {} bits, not {}: the shorter, the sooner it is factored", bits, rsa_bits));
}

void judge_exponent(key_check &result) {
  size_t lines = count(result, key_line::kind::exponent);
  if (lines > 1)
    find(result, key_verdict::questionable, "several lines give the exponent: later ones overwrite earlier ones");
  uint32_t exponent = value_of(result.key.exponent);
  if (lines == 0) return find(result, key_verdict::locked, "no line gives the exponent, which is therefore 0");
  if (exponent == 0) return find(result, key_verdict::locked, "the exponent is 0");
  if (exponent % 2 == 0)
    return find(result, key_verdict::locked, fmt::format("the exponent {} is even, which no RSA key has", exponent));
  if (exponent < 65537) {
    bool at_once = exponent * 256 < static_cast<uint32_t>(rsa_bits);
    find(result, key_verdict::forgeable,
         fmt::format("the exponent is {}, below 65537: the device compares the last 32 bytes of the power only, and {}",
                     exponent,
                     at_once ? "a number whose power ends as it must is made at once, without the private key"
                             : "the smaller the exponent, the more room is left to make a power that ends as it must"));
  }
}

}  // namespace

key_check check_key_file(byte_view content) {
  key_check result;
  result.key = {bytes(key_field_bytes), bytes(exponent_bytes)};
  public_key loading = result.key;
  while (!content.empty()) {
    buffered line = take_line(content);
    content = content.subspan(line.length);
    result.lines.push_back(load_line(line, loading));
    result.lines.back().number = result.lines.size();
    if (result.lines.back().is == key_line::kind::stops) {
      find(result, key_verdict::unprotected,
           fmt::format("line {} stops the loading: {} pairs of characters behind the first eleven, and 128 is the most",
                       result.lines.size(), result.lines.back().pairs));
      return result;
    }
  }
  result.key = loading;
  judge_modulus(result);
  judge_exponent(result);
  return result;
}

// Modulo 2^256 every odd number has exactly one e-th root for odd e: its power with the inverse of e modulo
// 2^254, which every such number's order divides.
std::optional<bytes> forge(const public_key &key, byte_view digest) {
  uint32_t exponent = value_of(key.exponent);
  bignum_context context(BN_CTX_new());
  bignum modulus(BN_bin2bn(key.modulus.data(), static_cast<int>(key.modulus.size()), nullptr));
  int bits = BN_num_bits(modulus.get());
  if (exponent % 2 == 0 || digest.size() != 32 || digest.back() % 2 == 0 ||
      256 * exponent >= static_cast<uint32_t>(bits))
    return std::nullopt;
  bignum e(BN_new()), order(BN_new()), width(BN_new()), root(BN_new()), inverse(BN_new());
  bignum target(BN_bin2bn(digest.data(), static_cast<int>(digest.size()), nullptr));
  bytes forged(key_field_bytes);
  bool made = BN_set_word(e.get(), exponent) != 0 && BN_set_bit(order.get(), 254) != 0 &&
              BN_set_bit(width.get(), 256) != 0 &&
              BN_mod_inverse(inverse.get(), e.get(), order.get(), context.get()) != nullptr &&
              BN_mod_exp(root.get(), target.get(), inverse.get(), width.get(), context.get()) != 0 &&
              BN_bn2binpad(root.get(), forged.data(), static_cast<int>(forged.size())) > 0;
  if (!made) return std::nullopt;
  return forged;
}

}  // namespace peer
