// SPDX-License-Identifier: MIT
// What is said about a key file is what the device's own loader makes of it.
#include <gtest/gtest.h>
#include <libsec/num.h>
#include <libsec/session.h>

#include <cstring>
#include <random>

#include "peer/key_check.h"
#include "support/working_directory.h"

namespace {

using peer::key_check;
using peer::key_line;
using peer::key_verdict;

std::string digits(size_t count, char front = 'c', char back = '7') {
  std::string text(count, '5');
  if (count > 0) text.front() = front;
  if (count > 1) text.back() = back;
  return text;
}

const std::string n = "PublicKeyN=" + digits(256) + "\n";
const std::string e = "PublicKeyE=010001\n";

key_check check(const std::string &content) {
  return peer::check_key_file(peer::bytes_of(content));
}

// What the library loads of a file.
struct loaded {
  bool is_protected = false;
  peer::bytes modulus = peer::bytes(128);
  peer::bytes exponent = peer::bytes(3);
};

loaded load(const std::string &content) {
  libsec::test::working_directory directory;
  directory.write("publickeys.dat", content);
  num *const end = nullptr;
  num_free(&security_sessions.rsa_n, &security_sessions.rsa_e, &security_sessions.rr_n, &security_sessions.g, end);
  full_encryption = 0;
  (void)session_init(0);
  loaded result;
  result.is_protected = full_encryption != 0;
  if (result.is_protected) {
    EXPECT_EQ(num_write_binary(&security_sessions.rsa_n, result.modulus.data(), 128), 0);
    EXPECT_EQ(num_write_binary(&security_sessions.rsa_e, result.exponent.data(), 3), 0);
  }
  return result;
}

void expect_same(const std::string &content) {
  key_check said = check(content);
  loaded is = load(content);
  EXPECT_EQ(said.verdict != key_verdict::unprotected, is.is_protected) << content;
  EXPECT_EQ(peer::to_hex(said.key.modulus), peer::to_hex(is.modulus)) << content;
  EXPECT_EQ(peer::to_hex(said.key.exponent), peer::to_hex(is.exponent)) << content;
}

struct key_file {
  const char *name;
  std::string content;
  key_verdict verdict;
  const char *said;  // part of a remark or a finding; empty: nothing at all is said
};

const std::vector<key_file> files = {
    {"Good", n + e, key_verdict::good, ""},
    {"TheOtherOrder", e + n, key_verdict::good, ""},
    {"NoEndOfTheLastLine", n + "PublicKeyE=010001", key_verdict::good, ""},
    {"UpperCase", "PublicKeyN=" + digits(256, 'C') + "\n" + e, key_verdict::good, ""},
    {"Comments", "# a device\n\n" + n + e, key_verdict::good, ""},
    {"Empty", "", key_verdict::locked, "no line gives the modulus"},
    {"NoExponent", n, key_verdict::locked, "no line gives the exponent"},
    {"NoModulus", e, key_verdict::locked, "no line gives the modulus"},
    {"CrlfAfterTheModulus", "PublicKeyN=" + digits(256) + "\r\n" + e, key_verdict::unprotected,
     "line 1 stops the loading: 129 pairs"},
    {"CrlfAfterTheExponent", n + "PublicKeyE=010001\r\n", key_verdict::locked, "carriage return"},
    {"ABlankAfterTheModulus", "PublicKeyN=" + digits(256) + " \n" + e, key_verdict::unprotected, "129 pairs"},
    {"ABlankAfterTheExponent", n + "PublicKeyE=010001 \n", key_verdict::locked, "no line gives the exponent"},
    {"ByteOrderMarkBeforeTheModulus", "\xef\xbb\xbf" + n + e, key_verdict::unprotected, "byte-order mark"},
    {"ByteOrderMarkBeforeTheExponent", "\xef\xbb\xbf" + e + n, key_verdict::locked, "byte-order mark"},
    {"LongComment", "#" + std::string(300, '-') + "\n" + n + e, key_verdict::unprotected, "stops the loading"},
    {"LongCommentBehindTheKey", n + e + "#" + std::string(300, '-') + "\n", key_verdict::unprotected, "line 3 stops"},
    {"CommentOfTheGreatestLength", "#" + std::string(266, '-') + "\n" + n + e, key_verdict::good, ""},
    {"LongerThanTheBuffer", std::string(1023, 'x') + n + e, key_verdict::unprotected, "506 pairs"},
    {"FiveDigitExponent", n + "PublicKeyE=10001\n", key_verdict::locked, "the exponent 1048592 is even"},
    {"FiveDigitExponentWithoutAnEnd", n + "PublicKeyE=10001", key_verdict::locked, "the last one is not read"},
    {"FourDigitExponent", n + "PublicKeyE=0101\n", key_verdict::locked, "only 2 of 3 bytes"},
    {"EightDigitExponent", n + "PublicKeyE=00010001\n", key_verdict::locked, "no line gives the exponent"},
    {"ExponentThree", n + "PublicKeyE=000003\n", key_verdict::forgeable, "the exponent is 3"},
    {"ExponentOne", n + "PublicKeyE=000001\n", key_verdict::forgeable, "the exponent is 1"},
    {"ExponentSeventeen", n + "PublicKeyE=000011\n", key_verdict::forgeable, "the exponent is 17"},
    {"ExponentZero", n + "PublicKeyE=000000\n", key_verdict::locked, "the exponent is 0"},
    {"EvenModulus", "PublicKeyN=" + digits(256, 'c', '8') + "\n" + e, key_verdict::locked, "the modulus is even"},
    {"ModulusZero", "PublicKeyN=" + std::string(256, '0') + "\n" + e, key_verdict::locked, "the modulus is 0"},
    {"ModulusOf254Digits", "PublicKeyN=" + digits(254) + "\n" + e, key_verdict::locked, "only 127 of 128 bytes"},
    {"ModulusOf255Digits", "PublicKeyN=" + digits(255) + "\n" + e, key_verdict::locked, "paired with the line's end"},
    {"ModulusOf512Bits", "PublicKeyN=" + std::string(128, '0') + digits(128) + "\n" + e, key_verdict::forgeable,
     "the modulus has 512 bits"},
    {"ModulusOf1023Bits", "PublicKeyN=" + digits(256, '4') + "\n" + e, key_verdict::questionable, "has 1023 bits"},
    {"ModulusTwice", n + n + e, key_verdict::questionable, "several lines give the modulus"},
    {"ExponentTwice", n + "PublicKeyE=000003\n" + e, key_verdict::questionable, "several lines give the exponent"},
    {"ShortModulusOverALongOne", n + "PublicKeyN=ffff\n" + e, key_verdict::questionable, "only 2 of 128 bytes"},
    {"LowerCasePrefix", "publickeyn=" + digits(256) + "\n" + e, key_verdict::locked, "looks like a key line"},
    {"BlankBeforeThePrefix", n + " PublicKeyE=010001\n", key_verdict::locked, "looks like a key line"},
    {"NoHexDigits", "PublicKeyN=" + digits(254) + "zz\n" + e, key_verdict::locked, "no hex digits count as 0"},
    {"ZeroByteInTheModulus", "PublicKeyN=" + digits(10) + std::string(1, '\0') + digits(245) + "\n" + e,
     key_verdict::locked, "only 5 of 128 bytes"},
    {"ZeroByteInAPrefix", std::string("Pub\0icKeyN=", 11) + digits(256) + "\n" + n + e, key_verdict::good, ""},
};

class KeyFiles : public testing::TestWithParam<key_file> {};

TEST_P(KeyFiles, AreTakenAsTheDeviceTakesThem) {
  expect_same(GetParam().content);
}

TEST_P(KeyFiles, HaveTheirVerdictAndItsReason) {
  key_check said = check(GetParam().content);
  std::string all;
  for (const key_line &line : said.lines)
    for (const std::string &remark : line.remarks) all += remark + "\n";
  for (const std::string &finding : said.findings) all += finding + "\n";
  EXPECT_EQ(static_cast<int>(said.verdict), static_cast<int>(GetParam().verdict)) << all;
  if (*GetParam().said == '\0') {
    EXPECT_EQ(all, "");
  } else {
    EXPECT_NE(all.find(GetParam().said), std::string::npos) << all;
  }
}

INSTANTIATE_TEST_SUITE_P(All, KeyFiles, testing::ValuesIn(files), [](const auto &each) { return each.param.name; });

TEST(KeyCheck, DamagedFilesAreTakenAsTheDeviceTakesThem) {
  std::mt19937 random(1);
  const std::string inserts[] = {"\n", "\r", " ", std::string(1, '\0'), "0", "g", "PublicKeyE=", "\xef\xbb\xbf"};
  for (int round = 0; round < 400; round++) {
    std::string content = random() % 2 ? n + e : e + n + e;
    for (auto changes = 1 + random() % 3; changes > 0; changes--) {
      size_t at = random() % content.size();
      if (random() % 2)
        content.insert(at, inserts[random() % std::size(inserts)]);
      else
        content.erase(at, 1 + random() % 3);
    }
    expect_same(content);
  }
}

TEST(KeyCheck, AForgedSignaturePassesTheDevicesOwnCalculation) {
  for (const char *exponent : {"000001", "000003"}) {
    key_check said = check(n + "PublicKeyE=" + exponent + "\n");
    peer::bytes digest(32, 0x5b);
    digest[0] = 0xfe;
    std::optional<peer::bytes> forged = peer::forge(said.key, digest);
    ASSERT_TRUE(forged) << exponent;
    num modulus, power, signature, result;
    num *const end = nullptr;
    num_init(&modulus, &power, &signature, &result, end);
    ASSERT_EQ(num_read_binary(&modulus, said.key.modulus.data(), 128), 0);
    ASSERT_EQ(num_read_binary(&power, said.key.exponent.data(), 3), 0);
    ASSERT_EQ(num_read_binary(&signature, forged->data(), 128), 0);
    ASSERT_EQ(num_exp_mod(&result, &signature, &power, &modulus, nullptr), 0);
    peer::bytes block(128);
    ASSERT_EQ(num_write_binary(&result, block.data(), 128), 0);
    EXPECT_EQ(peer::bytes(block.end() - 32, block.end()), digest) << exponent;
    num_free(&modulus, &power, &signature, &result, end);
  }
}

TEST(KeyCheck, AGreatExponentIsNotForged) {
  EXPECT_FALSE(peer::forge(check(n + e).key, peer::bytes(32, 1)));
}

}  // namespace
