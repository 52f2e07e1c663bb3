// SPDX-License-Identifier: MIT
// What one call of ZOLT_receive() meets, and what it does with it: the words in which the library and its
// model are compared. The same script is played to both.
#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "support/packets.h"

namespace libsec::test {

// One packet on its way. While a TCP connection is being served, a packet over TCP comes on that one, and
// one over UDP has to wait; else the one over TCP brings a connection of its own.
struct arrival {
  enum class trouble { none, not_writable, send_fails };  // what its answer runs into

  bool tcp = false;
  std::vector<bytes> pieces;     // one each read; over UDP just one. Over TCP none is a silent peer.
  bool ends = false;             // over TCP: the peer ends the stream behind the pieces
  int64_t wait_us = 0;           // how long it is waited for; negative when the clock is put back meanwhile
  int64_t pause_us = 1'250'000;  // how long each further read of the connection takes
  trouble answer = trouble::none;
};

using arrivals = std::deque<arrival>;

// How long a connection may stay silent, as the library says to select().
constexpr int64_t silence_us = 5'000'000;

// What the library did to the world outside.
struct deed {
  enum class kind { udp, tcp, shut_down, closed };
  kind what;
  int descriptor;
  bytes packet;  // of what was sent

  bool operator==(const deed &) const = default;
};

// What one call came to.
struct outcome {
  int32_t result = 0;
  bool stores = false;  // whether the out arguments were written
  bool delivers = false;
  bytes delivered;
  std::string output;
  std::vector<deed> deeds;

  bool operator==(const outcome &) const = default;
};

// The n-th descriptor that accept() gives.
constexpr int accepted_descriptor(uint32_t n) {
  return 50 + static_cast<int>(n % 100);
}
constexpr int udp_descriptor = 40;
constexpr int listening_descriptor = 41;

}  // namespace libsec::test
