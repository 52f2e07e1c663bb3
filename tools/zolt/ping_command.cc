// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <memory>
#include <nlohmann/json.hpp>

#include "zolt/commands.h"
#include "zolt/connection.h"
#include "zolt/output.h"
#include "zolt/stop.h"

namespace zolt {
namespace {

// A whole session without a request.
peer::status greet(const peer::private_key &key, const peer::session_options &with) {
  peer::session session(key, with);
  if (peer::status opened = session.open(); !opened) return opened;
  return session.close();
}

void show(const narrator &voice, double total_ms) {
  if (output().json) {
    print({{"ok", true}, {"exit", 0}, {"steps", voice.steps()}, {"total_ms", total_ms}});
  } else if (!output().quiet) {
    for (const peer::step_report &each : voice.kept()) fmt::print("{}\n", voice.line(each));
    fmt::print("{:<7}  {:.1f} ms\n", "total", total_ms);
  }
}

peer::exit_code ping(const connection_options &chosen) {
  peer::result<peer::private_key> key = peer::private_key::load(chosen.key_file);
  if (!key) return complain(key.error());
  session_setup with(chosen, catch_signals());
  if (peer::status ready = with.prepare(); !ready) return complain(ready.error());
  with.voice.keep_steps();
  auto started = peer::clock::now();
  if (peer::status greeted = greet(*key, with.options); !greeted) return complain(greeted.error());
  show(with.voice, std::chrono::duration<double, std::milli>(peer::clock::now() - started).count());
  return peer::exit_code::ok;
}

}  // namespace

void add_ping_command(CLI::App &app, peer::exit_code &exit) {
  CLI::App *command = app.add_subcommand("ping", "Open and close a session, and show how long each step took");
  auto options = std::make_shared<connection_options>();
  add_connection_options(*command, *options);
  add_output_options(*command, true);
  command->footer(
      "Examples:\n"
      "  zolt ping 192.0.2.7 --key keys/private.pem\n"
      "  zolt ping 192.0.2.7 --key keys/private.pem --tcp --json\n"
      "  zolt ping 192.0.2.7 --key keys/private.pem -q && echo \"the device lets me in\"");
  command->callback([options, &exit] { exit = ping(*options); });
}

}  // namespace zolt
