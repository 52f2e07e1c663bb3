// SPDX-License-Identifier: MIT
// One random walk of the library beside its model.
#pragma once

#include "model/traffic.h"
#include "model/world.h"

namespace libsec::test {

class walk {
  uint64_t seed_;

 public:
  walk(uint64_t seed, traffic::wake_maker make_wake);

  // Plays this many packets; empty, or the first difference. A walk that was given other steps can be
  // repeated from its seed, which says the same again.
  std::string run(uint64_t packets);

  world library;
  device_model model;
  traffic peers;

  // How the library is told what the model is told; see device_model.
  std::function<void(device_model &)> tell = [](device_model &) {};
  // Exponents that the library has drawn; nothing where nobody counts them.
  std::function<uint32_t()> drawn;

  uint64_t packets_played() const { return packets_; }
  uint64_t answers() const { return answers_; }
  uint64_t deliveries() const { return deliveries_; }

 private:
  void restart();
  void plant();
  std::string step();
  std::string differs(const outcome &of_library, const outcome &of_model, const std::string &what);
  std::string context_differs() const;
  std::string sessions_differ() const;

  uint64_t packets_ = 0;
  uint64_t answers_ = 0;
  uint64_t deliveries_ = 0;
};

// LIBSEC_SEED, or `usual`; LIBSEC_STEPS, or `usual`.
uint64_t walk_seed(uint64_t usual);
uint64_t walk_steps(uint64_t usual);

}  // namespace libsec::test
