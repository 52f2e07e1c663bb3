// SPDX-License-Identifier: MIT
#include "packet/layouts.h"

#include "support/captured.h"
#include "support/fake_clock.h"
#include "support/sessions.h"

namespace {

using namespace libsec::test;

// One row as it must be, texts by value.
struct expected_row {
  const char *name;
  uint32_t offset;
  uint32_t length;
  const char *content;
  packet_field_handler *set, *get, *compare;
};

// `layout` has one row more: its end.
template <size_t N, size_t M>
void expect_layout(const packet_field (&layout)[M], const expected_row (&rows)[N]) {
  ASSERT_EQ(M, N + 1);
  for (size_t i = 0; i < N; ++i) {
    SCOPED_TRACE(rows[i].name);
    EXPECT_STREQ(layout[i].name, rows[i].name);
    EXPECT_EQ(layout[i].offset, rows[i].offset);
    EXPECT_EQ(layout[i].length, rows[i].length);
    ASSERT_EQ(layout[i].text == nullptr, rows[i].content == nullptr);
    if (rows[i].content != nullptr) {
      ASSERT_EQ(std::strlen(rows[i].content), layout[i].length);
      EXPECT_EQ(std::memcmp(layout[i].text, rows[i].content, layout[i].length), 0);
    }
    EXPECT_EQ(layout[i].set, rows[i].set);
    EXPECT_EQ(layout[i].get, rows[i].get);
    EXPECT_EQ(layout[i].compare, rows[i].compare);
  }
  const packet_field &end = layout[N];
  EXPECT_TRUE(end.name == nullptr && end.offset == 0 && end.length == 0 && end.text == nullptr && end.set == nullptr &&
              end.get == nullptr && end.compare == nullptr);
}

constexpr packet_field_handler *x = nullptr;  // no handler

TEST(Layouts, WakeHasThirteenRows) {
  expect_layout(libsec::wake_layout, {
                                         {"signature_id", 0, 4, "WAKE", set_sig, x, x},
                                         {"packet_length", 0, 2, nullptr, x, x, x},
                                         {"protocol_version", 0, 2, nullptr, set_ver, x, x},
                                         {"signing_key_id", 0, 4, nullptr, set_ski, x, x},
                                         {"session_id", 0, 4, nullptr, set_ses, x, x},
                                         {"ip_address_length", 0, 2, nullptr, set_ip_len, x, x},
                                         {"ip_address", 0, 0, nullptr, set_ip_add, x, x},
                                         {"key_p_length", 0, 2, nullptr, set_p_len, x, x},
                                         {"key_p", 0, 0, nullptr, set_p, x, x},
                                         {"key_yb_length", 0, 2, nullptr, set_yb_len, x, x},
                                         {"key_yb", 0, 0, nullptr, set_yb, x, x},
                                         {"rsa_length", 0, 2, nullptr, set_rsa_len, x, x},
                                         {"rsa", 0, 0, nullptr, set_rsa, x, x},
                                     });
}

TEST(Layouts, LginComparesLogin) {
  expect_layout(libsec::lgin_layout, {
                                         {"signature_id", 0, 4, "LGIN", set_sig, x, x},
                                         {"packet_length", 0, 2, nullptr, x, x, x},
                                         {"protocol_version", 0, 2, nullptr, set_ver, x, x},
                                         {"block_size", 0, 4, nullptr, set_blk, x, x},
                                         {"session_id", 0, 4, nullptr, set_ses, x, x},
                                         {"payload", 0, 5, "LOGIN", set_pay, x, cmp_text_conc_session_id},
                                     });
}

TEST(Layouts, LoutComparesLogout) {
  expect_layout(libsec::lout_layout, {
                                         {"signature_id", 0, 4, "LOUT", set_sig, x, x},
                                         {"packet_length", 0, 2, nullptr, x, x, x},
                                         {"protocol_version", 0, 2, nullptr, set_ver, x, x},
                                         {"block_size", 0, 4, nullptr, set_blk, x, x},
                                         {"session_id", 0, 4, nullptr, set_ses, x, x},
                                         {"payload", 0, 6, "LOGOUT", set_pay, x, cmp_text_conc_session_id},
                                     });
}

TEST(Layouts, EncrComparesNothing) {
  expect_layout(libsec::encr_layout, {
                                         {"signature_id", 0, 4, "ENCR", set_sig, x, x},
                                         {"packet_length", 0, 2, nullptr, x, x, x},
                                         {"protocol_version", 0, 2, nullptr, set_ver, x, x},
                                         {"block_size", 0, 4, nullptr, set_blk, x, x},
                                         {"session_id", 0, 4, nullptr, set_ses, x, x},
                                         {"payload", 0, 0, nullptr, set_pay, x, x},
                                     });
}

TEST(Layouts, TheAcknowledgementsHaveTheirPayloadFirst) {
  expect_layout(libsec::ack1_layout, {
                                         {"payload", 16, 8, "LOGGEDIN", x, get_payack1, x},
                                         {"signature_id", 0, 4, "ACK1", x, get_sig, x},
                                         {"packet_length", 4, 2, nullptr, x, x, x},
                                         {"protocol_version", 6, 2, nullptr, x, get_ver, x},
                                         {"block_size", 8, 4, nullptr, x, get_blk, x},
                                         {"session_id", 12, 4, nullptr, x, get_ses, x},
                                     });
  expect_layout(libsec::ack2_layout, {
                                         {"payload", 16, 9, "LOGGEDOUT", x, get_payack2, x},
                                         {"signature_id", 0, 4, "ACK2", x, get_sig, x},
                                         {"packet_length", 4, 2, nullptr, x, x, x},
                                         {"protocol_version", 6, 2, nullptr, x, get_ver, x},
                                         {"block_size", 8, 4, nullptr, x, get_blk, x},
                                         {"session_id", 12, 4, nullptr, x, get_ses, x},
                                     });
}

// ---- Whole packets through the tables ----

class WholePackets : public SessionTest {
 protected:
  template <size_t N>
  int32_t parse(const packet_field (&layout)[N], const bytes &packet) {
    receive(context.get(), packet);
    auto copy = libsec::copy_of(layout);
    int32_t result = 7;
    printed = captured([&] { result = packet_parse(context.get(), copy.rows); });
    lengths.clear();
    for (const packet_field &row : copy.rows) lengths.push_back(row.length);
    return result;
  }

