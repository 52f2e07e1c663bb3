// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <csignal>
#include <cstdio>

#include "zolt/commands.h"

namespace zolt {

peer::exit_code complain(const peer::failure &why) {
  fmt::print(stderr, "zolt: {}\n", peer::describe(why));
  return why.code;
}

}  // namespace zolt

namespace {

constexpr const char *footer =
    "Exit status: 0 ok, 1 other failure, 2 usage, 3 key, 4 no answer, 5 busy or refused, 6 verification failed.";

int run(int argc, char **argv) {
  CLI::App app("Talks to devices whose management agent is secured with the zolt protocol.", "zolt");
  app.set_version_flag("--version", "zolt " ZOLT_VERSION);
  app.require_subcommand(1);
  app.footer(footer);
  peer::exit_code exit = peer::exit_code::ok;
  zolt::add_key_command(app, exit);
  zolt::add_request_command(app, exit);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError &error) {
    // --help and --version come here too, with the code 0.
    return app.exit(error) == 0 ? 0 : static_cast<int>(peer::exit_code::usage);
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
