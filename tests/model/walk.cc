// SPDX-License-Identifier: MIT
#include "model/walk.h"

#include <cstdlib>

namespace libsec::test {
namespace {

// Collects the first difference.
class comparison {
 public:
  template <typename A, typename B>
  void equal(const char *what, const A &library, const B &model) {
    if (!text.empty() || library == static_cast<A>(model)) return;
    text = std::string(what) + ": library " + shown(library) + ", model " + shown(static_cast<A>(model));
  }
  std::string text;

 private:
  static std::string shown(const bytes &data) { return to_hex(data); }
  static std::string shown(const std::string &data) { return "\"" + data + "\""; }
  static std::string shown(bool flag) { return flag ? "true" : "false"; }
  static std::string shown(uint32_t number) { return std::to_string(number); }
  static std::string shown(int32_t number) { return std::to_string(number); }
  static std::string shown(int64_t number) { return std::to_string(number); }
};

std::string shown(const std::vector<deed> &deeds) {
  static constexpr const char *names[] = {"udp", "tcp", "shut down", "close"};
  std::string all;
  for (const deed &one : deeds) {
    all += std::string(names[static_cast<int>(one.what)]) + " " + std::to_string(one.descriptor) + " " +
           to_hex(one.packet) + "; ";
  }
  return all;
}

uint64_t from_environment(const char *name, uint64_t usual) {
  const char *wanted = std::getenv(name);
  return wanted == nullptr ? usual : std::strtoull(wanted, nullptr, 0);
}

}  // namespace

uint64_t walk_seed(uint64_t usual) {
  return from_environment("LIBSEC_SEED", usual);
}

uint64_t walk_steps(uint64_t usual) {
  return from_environment("LIBSEC_STEPS", usual);
}

walk::walk(uint64_t seed, traffic::wake_maker make_wake) : seed_(seed), peers(model, seed, make_wake) {}

std::string walk::run(uint64_t packets) {
  model.now_us = 1'000'000'000'000;
  library.set_clock(model.now_us);
  restart();
  while (packets_ < packets) {
    if (std::string difference = step(); !difference.empty()) {
      return difference + "\nafter " + std::to_string(packets_) + " packets of LIBSEC_SEED=" + std::to_string(seed_);
    }
  }
  return {};
}

// Another process, with or without a key file.
void walk::restart() {
  const bool key_file = !peers.once_in(4);
  device_model fresh;
  fresh.looks_at = model.looks_at;
  fresh.now_us = model.now_us;
  fresh.exponents_drawn = model.exponents_drawn;
  fresh.full_encryption = key_file;
  tell(fresh);
  model = fresh;
  library.restart(key_file);
}

// A state that the host put there, as it may: the record is exported. Some states are never left to be seen
// by a packet otherwise.
void walk::plant() {
  model.live.state = security_sessions.state = peers.below(7);
  const uint32_t mark = peers.below(2);
  model.live.admission_mark = mark;
  security_sessions.admission_mark = static_cast<uint8_t>(mark);
  if (!peers.once_in(2)) return;
  model.live.answered_us = model.now_us;
  security_sessions.timer.seconds = static_cast<int32_t>(static_cast<uint32_t>(model.now_us / 1'000'000));
  security_sessions.timer.microseconds = static_cast<int32_t>(model.now_us % 1'000'000);
}

std::string walk::step() {
  if (peers.once_in(1000)) restart();
  if (peers.once_in(15)) plant();
  model.now_us = peers.next_clock();
  library.set_clock(model.now_us);
  const arrivals all = peers.next_arrivals();
  arrivals for_library = all, for_model = all;
  while (!for_model.empty()) {
    const outcome of_library = library.receive(for_library);
    const outcome of_model = model.receive(for_model);
    std::string what = "receiving";
    if (of_library == of_model && for_library.size() == for_model.size()) what.clear();
    if (!what.empty()) {
      for (const arrival &one : all) {
        what += one.tcp ? "\n  tcp" : "\n  udp";
        for (const bytes &piece : one.pieces) what += " " + to_hex(piece);
      }
    }
    if (std::string text = differs(of_library, of_model, what); !text.empty()) return text;
    if (of_model.delivers && peers.once_in(2)) break;
  }
  packets_ += all.size() - for_model.size();
  if (model.data_length >= 0 && peers.once_in(8)) {
    const bytes reply = peers.next_reply();
    const arrival::trouble trouble = peers.next_trouble();
    return differs(library.send(reply, trouble), model.send(reply, trouble), "sending " + to_hex(reply));
  }
  return {};
}

std::string walk::differs(const outcome &of_library, const outcome &of_model, const std::string &what) {
  for (const deed &one : of_model.deeds) answers_ += one.packet.empty() ? 0 : 1;
  deliveries_ += of_model.delivers ? 1 : 0;
  comparison c;
  c.equal("output", of_library.output, of_model.output);
  c.equal("result", of_library.result, of_model.result);
  c.equal("stores", of_library.stores, of_model.stores);
  c.equal("delivers", of_library.delivers, of_model.delivers);
  c.equal("delivered", of_library.delivered, of_model.delivered);
  if (of_library.deeds != of_model.deeds) c.equal("sent and closed", shown(of_library.deeds), shown(of_model.deeds));
  if (c.text.empty()) c.text = context_differs();
  if (c.text.empty()) c.text = sessions_differ();
  return c.text.empty() ? c.text : c.text + "\n" + what + "\n" + of_library.output;
}

std::string walk::context_differs() const {
  const zolt_context &context = *library.context;
  using enum device_model::pointed;
  const auto points_at = context.session == &security_sessions      ? live
                         : context.session == &security_session_tmp ? scratch
                                                                    : nowhere;
  comparison c;
  c.equal("clock", library.now_us(), model.now_us);
  c.equal("session", static_cast<int>(points_at), static_cast<int>(model.session));
  c.equal("protocol_version", context.protocol_version, model.version);
  c.equal("packet_failed", context.packet_failed, model.refused);
  c.equal("encrypt_replies", context.encrypt_replies, model.encrypt_replies);
  c.equal("transport_is_tcp", uint32_t{context.transport_is_tcp}, model.over_tcp);
  c.equal("tcp_session_active", uint32_t{context.tcp_session_active}, model.serving_tcp);
  c.equal("tcp_client_socket", context.tcp_client_socket, model.connection);
  c.equal("data_length", context.data_length, model.data_length);
  c.equal("iteration_time_ms", context.iteration_time_ms, model.pass_ms);
  c.equal("total_receive_time_ms", context.total_receive_time_ms, model.total_ms);
  if (std::memcmp(context.packet, model.buffer.data(), model.buffer.size()) != 0) {
    c.equal("packet", bytes(context.packet, context.packet + model.buffer.size()), model.buffer);
  }
  return c.text;
}

std::string walk::sessions_differ() const {
  const security_session &live = security_sessions;
  comparison c;
  c.equal("state", live.state, model.live.state);
  c.equal("session_id", live.session_id, model.live.id);
  if (std::memcmp(live.key, model.live.key.data(), sizeof live.key) != 0) c.equal("key", key_of(live), model.live.key);
  c.equal("timer's seconds", static_cast<uint32_t>(live.timer.seconds), model.live.answered_us / 1'000'000);
  c.equal("timer's microseconds", live.timer.microseconds, model.live.answered_us % 1'000'000);
  c.equal("timer_start", live.timer_start, model.live.timer_start);
  c.equal("ip_address_length", live.ip_address_length, model.live.ip_address_length);
  c.equal("key_p_length", uint32_t{live.key_p_length}, model.live.prime_length);
  c.equal("key_yb_length", uint32_t{live.key_yb_length}, model.live.public_value_length);
  c.equal("rsa_length", uint32_t{live.rsa_length}, model.live.signature_length);
  c.equal("key_length", uint32_t{live.key_length}, model.live.key_length);
  c.equal("admission_mark", uint32_t{live.admission_mark}, model.live.admission_mark);
  c.equal("scratch session_id", security_session_tmp.session_id, model.scratch_id);
  c.equal("scratch state", security_session_tmp.state, model.scratch_kind);
  c.equal("full_encryption", full_encryption, model.full_encryption);
  if (drawn) c.equal("exponents drawn", drawn(), model.exponents_drawn);
  return c.text;
}

}  // namespace libsec::test
