// SPDX-License-Identifier: MIT
// The model's transport: the receive loop, the gathering, the throttle and the sending.
#include "model/device_model.h"

#include <algorithm>

namespace libsec::test {

uint32_t clock_difference_ms(int64_t now_us, int64_t then_us) {
  const int64_t seconds = now_us / 1'000'000 - then_us / 1'000'000;
  const int64_t microseconds = now_us % 1'000'000 - then_us % 1'000'000;
  return static_cast<uint32_t>(seconds * 1000 + microseconds / 1000);
}

uint32_t device_model::age_ms() const {
  return clock_difference_ms(now_us, live.answered_us);
}

uint32_t device_model::limit_ms() const {
  if (live.state == 2) return 10'000;
  return live.state == 4 || live.state == 5 ? 180'000 : 0;
}

void device_model::put(size_t at, const bytes &data) {
  std::copy(data.begin(), data.end(), buffer.begin() + static_cast<std::ptrdiff_t>(at));
}

// ---- One call of ZOLT_receive() ----

outcome device_model::receive(arrivals &coming) {
  done_ = {};
  done_.result = -1;
  throttle_began_us_ = now_us;
  throttle_ms_ = 0;
  rejections_ = 0;
  for (;;) {
    pass_ms = static_cast<int32_t>(clock_difference_ms(now_us, pass_began_us_));
    pass_began_us_ = now_us;
    if (serving_tcp) {
      say("There is already an active TCP session");
    } else if (!choose_transport(coming)) {
      return done_;
    }
    if (over_tcp) {
      gather(coming);
    } else {
      take_datagram(coming);
    }
    say("received " + std::to_string(data_length));
    if (data_length < 1) {
      say("no data");
      serving_tcp = false;
      done_.stores = true;
      return done_;
    }
    pass_ms = static_cast<int32_t>(clock_difference_ms(now_us, pass_began_us_));
    total_ms += static_cast<uint32_t>(pass_ms);
    if (throttled()) continue;
    if (process()) {
      done_.result = 0;
      done_.stores = done_.delivers = true;
      const auto from = buffer.begin() + static_cast<std::ptrdiff_t>(content_);
      done_.delivered = bytes(from, from + data_length);
      return done_;
    }
    if (refused) ++rejections_;
  }
}

// False when nothing comes any more: the wait is interrupted.
bool device_model::choose_transport(arrivals &coming) {
  if (coming.empty()) {
    say("Error connecting 4 - Interrupted system call");
    return false;
  }
  now_us += coming.front().wait_us;
  over_tcp = coming.front().tcp;
  if (!over_tcp) return true;
  // What was left behind is closed when the next one comes.
  if (left_open_ != -1) done_.deeds.push_back({deed::kind::closed, left_open_, {}});
  connection = left_open_ = accepted_descriptor(accepted_++);
  say("TCP connection accepted");
  serving_tcp = true;
  coming.front().wait_us = 0;  // it is here, and so is what it brings
  return true;
}

void device_model::take_datagram(arrivals &coming) {
  const arrival from = coming.front();
  coming.pop_front();
  trouble_ = from.answer;
  put(0, from.pieces[0]);
  data_length = static_cast<int32_t>(from.pieces[0].size());
}

void device_model::gather(arrivals &coming) {
  data_length = 0;
  if (coming.empty() || !coming.front().tcp) {
    now_us += silence_us;
    say("No more data was in the buffer");
    return;
  }
  const arrival from = coming.front();
  coming.pop_front();
  trouble_ = from.answer;
  if (from.pieces.empty() && !from.ends) {
    now_us += silence_us;
    say("No more data was in the buffer");
    return;
  }
  now_us += from.wait_us;
  gather_pieces(from);
}

void device_model::gather_pieces(const arrival &from) {
  const int64_t began_us = now_us;
  size_t gathered = 0;
  for (size_t read = 0;; ++read) {
    if (read > 0) now_us += from.pause_us;
    if (read < from.pieces.size()) {
      put(gathered, from.pieces[read]);
      gathered += from.pieces[read].size();
    }
    const bool whole = gathered >= at16(4);  // also where the buffer's older bytes say so
    if (whole) say("All data received");
    const bool late = clock_difference_ms(now_us, began_us) >= 5000;
    if (late) done_.output += "timed out waiting for the whole packet";
    if (whole || late) break;
  }
  data_length = static_cast<int32_t>(gathered);
}

bool device_model::throttled() {
  throttle_ms_ = clock_difference_ms(now_us, throttle_began_us_);
  if (pass_ms >= 10'000) {
    throttle_began_us_ = now_us;
    rejections_ = 0;
  }
  return rejections_ != 0 && throttle_ms_ / rejections_ < 333;
}

// ---- Ways out ----

// What is sent stands in the buffer first, whatever becomes of it.
bool device_model::send_packet(const bytes &packet) {
  put(0, packet);
  data_length = static_cast<int32_t>(packet.size());
  if (!over_tcp) {
    if (trouble_ == arrival::trouble::none) {
      done_.deeds.push_back({deed::kind::udp, udp_descriptor, packet});
      return true;
    }
    say("UDP send failed");
    return false;
  }
  if (connection != -1 && trouble_ != arrival::trouble::not_writable) {
    const bool good = trouble_ == arrival::trouble::none;
    say("Sent " + std::to_string(good ? static_cast<int>(packet.size()) : -1));
    if (good) {
      done_.deeds.push_back({deed::kind::tcp, connection, packet});
      return true;
    }
  }
  say("The tcp_send function failed");
  return false;
}

void device_model::close_connection() {
  done_.deeds.push_back({deed::kind::shut_down, connection, {}});
  done_.deeds.push_back({deed::kind::closed, connection, {}});
  if (connection == left_open_) left_open_ = -1;
  connection = -1;
}

outcome device_model::send(const bytes &reply, arrival::trouble trouble) {
  done_ = {};
  done_.result = -1;
  trouble_ = trouble;
  data_length = static_cast<int32_t>(reply.size());
  if (!full_encryption && !encrypt_replies) {  // plain, over UDP, whatever came last
    if (trouble != arrival::trouble::none) return done_;
    done_.deeds.push_back({deed::kind::udp, udp_descriptor, reply});
    done_.result = 0;
    return done_;
  }
  session = pointed::live;  // the scratch record has no key
  const bool keyed = live.state > 1 || live.key != bytes(128, 0);
  if (keyed) {
    const bytes block = sealed(reply, live.key);
    if (send_packet(joined({header("ENCR", 16 + block.size(), live.id, 64, version), block}))) {
      done_.result = 0;
      return done_;
    }
  }
  say("There was a problem sending the ENCR packet");
  return done_;
}

}  // namespace libsec::test
