// SPDX-License-Identifier: MIT
#include "zolt/bench_histogram.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <span>

namespace zolt {
namespace {

constexpr double shortest_ms = 1e-6;  // what a clock of nanoseconds can tell
constexpr size_t widest_bar = 50;
constexpr std::array<double, 10> fine = {1, 1.2, 1.5, 2, 2.5, 3, 4, 5, 6, 8};
constexpr std::array<double, 3> coarse = {1, 2, 5};
constexpr std::array<double, 1> decades = {1};

// Bounds of each decade times `steps`, from the last one that is not above `least` to the first that is
// above `greatest`.
std::vector<double> bounds_between(double least, double greatest, std::span<const double> steps) {
  std::vector<double> bounds;
  for (double decade = std::pow(10, std::floor(std::log10(least)) - 1);; decade *= 10) {
    for (double step : steps) {
      double bound = decade * step;
      if (bound <= least) bounds.clear();
      bounds.push_back(bound);
      if (bound > greatest) return bounds;
    }
  }
}

double nearest_rank(const std::vector<double> &sorted, double part) {
  auto rank = static_cast<size_t>(std::ceil(part * static_cast<double>(sorted.size())));
  return sorted[std::max<size_t>(rank, 1) - 1];
}

}  // namespace

quantiles quantiles_of(std::vector<double> samples) {
  if (samples.empty()) return {};
  std::sort(samples.begin(), samples.end());
  double sum = std::accumulate(samples.begin(), samples.end(), 0.0);
  return {samples.front(),
          nearest_rank(samples, 0.5),
          nearest_rank(samples, 0.9),
          nearest_rank(samples, 0.99),
          samples.back(),
          sum / static_cast<double>(samples.size())};
}

std::vector<bin> histogram(const std::vector<double> &samples) {
  if (samples.empty()) return {};
  auto [least, greatest] = std::minmax_element(samples.begin(), samples.end());
  std::vector<double> bounds;
  for (std::span<const double> steps :
       {std::span<const double>(fine), std::span<const double>(coarse), std::span<const double>(decades)}) {
    bounds = bounds_between(std::max(*least, shortest_ms), std::max(*greatest, shortest_ms), steps);
    if (bounds.size() <= most_bins + 1) break;
  }
  std::vector<bin> bins;
  for (size_t i = 0; i + 1 < bounds.size(); i++) bins.push_back({bounds[i], bounds[i + 1], 0});
  for (double sample : samples) {
    // The first bin also takes what is under the clock's resolution.
    auto after = std::upper_bound(bounds.begin() + 1, bounds.end(), sample);
    bins[static_cast<size_t>(after - bounds.begin()) - 1].count++;
  }
  return bins;
}

std::string time_text(double ms) {
  if (ms >= 1000) return fmt::format("{:.3g} s", ms / 1000);
  if (ms >= 1 || ms == 0) return fmt::format("{:.3g} ms", ms);
  return fmt::format("{:.3g} us", ms * 1000);
}

std::string draw(const std::vector<bin> &bins, bool color) {
  size_t fullest = 1;
  for (const bin &each : bins) fullest = std::max(fullest, each.count);
  std::string drawn;
  for (const bin &each : bins) {
    // What is there is seen, be it ever so little.
    size_t length = (each.count * widest_bar + fullest - 1) / fullest;
    std::string filled(length, '#');
    if (color && length != 0) filled = "\x1b[36m" + filled + "\x1b[0m";
    drawn += fmt::format("  {:>8} |{}{} {}\n", time_text(each.from), filled, std::string(widest_bar - length, ' '),
                         each.count);
  }
  return drawn;
}

}  // namespace zolt
