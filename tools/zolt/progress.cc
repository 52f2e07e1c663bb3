// SPDX-License-Identifier: MIT
#include "zolt/progress.h"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>

#include "zolt/output.h"

namespace zolt {
namespace {

constexpr std::chrono::milliseconds interval{100};
constexpr size_t bar_width = 30;
constexpr const char *to_line_start = "\r\x1b[K";  // and without what stood there

size_t columns() {
  winsize size{};
  return ::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col != 0 ? size.ws_col : 80;
}

}  // namespace

std::string bar(double part, size_t width) {
  auto filled = static_cast<size_t>(std::clamp(part, 0.0, 1.0) * static_cast<double>(width));
  return "[" + std::string(filled, '#') + std::string(width - filled, '.') + "]";
}

progress::progress() : wanted_(!output().quiet && output().verbosity == 0 && ::isatty(STDERR_FILENO) != 0) {}

void progress::show(double part, const std::string &text) {
  auto now = peer::clock::now();
  if (!wanted_ || now < next_) return;
  next_ = now + interval;
  drawn_ = true;
  // A line that reaches the last column would begin another one.
  std::string line = fmt::format("{} {}", bar(part, bar_width), text).substr(0, columns() - 1);
  fmt::print(stderr, "{}{}", to_line_start, line);
}

void progress::clear() {
  if (!drawn_) return;
  drawn_ = false;
  next_ = {};
  std::fputs(to_line_start, stderr);
}

}  // namespace zolt
