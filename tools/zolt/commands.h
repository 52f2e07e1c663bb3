// SPDX-License-Identifier: MIT
// The subcommands. Each adds itself to the command line and, when it is the one chosen, runs at the end
// of the parsing and leaves its exit status.
#pragma once

#include <CLI/CLI.hpp>

#include "peer/result.h"

namespace zolt {

void add_bench_command(CLI::App &app, peer::exit_code &exit);
void add_fleet_command(CLI::App &app, peer::exit_code &exit);
void add_key_command(CLI::App &app, peer::exit_code &exit);
void add_key_check_command(CLI::App &key, peer::exit_code &exit);  // of the command key
void add_completion_command(CLI::App &app, peer::exit_code &exit);
void add_decode_command(CLI::App &app, peer::exit_code &exit);
void add_ping_command(CLI::App &app, peer::exit_code &exit);
void add_request_command(CLI::App &app, peer::exit_code &exit);
void add_tunnel_command(CLI::App &app, peer::exit_code &exit);

}  // namespace zolt
