// SPDX-License-Identifier: MIT
// The four statistical tests of FIPS 140-2, 4.9.1, on a block of 20,000 bits. A good generator fails about one
// block in a thousand, and statistics prove nothing about a generator that mixes well: a counter passes.
#pragma once

#include <cstddef>
#include <cstdint>

namespace libsec::test {

constexpr size_t fips_block_bytes = 2500;

inline bool passes_fips_140(const uint8_t *block) {
  constexpr int bits = 8 * fips_block_bytes;
  const auto bit = [block](int i) { return block[i / 8] >> (7 - i % 8) & 1; };
  int ones = 0, longest = 0, run = 0;
  int nibbles[16] = {}, runs[2][7] = {};  // runs of 1 to 5 bits, and of 6 or more
  for (int i = 0; i < bits; ++i) {
    ones += bit(i);
    ++run;
    if (i + 1 < bits && bit(i + 1) == bit(i)) continue;
    ++runs[bit(i)][run < 6 ? run : 6];
    if (run > longest) longest = run;
    run = 0;
  }
  for (int i = 0; i < bits; i += 4) ++nibbles[bit(i) << 3 | bit(i + 1) << 2 | bit(i + 2) << 1 | bit(i + 3)];

  const bool monobit = ones > 9725 && ones < 10275;
  double squares = 0;
  for (const int count : nibbles) squares += double{1} * count * count;
  const double x = 16.0 / 5000 * squares - 5000;
  const bool poker = x > 2.16 && x < 46.17;
  constexpr int least[7] = {0, 2315, 1114, 527, 240, 103, 103}, most[7] = {0, 2685, 1386, 723, 384, 209, 209};
  bool good_runs = true;
  for (const auto &kind : runs) {
    for (int i = 1; i <= 6; ++i) good_runs = good_runs && kind[i] >= least[i] && kind[i] <= most[i];
  }
  return monobit && poker && good_runs && longest < 26;
}

}  // namespace libsec::test
