// SPDX-License-Identifier: MIT
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <vector>

#include "peer/session.h"

namespace zolt {

// Keeps a session's steps, and tells them on standard error, one line each, as far as that is wanted.
class narrator final : public peer::session_observer {
 public:
  // `label` begins each line that is told, where several sessions go on at once.
  explicit narrator(peer::endpoint device, std::string label = {})
      : device_(std::move(device)), label_(std::move(label)) {}
  void on_step(const peer::step_report &report) override;
  void on_note(const std::string &text) override;
  void on_packet(bool outgoing, peer::byte_view packet) override;

  // The steps of the session so far, each with "step", "answer", "sent", "received", "times_sent" and "ms".
  nlohmann::ordered_json steps() const;

  // A step as people read it.
  std::string line(const peer::step_report &report) const;
  void keep_steps() { keeping_ = true; }
  const std::vector<peer::step_report> &kept() const { return kept_; }

 private:
  peer::endpoint device_;
  std::string label_;
  bool keeping_ = false;
  std::vector<peer::step_report> kept_;
};

}  // namespace zolt
