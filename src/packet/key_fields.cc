// SPDX-License-Identifier: MIT
// Handlers of a WAKE's key exchange: the four lengths, the address, the prime and the public value.
#include <libsec/packet.h>

#include "base/bytes.h"

namespace {

constexpr uint32_t ip_address_bytes = 4;
constexpr uint32_t key_bytes = 128;  // prime, public value and signature are all of 1024 bits

// Stores first, tests then: a refused length stays in the session.
template <typename T>
int32_t store_length(T *stored, const uint8_t *field, uint32_t accepted) {
  *stored = static_cast<T>(libsec::load_be16(field));
  return *stored == accepted ? 0 : -1;
}

}  // namespace

int32_t set_ip_len(zolt_context *context, uint32_t, uint32_t *, const uint8_t *, uint8_t *field) {
  return store_length(&context->session->ip_address_length, field, ip_address_bytes);
}

int32_t set_ip_add(zolt_context *context, uint32_t, uint32_t *length, const uint8_t *, uint8_t *) {
  *length = context->session->ip_address_length;
  return 0;
}

int32_t set_p_len(zolt_context *context, uint32_t, uint32_t *, const uint8_t *, uint8_t *field) {
  return store_length(&context->session->key_p_length, field, key_bytes);
}

int32_t set_p(zolt_context *context, uint32_t, uint32_t *length, const uint8_t *, uint8_t *field) {
  security_session *session = context->session;
  *length = session->key_p_length;
  num_free(&session->rr_p, static_cast<num *>(nullptr));  // it belonged to the prime that is replaced now
  if (num_read_binary(&session->p, field, session->key_p_length) != 0) return -1;
  return session_generate_random(session, session->key_p_length) == 0 ? 0 : -1;
}

int32_t set_yb_len(zolt_context *context, uint32_t, uint32_t *, const uint8_t *, uint8_t *field) {
  return store_length(&context->session->key_yb_length, field, key_bytes);
}

int32_t set_yb(zolt_context *context, uint32_t, uint32_t *length, const uint8_t *, uint8_t *field) {
  security_session *session = context->session;
  *length = session->key_yb_length;
  return num_read_binary(&session->yb, field, session->key_yb_length) == 0 ? 0 : -1;
}

int32_t set_rsa_len(zolt_context *context, uint32_t, uint32_t *, const uint8_t *, uint8_t *field) {
  return store_length(&context->session->rsa_length, field, key_bytes);
}
