// SPDX-License-Identifier: MIT
// What the tests of the peer's sessions start from: one key, one fake device, short times.
#pragma once

#include <gtest/gtest.h>

#include "peer/session.h"
#include "support/fake_device.h"

namespace support {

inline const peer::private_key &manager_key() {
  static peer::result<peer::private_key> key = peer::private_key::generate();
  return *key;
}

inline peer::session_options options_for(const fake::device &device, peer::protocol over, int timeout_ms = 300) {
  peer::session_options options;
  options.device = {"127.0.0.1", device.port(), over};
  options.timeout = peer::milliseconds(timeout_ms);
  options.resend_after = peer::milliseconds(100);
  return options;
}

// Remembers what a session tells.
struct listener : peer::session_observer {
  void on_step(const peer::step_report &report) override {
    steps += (steps.empty() ? "" : " ") + std::string(report.step) +
             (report.times_sent > 1 ? "*" + std::to_string(report.times_sent) : "");
  }
  void on_note(const std::string &text) override { notes += text + "\n"; }
  std::string steps;
  std::string notes;
};

inline std::string name_of(const testing::TestParamInfo<peer::protocol> &info) {
  return info.param == peer::protocol::tcp ? "Tcp" : "Udp";
}

}  // namespace support
