// SPDX-License-Identifier: MIT
#include <libsec/packet.h>

#include "support/captured.h"
#include "support/fake_clock.h"
#include "support/painted_stack.h"
#include "support/sessions.h"

namespace {

using namespace libsec::test;

constexpr uint32_t id = 0x11223344;
constexpr uint32_t offset = 16;

bytes some_bytes(size_t length) {
  bytes out;
  for (size_t i = 0; i < length; ++i) out.push_back(static_cast<uint8_t>(i * 37 + 5));
  return out;
}

// The live session was keyed just now and is logged in; an ENCR is being parsed.
class PayloadFields : public SessionTest {
 protected:
  PayloadFields() {
    live.session_id = scratch.session_id = id;
    live.state = SESSION_LOGGED_IN;
    scratch.state = PACKET_ENCR;
    set_key(&live, key);
    get_timer(&live.timer, 1);
  }

  // set_pay() on a received packet.
  int32_t open(const bytes &packet, uint32_t at = offset) {
    context->session = &scratch;
    receive(context.get(), packet);
    uint32_t length = 0;
    int32_t result = 7;
    printed = captured([&] { result = set_pay(context.get(), at, &length, nullptr, context->packet + at); });
    EXPECT_EQ(length, 0u) << "the row's length stays";
    return result;
  }

  // A get handler writing at the offset of a payload.
  bytes get(packet_field_handler *handler, const bytes &content) {
    uint32_t length = static_cast<uint32_t>(content.size());
    std::memset(context->packet, 0xA5, sizeof context->packet);
    const uint8_t nothing = 0;  // an empty content has an address, too
    const uint8_t *start = content.empty() ? &nothing : content.data();
    const int32_t written = handler(context.get(), offset, &length, start, context->packet);
    EXPECT_EQ(length, content.size());
    EXPECT_EQ(bytes(context->packet, context->packet + offset), bytes(offset, 0xA5)) << "in front of the payload";
    EXPECT_EQ(context->packet[offset + static_cast<uint32_t>(written)], 0xA5) << "behind the payload";
    return bytes(context->packet + offset, context->packet + offset + written);
  }

