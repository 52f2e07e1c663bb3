// SPDX-License-Identifier: MIT
#include <libsec/packet.h>

#include <random>

#include "packet/layouts.h"
#include "support/sessions.h"
#include "support/signer.h"

namespace {

using namespace libsec::test;

class SignatureOracle : public SessionTest {
 protected:
  bytes random(size_t length) {
    bytes out;
    for (size_t i = 0; i < length; ++i) out.push_back(static_cast<uint8_t>(generator()));
    return out;
  }

  void load(const signer &key, const bytes &exponent) {
    const bytes modulus = key.modulus();
    num_free(&session.rr_n, static_cast<num *>(nullptr));
    ASSERT_EQ(num_read_binary(&session.rsa_n, modulus.data(), 128), 0);
    ASSERT_EQ(num_read_binary(&session.rsa_e, exponent.data(), static_cast<int32_t>(exponent.size())), 0);
  }

  wake_fields some_fields() {
    wake_fields fields;
    fields.session_id = static_cast<uint32_t>(generator());
    fields.signing_key_id = static_cast<uint32_t>(generator());
    fields.ip_address = random(4);
    fields.prime = random(128);
    fields.public_value = random(128);
    fields.trailing = random(generator() % 3);
    return fields;
  }

  int32_t parse(const bytes &packet) {
    receive(context.get(), packet);
    auto layout = libsec::copy_of(libsec::wake_layout);
    return packet_parse(context.get(), layout.rows);
  }

  std::mt19937 generator{20240229};
  security_session &session = security_sessions;
  std::unique_ptr<zolt_context> context = make_context(&session);
};

TEST_F(SignatureOracle, WhatOpensslSignsIsAccepted) {
  const signer key;
  load(key, {1, 0, 1});
  for (int i = 0; i < 20; ++i) {
    const wake_fields fields = some_fields();
    EXPECT_EQ(parse(key.wake(fields)), 0);
    EXPECT_EQ(value_of(session.p), fields.prime);
    EXPECT_EQ(value_of(session.yb), fields.public_value);
    EXPECT_EQ(session.session_id, fields.session_id);
  }
}

TEST_F(SignatureOracle, NewKeysOfSeveralExponentsAreServed) {
  for (const unsigned long e : {3ul, 17ul, 65537ul, 0xfffffdul}) {
    SCOPED_TRACE(e);
    const signer key(e);
    load(key, {static_cast<uint8_t>(e >> 16), static_cast<uint8_t>(e >> 8), static_cast<uint8_t>(e)});
    EXPECT_EQ(parse(key.wake(some_fields())), 0);
    EXPECT_EQ(parse(key.wake(some_fields())), 0);
  }
}

TEST_F(SignatureOracle, AnotherKeysSignatureIsRefused) {
  const signer key, stranger(65537);
  load(key, {1, 0, 1});
  EXPECT_EQ(parse(stranger.wake(some_fields())), -1);
}

TEST_F(SignatureOracle, OnlyTheDigestDecides) {
  const signer key;
  load(key, {1, 0, 1});
  for (int i = 0; i < 10; ++i) {
    wake_fields fields = some_fields();
    bytes block = joined({random(96), openssl_sha256(fields.signed_part())});
    block[0] = 0;  // below the modulus
    fields.signature = key.sign_raw(block);
    EXPECT_EQ(parse(fields.packet()), 0);
    block[96 + generator() % 32] ^= 0x80;
    fields.signature = key.sign_raw(block);
    EXPECT_EQ(parse(fields.packet()), -1);
  }
}

TEST_F(SignatureOracle, TheDecodedBlockIsOpensslsModularPower) {
  const signer key;
  load(key, {1, 0, 1});
  for (int i = 0; i < 10; ++i) {
    wake_fields fields = some_fields();
    fields.signature = random(128);  // above the modulus, too
    EXPECT_EQ(parse(fields.packet()), -1);
    EXPECT_EQ(to_hex(bytes(session.rsa_block, session.rsa_block + 128)),
              to_hex(mod_exp(fields.signature, {1, 0, 1}, key.modulus())));
  }
}

}  // namespace
