// SPDX-License-Identifier: MIT
#include "zolt/payloads.h"

#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "peer/advice.h"
#include "peer/payload.h"
#include "peer/snmp.h"

namespace zolt {
namespace {

peer::failure usage(std::string happened, std::string expected) {
  return {peer::exit_code::usage, "request", std::move(happened), std::move(expected), {}, {}};
}

peer::result<peer::bytes> read_standard_input() {
  peer::bytes content;
  uint8_t chunk[4096];
  while (size_t got = std::fread(chunk, 1, sizeof chunk, stdin)) {
    peer::append(content, {chunk, got});
    if (content.size() > peer::max_content_bytes) break;  // enough to know that it is too much
  }
  if (std::ferror(stdin) != 0)
    return peer::failure{peer::exit_code::other, "request", "standard input cannot be read", {}, {}, {}};
  return content;
}

// UTF-8 passes; control characters, those of the second control set (C2 80 to C2 9F) included, do not.
std::string fit_for_terminal(peer::byte_view reply) {
  std::string shown;
  for (size_t at = 0; at < reply.size(); at++) {
    uint8_t byte = reply[at];
    bool second_control = byte == 0xc2 && at + 1 < reply.size() && reply[at + 1] >= 0x80 && reply[at + 1] < 0xa0;
    bool control = (byte < ' ' && byte != '\n' && byte != '\t') || byte == 0x7f;
    if (control || second_control) {
      shown += fmt::format("\\x{:02x}", byte);
    } else if (byte >= 0x80 && byte < 0xa0 && (at == 0 || reply[at - 1] < 0x80)) {
      shown += fmt::format("\\x{:02x}", byte);  // a control character where no UTF-8 sequence is
    } else {
      shown += static_cast<char>(byte);
    }
  }
  return shown;
}

// What an SNMP agent says of itself in a reply that has been handed on like any other.
peer::failure agent_failure(int64_t error) {
  return {peer::exit_code::agent,
          "ENCR",
          fmt::format("the agent answered with the SNMP error {} ({})", peer::snmp_error_name(error), error),
          "a reply without an error of the agent itself",
          "what the request asked of the agent went wrong there",
          "look at the agent's log on the device; again, or for fewer objects at a time"};
}

}  // namespace

void add_payload_options(CLI::App &command, payload_options &options) {
  auto *texts = command.add_option("PAYLOAD", options.texts, "Requests, as they are; - reads one from standard input");
  command.add_option("--hex", options.hex, "Requests in hexadecimal digits, instead of PAYLOAD; so are the replies")
      ->type_name("HEX")
      ->allow_extra_args(false)
      ->excludes(texts);
}

peer::result<std::vector<payload>> read_payloads(const payload_options &options) {
  const std::vector<std::string> &texts = options.texts;
  std::vector<payload> payloads;
  if (std::count(texts.begin(), texts.end(), "-") > 1)
    return usage("standard input (-) is named more than once", "at most one -");
  for (const std::string &text : texts) {
    if (text != "-") {
      payloads.push_back({form::text, peer::bytes_of(text)});
      continue;
    }
    peer::result<peer::bytes> content = read_standard_input();
    if (!content) return content.error();
    payloads.push_back({form::raw, std::move(*content)});
  }
  for (const std::string &digits : options.hex) {
    std::optional<peer::bytes> content = peer::from_hex(digits);
    if (!content) return usage(fmt::format("--hex \"{}\" is no byte string", digits), "pairs of hexadecimal digits");
    payloads.push_back({form::hex, std::move(*content)});
  }
  if (payloads.empty()) return usage("there is nothing to send", "PAYLOAD, --hex HEX, or - for standard input");
  for (const payload &each : payloads) {
    if (each.content.size() > peer::max_content_bytes)
      return usage(fmt::format("a request has more than {} bytes", peer::max_content_bytes),
                   "requests that fit the device's buffer");
  }
  return payloads;
}

peer::status converse(peer::session &session, const std::vector<payload> &payloads, const reply_handler &take) {
  if (peer::status opened = session.open(); !opened) return opened;
  peer::status conversed = peer::done, agent = peer::done;
  for (const payload &each : payloads) {
    peer::result<peer::bytes> reply = session.request(each.content);
    conversed = reply ? take(each, *reply) : peer::status(reply.error());
    if (!conversed) break;
    if (int64_t error = peer::snmp_agent_failure(*reply); error != 0 && agent) agent = agent_failure(error);
  }
  if (conversed) conversed = agent;
  peer::status closed = session.close();
  if (session.agent_was_silent()) return peer::explain_silent_agent(conversed.error());
  return conversed ? closed : conversed;
}

peer::status write_reply(const payload &request, peer::byte_view reply) {
  std::string shown = request.in == form::hex        ? peer::to_hex(reply)
                      : ::isatty(STDOUT_FILENO) != 0 ? fit_for_terminal(reply)
                                                     : peer::text_of(reply);
  if (request.in != form::raw) shown += '\n';
  errno = 0;
  if (std::fwrite(shown.data(), 1, shown.size(), stdout) != shown.size() || std::fflush(stdout) != 0)
    return peer::failure{peer::exit_code::other,
                         "output",
                         fmt::format("standard output cannot be written: {}", std::strerror(errno)),
                         {},
                         {},
                         {}};
  return peer::done;
}

}  // namespace zolt
