// SPDX-License-Identifier: MIT
#include "zolt/connection.h"

namespace zolt {

void add_connection_options(CLI::App &command, connection_options &options) {
  command.add_option("HOST", options.host, "The device: an IPv4 address, or a name that has one")->required();
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
  command.add_flag("-v,--verbose", options.verbose, "Narrate: one line for each step, on standard error");
}

peer::session_options connection_options::session() const {
  peer::session_options made;
  made.device = {host, port, tcp ? peer::protocol::tcp : peer::protocol::udp};
  made.timeout = std::chrono::duration_cast<peer::milliseconds>(std::chrono::duration<double>(timeout));
  return made;
}

}  // namespace zolt
