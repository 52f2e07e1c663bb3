// SPDX-License-Identifier: MIT
#pragma once

#include <CLI/CLI.hpp>

#include "peer/session.h"

namespace zolt {

// What every command that opens a session asks for.
struct connection_options {
  std::string host;
  std::string key_file;
  bool tcp = false;
  bool udp = false;
  uint16_t port = 161;
  double timeout = 3;  // seconds
  bool verbose = false;

  peer::session_options session() const;
};

// Adds them to a command: HOST as its first positional argument.
void add_connection_options(CLI::App &command, connection_options &options);

}  // namespace zolt
