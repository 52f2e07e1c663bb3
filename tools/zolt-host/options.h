// SPDX-License-Identifier: MIT
// The command line of zolt-host, and the exit codes it promises.
#pragma once

#include <cstdint>

namespace host {

enum exit_code : int {
  exit_stopped = 0,  // ended by SIGINT or SIGTERM, or nothing but help was asked for
  exit_failed = 1,
  exit_usage = 2,
  exit_plugin = 3,  // the plug-in could not be loaded or lacks a name
  exit_port = 4,    // the plug-in could not open its sockets
  exit_key = 5,     // no key was accepted, so the plug-in would serve without protection
};

enum class responder_kind { none, echo, forward, exec };

struct options {
  const char *library = nullptr;
  const char *directory = nullptr;
  responder_kind kind = responder_kind::none;
  const char *target = nullptr;  // HOST:PORT, or the command
  int32_t timeout_ms = 2000;     // for one reply of an agent or a command
  bool insecure = false;
};

// parse_options reads the command line into *out. Result: true; or false when the program has to
// end with *code, after help on standard output or a message on standard error.
bool parse_options(int argc, char **argv, options *out, int *code);

}  // namespace host
