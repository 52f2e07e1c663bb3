// SPDX-License-Identifier: MIT
// A peer's packets, built and read without the library: tables, cipher and check value are written
// from their published definitions once more, so that a test compares two renderings.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "vectors/packet_vectors.h"

namespace libsec::test {

using bytes = std::vector<uint8_t>;

// Pairs of hexadecimal digits.
bytes from_hex(std::string_view digits);
std::string to_hex(const bytes &data);

bytes text(std::string_view characters);
bytes be16(uint32_t value);
bytes be32(uint32_t value);
bytes joined(std::initializer_list<bytes> parts);
uint32_t read_be16(const bytes &data, size_t offset);
uint32_t read_be32(const bytes &data, size_t offset);

// CRC-16/XMODEM, bit by bit.
uint32_t plain_crc16(const bytes &data);

// XTEA of whole blocks under a key of 128 bytes: block k under its bytes 16 * (k mod 8) and on.
bytes plain_encrypt(bytes data, const bytes &key);
bytes plain_decrypt(bytes data, const bytes &key);

// Some 128-byte session key.
bytes test_key();

// The sixteen bytes in front; `total` is the length of the packet, `word` what stands at offset 8.
bytes header(std::string_view signature, size_t total, uint32_t session_id, uint32_t word = 64, uint32_t version = 256);

// The block that carries content, enciphered, with right CRC and padding. `claimed` is the content length
// in its header; -1 for the true one.
bytes sealed(const bytes &content, const bytes &key, int claimed = -1);

// A packet of header and sealed block, and the three that a peer sends.
bytes enciphered(std::string_view signature, uint32_t session_id, const bytes &content, const bytes &key,
                 int claimed = -1);
bytes lgin(uint32_t session_id, const bytes &key);
bytes encr(uint32_t session_id, const bytes &content, const bytes &key);
bytes lout(uint32_t session_id, const bytes &key);

// What a sealed block holds.
struct opened_block {
  bool whole;        // a positive multiple of 8 bytes
  bool crc_good;     // CRC of all bytes from the fourth on
  uint32_t claimed;  // the content length
  bytes content_and_padding;

  bytes content() const;  // the first `claimed` bytes, or all if there are fewer
};
opened_block opened(const bytes &block, const bytes &key);

// A WAKE. The fields hold what a good one has; the signature is left to the caller, over
// signed_part(), as bytes 284..411.
struct wake_fields {
  uint32_t session_id = 0x11223344;
  uint32_t version = 256;
  uint32_t signing_key_id = 0;
  uint32_t ip_address_length = 4;
  uint32_t prime_length = 128;
  uint32_t public_value_length = 128;
  uint32_t signature_length = 128;
  bytes ip_address = {192, 0, 2, 1};
  bytes prime = from_hex(vectors::prime);
  bytes public_value = from_hex(vectors::peer_public);
  bytes signature = bytes(128, 0);
  bytes trailing;

  bytes packet() const;
  bytes signed_part() const;  // all before signature_length
};

constexpr uint32_t wake_session_id = 0x11223344;  // of vectors::wake and the others, if not said otherwise there

// "./publickeys.dat" with the key that vectors::wake is signed with.
std::string key_file();

}  // namespace libsec::test
