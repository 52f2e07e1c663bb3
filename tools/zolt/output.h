// SPDX-License-Identifier: MIT
// How the program speaks: the options that every command has, and what they decide.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include "peer/result.h"

namespace CLI {
class App;
}

namespace zolt {

struct output_options {
  bool json = false;
  bool quiet = false;
  int verbosity = 0;  // 1: steps; 2: packets, too
  std::string color = "auto";
};

// This run's.
output_options &output();

// Whether what is written there may have colours.
bool colored(int descriptor);

// Adds --quiet and --color to a command, and --json when the command has an object to show.
void add_output_options(CLI::App &command, bool json);

// Tells a failure, as text on standard error or as an object on standard output, and returns its code.
peer::exit_code complain(const peer::failure &why);

// The members that describe a failure: "ok", "exit" and "failure".
nlohmann::ordered_json to_json(const peer::failure &why);

// Writes one object on a line of standard output. What is no UTF-8 is replaced. Throws std::system_error when
// the line could not be written: nobody may take it for said.
void print(const nlohmann::ordered_json &object);

// What was written to standard output so far is written; throws as print() does.
void flush_output();

// A line on standard error, unless --quiet: `label` padded, then the text.
void say(std::string_view label, const std::string &text);

// A warning on standard error, always.
void warn(const std::string &text);

}  // namespace zolt
