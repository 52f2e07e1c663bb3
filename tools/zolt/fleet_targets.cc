// SPDX-License-Identifier: MIT
#include "zolt/fleet_targets.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <optional>

namespace zolt {
namespace {

constexpr size_t most_faults_told = 10;
constexpr size_t most_host_bytes = 253;  // of a name
constexpr double most_timeout = 3600;
constexpr std::string_view byte_order_mark = "\xef\xbb\xbf";
constexpr const char *expected =
    "one device a line: HOST[:PORT], and behind it tcp, udp or timeout=SECONDS where that is needed; # starts a "
    "comment";

// A fault of a line, or nothing.
using fault = std::optional<std::string>;

// A word of the list as it may be shown anywhere.
std::string quoted(std::string_view word) {
  constexpr size_t most_shown = 60;
  std::string shown = "\"";
  for (char each : word.substr(0, most_shown)) {
    auto byte = static_cast<unsigned char>(each);
    bool plain = byte >= ' ' && byte < 0x7f;
    shown += plain ? std::string(1, each) : fmt::format("\\x{:02x}", byte);
  }
  return shown + (word.size() > most_shown ? "...\"" : "\"");
}

bool is_blank(char each) {
  return std::isspace(static_cast<unsigned char>(each)) != 0;
}

// Takes the next word from the front of a line; an empty one when only a comment or nothing is left.
std::string_view next_word(std::string_view &line) {
  size_t start = 0;
  while (start < line.size() && is_blank(line[start])) start++;
  size_t end = start;
  while (end < line.size() && !is_blank(line[end])) end++;
  std::string_view word = line.substr(start, end - start);
  line.remove_prefix(end);
  return word.starts_with('#') ? std::string_view() : word;
}

bool is_host(std::string_view host) {
  auto allowed = [](char each) {
    return std::isalnum(static_cast<unsigned char>(each)) != 0 || each == '.' || each == '-' || each == '_';
  };
  return !host.empty() && host.size() <= most_host_bytes && host.front() != '-' &&
         std::all_of(host.begin(), host.end(), allowed);
}

template <typename Number>
bool read_number(std::string_view digits, Number &number) {
  auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  return error == std::errc() && end == digits.data() + digits.size() && !digits.empty();
}

fault take_address(std::string_view word, target &to) {
  size_t colon = word.find(':');
  if (colon != word.rfind(':') || word.starts_with('['))
    return quoted(word) + " looks like an IPv6 address; the protocol carries IPv4 addresses only";
  std::string_view host = word.substr(0, colon);
  if (!is_host(host)) return quoted(host) + " is neither an IPv4 address nor a host's name";
  to.device.host = host;
  // Names do not tell capital letters from small ones, and a device is one however it is written.
  for (char &each : to.device.host) each = static_cast<char>(std::tolower(static_cast<unsigned char>(each)));
  if (colon == std::string_view::npos) return std::nullopt;
  if (!read_number(word.substr(colon + 1), to.device.port) || to.device.port == 0)
    return "the port in " + quoted(word) + " is not 1 to 65535";
  return std::nullopt;
}

fault take_option(std::string_view word, target &to) {
  constexpr std::string_view timeout = "timeout=";
  if (word == "tcp" || word == "udp") {
    to.device.over = word == "tcp" ? peer::protocol::tcp : peer::protocol::udp;
    return std::nullopt;
  }
  if (word.starts_with(timeout)) {
    word.remove_prefix(timeout.size());
    if (read_number(word, to.timeout) && to.timeout >= 0.01 && to.timeout <= most_timeout) return std::nullopt;
    return fmt::format("the timeout {} is not 0.01 to {:g} seconds", quoted(word), most_timeout);
  }
  return quoted(word) + " is not tcp, udp or timeout=SECONDS";
}

fault take_line(std::string_view line, target &to) {
  fault found = take_address(next_word(line), to);
  for (std::string_view word; !found && !(word = next_word(line)).empty();) found = take_option(word, to);
  return found;
}

peer::failure refusal(std::string happened) {
  return {peer::exit_code::usage, "targets", std::move(happened), expected, {}, {}};
}

// Adds one more to those that are told.
void note_fault(std::string &told, size_t count, size_t line, const std::string &what) {
  if (count <= most_faults_told) told += fmt::format("\n  line {}: {}", line, what);
}

}  // namespace

std::string target::name() const {
  return fmt::format("{}:{}", device.host, device.port);
}

peer::result<std::vector<target>> parse_targets(std::string_view text, const std::string &source,
                                                const target &otherwise) {
  std::vector<target> targets;
  std::map<std::string, size_t> lines;  // of each device
  std::string told;
  size_t faults = 0;
  if (text.starts_with(byte_order_mark)) text.remove_prefix(byte_order_mark.size());
  for (size_t number = 1; !text.empty(); number++) {
    std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
    std::string_view rest = line;
    if (next_word(rest).empty()) continue;
    target to = otherwise;
    to.line = number;
    if (fault found = take_line(line, to)) {
      note_fault(told, ++faults, number, *found);
    } else if (auto [at, is_new] = lines.emplace(to.name(), number); !is_new) {
      note_fault(told, ++faults, number, fmt::format("{} is named in line {} already", to.name(), at->second));
    } else if (targets.size() == most_targets) {
      return refusal(fmt::format("{} names more than {} devices", source, most_targets));
    } else {
      targets.push_back(std::move(to));
    }
  }
  if (faults > most_faults_told) told += fmt::format("\n  and {} more", faults - most_faults_told);
  if (faults != 0) return refusal(fmt::format("{} has {} fault{}:{}", source, faults, faults == 1 ? "" : "s", told));
  if (targets.empty()) return refusal(source + " names no device");
  return targets;
}

peer::result<std::vector<target>> read_targets(const std::string &path, const target &otherwise) {
  bool standard = path == "-";
  std::string source = standard ? "standard input" : path;
  auto close = [](std::FILE *file) { std::fclose(file); };
  std::unique_ptr<std::FILE, decltype(close)> opened(standard ? nullptr : std::fopen(path.c_str(), "rbe"), close);
  std::FILE *file = standard ? stdin : opened.get();
  std::string text;
  char chunk[65536];
  bool good = file != nullptr;
  while (good && text.size() <= most_list_bytes) {
    size_t got = std::fread(chunk, 1, sizeof chunk, file);
    if (got == 0) break;
    text.append(chunk, got);
  }
  if (!good || std::ferror(file) != 0) {
    peer::failure why = refusal(fmt::format("{} cannot be read: {}", source, std::strerror(errno)));
    why.expected = "a list of devices";
    return why;
  }
  if (text.size() > most_list_bytes) return refusal(fmt::format("{} has more than {} bytes", source, most_list_bytes));
  return parse_targets(text, source, otherwise);
}

}  // namespace zolt
