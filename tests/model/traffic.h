// SPDX-License-Identifier: MIT
// Random traffic for the model and the library: mostly what a peer would really say next, at times that
// lie about the limits, and all that it could say wrong. No expression draws twice where its order is free:
// a seed gives the same traffic with every compiler.
#pragma once

#include <array>
#include <map>
#include <random>

#include "model/device_model.h"

namespace libsec::test {

class traffic {
 public:
  // A WAKE of these fields; one whose signature is good or is not.
  using wake_maker = bytes (*)(traffic &, const wake_fields &, bool good);

  traffic(device_model &model, uint64_t seed, wake_maker make_wake);

  // Where the clock goes before the next call, and what comes in it.
  int64_t next_clock();
  arrivals next_arrivals();
  arrival::trouble next_trouble();
  bytes next_reply();

  // One packet in each call only.
  bool single = false;

  // True once in `times`.
  bool once_in(uint32_t times) { return below(times) == 0; }
  uint32_t below(uint32_t count) { return static_cast<uint32_t>(random_() % count); }

  // How often a packet of each kind, with an identifier of each class, was looked at in each state, at each
  // age, over each transport.
  struct place {
    uint32_t state, kind, age, identifier, tcp;
    auto operator<=>(const place &) const = default;
  };
  enum age_class : uint32_t { younger, just_before, at_the_limit, just_after, older };
  enum identifier_class : uint32_t { right, zero, stale, wrong };
  std::map<place, uint64_t> visits;

 private:
  bytes next_packet();
  bytes wake();
  bytes sealed_packet(uint32_t kind);
  bytes other_packet();
  uint32_t identifier();
  bytes key();
  bytes random_bytes(size_t count);
  void damage(bytes &packet);
  void cut(arrival &one, const bytes &packet);
  int64_t at_age(int64_t milliseconds);
  void note(uint32_t kind);

  device_model &model_;
  std::mt19937_64 random_;
  wake_maker make_wake_;
  uint32_t stale_id_ = 0x5A5A5A5A;
  uint32_t last_id_ = 0;
  bytes stale_key_ = bytes(128, 0);
  bytes last_key_ = bytes(128, 0);
};

}  // namespace libsec::test
