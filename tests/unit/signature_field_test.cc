// SPDX-License-Identifier: MIT
// WAKE signatures by known answers; signature_oracle_test.cc has OpenSSL make more.
#include <libsec/packet.h>

#include "support/captured.h"
#include "support/heap.h"
#include "support/sessions.h"

namespace {

using namespace libsec::test;

constexpr uint32_t signature_offset = 284;

class SignatureField : public SessionTest {
 protected:
  SignatureField() { load_test_key(&session); }

  int32_t verify(const bytes &packet, uint32_t offset = signature_offset, uint32_t length = 128) {
    receive(context.get(), packet);
    session.rsa_length = static_cast<uint16_t>(length);
    row_length = 0;
    int32_t result = 7;
    EXPECT_EQ(
        captured([&] { result = set_rsa(context.get(), offset, &row_length, nullptr, context->packet + offset); }), "");
    return result;
  }

  void set_modulus(const bytes &value) {
    num_free(&session.rr_n, static_cast<num *>(nullptr));
    ASSERT_EQ(num_read_binary(&session.rsa_n, value.data(), static_cast<int32_t>(value.size())), 0);
  }

  void set_exponent(const bytes &value) {
    ASSERT_EQ(num_read_binary(&session.rsa_e, value.data(), static_cast<int32_t>(value.size())), 0);
  }