  // A session that was keyed just now, and a packet of it being parsed into the scratch record.
  void begin(uint32_t state, uint32_t kind) {
    live.state = state;
    live.session_id = wake_session_id;
    set_key(&live, test_key());
    get_timer(&live.timer, 1);
    scratch.state = kind;
    context->session = &scratch;
  }

  template <size_t N>
  bytes generate(const packet_field (&layout)[N]) {
    auto copy = libsec::copy_of(layout);
    EXPECT_EQ(packet_generate(context.get(), copy.rows), 0);
    EXPECT_EQ(context->data, context->packet);
    return generated(context.get());
  }

  fake_clock clock{1'700'000'000};
  security_session &live = security_sessions;
  security_session &scratch = security_session_tmp;
  std::unique_ptr<zolt_context> context = make_context(&live);
  std::string printed;
  std::vector<uint32_t> lengths;
};

TEST_F(WholePackets, AWakeIsAcceptedAndItsFieldsAreWhereTheyBelong) {
  load_test_key(&live);
  EXPECT_EQ(parse(libsec::wake_layout, from_hex(vectors::wake)), 0);
  EXPECT_EQ(printed, "");
  EXPECT_EQ(context->protocol_version, 256u);
  EXPECT_EQ(live.session_id, wake_session_id);
  EXPECT_EQ(live.ip_address_length, 4u);
  EXPECT_EQ(live.key_p_length, 128);
  EXPECT_EQ(live.key_yb_length, 128);
  EXPECT_EQ(live.rsa_length, 128);
  EXPECT_EQ(to_hex(value_of(live.p)), vectors::prime);
  EXPECT_EQ(to_hex(value_of(live.yb)), vectors::peer_public);
  EXPECT_EQ(lengths, (std::vector<uint32_t>{4, 2, 2, 4, 4, 2, 4, 2, 128, 2, 128, 2, 128, 0}));
  EXPECT_EQ(context->session, &live);
}

TEST_F(WholePackets, AWakeWithBytesBehindItsLastFieldIsAcceptedAndStillCountsThem) {
  load_test_key(&live);
  EXPECT_EQ(parse(libsec::wake_layout, from_hex(vectors::wake_trailing)), 0);
  EXPECT_EQ(printed, "");
  EXPECT_EQ(context->data_length, 420);
}

TEST_F(WholePackets, AWakeWithAnAddressOfFiveBytesIsRefusedThereAndNoLaterFieldIsRead) {
  load_test_key(&live);
  wake_fields fields;
  fields.ip_address_length = 5;
  fields.ip_address.push_back(0);
  EXPECT_EQ(parse(libsec::wake_layout, fields.packet()), -1);
  EXPECT_EQ(printed, "");
  EXPECT_EQ(live.ip_address_length, 5u);
  EXPECT_EQ(live.session_id, wake_session_id);
  EXPECT_EQ(live.key_p_length, 0);
  EXPECT_EQ(live.p.limb_count, 0);
}

TEST_F(WholePackets, AWakeThatSays411While412BytesArrivedIsRefusedWithBothNumbers) {
  load_test_key(&live);
  bytes wake = from_hex(vectors::wake);
  wake[5] = 411 & 0xFF;
  EXPECT_EQ(parse(libsec::wake_layout, wake), -1);
  EXPECT_EQ(printed, "packet length error\nreported length = 411, actual length = 412");
  EXPECT_EQ(context->protocol_version, 0u) << "no later field is read";
}

TEST_F(WholePackets, AWakeWithAnyByteChangedIsRefusedAndTheKeyStays) {
  load_test_key(&live);
  set_key(&live, test_key());
  const bytes wake = from_hex(vectors::wake);
  for (size_t i = 0; i < wake.size(); i += (i < 30 || i > 405) ? 1 : 25) {
    bytes changed = wake;
    changed[i] ^= 0x10;
    EXPECT_EQ(parse(libsec::wake_layout, changed), -1) << "byte " << i;
  }
  EXPECT_EQ(key_of(live), test_key());
}

TEST_F(WholePackets, AnLginIsAcceptedAndMovesTheContextToTheLiveSession) {
  begin(SESSION_WRSP_SENT, PACKET_LGIN);
  EXPECT_EQ(parse(libsec::lgin_layout, lgin(wake_session_id, test_key())), 0);
  EXPECT_EQ(printed, "");
  EXPECT_EQ(context->session, &live);
  EXPECT_EQ(scratch.session_id, wake_session_id);
}

TEST_F(WholePackets, ALoutIsAccepted) {
  begin(SESSION_DATA_FLOWING, PACKET_LOUT);
  EXPECT_EQ(parse(libsec::lout_layout, lout(wake_session_id, test_key())), 0);
  EXPECT_EQ(printed, "");
  EXPECT_EQ(context->session, &live);
}

TEST_F(WholePackets, AnEncrLeavesItsContentInData) {
  begin(SESSION_LOGGED_IN, PACKET_ENCR);
  EXPECT_EQ(parse(libsec::encr_layout, encr(wake_session_id, text("get 1.3.6.1"), test_key())), 0);
  EXPECT_EQ(printed, "");
  EXPECT_EQ(context->data, context->packet + 20);
  ASSERT_EQ(context->data_length, 11);
  EXPECT_EQ(std::memcmp(context->data, "get 1.3.6.1", 11), 0);
}

TEST_F(WholePackets, AnLginWithTheOtherTextOrAnotherIdentifierInsideIsRefused) {
  const uint32_t other = wake_session_id + 1;
  for (const bytes &content : {joined({text("LOGIN"), be32(other)}), joined({text("login"), be32(wake_session_id)}),
                               joined({text("LOGOUT"), be32(wake_session_id)}), text("LOGIN"), bytes()}) {
    begin(SESSION_WRSP_SENT, PACKET_LGIN);
    EXPECT_EQ(parse(libsec::lgin_layout, enciphered("LGIN", wake_session_id, content, test_key())), -1);
    EXPECT_EQ(printed, "");
    EXPECT_EQ(context->session, &live) << "the header's identifier chose the session";
  }
}

TEST_F(WholePackets, AnLginOfTwentyBytesHasNoBlockAndIsRefused) {
  begin(SESSION_WRSP_SENT, PACKET_LGIN);
  const bytes packet = joined({header("LGIN", 20, wake_session_id), plain_encrypt(bytes(8), test_key())});
  EXPECT_EQ(parse(libsec::lgin_layout, bytes(packet.begin(), packet.begin() + 20)), -1);
  EXPECT_EQ(printed.substr(0, 20), "CRC error with data\n");
}

TEST_F(WholePackets, AHeaderThatIsCutShortIsRefusedByItsLength) {
  for (const char *signature : {"LGIN", "LOUT", "ENCR"}) {
    for (size_t total = 4; total < 16; ++total) {
      SCOPED_TRACE(testing::Message() << signature << ' ' << total);
      begin(SESSION_DATA_FLOWING, PACKET_ENCR);
      bytes packet = header(signature, total, wake_session_id);
      receive(context.get(), packet);
      packet.resize(total);
      const auto &layout = std::string(signature) == "LGIN"   ? libsec::lgin_layout
                           : std::string(signature) == "LOUT" ? libsec::lout_layout
                                                              : libsec::encr_layout;
      EXPECT_EQ(parse(layout, packet), -1);
      EXPECT_EQ(printed, "offset is too big for data\n");
    }
  }
}

TEST_F(WholePackets, Ack1IsFortyBytes) {
  begin(SESSION_LGIN_ACCEPTED, PACKET_LGIN);
  context->session = &live;
  context->protocol_version = 256;
  const bytes ack1 = generate(libsec::ack1_layout);
  ASSERT_EQ(ack1.size(), 40u);
  EXPECT_EQ(bytes(ack1.begin(), ack1.begin() + 16), header("ACK1", 40, wake_session_id));
  const opened_block block = opened(bytes(ack1.begin() + 16, ack1.end()), test_key());
  EXPECT_TRUE(block.crc_good);
  EXPECT_EQ(block.claimed, 14u);
  EXPECT_EQ(block.content(), joined({text("LOGGEDIN"), be32(wake_session_id), {0x00, 0xB4}}));
}

TEST_F(WholePackets, Ack2IsFortyBytes) {
  begin(SESSION_LOUT_ACCEPTED, PACKET_LOUT);
  context->session = &live;
  context->protocol_version = 256;
  const bytes ack2 = generate(libsec::ack2_layout);
  ASSERT_EQ(ack2.size(), 40u);
  EXPECT_EQ(bytes(ack2.begin(), ack2.begin() + 16), header("ACK2", 40, wake_session_id));
  const opened_block block = opened(bytes(ack2.begin() + 16, ack2.end()), test_key());
  EXPECT_TRUE(block.crc_good);
  EXPECT_EQ(block.claimed, 13u);
  EXPECT_EQ(block.content(), joined({text("LOGGEDOUT"), be32(wake_session_id)}));
}

TEST_F(WholePackets, TheTablesAreNeverChanged) {
  load_test_key(&live);
  EXPECT_EQ(parse(libsec::wake_layout, from_hex(vectors::wake)), 0);
  EXPECT_EQ(libsec::wake_layout[8].length, 0u);
  EXPECT_EQ(libsec::wake_layout[12].length, 0u);
}

}  // namespace
