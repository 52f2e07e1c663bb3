// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <memory>

#include "peer/advice.h"
#include "peer/keys.h"
#include "peer/session.h"
#include "peer/snmp.h"
#include "zolt/commands.h"
#include "zolt/connection.h"
#include "zolt/json_replies.h"
#include "zolt/output.h"
#include "zolt/payloads.h"
#include "zolt/stop.h"

namespace zolt {
namespace {

struct request_options {
  connection_options connection;
  std::vector<std::string> texts;
  std::vector<std::string> hex;
};

// What an SNMP agent says of itself in a reply that has been handed on like any other.
peer::failure agent_failure(int64_t error) {
  return {peer::exit_code::agent,
          "ENCR",
          fmt::format("the agent answered with the SNMP error {} ({})", peer::snmp_error_name(error), error),
          "a reply without an error of the agent itself",
          "what the request asked of the agent went wrong there",
          "look at the agent's log on the device; again, or for fewer objects at a time"};
}

// Sends the requests one after the other, and hands on each reply as it comes. An agent that says that it
// failed is asked the rest all the same; the first such failure is told at the end.
peer::status converse(peer::session &session, const std::vector<payload> &payloads, json_replies &replies) {
  peer::status result = peer::done;
  for (const payload &each : payloads) {
    peer::result<peer::bytes> reply = session.request(each.content);
    if (!reply) return reply.error();
    if (output().json) {
      replies.add(*reply);
    } else if (peer::status written = write_reply(each, *reply); !written) {
      return written;
    }
    if (int64_t error = peer::snmp_agent_failure(*reply); error != 0 && result) result = agent_failure(error);
  }
  return result;
}

// The device serves nobody else until it is told that this is over, so that is done first and told last.
peer::status run_session(peer::session &session, const std::vector<payload> &payloads, json_replies &replies) {
  if (peer::status opened = session.open(); !opened) return opened;
  peer::status conversed = converse(session, payloads, replies);
  peer::status closed = session.close();
  if (session.agent_was_silent()) return peer::explain_silent_agent(conversed.error());
  return conversed ? closed : conversed;
}

peer::exit_code request(const request_options &options) {
  peer::result<std::vector<payload>> payloads = read_payloads(options.texts, options.hex);
  if (!payloads) return complain(payloads.error());
  peer::result<peer::private_key> key = peer::private_key::load(options.connection.key_file);
  if (!key) return complain(key.error());
  session_setup with(options.connection, catch_signals());
  if (peer::status ready = with.prepare(); !ready) return complain(ready.error());
  if (output().json) with.voice.keep_steps();
  peer::session session(*key, with.options);
  json_replies replies;
  peer::status ran = run_session(session, *payloads, replies);
  if (output().json) {
    replies.show(ran, with.voice);
  } else if (!ran) {
    complain(ran.error());
  }
  return ran ? peer::exit_code::ok : ran.error().code;
}

}  // namespace

void add_request_command(CLI::App &app, peer::exit_code &exit) {
  CLI::App *command = app.add_subcommand("request", "Send requests in one session, and write the replies");
  auto options = std::make_shared<request_options>();
  add_connection_options(*command, options->connection);
  add_output_options(*command, true);
  auto *texts =
      command->add_option("PAYLOAD", options->texts, "Requests, as they are; - reads one from standard input");
  command->add_option("--hex", options->hex, "Requests in hexadecimal digits, instead of PAYLOAD; so are the replies")
      ->type_name("HEX")
      ->allow_extra_args(false)
      ->excludes(texts);
  command->footer(
      "Examples:\n"
      "  zolt request 192.0.2.7 --key keys/private.pem \"uptime\" \"version\"\n"
      "  zolt request 192.0.2.7 --key keys/private.pem --tcp -v --hex \"30 26 02 01 01\"\n"
      "  zolt request 192.0.2.7 --key keys/private.pem - < request.bin > reply.bin");
  command->callback([options, &exit] { exit = request(*options); });
}

}  // namespace zolt
