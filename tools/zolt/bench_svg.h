// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include "zolt/bench_histogram.h"

namespace zolt {

// A histogram and its captions.
struct chart {
  std::string title;
  std::string subtitle;
  std::vector<bin> bins;
};

// The histograms below each other, as a picture that stands alone.
std::string draw_svg(const std::string &title, const std::vector<chart> &charts);

}  // namespace zolt