  security_session &session = security_sessions;
  std::unique_ptr<zolt_context> context = make_context(&session);
  uint32_t row_length = 0;
  const bytes wake = from_hex(vectors::wake);
  const bytes raw_digest = from_hex(vectors::wake_raw_digest);
  const bytes modulus = from_hex(vectors::modulus);
};

TEST_F(SignatureField, EverySignedWakeIsAccepted) {
  for (const char *digits : {vectors::wake, vectors::wake_short_prime, vectors::wake_key_is_gx,
                             vectors::wake_even_prime, vectors::wake_zero_prime, vectors::wake_trailing}) {
    EXPECT_EQ(verify(from_hex(digits)), 0);
    EXPECT_EQ(row_length, 128u);
  }
}

TEST_F(SignatureField, WhateverStandsInFrontOfTheDigestIsAccepted) {
  EXPECT_EQ(verify(from_hex(vectors::wake_odd_padding)), 0);
  EXPECT_EQ(bytes(session.rsa_block, session.rsa_block + 4), (bytes{0x00, 0xeb, 0xa9, 0x6f}));
}

TEST_F(SignatureField, TheDecodedBlockIsKept) {
  ASSERT_EQ(verify(wake), 0);
  // PKCS #1 v1.5: 00 01 ff ... ff 00, the algorithm's name, the digest.
  EXPECT_EQ(bytes(session.rsa_block, session.rsa_block + 4), (bytes{0x00, 0x01, 0xff, 0xff}));
  uint8_t digest[SHA256_DIGEST_BYTES];
  sha256(wake.data(), 282, digest);
  EXPECT_EQ(std::memcmp(session.rsa_block + 96, digest, sizeof digest), 0);
  EXPECT_EQ(value_of(session.rsa_s), bytes(session.rsa_block, session.rsa_block + 128));
}

TEST_F(SignatureField, EverySignedBitCounts) {
  for (size_t i = 0; i < 282; i += 7) {
    bytes changed = wake;
    changed[i] ^= static_cast<uint8_t>(1 << (i % 8));
    EXPECT_EQ(verify(changed), -1) << "byte " << i;
  }
  for (const size_t last : {size_t{280}, size_t{281}}) {
    bytes changed = wake;
    changed[last] ^= 1;
    EXPECT_EQ(verify(changed), -1) << "byte " << last;
  }
}

TEST_F(SignatureField, TheSignaturesOwnLengthIsNotSigned) {
  for (const size_t i : {size_t{282}, size_t{283}}) {
    bytes changed = wake;
    changed[i] ^= 0x55;
    EXPECT_EQ(verify(changed), 0);
  }
}

TEST_F(SignatureField, EveryBitOfTheSignatureCounts) {
  for (size_t i = 284; i < 412; i += 9) {
    bytes changed = wake;
    changed[i] ^= 0x04;
    EXPECT_EQ(verify(changed), -1) << "byte " << i;
  }
}

TEST_F(SignatureField, AnotherPacketsSignatureIsRefused) {
  bytes mixed = from_hex(vectors::wake_short_prime);
  std::copy(wake.begin() + signature_offset, wake.end(), mixed.begin() + signature_offset);
  EXPECT_EQ(verify(mixed), -1);
}

TEST_F(SignatureField, ASignatureOfZerosAndOneOfOnesAreRefused) {
  for (const uint8_t byte : {uint8_t{0x00}, uint8_t{0xff}}) {
    bytes changed = wake;
    std::fill(changed.begin() + signature_offset, changed.end(), byte);
    EXPECT_EQ(verify(changed), -1);
  }
}

// ---- The digest itself in the signature's place, which anyone can put there: only the calculation
// stands between a stranger and a session. ----

TEST_F(SignatureField, TheBareDigestIsRefusedUnderTheKey) {
  EXPECT_EQ(verify(raw_digest), -1);
}

TEST_F(SignatureField, TheBareDigestIsRefusedWhenNoKeyWasEverLoaded) {
  reset_sessions();
  EXPECT_EQ(verify(raw_digest), -1);
  EXPECT_EQ(verify(wake), -1);
}

TEST_F(SignatureField, TheBareDigestIsRefusedUnderAKeyFileWithoutAModulus) {
  set_modulus(bytes(128, 0));
  EXPECT_EQ(verify(raw_digest), -1);
  EXPECT_EQ(verify(wake), -1);
}

TEST_F(SignatureField, TheBareDigestIsRefusedUnderAnEvenModulus) {
  bytes even = modulus;
  even[127] &= 0xfe;
  set_modulus(even);
  EXPECT_EQ(verify(raw_digest), -1);
}

TEST_F(SignatureField, TheBareDigestIsRefusedUnderANegativeModulus) {
  session.rsa_n.sign = -1;
  EXPECT_EQ(verify(raw_digest), -1);
  EXPECT_EQ(verify(wake), -1);
}

TEST_F(SignatureField, AKeyFileWithoutAnExponentAcceptsNothing) {
  set_exponent(bytes(3, 0));
  EXPECT_EQ(verify(raw_digest), -1);
  EXPECT_EQ(verify(wake), -1);
}

TEST_F(SignatureField, WithoutMemoryNothingIsAccepted) {
  for (const bytes &packet : {raw_digest, wake}) {
    receive(context.get(), packet);
    for (int first_failure = 0;; ++first_failure) {
      num_free(&session.rsa_s, &session.rr_n, static_cast<num *>(nullptr));
      std::memset(session.rsa_block, 0, sizeof session.rsa_block);
      session.rsa_length = 128;
      int32_t result = 7;
      bool failed = false;
      {
        test::heap_watch heap(first_failure);
        result = set_rsa(context.get(), signature_offset, &row_length, nullptr, context->packet + signature_offset);
        failed = heap.allocations() > first_failure;
      }
      if (!failed) {
        EXPECT_EQ(result, packet == wake ? 0 : -1);
        EXPECT_GT(first_failure, 2);
        break;
      }
      ASSERT_EQ(result, -1) << "allocation " << first_failure;
    }
  }
}

// A block that an earlier packet's signature left behind must never be compared again.
TEST_F(SignatureField, AnEarlierGoodBlockDoesNotHelpALaterPacket) {
  ASSERT_EQ(verify(wake), 0);
  bytes same_content = wake;
  std::fill(same_content.begin() + signature_offset, same_content.end(), uint8_t{0x11});
  set_modulus(bytes(128, 0));
  EXPECT_EQ(verify(same_content), -1);
}

// ---- The cached constant of the modulus ----

TEST_F(SignatureField, TheCacheIsFilledOnceAndServesLaterPackets) {
  ASSERT_EQ(session.rr_n.limb_count, 0);
  ASSERT_EQ(verify(wake), 0);
  ASSERT_GT(session.rr_n.limb_count, 0);
  const num_limb *limbs = session.rr_n.limbs;
  EXPECT_EQ(verify(from_hex(vectors::wake_short_prime)), 0);
  EXPECT_EQ(session.rr_n.limbs, limbs);
}

TEST_F(SignatureField, ARefusedPacketLeavesAGoodCache) {
  EXPECT_EQ(verify(raw_digest), -1);
  EXPECT_EQ(verify(wake), 0);
}

// ---- Lengths that no accepted WAKE has ----

TEST_F(SignatureField, LengthsThatHoldNoDigestOrDoNotFitTheBlockAreRefused) {
  for (const uint32_t length : {0u, 1u, 31u, 129u, 256u, 65535u}) {
    EXPECT_EQ(verify(wake, signature_offset, length), -1) << length;
    EXPECT_EQ(row_length, length);
  }
}

TEST_F(SignatureField, ASignatureInFrontOfWhichNothingStandsIsRefused) {
  EXPECT_EQ(verify(wake, 0), -1);
  EXPECT_EQ(verify(wake, 1), -1);
}

TEST_F(SignatureField, ShorterSignaturesAreComparedByTheirLast32Bytes) {
  set_modulus(bytes{0x7f});  // 1^e mod 127 = 1
  bytes packet = wake;
  std::fill(packet.begin() + signature_offset, packet.end(), uint8_t{0});
  packet[signature_offset + 31] = 1;
  EXPECT_EQ(verify(packet, signature_offset, 32), -1);
  EXPECT_EQ(bytes(session.rsa_block, session.rsa_block + 32), joined({bytes(31), {1}}));
}

}  // namespace
