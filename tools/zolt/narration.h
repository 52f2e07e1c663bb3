// SPDX-License-Identifier: MIT
#pragma once

#include "peer/session.h"

namespace zolt {

// Tells a session's steps on standard error, one line each.
class narrator final : public peer::session_observer {
 public:
  explicit narrator(peer::endpoint device) : device_(std::move(device)) {}
  void on_step(const peer::step_report &report) override;
  void on_note(const std::string &text) override;

 private:
  peer::endpoint device_;
};

}  // namespace zolt
