// SPDX-License-Identifier: MIT
// The two walkers, with rows of the test's own.
#include <libsec/packet.h>

#include "support/captured.h"
#include "support/sessions.h"

namespace {

using namespace libsec::test;

// What the handlers were called with, in order.
struct call {
  const char *who;
  uint32_t offset;
  uint32_t length;
  const uint8_t *text;
  const uint8_t *field;
  bool operator==(const call &) const = default;
};
std::vector<call> calls;
std::string refuser;             // the handler that refuses
uint32_t new_length = 0;         // if not 0, what set and get write into the row
zolt_context *expected_context;  // of every call

int32_t note(const char *who, zolt_context *context, uint32_t offset, const uint32_t *length, const uint8_t *text,
             const uint8_t *field) {
  EXPECT_EQ(context, expected_context);
  calls.push_back({who, offset, *length, text, field});
  return refuser == who ? -1 : 0;
}

int32_t set_a(zolt_context *c, uint32_t o, uint32_t *l, const uint8_t *t, uint8_t *f) {
  const int32_t result = note("set_a", c, o, l, t, f);
  if (new_length != 0) *l = new_length;
  return result;
}
int32_t set_b(zolt_context *c, uint32_t o, uint32_t *l, const uint8_t *t, uint8_t *f) {
  return note("set_b", c, o, l, t, f);
}
int32_t compare_a(zolt_context *c, uint32_t o, uint32_t *l, const uint8_t *t, uint8_t *f) {
  return note("compare_a", c, o, l, t, f);
}
int32_t get_a(zolt_context *c, uint32_t o, uint32_t *l, const uint8_t *t, uint8_t *f) {
  (void)note("get_a", c, o, l, t, f);
  return new_length != 0 ? static_cast<int32_t>(new_length) : static_cast<int32_t>(*l);
}
int32_t get_b(zolt_context *c, uint32_t o, uint32_t *l, const uint8_t *t, uint8_t *f) {
  (void)note("get_b", c, o, l, t, f);
  return static_cast<int32_t>(*l);
}

constexpr packet_field end_row{};
constexpr uint8_t some_text[] = "text";

class Codec : public testing::Test {
 protected:
  Codec() {
    calls.clear();
    refuser.clear();
    new_length = 0;
    expected_context = context.get();
  }

  int32_t parse(packet_field *rows) {
    int32_t result = 7;
    printed = captured([&] { result = packet_parse(context.get(), rows); });
    return result;
  }

