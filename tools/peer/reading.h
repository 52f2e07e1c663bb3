// SPDX-License-Identifier: MIT
// A packet of the protocol, whoever sent it and however damaged, read field by field for a person.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "peer/bytes.h"
#include "peer/key_ring.h"
#include "peer/snmp.h"

namespace peer {

// One field. Names are those of docs/protocol.md.
struct field_reading {
  std::string name;
  size_t offset = 0;  // in the packet, or in the deciphered block
  size_t length = 0;
  std::string value;    // a number in decimal, an identifier or a byte string in hex, or a text
  std::string meaning;  // may be empty
};

// What is wrong. The names are those of the dissector's filters, zolt.expert.NAME.
struct problem {
  enum class weight { error, note } weight;
  std::string name;
  std::string text;
};

struct reading {
  std::string kind;  // "WAKE" and so on; empty when the letters are unknown
  std::optional<uint32_t> session_id;
  size_t length = 0;
  std::vector<field_reading> fields;
  std::vector<field_reading> block;  // of the payload, when it was deciphered
  std::vector<problem> problems;
  std::optional<bytes> content;   // of the payload, when its check value is right
  std::optional<snmp_head> snmp;  // when the content looks like it
  std::optional<bytes> prime;     // of a WAKE

  // Whether the packet is as it must be; what is only noted does not count.
  bool is_good() const;
};

// Reads `captured`, the first bytes of a packet that had `length` of them. The prime is that of the
// session's WAKE, when it is known: public values are held against it.
reading read_packet(byte_view captured, size_t length, const key_ring &keys, const std::optional<bytes> &prime = {});

// True for the letters that begin a packet of the protocol.
bool is_packet_kind(byte_view letters);

// Fills in what the payload of a packet with a whole header holds. Part of read_packet().
void read_payload(reading &into, byte_view payload, const key_ring &keys);

}  // namespace peer
