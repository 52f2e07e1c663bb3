// SPDX-License-Identifier: MIT
#include "model/traffic.h"

#include <utility>

namespace libsec::test {
namespace {

constexpr int64_t ms = 1000;
constexpr int64_t second = 1000 * ms;
constexpr int64_t hour = 3600 * second;
constexpr int64_t counter_wrap_ms = int64_t{1} << 32;  // 49.7 days
constexpr int64_t year_2038 = (int64_t{1} << 31) * second;
constexpr int64_t year_2106 = (int64_t{1} << 32) * second;
constexpr int64_t first_moment = 1000 * second;

constexpr uint32_t kinds[] = {1, 3, 5, 6, 8};

}  // namespace

traffic::traffic(device_model &model, uint64_t seed, wake_maker make_wake)
    : model_(model), random_(seed), make_wake_(make_wake) {
  model_.looks_at = [this](uint32_t kind) { note(kind); };
}

void traffic::note(uint32_t kind) {
  const auto off = static_cast<int32_t>(model_.age_ms() - model_.limit_ms());
  const uint32_t age = off >= -1 && off <= 1                 ? static_cast<uint32_t>(off + 2)
                       : model_.age_ms() < model_.limit_ms() ? uint32_t{younger}
                                                             : uint32_t{older};
  const uint32_t id = read_be32(model_.buffer, 12);
  const uint32_t of = id == model_.live.id ? right : id == 0 ? zero : id == stale_id_ ? stale : wrong;
  ++visits[{model_.live.state, kind, age, of, model_.over_tcp ? 1u : 0u}];
}

// ---- Time ----

// The moment at which the session is as many milliseconds old, to the device.
int64_t traffic::at_age(int64_t milliseconds) {
  int64_t moment = model_.live.answered_us + milliseconds * ms + below(1000);
  for (int i = 0; i < 2; ++i) {
    const uint32_t off = static_cast<uint32_t>(milliseconds) - clock_difference_ms(moment, model_.live.answered_us);
    moment += static_cast<int32_t>(off) * ms;
  }
  return moment;
}

int64_t traffic::next_clock() {
  const int64_t now = model_.now_us;
  const int64_t edge = int64_t{model_.limit_ms()} - 1 + below(3);
  const uint32_t choice = below(100);
  int64_t moment = now;
  if (choice < 30) {
    moment = now + below(900);
  } else if (choice < 40) {
    moment = now + below(20'000) * ms;
  } else if (choice < 68) {
    moment = at_age(edge);
  } else if (choice < 74) {
    moment = at_age(counter_wrap_ms + edge);
  } else if (choice < 78) {
    moment = at_age(below(model_.limit_ms() + 1));
  } else if (choice < 86) {
    moment = now + (once_in(2) ? hour : -hour);
  } else if (choice < 92) {
    moment = now - below(2000) * ms;
  } else if (choice < 96) {
    const int64_t year = once_in(2) ? year_2038 : year_2106;
    moment = year - 3 * second + below(6'000'000);
  } else if (choice < 98) {
    moment = first_moment + below(1'000'000'000);
  }
  return moment < first_moment ? first_moment : moment;
}

// ---- Packets ----

bytes traffic::random_bytes(size_t count) {
  bytes made(count);
  uint64_t bits = 0;
  for (size_t i = 0; i < count; ++i, bits >>= 8) {
    if (i % 8 == 0) bits = random_();
    made[i] = static_cast<uint8_t>(bits);
  }
  return made;
}

uint32_t traffic::identifier() {
  const uint32_t choice = below(20);
  if (choice < 12) return model_.live.id;
  if (choice < 15) return 0;
  if (choice < 18) return stale_id_;
  return choice == 18 ? model_.live.id ^ 1 : static_cast<uint32_t>(random_());
}

bytes traffic::key() {
  const uint32_t choice = below(20);
  return choice < 18 ? model_.live.key : choice == 18 ? stale_key_ : random_bytes(128);
}

bytes traffic::wake() {
  static const wake_fields usual;
  wake_fields fields = usual;
  const uint32_t ids[] = {0, 0xFFFFFFFF, model_.live.id, stale_id_, static_cast<uint32_t>(random_())};
  fields.session_id = ids[below(5)];
  fields.signing_key_id = static_cast<uint32_t>(random_());
  fields.public_value = random_bytes(128);
  if (once_in(8)) fields.prime = random_bytes(128);
  if (once_in(20)) fields.prime = bytes(128, 0);
  if (once_in(16)) fields.trailing = random_bytes(below(9));
  if (once_in(64)) fields.ip_address_length = below(6);
  if (once_in(64)) fields.prime_length = 64 + below(66);
  if (once_in(64)) fields.public_value_length = 64 + below(66);
  if (once_in(64)) fields.signature_length = 64 + below(66);
  return make_wake_(*this, fields, !once_in(8));
}

bytes traffic::sealed_packet(uint32_t kind) {
  const char *name = kind == 3 ? "LGIN" : kind == 5 ? "ENCR" : "LOUT";
  const uint32_t id = identifier();
  const uint32_t told = once_in(16) ? identifier() : id;
  bytes content = kind == 3   ? joined({text("LOGIN"), be32(told)})
                  : kind == 5 ? random_bytes(below(60))
                              : joined({text("LOGOUT"), be32(told)});
  if (kind != 5 && once_in(16)) content = text(once_in(2) ? "LOGIN" : "LOGOUT");
  if (once_in(16)) content.resize(content.size() + below(30));
  const int claimed = once_in(16) ? static_cast<int>(below(1000)) : -1;
  return enciphered(name, id, content, key(), claimed);
}

bytes traffic::other_packet() {
  static constexpr const char *names[] = {"WRSP", "ACK1", "ACK2", "wake", "LGOT", "SNMP"};
  if (once_in(6)) return random_bytes(below(6));
  if (once_in(4)) return random_bytes(6 + below(60));
  const bytes content = random_bytes(below(20));
  const bytes block = sealed(content, key());
  const uint32_t id = identifier();
  return joined({header(names[below(6)], 16 + block.size(), id), block});
}

// One byte wrong, most likely in the header, or a wrong length, with or without telling so.
void traffic::damage(bytes &packet) {
  if (packet.size() < 16) return;
  if (once_in(2)) {
    const size_t among = once_in(3) ? packet.size() : 16;
    packet[below(static_cast<uint32_t>(among))] ^= static_cast<uint8_t>(1u << below(8));
    return;
  }
  packet.resize(once_in(2) ? packet.size() - below(17) : below(430), 0x77);
  if (once_in(2) && packet.size() >= 6) {
    packet[4] = static_cast<uint8_t>(packet.size() >> 8);
    packet[5] = static_cast<uint8_t>(packet.size());
  }
}

// Half of the packets are what comes next in a session.
bytes traffic::next_packet() {
  uint32_t kind = kinds[below(5)];
  if (once_in(2)) kind = model_.live.state == 2 ? 3 : model_.live.state >= 4 ? (once_in(4) ? 6 : 5) : 1;
  bytes packet = kind == 1 ? wake() : kind == 8 ? other_packet() : sealed_packet(kind);
  if (once_in(10)) damage(packet);
  return packet;
}

arrival::trouble traffic::next_trouble() {
  using enum arrival::trouble;
  return !once_in(16) ? none : once_in(2) ? not_writable : send_fails;
}

void traffic::cut(arrival &one, const bytes &packet) {
  const size_t at = below(static_cast<uint32_t>(packet.size()) + 1);
  const auto middle = packet.begin() + static_cast<std::ptrdiff_t>(at);
  one.pieces = {bytes(packet.begin(), middle), bytes(middle, packet.end())};
}

arrivals traffic::next_arrivals() {
  if (model_.live.id != last_id_) stale_id_ = std::exchange(last_id_, model_.live.id);
  if (model_.live.key != last_key_) stale_key_ = std::exchange(last_key_, model_.live.key);
  arrivals coming;
  const uint32_t count = !single && once_in(4) ? 1 + below(5) : 1;
  while (coming.size() < count) {
    arrival one;
    const bytes packet = next_packet();
    one.tcp = once_in(2);
    one.pieces = {packet};
    one.answer = next_trouble();
    one.ends = one.tcp && once_in(16);
    if (one.tcp && once_in(4)) cut(one, packet);
    if (one.tcp && once_in(40)) one.pieces.clear();
    static constexpr int64_t pauses_ms[] = {1000, 2499, 2500, 4999, 5000, 60'000};
    one.pause_us = pauses_ms[below(6)] * ms;
    one.pause_us += below(1000);
    if (!coming.empty()) one.wait_us = once_in(8) ? 10'000 * ms - below(3) : below(1100) * ms;
    coming.push_back(one);
  }
  return coming;
}

// As long as an agent's answers are, and none.
bytes traffic::next_reply() {
  return random_bytes(once_in(8) ? 0 : below(400));
}

}  // namespace libsec::test
