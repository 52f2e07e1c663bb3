// SPDX-License-Identifier: MIT
// The list of a fleet's devices.
#include <gtest/gtest.h>

#include "zolt/fleet_targets.h"

namespace {

using zolt::parse_targets;
using zolt::target;

peer::result<std::vector<target>> parse(const std::string &text, const target &otherwise = {}) {
  return parse_targets(text, "list", otherwise);
}

std::string refusal(const std::string &text) {
  auto parsed = parse(text);
  if (parsed) return "";
  EXPECT_EQ(parsed.error().code, peer::exit_code::usage);
  EXPECT_EQ(parsed.error().step, "targets");
  return parsed.error().happened;
}

// HOST:PORT, the transport and the timeout of each line.
std::string told(const std::vector<target> &targets) {
  std::string text;
  for (const target &each : targets)
    text += each.name() + (each.device.over == peer::protocol::tcp ? " tcp " : " udp ") +
            std::to_string(static_cast<int>(each.timeout * 1000)) + " line " + std::to_string(each.line) + "\n";
  return text;
}

TEST(ZoltTargets, ALineNamesADeviceAndHowItIsSpokenTo) {
  auto parsed = parse(
      "# the lab\n"
      "192.0.2.7\n"
      "\n"
      "  192.0.2.8:1161 tcp #upstairs\n"
      "device-9.lab_a.example\ttimeout=0.5\tudp\r\n"
      "192.0.2.10 tcp timeout=12");
  ASSERT_TRUE(parsed) << parsed.error().happened;
  EXPECT_EQ(told(*parsed),
            "192.0.2.7:161 udp 3000 line 2\n"
            "192.0.2.8:1161 tcp 3000 line 4\n"
            "device-9.lab_a.example:161 udp 500 line 5\n"
            "192.0.2.10:161 tcp 12000 line 6\n");
}

TEST(ZoltTargets, WhatALineLeavesOpenIsTakenFromTheCommandLine) {
  auto parsed = parse("192.0.2.7\n192.0.2.8:163 udp timeout=1\n", {{"", 162, peer::protocol::tcp}, 7, 0});
  ASSERT_TRUE(parsed) << parsed.error().happened;
  EXPECT_EQ(told(*parsed), "192.0.2.7:162 tcp 7000 line 1\n192.0.2.8:163 udp 1000 line 2\n");
}

TEST(ZoltTargets, AByteOrderMarkIsNoPartOfAName) {
  auto parsed = parse(
      "\xef\xbb\xbf"
      "192.0.2.7\n");
  ASSERT_TRUE(parsed) << parsed.error().happened;
  EXPECT_EQ((*parsed)[0].device.host, "192.0.2.7");
}

TEST(ZoltTargets, AFaultIsToldWithItsLine) {
  const std::pair<const char *, const char *> wrong[] = {
      {"", "list names no device"},
      {"\n# nothing\n", "list names no device"},
      {"192.0.2.7:", "line 1: the port in \"192.0.2.7:\" is not 1 to 65535"},
      {"192.0.2.7:0", "is not 1 to 65535"},
      {"192.0.2.7:65536", "is not 1 to 65535"},
      {"192.0.2.7:-1", "is not 1 to 65535"},
      {"192.0.2.7:161x", "is not 1 to 65535"},
      {"a\n\n:161", "line 3: \"\" is neither an IPv4 address nor a host's name"},
      {"-rf", "\"-rf\" is neither"},
      {"192.0.2.7,192.0.2.8", "is neither"},
      {"\x1b[31m", "line 1: \"\\x1b[31m\" is neither"},
      {"::1", "\"::1\" looks like an IPv6 address"},
      {"[2001:db8::1]:161", "looks like an IPv6 address"},
      {"[::1]", "looks like an IPv6 address"},
      {"192.0.2.7 TCP", "\"TCP\" is not tcp, udp or timeout=SECONDS"},
      {"192.0.2.7 192.0.2.8", "\"192.0.2.8\" is not tcp"},
      {"192.0.2.7 timeout=0", "the timeout \"0\" is not 0.01 to 3600 seconds"},
      {"192.0.2.7 timeout=nan", "the timeout \"nan\" is not"},
      {"192.0.2.7 timeout=3601", "is not 0.01 to 3600"},
      {"192.0.2.7 timeout=", "the timeout \"\" is not"},
      {"192.0.2.7 timeout=3s", "is not 0.01 to 3600"},
  };
  for (const auto &[text, part] : wrong) {
    std::string happened = refusal(text);
    EXPECT_NE(happened.find(part), std::string::npos) << text << ": " << happened;
  }
  EXPECT_NE(refusal(std::string("192.0.2.7\0", 10)).find("\\x00"), std::string::npos);
  EXPECT_NE(refusal(std::string(254, 'a')).find("is neither"), std::string::npos);
}

TEST(ZoltTargets, ADeviceIsNamedOnceHoweverItIsWritten) {
  EXPECT_EQ(refusal("lab-1\nother\nLAB-1:161 tcp\n"),
            "list has 1 fault:\n  line 3: lab-1:161 is named in line 1 already");
  EXPECT_TRUE(parse("lab-1\nlab-1:162\n")) << "another port is another device";
}

TEST(ZoltTargets, AllFaultsAreToldButNotMoreThanTen) {
  std::string text = "good\n";
  for (int i = 0; i < 12; i++) text += "bad:" + std::to_string(i + 70000) + "\n";
  std::string happened = refusal(text);
  EXPECT_NE(happened.find("list has 12 faults:\n  line 2: "), std::string::npos) << happened;
  EXPECT_NE(happened.find("\n  line 11: "), std::string::npos) << happened;
  EXPECT_EQ(happened.find("\n  line 12: "), std::string::npos) << happened;
  EXPECT_TRUE(happened.ends_with("\n  and 2 more")) << happened;
}

TEST(ZoltTargets, AListOfTooManyDevicesIsRefused) {
  std::string text;
  for (size_t i = 0; i < zolt::most_targets; i++) text += "h" + std::to_string(i) + "\n";
  auto parsed = parse(text);
  ASSERT_TRUE(parsed);
  EXPECT_EQ(parsed->size(), zolt::most_targets);
  EXPECT_EQ(refusal(text + "one-more\n"), "list names more than 65536 devices");
}

}  // namespace
