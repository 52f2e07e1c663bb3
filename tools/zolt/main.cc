// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <string_view>

#include "zolt/command_line.h"
#include "zolt/commands.h"
#include "zolt/connection.h"
#include "zolt/output.h"

namespace {

constexpr const char *footer =
    "Exit status:\n"
    "  0    ok\n"
    "  1    another failure, of this machine\n"
    "  2    wrong command line\n"
    "  3    the key file, or the key in it\n"
    "  4    no answer, or one that stopped half-way\n"
    "  5    busy or refused\n"
    "  6    an answer that does not hold what it must\n"
    "  7    the device's agent failed\n"
    "  130  interrupted\n"
    "Examples:\n"
    "  zolt key generate keys\n"
    "  zolt ping 192.0.2.7 --key keys/private.pem\n"
    "  zolt tunnel 192.0.2.7 --key keys/private.pem --exec 'snmpwalk -v2c -c public $ZOLT_TUNNEL'";

int run(int argc, char **argv) {
  CLI::App app("Talks to devices whose management agent is secured with the zolt protocol.", "zolt");
  app.set_version_flag("--version", "zolt " ZOLT_VERSION);
  app.require_subcommand(1);
  app.add_option("--keylog", zolt::key_log_name(),
                 "Append every session's key to a file, for deciphering captures (also: ZOLT_KEYLOG)")
      ->type_name("FILE");
  app.footer(footer);
  peer::exit_code exit = peer::exit_code::ok;
  zolt::add_key_command(app, exit);
  zolt::add_ping_command(app, exit);
  zolt::add_request_command(app, exit);
  zolt::add_tunnel_command(app, exit);
  zolt::add_decode_command(app, exit);
  zolt::add_completion_command(app, exit);
  zolt::add_fleet_command(app, exit);
  zolt::add_bench_command(app, exit);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError &error) {
    // --help and --version come here too, with the code 0.
    if (error.get_exit_code() == 0) return app.exit(error);
    // The parsing may have ended before it came to this flag, which says how failures are told.
    if (std::find(argv, argv + argc, std::string_view("--json")) != argv + argc) zolt::output().json = true;
    return static_cast<int>(zolt::complain(zolt::explain_command_line(app, error)));
  }
  return static_cast<int>(exit);
}

}  // namespace

int main(int argc, char **argv) {
  // A reader that goes away is a failed write, after which there is still a session to log out of.
  std::signal(SIGPIPE, SIG_IGN);
  try {
    return run(argc, argv);
  } catch (const std::exception &error) {
    std::fprintf(stderr, "zolt: %s\n", error.what());
    return static_cast<int>(peer::exit_code::other);
  }
}
