// SPDX-License-Identifier: MIT
#include "zolt/connection.h"

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <memory>

#include "peer/key_log.h"
#include "zolt/output.h"

namespace zolt {

void add_connection_options(CLI::App &command, connection_options &options) {
  command.add_option("HOST", options.host, "The device: an IPv4 address, or a name that has one")->required();
  add_session_options(command, options);
}

void add_session_options(CLI::App &command, connection_options &options) {
  command.add_option("-k,--key", options.key_file, "The manager's private key, a PEM file of mode 0600")
      ->required()
      ->type_name("FILE");
  auto *tcp = command.add_flag("--tcp", options.tcp, "Over TCP");
  command.add_flag("--udp", options.udp, "Over UDP (the default)")->excludes(tcp);
  command.add_option("-p,--port", options.port, "The device's port")
      ->capture_default_str()
      ->check(CLI::Range(1, 65535))
      ->type_name("N");
  command.add_option("-t,--timeout", options.timeout, "How long each step waits for its answer, in seconds")
      ->capture_default_str()
      ->check(CLI::Range(0.01, 3600.0))
      ->type_name("S");
  command.add_flag("-v,--verbose", output().verbosity,
                   "Narrate: one line for each step, on standard error; twice: the packets, too");
}

std::string &key_log_name() {
  static std::string name;
  return name;
}

peer::result<key_log_sink> open_key_log() {
  const char *from_environment = std::getenv("ZOLT_KEYLOG");
  std::string name = !key_log_name().empty() ? key_log_name() : from_environment != nullptr ? from_environment : "";
  if (name.empty()) return key_log_sink();
  peer::result<peer::key_log> opened = peer::key_log::open(name);
  if (!opened) return opened.error();
  // Also when told to be quiet: the sessions are open to whoever reads the file.
  warn("the keys of all sessions are written to " + name + ": who reads it can read them");
  auto log = std::make_shared<peer::key_log>(std::move(*opened));
  return key_log_sink([log](uint32_t session_id, peer::byte_view key) {
    if (peer::status written = log->append(session_id, key); !written) warn(written.error().happened);
  });
}

session_setup::session_setup(const connection_options &chosen, int stop, std::string label)
    : voice(chosen.device(), std::move(label)) {
  options.device = chosen.device();
  options.timeout = std::chrono::duration_cast<peer::milliseconds>(std::chrono::duration<double>(chosen.timeout));
  options.observer = &voice;
  options.stop = stop;
}

peer::status session_setup::prepare() {
  peer::result<key_log_sink> log = open_key_log();
  if (!log) return log.error();
  options.key_log = std::move(*log);
  return peer::done;
}

}  // namespace zolt
