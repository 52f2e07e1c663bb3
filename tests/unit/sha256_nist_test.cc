// SPDX-License-Identifier: MIT
// The byte-oriented vectors of NIST's validation system (SHAVS); see tests/vectors/sha256.
#include <gtest/gtest.h>
#include <libsec/crypto.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

namespace {

using bytes = std::vector<uint8_t>;

bytes from_hex(const std::string &digits) {
  bytes value;
  for (size_t i = 0; i + 1 < digits.size(); i += 2) {
    value.push_back(static_cast<uint8_t>(std::stoul(digits.substr(i, 2), nullptr, 16)));
  }
  return value;
}

bytes digest_of(const bytes &message) {
  bytes digest(32);
  sha256(message.data(), static_cast<uint32_t>(message.size()), digest.data());
  return digest;
}

bytes file_digest_of(const bytes &message) {
  FILE *stream = std::tmpfile();
  EXPECT_EQ(std::fwrite(message.data(), 1, message.size(), stream), message.size());
  std::rewind(stream);
  bytes digest(32);
  sha256_file(stream, digest.data());
  std::fclose(stream);
  return digest;
}

// The lines "NAME = value" of a file, in order.
struct line {
  std::string name, value;
};

std::vector<line> lines_of(const std::string &file) {
  std::ifstream stream(LIBSEC_VECTORS "/sha256/" + file);
  EXPECT_TRUE(stream.is_open()) << file;
  std::vector<line> lines;
  for (std::string text; std::getline(stream, text);) {
    const size_t equals = text.find(" = ");
    if (equals != std::string::npos && text[0] != '[')
      lines.push_back({text.substr(0, equals), text.substr(equals + 3)});
  }
  return lines;
}

void check_messages(const std::string &file, int expected_count) {
  int count = 0;
  size_t length = 0;
  bytes message;
  for (const line &l : lines_of(file)) {
    if (l.name == "Len") length = std::stoul(l.value) / 8;
    if (l.name == "Msg") message = from_hex(l.value);
    if (l.name != "MD") continue;
    message.resize(length);  // the empty message is written as one zero byte
    EXPECT_EQ(digest_of(message), from_hex(l.value)) << file << ", " << length << " bytes";
    EXPECT_EQ(file_digest_of(message), from_hex(l.value)) << file << ", " << length << " bytes";
    ++count;
  }
  EXPECT_EQ(count, expected_count);
}

TEST(Sha256Nist, ShortMessages) {
  check_messages("SHA256ShortMsg.rsp", 65);
}

TEST(Sha256Nist, LongMessages) {
  check_messages("SHA256LongMsg.rsp", 64);
}

// Each seed leads through 1000 digests, each over the three before it, to the next seed.
TEST(Sha256Nist, TheMonteCarloChain) {
  bytes seed;
  int count = 0;
  for (const line &l : lines_of("SHA256Monte.rsp")) {
    if (l.name == "Seed") seed = from_hex(l.value);
    if (l.name != "MD") continue;
    bytes last_three;
    for (int i = 0; i < 3; ++i) last_three.insert(last_three.end(), seed.begin(), seed.end());
    for (int i = 0; i < 1000; ++i) {
      const bytes digest = digest_of(last_three);
      last_three.erase(last_three.begin(), last_three.begin() + 32);
      last_three.insert(last_three.end(), digest.begin(), digest.end());
    }
    seed.assign(last_three.begin() + 64, last_three.end());
    ASSERT_EQ(seed, from_hex(l.value)) << "seed " << count;
    ++count;
  }
  EXPECT_EQ(count, 100);
}

}  // namespace