  std::unique_ptr<zolt_context> context = make_context();
  uint8_t *packet = context->packet;
  std::string printed;
};

// ---- packet_parse ----

TEST_F(Codec, ParsingCallsSetThenCompareOfEveryRowWithTheRowsOffset) {
  packet_field rows[] = {{"a", 99, 4, some_text, set_a, nullptr, compare_a},
                         {"length", 0, 2, nullptr, nullptr, nullptr, nullptr},
                         {"b", 0, 3, nullptr, set_b, nullptr, nullptr},
                         end_row};
  receive(context.get(), joined({text("abcd"), be16(9), text("efg")}));
  EXPECT_EQ(parse(rows), 0);
  EXPECT_EQ(printed, "");
  const std::vector<call> expected = {
      {"set_a", 0, 4, some_text, packet}, {"compare_a", 0, 4, some_text, packet}, {"set_b", 6, 3, nullptr, packet + 6}};
  EXPECT_EQ(calls, expected);
  EXPECT_EQ(context->data_length, 9);
}

TEST_F(Codec, AVariableFieldsLengthIsReadAfterItsHandlersRan) {
  packet_field rows[] = {
      {"a", 0, 0, nullptr, set_a, nullptr, compare_a}, {"b", 0, 1, nullptr, set_b, nullptr, nullptr}, end_row};
  new_length = 5;
  context->data_length = 6;
  EXPECT_EQ(parse(rows), 0);
  const std::vector<call> expected = {
      {"set_a", 0, 0, nullptr, packet}, {"compare_a", 0, 5, nullptr, packet}, {"set_b", 5, 1, nullptr, packet + 5}};
  EXPECT_EQ(calls, expected);
  EXPECT_EQ(rows[0].length, 5u);
}

TEST_F(Codec, ARefusalBySetEndsTheParsingInSilence) {
  packet_field rows[] = {
      {"a", 0, 4, nullptr, set_a, nullptr, compare_a}, {"b", 0, 3, nullptr, set_b, nullptr, nullptr}, end_row};
  refuser = "set_a";
  context->data_length = 7;
  EXPECT_EQ(parse(rows), -1);
  EXPECT_EQ(printed, "");
  EXPECT_EQ(calls.size(), 1u);
}

TEST_F(Codec, ARefusalByCompareEndsTheParsingInSilence) {
  packet_field rows[] = {
      {"a", 0, 4, nullptr, set_a, nullptr, compare_a}, {"b", 0, 3, nullptr, set_b, nullptr, nullptr}, end_row};
  refuser = "compare_a";
  context->data_length = 7;
  EXPECT_EQ(parse(rows), -1);
  EXPECT_EQ(printed, "");
  EXPECT_EQ(calls.size(), 2u);
}

TEST_F(Codec, TheLengthRowMustEqualTheReceivedLength) {
  for (const auto &[reported, received] : {std::pair{8u, 9}, {10u, 9}, {0u, 9}, {65535u, 9}, {9u + 256u, 9}}) {
    packet_field rows[] = {
        {"length", 0, 2, nullptr, nullptr, nullptr, nullptr}, {"b", 0, 3, nullptr, set_b, nullptr, nullptr}, end_row};
    receive(context.get(), joined({be16(reported), bytes(7)}));
    EXPECT_EQ(parse(rows), -1);
    EXPECT_EQ(printed, "packet length error\nreported length = " + std::to_string(reported) +
                           ", actual length = " + std::to_string(received));
    EXPECT_TRUE(calls.empty());
  }
}

TEST_F(Codec, TheReceivedLengthIsTakenOnceAtTheStart) {
  // A handler may move data_length on, as that of a payload does.
  static zolt_context *moved;
  moved = context.get();
  constexpr auto set_moving = [](zolt_context *c, uint32_t, uint32_t *, const uint8_t *, uint8_t *) -> int32_t {
    c->data_length = 1;
    return 0;
  };
  packet_field rows[] = {{"moving", 0, 4, nullptr, set_moving, nullptr, nullptr},
                         {"length", 0, 2, nullptr, nullptr, nullptr, nullptr},
                         end_row};
  receive(context.get(), joined({text("abcd"), be16(6)}));
  EXPECT_EQ(parse(rows), 0);
  EXPECT_EQ(moved->data_length, 1);
}

TEST_F(Codec, ARowThatEndsBehindThePacketIsRefusedAfterItsHandlersRan) {
  packet_field rows[] = {
      {"a", 0, 4, nullptr, set_a, nullptr, compare_a}, {"b", 0, 3, nullptr, set_b, nullptr, nullptr}, end_row};
  context->data_length = 3;
  EXPECT_EQ(parse(rows), -1);
  EXPECT_EQ(printed, "offset is too big for data\n");
  EXPECT_EQ(calls.size(), 2u);
  context->data_length = 4;
  EXPECT_EQ(parse(rows), -1);
  EXPECT_EQ(printed, "offset is too big for data\n");
  context->data_length = 7;
  rows[0].length = 4;
  EXPECT_EQ(parse(rows), 0);
}

TEST_F(Codec, ALengthRowBehindThePacketsEndIsReadAndRefused) {
  packet_field rows[] = {
      {"a", 0, 4, nullptr, set_a, nullptr, nullptr}, {"length", 0, 2, nullptr, nullptr, nullptr, nullptr}, end_row};
  receive(context.get(), joined({text("abcd"), be16(4)}));  // an older packet's bytes agree
  context->data_length = 4;
  EXPECT_EQ(parse(rows), -1);
  EXPECT_EQ(printed, "offset is too big for data\n");
}

TEST_F(Codec, AHugeVariableLengthIsRefused) {
  packet_field rows[] = {{"a", 0, 0, nullptr, set_a, nullptr, nullptr}, end_row};
  context->data_length = 40000;
  for (const uint32_t length : {40001u, 0x7fffffffu, 0x80000000u, 0xffffffffu}) {
    new_length = length;
    rows[0].length = 0;
    EXPECT_EQ(parse(rows), -1) << length;
    EXPECT_EQ(printed, "offset is too big for data\n");
  }
  new_length = 40000;
  EXPECT_EQ(parse(rows), 0);
}

TEST_F(Codec, NegativeLengthsAreRefused) {
  packet_field rows[] = {{"a", 0, 0, nullptr, set_a, nullptr, nullptr}, end_row};
  context->data_length = -1;
  EXPECT_EQ(parse(rows), -1);
  EXPECT_EQ(printed, "offset is too big for data\n");
}

TEST_F(Codec, BytesBehindTheLastRowAreAcceptedAndStillCounted) {
  packet_field rows[] = {{"a", 0, 4, nullptr, set_a, nullptr, nullptr}, end_row};
  context->data_length = 40000;
  EXPECT_EQ(parse(rows), 0);
  EXPECT_EQ(context->data_length, 40000);
  EXPECT_EQ(printed, "");
}

TEST_F(Codec, ALayoutWithoutRowsAcceptsEverything) {
  packet_field rows[] = {end_row};
  context->data_length = 0;
  EXPECT_EQ(parse(rows), 0);
}

TEST_F(Codec, NothingBehindTheEndRowIsLookedAt) {
  packet_field rows[] = {
      {"a", 0, 4, nullptr, set_a, nullptr, nullptr}, end_row, {"b", 0, 3, nullptr, set_b, nullptr, nullptr}};
  context->data_length = 9;
  EXPECT_EQ(parse(rows), 0);
  EXPECT_EQ(packet_generate(context.get(), rows + 1), 0);
  EXPECT_EQ(calls.size(), 1u);
}

// ---- packet_generate ----

TEST_F(Codec, GeneratingCallsEveryGetInTheOrderOfTheRowsWithThePacketsStart) {
  packet_field rows[] = {{"b", 6, 3, some_text, nullptr, get_b, nullptr},
                         {"a", 0, 4, nullptr, nullptr, get_a, nullptr},
                         {"length", 4, 2, nullptr, nullptr, nullptr, nullptr},
                         end_row};
  context->data_length = 12345;
  EXPECT_EQ(packet_generate(context.get(), rows), 0);
  const std::vector<call> expected = {{"get_b", 6, 3, some_text, packet}, {"get_a", 0, 4, nullptr, packet}};
  EXPECT_EQ(calls, expected);
  EXPECT_EQ(context->data_length, 9);
  EXPECT_EQ(context->data, packet);
  EXPECT_EQ(bytes(packet + 3, packet + 7), (bytes{0xA5, 0, 9, 0xA5}));
}

TEST_F(Codec, TheLengthIsWhatTheGetHandlersReturn) {
  packet_field rows[] = {
      {"a", 6, 4, nullptr, nullptr, get_a, nullptr}, {"length", 1, 2, nullptr, nullptr, nullptr, nullptr}, end_row};
  new_length = 0x1234;
  EXPECT_EQ(packet_generate(context.get(), rows), 0);
  EXPECT_EQ(context->data_length, 0x1236);
  EXPECT_EQ(bytes(packet, packet + 4), (bytes{0xA5, 0x12, 0x36, 0xA5}));
}

TEST_F(Codec, WithoutALengthRowTheLengthIsOnlyKeptInTheContext) {
  packet_field rows[] = {
      {"a", 0, 4, nullptr, nullptr, get_a, nullptr}, {"b", 4, 3, nullptr, nullptr, get_b, nullptr}, end_row};
  EXPECT_EQ(packet_generate(context.get(), rows), 0);
  EXPECT_EQ(context->data_length, 7);
  EXPECT_EQ(bytes(packet, packet + 8), bytes(8, 0xA5));
}

TEST_F(Codec, OnlyTheLowSixteenBitsOfTheLengthAreWritten) {
  packet_field rows[] = {
      {"a", 6, 0, nullptr, nullptr, get_a, nullptr}, {"length", 0, 2, nullptr, nullptr, nullptr, nullptr}, end_row};
  new_length = 0x2BCDB;
  EXPECT_EQ(packet_generate(context.get(), rows), 0);
  EXPECT_EQ(context->data_length, 0x2BCDD);
  EXPECT_EQ(bytes(packet, packet + 3), (bytes{0xBC, 0xDD, 0xA5}));
}

TEST_F(Codec, AnEmptyLayoutGeneratesAnEmptyPacket) {
  packet_field rows[] = {end_row};
  context->data_length = 5;
  context->data = nullptr;
  EXPECT_EQ(packet_generate(context.get(), rows), 0);
  EXPECT_EQ(context->data_length, 0);
  EXPECT_EQ(context->data, packet);
}

}  // namespace
