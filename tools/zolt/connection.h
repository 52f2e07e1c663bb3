// SPDX-License-Identifier: MIT
#pragma once

#include <functional>

#include "peer/session.h"
#include "zolt/narration.h"

namespace CLI {
class App;
}

namespace zolt {

// What every command that opens sessions asks for.
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

// The same without HOST.
void add_session_options(CLI::App &command, connection_options &options);

// The file for the keys of all sessions, from --keylog or, when that is empty, from ZOLT_KEYLOG.
std::string &key_log_name();

// Takes the key of each session; empty when no key log is asked for. Several threads may share it.
using key_log_sink = std::function<void(uint32_t session_id, peer::byte_view key)>;

// Opens the key log, if there is to be one, and warns of it.
peer::result<key_log_sink> open_key_log();

// What a session runs with; outlives it.
class session_setup {
 public:
  // `stop` is that of peer::session_options; `label` begins each line of the narration.
  session_setup(const connection_options &chosen, int stop, std::string label = {});
  session_setup(const session_setup &) = delete;
  session_setup &operator=(const session_setup &) = delete;

  // Opens the key log, if there is to be one.
  peer::status prepare();

  peer::session_options options;
  narrator voice;
};

}  // namespace zolt
