// SPDX-License-Identifier: MIT
// WAKE signatures by known answers; signature_oracle_test.cc has OpenSSL make more.
#include <libsec/crypto.h>
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

// ---- Under the exponent 1 the signature is the decoded block itself: every byte of it is the test's ----

bytes digest_of(const bytes &message) {
  bytes digest(SHA256_DIGEST_BYTES);
  sha256(message.data(), static_cast<uint32_t>(message.size()), digest.data());
  return digest;
}

// The signed part of a WAKE with these bytes in the signature's place.
bytes with_signature(const bytes &packet, const bytes &signature) {
  return joined({bytes(packet.begin(), packet.begin() + signature_offset), signature});
}

TEST_F(SignatureField, EachOfThe32BytesOfTheDigestIsCompared) {
  set_exponent({1});
  EXPECT_EQ(verify(raw_digest), 0);
  for (size_t i = 380; i < 412; ++i) {
    bytes changed = raw_digest;
    changed[i] ^= 1;
    EXPECT_EQ(verify(changed), -1) << i;
  }
}

TEST_F(SignatureField, NoByteInFrontOfTheDigestIsCompared) {
  set_exponent({1});
  for (size_t i = 285; i < 380; ++i) {  // the first one stays zero: the block must be below the modulus
    bytes changed = raw_digest;
    changed[i] ^= 0x80;
    EXPECT_EQ(verify(changed), 0) << i;
  }
}

TEST_F(SignatureField, AShorterSignatureIsComparedByItsLast32Bytes) {
  set_exponent({1});
  const bytes digest = digest_of(bytes(wake.begin(), wake.begin() + 282));
  EXPECT_EQ(verify(with_signature(wake, digest), signature_offset, 32), 0);
  EXPECT_EQ(row_length, 32u);
  EXPECT_EQ(verify(with_signature(wake, joined({{1, 2, 3}, digest})), signature_offset, 35), 0);
}

// The byte in front of the kept block is part of the length itself, so one packet in 256 would match.
TEST_F(SignatureField, ASignatureOf31BytesIsRefusedAlsoWhenTheByteInFrontOfTheBlockFits) {
  set_exponent({1});
  session.rsa_length = 31;
  uint8_t in_front;
  std::memcpy(&in_front, reinterpret_cast<const uint8_t *>(&session) + offsetof(security_session, rsa_block) - 1, 1);
  bytes packet = wake, digest;
  do {
    ++packet[14];
    if (packet[14] == 0) ++packet[15];
    digest = digest_of(bytes(packet.begin(), packet.begin() + 282));
  } while (digest[0] != in_front);
  EXPECT_EQ(verify(with_signature(packet, bytes(digest.begin() + 1, digest.end())), signature_offset, 31), -1);
}

TEST_F(SignatureField, ADecodedBlockThatDoesNotFitTheSignaturesLengthIsRefused) {
  const bytes digest = digest_of(bytes(wake.begin(), wake.begin() + 282));
  std::copy(digest.begin(), digest.end(), session.rsa_block);  // left by an earlier packet
  EXPECT_EQ(verify(wake, signature_offset, 32), -1);
}

TEST_F(SignatureField, ASignatureThatCouldNotBeReadIsNotReplacedByTheOneBefore) {
  set_exponent({1});
  const bytes digest = digest_of(bytes(wake.begin(), wake.begin() + 282));
  ASSERT_EQ(num_read_binary(&session.rsa_s, digest.data(), 32), 0);
  receive(context.get(), wake);
  session.rsa_length = 128;
  test::heap_watch heap(0, 1);
  EXPECT_EQ(set_rsa(context.get(), signature_offset, &row_length, nullptr, context->packet + signature_offset), -1);
}

TEST_F(SignatureField, NothingIsWrittenBehindTheBlock) {
  session.admission_mark = 0x77;
  for (const uint32_t length : {128u, 129u, 130u}) (void)verify(wake, signature_offset, length);
  EXPECT_EQ(session.admission_mark, 0x77);
}

TEST_F(SignatureField, AtOffsetTwoNothingIsSignedAndBeforeItThereIsNoPlaceForALength) {
  set_exponent({1});
  const bytes nothing_signed = joined({bytes(98, 0), digest_of({})});
  EXPECT_EQ(verify(nothing_signed, 2), 0);
  EXPECT_EQ(verify(joined({bytes(97, 0), digest_of({})}), 1), -1);
  EXPECT_EQ(verify(joined({bytes(96, 0), digest_of({})}), 0), -1);
}

// ---- Lengths that no accepted WAKE has ----

TEST_F(SignatureField, LengthsThatHoldNoDigestOrDoNotFitTheBlockAreRefused) {
  for (const uint32_t length : {0u, 1u, 31u, 129u, 256u, 65535u}) {
    EXPECT_EQ(verify(wake, signature_offset, length), -1) << length;
    EXPECT_EQ(row_length, length);
  }
}

}  // namespace
