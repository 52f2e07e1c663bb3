// SPDX-License-Identifier: MIT
// Runs what must take the same steps whether or not its final subtraction is needed, and watches the steps.
// On x86 the processor stops behind each instruction, and the addresses themselves are compared. On MIPS
// the emulator counts instructions between two marks (bench/insn_count.c), and same_work.sh compares.
#include <cstdint>
#include <cstdio>

#include "secrets/subtraction.h"
#include "secrets/watched.h"

namespace {

using namespace libsec::test;

// True when every run took the same steps.
template <typename watched_code>
bool always_the_same(int runs) {
  watched_code code(7);
  steps first{};
  bool same = true, as_meant = true;
  for (int i = -4; i < runs; ++i) {  // the first four let the C library find its functions and its memory
    const bool needed = i % 2 != 0;
    code.prepare(needed);
    const steps taken = i < 0 ? (code.run(), steps{}) : watch([&] { code.run(); });
    if (i == 0) first = taken;
    same = same && (i <= 0 || taken == first);
    if constexpr (requires { code.subtracted(); }) as_meant = as_meant && code.subtracted() == needed;
  }
  std::printf("%s: %d runs", watched_code::name, runs);
  if (!compared_elsewhere) {
    std::printf(", %s, the first of %llu instructions", same ? "all the same" : "different",
                static_cast<unsigned long long>(first.count));
  }
  std::puts(as_meant ? "" : "; but not every other one has subtracted");
  return same && as_meant;
}

}  // namespace

int main() {
  if (!can_watch()) {
    std::puts("SKIPPED: nothing here can watch single instructions");
    return 77;
  }
  const bool subtraction = always_the_same<mont_subtraction>(60);
  const bool exponentiation = always_the_same<exp_subtraction>(compared_elsewhere ? 40 : 4);
  const bool found = !always_the_same<careless_comparison>(12);
  return (subtraction && exponentiation && found) || compared_elsewhere ? 0 : 1;
}
