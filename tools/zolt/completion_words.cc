// SPDX-License-Identifier: MIT
#include "zolt/completion_words.h"

#include <algorithm>

namespace zolt {
namespace {

// By what the description calls it: "FILE", or "WHEN:{auto,always,never}" where the values are known.
completable value_of(const CLI::Option &option, const std::string &name) {
  std::string type = option.get_type_name();
  size_t open = type.find('{'), close = type.find('}');
  if (open != std::string::npos && close != std::string::npos)
    return {completable::kind::choices, CLI::detail::split(type.substr(open + 1, close - open - 1), ',')};
  for (const std::string &each : {type, name}) {
    if (each == "FILE" || each == "DIR" || each == "INPUT") return {completable::kind::files, {}};
    if (each == "HOST") return {completable::kind::hosts, {}};
  }
  return {};
}

option_words words_of_option(const CLI::Option &option) {
  option_words found;
  for (const std::string &name : option.get_snames()) found.names.push_back("-" + name);
  for (const std::string &name : option.get_lnames()) found.names.push_back("--" + name);
  found.help = option.get_description();
  found.takes_value = option.get_items_expected_max() > 0;
  if (found.takes_value) found.value = value_of(option, {});
  return found;
}

void add_words(const CLI::App &app, const std::string &before, std::vector<command_words> &all) {
  command_words found;
  found.words = before.empty() ? app.get_name() : before + " " + app.get_name();
  found.help = app.get_description();
  for (const CLI::Option *option : app.get_options()) {
    if (option->get_group().empty()) continue;
    if (option->nonpositional())
      found.options.push_back(words_of_option(*option));
    else if (found.argument.is == completable::kind::nothing)
      found.argument = value_of(*option, option->get_name(true));
  }
  std::vector<const CLI::App *> commands = app.get_subcommands(nullptr);
  std::erase_if(commands, [](const CLI::App *each) { return each->get_group().empty(); });
  for (const CLI::App *each : commands) found.commands.emplace_back(each->get_name(), each->get_description());
  std::string words = found.words;
  all.push_back(std::move(found));
  for (const CLI::App *each : commands) add_words(*each, words, all);
}

}  // namespace

std::vector<command_words> words_of(const CLI::App &app) {
  std::vector<command_words> all;
  add_words(app, {}, all);
  return all;
}

}  // namespace zolt
