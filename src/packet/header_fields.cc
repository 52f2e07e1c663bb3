// SPDX-License-Identifier: MIT
// Handlers of the sixteen bytes that every packet begins with, and of fields that are only copied.
#include <libsec/packet.h>

#include <cstring>

#include "base/bytes.h"

namespace {

constexpr uint32_t supported_version = 256;
constexpr uint32_t supported_block_size = 64;

int32_t accept_if(bool good) {
  return good ? 0 : -1;
}

}  // namespace

int32_t set_sig(zolt_context *, uint32_t, uint32_t *length, const uint8_t *text, uint8_t *field) {
  return accept_if(std::memcmp(field, text, *length) == 0);
}

int32_t set_ver(zolt_context *context, uint32_t, uint32_t *, const uint8_t *, uint8_t *field) {
  context->protocol_version = libsec::load_be16(field);
  return accept_if(context->protocol_version == supported_version);
}

int32_t set_blk(zolt_context *, uint32_t, uint32_t *, const uint8_t *, uint8_t *field) {
  return accept_if(libsec::load_be32(field) == supported_block_size);
}

int32_t set_ski(zolt_context *, uint32_t, uint32_t *, const uint8_t *, uint8_t *) {
  return 0;
}

int32_t set_ses(zolt_context *context, uint32_t, uint32_t *, const uint8_t *, uint8_t *field) {
  context->session->session_id = libsec::load_be32(field);
  return 0;
}

int32_t get_sig(zolt_context *, uint32_t offset, uint32_t *length, const uint8_t *text, uint8_t *packet) {
  std::memcpy(packet + offset, text, *length);
  return static_cast<int32_t>(*length);
}

int32_t get_ver(zolt_context *context, uint32_t offset, uint32_t *length, const uint8_t *, uint8_t *packet) {
  libsec::store_be16(packet + offset, context->protocol_version);
  return static_cast<int32_t>(*length);
}

int32_t get_blk(zolt_context *, uint32_t offset, uint32_t *length, const uint8_t *, uint8_t *packet) {
  libsec::store_be32(packet + offset, supported_block_size);
  return static_cast<int32_t>(*length);
}

int32_t get_ses(zolt_context *context, uint32_t offset, uint32_t *length, const uint8_t *, uint8_t *packet) {
  libsec::store_be32(packet + offset, context->session->session_id);
  return static_cast<int32_t>(*length);
}

int32_t get_key(zolt_context *context, uint32_t offset, uint32_t *length, const uint8_t *text, uint8_t *packet) {
  if (text == nullptr) return static_cast<int32_t>(*length);
  return get_fromdata(context, offset, length, text, packet);
}

int32_t get_fromdata(zolt_context *, uint32_t offset, uint32_t *length, const uint8_t *text, uint8_t *packet) {
  std::memmove(packet + offset, text, *length);  // the text may lie inside the packet
  return static_cast<int32_t>(*length);
}
