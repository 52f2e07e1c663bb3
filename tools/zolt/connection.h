// SPDX-License-Identifier: MIT
#pragma once

#include <CLI/CLI.hpp>
#include <optional>

#include "peer/key_log.h"
#include "peer/session.h"
#include "zolt/narration.h"

namespace zolt {

// What every command that opens a session asks for.
struct connection_options {
  std::string host;
  std::string key_file;
  bool tcp = false;
  bool udp = false;
  uint16_t port = 161;
  double timeout = 3;  // seconds

  peer::endpoint device() const { return {host, port, tcp ? peer::protocol::tcp : peer::protocol::udp}; }
};

// Adds them to a command: HOST as its first positional argument.
void add_connection_options(CLI::App &command, connection_options &options);

// The file for the keys of all sessions, from --keylog or, when that is empty, from ZOLT_KEYLOG.
std::string &key_log_name();

// What a session runs with; outlives it.
class session_setup {
 public:
  // `stop` is that of peer::session_options.
  session_setup(const connection_options &chosen, int stop);
  session_setup(const session_setup &) = delete;
  session_setup &operator=(const session_setup &) = delete;

  // Opens the key log, if there is to be one.
  peer::status prepare();

  peer::session_options options;
  narrator voice;

 private:
  std::optional<peer::key_log> key_log_;
};

}  // namespace zolt
