// SPDX-License-Identifier: MIT
// The bytes of every packet: what this side sends, and what it accepts in return.
#pragma once

#include <array>
#include <functional>
#include <optional>

#include "peer/bytes.h"
#include "peer/result.h"

namespace peer {

inline constexpr size_t header_bytes = 16;
inline constexpr size_t max_packet_bytes = 40000;  // the device's buffer
inline constexpr size_t key_field_bytes = 128;     // key_p, key_yb, dh_gx and the signature
inline constexpr size_t signed_wake_bytes = 282;   // of WAKE, what the signature covers
inline constexpr size_t wake_bytes = 412;
inline constexpr size_t wrsp_bytes = header_bytes + key_field_bytes;
inline constexpr uint16_t protocol_version = 256;
inline constexpr uint32_t cipher_block_bits = 64;

// The 16 bytes that open every packet. `block_size` is the signing key's identifier in WAKE.
struct packet_header {
  std::string signature;
  uint16_t length = 0;
  uint16_t version = 0;
  uint32_t block_size = 0;
  uint32_t session_id = 0;
};

// None when there are fewer than header_bytes.
std::optional<packet_header> read_header(byte_view packet);

// What WAKE carries, each number in key_field_bytes, padded with zeros in front.
struct wake_fields {
  uint32_t session_id = 0;
  std::array<uint8_t, 4> address{};  // this side's IPv4 address; the device ignores it
  bytes prime;
  bytes public_value;
};

// The signature of a message, key_field_bytes long.
using signer = std::function<result<bytes>(byte_view message)>;

// The packets of this side. `key` is the shared secret.
result<bytes> build_wake(const wake_fields &fields, const signer &sign);
bytes build_login(uint32_t session_id, byte_view key);
bytes build_logout(uint32_t session_id, byte_view key);
bytes build_request(uint32_t session_id, byte_view key, byte_view content);

// The device's answers. Each accepts exactly what the device sends in a good session and checks the
// lengths, the version, the block size and the echoed session identifier first; the failure of
// anything else has the code `verification` and names the step. The results: the device's public
// value; nothing; the reply's content; nothing.
result<bytes> parse_wrsp(byte_view packet, uint32_t session_id);
result<bytes> parse_ack1(byte_view packet, uint32_t session_id, byte_view key);
result<bytes> parse_reply(byte_view packet, uint32_t session_id, byte_view key);
result<bytes> parse_ack2(byte_view packet, uint32_t session_id, byte_view key);

}  // namespace peer
