// SPDX-License-Identifier: MIT
#include "timer.h"

#include <sched.h>

#include <algorithm>
#include <chrono>

namespace bench {
namespace {

using clock = std::chrono::steady_clock;

constexpr int rounds = 301;
constexpr double turn_ns = 150'000;  // a turn lasts about so long, or one operation

double time_of(const contender &who, size_t count) {
  const clock::time_point start = clock::now();
  who.repeat(count);
  return std::chrono::duration<double, std::nano>(clock::now() - start).count();
}

size_t operations_per_turn(const contender &who) {
  for (size_t count = 1;; count *= 2) {
    if (const double took = time_of(who, count); took > turn_ns / 4) {
      return std::max<size_t>(1, static_cast<size_t>(static_cast<double>(count) * turn_ns / took));
    }
  }
}

}  // namespace

bool stay_on_one_processor() {
  cpu_set_t allowed, one;
  CPU_ZERO(&one);
  if (sched_getaffinity(0, sizeof allowed, &allowed) != 0) return false;
  for (int cpu = CPU_SETSIZE - 1; cpu >= 0; --cpu) {
    if (!CPU_ISSET(cpu, &allowed)) continue;
    CPU_SET(cpu, &one);
    return sched_setaffinity(0, sizeof one, &one) == 0;
  }
  return false;
}

std::vector<timing> take_turns(const std::vector<const contender *> &contenders) {
  std::vector<size_t> counts;
  for (const contender *who : contenders) counts.push_back(operations_per_turn(*who));
  std::vector<std::vector<double>> times(contenders.size());
  for (int round = 0; round < rounds; ++round) {
    for (size_t i = 0; i < contenders.size(); ++i) {
      times[i].push_back(time_of(*contenders[i], counts[i]) / static_cast<double>(counts[i]));
    }
  }
  std::vector<timing> result;
  for (std::vector<double> &of_one : times) {
    std::sort(of_one.begin(), of_one.end());
    result.push_back({of_one[of_one.size() / 2], of_one.front()});
  }
  return result;
}

}  // namespace bench
