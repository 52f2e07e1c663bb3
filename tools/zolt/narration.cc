// SPDX-License-Identifier: MIT
#include "zolt/narration.h"

#include <fmt/format.h>

namespace zolt {

void narrator::on_step(const peer::step_report &report) {
  double took = std::chrono::duration<double, std::milli>(report.took).count();
  if (report.answer.empty()) {
    fmt::print(stderr, "{:<7}  {}  {:.2f} ms\n", report.step, peer::describe(device_), took);
    return;
  }
  std::string again = report.times_sent > 1 ? fmt::format("  (sent {} times)", report.times_sent) : "";
  fmt::print(stderr, "{:<7}  {} bytes sent, {} of {} bytes received  {:.2f} ms{}\n", report.step, report.sent_bytes,
             report.answer, report.received_bytes, took, again);
}

void narrator::on_note(const std::string &text) {
  fmt::print(stderr, "note     {}\n", text);
}

}  // namespace zolt
