// SPDX-License-Identifier: MIT
#include "zolt/command_line.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>

namespace zolt {
namespace {

// The command that the line got to, with its words: "zolt key check".
struct place {
  const CLI::App *command;
  std::string words;
};

place where_it_ended(const CLI::App &app) {
  place found{&app, app.get_name()};
  while (!found.command->get_subcommands().empty()) {
    found.command = found.command->get_subcommands().front();
    found.words += " " + found.command->get_name();
  }
  return found;
}

// How many letters are to be changed, added, left out or swapped with their neighbour.
size_t distance(const std::string &a, const std::string &b) {
  std::vector<size_t> before(b.size() + 1), last(b.size() + 1), now(b.size() + 1);
  std::iota(last.begin(), last.end(), size_t{0});
  for (size_t i = 1; i <= a.size(); i++) {
    now[0] = i;
    for (size_t j = 1; j <= b.size(); j++) {
      now[j] = std::min({last[j] + 1, now[j - 1] + 1, last[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1)});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) now[j] = std::min(now[j], before[j - 2] + 1);
    }
    before.swap(last);
    last.swap(now);
  }
  return last[b.size()];
}

// What is meant when a word is mistyped, or cut short; empty when nothing is near enough to say so.
std::string nearest(const std::string &word, const std::vector<std::string> &known) {
  std::string best;
  size_t best_distance = word.size() / 3 + 2;  // a third of it and one letter more may be wrong
  for (const std::string &each : known) {
    size_t apart = each.starts_with(word) && word.size() > 2 ? 1 : distance(word, each);
    if (apart < best_distance) {
      best = each;
      best_distance = apart;
    }
  }
  return best;
}

std::vector<std::string> commands_of(const CLI::App &command) {
  std::vector<std::string> names;
  for (const CLI::App *each : command.get_subcommands(nullptr)) {
    if (!each->get_group().empty()) names.push_back(each->get_name());
  }
  return names;
}

std::vector<std::string> options_of(const CLI::App &command) {
  std::vector<std::string> names;
  for (const CLI::Option *each : command.get_options()) {
    if (each->get_group().empty()) continue;
    for (const std::string &name : each->get_lnames()) names.push_back("--" + name);
  }
  return names;
}

}  // namespace

peer::failure explain_command_line(const CLI::App &app, const CLI::ParseError &error) {
  place at = where_it_ended(app);
  peer::failure why{peer::exit_code::usage, "command line", error.what(), {}, {}, at.words + " --help"};
  std::replace(why.happened.begin(), why.happened.end(), '\n', ' ');
  std::vector<std::string> commands = commands_of(*at.command);
  if (!commands.empty()) why.expected = fmt::format("{}", fmt::join(commands, ", "));
  std::vector<std::string> unknown = at.command->remaining();
  if (unknown.empty()) return why;
  std::string word = unknown.front();
  bool is_option = word.starts_with("-");
  if (is_option) word = word.substr(0, word.find('='));
  // With a missing argument, an unknown option is the likelier slip: it may have been the argument's name.
  std::string meant = nearest(word, is_option ? options_of(*at.command) : commands);
  if (is_option) {
    why.happened = fmt::format("\"{}\" has no option \"{}\"", at.words, word);
    why.expected = fmt::format("{}", fmt::join(options_of(*at.command), ", "));
  } else if (!commands.empty()) {
    why.happened = fmt::format("\"{}\" has no command \"{}\"", at.words, word);
  } else {
    why.happened = fmt::format("\"{}\" takes no further argument, such as \"{}\"", at.words, word);
  }
  if (!meant.empty()) {
    why.causes = fmt::format("\"{}\" was meant", meant);
    if (!is_option) why.advice = fmt::format("{} {} --help", at.words, meant);
  }
  return why;
}

}  // namespace zolt
