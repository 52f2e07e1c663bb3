// SPDX-License-Identifier: MIT
#include "peer/key_ring.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "peer/wire.h"

namespace peer {
namespace {

constexpr size_t most_bytes = 64 << 20;
constexpr std::string_view blanks = " \t\r";

struct closer {
  void operator()(std::FILE *file) const { std::fclose(file); }
};

// The next word of a line, which is shortened by it.
std::string_view take_word(std::string_view &line) {
  line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
  std::string_view word = line.substr(0, line.find_first_of(blanks));
  line.remove_prefix(word.size());
  return word;
}

int digit(char of) {
  if (of >= '0' && of <= '9') return of - '0';
  if (of >= 'a' && of <= 'f') return of - 'a' + 10;
  return of >= 'A' && of <= 'F' ? of - 'A' + 10 : -1;
}

// Secret from the first digit on, unlike what from_hex() makes.
secret_bytes from_digits(std::string_view digits, size_t count) {
  secret_bytes made;
  if (digits.size() != 2 * count) return made;
  made.reserve(count);
  for (size_t at = 0; at < digits.size(); at += 2) {
    int high = digit(digits[at]), low = digit(digits[at + 1]);
    if (high < 0 || low < 0) return {};
    made.push_back(static_cast<uint8_t>(high * 16 + low));
  }
  return made;
}

}  // namespace

void key_ring::add_line(std::string_view line) {
  std::string_view letters = take_word(line);
  if (letters.empty() || letters.starts_with('#')) return;
  secret_bytes id = from_digits(take_word(line), 4);
  secret_bytes key = from_digits(take_word(line), key_field_bytes);
  if (letters != "ZOLT" || id.empty() || key.empty() || !take_word(line).empty()) {
    odd_lines_++;
  } else {
    keys_[read32(id, 0)].push_back(std::move(key));
  }
}

void key_ring::add(std::string_view text) {
  while (!text.empty()) {
    std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
    add_line(line);
  }
}

const std::vector<secret_bytes> &key_ring::keys_of(uint32_t session_id) const {
  static const std::vector<secret_bytes> none;
  auto found = keys_.find(session_id);
  return found == keys_.end() ? none : found->second;
}

result<key_ring> key_ring::read(const std::string &path) {
  auto trouble = [&](std::string why) {
    return failure{exit_code::other,
                   "keylog",
                   fmt::format("{} cannot be read: {}", path, why),
                   "a key log, as \"zolt --keylog FILE\" writes it",
                   {},
                   "name such a file, or leave --keylog out: the payloads stay closed then"};
  };
  std::unique_ptr<std::FILE, closer> file(std::fopen(path.c_str(), "re"));
  if (!file) return trouble(std::strerror(errno));
  std::setvbuf(file.get(), nullptr, _IONBF, 0);  // no copy of the keys stays behind in a buffer
  secret_bytes text, chunk(65536);
  while (size_t got = std::fread(chunk.data(), 1, chunk.size(), file.get())) {
    if (text.size() + got > most_bytes) return trouble("it is too long");
    text.insert(text.end(), chunk.begin(), chunk.begin() + static_cast<ptrdiff_t>(got));
  }
  if (std::ferror(file.get()) != 0) return trouble(std::strerror(errno));
  key_ring ring;
  ring.add({reinterpret_cast<const char *>(text.data()), text.size()});
  return ring;
}

}  // namespace peer
