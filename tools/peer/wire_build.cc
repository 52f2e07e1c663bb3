// SPDX-License-Identifier: MIT
#include "peer/payload.h"
#include "peer/wire.h"

namespace peer {
namespace {

bytes header(std::string_view signature, size_t length, uint32_t block_size, uint32_t session_id) {
  bytes packet = bytes_of(signature);
  append16(packet, length);
  append16(packet, protocol_version);
  append32(packet, block_size);
  append32(packet, session_id);
  return packet;
}

void append_counted(bytes &packet, byte_view field) {
  append16(packet, field.size());
  append(packet, field);
}

bytes enciphered(std::string_view signature, uint32_t session_id, byte_view key, byte_view content) {
  bytes block = seal(key, content);
  bytes packet = header(signature, header_bytes + block.size(), cipher_block_bits, session_id);
  append(packet, block);
  return packet;
}

bytes text_and_id(std::string_view text, uint32_t session_id) {
  bytes content = bytes_of(text);
  append32(content, session_id);
  return content;
}

}  // namespace

result<bytes> build_wake(const wake_fields &fields, const signer &sign) {
  // The device accepts any identifier of a signing key: it holds one key.
  bytes packet = header("WAKE", wake_bytes, 0, fields.session_id);
  append_counted(packet, fields.address);
  append_counted(packet, fields.prime);
  append_counted(packet, fields.public_value);
  if (packet.size() != signed_wake_bytes)
    return failure{exit_code::other, "WAKE", "the numbers of the key exchange do not fill their fields",
                   "128 bytes each", {},     {}};
  result<bytes> signature = sign(packet);
  if (!signature) return signature.error();
  append_counted(packet, *signature);
  return packet;
}

bytes build_login(uint32_t session_id, byte_view key) {
  return enciphered("LGIN", session_id, key, text_and_id("LOGIN", session_id));
}

bytes build_logout(uint32_t session_id, byte_view key) {
  return enciphered("LOUT", session_id, key, text_and_id("LOGOUT", session_id));
}

bytes build_request(uint32_t session_id, byte_view key, byte_view content) {
  return enciphered("ENCR", session_id, key, content);
}

}  // namespace peer
