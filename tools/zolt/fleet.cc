// SPDX-License-Identifier: MIT
#include "zolt/fleet.h"

#include <fmt/format.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <system_error>
#include <thread>

#include "zolt/json_replies.h"
#include "zolt/output.h"
#include "zolt/stop.h"

namespace zolt {
namespace {

// What a device that counts refused packets bears after a failure is one packet a second.
constexpr peer::milliseconds pause_after_failure{1000};

const char *name_of(peer::exit_code code) {
  switch (code) {
    case peer::exit_code::ok:
      return "ok";
    case peer::exit_code::key:
      return "key trouble";
    case peer::exit_code::no_answer:
      return "no answer";
    case peer::exit_code::refused:
      return "busy or refused";
    case peer::exit_code::verification:
      return "wrong answer";
    case peer::exit_code::agent:
      return "failed agent";
    case peer::exit_code::interrupted:
      return "interrupted";
    default:
      return "failed";
  }
}

connection_options connection_to(const target &to) {
  connection_options chosen;
  chosen.host = to.device.host;
  chosen.port = to.device.port;
  chosen.tcp = to.device.over == peer::protocol::tcp;
  chosen.timeout = to.timeout;
  return chosen;
}

}  // namespace

std::string summary(const std::map<peer::exit_code, size_t> &counts) {
  std::string parts;
  size_t all = 0;
  for (const auto &[code, count] : counts) {
    all += count;
    parts += fmt::format("{}{} {}", parts.empty() ? ": " : ", ", count, name_of(code));
  }
  return fmt::format("{} device{}{}", all, all == 1 ? "" : "s", parts);
}

peer::status fleet::run(unsigned parallel) {
  show_progress();
  std::vector<std::thread> threads;
  size_t wanted = std::min<size_t>(parallel, targets_.size());
  while (threads.size() < wanted) {
    try {
      threads.emplace_back([this] { work(); });
    } catch (const std::system_error &) {
      break;  // fewer threads do as well, only slower
    }
  }
  if (threads.empty()) work();
  for (std::thread &each : threads) each.join();
  progress_.clear();
  if (unwritten_) return *unwritten_;
  return peer::done;
}

void fleet::work() {
  for (size_t at = 0; (at = next_.fetch_add(1)) < targets_.size();) {
    auto [code, object] = ask(targets_[at]);
    report(code, object);
  }
}

std::pair<peer::exit_code, nlohmann::ordered_json> fleet::ask(const target &to) const {
  session_setup setup(connection_to(to), stop_, to.name() + "  ");
  json_replies replies;
  auto started = peer::clock::now();
  peer::status ran = converse_with(setup, replies);
  double took = std::chrono::duration<double, std::milli>(peer::clock::now() - started).count();
  nlohmann::ordered_json object = {{"target", to.name()},
                                   {"transport", to.device.over == peer::protocol::tcp ? "tcp" : "udp"}};
  object.update(replies.object(ran, setup.voice));
  object["total_ms"] = took;
  return {ran ? peer::exit_code::ok : ran.error().code, object};
}

peer::status fleet::converse_with(session_setup &setup, json_replies &replies) const {
  if (peer::wait_for(stop_, POLLIN, {}))
    return peer::failure{peer::exit_code::interrupted, "connect", "interrupted before it was asked", {}, {}, {}};
  setup.options.pause_after_failure = pause_after_failure;
  setup.options.key_log = key_log_;
  setup.voice.keep_steps();
  try {
    peer::session session(key_, setup.options);
    return converse(session, payloads_, [&](const payload &, peer::byte_view reply) -> peer::status {
      replies.add(reply);
      return peer::done;
    });
  } catch (const std::exception &error) {
    // For example, no memory for this device's reply: the others go on.
    return peer::failure{peer::exit_code::other, "session", error.what(), {}, {}, {}};
  }
}

void fleet::report(peer::exit_code code, const nlohmann::ordered_json &object) {
  std::lock_guard lock(mutex_);
  counts_[code]++;
  done_++;
  if (::isatty(STDOUT_FILENO) != 0) progress_.clear();
  if (!unwritten_) {
    try {
      print(object);
    } catch (const std::exception &error) {
      // Nobody learns of further devices, so they are not asked.
      unwritten_ = peer::failure{peer::exit_code::other, "output", error.what(), {}, {}, {}};
      request_stop();
    }
  }
  show_progress();
}

void fleet::show_progress() {
  size_t good = counts_.count(peer::exit_code::ok) != 0 ? counts_[peer::exit_code::ok] : 0;
  progress_.show(static_cast<double>(done_) / static_cast<double>(targets_.size()),
                 fmt::format("{} of {} devices, {} failed", done_, targets_.size(), done_ - good));
}

}  // namespace zolt
