// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <algorithm>
#include <csignal>
#include <memory>
#include <optional>

#include "service/notify.h"
#include "zolt/child.h"
#include "zolt/commands.h"
#include "zolt/connection.h"
#include "zolt/output.h"
#include "zolt/stop.h"
#include "zolt/tunnel.h"

namespace zolt {
namespace {

// Between the last moment a session is used and the device's end of it.
constexpr double spare_seconds = 5;

struct tunnel_arguments {
  connection_options connection;
  std::string listen = "127.0.0.1:1161";
  std::string command;
  double wait = 200;
  double renew_after = 0;
};

peer::clock::duration seconds(double count) {
  return std::chrono::duration_cast<peer::clock::duration>(std::chrono::duration<double>(count));
}

// A request that is sent just before the renewal must find its session alive until its timeout.
double default_renewal(double timeout) {
  double lifetime = std::chrono::duration<double>(peer::session_lifetime).count();
  return std::max(lifetime / 2, lifetime - timeout - spare_seconds);
}

// SIGTERM is how a service manager ends a tunnel: no failure.
peer::exit_code after_signal() {
  return caught_signal() == SIGINT ? peer::exit_code::interrupted : peer::exit_code::ok;
}

// Runs beside the command, if there is one, and leaves its exit status.
peer::result<int> serve(tunnel &through, const listener &plain, const std::string &command) {
  if (command.empty()) {
    through.run();
    return 0;
  }
  peer::result<child> beside = child::start(command, "ZOLT_TUNNEL", plain.address());
  if (!beside) return beside.error();
  through.run();  // the command's end stops it, as a signal does
  beside->stop();
  return beside->exit_status();
}

peer::exit_code tunnel_to(const tunnel_arguments &chosen) {
  peer::result<peer::private_key> key = peer::private_key::load(chosen.connection.key_file);
  if (!key) return complain(key.error());
  peer::result<listener> plain = listener::open(chosen.listen);
  if (!plain) return complain(plain.error());
  auto tell = [](const std::string &text) { say("tunnel", text); };
  int stop = catch_signals();
  session_setup to(chosen.connection, stop);
  if (peer::status ready = to.prepare(); !ready) return complain(ready.error());
  to.options.pause_after_failure = peer::milliseconds(1000);
  peer::session session(*key, to.options);
  double renew_after = chosen.renew_after > 0 ? chosen.renew_after : default_renewal(chosen.connection.timeout);
  tunnel through(session, *plain, {seconds(renew_after), seconds(chosen.wait), stop, tell});
  peer::status opened = through.open();
  if (caught_signal() != 0) return after_signal();
  if (!opened) return complain(opened.error());
  tell(fmt::format("{} leads to {}", plain->address(), peer::describe(to.options.device)));
  if (!plain->is_local()) warn("who reaches " + plain->address() + " speaks to the device, in plain text");
  service::notify(service::ready);
  peer::result<int> served = serve(through, *plain, chosen.command);
  service::notify(service::stopping);
  peer::status closed = session.close();
  if (plain->joined() != 0) tell(fmt::format("{} retries of clients joined their requests", plain->joined()));
  if (!served) return complain(served.error());
  if (caught_signal() == SIGINT) return peer::exit_code::interrupted;
  if (!closed && *served == 0) return complain(closed.error());
  return static_cast<peer::exit_code>(*served);
}

}  // namespace

void add_tunnel_command(CLI::App &app, peer::exit_code &exit) {
  CLI::App *command = app.add_subcommand("tunnel", "Carry plain SNMP datagrams through secured sessions");
  auto options = std::make_shared<tunnel_arguments>();
  add_connection_options(*command, options->connection);
  add_output_options(*command, false);
  command->add_option("-l,--listen", options->listen, "Where SNMP clients send to; port 0 takes a free one")
      ->capture_default_str()
      ->type_name("ADDRESS:PORT");
  command
      ->add_option("-x,--exec", options->command,
                   "Run a shell command with the address in ZOLT_TUNNEL, and end with its exit status")
      ->type_name("CMD");
  command->add_option("--wait", options->wait, "How long to wait for a busy device at the start, in seconds")
      ->capture_default_str()
      ->check(CLI::Range(0.0, 1e6))
      ->type_name("S");
  command->add_option("--renew-after", options->renew_after)->check(CLI::Range(0.05, 175.0))->group("");  // for tests
  command->footer(
      "SIGINT or SIGTERM logs out and ends.\n"
      "Examples:\n"
      "  zolt tunnel 192.0.2.7 --key keys/private.pem\n"
      "  zolt tunnel 192.0.2.7 --key keys/private.pem --tcp --listen 127.0.0.1:10161\n"
      "  zolt tunnel 192.0.2.7 --key keys/private.pem -l 127.0.0.1:0 --exec 'snmpwalk -v2c -c public $ZOLT_TUNNEL'");
  command->callback([options, &exit] { exit = tunnel_to(*options); });
}

}  // namespace zolt
