// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <libsec/crypto.h>

#include <cstring>

#include "support/fake_clock.h"

namespace {

using libsec::test::fake_clock;

// hardclock() fixes its start at its first call in the process, so that call is made here, before
// main(), at a known time: 5000.9 s.
const uint32_t first_hardclock = [] {
  fake_clock clock(5000, 900'000);
  return hardclock();
}();

TEST(Hardclock, TheFirstCallReturnsZero) {
  EXPECT_EQ(first_hardclock, 0u);
}

TEST(Hardclock, LaterCallsReturnTheMicrosecondsSinceTheFirst) {
  fake_clock clock(5000, 900'001);
  EXPECT_EQ(hardclock(), 1u);
  clock.set(5001, 0);
  EXPECT_EQ(hardclock(), 100'000u);
  clock.set(5063, 123'456);
  EXPECT_EQ(hardclock(), 62'223'456u);
}

TEST(Hardclock, WrapsAfterTwoToTheThirtyTwoMicroseconds) {
  fake_clock clock(5000, 900'000);
  clock.advance_us(int64_t{1} << 32);
  EXPECT_EQ(hardclock(), 0u);
  clock.advance_us((int64_t{1} << 32) + 7);
  EXPECT_EQ(hardclock(), 7u);
}

TEST(Hardclock, AClockSetBackCountsBelowZeroModuloTwoToTheThirtyTwo) {
  fake_clock clock(4999, 900'000);
  EXPECT_EQ(hardclock(), 0u - 1'000'000u);
}

TEST(GetTimer, ElevenSecondsAfterAResetJustBeforeElevenIsOneMillisecond) {
  fake_clock clock(10, 999'999);
  timer_state timer{};
  get_timer(&timer, 1);
  clock.set(11, 0);
  EXPECT_EQ(get_timer(&timer, 0), 1u);  // 1000 + (-999999 / 1000 -> -999)
}

TEST(GetTimer, NineHundredNinetyNineMicrosecondsTruncateToZero) {
  fake_clock clock(10, 0);
  timer_state timer{};
  get_timer(&timer, 1);
  clock.set(10, 999);
  EXPECT_EQ(get_timer(&timer, 0), 0u);
  clock.set(10, 1000);
  EXPECT_EQ(get_timer(&timer, 0), 1u);
}

TEST(GetTimer, WithoutAClockEveryLimitIsOverAndTheTimerStays) {
  fake_clock clock(100, 5);
  timer_state timer{};
  get_timer(&timer, 1);
  clock.break_down();
  EXPECT_EQ(get_timer(&timer, 0), UINT32_MAX);
  EXPECT_EQ(get_timer(&timer, 1), UINT32_MAX);
  EXPECT_EQ(timer.seconds, 100);
  EXPECT_EQ(timer.microseconds, 5);
}

TEST(GetTimer, ReadingWithoutResetLeavesTheTimerRunning) {
  fake_clock clock(100);
  timer_state timer{};
  get_timer(&timer, 1);
  clock.advance_ms(250);
  EXPECT_EQ(get_timer(&timer, 0), 250u);
  clock.advance_ms(250);
  EXPECT_EQ(get_timer(&timer, 0), 500u);
  EXPECT_EQ(timer.seconds, 100);
  EXPECT_EQ(timer.microseconds, 0);
}

TEST(GetTimer, ReadingWithResetReturnsTheDifferenceAndRestarts) {
  fake_clock clock(100);
  timer_state timer{};
  get_timer(&timer, 1);
  clock.advance_us(1'250'000);
  EXPECT_EQ(get_timer(&timer, -1), 1250u);  // any non-zero value resets
  EXPECT_EQ(timer.seconds, 101);
  EXPECT_EQ(timer.microseconds, 250'000);
  EXPECT_EQ(get_timer(&timer, 0), 0u);
}

TEST(GetTimer, TheRecordIsEightBytesAndNothingBehindItIsWritten) {
  fake_clock clock(0x0102030405, 999'999);  // more seconds than a word holds
  struct {
    timer_state timer;
    uint8_t behind[16];
  } record;
  std::memset(&record, 0xA5, sizeof record);
  get_timer(&record.timer, 1);
  EXPECT_EQ(sizeof record.timer, 8u);
  EXPECT_EQ(record.timer.seconds, 0x02030405);
  EXPECT_EQ(record.timer.microseconds, 999'999);
  for (const uint8_t byte : record.behind) EXPECT_EQ(byte, 0xA5);
}

TEST(GetTimer, SecondsBeyondTwoToTheThirtyOneStillCountOn) {
  fake_clock clock(0x7fffffff, 500'000);
  timer_state timer{};
  get_timer(&timer, 1);
  clock.advance_ms(2000);
  EXPECT_EQ(get_timer(&timer, 1), 2000u);
  EXPECT_EQ(timer.seconds, INT32_MIN + 1);
  clock.advance_ms(3000);
  EXPECT_EQ(get_timer(&timer, 0), 3000u);
}

TEST(GetTimer, AnArbitraryRecordGivesANumberAndNoOverflow) {
  fake_clock clock(-5, 0);
  timer_state timer{INT32_MIN, INT32_MIN};
  // Modulo 2^32: (-5 + 2^31) * 1000, and the microsecond difference is 2^31, as a signed word -2^31.
  EXPECT_EQ(get_timer(&timer, 0), (0u - 5u + 0x80000000u) * 1000u + static_cast<uint32_t>(INT32_MIN / 1000));
}

TEST(FakeClock, RealTimePassesThroughWhenNoneIsActive) {
  timer_state timer{};
  { fake_clock clock(1); }
  get_timer(&timer, 1);
  EXPECT_GT(static_cast<uint32_t>(timer.seconds), 1'600'000'000u);
}

TEST(FakeClock, TicksAfterEveryReadingAndCountsThem) {
  fake_clock clock(7);
  clock.tick_us(1000);
  timer_state timer{};
  get_timer(&timer, 1);
  EXPECT_EQ(get_timer(&timer, 0), 1u);
  EXPECT_EQ(get_timer(&timer, 0), 2u);
  EXPECT_EQ(clock.readings(), 3u);
}

}  // namespace
