// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <algorithm>

#include "zolt/completion_words.h"

namespace zolt {
namespace {

using kind = completable::kind;
using command_list = std::vector<command_words>;

// A text between single quotes, in which a few characters need something before them.
std::string quoted(const std::string &text, const char *quote, const char *special = "") {
  std::string made = "'";
  for (char each : text) {
    if (each == '\'')
      made += quote;
    else if (std::string_view(special).find(each) != std::string_view::npos)
      made += std::string("\\") + each;
    else
      made += each;
  }
  return made + "'";
}

std::string for_posix(const std::string &text) {
  return quoted(text, "'\\''");
}
// A word and its help, with a colon between them, which is another one than those in the help.
std::string for_zsh(const std::string &word, const std::string &help = {}) {
  std::string made = quoted(word, "'\\''", ":");
  return help.empty() ? made : made + ":" + quoted(help, "'\\''", "");
}
std::string for_fish(const std::string &text) {
  return quoted(text, "\\'", "\\");
}

// The words of a line by which one gets from a command to the next: 'zolt key' and so on, for a case.
std::vector<std::string> ways_down(const command_list &all) {
  std::vector<std::string> found;
  for (const command_words &each : all) {
    if (&each != &all.front()) found.push_back(for_posix(each.words));
  }
  return found;
}

// A command and one of its options: 'zolt ping --key', for those whose values are of a kind.
template <typename Wanted>
std::vector<std::string> with_options(const command_list &all, Wanted wanted) {
  std::vector<std::string> found;
  for (const command_words &each : all) {
    for (const option_words &option : each.options) {
      if (!wanted(option)) continue;
      for (const std::string &name : option.names) found.push_back(for_posix(each.words + " " + name));
    }
  }
  return found;
}

bool takes_value(const option_words &option) {
  return option.takes_value;
}

bool takes_anything(const option_words &option) {
  return option.takes_value && option.value.is == kind::nothing;
}

// One arm of a shell's case, or nothing when no word leads to it. `form` has the patterns, and then the action.
std::string arm(const char *form, const std::vector<std::string> &patterns, const std::string &action) {
  return patterns.empty() ? "" : fmt::format(fmt::runtime(form), fmt::join(patterns, "|"), action);
}

// The arms that complete the value behind an option.
std::string value_arms(const command_list &all, const char *form, const char *files, const char *choices) {
  std::string arms =
      arm(form, with_options(all, [](const option_words &option) { return option.value.is == kind::files; }), files);
  for (const command_words &each : all) {
    for (const option_words &option : each.options) {
      if (option.value.is != kind::choices) continue;
      std::vector<std::string> patterns;
      for (const std::string &name : option.names) patterns.push_back(for_posix(each.words + " " + name));
      arms += arm(form, patterns, fmt::format(fmt::runtime(choices), fmt::join(option.value.choices, " ")));
    }
  }
  // What nobody can guess, such as a number.
  return arms + arm(form, with_options(all, takes_anything), ":");
}

constexpr const char *bash_frame = R"(# bash completion of zolt, made by "zolt completion bash"
_zolt() {{
  local current=${{COMP_WORDS[COMP_CWORD]}} previous=${{COMP_WORDS[COMP_CWORD - 1]}}
  local at=zolt word options='' commands='' argument='' i
  COMPREPLY=()
  for ((i = 1; i < COMP_CWORD; i++)); do
    word="$at ${{COMP_WORDS[i]}}"
    case $word in
{}{}    esac
  done
  case "$at $previous" in
{}  esac
  case $at in
{}  esac
  if [[ $current == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$options" -- "$current")
  elif [[ $argument == files ]]; then
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen -f -- "$current")
  elif [[ $argument == hosts ]]; then
    mapfile -t COMPREPLY < <(compgen -A hostname -- "$current")
  else
    mapfile -t COMPREPLY < <(compgen -W "$commands" -- "$current")
  fi
}}
complete -F _zolt zolt
)";

constexpr const char *zsh_frame = R"(#compdef zolt
# zsh completion of zolt, made by "zolt completion zsh"
_zolt() {{
  local at=zolt word argument=''
  local -a options_here commands_here
  integer i
  for ((i = 2; i < CURRENT; i++)); do
    word="$at $words[i]"
    case $word in
{}{}    esac
  done
  case "$at $words[CURRENT-1]" in
{}  esac
  case $at in
{}  esac
  if [[ $words[CURRENT] == -* ]]; then
    _describe -o option options_here
  elif [[ $argument == files ]]; then
    _files
  elif [[ $argument == hosts ]]; then
    _hosts
  else
    _describe command commands_here
  fi
}}
if [[ $funcstack[1] == _zolt ]]; then
  _zolt "$@"
else
  compdef _zolt zolt
fi
)";

constexpr const char *fish_frame = R"(# fish completion of zolt, made by "zolt completion fish"
function __zolt_at
    set -l at zolt
    set -l skip 0
    set -l words (commandline -opc)
    for word in $words[2..-1]
        if test $skip -eq 1
            set skip 0
            continue
        end
        switch "$at $word"
            case {}
                set skip 1
            case {}
                set at "$at $word"
        end
    end
    test "$at" = "$argv"
end
complete -c zolt -f
)";

