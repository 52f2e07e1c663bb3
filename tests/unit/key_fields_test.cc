// SPDX-License-Identifier: MIT
#include <libsec/packet.h>

#include "support/captured.h"
#include "support/fake_clock.h"
#include "support/fake_kernel_random.h"
#include "support/heap.h"
#include "support/painted_stack.h"
#include "support/sessions.h"

namespace {

using namespace libsec::test;

class KeyFields : public SessionTest {
 protected:
  // A set handler on a field of these bytes, at an odd address. Prints nothing.
  int32_t set(packet_field_handler *handler, const bytes &field) {
    std::memcpy(context->packet + 25, field.data(), field.size());
    row_length = 0;
    int32_t result = 7;
    EXPECT_EQ(captured([&] { result = handler(context.get(), 25, &row_length, nullptr, context->packet + 25); }), "");
    return result;
  }

  security_session &session = security_sessions;
  std::unique_ptr<zolt_context> context = make_context(&session);
  uint32_t row_length = 0;
  const bytes prime = from_hex(vectors::prime);
  const bytes short_prime = from_hex(vectors::short_prime);
};

TEST_F(KeyFields, EachLengthMustBeTheOneAcceptedAndIsKeptEvenWhenRefused) {
  struct row {
    packet_field_handler *handler;
    uint32_t accepted;
    uint32_t (*kept)(const security_session &);
  };
  const row rows[] = {
      {set_ip_len, 4, [](const security_session &s) { return s.ip_address_length; }},
      {set_p_len, 128, [](const security_session &s) { return uint32_t{s.key_p_length}; }},
      {set_yb_len, 128, [](const security_session &s) { return uint32_t{s.key_yb_length}; }},
      {set_rsa_len, 128, [](const security_session &s) { return uint32_t{s.rsa_length}; }},
  };
  for (const row &r : rows) {
    SCOPED_TRACE(r.accepted);
    EXPECT_EQ(set(r.handler, be16(r.accepted)), 0);
    EXPECT_EQ(r.kept(session), r.accepted);
    EXPECT_EQ(row_length, 0u) << "the length's own row stays";
    for (const uint32_t other : {0u, r.accepted - 1, r.accepted + 1, r.accepted << 8, r.accepted | 0x8000u, 65535u}) {
      EXPECT_EQ(set(r.handler, be16(other)), -1) << other;
      EXPECT_EQ(r.kept(session), other);
    }
  }
}

TEST_F(KeyFields, LengthsGoToTheirOwnFields) {
  (void)set(set_ip_len, be16(1));
  (void)set(set_p_len, be16(2));
  (void)set(set_yb_len, be16(3));
  (void)set(set_rsa_len, be16(5));
  EXPECT_EQ(session.ip_address_length, 1u);
  EXPECT_EQ(session.key_p_length, 2);
  EXPECT_EQ(session.key_yb_length, 3);
  EXPECT_EQ(session.rsa_length, 5);
}

TEST_F(KeyFields, TheAddressIsSkippedByItsLength) {
  for (const uint32_t length : {0u, 4u, 65535u}) {
    session.ip_address_length = length;
    EXPECT_EQ(set(set_ip_add, bytes{1, 2, 3, 4}), 0);
    EXPECT_EQ(row_length, length);
  }
}

TEST_F(KeyFields, ThePrimeIsLoadedAndAnExponentIsDrawn) {
  session.key_p_length = 128;
  EXPECT_EQ(set(set_p, prime), 0);
  EXPECT_EQ(row_length, 128u);
  EXPECT_EQ(value_of(session.p), prime);
  EXPECT_GT(num_msb(&session.x), 800) << "128 random bytes";
  const bytes first = value_of(session.x);
  EXPECT_EQ(set(set_p, prime), 0);
  EXPECT_NE(value_of(session.x), first);
}

TEST_F(KeyFields, TheExponentHasAsManyBytesAsThePrime) {
  session.key_p_length = 3;
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(set(set_p, prime), 0);
    EXPECT_EQ(value_of(session.p, 3), bytes(3, 0xff));
    EXPECT_LE(num_size(&session.x), 3);
  }
}

