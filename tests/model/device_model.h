// SPDX-License-Identifier: MIT
// The device's half of the protocol once more, as plain as it can be said: rules and lists, nothing shared
// with the library. What cannot be told from packets and clock alone (whether a signature is good, what
// private exponent was drawn) it is told.
#pragma once

#include <array>
#include <functional>
#include <optional>

#include "model/script.h"

namespace libsec::test {

struct agreement {
  bytes public_value;  // 128 bytes, for WRSP
  bytes key;           // 128 bytes
};

class device_model {
 public:
  // As many of the packet buffer's bytes as the model keeps; no packet it is shown is longer.
  static constexpr size_t buffer_bytes = 1400;

  struct live_session {
    uint32_t state = 0;
    uint32_t id = 0;
    bytes key = bytes(128, 0);
    int64_t answered_us = 0;  // when the last WAKE was answered
    uint32_t timer_start = 0;
    uint32_t ip_address_length = 0;
    uint32_t prime_length = 0;
    uint32_t public_value_length = 0;
    uint32_t signature_length = 0;
    uint32_t key_length = 0;
    uint32_t admission_mark = 0;
  };
  enum class pointed { nowhere, scratch, live };

  // Told from outside.
  std::function<bool(const bytes &packet)> signature_is_good;
  // Under the n-th exponent that was drawn; nothing when the prime cannot be used.
  std::function<std::optional<agreement>(const bytes &prime, const bytes &public_value, uint32_t n)> agree;
  // Hears of every packet that is looked at, before anything comes of it.
  std::function<void(uint32_t kind)> looks_at;
  bool full_encryption = false;

  int64_t now_us = 0;
  live_session live;
  uint32_t scratch_id = 0;
  uint32_t scratch_kind = 0;
  pointed session = pointed::nowhere;
  uint32_t version = 0;
  bool refused = false;
  bool encrypt_replies = false;
  bool over_tcp = false;
  bool serving_tcp = false;
  int connection = -1;
  int32_t data_length = 0;
  int32_t pass_ms = 0;
  uint32_t total_ms = 0;
  uint32_t exponents_drawn = 0;
  bytes buffer = bytes(buffer_bytes, 0xA5);

  outcome receive(arrivals &coming);
  outcome send(const bytes &reply, arrival::trouble trouble);

  // The milliseconds that the live session is old, and may become, as the device counts them.
  uint32_t age_ms() const;
  uint32_t limit_ms() const;

 private:
  // receive.cc: the transport
  bool choose_transport(arrivals &coming);
  void take_datagram(arrivals &coming);
  void gather(arrivals &coming);
  void gather_pieces(const arrival &from);
  bool throttled();
  void put(size_t at, const bytes &data);
  bool send_packet(const bytes &packet);
  void close_connection();

  // protocol.cc: packets
  bool process();  // whether there is something for the host
  bool admit();
  bool handle();
  bool handle_wake();
  bool wake_is_good();
  bool handle_login();
  bool handle_data();
  bool handle_logout();
  bool sealed_packet_is_good(const char *name, const bytes &word);
  bool header_is_good();
  bool swap();
  bool open_block(const bytes &word);
  bool refuse(const std::string &line);
  bytes acknowledgement(const char *name, const bytes &content) const;
  bool elapsed() const { return age_ms() > limit_ms(); }

  uint32_t at16(size_t at) const { return read_be16(buffer, at); }
  uint32_t at32(size_t at) const { return read_be32(buffer, at); }
  void say(const std::string &line) { done_.output += line + "\n"; }

  outcome done_;
  arrival::trouble trouble_ = arrival::trouble::none;
  int64_t pass_began_us_ = 0;
  int64_t throttle_began_us_ = 0;
  uint32_t throttle_ms_ = 0;
  uint32_t rejections_ = 0;
  int left_open_ = -1;  // accepted and not closed yet
  uint32_t accepted_ = 0;
  size_t content_ = 0;  // where the host's bytes begin
};

// Seconds and microseconds are subtracted apart; the microseconds are cut towards zero.
uint32_t clock_difference_ms(int64_t now_us, int64_t then_us);

}  // namespace libsec::test
