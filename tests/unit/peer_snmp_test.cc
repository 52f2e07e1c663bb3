// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "peer/snmp.h"

namespace {

using peer::answers_snmp;
using peer::snmp_request_id;

peer::bytes hex(const char *digits) {
  return *peer::from_hex(digits);
}

// GET sysDescr.0 of version 2c with the community "public"; `id` is the whole request-id element.
peer::bytes get(const std::string &id, const char *pdu = "a0") {
  peer::bytes body = hex((id + "020100020100300e300c06082b060102010101000500").c_str());
  peer::bytes message = hex("02010104067075626c6963");
  peer::append(message, hex(pdu));
  message.push_back(static_cast<uint8_t>(body.size()));
  peer::append(message, body);
  peer::bytes whole = hex("30");
  whole.push_back(static_cast<uint8_t>(message.size()));
  peer::append(whole, message);
  return whole;
}

TEST(Snmp, TheRequestIdOfAGetIsFound) {
  EXPECT_EQ(snmp_request_id(get("020101")), 1);
  EXPECT_EQ(snmp_request_id(get("02047fffffff")), 0x7fffffff);
  EXPECT_EQ(snmp_request_id(get("0204ffffffff")), -1);
  EXPECT_EQ(snmp_request_id(get("02020080")), 128);
}

TEST(Snmp, EveryPduButTheOldTrapHasOne) {
  for (const char *pdu : {"a0", "a1", "a2", "a3", "a5", "a6", "a7", "a8"})
    EXPECT_EQ(snmp_request_id(get("020105", pdu)), 5);
  EXPECT_EQ(snmp_request_id(get("020105", "a4")), std::nullopt);
  EXPECT_EQ(snmp_request_id(get("020105", "30")), std::nullopt);
}

TEST(Snmp, OfVersion3TheMessageIdCounts) {
  EXPECT_EQ(snmp_request_id(hex("3014020103300e0203012345020205c0040104020103")), 0x12345);
}

TEST(Snmp, LongLengthsAreUnderstood) {
  EXPECT_EQ(snmp_request_id(hex("30850000000015020101040100a08400000009020109020100020100")), std::nullopt);
  EXPECT_EQ(snmp_request_id(hex("30820015020101040100a08400000009020109020100020100")), 9);
}

TEST(Snmp, AResponseSaysWhetherItsAgentFailed) {
  // The second number of the PDU, behind the request-id, is the error-status.
  auto response = [](const char *error, const char *pdu = "a2") {
    return hex(
        (std::string("3019020101040100") + pdu + "11020109" + "0201" + error + "0201003006300406000500").c_str());
  };
  ASSERT_TRUE(peer::read_snmp(response("05")));
  EXPECT_EQ(peer::read_snmp(response("05"))->error_status, 5);
  EXPECT_EQ(peer::snmp_pdu_name(peer::read_snmp(response("05"))->pdu), "response");
  EXPECT_EQ(peer::snmp_agent_failure(response("05")), 5);
  EXPECT_EQ(peer::snmp_error_name(5), "genErr");
  for (const char *failed : {"0d", "0e", "0f"}) EXPECT_NE(peer::snmp_agent_failure(response(failed)), 0) << failed;
  EXPECT_EQ(peer::snmp_error_name(15), "undoFailed");
  // What was wrong with the request is an answer like any other; and a request has no error.
  for (const char *answered : {"00", "01", "02", "03", "04", "06", "0c", "10", "12", "7f"})
    EXPECT_EQ(peer::snmp_agent_failure(response(answered)), 0) << answered;
  EXPECT_EQ(peer::snmp_agent_failure(response("05", "a5")), 0);
  EXPECT_EQ(peer::snmp_agent_failure(peer::bytes_of("localhost")), 0);
  EXPECT_EQ(peer::snmp_error_name(19), "");
  EXPECT_EQ(peer::snmp_error_name(-1), "");
}

TEST(Snmp, EveryCutOfAMessageIsNoMessage) {
  peer::bytes whole = get("02020102");
  for (size_t length = 0; length < whole.size(); length++) {
    // In memory of its own size, so that a sanitizer sees a read beyond it.
    peer::bytes part(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(length));
    EXPECT_EQ(snmp_request_id(part), std::nullopt) << length;
  }
}

TEST(Snmp, EveryChangedByteIsReadWithoutHarm) {
  for (size_t at = 0; at < 24; at++) {
    for (int value = 0; value < 256; value++) {
      peer::bytes message = get("02020102");
      message[at] = static_cast<uint8_t>(value);
      (void)snmp_request_id(message);
    }
  }
}

TEST(Snmp, AReplyAnswersTheRequestWithItsNumber) {
  EXPECT_TRUE(answers_snmp(get("020107"), get("020107", "a2")));
  EXPECT_FALSE(answers_snmp(get("020107"), get("020108", "a2")));
}

TEST(Snmp, WhatIsNoSnmpIsTakenInOrder) {
  EXPECT_TRUE(answers_snmp(peer::bytes_of("hello"), get("020108", "a2")));
  EXPECT_TRUE(answers_snmp(get("020107"), peer::bytes_of("hello")));
  EXPECT_TRUE(answers_snmp({}, {}));
}

}  // namespace
