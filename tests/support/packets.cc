// SPDX-License-Identifier: MIT
#include "support/packets.h"

#include <algorithm>

namespace libsec::test {
namespace {

constexpr uint32_t delta = 0x9E3779B9;

uint32_t mix(uint32_t v) {
  return ((v << 4) ^ (v >> 5)) + v;
}

// Needham and Wheeler's reference routines, 32 cycles.
void encipher_block(uint32_t v[2], const uint32_t k[4]) {
  uint32_t sum = 0;
  for (int i = 0; i < 32; ++i) {
    v[0] += mix(v[1]) ^ (sum + k[sum & 3]);
    sum += delta;
    v[1] += mix(v[0]) ^ (sum + k[(sum >> 11) & 3]);
  }
}

void decipher_block(uint32_t v[2], const uint32_t k[4]) {
  uint32_t sum = delta * 32;
  for (int i = 0; i < 32; ++i) {
    v[1] -= mix(v[0]) ^ (sum + k[(sum >> 11) & 3]);
    sum -= delta;
    v[0] -= mix(v[1]) ^ (sum + k[sum & 3]);
  }
}

template <typename F>
bytes each_block(bytes data, const bytes &key, F transform) {
  for (size_t at = 0; at + 8 <= data.size(); at += 8) {
    const size_t slice = at / 8 % 8 * 16;
    uint32_t k[4];
    for (size_t i = 0; i < 4; ++i) k[i] = read_be32(key, slice + 4 * i);
    uint32_t v[2] = {read_be32(data, at), read_be32(data, at + 4)};
    transform(v, k);
    // Without lists of bytes: fuzz targets do this to 40000 bytes at a time.
    for (size_t i = 0; i < 8; ++i) data[at + i] = static_cast<uint8_t>(v[i / 4] >> (24 - 8 * (i % 4)));
  }
  return data;
}

int digit(char c) {
  return c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10;
}

}  // namespace

bytes from_hex(std::string_view digits) {
  bytes out;
  for (size_t i = 0; i + 1 < digits.size(); i += 2) {
    out.push_back(static_cast<uint8_t>(digit(digits[i]) * 16 + digit(digits[i + 1])));
  }
  return out;
}

std::string to_hex(const bytes &data) {
  std::string out;
  for (const uint8_t byte : data) {
    out += "0123456789abcdef"[byte >> 4];
    out += "0123456789abcdef"[byte & 15];
  }
  return out;
}

bytes text(std::string_view characters) {
  return bytes(characters.begin(), characters.end());
}

bytes be16(uint32_t value) {
  return {static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value)};
}

bytes be32(uint32_t value) {
  return joined({be16(value >> 16), be16(value)});
}

bytes joined(std::initializer_list<bytes> parts) {
  bytes out;
  for (const bytes &part : parts) out.insert(out.end(), part.begin(), part.end());
  return out;
}

uint32_t read_be16(const bytes &data, size_t offset) {
  return uint32_t{data.at(offset)} << 8 | data.at(offset + 1);
}

uint32_t read_be32(const bytes &data, size_t offset) {
  return read_be16(data, offset) << 16 | read_be16(data, offset + 2);
}

uint32_t plain_crc16(const bytes &data) {
  uint32_t crc = 0;
  for (const uint8_t byte : data) {
    crc ^= uint32_t{byte} << 8;
    for (int bit = 0; bit < 8; ++bit) crc = (crc & 0x8000) != 0 ? crc << 1 ^ 0x11021 : crc << 1;
  }
  return crc;
}

bytes plain_encrypt(bytes data, const bytes &key) {
  return each_block(std::move(data), key, encipher_block);
}

bytes plain_decrypt(bytes data, const bytes &key) {
  return each_block(std::move(data), key, decipher_block);
}

bytes test_key() {
  bytes key;
  for (uint32_t i = 0; i < 128; ++i) key.push_back(static_cast<uint8_t>(i * 73 + 11));
  return key;
}

bytes header(std::string_view signature, size_t total, uint32_t session_id, uint32_t word, uint32_t version) {
  return joined({text(signature), be16(static_cast<uint32_t>(total)), be16(version), be32(word), be32(session_id)});
}

bytes sealed(const bytes &content, const bytes &key, int claimed) {
  bytes covered = content;
  do covered.push_back(0);
  while ((covered.size() + 4) % 8 != 0);
  const uint32_t length = claimed < 0 ? static_cast<uint32_t>(content.size()) : static_cast<uint32_t>(claimed);
  return plain_encrypt(joined({be16(plain_crc16(covered)), be16(length), covered}), key);
}

bytes enciphered(std::string_view signature, uint32_t session_id, const bytes &content, const bytes &key, int claimed) {
  const bytes block = sealed(content, key, claimed);
  return joined({header(signature, 16 + block.size(), session_id), block});
}

bytes lgin(uint32_t session_id, const bytes &key) {
  return enciphered("LGIN", session_id, joined({text("LOGIN"), be32(session_id)}), key);
}

bytes encr(uint32_t session_id, const bytes &content, const bytes &key) {
  return enciphered("ENCR", session_id, content, key);
}

bytes lout(uint32_t session_id, const bytes &key) {
  return enciphered("LOUT", session_id, joined({text("LOGOUT"), be32(session_id)}), key);
}

bytes opened_block::content() const {
  const auto length = static_cast<std::ptrdiff_t>(std::min<size_t>(claimed, content_and_padding.size()));
  return bytes(content_and_padding.begin(), content_and_padding.begin() + length);
}

opened_block opened(const bytes &block, const bytes &key) {
  if (block.empty() || block.size() % 8 != 0) return {false, false, 0, {}};
  const bytes plain = plain_decrypt(block, key);
  const bytes covered(plain.begin() + 4, plain.end());
  return {true, plain_crc16(covered) == read_be16(plain, 0), read_be16(plain, 2), covered};
}

bytes wake_fields::signed_part() const {
  const bytes fields =
      joined({be16(ip_address_length), ip_address, be16(prime_length), prime, be16(public_value_length), public_value});
  const size_t total = 16 + fields.size() + 2 + signature.size() + trailing.size();
  return joined({header("WAKE", total, session_id, signing_key_id, version), fields});
}

bytes wake_fields::packet() const {
  return joined({signed_part(), be16(signature_length), signature, trailing});
}

std::string key_file() {
  return std::string("PublicKeyN=") + vectors::modulus + "\nPublicKeyE=010001\n";
}

}  // namespace libsec::test
