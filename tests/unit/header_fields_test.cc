// SPDX-License-Identifier: MIT
#include <libsec/packet.h>

#include "support/captured.h"
#include "support/sessions.h"

namespace {

using namespace libsec::test;

class HeaderFields : public SessionTest {
 protected:
  // A set handler on a field of these bytes, at an odd address and offset. Prints nothing.
  int32_t set(packet_field_handler *handler, const bytes &field, uint32_t length = 0,
              const uint8_t *content = nullptr) {
    std::memcpy(context->packet + 7, field.data(), field.size());
    row_length = length;
    int32_t result = 7;
    EXPECT_EQ(captured([&] { result = handler(context.get(), 7, &row_length, content, context->packet + 7); }), "");
    return result;
  }

  // What a get handler writes at offset 7, as far as it is not what was there before.
  bytes get(packet_field_handler *handler, uint32_t length, const uint8_t *content, int32_t returned) {
    std::memset(context->packet, 0xA5, 64);
    row_length = length;
    EXPECT_EQ(handler(context.get(), 7, &row_length, content, context->packet), returned);
    EXPECT_EQ(row_length, length);
    bytes out(context->packet + 7, context->packet + 64);
    while (!out.empty() && out.back() == 0xA5) out.pop_back();
    EXPECT_EQ(bytes(context->packet, context->packet + 7), bytes(7, 0xA5)) << "in front of the field";
    return out;
  }

  security_session &session = security_session_tmp;
  std::unique_ptr<zolt_context> context = make_context(&session);
  uint32_t row_length = 0;
};

constexpr uint8_t word[] = {'E', 'N', 'C', 'R', '!'};

TEST_F(HeaderFields, ASignatureIsAcceptedWhenItEqualsTheTextOverTheRowsLength) {
  EXPECT_EQ(set(set_sig, text("ENCRx"), 4, word), 0);
  EXPECT_EQ(set(set_sig, text("ENCR!"), 5, word), 0);
  EXPECT_EQ(set(set_sig, text("ENCRx"), 5, word), -1);
  for (const char *other : {"XNCR", "EXCR", "ENXR", "ENCX", "encr"}) EXPECT_EQ(set(set_sig, text(other), 4, word), -1);
  EXPECT_EQ(row_length, 4u);
}

TEST_F(HeaderFields, TheVersionIsKeptAndMustBe256) {
  EXPECT_EQ(set(set_ver, {0x01, 0x00}), 0);
  EXPECT_EQ(context->protocol_version, 256u);
  const struct {
    bytes field;
    uint32_t version;
  } refused[] = {
      {{0x00, 0x01}, 1}, {{0x01, 0x01}, 257}, {{0x00, 0x00}, 0}, {{0x81, 0x00}, 0x8100}, {{0xff, 0xff}, 65535}};
  for (const auto &row : refused) {
    EXPECT_EQ(set(set_ver, row.field), -1) << row.version;
    EXPECT_EQ(context->protocol_version, row.version) << "kept though refused";
  }
}

TEST_F(HeaderFields, TheBlockSizeMustBe64) {
  EXPECT_EQ(set(set_blk, be32(64)), 0);
  for (const uint32_t size : {0u, 63u, 65u, 0x40000000u, 0x80000040u, 0x00010040u, 0xffffffffu}) {
    EXPECT_EQ(set(set_blk, be32(size)), -1) << size;
  }
}

TEST_F(HeaderFields, TheSigningKeyIdentifierMayBeAnything) {
  for (const uint32_t value : {0u, 64u, 0xffffffffu}) EXPECT_EQ(set(set_ski, be32(value)), 0);
}

TEST_F(HeaderFields, TheSessionIdentifierIsKeptInTheContextsSession) {
  for (const uint32_t value : {0u, 1u, 0x11223344u, 0xfedcba98u, 0xffffffffu}) {
    EXPECT_EQ(set(set_ses, be32(value)), 0);
    EXPECT_EQ(session.session_id, value);
  }
  EXPECT_EQ(security_sessions.session_id, 0u);
}

TEST_F(HeaderFields, TheTextIsWrittenAsTheSignature) {
  EXPECT_EQ(get(get_sig, 4, word, 4), text("ENCR"));
  EXPECT_EQ(get(get_sig, 5, word, 5), text("ENCR!"));
}

TEST_F(HeaderFields, TheVersionOfTheRequestIsEchoed) {
  context->protocol_version = 256;
  EXPECT_EQ(get(get_ver, 2, nullptr, 2), (bytes{1, 0}));
  context->protocol_version = 0x89AB;
  EXPECT_EQ(get(get_ver, 2, nullptr, 2), (bytes{0x89, 0xAB}));
}

TEST_F(HeaderFields, TheBlockSizeIsWrittenAs64) {
  EXPECT_EQ(get(get_blk, 4, nullptr, 4), (bytes{0, 0, 0, 0x40}));
}

TEST_F(HeaderFields, TheSessionIdentifierIsWrittenFromTheContextsSession) {
  session.session_id = 0x91223344;
  EXPECT_EQ(get(get_ses, 4, nullptr, 4), (bytes{0x91, 0x22, 0x33, 0x44}));
}

TEST_F(HeaderFields, AKeyIsCopiedAndANullKeyWritesNothing) {
  EXPECT_EQ(get(get_key, 5, word, 5), text("ENCR!"));
  EXPECT_EQ(get(get_key, 128, nullptr, 128), bytes());
}

TEST_F(HeaderFields, DataIsCopied) {
  EXPECT_EQ(get(get_fromdata, 3, word, 3), text("ENC"));
  EXPECT_EQ(get(get_fromdata, 0, word, 0), bytes());
}

TEST_F(HeaderFields, DataMayLieInsideThePacketAndOverlapItsNewPlace) {
  for (packet_field_handler *handler : {get_fromdata, get_key}) {
    for (const uint32_t from : {3u, 11u}) {
      for (uint32_t i = 0; i < 64; ++i) context->packet[i] = static_cast<uint8_t>(i);
      const bytes expected(context->packet + from, context->packet + from + 20);
      uint32_t length = 20;
      EXPECT_EQ(handler(context.get(), 7, &length, context->packet + from, context->packet), 20);
      EXPECT_EQ(bytes(context->packet + 7, context->packet + 27), expected);
    }
  }
}

}  // namespace
