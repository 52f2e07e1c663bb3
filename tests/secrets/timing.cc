// SPDX-License-Identifier: MIT
// timing [MEASUREMENTS]: does the time of the final subtraction tell whether it was needed? Welch's t-test in
// the manner of Reparaz, Balasch and Verbauwhede, Dude, is my code constant time? (2017): operands of both
// kinds take turns by chance, and the means of their times are compared, over all measurements and over
// those below a row of thresholds, since interruptions only ever add time. |t| above 10 is a leak. Exit
// status 0 when there is none, and when the comparison that is known to leak was found to.
#include <algorithm>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <vector>

#include "secrets/subtraction.h"

#if defined(__x86_64__)
#include <x86intrin.h>
#endif

namespace {

using namespace libsec::test;

constexpr double leak = 10;
constexpr size_t thresholds = 100;
constexpr size_t discarded = 1000;  // in front: caches and predictors settle

uint64_t now() {
#if defined(__x86_64__)
  unsigned processor;
  _mm_lfence();
  const uint64_t ticks = __rdtscp(&processor);
  _mm_lfence();
  return ticks;
#else
  timespec time{};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return static_cast<uint64_t>(time.tv_sec) * 1'000'000'000 + static_cast<uint64_t>(time.tv_nsec);
#endif
}

// Mean and variance of two kinds of times, as they come (Welford).
struct comparison {
  double count[2] = {}, mean[2] = {}, squares[2] = {};

  void add(bool kind, double time) {
    const double difference = time - mean[kind];
    mean[kind] += difference / ++count[kind];
    squares[kind] += difference * (time - mean[kind]);
  }
  double t() const {
    if (count[0] < 1000 || count[1] < 1000) return 0;
    const double variance = squares[0] / (count[0] - 1) / count[0] + squares[1] / (count[1] - 1) / count[1];
    return variance > 0 ? (mean[0] - mean[1]) / std::sqrt(variance) : 0;
  }
};

struct measurement {
  bool kind;
  uint64_t ticks;
};

template <typename watched_code>
std::vector<measurement> measured(size_t count) {
  watched_code code(11);
  quick_random random(13);
  std::vector<measurement> all(count);
  for (size_t i = 0; i < count + discarded; ++i) {
    const bool needed = (random.word() & 1) != 0;
    code.prepare(needed);
    const uint64_t start = now();
    code.run();
    const uint64_t end = now();
    if (i >= discarded) all[i - discarded] = {needed, end - start};
  }
  return all;
}

// The largest |t| over all measurements and over those below each threshold.
template <typename watched_code>
double greatest_t(size_t count) {
  const std::vector<measurement> all = measured<watched_code>(count);
  std::vector<uint64_t> sorted;
  sorted.reserve(count);
  for (const measurement &m : all) sorted.push_back(m.ticks);
  std::sort(sorted.begin(), sorted.end());
  double greatest = 0, of_all = 0;
  for (size_t i = 0; i <= thresholds; ++i) {
    const double share = 1 - std::pow(0.5, 10 * static_cast<double>(i + 1) / thresholds);
    const uint64_t most =
        i == thresholds ? UINT64_MAX : sorted[static_cast<size_t>(share * static_cast<double>(count))];
    comparison means;
    for (const measurement &m : all) {
      if (m.ticks <= most) means.add(m.kind, static_cast<double>(m.ticks));
    }
    greatest = std::max(greatest, std::fabs(means.t()));
    of_all = std::fabs(means.t());
  }
  std::printf("%s: %zu measurements, median %" PRIu64 ", |t| = %.2f over all, %.2f at most\n", watched_code::name,
              count, sorted[count / 2], of_all, greatest);
  std::fflush(stdout);
  return greatest;
}

}  // namespace

int main(int argc, char **argv) {
  const size_t count = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 1'000'000;
  if (count < 10'000) {
    std::fputs("timing: at least 10000 measurements\n", stderr);
    return 2;
  }
  const bool found = greatest_t<careless_comparison>(count) > leak;
  const bool subtraction = greatest_t<mont_subtraction>(count) < leak;
  const bool exponentiation = greatest_t<exp_subtraction>(count) < leak;
  const bool silent = subtraction && exponentiation;
  std::puts(!found ? "FAILED: what is known to leak was not found to" : silent ? "no leak" : "FAILED: a leak");
  return found && silent ? 0 : 1;
}
