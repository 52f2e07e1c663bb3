// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <libsec/crypto.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <memory>
#include <set>
#include <vector>

#include "support/fake_clock.h"
#include "support/fake_kernel_random.h"

namespace {

using libsec::test::fake_clock;
using libsec::test::fake_kernel_random;
using enum fake_kernel_random::mode;

constexpr uint64_t readings_of_a_pass = 512;  // 256 iterations of 16 words, two readings each

std::unique_ptr<havege_context> initialised(int fill = 0) {
  auto state = std::make_unique<havege_context>();
  std::memset(state.get(), fill, sizeof *state);
  havege_init(state.get());
  return state;
}

using sequence = std::vector<int32_t>;

sequence draw(havege_context &state, size_t count) {
  sequence words(count);
  for (int32_t &word : words) word = havege_rand(&state);
  return words;
}

// What a device draws for its first secret after each of 64 starts: a fresh state every time.
std::multiset<sequence> restarts() {
  std::multiset<sequence> sequences;
  for (int i = 0; i < 64; ++i) sequences.insert(draw(*initialised(), 128));
  return sequences;
}

bool all_distinct(const std::multiset<sequence> &sequences) {
  return std::set<sequence>(sequences.begin(), sequences.end()).size() == sequences.size();
}

TEST(Havege, RestartsUnderAFrozenClockNeverRepeatASequence) {
  fake_clock frozen(5000, 900'000);
  EXPECT_TRUE(all_distinct(restarts()));
}

TEST(Havege, TheFrozenClockAloneWouldRepeatTheSequence) {
  // Proves that the check above can fail: without the kernel every restart gives the same words.
  fake_clock frozen(5000, 900'000);
  fake_kernel_random kernel(nothing_works);
  const auto sequences = restarts();
  EXPECT_FALSE(all_distinct(sequences));
  EXPECT_EQ(sequences.count(*sequences.begin()), sequences.size());
}

TEST(Havege, TheRandomDeviceStandsInWhereGetrandomFails) {
  fake_clock frozen(5000, 900'000);
  fake_kernel_random kernel(getrandom_fails);
  EXPECT_TRUE(all_distinct(restarts()));
  EXPECT_GT(kernel.asked(), 0u);
}

TEST(Havege, TheClockAloneStillGivesDistinctSequences) {
  fake_kernel_random kernel(nothing_works);
  const auto first = initialised();
  const auto second = initialised();
  EXPECT_NE(draw(*first, 128), draw(*second, 128));
}

TEST(Havege, StatesInitialisedAtDifferentMomentsGiveDifferentSequences) {
  const auto first = initialised();
  const auto second = initialised();
  EXPECT_NE(draw(*first, 600), draw(*second, 600));
}

TEST(Havege, KernelBytesAreLaidOverEveryPoolWord) {
  fake_clock frozen(5001);
  std::unique_ptr<havege_context> without, with;
  {
    fake_kernel_random kernel(nothing_works);
    without = initialised();
  }
  {
    fake_kernel_random kernel(counted_bytes);
    with = initialised();
    EXPECT_EQ(kernel.asked(), sizeof with->pool);
  }
  for (size_t i = 0; i < HAVEGE_POOL_WORDS; ++i) {
    std::array<uint8_t, 4> expected;
    for (size_t k = 0; k < 4; ++k) expected[k] = fake_kernel_random::byte_at(4 * i + k);
    std::array<uint8_t, 4> laid;
    const int32_t difference = with->pool[i] ^ without->pool[i];
    std::memcpy(laid.data(), &difference, 4);
    EXPECT_EQ(laid, expected) << "pool word " << i;
  }
  EXPECT_EQ(std::memcmp(with->walk_table, without->walk_table, sizeof with->walk_table), 0);
}

TEST(Havege, SignalsCostNoRandomBytes) {
  fake_clock frozen(5001);
  std::unique_ptr<havege_context> quiet, disturbed;
  {
    fake_kernel_random kernel(counted_bytes);
    quiet = initialised();
  }
  fake_kernel_random kernel(interrupted);
  disturbed = initialised();
  EXPECT_EQ(kernel.asked(), sizeof disturbed->pool);
  EXPECT_EQ(std::memcmp(quiet->pool, disturbed->pool, sizeof quiet->pool), 0);
}

TEST(Havege, BytesThatTheKernelDoesNotGiveChangeNothing) {
  // It gives the first 256 bytes, and there is no device.
  fake_clock frozen(5001);
  fake_kernel_random kernel(nothing_works);
  const auto without = initialised();
  static bool given;
  given = false;
  libsec::test::getrandom_hook = [](uint8_t *bytes, size_t length) {
    if (given) {
      errno = ENOSYS;
      return ssize_t{-1};
    }
    given = true;
    std::memset(bytes, 0x5A, length);
    return static_cast<ssize_t>(length);
  };
  const auto with = initialised();
  libsec::test::getrandom_hook = nullptr;
  for (size_t i = 0; i < HAVEGE_POOL_WORDS; ++i) {
    EXPECT_EQ(with->pool[i] ^ without->pool[i], i < 64 ? 0x5A5A5A5A : 0) << "pool word " << i;
  }
}

TEST(Havege, EveryPassAsksTheKernelForAWholePool) {
  fake_kernel_random kernel(counted_bytes);
  const auto state = initialised();
  draw(*state, 513);
  EXPECT_EQ(kernel.asked(), 2 * sizeof state->pool);
}

TEST(Havege, TheFirstDrawNeedsNoPassAndThe513thDoes) {
  fake_clock clock(6000);
  const auto state = initialised();
  EXPECT_EQ(clock.readings(), readings_of_a_pass);
  EXPECT_EQ(state->read_index[0], 0);
  EXPECT_EQ(state->read_index[1], 512);
  draw(*state, 512);
  EXPECT_EQ(clock.readings(), readings_of_a_pass);
  EXPECT_EQ(state->read_index[1], 1024);
  draw(*state, 1);
  EXPECT_EQ(clock.readings(), 2 * readings_of_a_pass);
  EXPECT_EQ(state->read_index[0], 1);
  EXPECT_EQ(state->read_index[1], 513);
}

TEST(Havege, ADrawIsTheXorOfTheTwoWordsUnderTheIndices) {
  const auto state = initialised();
  const havege_context before = *state;
  for (int i = 0; i < 512; ++i) ASSERT_EQ(havege_rand(state.get()), before.pool[i] ^ before.pool[512 + i]);
}

TEST(Havege, InitialisingForgetsWhatTheRecordHeld) {
  fake_clock frozen(5001);
  fake_kernel_random kernel(nothing_works);
  EXPECT_EQ(std::memcmp(initialised(0x00).get(), initialised(0xA5).get(), sizeof(havege_context)), 0);
}

TEST(Havege, APassGoesOnFromTheStateBefore) {
  fake_clock frozen(5001);
  fake_kernel_random kernel(nothing_works);
  const auto state = initialised();
  const sequence first = draw(*state, 512);
  EXPECT_NE(first, draw(*state, 512));
}

TEST(Havege, TheClockChangesTheWholeWalkTable) {
  // The walk alone, one pass with a clock that runs: few of the 8192 words may be left at zero, and
  // a single different reading must spread over the pool.
  fake_kernel_random kernel(nothing_works);
  std::unique_ptr<havege_context> states[2];
  for (int i = 0; i < 2; ++i) {
    fake_clock clock(5000 + i, 900'000);
    clock.tick_us(3);
    states[i] = initialised();
    draw(*states[i], 512 * 15 + 1);  // 16 passes
  }
  size_t untouched = 0, equal = 0;
  for (size_t i = 0; i < HAVEGE_WALK_WORDS; ++i) untouched += states[0]->walk_table[i] == 0;
  for (size_t i = 0; i < HAVEGE_POOL_WORDS; ++i) equal += states[0]->pool[i] == states[1]->pool[i];
  EXPECT_LT(untouched, HAVEGE_WALK_WORDS / 4u);
  EXPECT_LT(equal, 8u);
}

TEST(Havege, TheWalkIsTheSameOnEveryMachineUnderTheSameClock) {
  // No reference has these values: they were taken from this code on one machine, so that another
  // byte order, word size or compiler, and every unmeant change, shows.
  fake_kernel_random kernel(nothing_works);
  fake_clock clock(5001);
  clock.tick_us(7);
  const auto state = initialised();
  draw(*state, 513);
  uint32_t digest = 0;
  for (const int32_t word : state->pool) digest = digest * 0x01000193 + static_cast<uint32_t>(word);
  for (const int32_t word : state->walk_table) digest = digest * 0x01000193 + static_cast<uint32_t>(word);
  EXPECT_EQ(state->walk_pointer_1, 37915552);
  EXPECT_EQ(state->walk_pointer_2, 7766);
  EXPECT_EQ(digest, 2356814722u);
}

TEST(Havege, AHundredPassesAreTheSameOnEveryMachine) {
  // From the same source as the values above. Long enough for cascades that are passed to their last level.
  fake_kernel_random kernel(nothing_works);
  fake_clock clock(5001);
  clock.tick_us(7);
  const auto state = initialised();
  uint32_t digest = 0;
  for (const int32_t word : draw(*state, 100 * 512)) digest = digest * 0x01000193 + static_cast<uint32_t>(word);
  EXPECT_EQ(digest, 2696909907u);
}

TEST(Havege, TheRecordIsLaidOutAsDocumented) {
  EXPECT_EQ(offsetof(havege_context, walk_pointer_1), 0u);
  EXPECT_EQ(offsetof(havege_context, walk_pointer_2), 4u);
  EXPECT_EQ(offsetof(havege_context, read_index), 8u);
  EXPECT_EQ(offsetof(havege_context, pool), 16u);
  EXPECT_EQ(offsetof(havege_context, walk_table), 16u + 4 * 1024);
  EXPECT_EQ(sizeof(havege_context), 16u + 4 * 1024 + 4 * 8192);
}

}  // namespace
