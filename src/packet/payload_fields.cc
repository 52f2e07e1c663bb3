// SPDX-License-Identifier: MIT
// Handlers of the enciphered payload block:
//
//     0   2  CRC-16 of everything from offset 4 on, padding included
//     2   2  length of the content; not covered by the CRC
//     4   n  content
//   4+n  1-8 zeros, up to a multiple of 8
#include <libsec/crypto.h>
#include <libsec/packet.h>

#include <cstddef>
#include <cstdio>
#include <cstring>

#include "base/bytes.h"

namespace {

constexpr uint32_t cipher_rounds = 32;
constexpr uint32_t block_header_bytes = 4;
constexpr uint32_t smallest_block = XTEA_BLOCK_BYTES;
constexpr uint32_t session_id_bytes = 4;
// A content length may claim 65535 bytes. Up to this offset, they lie inside the context's two buffers.
constexpr uint32_t highest_payload =
    sizeof(zolt_context::packet) + sizeof(zolt_context::receive_chunk) - block_header_bytes - 0xFFFF;
static_assert(offsetof(zolt_context, receive_chunk) == offsetof(zolt_context, packet) + ZOLT_PACKET_BYTES);
constexpr uint8_t login_seconds[] = {0x00, 0xB4};  // how long the session lives: 180

constexpr uint32_t block_bytes(uint32_t content_bytes) {
  return ((content_bytes + block_header_bytes) / XTEA_BLOCK_BYTES + 1) * XTEA_BLOCK_BYTES;
}
static_assert(block_bytes(14) == 24 && block_bytes(13) == 24 && block_bytes(12) == 24 && block_bytes(11) == 16);

bool fits_packet(uint32_t offset, uint32_t content_bytes) {
  return offset < ZOLT_PACKET_BYTES && content_bytes < ZOLT_PACKET_BYTES &&
         block_bytes(content_bytes) <= ZOLT_PACKET_BYTES - offset;
}

// Completes the block whose content already stands in place, and enciphers it.
int32_t seal(const security_session *session, uint8_t *block, uint32_t content_bytes) {
  const uint32_t length = block_bytes(content_bytes);
  const uint32_t covered = length - block_header_bytes;
  std::memset(block + block_header_bytes + content_bytes, 0, covered - content_bytes);
  libsec::store_be16(block, crc16_ccitt(block + block_header_bytes, static_cast<int32_t>(covered)));
  libsec::store_be16(block + 2, content_bytes);
  encrypt(block, block, length, session->key, SESSION_KEY_BYTES, cipher_rounds);
  return static_cast<int32_t>(length);
}

// The content of an acknowledgement begins with a text and the session identifier. Returns their length.
uint32_t put_text_and_session_id(const security_session *session, uint8_t *block, const uint8_t *text,
                                 uint32_t text_bytes) {
  uint8_t *content = block + block_header_bytes;
  std::memcpy(content, text, text_bytes);
  libsec::store_be32(content + text_bytes, session->session_id);
  return text_bytes + session_id_bytes;
}

}  // namespace

int32_t set_pay(zolt_context *context, uint32_t offset, uint32_t *, const uint8_t *, uint8_t *field) {
  const uint16_t length = static_cast<uint16_t>(static_cast<uint32_t>(context->data_length) - offset);
  if (session_swap(&context->session) != 0) {
    std::puts("failed to swap to the correct session");
    return -1;
  }
  const bool fits = offset <= highest_payload && length <= ZOLT_PACKET_BYTES - offset;
  if (fits) decrypt(field, field, length, context->session->key, SESSION_KEY_BYTES, cipher_rounds);

  uint8_t *content = field + block_header_bytes;
  const uint32_t claimed = libsec::load_be16(field + 2);
  // A shorter block has no content, and its check value would be compared with what an earlier packet
  // left behind it.
  if (!fits || length < smallest_block ||
      crc16_ccitt(content, length - static_cast<int32_t>(block_header_bytes)) != libsec::load_be16(field)) {
    std::puts("CRC error with data");
    std::printf("%d\n", static_cast<int>(claimed));
    return -1;
  }
  // The claim is handed on as it is. What it claims beyond the block reads as zero, never as what an
  // earlier packet left.
  const uint32_t held = length - block_header_bytes;
  if (claimed > held) std::memset(content + held, 0, claimed - held);
  context->data_length = static_cast<int32_t>(claimed);
  context->data = content;
  return 0;
}

int32_t cmp_text_conc_session_id(zolt_context *context, uint32_t, uint32_t *length, const uint8_t *text, uint8_t *) {
  if (std::memcmp(context->data, text, *length) != 0) return -1;
  return libsec::load_be32(context->data + *length) == context->session->session_id ? 0 : -1;
}

int32_t get_payack1(zolt_context *context, uint32_t offset, uint32_t *length, const uint8_t *text, uint8_t *packet) {
  uint8_t *block = packet + offset;
  const uint32_t put = put_text_and_session_id(context->session, block, text, *length);
  std::memcpy(block + block_header_bytes + put, login_seconds, sizeof login_seconds);
  return seal(context->session, block, put + sizeof login_seconds);
}

int32_t get_payack2(zolt_context *context, uint32_t offset, uint32_t *length, const uint8_t *text, uint8_t *packet) {
  uint8_t *block = packet + offset;
  return seal(context->session, block, put_text_and_session_id(context->session, block, text, *length));
}

int32_t get_pay(zolt_context *context, uint32_t offset, uint32_t *length, const uint8_t *text, uint8_t *packet) {
  if (text == nullptr) return static_cast<int32_t>(*length);
  if (!fits_packet(offset, *length)) return 0;
  if (full_encryption != 1 && context->encrypt_replies != 1) return get_fromdata(context, offset, length, text, packet);
  uint8_t *block = packet + offset;
  std::memmove(block + block_header_bytes, text, *length);  // the reply may lie inside the packet
  return seal(context->session, block, *length);
}
