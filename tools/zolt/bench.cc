// SPDX-License-Identifier: MIT
#include "zolt/bench.h"

#include <fmt/format.h>

#include <algorithm>

#include "peer/snmp.h"
#include "zolt/output.h"

namespace zolt {
namespace {

constexpr size_t most_failures_in_a_row = 3;
// Early enough for a logout before the device ends the session, also when that takes some tries.
constexpr std::chrono::seconds renew_after{150};

}  // namespace

measurement bench::sessions() {
  return measure("sessions", [this]() -> peer::result<peer::clock::duration> {
    auto started = peer::clock::now();
    if (peer::status opened = session_.open(); !opened) return opened.error();
    if (peer::status closed = session_.close(); !closed) return closed.error();
    return peer::clock::now() - started;
  });
}

measurement bench::requests(peer::byte_view content) {
  auto answers = [&](peer::byte_view reply) { return peer::answers_snmp(content, reply); };
  return measure("requests", [&]() -> peer::result<peer::clock::duration> {
    // Whatever a former failure left behind is ended first, here and now.
    if (!session_.is_open() || session_.age() > renew_after) {
      if (peer::status closed = session_.close(); !closed) return closed.error();
      if (peer::status opened = session_.open(); !opened) return opened.error();
    }
    auto started = peer::clock::now();
    peer::result<peer::bytes> reply = session_.request(content, answers);
    if (!reply) return reply.error();
    return peer::clock::now() - started;
  });
}

measurement bench::measure(const std::string &what, const operation &once) {
  measurement made;
  size_t failed_in_a_row = 0;
  auto started = peer::clock::now();
  for (double part = 0; part < 1 && !made.ended_by;) {
    progress_.show(part, fmt::format("{} {}", made.ms.size(), what));
    peer::result<peer::clock::duration> took = once();
    made.seconds = std::chrono::duration<double>(peer::clock::now() - started).count();
    if (took) {
      made.ms.push_back(std::chrono::duration<double, std::milli>(*took).count());
      failed_in_a_row = 0;
    } else if (took.error().code == peer::exit_code::interrupted) {
      made.ended_by = took.error();
    } else {
      made.failed++;
      failed_in_a_row++;
      if (made.ms.empty() || failed_in_a_row == most_failures_in_a_row) {
        made.ended_by = took.error();
      } else {
        progress_.clear();
        say("failed", took.error().step + ": " + took.error().happened);
      }
    }
    part = std::max(static_cast<double>(made.ms.size()) / static_cast<double>(limits_.count),
                    made.seconds / limits_.time.count());
  }
  progress_.clear();
  return made;
}

}  // namespace zolt
