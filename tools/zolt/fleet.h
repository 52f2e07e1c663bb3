// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <map>
#include <mutex>
#include <nlohmann/json_fwd.hpp>
#include <optional>

#include "zolt/connection.h"
#include "zolt/fleet_targets.h"
#include "zolt/payloads.h"
#include "zolt/progress.h"

namespace zolt {

// How many sessions may go on at once: each is a thread and a descriptor.
inline constexpr unsigned most_parallel = 512;

// The same requests to many devices, several at a time, each in a session of its own. Writes one JSON object
// a device on standard output, when the device is done with. What one device does or fails to do changes
// nothing for another.
class fleet {
 public:
  // All of these outlive the fleet. `stop` is that of peer::session_options.
  fleet(const peer::private_key &key, const std::vector<payload> &payloads, const std::vector<target> &targets,
        key_log_sink key_log, int stop)
      : key_(key), payloads_(payloads), targets_(targets), key_log_(std::move(key_log)), stop_(stop) {}

  // Returns when every target has its object. Once `stop` is readable, open sessions are logged out of, and
  // what is left counts as interrupted. A failure means that the objects could not be written; then the
  // fleet stops in the same way.
  peer::status run(unsigned parallel);

  // How many devices ended with each code.
  const std::map<peer::exit_code, size_t> &counts() const { return counts_; }

 private:
  void work();
  std::pair<peer::exit_code, nlohmann::ordered_json> ask(const target &to) const;
  peer::status converse_with(session_setup &setup, class json_replies &replies) const;
  void report(peer::exit_code code, const nlohmann::ordered_json &object);
  void show_progress();

  const peer::private_key &key_;
  const std::vector<payload> &payloads_;
  const std::vector<target> &targets_;
  key_log_sink key_log_;
  int stop_;
  std::atomic<size_t> next_{0};

  std::mutex mutex_;  // of what follows, and of both outputs
  std::map<peer::exit_code, size_t> counts_;
  size_t done_ = 0;
  std::optional<peer::failure> unwritten_;
  progress progress_;
};

// "500 devices: 498 ok, 2 no answer"
std::string summary(const std::map<peer::exit_code, size_t> &counts);

}  // namespace zolt
