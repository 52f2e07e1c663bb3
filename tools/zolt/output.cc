// SPDX-License-Identifier: MIT
#include "zolt/output.h"

#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <system_error>

#include "zolt/failure_texts.h"

namespace zolt {
namespace {

constexpr const char *red = "\x1b[1;31m";
constexpr const char *plain = "\x1b[0m";

}  // namespace

// NO_COLOR counts when it is there and not empty; --color counts more.
bool colored(int descriptor) {
  if (output().color != "auto") return output().color == "always";
  const char *refused = std::getenv("NO_COLOR");
  return (refused == nullptr || *refused == '\0') && ::isatty(descriptor) != 0;
}

output_options &output() {
  static output_options chosen;
  return chosen;
}

void add_output_options(CLI::App &command, bool json) {
  auto *quiet = command.add_flag("-q,--quiet", output().quiet, "Say nothing but what was asked for, and failures");
  if (auto *verbose = command.get_option_no_throw("--verbose")) quiet->excludes(verbose);
  command.add_option("--color", output().color, "Colours: auto is on terminals, unless NO_COLOR is set")
      ->check(CLI::IsMember({"auto", "always", "never"}))
      ->capture_default_str()
      ->type_name("WHEN");
  if (json) command.add_flag("--json", output().json, "Write one JSON object instead of text; failures, too");
}

nlohmann::ordered_json to_json(const peer::failure &told) {
  peer::failure why = with_all_texts(told);
  return {{"ok", false},
          {"exit", static_cast<int>(why.code)},
          {"failure",
           {{"step", why.step},
            {"happened", why.happened},
            {"expected", why.expected},
            {"likely", why.causes},
            {"try", why.advice}}}};
}

void print(const nlohmann::ordered_json &object) {
  std::string line = object.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
  fmt::print("{}\n", line);
  flush_output();
}

void flush_output() {
  if (std::fflush(stdout) != 0)
    throw std::system_error(errno, std::generic_category(), "standard output cannot be written");
}

peer::exit_code complain(const peer::failure &why) {
  if (output().json) {
    print(to_json(why));
  } else {
    bool color = colored(STDERR_FILENO);
    fmt::print(stderr, "{}zolt:{} {}\n", color ? red : "", color ? plain : "", peer::describe(with_all_texts(why)));
  }
  return why.code;
}

void warn(const std::string &text) {
  fmt::print(stderr, "zolt: WARNING: {}\n", text);
}

void say(std::string_view label, const std::string &text) {
  if (!output().quiet) fmt::print(stderr, "{:<7}  {}\n", label, text);
}

}  // namespace zolt
