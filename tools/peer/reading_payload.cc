// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <algorithm>

#include "peer/crc16.h"
#include "peer/payload.h"
#include "peer/reading.h"
#include "peer/wire.h"
#include "peer/xtea.h"

namespace peer {
namespace {

using weight = enum problem::weight;

constexpr size_t block_header_bytes = 4;

// The contents that are fixed: a text, the session's identifier, and what follows. Of the kinds that the
// device receives it does not look at the content length.
struct fixed_content {
  std::string_view kind;
  std::string_view text;
  size_t bytes;
  bool exact_length;
};

constexpr fixed_content fixed_contents[] = {
    {"LGIN", "LOGIN", 9, false},
    {"ACK1", "LOGGEDIN", 14, true},
    {"LOUT", "LOGOUT", 10, false},
    {"ACK2", "LOGGEDOUT", 13, true},
};

bool is_checked(byte_view plain) {
  return crc16(plain.subspan(block_header_bytes)) == read16(plain, 0);
}

// The block under the key that it fits; under the first one when it fits none, and one wrong key in 65536
// passes the check value, so the content length decides between two that pass. None when there is no key.
std::optional<bytes> decipher(byte_view payload, const std::vector<secret_bytes> &keys) {
  std::optional<bytes> best;
  bool best_is_checked = false;
  for (const secret_bytes &key : keys) {
    bytes plain(payload.begin(), payload.end());
    xtea_decipher(key, plain);
    bool checked = is_checked(plain);
    if (checked && block_bytes(read16(plain, 2)) == plain.size()) return plain;
    if (!best || (checked && !best_is_checked)) {
      best = std::move(plain);
      best_is_checked = checked;
    }
  }
  return best;
}

std::string text_or_hex(byte_view content) {
  bool is_text = std::all_of(content.begin(), content.end(), [](uint8_t byte) { return byte >= ' ' && byte <= '~'; });
  return is_text && !content.empty() ? fmt::format("\"{}\"", text_of(content)) : to_hex(content);
}

class block_reader {
 public:
  block_reader(reading &into, byte_view plain) : into_(into), plain_(plain) {}

  void read() {
    uint16_t claimed = read16(plain_, 0);
    uint16_t actual = crc16(plain_.subspan(block_header_bytes));
    put("crc", 0, 2, fmt::format("{:04x}", claimed)).meaning =
        claimed == actual ? "right" : fmt::format("wrong: the block has {:04x}", actual);
    content_length_ = read16(plain_, 2);
    put("content_length", 2, 2, fmt::format("{}", content_length_));
    if (claimed != actual)
      return error("crc", fmt::format("the check value is {:04x}, that of the block {:04x}: damaged, or the key is "
                                      "another session's",
                                      claimed, actual));
    const auto *fixed = std::find_if(std::begin(fixed_contents), std::end(fixed_contents),
                                     [&](const fixed_content &each) { return each.kind == into_.kind; });
    size_t held = plain_.size() - block_header_bytes;
    size_t used = fixed != std::end(fixed_contents) ? read_fixed(*fixed, held) : read_free(held);
    if (used < held)
      put("padding", block_header_bytes + used, held - used, to_hex(plain_.subspan(block_header_bytes + used)));
  }

 private:
  field_reading &put(const char *name, size_t offset, size_t length, std::string value) {
    into_.block.push_back({name, offset, length, std::move(value), {}});
    return into_.block.back();
  }

  void error(const char *name, std::string text) { into_.problems.push_back({weight::error, name, std::move(text)}); }

  size_t take_content(size_t used) {
    byte_view content = plain_.subspan(block_header_bytes, used);
    into_.content = bytes(content.begin(), content.end());
    if (used > 0) put("content", block_header_bytes, used, text_or_hex(content));
    return used;
  }

  size_t read_free(size_t held) {
    if (content_length_ > held)
      error("content_length", fmt::format("content_length is {}, the block holds {}", content_length_, held));
    else if (block_bytes(content_length_) != plain_.size())
      error("content_length", fmt::format("a content of {} bytes has a block of {}, not of {}", content_length_,
                                          block_bytes(content_length_), plain_.size()));
    size_t used = take_content(std::min(content_length_, held));
    into_.snmp = read_snmp(*into_.content);
    return used;
  }

  size_t read_fixed(const fixed_content &fixed, size_t held) {
    if (fixed.exact_length && content_length_ != fixed.bytes)
      error("content_length", fmt::format("content_length is {}, must be {}", content_length_, fixed.bytes));
    size_t used = take_content(std::min(fixed.bytes, held));
    byte_view content = *into_.content;
    if (used < fixed.bytes) {
      error("content", fmt::format("too short for \"{}\" and a session", fixed.text));
      return used;
    }
    if (!std::equal(fixed.text.begin(), fixed.text.end(), content.begin()))
      error("content", fmt::format("the content must begin with \"{}\"", fixed.text));
    uint32_t session = read32(content, fixed.text.size());
    std::string meaning =
        fmt::format("{}, session {:08x}", text_or_hex(content.subspan(0, fixed.text.size())), session);
    if (session != into_.session_id)
      error("content", fmt::format("the content names session {:08x}, the header {:08x}", session, *into_.session_id));
    if (into_.kind == "ACK1") meaning += fmt::format(", which lives {} s", read16(content, fixed.text.size() + 4));
    into_.block.back().meaning = meaning;
    return used;
  }

  reading &into_;
  byte_view plain_;
  size_t content_length_ = 0;
};

}  // namespace

void read_payload(reading &into, byte_view payload, const key_ring &keys) {
  size_t length = into.length - header_bytes;
  if (length % xtea_block_bytes != 0) {
    into.problems.push_back(
        {weight::error, "payload_length", fmt::format("a payload of {} bytes is not whole blocks of 8", length)});
    return;
  }
  if (payload.size() < length) return;
  payload = payload.subspan(0, length);
  std::optional<bytes> plain = decipher(payload, keys.keys_of(*into.session_id));
  if (plain)
    block_reader(into, *plain).read();
  else
    into.problems.push_back({weight::note, "no_key", "the payload stays closed: there is no key of this session"});
}

}  // namespace peer
