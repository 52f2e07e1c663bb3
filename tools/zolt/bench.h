// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <vector>

#include "peer/session.h"
#include "zolt/progress.h"

namespace zolt {

// When a measurement ends: after so many samples, or when the time is up.
struct bench_limits {
  size_t count;
  std::chrono::duration<double> time;
};

struct measurement {
  std::vector<double> ms;                 // of each success
  size_t failed = 0;                      // what failed and was begun anew
  double seconds = 0;                     // all in all, with what failed and all pauses
  std::optional<peer::failure> ended_by;  // before the limit

  double per_second() const { return seconds > 0 ? static_cast<double>(ms.size()) / seconds : 0; }
};

// Measures one device, through one session after the other: the device serves no second one beside it. The
// session paces itself after a failure. A first failure ends a measurement while nothing has succeeded, later
// the third in a row does.
class bench {
 public:
  // Both outlive the bench.
  bench(peer::session &session, progress &shown, bench_limits limits)
      : session_(session), progress_(shown), limits_(limits) {}

  // Whole sessions: connecting, WAKE, LGIN and LOUT.
  measurement sessions();

  // Requests and their replies, in sessions that are renewed before they end.
  measurement requests(peer::byte_view content);

 private:
  using operation = std::function<peer::result<peer::clock::duration>()>;
  measurement measure(const std::string &what, const operation &once);

  peer::session &session_;
  progress &progress_;
  bench_limits limits_;
};

}  // namespace zolt
