// SPDX-License-Identifier: MIT
#include "peer/hex_dump.h"

#include <fmt/format.h>

#include <algorithm>

namespace peer {
namespace {

constexpr std::string_view blanks = " \t\r\v\f";
constexpr std::string_view digits = "0123456789abcdefABCDEF";

failure refuse(size_t line, std::string happened, std::string expected) {
  return {exit_code::usage, "hex", fmt::format("line {} {}", line, happened), std::move(expected), {}, {}};
}

bool is_hex(std::string_view word) {
  return !word.empty() && word.find_first_not_of(digits) == std::string_view::npos;
}

std::string_view trimmed(std::string_view line) {
  line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
  return line.substr(0, line.find_last_not_of(blanks) + 1);
}

// A line of a dump: the offset in front, and what stands behind it and its colon.
struct offset_line {
  size_t offset;
  bool colon;
  std::string_view rest;
};

std::optional<offset_line> split_offset(std::string_view line) {
  // The labels of zolt -vv.
  for (std::string_view label : {"sent ", "got "}) {
    if (line.starts_with(label)) line = trimmed(line.substr(label.size()));
  }
  if (line.starts_with("0x") || line.starts_with("0X")) line.remove_prefix(2);
  size_t width = std::min(line.find_first_not_of(digits), line.size());
  if (width < 4 || width > 8) return std::nullopt;
  bool colon = width < line.size() && line[width] == ':';
  std::string_view rest = line.substr(width + (colon ? 1 : 0));
  if (!rest.empty() && blanks.find(rest.front()) == std::string_view::npos) return std::nullopt;
  return offset_line{std::stoul(std::string(line.substr(0, width)), nullptr, 16), colon, rest};
}

// The bytes of a dump's line. They end where something else begins, or where the gap before the letters is;
// hexdump -C and Wireshark have a gap in the middle, too.
bytes bytes_of_line(const offset_line &line) {
  bytes found;
  std::string_view rest = line.rest;
  bool pairs = true;
  for (;;) {
    size_t gap = std::min(rest.find_first_not_of(blanks), rest.size());
    bool middle = !line.colon && pairs && found.size() == 8 && gap == 2;
    if (!found.empty() && gap > 1 && !middle) break;
    rest.remove_prefix(gap);
    std::string_view word = rest.substr(0, std::min(rest.find_first_of(blanks), rest.size()));
    std::optional<bytes> content = is_hex(word) ? from_hex(word) : std::nullopt;
    if (!content) break;
    pairs = pairs && word.size() == 2;
    append(found, *content);
    rest.remove_prefix(word.size());
  }
  return found;
}

// One packet without offsets: everything but the digits stands between bytes.
std::optional<bytes> read_plain(std::string_view line) {
  std::string text(line);
  for (std::string_view mark : {"0x", "0X", "\\x"}) {
    for (size_t at = 0; (at = text.find(mark, at)) != std::string::npos;)
      std::fill_n(text.begin() + static_cast<ptrdiff_t>(at), mark.size(), ' ');
  }
  for (char &each : text) {
    if (each == ',' || each == '"' || each == '\'' || each == ';' || each == '-' || each == '|') each = ' ';
  }
  return from_hex(text);
}

class dump_reader {
 public:
  result<std::vector<bytes>> read(std::string_view text) {
    for (number_ = 1; !text.empty(); number_++) {
      std::string_view line = text.substr(0, text.find('\n'));
      text.remove_prefix(std::min(line.size() + 1, text.size()));
      line = trimmed(line);
      if (line.empty() || line.starts_with('#') || line.starts_with("```")) continue;
      if (status taken = take(line); !taken) return taken.error();
    }
    finish();
    if (packets_.empty())
      return failure{exit_code::usage, "hex", "there are no bytes", "a packet in hexadecimal digits", {}, {}};
    return std::move(packets_);
  }

 private:
  status take(std::string_view line) {
    std::optional<offset_line> found = split_offset(line);
    // A packet begins with letters, so that a zero in front can only be an offset.
    if (form_ == form::unknown) form_ = found && found->offset == 0 ? form::offsets : form::plain;
    if (form_ == form::offsets) return take_offset_line(line, found);
    std::optional<bytes> content = read_plain(line);
    if (!content)
      return refuse(number_, fmt::format("is no byte string: {}", line.substr(0, 40)), "pairs of hexadecimal digits");
    append(packet_, *content);
    return done;
  }

  status take_offset_line(std::string_view line, const std::optional<offset_line> &found) {
    if (line == "*") return refuse(number_, "stands for lines that are left out", "a whole dump (hexdump -v, od -v)");
    if (!found)
      return refuse(number_, "has no offset, unlike the lines before", "an offset, bytes, and perhaps letters");
    bytes content = bytes_of_line(*found);
    if (found->offset == 0 && !content.empty()) finish();
    if (found->offset != packet_.size() && !(content.empty() && found->offset == 0))
      return refuse(number_, fmt::format("has the offset {:x} (hex)", found->offset),
                    fmt::format("{:x}: so many bytes stand before it", packet_.size()));
    append(packet_, content);
    return done;
  }

  void finish() {
    if (!packet_.empty()) packets_.push_back(std::move(packet_));
    packet_.clear();
  }

  enum class form { unknown, plain, offsets } form_ = form::unknown;
  size_t number_ = 0;
  bytes packet_;
  std::vector<bytes> packets_;
};

}  // namespace

result<std::vector<bytes>> read_hex_dump(std::string_view text) {
  return dump_reader().read(text);
}

}  // namespace peer