  fake_clock clock{1'700'000'000};
  security_session &live = security_sessions;
  security_session &scratch = security_session_tmp;
  std::unique_ptr<zolt_context> context = make_context(&live);
  std::string printed;
  const bytes key = test_key();
};

// ---- set_pay ----

TEST_F(PayloadFields, ABlockOfAnyLengthIsOpenedToItsContent) {
  for (const size_t length : {0u, 1u, 3u, 4u, 11u, 12u, 13u, 100u, 1400u, 39979u}) {
    SCOPED_TRACE(length);
    const bytes content = some_bytes(length);
    EXPECT_EQ(open(encr(id, content, key)), 0);
    EXPECT_EQ(printed, "");
    EXPECT_EQ(context->session, &live);
    EXPECT_EQ(context->data, context->packet + 20);
    ASSERT_EQ(context->data_length, static_cast<int32_t>(length));
    EXPECT_EQ(bytes(context->data, context->data + length), content);
  }
}

TEST_F(PayloadFields, ABlockMayStandAtAnOddOffset) {
  const bytes packet = joined({header("ENCR", 0, id), {1, 2, 3}, sealed(text("odd"), key)});
  EXPECT_EQ(open(packet, 19), 0);
  EXPECT_EQ(context->data, context->packet + 23);
  EXPECT_EQ(context->data_length, 3);
}

TEST_F(PayloadFields, AWrongCrcPrintsTheDecipheredContentLength) {
  const bytes plain = joined({be16(0), be16(4711), text("LOGI")});
  ASSERT_NE(plain_crc16(text("LOGI")), 0u);
  EXPECT_EQ(open(joined({header("ENCR", 24, id), plain_encrypt(plain, key)})), -1);
  EXPECT_EQ(printed, "CRC error with data\n4711\n");
  EXPECT_EQ(context->session, &live);
  EXPECT_EQ(context->data_length, 24) << "not changed";
  EXPECT_EQ(context->data, nullptr);
}

TEST_F(PayloadFields, EveryBitOfCrcContentAndPaddingCounts) {
  const bytes packet = encr(id, some_bytes(13), key);
  for (const size_t byte : {0u, 1u, 4u, 5u, 16u, 17u, 22u, 23u}) {  // of the plain block: 2 and 3 are the length
    bytes plain = plain_decrypt(bytes(packet.begin() + 16, packet.end()), key);
    plain[byte] ^= 0x20;
    EXPECT_EQ(open(joined({bytes(packet.begin(), packet.begin() + 16), plain_encrypt(plain, key)})), -1) << byte;
    EXPECT_EQ(printed, "CRC error with data\n13\n");
  }
}

TEST_F(PayloadFields, TheContentLengthIsNotCoveredByTheCrc) {
  EXPECT_EQ(open(enciphered("ENCR", id, some_bytes(13), key, 5)), 0);
  EXPECT_EQ(context->data_length, 5);
  EXPECT_EQ(bytes(context->data, context->data + 13), some_bytes(13));
}

TEST_F(PayloadFields, PaddingMayBeAnything) {
  const bytes covered = joined({text("hello"), {9, 8, 7, 6, 5, 4, 3}});
  const bytes plain = joined({be16(plain_crc16(covered)), be16(5), covered});
  EXPECT_EQ(open(joined({header("ENCR", 32, id), plain_encrypt(plain, key)})), 0);
  EXPECT_EQ(context->data_length, 5);
}

TEST_F(PayloadFields, AnotherKeysBlockIsRefused) {
  bytes other = key;
  other[127] ^= 1;  // the last slice of the key: it counts from the eighth block on
  EXPECT_EQ(open(encr(id, some_bytes(64), other)), -1);
  EXPECT_EQ(printed, "CRC error with data\n64\n");
}

TEST_F(PayloadFields, TheLiveSessionsKeyDeciphersNotTheScratchRecords) {
  set_key(&scratch, bytes(128, 1));
  EXPECT_EQ(open(encr(id, text("live"), key)), 0);
  EXPECT_EQ(open(encr(id, text("scratch"), bytes(128, 1))), -1);
}

TEST_F(PayloadFields, ARefusedSwapPrintsItsReasonAndLeavesThePacketAsItCame) {
  const bytes packet = encr(id, text("early"), key);
  live.state = SESSION_WRSP_SENT;
  EXPECT_EQ(open(packet), -1);
  EXPECT_EQ(printed, "Session should not be ENCR at this point\nfailed to swap to the correct session\n");
  EXPECT_EQ(context->session, &scratch);
  EXPECT_EQ(bytes(context->packet, context->packet + packet.size()), packet) << "not deciphered";

  live.state = SESSION_DORMANT;
  EXPECT_EQ(open(packet), -1);
  EXPECT_EQ(printed, "Session state is dormant\nfailed to swap to the correct session\n");

  live.state = SESSION_LOGGED_IN;
  clock.advance_ms(180'001);
  EXPECT_EQ(open(packet), -1);
  EXPECT_EQ(printed, "Session has elapsed\nfailed to swap to the correct session\n");

  scratch.session_id = id + 1;
  EXPECT_EQ(open(packet), -1);
  EXPECT_EQ(printed, "failed to swap to the correct session\n");
}

// A block of four bytes or fewer has nothing that its CRC could cover: the check value of nothing is 0,
// which a packet before this one may have left in the place of the CRC.
TEST_F(PayloadFields, BlocksShorterThanEightBytesAreRefusedWhateverAnEarlierPacketLeft) {
  const bytes zeros = plain_encrypt(bytes(8), key);  // deciphers to CRC 0, content length 0
  for (size_t length = 0; length < 8; ++length) {
    SCOPED_TRACE(length);
    context->session = &scratch;
    receive(context.get(), joined({header("ENCR", 16 + length, id), zeros}));
    if (length == 0) std::memset(context->packet + 16, 0, 8);  // nothing is deciphered
    context->data_length = static_cast<int32_t>(16 + length);
    uint32_t row_length = 0;
    int32_t result = 7;
    printed = captured([&] { result = set_pay(context.get(), 16, &row_length, nullptr, context->packet + 16); });
    EXPECT_EQ(result, -1);
    EXPECT_EQ(printed, "CRC error with data\n0\n");
  }
  EXPECT_EQ(open(joined({header("ENCR", 24, id), zeros})), 0) << "eight bytes are a block";
}

TEST_F(PayloadFields, WhatIsClaimedBeyondTheBlockReadsAsZeros) {
  for (const int claimed : {13, 20, 21, 1000, 39979, 39980, 65535}) {
    SCOPED_TRACE(claimed);
    std::memset(context->packet, 0xEE, sizeof context->packet);  // an earlier, longer packet
    std::memset(context->receive_chunk, 0xEE, sizeof context->receive_chunk);
    EXPECT_EQ(open(enciphered("ENCR", id, some_bytes(13), key, claimed)), 0);
    EXPECT_EQ(context->data_length, claimed);
    EXPECT_EQ(bytes(context->data, context->data + 13), some_bytes(13));
    const uint8_t *end = context->receive_chunk + sizeof context->receive_chunk;
    ASSERT_LE(context->data + claimed, end);
    for (int i = 13; i < claimed; ++i) ASSERT_EQ(context->data[i], 0) << i;
    const uint8_t *behind = context->data + (claimed > 20 ? claimed : 20);
    EXPECT_TRUE(behind == end || *behind == 0xEE) << "only what is claimed is cleared";
  }
}

TEST_F(PayloadFields, TheLongestPacketMayClaimTheMost) {
  EXPECT_EQ(open(enciphered("ENCR", id, some_bytes(39979), key, 65535)), 0);
  EXPECT_EQ(context->data_length, 65535);
  EXPECT_EQ(bytes(context->data, context->data + 39979), some_bytes(39979));
  for (int i = 39979; i < 65535; ++i) ASSERT_EQ(context->data[i], 0) << i;
}

TEST_F(PayloadFields, ABlockIsTakenUpToTheOffsetWhereItsClaimStillFitsTheContext) {
  uint8_t &last = context->receive_chunk[sizeof context->receive_chunk - 1];
  EXPECT_EQ(open(joined({bytes(14461), sealed(text("far"), key, 65535)}), 14461), 0);
  EXPECT_EQ(last, 0x00) << "cleared to the last byte";
  last = 0xA5;
  EXPECT_EQ(open(joined({bytes(14462), sealed(text("far"), key, 65535)}), 14462), -1);
  EXPECT_EQ(open(bytes(14462 + 24), 14462), -1) << "zeros, whose CRC is right before they are deciphered";
  EXPECT_EQ(last, 0xA5);
}

TEST_F(PayloadFields, AnOffsetBehindThePacketsEndIsACrcError) {
  // No layout leads there; a host that calls the handler could.
  for (const uint32_t at : {32u, 14462u, 39990u}) {
    SCOPED_TRACE(at);
    context->session = &scratch;
    context->data_length = 24;
    std::memset(context->packet + at, 0, 8);
    uint32_t length = 0;
    int32_t result = 7;
    printed = captured([&] { result = set_pay(context.get(), at, &length, nullptr, context->packet + at); });
    EXPECT_EQ(result, -1);
    EXPECT_EQ(printed, "CRC error with data\n0\n");
  }
}

// ---- cmp_text_conc_session_id ----

TEST_F(PayloadFields, TheContentMustBeginWithTheTextAndTheSessionIdentifier) {
  const bytes word = text("LOGIN");
  const auto compare = [&](const bytes &content) {
    bytes held = joined({{0}, content, bytes(8, 0xA5)});
    context->data = held.data() + 1;  // at an odd address
    uint32_t length = 5;
    return cmp_text_conc_session_id(context.get(), offset, &length, word.data(), context->packet + offset);
  };
  context->session = &live;
  EXPECT_EQ(compare(joined({word, be32(id)})), 0);
  EXPECT_EQ(compare(joined({word, be32(id), text("and more")})), 0);
  const bytes good = joined({word, be32(id)});
  for (size_t i = 0; i < good.size(); ++i) {
    bytes changed = good;
    changed[i] ^= 1;
    EXPECT_EQ(compare(changed), -1) << i;
  }
  EXPECT_EQ(compare(joined({word, {0x44, 0x33, 0x22, 0x11}})), -1) << "the other byte order";
}

// ---- get_payack1, get_payack2 ----

TEST_F(PayloadFields, TheFirstAcknowledgementHasTextIdentifierAndSeconds) {
  const bytes block = get(get_payack1, text("LOGGEDIN"));
  EXPECT_EQ(block.size(), 24u);
  EXPECT_EQ(to_hex(block), to_hex(sealed(joined({text("LOGGEDIN"), be32(id), {0x00, 0xB4}}), key)));
}

TEST_F(PayloadFields, TheSecondAcknowledgementHasTextAndIdentifier) {
  const bytes block = get(get_payack2, text("LOGGEDOUT"));
  EXPECT_EQ(block.size(), 24u);
  EXPECT_EQ(to_hex(block), to_hex(sealed(joined({text("LOGGEDOUT"), be32(id)}), key)));
}

// ---- get_pay ----

TEST_F(PayloadFields, AReplyIsEncipheredUnderEitherFlagAndOnlyUnderTheValueOne) {
  const bytes reply = some_bytes(12);
  const struct {
    uint32_t full, replies;
    bool enciphered;
  } rows[] = {{0, 0, false}, {1, 0, true}, {0, 1, true}, {1, 1, true}, {2, 0, false}, {0, 2, false}, {2, 1, true}};
  for (const auto &row : rows) {
    SCOPED_TRACE(testing::Message() << row.full << ' ' << row.replies);
    full_encryption = row.full;
    context->encrypt_replies = row.replies;
    EXPECT_EQ(to_hex(get(get_pay, reply)), to_hex(row.enciphered ? sealed(reply, key) : reply));
  }
}

TEST_F(PayloadFields, APlainReplyHasItsOwnLength) {
  for (const size_t length : {0u, 1u, 7u, 8u, 13u, 39979u}) {
    EXPECT_EQ(get(get_pay, some_bytes(length)), some_bytes(length));
  }
}

TEST_F(PayloadFields, ABlockAlwaysHasOneToEightBytesOfPaddingAndTheyAreZero) {
  full_encryption = 1;
  for (size_t length = 0; length <= 40; ++length) {
    SCOPED_TRACE(length);
    const bytes content = some_bytes(length);
    const bytes block = get(get_pay, content);
    EXPECT_EQ(block.size(), ((length + 4) / 8 + 1) * 8);
    const opened_block open = opened(block, key);
    EXPECT_TRUE(open.crc_good);
    EXPECT_EQ(open.claimed, length);
    EXPECT_EQ(open.content(), content);
    const bytes padding(open.content_and_padding.begin() + static_cast<long>(length), open.content_and_padding.end());
    EXPECT_EQ(padding, bytes(padding.size(), 0));
  }
}

TEST_F(PayloadFields, TwelveBytesOfContentMakeABlockOf24) {
  full_encryption = 1;
  EXPECT_EQ(get(get_pay, some_bytes(11)).size(), 16u);
  EXPECT_EQ(get(get_pay, some_bytes(12)).size(), 24u);
}

TEST_F(PayloadFields, ANullReplyWritesNothing) {
  for (full_encryption = 0; full_encryption < 2; ++full_encryption) {
    uint32_t length = 77;
    EXPECT_EQ(get_pay(context.get(), offset, &length, nullptr, context->packet), 77);
    EXPECT_EQ(bytes(context->packet, context->packet + 200), bytes(200, 0xA5));
  }
}

TEST_F(PayloadFields, TheLongestReplyFillsThePacketAndOneByteMoreIsNotWritten) {
  full_encryption = 1;
  const bytes reply = some_bytes(40001);
  for (const uint32_t length : {39979u, 39980u, 39984u, 40000u, 65536u, 0x80000000u, 0xffffffffu}) {
    SCOPED_TRACE(length);
    std::memset(context->packet, 0xA5, sizeof context->packet);
    std::memset(context->receive_chunk, 0xA5, sizeof context->receive_chunk);
    uint32_t row_length = length;
    const int32_t written = get_pay(context.get(), offset, &row_length, reply.data(), context->packet);
    if (length == 39979) {
      EXPECT_EQ(written, 39984);
      EXPECT_EQ(bytes(context->packet + offset, context->packet + 40000),
                sealed(bytes(reply.begin(), reply.begin() + 39979), key));
    } else {
      EXPECT_EQ(written, 0);
      EXPECT_EQ(bytes(context->packet, context->packet + sizeof context->packet), bytes(40000, 0xA5));
    }
    EXPECT_EQ(context->receive_chunk[0], 0xA5);
  }
}

TEST_F(PayloadFields, AReplyBehindThePacketsEndIsNotWritten) {
  for (full_encryption = 0; full_encryption < 2; ++full_encryption) {
    for (const uint32_t at : {39993u, 40000u, 40001u, 0xffffffffu}) {
      uint32_t length = 3;
      EXPECT_EQ(get_pay(context.get(), at, &length, key.data(), context->packet), 0) << at;
      EXPECT_EQ(context->packet[39999], 0xA5);
      EXPECT_EQ(context->receive_chunk[0], 0xA5);
    }
  }
}

// A host may answer from the bytes that it was given.
TEST_F(PayloadFields, AReplyThatLiesInsideThePacketIsSafe) {
  for (full_encryption = 0; full_encryption < 2; ++full_encryption) {
    for (const size_t from : {0u, 3u, 15u, 16u, 17u, 20u, 21u, 100u}) {
      SCOPED_TRACE(testing::Message() << full_encryption << ' ' << from);
      const bytes filling = some_bytes(400);
      std::copy(filling.begin(), filling.end(), context->packet);
      const bytes reply(filling.begin() + static_cast<long>(from), filling.begin() + static_cast<long>(from) + 200);
      uint32_t length = 200;
      const int32_t written = get_pay(context.get(), offset, &length, context->packet + from, context->packet);
      const bytes expected = full_encryption == 1 ? sealed(reply, key) : reply;
      ASSERT_EQ(written, static_cast<int32_t>(expected.size()));
      EXPECT_EQ(to_hex(bytes(context->packet + offset, context->packet + offset + written)), to_hex(expected));
    }
  }
}

TEST_F(PayloadFields, SealingLeavesNoKeyAndNoReplyOnTheStack) {
#if defined(LIBSEC_TRAP_UNDEFINED) || defined(__i386__)
  GTEST_SKIP() << "checks for undefined behaviour, and too few registers, make the cipher spill key words";
#endif
  full_encryption = 1;
  const bytes reply = some_bytes(64);
  zolt_context *c = context.get();
  uint32_t length = 64;
  const painted_stack stack([&] { (void)get_pay(c, offset, &length, reply.data(), c->packet); });
  // The cipher keeps the key as words: the same bytes in the machine's order.
  bytes words;
  for (size_t i = 0; i < 128; i += 4) {
    const uint32_t word = read_be32(key, i);
    uint8_t native[4];
    std::memcpy(native, &word, 4);
    words.insert(words.end(), native, native + 4);
  }
  EXPECT_FALSE(stack.holds_piece_of(key, 8));
#if !defined(LIBSEC_SANITIZED)  // sanitizers spill what stays in registers otherwise
  EXPECT_FALSE(stack.holds_piece_of(words, 8));
#endif
  EXPECT_FALSE(stack.holds_piece_of(reply, 16));
  EXPECT_LT(stack.used(), 30'000u) << "no staging area";
}

}  // namespace
