// SPDX-License-Identifier: MIT
// The signature of a WAKE.
#include <libsec/crypto.h>
#include <libsec/packet.h>

#include <cstring>

#include "base/bytes.h"

namespace {

constexpr uint32_t length_field_bytes = 2;  // "rsa_length", which stands before the signature, is not signed

// signature^e mod n into rsa_block. Any failure of a number function refuses: without a key, or under
// an even one, the raw signature would otherwise be taken for the decoded one, and that is a
// stranger's to choose.
bool decode_signature(security_session *session, const uint8_t *signature) {
  const int32_t length = session->rsa_length;
  return num_read_binary(&session->rsa_s, signature, length) == 0 &&
         num_exp_mod(&session->rsa_s, &session->rsa_s, &session->rsa_e, &session->rsa_n, &session->rr_n) == 0 &&
         num_write_binary(&session->rsa_s, session->rsa_block, length) == 0;
}

}  // namespace

int32_t set_rsa(zolt_context *context, uint32_t offset, uint32_t *length, const uint8_t *, uint8_t *field) {
  security_session *session = context->session;
  *length = session->rsa_length;
  if (*length < SHA256_DIGEST_BYTES || *length > sizeof session->rsa_block || offset < length_field_bytes) return -1;
  if (!decode_signature(session, field)) return -1;

  uint8_t digest[SHA256_DIGEST_BYTES];
  sha256(context->packet, offset - length_field_bytes, digest);
  // Deliberate: only the digest is compared, not the padding before it.
  const uint8_t *signed_digest = session->rsa_block + *length - sizeof digest;
  return std::memcmp(signed_digest, digest, sizeof digest) == 0 ? 0 : -1;
}