TEST_F(KeyFields, TheExponentIsTheRandomBytesAlsoAboveThePrime) {
  session.key_p_length = 128;
  const auto draw = [this](const bytes &value) {
    fake_clock clock(1'700'000'000);
    fake_kernel_random kernel(fake_kernel_random::mode::counted_bytes);
    EXPECT_EQ(set(set_p, value), 0);
    return value_of(session.x);
  };
  const bytes drawn = draw(prime);
  bytes padded = joined({bytes(4), short_prime});
  EXPECT_EQ(draw(padded), drawn);
  EXPECT_GT(num_cmp_num(&session.x, &session.p), 0) << "so the case is the one that is meant";
}

TEST_F(KeyFields, APrimeOfZerosAndAnEvenOneAreLoadedLikeAnyOther) {
  session.key_p_length = 128;
  EXPECT_EQ(set(set_p, bytes(128, 0)), 0);
  EXPECT_EQ(num_msb(&session.p), 0);
  bytes even = prime;
  even[127] = 0xfe;
  EXPECT_EQ(set(set_p, even), 0);
  EXPECT_EQ(value_of(session.p), even);
}

TEST_F(KeyFields, LoadingAPrimeDropsTheCacheOfTheOneBefore) {
  session.key_p_length = 128;
  for (const bytes &value : {prime, joined({bytes(4), short_prime}), prime}) {
    ASSERT_EQ(num_lset(&session.rr_p, 12345), 0);
    EXPECT_EQ(set(set_p, value), 0);
    EXPECT_EQ(session.rr_p.limb_count, 0);
  }
}

TEST_F(KeyFields, TheCachedSignatureModulusIsNotTouchedByAPrime) {
  session.key_p_length = 128;
  ASSERT_EQ(num_lset(&session.rr_n, 12345), 0);
  EXPECT_EQ(set(set_p, prime), 0);
  EXPECT_EQ(num_cmp_int(&session.rr_n, 12345), 0);
}

TEST_F(KeyFields, APrimeThatIsTooLongForADrawIsRefused) {
  session.key_p_length = 256;
  EXPECT_EQ(set(set_p, bytes(256, 1)), -1);
  EXPECT_EQ(row_length, 256u);
}

TEST_F(KeyFields, WithoutMemoryForThePrimeOrTheExponentThePrimeIsRefused) {
  session.key_p_length = 128;
  for (num *lacking : {&session.p, &session.x}) {
    ASSERT_EQ(set(set_p, prime), 0);
    num_free(lacking, static_cast<num *>(nullptr));
    test::heap_watch heap(0);
    EXPECT_EQ(set_p(context.get(), 25, &row_length, nullptr, context->packet + 25), -1);
    EXPECT_EQ(heap.allocations(), 1);
  }
}

TEST_F(KeyFields, ThePublicValueIsLoaded) {
  session.key_yb_length = 128;
  const bytes value = from_hex(vectors::peer_public);
  EXPECT_EQ(set(set_yb, value), 0);
  EXPECT_EQ(row_length, 128u);
  EXPECT_EQ(value_of(session.yb), value);
  session.key_yb_length = 2;
  EXPECT_EQ(set(set_yb, {9, 8, 7}), 0);
  EXPECT_EQ(row_length, 2u);
  EXPECT_EQ(num_cmp_int(&session.yb, 0x0908), 0);
}

TEST_F(KeyFields, WithoutMemoryThePublicValueIsRefused) {
  session.key_yb_length = 128;
  std::memcpy(context->packet + 25, prime.data(), prime.size());
  test::heap_watch heap(0);
  EXPECT_EQ(set_yb(context.get(), 25, &row_length, nullptr, context->packet + 25), -1);
}

TEST_F(KeyFields, LoadingAPrimeLeavesNoSecretOnTheStack) {
  session.key_p_length = 128;
  std::memcpy(context->packet + 25, prime.data(), prime.size());
  int32_t result = 7;
  uint32_t length = 0;
  zolt_context *c = context.get();
  const painted_stack stack([&] { result = set_p(c, 25, &length, nullptr, c->packet + 25); });
  ASSERT_EQ(result, 0);
  EXPECT_FALSE(stack.holds_piece_of(value_of(session.x), 6));
  EXPECT_LT(stack.used(), 60'000u);
}

}  // namespace
