// SPDX-License-Identifier: MIT
#include "support/captured.h"
#include "support/fake_clock.h"
#include "support/sessions.h"

namespace {

using namespace libsec::test;

constexpr uint32_t id = 0x11223344;

// A live session whose WAKE was answered just now.
class States : public SessionTest {
 protected:
  void begin(uint32_t state) {
    live.state = state;
    live.session_id = id;
    get_timer(&live.timer, 1);
  }

  // session_get() of a packet that begins with the signature.
  int32_t get(std::string_view signature, int32_t length = 16) {
    bytes packet = text(signature);
    packet.resize(16);
    printed = captured([&] { result = session_get(&slot, packet.data(), length); });
    return result;
  }

  // session_swap() of a parsed packet.
  int32_t swap(uint32_t kind, uint32_t session_id = id) {
    scratch.state = kind;
    scratch.session_id = session_id;
    slot = &scratch;
    printed = captured([&] { result = session_swap(&slot); });
    return result;
  }

  fake_clock clock{1'700'000'000};
  security_session &live = security_sessions;
  security_session &scratch = security_session_tmp;
  security_session *slot = nullptr;
  std::string printed;
  int32_t result = 7;
};

// ---- session_elapsed ----

TEST_F(States, EachStateElapsesOneMillisecondAfterItsLimit) {
  const struct {
    uint32_t state;
    int64_t limit_ms;
  } rows[] = {
      {SESSION_DORMANT, 0},        {SESSION_WAKE_ADMITTED, 0},
      {SESSION_WRSP_SENT, 10000},  {SESSION_LGIN_ACCEPTED, 0},
      {SESSION_LOGGED_IN, 180000}, {SESSION_DATA_FLOWING, 180000},
      {SESSION_LOUT_ACCEPTED, 0},  {7, 0},
      {PACKET_OTHER, 0},           {UINT32_MAX, 0},
  };
  for (const auto &row : rows) {
    SCOPED_TRACE(row.state);
    clock.set(1'700'000'000);
    begin(row.state);
    clock.advance_ms(row.limit_ms);
    EXPECT_EQ(session_elapsed(&live), 0u);
    clock.advance_us(999);
    EXPECT_EQ(session_elapsed(&live), 0u) << "only whole milliseconds count";
    clock.advance_us(1);
    EXPECT_EQ(session_elapsed(&live), 1u);
  }
}

TEST_F(States, AskingForTheAgeDoesNotRestartTheTimer) {
  begin(SESSION_WRSP_SENT);
  for (int second = 0; second < 10; ++second) {
    clock.advance_ms(1000);
    EXPECT_EQ(session_elapsed(&live), 0u);
  }
  clock.advance_ms(1);
  EXPECT_EQ(session_elapsed(&live), 1u);
}

TEST_F(States, AClockThatWasSetBackEndsTheSession) {
  begin(SESSION_DATA_FLOWING);
  clock.advance_ms(-3'600'000);
  EXPECT_EQ(session_elapsed(&live), 1u) << "the age counts modulo 2^32, unsigned";
}

TEST_F(States, WithoutAClockNoSessionLives) {
  begin(SESSION_LOGGED_IN);
  EXPECT_EQ(session_elapsed(&live), 0u);
  clock.break_down();
  EXPECT_EQ(session_elapsed(&live), 1u);
}

TEST_F(States, TheRecordThatIsAskedAboutIsTheOneWhoseTimerCounts) {
  begin(SESSION_LOGGED_IN);
  clock.advance_ms(200'000);
  scratch.state = SESSION_LOGGED_IN;
  get_timer(&scratch.timer, 1);
  EXPECT_EQ(session_elapsed(&live), 1u);
  EXPECT_EQ(session_elapsed(&scratch), 0u);
}

// ---- session_get ----

TEST_F(States, EverySignatureLeadsToItsKindInTheScratchRecord) {
  const struct {
    const char *signature;
    uint32_t kind;
  } rows[] = {{"LGIN", PACKET_LGIN}, {"LOUT", PACKET_LOUT}, {"ENCR", PACKET_ENCR}};
  for (const auto &row : rows) {
    SCOPED_TRACE(row.signature);
    EXPECT_EQ(get(row.signature), 0);
    EXPECT_EQ(slot, &scratch);
    EXPECT_EQ(scratch.state, row.kind);
    EXPECT_EQ(printed, "");
    EXPECT_EQ(live.state, uint32_t{SESSION_DORMANT});
  }
}

TEST_F(States, AWakeForADormantSessionIsParsedStraightIntoIt) {
  live.admission_mark = 9;
  live.session_id = id;
  EXPECT_EQ(get("WAKE"), 0);
  EXPECT_EQ(slot, &live);
  EXPECT_EQ(live.state, uint32_t{SESSION_WAKE_ADMITTED});
  EXPECT_EQ(live.admission_mark, 0);
  EXPECT_EQ(live.session_id, id) << "only the packet changes it";
  EXPECT_EQ(scratch.state, uint32_t{PACKET_WAKE});
  EXPECT_EQ(printed, "");
}

TEST_F(States, ThreeBytesAreRefusedWithTheScratchRecordInTheSlot) {
  scratch.state = 77;
  slot = &live;
  EXPECT_EQ(get("WAKE", 3), -1);
  EXPECT_EQ(slot, &scratch);
  EXPECT_EQ(scratch.state, 77u);
  EXPECT_EQ(live.state, uint32_t{SESSION_DORMANT});
  EXPECT_EQ(printed, "");
}

TEST_F(States, FourBytesAreEnoughAndNegativeLengthsAreNot) {
  EXPECT_EQ(get("LGIN", 4), 0);
  EXPECT_EQ(get("LGIN", 0), -1);
  EXPECT_EQ(get("LGIN", -1), -1);
}

TEST_F(States, AnUnknownSignatureIsKindEightWhileNothingIsEnciphered) {
  for (const char *signature : {"ABCD", "wake", "WAKF", "AGIN", "LGIM", "ENCS", "WRSP", "ACK1", ""}) {
    SCOPED_TRACE(signature);
    EXPECT_EQ(get(signature), 0);
    EXPECT_EQ(slot, &scratch);
    EXPECT_EQ(scratch.state, uint32_t{PACKET_OTHER});
    EXPECT_EQ(printed, "The packet wasn't recognised\n");
  }
}

TEST_F(States, AnUnknownSignatureIsRefusedUnderFullEncryption) {
  for (const uint32_t flag : {1u, 2u, 0x80000000u}) {  // any non-zero value
    full_encryption = flag;
    scratch.state = 77;
    EXPECT_EQ(get("ABCD"), -1);
    EXPECT_EQ(slot, &scratch);
    EXPECT_EQ(scratch.state, 77u);
    EXPECT_EQ(printed, "The packet wasn't recognised\n");
  }
}

TEST_F(States, KnownSignaturesAreTakenUnderFullEncryptionToo) {
  full_encryption = 1;
  EXPECT_EQ(get("ENCR"), 0);
  EXPECT_EQ(get("WAKE"), 0);
  EXPECT_EQ(printed, "");
}

TEST_F(States, AWakeFiveSecondsAfterTheWrspIsRefusedAndElevenSecondsAfterIsAdmitted) {
  begin(SESSION_WRSP_SENT);
  clock.advance_ms(5000);
  scratch.session_id = 5;
  EXPECT_EQ(get("WAKE"), -1);
  EXPECT_EQ(printed, "");
  EXPECT_EQ(slot, &scratch);
  EXPECT_EQ(scratch.session_id, 0u);
  EXPECT_EQ(scratch.state, uint32_t{PACKET_WAKE});
  EXPECT_EQ(live.state, uint32_t{SESSION_WRSP_SENT});
  EXPECT_EQ(live.session_id, id);

  clock.advance_ms(6000);
  scratch.session_id = 5;
  live.admission_mark = 3;
  EXPECT_EQ(get("WAKE"), 0);
  EXPECT_EQ(printed, "timeout\n");
  EXPECT_EQ(slot, &live);
  EXPECT_EQ(live.state, uint32_t{SESSION_WAKE_ADMITTED});
  EXPECT_EQ(live.session_id, 0u);
  EXPECT_EQ(live.admission_mark, 0);
  EXPECT_EQ(scratch.session_id, 5u);
}

TEST_F(States, AWakeTakesASessionOverOnlyAfterItsLimit) {
  const struct {
    uint32_t state;
    int64_t limit_ms;
  } rows[] = {{SESSION_WAKE_ADMITTED, 0},  {SESSION_WRSP_SENT, 10000},     {SESSION_LGIN_ACCEPTED, 0},
              {SESSION_LOGGED_IN, 180000}, {SESSION_DATA_FLOWING, 180000}, {SESSION_LOUT_ACCEPTED, 0}};
  for (const auto &row : rows) {
    SCOPED_TRACE(row.state);
    begin(row.state);
    clock.advance_ms(row.limit_ms);
    EXPECT_EQ(get("WAKE"), -1);
    EXPECT_EQ(live.state, row.state);
    EXPECT_EQ(live.session_id, id);
    EXPECT_EQ(printed, "");
    clock.advance_ms(1);
    EXPECT_EQ(get("WAKE"), 0);
    EXPECT_EQ(live.state, uint32_t{SESSION_WAKE_ADMITTED});
    EXPECT_EQ(printed, "timeout\n");
  }
}

TEST_F(States, OtherPacketsLeaveAnElapsedSessionToTheSwap) {
  begin(SESSION_LOGGED_IN);
  clock.advance_ms(180'001);
  EXPECT_EQ(get("ENCR"), 0);
  EXPECT_EQ(printed, "");
  EXPECT_EQ(live.state, uint32_t{SESSION_LOGGED_IN});
  EXPECT_EQ(live.session_id, id);
}

// ---- session_swap ----

constexpr char accepted[] = "";
constexpr char dormant[] = "Session state is dormant\n";
constexpr char no_encr[] = "Session should not be ENCR at this point\n";
constexpr char not_allowed[] = "Session is not allowed in this state\n";

TEST_F(States, EveryKindFitsTheStatesThatItIsMeantFor) {
  const struct {
    uint32_t state;
    const char *lgin, *encr, *lout, *other;
  } rows[] = {
      {SESSION_DORMANT, dormant, dormant, dormant, dormant},
      {SESSION_WAKE_ADMITTED, not_allowed, no_encr, accepted, not_allowed},
      {SESSION_WRSP_SENT, accepted, no_encr, accepted, not_allowed},
      {SESSION_LGIN_ACCEPTED, not_allowed, no_encr, accepted, not_allowed},
      {SESSION_LOGGED_IN, not_allowed, accepted, accepted, not_allowed},
      {SESSION_DATA_FLOWING, not_allowed, accepted, accepted, not_allowed},
      {SESSION_LOUT_ACCEPTED, not_allowed, accepted, accepted, not_allowed},
      {7, not_allowed, accepted, accepted, accepted},  // kind 8 is 7 plus 1
  };
  for (const auto &row : rows) {
    const struct {
      uint32_t kind;
      const char *text;
    } cells[] = {{PACKET_LGIN, row.lgin}, {PACKET_ENCR, row.encr}, {PACKET_LOUT, row.lout}, {PACKET_OTHER, row.other}};
    for (const auto &cell : cells) {
      SCOPED_TRACE(testing::Message() << "state " << row.state << ", kind " << cell.kind);
      begin(row.state);
      const bool fits = cell.text == accepted;
      EXPECT_EQ(swap(cell.kind), fits ? 0 : -1);
      EXPECT_EQ(printed, cell.text);
      EXPECT_EQ(slot, fits ? &live : &scratch);
      EXPECT_EQ(live.state, row.state) << "the handler moves the state, not the swap";
      EXPECT_EQ(live.session_id, id);
    }
  }
}

TEST_F(States, AnLginInStateFourAndAnEncrInStateTwoAreRefusedWithTheirReasons) {
  begin(SESSION_LOGGED_IN);
  EXPECT_EQ(swap(PACKET_LGIN), -1);
  EXPECT_EQ(printed, "Session is not allowed in this state\n");
  begin(SESSION_WRSP_SENT);
  EXPECT_EQ(swap(PACKET_ENCR), -1);
  EXPECT_EQ(printed, "Session should not be ENCR at this point\n");
}

TEST_F(States, AStateAboveTwoToTheThirtyOneIsBelowFourForAnEncr) {
  begin(0x80000000u);
  EXPECT_EQ(swap(PACKET_ENCR), -1);
  EXPECT_EQ(printed, no_encr);
}

TEST_F(States, AForeignIdentifierIsRefusedInSilenceBeforeAllElse) {
  for (const uint32_t state : {SESSION_DORMANT, SESSION_WRSP_SENT, SESSION_DATA_FLOWING}) {
    begin(state);
    clock.advance_ms(1'000'000);
    for (const uint32_t foreign : {0u, id + 1, id ^ 0x80000000u}) {
      EXPECT_EQ(swap(PACKET_ENCR, foreign), -1);
      EXPECT_EQ(printed, "");
      EXPECT_EQ(slot, &scratch);
    }
  }
}

TEST_F(States, AnElapsedSessionTakesNothingAndKeepsItsState) {
  const struct {
    uint32_t state, kind;
    int64_t limit_ms;
  } rows[] = {{SESSION_WRSP_SENT, PACKET_LGIN, 10000},     {SESSION_LOGGED_IN, PACKET_ENCR, 180000},
              {SESSION_DATA_FLOWING, PACKET_LOUT, 180000}, {SESSION_WAKE_ADMITTED, PACKET_LOUT, 0},
              {SESSION_LGIN_ACCEPTED, PACKET_LOUT, 0},     {SESSION_LOUT_ACCEPTED, PACKET_LOUT, 0},
              {SESSION_WAKE_ADMITTED, PACKET_ENCR, 0}};
  for (const auto &row : rows) {
    SCOPED_TRACE(testing::Message() << "state " << row.state << ", kind " << row.kind);
    begin(row.state);
    clock.advance_ms(row.limit_ms + 1);
    EXPECT_EQ(swap(row.kind), -1);
    EXPECT_EQ(printed, "Session has elapsed\n");
    EXPECT_EQ(slot, &scratch);
    EXPECT_EQ(live.state, row.state);
    EXPECT_EQ(live.session_id, id);
  }
}

TEST_F(States, ASessionLives180SecondsFromItsWakeWhateverTrafficFollows) {
  begin(SESSION_LOGGED_IN);
  for (int second = 0; second < 180; second += 20) {
    EXPECT_EQ(swap(PACKET_ENCR), 0);
    live.state = SESSION_DATA_FLOWING;
    clock.advance_ms(20'000);
  }
  EXPECT_EQ(swap(PACKET_ENCR), 0);
  clock.advance_ms(1);
  EXPECT_EQ(swap(PACKET_ENCR), -1);
  EXPECT_EQ(printed, "Session has elapsed\n");
}

// A stranger's WAKE may be admitted and refused right after a logout; the session it leaves in state 1
// is as old as the one before and takes nothing.
TEST_F(States, ARefusedWakeDoesNotBringTheOldSessionBack) {
  begin(SESSION_DATA_FLOWING);
  clock.advance_ms(1000);
  live.state = SESSION_DORMANT;  // logged out
  ASSERT_EQ(get("WAKE"), 0);
  live.session_id = id;  // as the packet says; its signature is then refused
  for (const uint32_t kind : {PACKET_LGIN, PACKET_ENCR, PACKET_LOUT}) {
    EXPECT_EQ(swap(kind), -1);
    EXPECT_EQ(printed, "Session has elapsed\n");
  }
}

// ---- session_exists ----

TEST_F(States, TheLiveSessionNeverExistsForItself) {
  begin(SESSION_LOGGED_IN);
  EXPECT_EQ(session_exists(&live), 0u);
  live.admission_mark = 1;
  EXPECT_EQ(session_exists(&live), 0u);
}

TEST_F(States, ARecordExistsWhenItsMarkDiffersAndItsIdentifierIsThatOfARunningSession) {
  begin(SESSION_LOGGED_IN);
  scratch.session_id = id;
  scratch.admission_mark = 0;
  EXPECT_EQ(session_exists(&scratch), 0u) << "equal marks";
  scratch.admission_mark = 1;
  EXPECT_EQ(session_exists(&scratch), 1u);
  scratch.session_id = id + 1;
  EXPECT_EQ(session_exists(&scratch), 0u) << "another identifier";
  scratch.session_id = id;
  clock.advance_ms(180'000);
  EXPECT_EQ(session_exists(&scratch), 1u);
  clock.advance_ms(1);
  EXPECT_EQ(session_exists(&scratch), 0u) << "elapsed";
}

}  // namespace
