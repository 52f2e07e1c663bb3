// SPDX-License-Identifier: MIT
// The model's protocol: which packet is taken in which state, and what comes of it.
#include <algorithm>

#include "model/device_model.h"

namespace libsec::test {
namespace {

enum : uint32_t { wake = 1, login = 3, data = 5, logout = 6, other = 8 };

uint32_t kind_of(const bytes &buffer) {
  const std::string name(buffer.begin(), buffer.begin() + 4);
  return name == "WAKE" ? wake : name == "LGIN" ? login : name == "ENCR" ? data : name == "LOUT" ? logout : other;
}

bytes slice(const bytes &from, size_t at, size_t length) {
  const auto first = from.begin() + static_cast<std::ptrdiff_t>(at);
  return bytes(first, first + static_cast<std::ptrdiff_t>(length));
}

}  // namespace

bool device_model::refuse(const std::string &line) {
  say(line);
  serving_tcp = false;
  return false;
}

bool device_model::process() {
  refused = true;
  session = pointed::scratch;
  if (!admit()) return refuse("Error getting session");
  const uint32_t kind = session == pointed::live ? uint32_t{wake} : scratch_kind;
  if (!handle()) return false;
  refused = false;
  return kind == other || kind == data;
}

// Whether the packet gets as far as its handler.
bool device_model::admit() {
  if (data_length < 4) return false;
  const uint32_t kind = kind_of(buffer);
  if (looks_at) looks_at(kind);
  if (kind == other) {
    say("The packet wasn't recognised");
    if (full_encryption) return false;
  }
  scratch_kind = kind;
  if (kind != wake) return true;
  if (live.state != 0) {
    if (!elapsed()) {
      scratch_id = 0;
      return false;
    }
    say("timeout");
    live.id = 0;
  }
  live.admission_mark = 0;
  live.state = 1;
  session = pointed::live;
  return true;
}

bool device_model::handle() {
  if (session == pointed::live) return handle_wake();
  switch (scratch_kind) {
    case login:
      return handle_login();
    case data:
      return handle_data();
    case logout:
      return handle_logout();
    default:
      encrypt_replies = false;
      content_ = 0;
      return true;
  }
}

// ---- WAKE ----

// Field by field: what stands before the bad one is kept.
bool device_model::wake_is_good() {
  if (at16(4) != static_cast<uint32_t>(data_length)) {
    say("packet length error");
    done_.output += "reported length = " + std::to_string(at16(4)) + ", actual length = " + std::to_string(data_length);
    return false;
  }
  version = at16(6);
  if (version != 256) return false;
  live.id = at32(12);
  live.ip_address_length = at16(16);
  if (live.ip_address_length != 4) return false;
  live.prime_length = at16(22);
  if (live.prime_length != 128) return false;
  ++exponents_drawn;
  live.public_value_length = at16(152);
  if (live.public_value_length != 128) return false;
  live.signature_length = at16(282);
  if (live.signature_length != 128) return false;
  return signature_is_good(slice(buffer, 0, static_cast<size_t>(data_length)));
}

bool device_model::handle_wake() {
  const std::string refusal = "Something was wrong with the WAKE packet. Resetting...";
  if (data_length < 412) return false;
  if (!wake_is_good()) return refuse(refusal);
  const std::optional<agreement> agreed = agree(slice(buffer, 24, 128), slice(buffer, 154, 128), exponents_drawn);
  if (!agreed) return refuse(refusal);
  live.key = agreed->key;
  live.key_length = 128;
  live.timer_start = age_ms();
  live.answered_us = now_us;
  live.state = 1;
  if (!send_packet(joined({header("WRSP", 144, live.id, 64, version), agreed->public_value}))) return false;
  live.state = 2;
  return true;
}

// ---- LGIN, ENCR, LOUT ----

// A packet may be shorter than its header: what an earlier one left in the buffer is looked at then, but
// never gets it further than the end of what came.
bool device_model::header_is_good() {
  const int32_t received = data_length;
  const auto reaches = [&](int32_t end) {
    if (received < end) say("offset is too big for data");
    return received >= end;
  };
  if (at16(4) != static_cast<uint32_t>(received)) {
    say("packet length error");
    done_.output += "reported length = " + std::to_string(at16(4)) + ", actual length = " + std::to_string(received);
    return false;
  }
  if (!reaches(6)) return false;
  version = at16(6);
  if (version != 256 || !reaches(8)) return false;
  if (at32(8) != 64 || !reaches(12)) return false;
  scratch_id = at32(12);
  return reaches(16);
}

bool device_model::swap() {
  if (scratch_id != live.id) return false;
  const char *why = live.state == 0                            ? "Session state is dormant"
                    : elapsed()                                ? "Session has elapsed"
                    : scratch_kind == data && live.state < 4   ? "Session should not be ENCR at this point"
                    : scratch_kind == login && live.state != 2 ? "Session is not allowed in this state"
                                                               : nullptr;
  if (why != nullptr) say(why);
  return why == nullptr;
}

// Deciphers in place, whole blocks only, and checks: the block's own check value, then the word in front.
bool device_model::open_block(const bytes &word) {
  const size_t length = static_cast<size_t>(data_length) - 16;
  put(16, plain_decrypt(slice(buffer, 16, (length + 7) / 8 * 8), live.key));
  const uint32_t claimed = at16(18);
  if (length < 8 || plain_crc16(slice(buffer, 20, length - 4)) != at16(16)) {
    say("CRC error with data\n" + std::to_string(claimed));
    return false;
  }
  // What is claimed but not there reads as zeros.
  for (size_t at = 16 + length; at < std::min<size_t>(20 + claimed, buffer.size()); ++at) buffer[at] = 0;
  data_length = static_cast<int32_t>(claimed);
  content_ = 20;
  return slice(buffer, 20, word.size()) == word;
}

bool device_model::sealed_packet_is_good(const char *name, const bytes &word) {
  const int32_t received = data_length;
  bool good = header_is_good();
  if (good && !swap()) {
    say("failed to swap to the correct session");
    good = false;
  }
  if (good) {
    session = pointed::live;
    good = open_block(word.empty() ? word : joined({word, be32(live.id)}));
  }
  if (good && static_cast<size_t>(received) < 16 + word.size()) {
    say("offset is too big for data");
    good = false;
  }
  return good || refuse(std::string("Something was wrong with the ") + name + " packet. Resetting...");
}

bytes device_model::acknowledgement(const char *name, const bytes &content) const {
  const bytes block = sealed(content, live.key);
  return joined({header(name, 16 + block.size(), live.id, 64, version), block});
}

bool device_model::handle_login() {
  if (!sealed_packet_is_good("LGIN", text("LOGIN"))) return false;
  live.state = 3;
  if (!send_packet(acknowledgement("ACK1", joined({text("LOGGEDIN"), be32(live.id), be16(180)})))) {
    say("There was a problem with the ack1 process");
    return false;
  }
  live.state = 4;
  return true;
}

bool device_model::handle_data() {
  if (!sealed_packet_is_good("ENCR", {})) return false;
  live.state = 5;
  encrypt_replies = true;
  return true;
}

bool device_model::handle_logout() {
  if (!sealed_packet_is_good("LOUT", text("LOGOUT"))) return false;
  live.state = 0;
  if (!send_packet(acknowledgement("ACK2", joined({text("LOGGEDOUT"), be32(live.id)})))) {
    say("Quitting after ACK2");
    return false;
  }
  serving_tcp = false;
  if (over_tcp) close_connection();
  return true;
}

}  // namespace libsec::test
