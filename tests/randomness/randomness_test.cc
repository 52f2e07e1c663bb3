// SPDX-License-Identifier: MIT
// Whether the generator starts anew every time, and whether what depends on it does. Each check is also made
// with the clock frozen and the kernel's random bytes taken away, where it must fail.
//
// LIBSEC_RESTARTS, LIBSEC_EXPONENTS and LIBSEC_FIPS_BLOCKS ask for more, or less, than an ordinary run.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "randomness/fips_140.h"
#include "randomness/restart_matrix.h"
#include "support/fake_clock.h"
#include "support/fake_kernel_random.h"
#include "support/sessions.h"

namespace libsec::test {
namespace {

#if defined(LIBSEC_FEW_DRAWS)
constexpr size_t usual_restarts = 250, usual_exponents = 300, usual_blocks = 20;
#else
constexpr size_t usual_restarts = 1000, usual_exponents = 3000, usual_blocks = 200;
#endif

size_t asked(const char *name, size_t usual) {
  const char *value = std::getenv(name);
  return value == nullptr ? usual : std::strtoul(value, nullptr, 10);
}

// A clock that always says the same, and no kernel: nothing that could make two starts differ.
struct frozen_world {
  fake_clock clock{1'700'000'000};
  fake_kernel_random kernel{fake_kernel_random::mode::nothing_works};
};

void print(const char *name, const restart_matrix &matrix) {
  std::printf("%s: most common byte %zu times in a row, %zu times in a column, cutoff %zu; min-entropy %.3f bits\n",
              name, matrix.most_common_in_rows(), matrix.most_common_in_columns(), matrix.cutoff(),
              matrix.min_entropy());
}

// By its cutoff even a good generator fails one matrix in a hundred. Three in a row are none.
bool passes(const char *name) {
  const size_t size = asked("LIBSEC_RESTARTS", usual_restarts);
  for (int attempt = 0; attempt < 3; ++attempt) {
    const restart_matrix matrix(size);
    print(name, matrix);
    if (matrix.passes() && matrix.min_entropy() > 7) return true;
  }
  return false;
}

TEST(Restarts, TheCutoffIsWhatTheBinomialDistributionSays) {
  EXPECT_EQ(restart_matrix(1000).cutoff(), 20u);  // worked out with exact fractions
  EXPECT_EQ(restart_matrix(250).cutoff(), 10u);
}

TEST(Restarts, OfTheGeneratorFillNoRowOrColumnUnevenly) {
  EXPECT_TRUE(passes("kernel and clock"));
}

TEST(Restarts, UnderAFrozenClockAreAsGoodForTheKernelIsEnough) {
  const fake_clock frozen(1'700'000'000);
  EXPECT_TRUE(passes("kernel, frozen clock"));
}

TEST(Restarts, UnderAFrozenClockWithoutTheKernelFail) {
  const frozen_world frozen;
  EXPECT_FALSE(passes("frozen clock, no kernel"));
}

// How good the walk and the clock are by themselves depends on the machine; nobody relies on more than this.
TEST(Restarts, WithTheClockAloneAreNotAllAlike) {
  const fake_kernel_random kernel(fake_kernel_random::mode::nothing_works);
  const restart_matrix matrix(asked("LIBSEC_RESTARTS", usual_restarts));
  print("clock, no kernel", matrix);
  EXPECT_LT(matrix.most_common_in_columns(), asked("LIBSEC_RESTARTS", usual_restarts));
}

// The bytes of many private exponents, sorted.
std::vector<bytes> exponents(size_t count) {
  std::vector<bytes> drawn(count);
  for (bytes &exponent : drawn) {
    EXPECT_EQ(session_generate_random(&security_sessions, 128), 0);
    exponent = value_of(security_sessions.x);
  }
  std::sort(drawn.begin(), drawn.end());
  return drawn;
}

bool all_differ(const std::vector<bytes> &sorted) {
  return std::adjacent_find(sorted.begin(), sorted.end()) == sorted.end();
}

class Exponents : public SessionTest {};

TEST_F(Exponents, AreNeverEqual) {
  EXPECT_TRUE(all_differ(exponents(asked("LIBSEC_EXPONENTS", usual_exponents))));
}

TEST_F(Exponents, UnderAFrozenClockWithoutTheKernelAreAllEqual) {
  const frozen_world frozen;
  const auto drawn = exponents(10);
  EXPECT_FALSE(all_differ(drawn));
  EXPECT_EQ(drawn.front(), drawn.back());
}

TEST(Fips140, AlmostEveryBlockPasses) {
  auto state = std::make_unique<havege_context>();
  havege_init(state.get());
  const size_t count = asked("LIBSEC_FIPS_BLOCKS", usual_blocks);
  size_t failed = 0;
  for (size_t i = 0; i < count; ++i) {
    uint32_t block[fips_block_bytes / 4];
    for (uint32_t &word : block) word = static_cast<uint32_t>(havege_rand(state.get()));
    failed += passes_fips_140(reinterpret_cast<const uint8_t *>(block)) ? 0 : 1;
  }
  std::printf("FIPS 140-2: %zu of %zu blocks failed\n", failed, count);
  // About 8 in 10,000 do; that five more than twice as many do is left to worse generators.
  EXPECT_LE(failed, 5 + count / 600);
}

// The tests themselves: each of the four finds what it is for.
TEST(Fips140, FindsWhatIsNotRandom) {
  uint8_t block[fips_block_bytes];
  auto state = std::make_unique<havege_context>();
  const auto refill = [&] {
    do {
      havege_init(state.get());
      for (uint8_t &byte : block) byte = static_cast<uint8_t>(havege_rand(state.get()));
    } while (!passes_fips_140(block));
  };
  refill();
  for (size_t i = 0; i < fips_block_bytes; i += 16) block[i] = 0xFF;  // too many ones
  EXPECT_FALSE(passes_fips_140(block));
  refill();
  for (size_t i = 0; i < fips_block_bytes; i += 8) block[i] = 0x5A;  // two nibbles too often
  EXPECT_FALSE(passes_fips_140(block));
  refill();
  for (size_t i = 0; i < 4; ++i) block[1000 + i] = 0;  // a long run
  EXPECT_FALSE(passes_fips_140(block));
  for (size_t i = 0; i < fips_block_bytes; ++i) block[i] = static_cast<uint8_t>(i * 167 >> 3);  // uneven runs
  EXPECT_FALSE(passes_fips_140(block));
}

}  // namespace
}  // namespace libsec::test
