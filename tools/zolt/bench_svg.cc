// SPDX-License-Identifier: MIT
#include "zolt/bench_svg.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

namespace zolt {
namespace {

// All lengths are pixels.
constexpr int width = 760;
constexpr int header_height = 50;
constexpr int chart_height = 260;
constexpr int left = 40;
constexpr int plot_width = width - 2 * left;
constexpr int plot_top = 68;  // in a chart: below its captions
constexpr int plot_height = 150;
constexpr int bar_gap = 2;

// For text and attributes. Control characters cannot stand in XML at all.
std::string escaped(std::string_view text) {
  std::string safe;
  for (char each : text) {
    switch (each) {
      case '&':
        safe += "&amp;";
        break;
      case '<':
        safe += "&lt;";
        break;
      case '>':
        safe += "&gt;";
        break;
      case '"':
        safe += "&quot;";
        break;
      default:
        safe += static_cast<unsigned char>(each) < ' ' || each == 0x7f ? '?' : each;
        break;
    }
  }
  return safe;
}

std::string text_at(double x, double y, std::string_view attributes, std::string_view text) {
  return fmt::format("<text x=\"{:.1f}\" y=\"{:.1f}\"{}>{}</text>\n", x, y, attributes, escaped(text));
}

// Slanted, so that neighbours do not overlap.
std::string bound_at(double x, int floor, double ms) {
  int y = floor + 14;
  std::string how = fmt::format(" font-size=\"10\" text-anchor=\"end\" transform=\"rotate(-35 {:.1f} {})\"", x, y);
  return text_at(x, y, how, time_text(ms));
}

std::string draw_bars(const std::vector<bin> &bins, int top) {
  size_t fullest = 1;
  for (const bin &each : bins) fullest = std::max(fullest, each.count);
  double step = static_cast<double>(plot_width) / static_cast<double>(std::max<size_t>(bins.size(), 1));
  int floor = top + plot_height;
  std::string drawn;
  for (size_t i = 0; i < bins.size(); i++) {
    const bin &each = bins[i];
    double x = left + static_cast<double>(i) * step;
    double height = plot_height * static_cast<double>(each.count) / static_cast<double>(fullest);
    drawn += fmt::format(
        "<rect x=\"{:.1f}\" y=\"{:.1f}\" width=\"{:.1f}\" height=\"{:.1f}\" fill=\"#2a78b5\">"
        "<title>{} to {}: {}</title></rect>\n",
        x, floor - height, std::max(step - bar_gap, 1.0), height, time_text(each.from), time_text(each.to), each.count);
    if (each.count != 0)
      drawn += text_at(x + (step - bar_gap) / 2, floor - height - 3, " font-size=\"10\" text-anchor=\"middle\"",
                       std::to_string(each.count));
    drawn += bound_at(x, floor, each.from);
    if (i + 1 == bins.size()) drawn += bound_at(x + step, floor, each.to);
  }
  drawn += fmt::format("<line x1=\"{}\" y1=\"{}\" x2=\"{}\" y2=\"{}\" stroke=\"#444\"/>\n", left, floor,
                       left + plot_width, floor);
  return drawn;
}

}  // namespace

std::string draw_svg(const std::string &title, const std::vector<chart> &charts) {
  int height = header_height + chart_height * static_cast<int>(charts.size());
  std::string drawn = fmt::format(
      "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"{0}\" height=\"{1}\" viewBox=\"0 0 {0} {1}\" role=\"img\" "
      "font-family=\"sans-serif\" font-size=\"13\" fill=\"#222\">\n<title>{2}</title>\n"
      "<rect width=\"100%\" height=\"100%\" fill=\"#fff\"/>\n",
      width, height, escaped(title));
  drawn += text_at(left, 32, " font-size=\"18\" font-weight=\"bold\"", title);
  int top = header_height;
  for (const chart &each : charts) {
    drawn += text_at(left, top + 20, " font-weight=\"bold\"", each.title);
    drawn += text_at(left, top + 40, "", each.subtitle);
    drawn += draw_bars(each.bins, top + plot_top);
    top += chart_height;
  }
  return drawn + "</svg>\n";
}

}  // namespace zolt
