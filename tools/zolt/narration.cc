// SPDX-License-Identifier: MIT
#include "zolt/narration.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "zolt/output.h"

namespace zolt {
namespace {

constexpr size_t bytes_a_line = 32;

double in_ms(peer::clock::duration time) {
  return std::chrono::duration<double, std::milli>(time).count();
}

}  // namespace

std::string narrator::line(const peer::step_report &report) const {
  double took = in_ms(report.took);
  if (report.answer.empty()) return fmt::format("{:<7}  {}  {:.2f} ms", report.step, peer::describe(device_), took);
  std::string again = report.times_sent > 1 ? fmt::format("  (sent {} times)", report.times_sent) : "";
  return fmt::format("{:<7}  {} bytes sent, {} of {} bytes received  {:.2f} ms{}", report.step, report.sent_bytes,
                     report.answer, report.received_bytes, took, again);
}

void narrator::on_step(const peer::step_report &report) {
  if (keeping_) kept_.push_back(report);
  if (output().verbosity > 0) fmt::print(stderr, "{}{}\n", label_, line(report));
}

void narrator::on_note(const std::string &text) {
  if (output().verbosity > 0) fmt::print(stderr, "{}note     {}\n", label_, text);
}

void narrator::on_packet(bool outgoing, peer::byte_view packet) {
  if (output().verbosity < 2) return;
  for (size_t at = 0; at < packet.size(); at += bytes_a_line) {
    peer::byte_view row = packet.subspan(at, std::min(bytes_a_line, packet.size() - at));
    fmt::print(stderr, "{}{:<7}  {:04x}  {}\n", label_,
               at != 0    ? ""
               : outgoing ? "sent"
                          : "got",
               at, peer::to_hex(row));
  }
}

nlohmann::ordered_json narrator::steps() const {
  auto all = nlohmann::ordered_json::array();
  for (const peer::step_report &each : kept_) {
    all.push_back({{"step", each.step},
                   {"answer", each.answer},
                   {"sent", each.sent_bytes},
                   {"received", each.received_bytes},
                   {"times_sent", each.times_sent},
                   {"ms", in_ms(each.took)}});
  }
  return all;
}

}  // namespace zolt
