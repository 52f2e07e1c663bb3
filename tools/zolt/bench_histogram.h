// SPDX-License-Identifier: MIT
// What a list of measured times says.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace zolt {

// In milliseconds; all 0 when there are no samples.
struct quantiles {
  double least = 0;
  double median = 0;
  double p90 = 0;
  double p99 = 0;
  double greatest = 0;
  double mean = 0;
};
quantiles quantiles_of(std::vector<double> samples);

// The samples from `from` on and below `to`.
struct bin {
  double from;
  double to;
  size_t count;
};

// The most bins of a histogram.
inline constexpr size_t most_bins = 24;

// Bins between round numbers, wider where times are longer, without gaps from the least sample to the
// greatest. None when there are no samples. Samples are positive.
std::vector<bin> histogram(const std::vector<double> &samples);

// One line a bin: its start, a bar whose length is its share of the fullest, and its count.
std::string draw(const std::vector<bin> &bins, bool color);

// A time with three digits that count, and its unit.
std::string time_text(double ms);

}  // namespace zolt
