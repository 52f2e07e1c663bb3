// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <algorithm>
#include <memory>

#include "zolt/commands.h"
#include "zolt/fleet.h"
#include "zolt/output.h"
#include "zolt/stop.h"

namespace zolt {
namespace {

struct fleet_arguments {
  connection_options connection;  // what the list leaves open
  std::string targets;
  unsigned parallel = 64;
  payload_options payloads;
};

// Without a request, the sessions alone are tried.
peer::result<std::vector<payload>> payloads_of(const fleet_arguments &chosen) {
  if (chosen.payloads.empty()) return std::vector<payload>();
  const auto &texts = chosen.payloads.texts;
  if (chosen.targets == "-" && std::find(texts.begin(), texts.end(), "-") != texts.end())
    return peer::failure{peer::exit_code::usage,  "request", "standard input (-) cannot be both the list and a request",
                         "one of them in a file", {},        {}};
  return read_payloads(chosen.payloads);
}

peer::exit_code ask_fleet(const fleet_arguments &chosen) {
  peer::result<std::vector<payload>> payloads = payloads_of(chosen);
  if (!payloads) return complain(payloads.error());
  peer::result<peer::private_key> key = peer::private_key::load(chosen.connection.key_file);
  if (!key) return complain(key.error());
  target otherwise{chosen.connection.device(), chosen.connection.timeout, 0};
  peer::result<std::vector<target>> targets = read_targets(chosen.targets, otherwise);
  if (!targets) return complain(targets.error());
  peer::result<key_log_sink> log = open_key_log();
  if (!log) return complain(log.error());
  fleet all(*key, *payloads, *targets, *log, catch_signals());
  auto started = peer::clock::now();
  if (peer::status ran = all.run(chosen.parallel); !ran) return complain(ran.error());
  double took = std::chrono::duration<double>(peer::clock::now() - started).count();
  say("fleet", fmt::format("{}; {:.1f} s", summary(all.counts()), took));
  if (all.counts().contains(peer::exit_code::interrupted)) return peer::exit_code::interrupted;
  bool all_good = all.counts().size() == all.counts().count(peer::exit_code::ok);
  return all_good ? peer::exit_code::ok : peer::exit_code::other;
}

}  // namespace

void add_fleet_command(CLI::App &app, peer::exit_code &exit) {
  CLI::App *command = app.add_subcommand("fleet", "Send the same requests to many devices, and write a line for each");
  auto options = std::make_shared<fleet_arguments>();
  command->add_option("-T,--targets", options->targets, "The list of devices; - is standard input")
      ->required()
      ->type_name("FILE");
  command->add_option("-P,--parallel", options->parallel, "How many devices are asked at once")
      ->capture_default_str()
      ->check(CLI::Range(1U, most_parallel))
      ->type_name("N");
  add_session_options(*command, options->connection);
  add_payload_options(*command, options->payloads);
  add_output_options(*command, true);
  command->get_option("--json")->description("Tell what keeps every device from being asked as an object, too");
  command->footer(
      "Without a request, sessions are opened and closed. The list has one device a line,\n"
      "  HOST[:PORT] [tcp|udp] [timeout=SECONDS]    # comment\n"
      "and standard output gets one JSON object a device, in the order in which they are done.\n"
      "Exits with 0 when all devices answered, 1 when one failed (its object has the reason), 2 or 3 when\n"
      "the command line, the list or the key is wrong and nothing was sent, 130 when interrupted.\n"
      "Examples:\n"
      "  zolt fleet --targets devices.txt --key keys/private.pem\n"
      "  zolt fleet --targets devices.txt --key keys/private.pem --parallel 200 --timeout 5 \"uptime\"\n"
      "  zolt fleet --targets - --key keys/private.pem --tcp -q \"version\" < devices.txt > replies.jsonl");
  command->callback([options, &exit] { exit = ask_fleet(*options); });
}

}  // namespace zolt