std::string names_in(const command_words &command) {
  std::vector<std::string> names;
  for (const option_words &option : command.options)
    names.insert(names.end(), option.names.begin(), option.names.end());
  return fmt::format("{}", fmt::join(names, " "));
}

std::vector<std::string> commands_in(const command_words &command) {
  std::vector<std::string> names = command.argument.choices;
  for (const auto &[name, help] : command.commands) names.push_back(name);
  return names;
}

const char *argument_of(const command_words &command) {
  return command.argument.is == kind::files ? "files" : command.argument.is == kind::hosts ? "hosts" : "''";
}

}  // namespace

std::string bash_completion(const command_list &all) {
  std::string commands;
  for (const command_words &each : all)
    commands +=
        fmt::format("    {}) options={} commands={} argument={} ;;\n", for_posix(each.words), for_posix(names_in(each)),
                    for_posix(fmt::format("{}", fmt::join(commands_in(each), " "))), argument_of(each));
  return fmt::format(
      bash_frame, arm("      {}) {} ;;\n", with_options(all, takes_value), "((i++))"),
      arm("      {}) {} ;;\n", ways_down(all), "at=$word"),
      value_arms(all, "    {}) {}; return ;;\n",
                 "compopt -o filenames 2>/dev/null; mapfile -t COMPREPLY < <(compgen -f -- \"$current\")",
                 "mapfile -t COMPREPLY < <(compgen -W '{}' -- \"$current\")"),
      commands);
}

std::string zsh_completion(const command_list &all) {
  std::string commands;
  for (const command_words &each : all) {
    commands +=
        fmt::format("    ({})\n      argument={}\n      options_here=(\n", for_posix(each.words), argument_of(each));
    for (const option_words &option : each.options) {
      for (const std::string &name : option.names) commands += "        " + for_zsh(name, option.help) + "\n";
    }
    commands += "      )\n      commands_here=(\n";
    for (const std::string &choice : each.argument.choices) commands += "        " + for_zsh(choice) + "\n";
    for (const auto &[name, help] : each.commands) commands += "        " + for_zsh(name, help) + "\n";
    commands += "      )\n      ;;\n";
  }
  return fmt::format(zsh_frame, arm("      ({}) {} ;;\n", with_options(all, takes_value), "(( i++ ))"),
                     arm("      ({}) {} ;;\n", ways_down(all), "at=$word"),
                     value_arms(all, "    ({}) {}; return ;;\n", "_files", "compadd -- {}"), commands);
}

std::string fish_completion(const command_list &all) {
  std::string made =
      fmt::format(fish_frame, fmt::join(with_options(all, takes_value), " "), fmt::join(ways_down(all), " "));
  for (const command_words &each : all) {
    std::string here = fmt::format("complete -c zolt -n {}", for_fish("__zolt_at " + each.words));
    for (const auto &[name, help] : each.commands) made += fmt::format("{} -a {} -d {}\n", here, name, for_fish(help));
    for (const std::string &choice : each.argument.choices) made += fmt::format("{} -a {}\n", here, choice);
    if (each.argument.is == kind::files) made += here + " -F\n";
    if (each.argument.is == kind::hosts) made += here + " -a '(__fish_print_hostnames)'\n";
    for (const option_words &option : each.options) {
      std::string line = here;
      for (const std::string &name : option.names)
        line += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
      if (option.value.is == kind::files) line += " -r -F";
      if (option.value.is == kind::choices)
        line += fmt::format(" -x -a {}", for_fish(fmt::format("{}", fmt::join(option.value.choices, " "))));
      if (option.takes_value && option.value.is == kind::nothing) line += " -x";
      made += fmt::format("{} -d {}\n", line, for_fish(option.help));
    }
  }
  return made;
}

}  // namespace zolt
