// SPDX-License-Identifier: MIT
// The words that a shell can complete, taken from the command line's own description: there is no second list.
#pragma once

#include <CLI/CLI.hpp>

namespace zolt {

// What can stand where a value is wanted.
struct completable {
  enum class kind { nothing, files, hosts, choices } is = kind::nothing;
  std::vector<std::string> choices;
};

struct option_words {
  std::vector<std::string> names;  // "-k", "--key"
  std::string help;
  bool takes_value = false;
  completable value;
};

struct command_words {
  std::string words;  // "zolt key check"
  std::string help;
  std::vector<option_words> options;
  std::vector<std::pair<std::string, std::string>> commands;  // below it: name and help
  completable argument;
};

// The program and all its commands, each behind the one that it belongs to. What is hidden is left out.
std::vector<command_words> words_of(const CLI::App &app);

// The scripts, for `words`.
std::string bash_completion(const std::vector<command_words> &words);
std::string zsh_completion(const std::vector<command_words> &words);
std::string fish_completion(const std::vector<command_words> &words);

}  // namespace zolt
