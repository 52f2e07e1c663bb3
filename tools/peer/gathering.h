// SPDX-License-Identifier: MIT
// The protocol's packets in the IPv4 packets of a capture: datagrams, fragmented ones too, and streams cut by
// the length field. Nothing in a capture is trusted.
#pragma once

#include <array>
#include <compare>
#include <deque>
#include <functional>
#include <map>

#include "peer/bytes.h"
#include "peer/transport.h"

namespace peer {

struct address {
  std::array<uint8_t, 4> ip{};
  uint16_t port = 0;
  auto operator<=>(const address &) const = default;
};

std::string describe(const address &where);  // "192.0.2.7:161"

// When and where a packet, or the last part of it, was seen.
struct sighting {
  size_t frame = 0;    // from 1
  double seconds = 0;  // since 1970
  address from, to;
  protocol over = protocol::udp;
};

struct gathered_packet {
  sighting seen;
  bytes captured;     // the first bytes of it
  size_t length = 0;  // of it on the wire
};

class gatherer {
 public:
  using taker = std::function<void(const gathered_packet &)>;

  // Hands on packets from and to the port, in the order in which they became whole.
  gatherer(uint16_t port, taker take) : port_(port), take_(std::move(take)) {}

  // One IPv4 packet, perhaps with something behind it, perhaps cut short.
  void add(size_t frame, double seconds, byte_view ip);

  // What has begun and will not go on is handed on, too.
  void finish();

  // Datagrams and pieces of streams on the port that are something else, such as plain SNMP.
  size_t foreign() const { return foreign_; }

 private:
  struct segment {
    sighting seen;
    bytes data;
    size_t length;
  };
  // One direction of a connection.
  struct stream {
    bool begun = false;
    uint32_t next = 0;  // sequence number
    bytes buffer;
    sighting seen;
    std::map<uint32_t, segment> early;
  };
  using direction = std::pair<address, address>;
  struct datagram {
    std::map<size_t, bytes> parts;
    size_t length = 0;  // of the whole; 0 until the last fragment is there
  };
  using datagram_name = std::array<uint8_t, 11>;

  void add_fragment(const sighting &seen, byte_view header, byte_view part, size_t offset, bool more);
  void add_transport(sighting seen, uint8_t number, byte_view data, size_t length);
  void add_datagram(const sighting &seen, byte_view data, size_t length);
  void add_segment(const sighting &seen, byte_view data, size_t length);
  void take_segment(stream &into, const segment &from);
  void take_early(stream &into, bool skip_gap);
  void cut_packets(stream &from);
  void hand_on_rest(stream &from);

  uint16_t port_;
  taker take_;
  size_t foreign_ = 0;
  std::map<direction, stream> streams_;
  std::map<datagram_name, datagram> fragments_;
  std::deque<datagram_name> fragments_by_age_;
};

}  // namespace peer
