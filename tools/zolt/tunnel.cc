// SPDX-License-Identifier: MIT
#include "zolt/tunnel.h"

#include <fmt/format.h>
#include <poll.h>

#include "peer/snmp.h"

namespace zolt {
namespace {

constexpr std::chrono::seconds pause_between_tries{1};
constexpr std::chrono::seconds pause_between_lines{30};

std::string in_one_line(const peer::failure &why) {
  return why.step + ": " + why.happened + (why.causes.empty() ? "" : "; likely: " + why.causes);
}

// What another try, later, may mend.
bool may_pass(const peer::failure &why) {
  return why.code == peer::exit_code::no_answer || why.code == peer::exit_code::refused;
}

}  // namespace

peer::status tunnel::open() {
  return open_until(peer::clock::now() + options_.patience);
}

peer::status tunnel::open_until(peer::clock::time_point deadline) {
  bool at_start = deadline != peer::clock::time_point::max();
  peer::clock::time_point next_line{};
  auto started = peer::clock::now();
  for (;;) {
    peer::status opened = session_.open();
    plain_.gather();
    auto now = peer::clock::now();
    if (opened) {
      if (next_line != peer::clock::time_point{})
        options_.say(
            fmt::format("the device answers, after {:.0f} s", std::chrono::duration<double>(now - started).count()));
      return opened;
    }
    if (stopped() || (at_start && (!may_pass(opened.error()) || now >= deadline))) return opened;
    if (now >= next_line) {
      options_.say("waiting for the device. " + in_one_line(opened.error()));
      next_line = now + pause_between_lines;
    }
    peer::wait_for(-1, 0, now + pause_between_tries, options_.stop);
  }
}

void tunnel::run() {
  while (!stopped()) {
    if (!session_.is_open() && !open_until(peer::clock::time_point::max())) continue;
    if (peer::clock::now() >= renewal()) {
      renew();
      continue;
    }
    plain_.gather();
    if (std::optional<asked> request = plain_.next()) {
      serve(*request);
    } else {
      peer::wait_for(plain_.socket(), POLLIN, renewal(), options_.stop);
    }
  }
}

peer::clock::time_point tunnel::renewal() const {
  return peer::clock::now() - session_.age() + options_.renew_after;
}

void tunnel::renew() {
  if (peer::status closed = session_.close(); !closed) options_.say(in_one_line(closed.error()));
}

// A failed request is not sent again, because the device may have carried it out: that its client repeats
// it decides. The replies of a session with a failed request cannot be trusted to be in order, so a new one
// is begun.
void tunnel::serve(const asked &request) {
  auto answers = [&](peer::byte_view reply) { return peer::answers_snmp(request.content, reply); };
  peer::result<peer::bytes> reply = session_.request(request.content, answers);
  plain_.gather(&request);
  if (reply) {
    plain_.answer(request, *reply);
    return;
  }
  if (stopped()) return;
  options_.say(in_one_line(reply.error()));
  renew();
}

bool tunnel::stopped() const {
  return peer::wait_for(options_.stop, POLLIN, {});
}

}  // namespace zolt
