// SPDX-License-Identifier: MIT
// The library's module-wide session state, as it is at load, and a context to work with.
#pragma once

#include <gtest/gtest.h>
#include <libsec/context.h>

#include <algorithm>
#include <cstring>
#include <memory>

#include "support/packets.h"

namespace libsec::test {

// Frees whatever the two records hold and puts everything back as at load.
inline void reset_sessions() {
  num *const end = nullptr;
  for (security_session *s : {&security_sessions, &security_session_tmp}) {
    num_free(&s->p, &s->g, &s->x, &s->gx, &s->yb, &s->k, &s->rr_p, &s->rsa_n, &s->rsa_e, &s->rsa_s, &s->rr_n, end);
    std::memset(static_cast<void *>(s), 0, sizeof *s);
    num_init(&s->p, &s->g, &s->x, &s->gx, &s->yb, &s->k, &s->rr_p, &s->rsa_n, &s->rsa_e, &s->rsa_s, &s->rr_n, end);
  }
  session_ptr = nullptr;
  full_encryption = 0;
}

// A context as a host's memory may give it: every byte that nobody has set is 0xA5, so that a test sees
// what is read without having been received. Descriptors are -1, flags and lengths 0.
inline std::unique_ptr<zolt_context> make_context(security_session *session = nullptr) {
  auto context = std::make_unique<zolt_context>();
  context->tcp_listen_socket = context->udp_socket = context->tcp_client_socket = -1;
  context->session = session;
  std::memset(context->packet, 0xA5, sizeof context->packet);
  std::memset(context->receive_chunk, 0xA5, sizeof context->receive_chunk);
  return context;
}

// Puts a received packet into the context.
inline void receive(zolt_context *context, const bytes &packet) {
  std::copy(packet.begin(), packet.end(), context->packet);  // also of no bytes
  context->data_length = static_cast<int32_t>(packet.size());
}

// The packet that was generated last.
inline bytes generated(const zolt_context *context) {
  return bytes(context->packet, context->packet + context->data_length);
}

// Loads the key that the WAKE vectors are signed with, as session_init() would from a key file.
inline void load_test_key(security_session *session) {
  const bytes modulus = from_hex(vectors::modulus);
  const bytes exponent = {1, 0, 1};
  const uint8_t generator = 4;
  ASSERT_EQ(num_read_binary(&session->rsa_n, modulus.data(), static_cast<int32_t>(modulus.size())), 0);
  ASSERT_EQ(num_read_binary(&session->rsa_e, exponent.data(), static_cast<int32_t>(exponent.size())), 0);
  ASSERT_EQ(num_read_binary(&session->g, &generator, 1), 0);
}

inline void set_key(security_session *session, const bytes &key) {
  std::memcpy(session->key, key.data(), sizeof session->key);
}

inline bytes key_of(const security_session &session) {
  return bytes(session.key, session.key + sizeof session.key);
}

// The value of a number, in `length` bytes; empty when it does not fit.
inline bytes value_of(const num &number, int32_t length = 128) {
  bytes out(static_cast<size_t>(length));
  if (num_write_binary(&number, out.data(), length) != 0) out.clear();
  return out;
}

// Starts and leaves every test with the sessions of a fresh process.
class SessionTest : public testing::Test {
 protected:
  SessionTest() { reset_sessions(); }
  ~SessionTest() override { reset_sessions(); }
};

}  // namespace libsec::test
