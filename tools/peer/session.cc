// SPDX-License-Identifier: MIT
#include "peer/session.h"

#include <fmt/format.h>
#include <openssl/rand.h>
#include <poll.h>

#include "peer/advice.h"
#include "peer/payload.h"

namespace peer {
namespace {

// How long a device is given to acknowledge the end of a session that failed already.
constexpr milliseconds farewell_time{1000};

result<uint32_t> draw_identifier() {
  bytes drawn(4);
  do {
    if (RAND_bytes(drawn.data(), 4) != 1)
      return failure{exit_code::other, "WAKE", fmt::format("no random numbers: {}", openssl_error()), {}, {}, {}};
  } while (read32(drawn, 0) == 0);  // 0 is what a device holds when it has no session
  return read32(drawn, 0);
}

}  // namespace

session::session(const private_key &key, session_options options) : signing_key_(key), options_(std::move(options)) {}

session::~session() {
  if (state_ != state::closed) abandon();
}

status session::open() {
  closing_ = false;
  if (state_ != state::closed) return failure{exit_code::usage, "WAKE", "the session is open already", {}, {}, {}};
  status opened = open_once();
  if (opened || state_ == state::closed) return opened;
  // The device has answered WAKE, so it holds the session until it is told to drop it. When it does, it
  // knew the secret all the time: the login, or its answer, was lost, and everything is worth a second go.
  bool dropped = abandon();
  if (!dropped || opened.error().code != exit_code::no_answer) return opened;
  note("the login went unanswered but the device knew the session: starting anew");
  opened = open_once();
  if (!opened && state_ != state::closed) abandon();
  return opened;
}

status session::open_once() {
  status step = connect();
  if (step) step = wake();
  if (!step) {
    forget();
    return step;
  }
  state_ = state::keyed;
  keyed_at_ = clock::now();
  step = login();
  if (step) state_ = state::logged_in;
  return step;
}

status session::connect() {
  if (options_.device.over == protocol::tcp) {
    if (status paced = pace(); !paced) return paced;
    last_sent_ = clock::now();
  }
  auto started = clock::now();
  int stop = closing_ ? -1 : options_.stop;
  result<std::unique_ptr<transport>> made = transport::connect(options_.device, started + options_.timeout, stop);
  if (!made) {
    failed_ = true;
    if (stopped()) return interruption("connect");
    return explain_failure(made.error(), "connect", {}, options_.device, options_.timeout);
  }
  transport_ = std::move(*made);
  last_used_ = clock::now();
  if (options_.observer != nullptr) options_.observer->on_step({"connect", {}, 0, 0, 0, clock::now() - started});
  return done;
}

status session::wake() {
  result<uint32_t> identifier = draw_identifier();
  if (!identifier) return identifier.error();
  result<dh_secret> secret = dh_secret::draw(options_.group);
  if (!secret) return secret.error();
  id_ = *identifier;
  wake_fields fields{id_, transport_->local_address(), options_.group.prime(), secret->public_value()};
  result<bytes> packet = build_wake(fields, [this](byte_view message) { return signing_key_.sign(message); });
  if (!packet) return packet.error();
  // The answer counts only when a secret can be agreed on with it: a forged one must not stand in the
  // way of the true one.
  auto agree = [&](byte_view answer) -> result<bytes> {
    result<bytes> public_value = parse_wrsp(answer, id_);
    if (!public_value) return public_value;
    result<secret_bytes> agreed = secret->agree(*public_value);
    if (!agreed) return agreed.error();
    key_ = std::move(*agreed);
    if (options_.key_log) options_.key_log(id_, key_);
    return bytes{};
  };
  if (result<bytes> answer = run(about("WAKE", "WRSP", std::move(*packet), agree)); !answer) return answer.error();
  return done;
}

status session::login() {
  auto parse = [this](byte_view answer) { return parse_ack1(answer, id_, key_); };
  if (result<bytes> answer = run(about("LGIN", "ACK1", build_login(id_, key_), parse)); !answer) return answer.error();
  return done;
}

result<bytes> session::request(byte_view content, const reply_check &answers) {
  if (state_ != state::logged_in)
    return failure{exit_code::other, "ENCR", "there is no open session to send the request in", {}, {}, "again"};
  if (content.size() > max_content_bytes)
    return failure{exit_code::usage,
                   "ENCR",
                   fmt::format("the request has {} bytes", content.size()),
                   fmt::format("at most {}, which fill the device's buffer", max_content_bytes),
                   {},
                   "send it in parts"};
  if (age() >= session_lifetime) {
    state_ = state::out_of_step;
    return failure{exit_code::refused,
                   "ENCR",
                   "the device has ended the session, 180 s after the key exchange",
                   {},
                   {},
                   "again, with fewer requests at a time"};
  }
  auto parse = [&](byte_view answer) -> result<bytes> {
    result<bytes> reply = parse_reply(answer, id_, key_);
    if (reply && answers && !answers(*reply))
      return failure{exit_code::verification, {}, "the reply answers another request", {}, {}, {}};
    return reply;
  };
  exchange what = about("ENCR", "ENCR", build_request(id_, key_, content), parse);
  what.repeatable = false;
  result<bytes> reply = run(what);
  if (!reply) state_ = state::out_of_step;
  return reply;
}

status session::close() {
  if (state_ == state::closed) return done;
  closing_ = true;
  bool unanswered = state_ == state::out_of_step && nothing_came_ && options_.device.over == protocol::tcp;
  status ended = logout(options_.timeout);
  agent_was_silent_ = unanswered && ended && !late_reply_;
  forget();
  return ended;
}

status session::logout(milliseconds timeout) {
  if (transport_) transport_->ignore_stop();
  late_reply_ = false;
  // Where a request only stayed unanswered, the device still reads from the connection, and it would take 5 s
  // to turn to another one.
  bool still_read = state_ == state::out_of_step && nothing_came_ && options_.device.over == protocol::tcp &&
                    clock::now() - last_sent_ <= options_.reconnect_after;
  if (still_read && send_logout(std::min(timeout, farewell_time))) return done;
  // After a failure a connection may be dead, or hold a late answer; the device takes the logout on any.
  if (state_ != state::logged_in && options_.device.over == protocol::tcp) {
    if (status connected = connect(); !connected) return connected;
  }
  return send_logout(timeout);
}

status session::send_logout(milliseconds timeout) {
  auto parse = [this](byte_view answer) { return parse_ack2(answer, id_, key_); };
  exchange what = about("LOUT", "ACK2", build_logout(id_, key_), parse);
  what.timeout = timeout;
  if (result<bytes> answer = run(what); !answer) return answer.error();
  return done;
}

// Ends what the device holds of a failed session, so that it need not wait for the time limit. True when
// the device confirmed it.
bool session::abandon() {
  bool was_closing = std::exchange(closing_, true);
  status ended = logout(std::min(options_.timeout, farewell_time));
  forget();
  closing_ = was_closing;
  return static_cast<bool>(ended);
}

void session::forget() {
  transport_.reset();
  secret_bytes().swap(key_);
  state_ = state::closed;
}

session::exchange session::about(std::string_view step, std::string_view answer, bytes packet, parser parse) const {
  return {step, answer, std::move(packet), std::move(parse), true, options_.timeout};
}

// Holds the next packet back when the last one met with a failure.
status session::pace() {
  auto end = last_sent_ + options_.pause_after_failure;
  if (failed_) wait_for(-1, 0, end, closing_ ? -1 : options_.stop);
  if (stopped()) return interruption("connect");
  return done;
}

bool session::stopped() const {
  return !closing_ && options_.stop >= 0 && wait_for(options_.stop, POLLIN, {});
}

failure session::interruption(std::string_view step) const {
  return {exit_code::interrupted, std::string(step), "interrupted", {}, {}, {}};
}

result<bytes> session::run(const exchange &what) {
  result<bytes> answer = exchange_once(what);
  failed_ = !answer;
  if (!answer && stopped()) return interruption(what.step);
  return answer;
}

result<bytes> session::exchange_once(const exchange &what) {
  // The connection that is replaced ends when the new one has served: a device that has not turned away
  // from it yet would go on reading at its end for 5 s, and look at the new one only then.
  std::unique_ptr<transport> replaced;
  if (transport_->is_stream() && clock::now() - last_used_ > options_.reconnect_after) {
    replaced = std::move(transport_);
    if (status connected = connect(); !connected) {
      transport_ = std::move(replaced);
      return connected.error();
    }
  }
  if (status paced = pace(); !paced) return paced.error();
  auto started = clock::now();
  // A reply that was given up may have come meanwhile; await() knows it.
  size_t unasked = state_ == state::out_of_step && nothing_came_ ? 0 : transport_->drop_unasked();
  if (unasked != 0) {
    if (transport_->is_stream())
      return explain({exit_code::verification,
                      {},
                      fmt::format("{} bytes came behind the last answer", unasked),
                      "one answer to each packet",
                      {},
                      {}},
                     what);
    note(fmt::format("{} bytes that came behind the last answer were ignored", unasked));
  }
  result<bytes> answer = await(what, started);
  last_used_ = clock::now();
  return answer;
}

// Sends the packet, again where that helps, until the answer is there or the time is up.
result<bytes> session::await(const exchange &what, clock::time_point started) {
  nothing_came_ = false;
  auto end = started + what.timeout;
  auto next_sending = started;
  bool repeat = what.repeatable && !transport_->is_stream();
  int times_sent = 0;
  std::optional<failure> refused;
  for (;;) {
    if (clock::now() >= next_sending) {
      if (status sent = transport_->send(what.packet, end); !sent) return explain(sent.error(), what);
      last_sent_ = clock::now();
      if (options_.observer != nullptr) options_.observer->on_packet(true, what.packet);
      times_sent++;
      next_sending = repeat ? next_sending + options_.resend_after : clock::time_point::max();
    }
    result<bytes> packet = transport_->receive(std::min(end, next_sending));
    if (packet) {
      if (options_.observer != nullptr) options_.observer->on_packet(false, *packet);
      result<bytes> content = what.parse(*packet);
      if (content) {
        report(what, packet->size(), times_sent, started);
        return content;
      }
      late_reply_ = late_reply_ || (state_ == state::out_of_step && parse_reply(*packet, id_, key_));
      if (transport_->is_stream() && !late_reply_) return explain(content.error(), what);
      // A datagram may be late, doubled or forged, and in a stream a reply may be late. The right one may still come;
      // if it does not, the first wrong one is what there is to tell.
      note("a packet was ignored: " + content.error().happened);
      if (!refused) refused = content.error();
    } else if (packet.error().code != exit_code::no_answer) {
      return explain(packet.error(), what);
    }
    if (stopped()) return interruption(what.step);
    // Here also after a wrong datagram: a flood of them must not hold this side for ever.
    if (clock::now() >= end) {
      nothing_came_ = !refused && packet.error().happened.empty();
      return explain(refused ? *refused : packet.error(), what);
    }
  }
}

void session::report(const exchange &what, size_t received_bytes, int times_sent, clock::time_point started) const {
  if (options_.observer != nullptr)
    options_.observer->on_step(
        {what.step, what.answer, what.packet.size(), received_bytes, times_sent, clock::now() - started});
}

failure session::explain(failure why, const exchange &what) const {
  return explain_failure(std::move(why), what.step, what.answer, options_.device, what.timeout);
}

void session::note(const std::string &text) const {
  if (options_.observer != nullptr) options_.observer->on_note(text);
}

}  // namespace peer
