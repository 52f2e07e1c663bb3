// SPDX-License-Identifier: MIT
#include <memory>
#include <nlohmann/json.hpp>

#include "peer/keys.h"
#include "peer/session.h"
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
  payload_options payloads;
};

peer::exit_code request(const request_options &options) {
  peer::result<std::vector<payload>> payloads = read_payloads(options.payloads);
  if (!payloads) return complain(payloads.error());
  peer::result<peer::private_key> key = peer::private_key::load(options.connection.key_file);
  if (!key) return complain(key.error());
  session_setup with(options.connection, catch_signals());
  if (peer::status ready = with.prepare(); !ready) return complain(ready.error());
  if (output().json) with.voice.keep_steps();
  peer::session session(*key, with.options);
  json_replies replies;
  peer::status ran = converse(session, *payloads, [&](const payload &asked, peer::byte_view reply) -> peer::status {
    if (!output().json) return write_reply(asked, reply);
    replies.add(reply);
    return peer::done;
  });
  if (output().json) {
    print(replies.object(ran, with.voice));
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
  add_payload_options(*command, options->payloads);
  command->footer(
      "Examples:\n"
      "  zolt request 192.0.2.7 --key keys/private.pem \"uptime\" \"version\"\n"
      "  zolt request 192.0.2.7 --key keys/private.pem --tcp -v --hex \"30 26 02 01 01\"\n"
      "  zolt request 192.0.2.7 --key keys/private.pem - < request.bin > reply.bin");
  command->callback([options, &exit] { exit = request(*options); });
}

}  // namespace zolt
